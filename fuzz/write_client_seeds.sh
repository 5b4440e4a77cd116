#!/bin/sh
# Writes the seeds of client_fuzzer.cc and event_fuzzer.cc: the operation; then
# for each request the plan (number of answers, delay), and for each answer its
# tag (or 00 for any bytes), its status, and its members behind their length.
set -eu
root=$(dirname "$0")/corpus

# seed FOLDER/NAME HEX...: the bytes as a file.
seed() {
  name=$1
  shift
  mkdir -p "$(dirname "$root/$name")"
  for byte in "$@"; do
    # shellcheck disable=SC2059  # the format is the byte itself
    printf "\\$(printf %03o "0x$byte")"
  done > "$root/$name"
}

none="80 43 00"
errors="80 43 01 01 1A 43 01 01 03 01 05"
value="80 43 01 01 17 0B 00 01 03 01 05"
object="0A 01 01 3B 01 06 00 01 09"
objects="80 43 01 01 $object"
nobody="01 29 00 00 06 $none $none"  # a lookup that finds no principal
# A lookup that finds a principal object, which names another identifier.
somebody="01 29 00 00 10 $none $objects 01 27 00 00 10 $none $objects"

# shellcheck disable=SC2086  # the variables are words
{
seed client/get                 10 $nobody 01 27 00 00 0E $none $value
seed client/get_by_principal    10 $somebody 01 27 00 00 0E $none $value
seed client/get_partial         10 $nobody 01 27 FF 00 16 $errors $value
seed client/get_more            00 $nobody 01 27 00 00 0E $none $value
seed client/get_no_attribute    10 $nobody 01 27 00 00 10 $none $objects
seed client/get_refused         10 $nobody 01 27 05 00 06 $none $none
seed client/get_other_class     10 $nobody 01 29 00 00 10 $none $objects
seed client/get_any_bytes       10 $nobody 01 00 00 05 27 03 00 43 00
seed client/get_silence         10 $nobody 00 00 00
seed client/get_late            10 $nobody 15 27 00 00 0E $none $value
seed client/get_thrice          10 $nobody 03 27 05 00 06 $none $none \
                                27 00 00 0E $none $value \
                                27 00 00 0E $none $value
seed client/set                 01 $nobody 01 28 FF 00 0B $errors
seed client/create              02 $nobody 01 25 00 00 0C $none $object
seed client/create_errors       02 $nobody 01 25 FF 00 14 $errors $object
seed client/clone               03 $nobody 01 26 00 00 0C $none $object
seed client/remove              04 $nobody 01 2B 00 00 00
seed client/verify              05 $nobody 01 2D 00 00 00
seed client/search              06 $nobody 01 29 00 00 10 $none $objects
seed client/search_errors       06 $nobody 01 29 FF 00 18 $errors $objects
seed client/principal           07 $somebody 87 $somebody
seed client/principal_attribute 07 01 29 00 00 10 $none $objects \
                                01 27 00 00 14 $none \
                                80 43 01 01 17 0B 00 01 $object
seed client/principal_no_object 07 01 29 00 00 0A $none 80 43 01 01 03 01 05
seed client/principal_other     07 01 29 00 00 10 $none $objects \
                                01 29 00 00 10 $none $objects
seed client/directory           08 $nobody 01 2F 00 00 13 $none $none $objects
seed client/directory_list2     08 $nobody 01 2F 00 00 1B $errors $objects $none
seed client/directory_refused   08 $nobody 01 2F 05 00 09 $none $none $none
seed client/discovery           0A 01 2F 00 00 09 $none $none $none 00 \
                                $nobody 01 2F 00 00 13 $none $none $objects
seed client/discovery_other     0A 01 2B 05 00 00 00 $nobody 01 2B 00 00 00
seed client/discovery_silence   0A 00 00 00 00 00 00 00 00
seed client/any_directory       09 01 2F 00 00 09 $none $none $none 00
seed client/any_directory_errors 09 01 2F 05 00 09 $none $none $none \
                                05 2F 06 00 09 $none $none $none
seed client/any_directory_late  09 01 2F 05 00 09 $none $none $none \
                                05 2F 00 00 09 $none $none $none
seed client/changing_users      04 $somebody 01 2B 00 00 00 \
                                84 $nobody 01 2B 00 00 00

seed event/event                03 22 00 00 18 $object 0B 01 01 3B 01 07 01 05 \
                                80 43 01 01 03 01 2A
seed event/no_arguments         03 22 00 00 14 $object 0B 01 01 3B 01 07 01 05 \
                                $none
seed event/invalid_event        03 22 00 00 12 $object 0B 00 80 43 01 01 03 01 05
seed event/no_event             03 27 00 00 0E $none $value
seed event/no_pdu               03 00 00 03 03 01 05
seed event/raw_datagram         02 04 00 01 00 00
seed event/expiry               03 22 00 00 19 $object 0B 01 01 3B 01 06 01 06 \
                                80 43 01 01 0C 02 03 E8 \
                                $nobody 01 28 00 00 03 $none
seed event/expiry_without_time  03 22 00 00 14 $object 0B 01 01 3B 01 06 01 06 \
                                $none $nobody 01 28 FF 00 0B $errors
seed event/expiry_other_answer  03 22 00 00 14 $object 0B 01 01 3B 01 06 01 06 \
                                $none $nobody 01 29 00 00 10 $none $objects
seed event/expiry_silence       03 22 00 00 14 $object 0B 01 01 3B 01 06 01 06 \
                                $none $nobody 00 00 00
seed event/reg                  00 $nobody 01 25 00 00 0C $none $object
seed event/reg_errors           00 $nobody 01 25 FF 00 14 $errors $object
seed event/reg_other_class      00 $nobody 01 27 00 00 0E $none $value
seed event/reg_unreg            00 $nobody 01 25 00 00 0C $none $object \
                                01 01 2B 00 00 00
seed event/unreg_refused        00 $nobody 01 25 00 00 0C $none $object \
                                01 01 2B 05 00 00
seed event/unreg_silence        00 $nobody 01 25 00 00 0C $none $object \
                                01 00 00 00
}
