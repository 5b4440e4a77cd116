#include "terminal/failure.h"

#include <ostrel/codes.h>

#include <algorithm>
#include <iterator>

namespace ostrel::tools::cli {
namespace {

struct Name {
  Exit exit;
  const char* name;
};
constexpr Name kNames[] = {
    {kDone, "done"},         {kRefused, "refused"},         {kUsage, "usage"},
    {kNoAnswer, "noAnswer"}, {kPartial, "partial"},         {kDecode, "decode"},
    {kSetup, "setup"},       {kInterrupted, "interrupted"},
};

struct Hint {
  int code;
  const char* text;
};
constexpr Hint kHints[] = {
    {kNoError, ""},
    {kArgListError, ""},
    {kNoSuchName,
     "There is no such object, class or attribute there: ostrel search CLASS "
     "lists the objects of a class."},
    {kBadValue,
     "The value or its type does not fit: ostrel set --help lists the types."},
    {kOidFormat, "The server cannot use this identifier."},
    {kAidFormat, "The server cannot use this identifier."},
    {kPermissionDenied,
     "The server's policy does not let this principal write: --principal names "
     "another."},
    {kBadAccess, "The object does not allow this operation."},
    {kRequiredAttribute, "An attribute that the class requires is missing."},
    {kNoObjectManager,
     "No program at that server serves this class or action."},
    {kDatabaseError, "The server cannot use its store: its log may tell why."},
    {kNetworkError,
     "The server could not reach another one: its log may tell why."},
    {kCodingError,
     "The server could not read or write a message: --trace shows what was "
     "sent."},
    {kAddressError, "The server cannot use an address that it was given."},
    {kTooManyResults,
     "There are more results than an answer holds: narrow the conditions, or "
     "let ostrel walk ask for them in pages."},
    {kInternalError, "The server failed: its log may tell why."},
};

}  // namespace

const char* exitName(Exit exit) {
  const auto* found =
      std::find_if(std::begin(kNames), std::end(kNames),
                   [&](const Name& each) { return each.exit == exit; });
  return found != std::end(kNames) ? found->name : "unknown";
}

std::string hintFor(int code) {
  const auto* found =
      std::find_if(std::begin(kHints), std::end(kHints),
                   [&](const Hint& each) { return each.code == code; });
  return found != std::end(kHints)
             ? found->text
             : "The code is the server's own: its documentation may tell more.";
}

}  // namespace ostrel::tools::cli
