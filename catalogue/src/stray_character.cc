#include "stray_character.h"

#include <algorithm>

namespace ostrel {
namespace {

constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";
constexpr std::string_view kBlanks = " \t\r\n";

class Scanner {
 public:
  explicit Scanner(std::string_view text) : text_(text) {}

  std::optional<TextPlace> run() {
    if (text_.substr(0, kByteOrderMark.size()) == kByteOrderMark)
      at_ = kByteOrderMark.size();
    while (at_ < text_.size() && !isStray_) {
      const char c = text_[at_];
      if (c == '#')
        at_ = std::min(text_.find('\n', at_), text_.size());
      else if (c == '"' || c == '\'')
        skipText(c);
      else
        look();
    }
    if (!isStray_) return std::nullopt;
    const std::string_view before = text_.substr(0, at_);
    const auto lines = std::count(before.begin(), before.end(), '\n');
    const std::size_t start = before.rfind('\n') + 1;  // npos + 1 is 0
    return TextPlace{static_cast<std::uint32_t>(lines + 1),
                     static_cast<std::uint32_t>(at_ - start + 1)};
  }

 private:
  // Takes one byte, unless it is a stray one.
  void look() {
    isStray_ = (static_cast<unsigned char>(text_[at_]) & 0x80U) != 0;
    if (!isStray_) ++at_;
  }

  // From one quote to the other, or to where the parser gives up.
  void skipText(char quote) {
    const bool isLong = text_.substr(at_, 3) ==
                        std::string_view(quote == '"' ? "\"\"\"" : "'''");
    at_ += isLong ? 3 : 1;
    while (at_ < text_.size() && !isStray_) {
      const char c = text_[at_];
      if (c == quote && !isLong) {
        ++at_;
        return;
      }
      if (c == '\n' && !isLong) return;
      if (c == quote && countOf(quote) >= 3) {
        at_ += std::min<std::size_t>(countOf(quote), 5);  // two may be inside
        return;
      }
      at_ += 1;
      if (c == '\\' && quote == '"') skipEscape();
    }
  }

  std::size_t countOf(char quote) const {
    const std::size_t end = text_.find_first_not_of(quote, at_);
    return std::min(end, text_.size()) - at_;
  }

  // What stands behind a backslash: a character, or blanks to be left out.
  void skipEscape() {
    if (at_ == text_.size()) return;
    if (kBlanks.find(text_[at_]) == kBlanks.npos) {
      ++at_;
      return;
    }
    at_ = std::min(text_.find_first_not_of(kBlanks, at_), text_.size());
    if (at_ < text_.size() &&
        (static_cast<unsigned char>(text_[at_]) & 0x80U) != 0)
      isStray_ = true;
  }

  std::string_view text_;
  std::size_t at_ = 0;
  bool isStray_ = false;
};

}  // namespace

std::optional<TextPlace> strayCharacter(std::string_view text) {
  return Scanner(text).run();
}

}  // namespace ostrel
