#include "common/toml_file.h"

// Only this file sees the library, which is all headers. It asserts what some
// texts break ("[[["), or with NDEBUG has the compiler rely on it, although it
// goes on to report such a text properly: so its assertions are left out.
#pragma push_macro("NDEBUG")
#undef NDEBUG
#define TOML_HEADER_ONLY 1
#define TOML_ENABLE_FORMATTERS 0
#define TOML_ASSERT(condition) static_cast<void>(0)
#include <toml++/toml.h>
#pragma pop_macro("NDEBUG")

#include <algorithm>
#include <charconv>
#include <optional>
#include <utility>

namespace ostrel::tools {
namespace {

std::string shortest(double number) {
  char buffer[64];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, number);
  return std::string(buffer, result.ptr);
}

// Nothing for what is neither text nor number nor truth value.
std::optional<std::string> textOf(const toml::node& node) {
  if (const auto* text = node.as_string()) return text->get();
  if (const auto* number = node.as_integer())
    return std::to_string(number->get());
  if (const auto* number = node.as_floating_point())
    return shortest(number->get());
  if (const auto* truth = node.as_boolean())
    return truth->get() ? "true" : "false";
  return std::nullopt;
}

class Reader {
 public:
  explicit Reader(const std::string& name) : name_(name) {}

  std::vector<TomlEntry> read(std::istream& file) {
    try {
      readTable({}, toml::parse(file, name_));
    } catch (const toml::parse_error& error) {
      throw ConfigurationError(placeOf(error.source().begin) + ": " +
                               std::string(error.description()));
    }
    // The tables of the library are in the order of the names.
    std::sort(found_.begin(), found_.end(),
              [](const Found& left, const Found& right) {
                return std::pair(left.at.line, left.at.column) <
                       std::pair(right.at.line, right.at.column);
              });
    std::vector<TomlEntry> entries;
    for (Found& each : found_) entries.push_back(std::move(each.entry));
    return entries;
  }

 private:
  struct Found {
    toml::source_position at;
    TomlEntry entry;
  };

  std::string placeOf(const toml::source_position& at) const {
    return name_ + ":" + std::to_string(at.line) + ":" +
           std::to_string(at.column);
  }

  void readTable(const std::vector<std::string>& path,
                 const toml::table& table) {
    for (const auto& [key, node] : table) {
      TomlEntry entry;
      entry.path = path;
      entry.path.emplace_back(key.str());
      entry.place = placeOf(key.source().begin);
      entry.isTable = node.is_table();
      entry.isArray = node.is_array();
      if (entry.isArray)
        for (const toml::node& element : *node.as_array())
          addValue(element, &entry);
      else if (!entry.isTable)
        addValue(node, &entry);
      const std::vector<std::string> own = entry.path;
      found_.push_back({key.source().begin, std::move(entry)});
      if (node.is_table()) readTable(own, *node.as_table());
    }
  }

  void addValue(const toml::node& node, TomlEntry* entry) const {
    std::optional<std::string> text = textOf(node);
    if (!text)
      throw ConfigurationError(placeOf(node.source().begin) + ": '" +
                               entry->name() +
                               "' has to be a text, a number, true or false, "
                               "or an array of these");
    entry->values.push_back(std::move(*text));
  }

  std::string name_;
  std::vector<Found> found_;
};

// How many characters have to be put in, taken out or replaced.
std::size_t distance(const std::string& left, const std::string& right) {
  std::vector<std::size_t> row(right.size() + 1);
  for (std::size_t i = 0; i < row.size(); ++i) row[i] = i;
  for (std::size_t i = 1; i <= left.size(); ++i) {
    std::size_t diagonal = row[0];
    row[0] = i;
    for (std::size_t j = 1; j <= right.size(); ++j) {
      const std::size_t replaced =
          diagonal + (left[i - 1] == right[j - 1] ? 0 : 1);
      diagonal = row[j];
      row[j] = std::min({replaced, row[j] + 1, row[j - 1] + 1});
    }
  }
  return row.back();
}

}  // namespace

std::vector<TomlEntry> readToml(std::istream& file, const std::string& name) {
  return Reader(name).read(file);
}

std::string suggestion(const std::string& word,
                       const std::vector<std::string>& known) {
  constexpr std::size_t kSlips = 2;
  // Long words are not compared: nobody means a short one with them.
  constexpr std::size_t kLongestWord = 64;
  std::string all;
  std::size_t least = kSlips + 1;
  std::string nearest;
  for (const std::string& each : known) {
    all += (all.empty() ? "" : ", ") + each;
    if (word.size() > kLongestWord) continue;
    const std::size_t slips = distance(word, each);
    // Of a short word, not all may be a slip.
    if (slips >= least || slips >= each.size()) continue;
    least = slips;
    nearest = each;
  }
  if (!nearest.empty()) return " (is '" + nearest + "' meant?)";
  return all.empty() ? "" : " (known are: " + all + ")";
}

}  // namespace ostrel::tools
