// An object as a store hands it out: what it has in two blocks of memory, so
// that many of them can be held and any attribute is found at once.

#ifndef OSTREL_TOOLS_OSTRELD_STORE_RECORD_H
#define OSTREL_TOOLS_OSTRELD_STORE_RECORD_H

#include <ostrel/type.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ostrel::tools::server {

class Record {
 public:
  // The numbers of an attribute's identifier.
  using Key = std::array<std::uint32_t, 3>;
  static Key keyOf(const veskAid& id);

  // Adds an attribute behind all others, whose identifiers are smaller.
  void append(const Key& key, std::string_view value);

  std::size_t count() const { return slots_.size(); }
  veskAid id(std::size_t at) const;

  // A value's encoding, which stays as long as the record is not changed.
  std::string_view value(std::size_t at) const;

  // The value of the attribute with this identifier.
  std::optional<std::string_view> find(const Key& key) const;

  // The encodings together, in bytes.
  std::size_t length() const { return values_.size(); }

  // How much memory it takes, about.
  std::size_t memory() const;

 private:
  struct Slot {
    Key key;
    std::uint32_t end;  // where the value ends; it begins where the last ended
  };

  std::vector<Slot> slots_;
  std::string values_;
};

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_STORE_RECORD_H
