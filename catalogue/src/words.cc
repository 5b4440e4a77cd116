#include "words.h"

#include <algorithm>
#include <cstdio>
#include <limits>
#include <numeric>

namespace ostrel {
namespace {

constexpr std::size_t kLongestName = 32;
constexpr std::size_t kLongestQuoted = 60;

bool isLetter(char c) { return c >= 'a' && c <= 'z'; }
bool isDigit(char c) { return c >= '0' && c <= '9'; }

// How many letters have to change, go, come or swap places with the next.
std::size_t distance(std::string_view a, std::string_view b) {
  std::vector<std::vector<std::size_t>> rows(
      a.size() + 1, std::vector<std::size_t>(b.size() + 1));
  for (std::size_t i = 0; i <= a.size(); ++i) {
    for (std::size_t j = 0; j <= b.size(); ++j) {
      if (i == 0 || j == 0) {
        rows[i][j] = i + j;
        continue;
      }
      const std::size_t change = a[i - 1] == b[j - 1] ? 0 : 1;
      rows[i][j] = std::min({rows[i - 1][j] + 1, rows[i][j - 1] + 1,
                             rows[i - 1][j - 1] + change});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
        rows[i][j] = std::min(rows[i][j], rows[i - 2][j - 2] + 1);
    }
  }
  return rows[a.size()][b.size()];
}

}  // namespace

bool isName(std::string_view word) {
  return !word.empty() && word.size() <= kLongestName && isLetter(word[0]) &&
         std::all_of(word.begin(), word.end(), [](char c) {
           return isLetter(c) || isDigit(c) || c == '-';
         });
}

std::optional<std::uint32_t> decimalNumber(std::string_view text) {
  if (text.empty() || text.size() > 10) return std::nullopt;
  if (text.size() > 1 && text[0] == '0') return std::nullopt;
  std::uint64_t number = 0;
  for (const char c : text) {
    if (!isDigit(c)) return std::nullopt;
    number = number * 10 + static_cast<std::uint64_t>(c - '0');
  }
  if (number > std::numeric_limits<std::uint32_t>::max()) return std::nullopt;
  return static_cast<std::uint32_t>(number);
}

std::optional<std::vector<std::uint32_t>> dottedNumbers(std::string_view text,
                                                        std::size_t least,
                                                        std::size_t most) {
  std::vector<std::uint32_t> numbers;
  for (;;) {
    const std::size_t dot = text.find('.');
    const auto number = decimalNumber(text.substr(0, dot));
    if (!number || numbers.size() == most) return std::nullopt;
    numbers.push_back(*number);
    if (dot == text.npos) break;
    text.remove_prefix(dot + 1);
  }
  if (numbers.size() < least) return std::nullopt;
  return numbers;
}

std::optional<ClassId> classIdFrom(std::string_view text) {
  const auto numbers = dottedNumbers(text, 2, 2);
  if (!numbers) return std::nullopt;
  return ClassId{numbers->at(0), numbers->at(1)};
}

std::optional<MemberId> memberIdFrom(std::string_view text) {
  const auto numbers = dottedNumbers(text, 3, 3);
  if (!numbers) return std::nullopt;
  return MemberId{{numbers->at(0), numbers->at(1)}, numbers->at(2)};
}

std::string suggestion(std::string_view word,
                       const std::vector<std::string_view>& candidates) {
  if (word.size() > kLongestName) return "";
  std::string_view best;
  constexpr std::size_t kShort = 5;
  // One letter of a short word, two of a longer one.
  std::size_t least = word.size() < kShort ? 2 : 3;
  if (word.size() < 2) return "";
  for (const std::string_view candidate : candidates) {
    if (candidate.size() > kLongestName || candidate == word) continue;
    const std::size_t d = distance(word, candidate);
    if (d >= least) continue;
    least = d;
    best = candidate;
  }
  if (best.empty()) return "";
  return " (did you mean '" + std::string(best) + "'?)";
}

std::string printable(std::string_view text) {
  std::string result;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= 0x20 && byte != 0x7f) {
      result += c;
      continue;
    }
    char escape[5];
    std::snprintf(escape, sizeof escape, "\\x%02x", byte);
    result += escape;
  }
  return result;
}

std::string quoted(std::string_view word) {
  if (word.size() <= kLongestQuoted) return "'" + printable(word) + "'";
  // Not in the middle of a character of several bytes.
  std::size_t end = kLongestQuoted;
  while (end > 0 && (static_cast<unsigned char>(word[end]) & 0xc0) == 0x80)
    --end;
  return "'" + printable(word.substr(0, end)) + "...'";
}

std::string joined(const std::vector<std::string_view>& words) {
  std::string result;
  for (std::size_t i = 0; i < words.size(); ++i) {
    if (i > 0) result += i + 1 == words.size() ? " or " : ", ";
    result += words[i];
  }
  return result;
}

}  // namespace ostrel
