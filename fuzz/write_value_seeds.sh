#!/bin/sh
# Writes the seeds of the value fuzzer: one small file for each kind of value
# and for each way in which bytes may be no value.
set -eu
folder=$(dirname "$0")/corpus/value
mkdir -p "$folder"

# seed NAME HEX...: the bytes as a file.
seed() {
  name=$1
  shift
  for byte in "$@"; do
    # shellcheck disable=SC2059  # the format is the byte itself
    printf "\\$(printf %03o "0x$byte")"
  done > "$folder/$name"
}

# repeat COUNT HEX...: the bytes so many times over.
repeat() {
  count=$1
  shift
  while [ "$count" -gt 0 ]; do
    printf '%s ' "$@"
    count=$((count - 1))
  done
}

seed null                    00
seed char                    01 41
seed short_negative          02 FF FE
seed int_zero                03 00
seed int_negative            03 04 FF FF FF FF
seed int_of_five_bytes       03 05 01 02 03 04 05
seed int_leading_zeros       03 03 00 00 07
seed int_truncated           03 03 01 02
seed long                    04 02 01 00
seed float                   05 3F C0 00 00
seed float_nan               05 7F C0 00 00
seed float_signalling_nan    05 7F 80 00 01
seed float_infinity          05 FF 80 00 00
seed double                  06 3F F0 00 00 00 00 00 00
seed double_nan              06 7F F8 00 00 00 00 00 01
seed bool                    07 01 02
seed opaque                  08 43 01 02 01 FF
seed opaque_empty            08 43 00
seed string                  09 43 01 03 61 62 63
seed string_with_nul         09 43 01 03 61 00 78
seed string_foreign_length   09 03 01 02 61 62
seed string_claims_4_gib     09 43 04 FF FF FF FF 61
seed oid                     0A 01 01 3B 01 06 01 03 01 07
seed oid_invalid             0A 00
seed oid_odd_validity        0A 05 00 00 00 00
seed oid_of_long_numbers     0A 01 05 01 02 03 04 05 00 00 00
seed aid                     0B 01 01 3B 01 06 01 02
seed aid_loose_count         0B 01 01 3B 02 01
seed aid_truncated           0B 01 05 01
seed time                    0C 04 3B 9A CA 00
seed address                 0F 02 0A 00 00 01
seed address_none            0F 00
seed address_unknown_family  0F 07 01 02 03 04
seed unsigned_char           41 FF
seed unsigned_short          42 FF FF
seed unsigned_int            43 04 FF FF FF FF
seed unsigned_long           44 02 01 00
seed gauge_refused           4D 01 05
seed tag_unknown             FF
seed list_empty              80 43 00
seed list_of_two             80 43 01 02 03 01 05 07 00
seed list_in_list            80 43 01 01 80 43 01 01 03 01 07
seed list_of_nulls           80 43 01 03 00 00 00
seed list_unknown_element    80 43 01 02 03 01 05 FF
seed list_of_opaque_and_nan  80 43 01 02 08 43 01 01 05 05 FF C0 00 00
seed list_claims_4_gi        80 43 04 FF FF FF FF 00 00 00
seed attribute               17 0B 01 01 3B 01 06 01 02 01 03 01 05
seed attribute_without_value 17 0B 01 01 3B 01 06 01 02 00
seed attribute_of_attribute  17 0B 00 01 17 0B 00 01 17 0B 00 00
seed attribute_of_list       17 0B 00 01 80 43 01 01 17 0B 00 01 80 43 00
seed attribute_value_op      18 0B 01 01 3B 01 06 01 02 01 03 01 05 01 01
seed object                  19 0A 01 01 3B 01 06 01 03 01 07 80 43 01 01 \
                             17 0B 00 01 03 01 05
seed object_in_list          80 43 01 01 19 0A 00 80 43 01 01 17 0B 00 00
seed attribute_desc          11 09 43 00 0B 00 43 00 00 43 00 43 00 07 00
seed action_desc_in_list     80 43 01 01 12 09 43 00 0B 00 80 43 01 01 \
                             10 09 43 00 43 00
seed object_desc             14 09 43 00 0A 00 0A 00 80 43 01 01 \
                             11 09 43 00 0B 00 43 00 00 43 00 43 00 07 00 \
                             80 43 00 80 43 00
seed get_pdu                 1F 03 00 43 01 07 0A 00 0A 01 01 3B 01 06 00 00 \
                             80 43 01 01 17 0B 00 00
seed get_pdu_in_list         80 43 01 01 \
                             1F 03 00 43 01 07 0A 00 0A 01 01 3B 01 06 00 00 \
                             80 43 01 01 17 0B 00 00
seed action_response         2A 03 00 43 01 07 0A 00 80 43 01 01 03 01 05
seed action_response_in_list 80 43 01 01 \
                             2A 03 00 43 01 07 0A 00 80 43 01 01 03 01 05
# shellcheck disable=SC2046  # words are bytes
seed lists_nested_64         $(repeat 63 80 43 01 01) 80 43 00
# shellcheck disable=SC2046
seed lists_nested_too_deep   $(repeat 2200 80 43 01 01) 00
# shellcheck disable=SC2046
seed attributes_too_deep     $(repeat 2200 17 0B 00 01) 00
# shellcheck disable=SC2046
seed attributes_nested_2000  $(repeat 2000 17 0B 00 01) 00
# shellcheck disable=SC2046
seed objects_nested_2000     $(repeat 2000 19 0A 00 80 43 01 01) 00
