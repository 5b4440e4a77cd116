#include "session/failures.h"

#include <cerrno>
#include <cstring>

#include "format/pdu_text.h"

namespace ostrel::tools::cli {
namespace {

// What to do about a server that is not there, up to the end of the sentence.
std::string missingHint(Asked asked) {
  return std::string(asked == Asked::kDirectory
                         ? "Is a directory server running there (ostreld "
                           "directory)?"
                         : "Is an object server running there (ostreld "
                           "serve)?") +
         " --server names another host";
}

Failure unsendable(const Error& error, const Endpoint& server) {
  if (error.code() == kCodingError || error.systemError() == EMSGSIZE)
    return Failure(
        kSetup,
        "the request is too large to be sent: " + codeText(kCodingError), "",
        kCodingError);
  return Failure(kSetup,
                 "cannot send to " + server.text() + ": " +
                     std::strerror(error.systemError()),
                 "Check the network, and the address given with --server.",
                 error.code());
}

}  // namespace

Failure failureOf(const Error& error, const Endpoint& server, Asked asked) {
  const int code = error.code();
  switch (error.kind()) {
    case ostrel::Failure::refused:
      return Failure(kRefused, codeText(code), hintFor(code), code);
    case ostrel::Failure::noAnswer:
      return Failure(
          kNoAnswer,
          "no answer from " + server.text() + ": " + codeText(code, ETIMEDOUT),
          missingHint(asked) + "; --timeout and --retries wait longer.", code);
    case ostrel::Failure::portClosed:
      return Failure(kNoAnswer,
                     "no answer from " + server.text() + ": the port is closed",
                     missingHint(asked) + ".", kNetworkError);
    case ostrel::Failure::undecodable:
    case ostrel::Failure::wrongValue:
      return Failure(kDecode,
                     "the answer cannot be read, or does not belong to the "
                     "request",
                     "--trace shows what was received.", kCodingError);
    case ostrel::Failure::unsendable:
      return unsendable(error, server);
    case ostrel::Failure::cancelled:
    case ostrel::Failure::misuse:
      break;
  }
  return Failure(kInterrupted, "interrupted before the answer came",
                 "A request that was sent may have been carried out.");
}

}  // namespace ostrel::tools::cli
