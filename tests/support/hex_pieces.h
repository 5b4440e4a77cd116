// Pieces of PDUs in hex, from which tests put requests and answers together:
// "27" SUCCESS NONE NONE. Macros, since only literals join that way. "ID" is
// the id of the request that a server answers.

#ifndef OSTREL_TESTS_SUPPORT_HEX_PIECES_H
#define OSTREL_TESTS_SUPPORT_HEX_PIECES_H

// Headers behind the tag: status, request id, no principal.
#define SUCCESS " 03 00 ID 0A 00 "
#define PARTIAL " 03 04 FF FF FF FF ID 0A 00 "  // status -1
#define REFUSED " 03 01 05 ID 0A 00 "           // status 5
#define HEADER " 03 00 43 00 0A 00 "            // of events: status 0, id 0

// Lists.
#define NONE " 80 43 00 "
#define ONE " 80 43 01 01 "  // of the piece that follows
#define TWO " 80 43 01 02 "
#define ERRORS ONE "1A 43 01 01 03 01 05 "  // item 1, code 5

// Identifiers.
#define NOBODY " 0A 00 "
#define PRINCIPAL " 0A 01 01 3B 01 6E 01 01 01 01 "      // 59.110.1.1
#define PRINCIPAL_OBJECT " 0A 01 01 3B 01 6E 00 01 09 "  // 59.110.0.9
#define OBJECT " 0A 01 01 3B 01 06 00 01 01 "            // 59.6.0.1
#define NEW_OBJECT " 0A 01 01 3B 01 06 00 01 09 "        // 59.6.0.9
#define EVENT " 0B 01 01 3B 01 07 01 05 "                // 59.7.5
#define NOTIFY_EXPIRE " 0B 01 01 3B 01 06 01 06 "        // 59.6.6

#endif  // OSTREL_TESTS_SUPPORT_HEX_PIECES_H
