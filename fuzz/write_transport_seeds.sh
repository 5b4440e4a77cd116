#!/bin/sh
# Writes the seeds of the fuzzers of the transport. The scripts that they hold
# are those that fragments_fuzzer.cc and transaction_fuzzer.cc read.
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

# Small fragments: 14, then id, count, number, total, offset, data length.
seed fragments/one_fragment        14 01 01 00 00 64 00 00 00 64
seed fragments/one_fragment_cut    14 01 01 00 00 64 00 00 00 32
seed fragments/one_fragment_long   14 01 01 00 00 64 00 00 00 C8
seed fragments/two_in_order        14 01 02 00 07 D0 00 00 05 B0 \
                                   14 01 02 01 07 D0 05 B0 02 20
seed fragments/two_reversed        14 01 02 01 07 D0 05 B0 02 20 \
                                   14 01 02 00 07 D0 00 00 05 B0
seed fragments/doubled             14 01 02 00 07 D0 00 00 05 B0 \
                                   14 01 02 00 07 D0 00 00 05 B0 \
                                   14 01 02 01 07 D0 05 B0 02 20 \
                                   14 01 02 01 07 D0 05 B0 02 20
seed fragments/two_senders         14 01 02 00 07 D0 00 00 05 B0 \
                                   15 01 02 00 07 D0 00 00 05 B0 \
                                   15 01 02 01 07 D0 05 B0 02 20 \
                                   14 01 02 01 07 D0 05 B0 02 20
seed fragments/expired             14 01 03 00 0B B8 00 00 05 B0 00 3D \
                                   15 01 02 00 07 D0 00 00 05 B0
seed fragments/number_too_large    14 01 02 00 07 D0 00 00 05 B0 \
                                   14 01 02 02 07 D0 00 00 05 B0
seed fragments/offset_too_large    14 01 02 00 07 D0 00 00 05 B0 \
                                   14 01 02 01 07 D0 FF FF 05 B0
seed fragments/no_fragments        14 01 00 00 07 D0 00 00 05 B0
seed fragments/total_too_large     14 01 02 00 0B 61 00 00 05 B0
seed fragments/header_only         14 01 01 00 00 64 00 00 00 00
seed fragments/end_of_message      14 01 02 01 07 D0 07 D0 00 64
seed fragments/empty_message       14 01 02 00 00 00 00 00 00 64 04 04
seed fragments/failed_read         14 01 02 00 07 D0 00 00 05 B0 04 \
                                   14 01 02 01 07 D0 05 B0 02 20
seed fragments/failed_peek         08 14 01 01 00 00 64 00 00 00 64
seed fragments/no_memory           0C 14 01 01 00 00 64 00 00 00 64 \
                                   2C 14 01 02 00 07 D0 00 00 05 B0
seed fragments/short_datagram      10 0A 00 01 00 00 00 01 00 00 00 00
seed fragments/empty_datagram      10 00
seed fragments/other_version       10 11 00 02 00 00 00 01 00 00 00 00 00 01 \
                                   00 00 00 00
seed fragments/largest_claim       10 11 00 01 00 00 FF FF 00 00 05 AF FA 50 \
                                   00 00 00 00 \
                                   11 11 00 01 00 01 FF FF 00 00 05 AF FA 50 \
                                   00 00 00 00
seed fragments/beyond_any_claim    10 11 00 01 00 00 FF FF 00 00 FF FF FF FF \
                                   00 00 00 00

# Whole messages: 05, then length and bytes. 00 sends a request, 08 to a group.
seed transaction/answer            00 05 00 07 2B 03 00 43 00 0A 00
seed transaction/answer_twice      00 05 00 07 2B 03 00 43 00 0A 00 \
                                   05 00 07 2B 03 00 43 00 0A 00
seed transaction/second_answer     00 00 05 00 08 2B 03 00 43 01 01 0A 00
seed transaction/group             08 05 00 07 2B 03 00 43 00 0A 00 \
                                   05 00 07 2B 03 00 43 00 0A 00 01 15
seed transaction/get_answer        00 05 00 18 27 03 00 43 00 0A 00 80 43 01 01 \
                                   1A 43 00 03 01 05 80 43 01 01 03 01 07
seed transaction/unmatched         05 00 18 27 03 00 43 00 0A 00 80 43 01 01 \
                                   1A 43 00 03 01 05 80 43 01 01 03 01 07
seed transaction/unmatched_nested  05 00 18 27 03 00 43 00 0A 00 80 43 01 01 \
                                   28 03 00 43 00 0A 00 80 43 00 80 43 00
seed transaction/no_pdu            00 05 00 03 03 01 05
seed transaction/list              00 05 00 09 80 43 01 01 09 43 01 01 61
seed transaction/cut_answer        00 05 00 0D 27 03 00 43 00 0A 00 80 43 01 02 \
                                   09 43
seed transaction/unknown_tag       00 05 00 01 FF
seed transaction/nested_lists      00 05 00 10 80 43 01 01 80 43 01 01 \
                                   80 43 01 01 80 43 01 01
seed transaction/give_up           00 01 03 01 06 01 0C
seed transaction/give_up_both      00 00 01 03 01 06 01 0C
seed transaction/flush             00 00 02 01 02 01 02 00
seed transaction/shared_id         00 03 00 00 00 00 00 02 00 02 00 02 00
seed transaction/sent_twice        00 20 02 00 05 00 08 2B 03 00 43 01 01 0A 00
seed transaction/wrapped_id        03 FF FF FF FF 00 00 05 00 07 2B 03 00 43 00 \
                                   0A 00
seed transaction/long_queue        00 00 00 00 00 00 00 00 00 00 00 00 \
                                   05 00 08 2B 03 00 43 01 05 0A 00 \
                                   05 00 08 2B 03 00 43 01 05 0A 00 \
                                   02 03 20 02 0B 03 00 00 00 01 00 02 01 01 03 \
                                   05 00 08 2B 03 00 43 01 07 0A 00
seed transaction/failed_send       10 00 01 03
seed transaction/raw_datagram      00 04 17 00 01 00 00 00 01 00 00 00 00 00 07 \
                                   00 00 00 00 2B 03 00 43 00 0A 00
seed transaction/short_datagram    00 04 03 00 01 00
