#include "value_reader.h"

#include <ostrel/described_value.h>

#include <algorithm>
#include <cmath>

#include "enum_words.h"
#include "number_text.h"
#include "type_table.h"
#include "value_list_text.h"
#include "words.h"

namespace ostrel {
namespace {

constexpr std::size_t kLongestText = 1000;
constexpr std::size_t kLongestUnit = 16;
constexpr std::size_t kMostValues = 1000;
constexpr const char* kScaledUnits[] = {
    "KiB", "MiB", "GiB", "TiB", "kB",  "KB", "MB", "GB", "TB",    "ms",
    "us",  "ns",  "kHz", "MHz", "GHz", "mV", "mA", "mW", "kbit/s"};

bool isNumber(const TypeRow* row) {
  return row != nullptr && (row->family == TypeFamily::whole ||
                            row->family == TypeFamily::fraction);
}

std::string numberOf(double number) { return numberText(number); }

// "gauge" and "counter" have tags, but no receiver decodes them.
bool isRefused(TableReader& table, const char* key, const std::string& word) {
  if (word != "gauge" && word != "counter") return false;
  table.mistake(key, "no receiver decodes the type " + word + "; write " + key +
                         " = \"uint\" and kind = \"" + word + "\"");
  return true;
}

Tag readType(TableReader& table, const char* key) {
  const auto word = table.text(key);
  if (!word || isRefused(table, key, *word)) return kTagNull;
  const TypeRow* row = typeRow(*word);
  if (row != nullptr) return row->tag;
  table.report()->unknown(
      table.places()->at(table.pathOf(key)), table.pathOf(key),
      "there is no type " + quoted(*word) + suggestion(*word, typeNames()) +
          "; write " + joined(typeNames()));
  return kTagNull;
}

void readTypes(TableReader& table, ValueDescription* value) {
  value->type = readType(table, "type");
  if (table.places()->count(table.pathOf("type")) == 0)
    table.mistake("type", "is missing; write type = \"string\", for instance");
  value->element = readType(table, "element");
  const bool hasElement = table.places()->count(table.pathOf("element")) != 0;
  if (value->type == kTagList && !hasElement)
    table.mistake("element",
                  "is missing: a list has elements of one type; write "
                  "element = \"string\", for instance");
  if (value->type != kTagList && value->type != kTagNull && hasElement) {
    table.mistake("element",
                  "only a list has elements; remove it, or write "
                  "type = \"list\"");
    value->element = kTagNull;
  }
  if (value->element == kTagList || value->element == kTagObjectDesc) {
    table.mistake("element", std::string("a list cannot hold the type ") +
                                 classTypeName(value->element));
    value->element = kTagNull;
  }
}

void readUnit(TableReader& table, ValueDescription* value) {
  const auto unit = table.text("unit");
  if (!unit) return;
  const auto length = std::count_if(unit->begin(), unit->end(), [](char c) {
    return (static_cast<unsigned char>(c) & 0xc0) != 0x80;
  });
  if (unit->empty() || static_cast<std::size_t>(length) > kLongestUnit ||
      printable(*unit) != *unit)
    return table.mistake("unit", "a unit has 1 to 16 printable characters; " +
                                     quoted(*unit) + " has not");
  const TypeRow* row = elementRow(*value);
  if (row != nullptr && !isNumber(row))
    return table.mistake("unit", std::string("only numbers have a unit, and ") +
                                     row->name + " is none; remove it");
  value->unit = *unit;
  if (std::find(std::begin(kScaledUnits), std::end(kScaledUnits), *unit) !=
      std::end(kScaledUnits))
    table.report()->note(table.places()->at(table.pathOf("unit")),
                         table.pathOf("unit"),
                         quoted(*unit) +
                             " is a multiple; in new attributes write the base "
                             "unit (byte, second, hertz), which tools scale");
}

std::optional<double> numberIn(const toml::node& node) {
  if (const auto* whole = node.as_integer())
    return static_cast<double>(whole->get());
  const auto* number = node.as_floating_point();
  if (number == nullptr || !std::isfinite(number->get())) return std::nullopt;
  return number->get();
}

// The two numbers of "range" or "length".
std::optional<ValueRange> readPair(TableReader& table, const char* key) {
  const toml::array* pair = table.array(key);
  if (pair == nullptr) return std::nullopt;
  std::optional<double> ends[2];
  if (pair->size() == 2) {
    ends[0] = numberIn((*pair)[0]);
    ends[1] = numberIn((*pair)[1]);
  }
  if (!ends[0] || !ends[1]) {
    table.mistake(key, std::string("has to be two numbers, the least and the "
                                   "greatest: ") +
                           key + " = [1, 32]");
    return std::nullopt;
  }
  if (*ends[0] > *ends[1]) {
    table.mistake(key, "the least, " + numberOf(*ends[0]) +
                           ", is greater than the greatest, " +
                           numberOf(*ends[1]) + "; swap them");
    return std::nullopt;
  }
  return ValueRange{*ends[0], *ends[1]};
}

void readRange(TableReader& table, ValueDescription* value) {
  const auto range = readPair(table, "range");
  const TypeRow* row = elementRow(*value);
  if (!range || row == nullptr) return;
  if (!isNumber(row))
    return table.mistake(
        "range", std::string("only numbers have a range, and ") + row->name +
                     " is none; remove it");
  if (range->least < row->least || range->most > row->most)
    return table.mistake("range", std::string("goes beyond what the type ") +
                                      row->name + " can hold, " +
                                      numberOf(row->least) + " to " +
                                      numberOf(row->most));
  value->range = range;
}

void readLength(TableReader& table, ValueDescription* value) {
  const auto pair = readPair(table, "length");
  const TypeRow* row = typeRow(value->type);
  if (!pair || row == nullptr) return;
  if (row->family != TypeFamily::text && row->family != TypeFamily::bytes &&
      row->family != TypeFamily::list)
    return table.mistake("length",
                         "only string, opaque and list have a length; remove "
                         "it");
  if (pair->least < 0 || pair->most > 4294967295.0 ||
      std::floor(pair->least) < pair->least ||
      std::floor(pair->most) < pair->most)
    return table.mistake("length",
                         "has to be two whole numbers from 0 to 4294967295");
  value->length = LengthRange{static_cast<std::uint32_t>(pair->least),
                              static_cast<std::uint32_t>(pair->most)};
}

// A value with a name: a number, or a table with it and a text.
std::optional<ValueName> readName(TableReader& values, const toml::key& key,
                                  const toml::node& node) {
  const std::string name(key.str());
  const std::string path = values.path() + "." + name;
  FileReport* report = values.report();
  (*values.places())[path] = report->place(key.source());
  ValueName result{name, 0, ""};
  if (!isName(name)) {
    report->mistake(report->place(key.source()), values.path(),
                    quoted(name) + " is no name: " + kNameRule);
    return std::nullopt;
  }
  if (const auto* number = node.as_integer()) {
    result.value = number->get();
    return result;
  }
  const toml::table* table = node.as_table();
  if (table == nullptr) {
    report->mistake(report->place(node.source()), path,
                    "has to be a whole number, or a table as in { value = 1, "
                    "text = \"...\" }");
    return std::nullopt;
  }
  TableReader reader(*table, path, report, values.places());
  const auto number = reader.whole("value");
  result.text = readText(reader);
  reader.finish();
  if (number) {
    result.value = *number;
    return result;
  }
  if (table->get("value") == nullptr)
    reader.mistake("value", "is missing; write value = 1, for instance");
  return std::nullopt;
}

void addName(TableReader& values, const TypeRow& row, ValueDescription* value,
             ValueName name) {
  const std::string path = values.path() + "." + name.name;
  const FilePlace place = values.places()->at(path);
  const double number = static_cast<double>(name.value);
  if (number < row.least || number > row.most)
    return values.report()->mistake(
        place, path,
        std::to_string(name.value) + " is beyond what the type " + row.name +
            " can hold, " + numberOf(row.least) + " to " + numberOf(row.most));
  if (value->range &&
      (number < value->range->least || number > value->range->most))
    return values.report()->mistake(place, path,
                                    std::to_string(name.value) +
                                        " is outside the range " +
                                        numberOf(value->range->least) + " to " +
                                        numberOf(value->range->most));
  for (const ValueName& other : value->values)
    if (other.value == name.value)
      return values.report()->mistake(
          place, path,
          std::to_string(name.value) + " has the name " + quoted(other.name) +
              " already; each number has one name");
  value->values.push_back(std::move(name));
}

void readValues(TableReader& table, ValueDescription* value) {
  const toml::table* values = table.table("values");
  if (values == nullptr) return;
  const TypeRow* row = elementRow(*value);
  if (row != nullptr && row->family != TypeFamily::whole)
    return table.mistake("values",
                         std::string("only whole numbers have names, and ") +
                             row->name +
                             " is none; remove them, or write "
                             "type = \"int\"");
  TableReader reader(*values, table.pathOf("values"), table.report(),
                     table.places());
  if (values->empty())
    table.mistake("values",
                  "names no value; remove it or write off = 0, for "
                  "instance");
  if (values->size() > kMostValues)
    return table.mistake("values", "names " + std::to_string(values->size()) +
                                       " values; 1000 are allowed");
  for (const auto& [key, node] : *values) {
    auto name = readName(reader, key, node);
    if (name && row != nullptr) addName(reader, *row, value, std::move(*name));
  }
  std::sort(
      value->values.begin(), value->values.end(),
      [](const ValueName& a, const ValueName& b) { return a.value < b.value; });
}

void readFormat(TableReader& table, ValueDescription* value) {
  const auto position =
      table.choice("format", {kFormatWords.begin() + 1, kFormatWords.end()});
  const TypeRow* row = elementRow(*value);
  if (!position || row == nullptr) return;
  const auto format = enumAt<ValueFormat>(*position, 1);
  const bool isBytes = format == ValueFormat::uint64;
  const auto family = isBytes ? TypeFamily::bytes : TypeFamily::text;
  if (row->family != family)
    return table.mistake("format", quoted(wordOf(kFormatWords, format)) +
                                       " is a format of " +
                                       (isBytes ? "opaque" : "string") +
                                       ", not of " + row->name);
  if (value->length && value->type != kTagList)
    return table.mistake("length", "the format " +
                                       quoted(wordOf(kFormatWords, format)) +
                                       " has its own length; remove it");
  value->format = format;
}

void readReference(TableReader& table, ValueDescription* value) {
  const auto name = table.text("class");
  if (!name) return;
  const TypeRow* row = elementRow(*value);
  if (row != nullptr && row->family != TypeFamily::objectId)
    return table.mistake("class", std::string("only an oid refers to objects "
                                              "of a class, and this is ") +
                                      row->name + "; remove it");
  if (!isName(*name))
    return table.mistake("class", quoted(*name) + " is no name: " + kNameRule);
  value->reference = *name;
}

// One element of a default value, as text.
std::optional<std::string> defaultOf(const toml::node& node,
                                     const TypeRow& row) {
  if (const auto* text = node.as_string()) {
    const bool isBare =
        row.family == TypeFamily::truth || row.family == TypeFamily::fraction;
    if (isBare || (row.family == TypeFamily::whole && !isName(text->get())))
      return std::nullopt;
    return text->get();
  }
  if (const auto* truth = node.as_boolean()) {
    if (row.family != TypeFamily::truth) return std::nullopt;
    return truth->get() ? "true" : "false";
  }
  if (const auto* whole = node.as_integer()) {
    if (!isNumber(&row)) return std::nullopt;
    return std::to_string(whole->get());
  }
  const auto* number = node.as_floating_point();
  if (number == nullptr || row.family != TypeFamily::fraction)
    return std::nullopt;
  return numberOf(number->get());
}

const char* defaultForm(TypeFamily family) {
  switch (family) {
    case TypeFamily::whole:
      return "a whole number, or the name of a value in quotes";
    case TypeFamily::fraction:
      return "a number";
    case TypeFamily::truth:
      return "true or false";
    default:
      return "a text in quotes";
  }
}

}  // namespace

void readValueKeys(TableReader& table, ValueDescription* value) {
  readTypes(table, value);
  readUnit(table, value);
  readRange(table, value);
  readLength(table, value);
  readValues(table, value);
  readFormat(table, value);
  readReference(table, value);
}

std::optional<std::string> readDefault(TableReader& table,
                                       const ValueDescription& value) {
  const toml::node* node = table.find("default");
  const TypeRow* row = elementRow(value);
  if (node == nullptr || row == nullptr) return std::nullopt;
  std::string text;
  const auto refuse = [&](const toml::node& wrong, const std::string& wanted) {
    table.mistake("default", std::string("has to be ") + wanted + ", not " +
                                 kindOf(wrong));
    return std::nullopt;
  };
  if (value.type == kTagList) {
    const toml::array* elements = node->as_array();
    if (elements == nullptr) return refuse(*node, "an array");
    std::vector<std::string> texts;
    for (const toml::node& element : *elements) {
      auto each = defaultOf(element, *row);
      if (!each)
        return refuse(element, std::string("an array, each element ") +
                                   defaultForm(row->family));
      texts.push_back(std::move(*each));
    }
    text = joinElements(texts);
  } else {
    auto single = defaultOf(*node, *row);
    if (!single) return refuse(*node, defaultForm(row->family));
    text = std::move(*single);
  }
  const DescribedValue read = readValue(value, text);
  if (read) return printValue(value, *read.value);
  table.mistake("default", read.mistake);
  return std::nullopt;
}

std::string readText(TableReader& table) {
  const auto text = table.text("text");
  if (!text) return "";
  if (text->size() <= kLongestText) return *text;
  table.mistake("text", "is " + std::to_string(text->size()) +
                            " bytes long; 1000 are allowed");
  return "";
}

}  // namespace ostrel
