#include <ostrel/codes.h>
#include <ostrel/tags.h>
#include <ostrel/veskError.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "base/text.h"
#include "value/members.h"

using namespace ostrel;

namespace {

constexpr const char* kTexts[] = {
    "No Error",
    "No Such Name",
    "Bad Value",
    "Oid Format",
    "Aid Format",
    "Permission Denied",
    "Bad Access",
    "Required Attribute",
    "No Object Manager",
    "Database Error",
    "Network Error",
    "Encode/decode Error",
    "Address Error",
    "SysAdmin Error",
    "SysOwner Error",
    "SysLocation Error",
    "Ostrel Error 16",
    "Ostrel Error 17",
    "Ostrel Error 18",
    "Ostrel Error 19",
    "Ostrel Error 20",
    "Ostrel Error 21",
    "Ostrel Error 22",
    "Ostrel Error 23",
    "Ostrel Error 24",
    "Ostrel Error 25",
    "Ostrel Error 26",
    "Sys Admin/Owner Error",
    "Sys Admin/Location Error",
    "Sys Owner/Location Error",
    "Ostrel Error 30",
    "Ostrel Error 31",
    "Ostrel Error 32",
    "Ostrel Error 33",
    "Ostrel Error 34",
    "Ostrel Error 35",
    "Ostrel Error 36",
    "Ostrel Error 37",
    "Ostrel Error 38",
    "Ostrel Error 39",
    "Ostrel Error 40",
    "Ostrel Error 41",
    "Sys Admin/Owner/Location Error",
    "Ostrel Arg List Error",
    "Ostrel Internal Error",
};
constexpr int kTextCount = sizeof kTexts / sizeof kTexts[0];
constexpr int kArgListText = 43;
constexpr int kInternalText = 44;
static_assert(kTextCount == kInternalText + 1, "one text for each code");

// The text that goes with a code, or null. Kept: the last two texts belong to
// -1 and 255 only; the codes 43 and 44 themselves have none.
const char* textOf(int code) {
  if (code == kArgListError) return kTexts[kArgListText];
  if (code == kInternalError) return kTexts[kInternalText];
  return code >= 0 && code < kArgListText ? kTexts[code] : nullptr;
}

bool isTimeout(int code, int error) {
  return code == kNetworkError && error == ETIMEDOUT;
}

}  // namespace

veskError::veskError() : veskType(kTagError) {}
veskError::veskError(unsigned int item, int outcome)
    : veskType(kTagError), index(item), code(outcome) {}

unsigned veskError::encode(char* buffer, unsigned length) {
  return encodeMembers(veskType::encode(buffer, length), buffer, length,
                       Members(index, code));
}

unsigned veskError::decode(char* buffer, unsigned length) {
  return decodeMembers(veskType::decode(buffer, length), buffer, length,
                       Members(index, code));
}

char* veskError::getString() {
  Text text;
  text.add("index ").take(index.getString());
  text.add(" : ").take(code.getString()).add("(");
  if (code.value >= 0 && code.value < kTextCount)
    text.add(kTexts[code.value]);
  else
    text.add("illegal return code: ").add(code.value);
  return text.add(")").release();
}

veskType* veskError::dup() { return new veskError(index.value, code.value); }

char* veskGetErrorString(int code, veskList* list) {
  const int error = errno;
  Text text;
  if (const char* meaning = textOf(code)) {
    text.add(code).add("(").add(meaning).add(")");
    if (isTimeout(code, error)) text.add(": timed out\n");
    if (code == kArgListError && list != nullptr)
      text.add(" ").take(list->getString());
  } else {
    text.add("illegal return code: ").add(code);
  }
  char* made = text.release();
  errno = error;
  return made;
}

int veskPrintErrorString(int code, veskList* list) {
  const int error = errno;
  const char* meaning = textOf(code);
  if (meaning == nullptr)
    return std::printf("ostrelPrintErrorString: bad return code: %d\n", code);
  if (code == kArgListError || code == kInternalError) {
    const int printed = std::printf("Error is %d(%s)\n", code, meaning);
    if (code == kInternalError || list == nullptr) return printed;
    char* errors = list->getString();
    const int listed = std::printf("Errors are:\n\t%s\n", errors);
    std::free(errors);
    return listed;
  }
  std::printf("Error is %d(%s)", code, meaning);
  return std::printf(isTimeout(code, error) ? ": timed out\n" : "\n");
}
