#include <ostrel/codes.h>
#include <ostrel/function.h>
#include <ostrel/result.h>
#include <ostrel/veskError.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <system_error>
#include <utility>

namespace ostrel {

struct Error::State {
  Failure kind;
  bool mayHaveHappened;
  int code;
  int systemError;
  std::string what;
};

Error::Error(Failure kind, int code, int systemError, bool mayHaveHappened,
             std::string what) noexcept
    : state_(new (std::nothrow) State{kind, mayHaveHappened, code, systemError,
                                      std::move(what)}) {}

Error::Error(const Error& other) noexcept { *this = other; }
Error::Error(Error&& other) noexcept = default;
Error& Error::operator=(Error&& other) noexcept = default;
Error::~Error() = default;

Error& Error::operator=(const Error& other) noexcept {
  try {
    state_ = other.state_ == nullptr ? nullptr
                                     : std::make_unique<State>(*other.state_);
  } catch (const std::bad_alloc&) {
    state_ = nullptr;
  }
  return *this;
}

Failure Error::kind() const noexcept {
  return state_ != nullptr ? state_->kind : Failure::unsendable;
}
int Error::code() const noexcept {
  return state_ != nullptr ? state_->code : kNetworkError;
}
int Error::systemError() const noexcept {
  return state_ != nullptr ? state_->systemError : ENOMEM;
}
bool Error::mayHaveHappened() const noexcept {
  return state_ != nullptr && state_->mayHaveHappened;
}

namespace {

// What a code means, "5(Permission Denied)".
std::string meaningOf(int code) {
  // The text of code 10 has more when errno says so, which is about another
  // call here.
  const int before = std::exchange(errno, 0);
  const std::unique_ptr<char, decltype(&std::free)> text(
      veskGetErrorString(code, nullptr), &std::free);
  errno = before;
  return text.get();
}

struct Words {
  const char* why;
  const char* advice;
};

// In the order of Failure.
constexpr Words kWords[] = {
    {"the server refused it", ""},
    {"no answer", "is a server running there?"},
    {"nothing listens on that port", "is the server running?"},
    {"the answer cannot be read", "does something else answer there?"},
    {"it could not be sent", ""},
    {"cancelled", ""},
    {"not allowed here", "the handler of a request may not wait for another"},
    {"the value does not fit", "ask for its type() first"},
};

// Printable characters as they are, a backslash and everything else escaped.
// Bytes from 0x80 are parts of characters in UTF-8 and stay.
std::string safe(const std::string& text) {
  constexpr char kDigits[] = "0123456789abcdef";
  constexpr unsigned char kDelete = 0x7f;
  std::string result;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= ' ' && byte != kDelete && c != '\\')
      result += c;
    else
      result += {'\\', 'x', kDigits[byte >> 4], kDigits[byte & 0xf]};
  }
  return result;
}

}  // namespace

std::string Error::text() const {
  const Words& words = kWords[static_cast<unsigned>(kind())];
  std::string text = state_ != nullptr ? state_->what : std::string();
  if (!text.empty()) text += ": ";
  text += words.why;
  if (kind() == Failure::refused) text += ": " + meaningOf(code());
  if (systemError() != 0)
    text += ": " + std::generic_category().message(systemError());
  if (mayHaveHappened())
    text += "; the change may have been made, so look before asking again";
  if (*words.advice != '\0') text += std::string(" (") + words.advice + ")";
  return safe(text);
}

std::string ItemError::text() const {
  std::string text = "item " + std::to_string(position);
  if (identifier.valid()) text += " (" + identifier.text() + ")";
  return text + ": " + meaningOf(code);
}

namespace {

[[noreturn]] void fail(const char* line) {
  std::fprintf(stderr, "Assertion failed: %s\n", line);
  std::fflush(stderr);
  std::abort();
}

}  // namespace

void failNoValue(const Error& error) {
  std::string line = "a result has a value, not an error: ";
  fail((line += error.text()).c_str());
}
void failNoError() { fail("a result has an error, not a value"); }
void failEmptyCall() { fail("a function that is called is not empty"); }

}  // namespace ostrel
