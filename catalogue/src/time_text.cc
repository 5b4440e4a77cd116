#include "time_text.h"

#include <cstdio>
#include <limits>

#include "words.h"

namespace ostrel {
namespace {

constexpr std::int64_t kDay = 86400;
constexpr const char* kExample = "2026-11-22T10:47:00Z";

struct Date {
  std::int64_t year;
  std::int64_t month;
  std::int64_t day;
};

// Days since 1970. Years begin in March here, so that the leap day is the last.
std::int64_t daysOf(const Date& date) {
  const std::int64_t year = date.month <= 2 ? date.year - 1 : date.year;
  const std::int64_t month = (date.month + 9) % 12;
  const std::int64_t dayOfYear = (153 * month + 2) / 5 + date.day - 1;
  constexpr std::int64_t kMarch0 = 719468;  // days from 0000-03-01 to 1970
  return 365 * year + year / 4 - year / 100 + year / 400 + dayOfYear - kMarch0;
}

// The first year that begins no later, then the same for month: at most 140
// and 12 steps, for a range of 136 years.
Date dateOf(std::int64_t days) {
  Date date{1970, 1, 1};
  while (daysOf({date.year + 1, 1, 1}) <= days) ++date.year;
  while (date.month < 12 && daysOf({date.year, date.month + 1, 1}) <= days)
    ++date.month;
  date.day = days - daysOf({date.year, date.month, 1}) + 1;
  return date;
}

// Reads a text from its beginning; the first failure sticks.
class Scanner {
 public:
  explicit Scanner(std::string_view text) : rest_(text) {}

  std::int64_t digits(std::size_t count) {
    std::int64_t number = 0;
    if (rest_.size() < count) good_ = false;
    for (std::size_t i = 0; good_ && i < count; ++i) {
      const char c = rest_[i];
      good_ = c >= '0' && c <= '9';
      number = number * 10 + (c - '0');
    }
    if (good_) rest_.remove_prefix(count);
    return good_ ? number : 0;
  }
  bool takes(char c) {
    if (!good_ || rest_.empty() || rest_[0] != c) return false;
    rest_.remove_prefix(1);
    return true;
  }
  void needs(char c) {
    if (!takes(c)) good_ = false;
  }
  bool atEnd() const { return good_ && rest_.empty(); }
  bool good() const { return good_; }

 private:
  std::string_view rest_;
  bool good_ = true;
};

std::optional<std::uint32_t> fail(std::string* mistake, std::string_view text,
                                  const char* why) {
  *mistake = quoted(text) + " " + why + "; write " + kExample +
             ", or +01:00 in place of Z";
  return std::nullopt;
}

bool isDate(const Date& date) {
  if (date.month < 1 || date.month > 12 || date.day < 1 || date.year < 1)
    return false;
  const Date next = date.month == 12 ? Date{date.year + 1, 1, 1}
                                     : Date{date.year, date.month + 1, 1};
  return date.day <= daysOf(next) - daysOf({date.year, date.month, 1});
}

}  // namespace

std::string timeText(std::uint32_t seconds) {
  const Date date = dateOf(std::int64_t{seconds} / kDay);
  const auto left = static_cast<int>(std::int64_t{seconds} % kDay);
  char text[32];
  std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02dZ",
                static_cast<int>(date.year), static_cast<int>(date.month),
                static_cast<int>(date.day), left / 3600, left / 60 % 60,
                left % 60);
  return text;
}

std::optional<std::uint32_t> timeFrom(std::string_view text,
                                      std::string* mistake) {
  if (!text.empty() && text[0] == '@') {
    const auto seconds = decimalNumber(text.substr(1));
    if (!seconds)
      *mistake = quoted(text) +
                 " is no number of seconds from @0 to "
                 "@4294967295";
    return seconds;
  }
  Scanner scan(text);
  Date date{};
  date.year = scan.digits(4);
  scan.needs('-');
  date.month = scan.digits(2);
  scan.needs('-');
  date.day = scan.digits(2);
  if (!scan.takes('T')) scan.needs(' ');
  const std::int64_t hour = scan.digits(2);
  scan.needs(':');
  const std::int64_t minute = scan.digits(2);
  const std::int64_t second = scan.takes(':') ? scan.digits(2) : 0;
  if (!scan.good()) return fail(mistake, text, "is no time");
  if (!isDate(date) || hour > 23 || minute > 59 || second > 59)
    return fail(mistake, text, "is no time that a calendar and a clock show");
  if (scan.atEnd()) return fail(mistake, text, "has no zone");
  std::int64_t ahead = 0;
  if (!scan.takes('Z')) {
    const bool isWest = scan.takes('-');
    if (!isWest) scan.needs('+');
    const std::int64_t hours = scan.digits(2);
    scan.needs(':');
    const std::int64_t minutes = scan.digits(2);
    if (hours > 23 || minutes > 59) return fail(mistake, text, "has no zone");
    ahead = (isWest ? -60 : 60) * (hours * 60 + minutes);
  }
  if (!scan.atEnd()) return fail(mistake, text, "has no zone");
  const std::int64_t seconds =
      daysOf(date) * kDay + hour * 3600 + minute * 60 + second - ahead;
  if (seconds < 0 || seconds > std::numeric_limits<std::uint32_t>::max()) {
    *mistake = quoted(text) +
               " is outside 1970-01-01T00:00:00Z to "
               "2106-02-07T06:28:15Z";
    return std::nullopt;
  }
  return static_cast<std::uint32_t>(seconds);
}

}  // namespace ostrel
