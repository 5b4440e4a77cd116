#include "table_reader.h"

#include <algorithm>

#include "words.h"

namespace ostrel {
namespace {

constexpr std::size_t kMostMistakes = 100;  // of one file

}  // namespace

bool FileReport::isFull() const { return mistakes_ > kMostMistakes; }

void FileReport::add(ClassMistake mistake) {
  if (isFull()) return;
  if (++mistakes_ > kMostMistakes) {
    mistake.text = "there are more mistakes; mend these first";
    mistake.isNote = false;
  }
  out_->mistakes.push_back(std::move(mistake));
}

void FileReport::mistake(const FilePlace& place, const std::string& where,
                         const std::string& text) {
  add({place, where.empty() ? text : where + ": " + text, false});
}

void FileReport::note(const FilePlace& place, const std::string& where,
                      const std::string& text) {
  add({place, where.empty() ? text : where + ": " + text, true});
}

void FileReport::unknown(const FilePlace& place, const std::string& where,
                         const std::string& text) {
  if (source_ == ClassSource::author)
    mistake(place, where, text);
  else
    note(place, where, text + "; left out");
}

std::string FileReport::word(const toml::source_region& region) const {
  std::string_view rest = text_;
  for (std::uint32_t line = 1; line < region.begin.line; ++line) {
    const std::size_t end = rest.find('\n');
    if (end == rest.npos) return "";
    rest.remove_prefix(end + 1);
  }
  rest = rest.substr(0, rest.find('\n'));
  if (region.begin.column == 0 || region.begin.column > rest.size()) return "";
  rest.remove_prefix(region.begin.column - 1);
  return std::string(rest.substr(0, rest.find_first_of(" \t\r,]}#")));
}

const char* kindOf(const toml::node& node) {
  switch (node.type()) {
    case toml::node_type::string:
      return "a text";
    case toml::node_type::integer:
      return "a whole number";
    case toml::node_type::floating_point:
      return "a number";
    case toml::node_type::boolean:
      return "true or false";
    case toml::node_type::array:
      return "an array";
    case toml::node_type::table:
      return "a table";
    default:
      return "a date or time";
  }
}

std::string TableReader::pathOf(const char* key) const {
  return path_.empty() ? key : path_ + "." + key;
}

const toml::node* TableReader::find(const char* key) {
  known_.emplace_back(key);
  const toml::node* node = table_.get(key);
  if (node != nullptr) (*places_)[pathOf(key)] = place(*node);
  return node;
}

void TableReader::mistake(const char* key, const std::string& text) {
  const toml::node* node = table_.get(key);
  FilePlace where = place(node != nullptr ? *node : table_);
  // The file itself is a table that begins nowhere.
  if (where.line == 0) where.line = where.column = 1;
  report_->mistake(where, pathOf(key), text);
}

void TableReader::wrongType(const char* key, const toml::node& node,
                            const char* wanted) {
  report_->mistake(
      place(node), pathOf(key),
      std::string("has to be ") + wanted + ", not " + kindOf(node));
}

std::optional<std::string> TableReader::text(const char* key) {
  const toml::node* node = find(key);
  if (node == nullptr) return std::nullopt;
  if (const auto* text = node->as_string()) return text->get();
  wrongType(key, *node, "a text in quotes");
  return std::nullopt;
}

std::optional<std::int64_t> TableReader::whole(const char* key) {
  const toml::node* node = find(key);
  if (node == nullptr) return std::nullopt;
  if (const auto* number = node->as_integer()) return number->get();
  wrongType(key, *node, "a whole number");
  return std::nullopt;
}

std::optional<bool> TableReader::truth(const char* key) {
  const toml::node* node = find(key);
  if (node == nullptr) return std::nullopt;
  if (const auto* truth = node->as_boolean()) return truth->get();
  wrongType(key, *node, "true or false");
  return std::nullopt;
}

const toml::table* TableReader::table(const char* key) {
  const toml::node* node = find(key);
  if (node == nullptr) return nullptr;
  if (const auto* table = node->as_table()) return table;
  wrongType(key, *node, "a table");
  return nullptr;
}

const toml::array* TableReader::array(const char* key) {
  const toml::node* node = find(key);
  if (node == nullptr) return nullptr;
  if (const auto* array = node->as_array()) return array;
  wrongType(key, *node, "an array");
  return nullptr;
}

std::vector<std::string> TableReader::texts(const char* key, std::size_t most) {
  std::vector<std::string> texts;
  const toml::array* elements = array(key);
  if (elements == nullptr) return texts;
  if (elements->size() > most) {
    mistake(key, "has " + std::to_string(elements->size()) + " entries; " +
                     std::to_string(most) + " are allowed");
    return texts;
  }
  for (const toml::node& element : *elements) {
    if (const auto* text = element.as_string())
      texts.push_back(text->get());
    else
      wrongType(key, element, "an array of texts in quotes");
  }
  return texts;
}

std::optional<std::size_t> TableReader::choice(
    const char* key, const std::vector<std::string_view>& words) {
  const auto word = text(key);
  if (!word) return std::nullopt;
  const auto found = std::find(words.begin(), words.end(), *word);
  if (found != words.end())
    return static_cast<std::size_t>(found - words.begin());
  report_->unknown(place(*table_.get(key)), pathOf(key),
                   "there is no " + quoted(*word) + suggestion(*word, words) +
                       "; write " + joined(words));
  return std::nullopt;
}

void TableReader::finish() {
  for (const auto& [key, node] : table_) {
    if (report_->isFull()) return;
    const std::string_view name = key.str();
    if (std::find(known_.begin(), known_.end(), name) != known_.end()) continue;
    report_->unknown(report_->place(key.source()), path_,
                     "unknown key " + quoted(name) + suggestion(name, known_));
  }
}

}  // namespace ostrel
