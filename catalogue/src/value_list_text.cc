#include "value_list_text.h"

namespace ostrel {
namespace {

constexpr std::string_view kEmpty = "\"\"";

}  // namespace

std::string joinElements(const std::vector<std::string>& elements) {
  std::string text;
  for (const std::string& element : elements) {
    if (&element != elements.data()) text += ',';
    if (element.empty()) text += kEmpty;
    for (const char c : element) {
      if (c == ',' || c == '\\' || c == '"') text += '\\';
      text += c;
    }
  }
  return text;
}

std::optional<std::vector<std::string>> splitElements(std::string_view text) {
  std::vector<std::string> elements;
  if (text.empty()) return elements;
  std::string element;
  std::size_t start = 0;
  for (std::size_t i = 0; i <= text.size(); ++i) {
    if (i == text.size() || text[i] == ',') {
      const std::string_view written = text.substr(start, i - start);
      if (written.empty()) return std::nullopt;
      elements.push_back(written == kEmpty ? "" : std::move(element));
      element.clear();
      start = i + 1;
      continue;
    }
    if (text[i] == '\\' && ++i == text.size()) return std::nullopt;
    element += text[i];
  }
  return elements;
}

}  // namespace ostrel
