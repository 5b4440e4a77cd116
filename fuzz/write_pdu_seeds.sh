#!/bin/sh
# Writes the seeds of the PDU and description fuzzers: one small file for each
# class, and for bytes that look like one and are none.
set -eu
corpus=$(dirname "$0")/corpus

# seed FOLDER/NAME HEX...: the bytes as a file.
seed() {
  mkdir -p "$corpus/${1%/*}"
  name=$1
  shift
  for byte in "$@"; do
    # shellcheck disable=SC2059  # the format is the byte itself
    printf "\\$(printf %03o "0x$byte")"
  done > "$corpus/$name"
}

# What PDUs are made of; each is meant to fall apart into bytes.
header='03 00 43 01 05 0A 00'
failed='03 04 FF FF FF FF 43 01 05 0A 01 01 3B 01 6E 00 01 07'
oid='0A 01 01 3B 01 06 00 00'
aid='0B 01 01 3B 01 06 01 06'
none='80 43 00'
names='80 43 01 02 17 0B 01 01 3B 01 06 01 01 00 17 0B 01 01 3B 01 06 01 02 00'
values='80 43 01 01 17 0B 01 01 3B 01 06 01 02 01 09 43 01 03 61 62 63'
operation='80 43 01 01 18 0B 01 01 3B 01 6E 01 02 01 03 02 03 E8 01 01'
errors='80 43 01 01 1A 43 01 02 03 01 05'
addresses='80 43 01 02 0F 02 0A 00 00 01 0F 00'

# shellcheck disable=SC2086
{
  seed pdu/create               1C $header $oid $values
  seed pdu/clone                1D $header $oid $values
  seed pdu/remove               1E $header $oid
  seed pdu/get                  1F $header $oid $names
  seed pdu/get_all              1F $header $oid $none
  seed pdu/set                  20 $header $oid $values
  seed pdu/search               21 $header $oid $operation 07 01 01
  seed pdu/event                22 $header $oid $aid $values
  seed pdu/action               23 $header $aid $values
  seed pdu/create_response      25 $header $none $oid
  seed pdu/clone_response       26 $failed $errors $oid
  seed pdu/get_response         27 $header $none $values
  seed pdu/get_response_failed  27 $failed $errors $values
  seed pdu/set_response         28 $failed $errors
  seed pdu/search_response      29 $header $none 80 43 01 01 $oid
  seed pdu/action_response      2A $header $none
  seed pdu/remove_response      2B 03 01 01 43 01 05 0A 00
  seed pdu/verify               2C $header $oid
  seed pdu/verify_response      2D $header
  seed pdu/ds_search            2E $header $oid $operation $none
  seed pdu/ds_search_empty      2E $header 0A 00 $none $none
  seed pdu/ds_search_response   2F $header $none $addresses 80 43 01 01 $oid
  seed pdu/bare_header          1B $header
  seed pdu/bare_response        24 $header $none
  seed pdu/truncated            1F $header $oid 80 43 01 02 17 0B 01
  seed pdu/foreign_members      1F 09 00 41 01 05 07 00 0B 01 01 3B 01 06 00 00 80 43 00
  seed pdu/claims_4_gi          1F $header $oid 80 43 04 FF FF FF FF 03 00
  seed pdu/in_a_pdu             1F $header $oid 80 43 01 01 1F $header $oid $values
  seed pdu/in_an_attribute      1F $header $oid 80 43 01 01 17 $aid 01 27 $header $none $values
  seed pdu/gauge_refused        27 $header $none 80 43 01 01 17 $aid 01 4D 01 05

  argument='10 09 43 01 04 73 69 7A 65 43 01 03'
  attribute='11 09 43 01 04 6E 61 6D 65 0B 01 01 3B 01 06 01 02 43 01 09 00 43 01 01 43 01 02 07 01 01'
  action='12 09 43 01 04 67 72 6F 77 0B 01 01 3B 01 06 01 07 80 43 01 01'
  event='13 09 43 01 04 66 75 6C 6C 0B 01 01 3B 01 06 01 08 80 43 00'
  seed description/argument          $argument
  seed description/attribute         $attribute
  seed description/attribute_default 11 09 43 01 04 6E 61 6D 65 $aid 43 01 09 03 01 05 43 01 01 43 01 02 07 01 01
  seed description/action            $action $argument
  seed description/event             $event
  seed description/object            14 09 43 01 04 64 69 73 6B $oid 0A 01 01 3B 01 01 00 00 80 43 01 01 $attribute 80 43 01 01 $action $argument 80 43 01 01 $event
  seed description/object_empty      14 09 43 00 0A 00 0A 00 $none $none $none
  seed description/object_in_object  14 09 43 00 0A 00 0A 00 80 43 01 01 14 09 43 00 0A 00 0A 00 $none $none 80 43 01 01 $event $none $none
  seed description/action_of_a_pdu   12 09 43 00 0B 00 80 43 01 01 1F $header $oid $values
  seed description/truncated         14 09 43 01 04 64 69 73 6B $oid 0A 01
  seed description/long_name         10 09 43 04 FF FF FF FF 61
}
