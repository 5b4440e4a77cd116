// Any text read by any description: the first byte chooses the description.
// What is read prints as a text that makes the same value again, and any value
// of the wire is taken as declared or refused.

#include <ostrel/described_value.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "bounds.h"

namespace {

using ostrel::ValueDescription;

void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "broken: %s\n", what);
  std::abort();
}

// Every type and every format, once alone and once in a list.
std::vector<ValueDescription> descriptions() {
  std::vector<ValueDescription> all;
  for (unsigned tag = 0; tag < 256; ++tag) {
    ValueDescription each;
    each.type = static_cast<ostrel::Tag>(tag);
    if (tag == ostrel::kTagList ||
        ostrel::classTypeName(each.type) == std::string("unknown"))
      continue;
    all.push_back(each);
    for (unsigned format = 1; format <= 5; ++format) {
      const bool isBytes = format == 5;
      if (tag != (isBytes ? ostrel::kTagOpaque : ostrel::kTagString)) continue;
      each.format = static_cast<ostrel::ValueFormat>(format);
      all.push_back(each);
    }
  }
  for (std::size_t i = 0, single = all.size(); i < single; ++i) {
    ValueDescription list = all[i];
    list.element = list.type;
    list.type = ostrel::kTagList;
    all.push_back(list);
  }
  ValueDescription named;
  named.type = ostrel::kTagInt;
  named.values = {{"off", 0, ""}, {"on", 1, ""}};
  all.push_back(named);
  return all;
}

std::string bytesOf(veskType& value, std::size_t room) {
  std::string bytes(room, '\0');
  bytes.resize(value.encode(bytes.data(), static_cast<unsigned>(room)));
  return bytes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  if (size == 0) return 0;
  const fuzz::TimeBound time(size);
  static const std::vector<ValueDescription> all = descriptions();
  const ValueDescription& description = all[data[0] % all.size()];
  std::string text(data + 1, data + size);
  const std::size_t room = 64 * text.size() + 1024;
  const auto read = ostrel::readValue(description, text);
  require(read || !read.mistake.empty(), "a refusal says why");
  if (read) {
    const std::string printed = printValue(description, *read.value);
    const auto again = ostrel::readValue(description, printed);
    require(static_cast<bool>(again), "what is printed can be read");
    require(bytesOf(*again.value, room) == bytesOf(*read.value, room),
            "what is printed makes the same value");
    require(static_cast<bool>(declaredValue(description, *read.value)),
            "what is read is as declared");
  }
  veskType* arrived = nullptr;
  const auto length = static_cast<unsigned>(text.size());
  const unsigned used = veskType::decodeCreate(text.data(), length, &arrived);
  if (used != 0 && arrived != nullptr) {
    printValue(description, *arrived);
    const auto declared = ostrel::declaredValue(description, *arrived);
    require(!declared || declared.value->tag == description.type,
            "a declared value is of its type");
  }
  veskType::destroyDecoded(arrived);
  return 0;
}
