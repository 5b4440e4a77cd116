// What a PDU is called and what it holds, by name: the common ground of its
// printed and its JSON form.

#ifndef OSTREL_TOOLS_OSTREL_FORMAT_PDU_TEXT_H
#define OSTREL_TOOLS_OSTREL_FORMAT_PDU_TEXT_H

#include <ostrel/veskPDU.h>

#include <string>
#include <vector>

namespace ostrel::tools::cli {

// A member behind the header; `value` stays the PDU's and may be null.
struct Field {
  const char* name;
  veskType* value;
};

// The members in the order of the PDU's declaration.
std::vector<Field> fieldsOf(veskPDU& pdu);

// "get", "getResponse", ...; "pdu" for what has no name.
const char* pduName(veskPDU& pdu);

// A line for the header and one for each field, attributes and errors on lines
// of their own; each line begins with `indent` and ends with a newline.
std::string pduText(veskPDU& pdu, const std::string& indent);

// Any other value the same way: lists with an element on each line.
std::string valueLines(veskType* value, const std::string& indent);

// "5(Permission Denied)", the library's own text for a code, in one line. The
// code 10 is told to be a time-out when its cause, an errno, is ETIMEDOUT.
std::string codeText(int code, int cause = 0);

}  // namespace ostrel::tools::cli

#endif  // OSTREL_TOOLS_OSTREL_FORMAT_PDU_TEXT_H
