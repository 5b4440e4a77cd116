// The requests that are under way, by their ids. The ids are random already, so
// they are their own hashes: finding one looks at a place or two, however many
// there are.

#ifndef OSTREL_SRC_ID_TABLE_H
#define OSTREL_SRC_ID_TABLE_H

#include <cstddef>
#include <cstdint>
#include <new>
#include <vector>

namespace ostrel {

template <class T>
class IdTable {
 public:
  IdTable() : places_(kFirstSize) {}

  // Null when there is none.
  T* find(std::uint32_t id) const {
    for (std::size_t at = home(id); places_[at].value != nullptr; at = next(at))
      if (places_[at].id == id) return places_[at].value;
    return nullptr;
  }

  // Throws std::bad_alloc when there is no place left and no memory for more.
  void insert(std::uint32_t id, T* value) {
    if ((count_ + 1) * 2 > places_.size()) grow();
    put(id, value);
    count_++;
  }

  void remove(std::uint32_t id) {
    std::size_t hole = home(id);
    while (places_[hole].value != nullptr && places_[hole].id != id)
      hole = next(hole);
    if (places_[hole].value == nullptr) return;
    count_--;
    // Moves those behind it that would not be found over a gap.
    for (std::size_t at = next(hole); places_[at].value != nullptr;
         at = next(at)) {
      if (distance(home(places_[at].id), at) < distance(hole, at)) continue;
      places_[hole] = places_[at];
      hole = at;
    }
    places_[hole] = {};
  }

  std::size_t size() const { return count_; }

 private:
  static constexpr std::size_t kFirstSize = 64;  // a power of two, as all sizes
  struct Place {
    std::uint32_t id = 0;
    T* value = nullptr;
  };

  std::size_t mask() const { return places_.size() - 1; }
  std::size_t home(std::uint32_t id) const { return id & mask(); }
  std::size_t next(std::size_t at) const { return (at + 1) & mask(); }
  std::size_t distance(std::size_t from, std::size_t to) const {
    return (to - from) & mask();
  }

  void put(std::uint32_t id, T* value) {
    std::size_t at = home(id);
    while (places_[at].value != nullptr) at = next(at);
    places_[at] = {id, value};
  }

  // A table that cannot grow goes on with fewer gaps; the last one stays, since
  // it ends searches.
  void grow() {
    try {
      std::vector<Place> former(places_.size() * 2);
      former.swap(places_);
      for (const Place& place : former)
        if (place.value != nullptr) put(place.id, place.value);
    } catch (const std::bad_alloc&) {
      if (count_ + 2 > places_.size()) throw;
    }
  }

  std::vector<Place> places_;
  std::size_t count_ = 0;
};

}  // namespace ostrel

#endif  // OSTREL_SRC_ID_TABLE_H
