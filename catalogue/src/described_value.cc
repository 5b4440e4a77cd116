#include <ostrel/described_value.h>

#include <limits>

#include "formats.h"
#include "number_text.h"
#include "time_text.h"
#include "value_list_text.h"
#include "value_parts.h"
#include "words.h"

namespace ostrel {
namespace {

// Digits with or without a minus: far more than any type holds.
std::optional<std::int64_t> wholeFrom(std::string_view text) {
  const bool isNegative = !text.empty() && text[0] == '-';
  const auto number = decimalNumber(text.substr(isNegative ? 1 : 0));
  if (!number) return std::nullopt;
  return isNegative ? -std::int64_t{*number} : std::int64_t{*number};
}

DescribedValue readWhole(const ValueDescription& description,
                         const TypeRow& row, std::string_view text) {
  std::vector<std::string_view> names;
  for (const ValueName& name : description.values) {
    if (name.name == text) return checkedWhole(description, row, name.value);
    names.emplace_back(name.name);
  }
  if (const auto number = wholeFrom(text))
    return checkedWhole(description, row, *number);
  if (!names.empty())
    return refused(quoted(text) + " is not among the values" +
                   suggestion(text, names) + "; write " +
                   namesText(description));
  const bool isLarge =
      !text.empty() && text.find_first_not_of("0123456789") == text.npos;
  return refused(quoted(text) +
                 (isLarge && text[0] != '0'
                      ? " is too large for the type "
                      : " is no decimal number of the type ") +
                 row.name + ", which holds " + rangeText(row.least, row.most));
}

DescribedValue readFraction(const ValueDescription& description,
                            const TypeRow& row, std::string_view text) {
  if (row.tag == kTagDouble) {
    if (const auto number = numberFrom(text))
      return checkedFraction(description, *number);
  } else if (const auto number = shortNumberFrom(text)) {
    return checkedFraction(description, *number);
  }
  return refused(quoted(text) + " is no decimal number of the type " +
                 row.name + "; write 0.5 or 2e9, for instance");
}

std::optional<std::string> uint64From(std::string_view text) {
  if (text.empty() || text.size() > 20 || (text.size() > 1 && text[0] == '0'))
    return std::nullopt;
  std::uint64_t number = 0;
  for (const char c : text) {
    if (c < '0' || c > '9') return std::nullopt;
    const auto digit = static_cast<std::uint64_t>(c - '0');
    constexpr auto kMost = std::numeric_limits<std::uint64_t>::max();
    if (number > (kMost - digit) / 10) return std::nullopt;
    number = number * 10 + digit;
  }
  std::string bytes(kUint64Bytes, '\0');
  for (std::size_t i = kUint64Bytes; i-- > 0; number >>= 8U)
    bytes[i] = static_cast<char>(number & 0xffU);
  return bytes;
}

int hexDigit(char c) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  const char lower = c >= 'A' && c <= 'F' ? static_cast<char>(c + 32) : c;
  const std::size_t position = kDigits.find(lower);
  return position == kDigits.npos ? -1 : static_cast<int>(position);
}

DescribedValue readBytes(const ValueDescription& description,
                         std::string_view text) {
  if (description.format == ValueFormat::uint64) {
    const auto bytes = uint64From(text);
    if (!bytes)
      return refused(quoted(text) +
                     " is no decimal number from 0 to 18446744073709551615");
    return checkedBytes(description, *bytes);
  }
  std::string bytes;
  for (std::size_t i = 0; i + 1 < text.size(); i += 2) {
    const int high = hexDigit(text[i]);
    const int low = hexDigit(text[i + 1]);
    if (high < 0 || low < 0) break;
    bytes += static_cast<char>(high * 16 + low);
  }
  if (bytes.size() * 2 != text.size())
    return refused(quoted(text) +
                   " is not bytes; write two hexadecimal digits for each, "
                   "0aff for instance");
  return checkedBytes(description, bytes);
}

DescribedValue readOid(const ValueDescription& description,
                       std::string_view text, const Catalogue* catalogue) {
  if (!dottedNumbers(text, 4, 4))
    return refused(quoted(text) +
                   " is no object; write four numbers with dots between, "
                   "59.200.0.1 for instance");
  veskOid oid(std::string(text).c_str());
  DescribedValue read = checkedOid(description, oid, catalogue);
  if (!read) read.mistake = quoted(text) + " " + read.mistake;
  return read;
}

DescribedValue readAid(std::string_view text) {
  if (!dottedNumbers(text, 3, 3))
    return refused(quoted(text) +
                   " is no attribute, action or event; write three numbers "
                   "with dots between, 59.200.1 for instance");
  return made<veskAid>(std::string(text).c_str());
}

DescribedValue readAddress(std::string_view text) {
  if (!isIpv4(text))
    return refused(quoted(text) +
                   " is no IPv4 address; write four numbers from 0 to 255 with "
                   "dots between, 10.0.0.7 for instance");
  return made<veskAddress>(std::string(text).c_str());
}

DescribedValue readTime(std::string_view text) {
  std::string mistake;
  const auto seconds = timeFrom(text, &mistake);
  if (!seconds) return refused(mistake);
  return made<veskTime>(*seconds);
}

DescribedValue readOne(const ValueDescription& description, const TypeRow& row,
                       std::string_view text, const Catalogue* catalogue) {
  switch (row.family) {
    case TypeFamily::whole:
      return readWhole(description, row, text);
    case TypeFamily::fraction:
      return readFraction(description, row, text);
    case TypeFamily::truth:
      if (text == "true") return made<veskBool>(1U);
      if (text == "false") return made<veskBool>(0U);
      return refused(quoted(text) + " is neither; write true or false");
    case TypeFamily::text:
      return checkedText(description, text);
    case TypeFamily::bytes:
      return readBytes(description, text);
    case TypeFamily::objectId:
      return readOid(description, text, catalogue);
    case TypeFamily::memberId:
      return readAid(text);
    case TypeFamily::address:
      return readAddress(text);
    case TypeFamily::time:
      return readTime(text);
    default:
      return refused(std::string("a value of the type ") + row.name +
                     " cannot be written as text");
  }
}

}  // namespace

DescribedValue readValue(const ValueDescription& description,
                         std::string_view text, const Catalogue* catalogue) {
  const TypeRow* row = elementRow(description);
  if (row == nullptr) return refused("the type is not known");
  if (text.size() > std::numeric_limits<std::uint32_t>::max())
    return refused("is longer than a value can be");
  if (description.type != kTagList)
    return readOne(description, *row, text, catalogue);
  const auto elements = splitElements(text);
  if (!elements)
    return refused(quoted(text) +
                   " is no list; put commas between elements, a backslash "
                   "before a comma in one, and write \"\" for an empty one");
  return listOf(description, elements->size(), [&](std::size_t i) {
    return readOne(description, *row, elements->at(i), catalogue);
  });
}

}  // namespace ostrel
