// Scoped owners: each frees what it holds and leaves errno alone, so that an
// operation returns with the errno of what ended it.

#ifndef OSTREL_SRC_OWNERS_H
#define OSTREL_SRC_OWNERS_H

#include <ostrel/type.h>

#include <cerrno>
#include <cstdlib>
#include <memory>

namespace ostrel {

class KeepErrno {
 public:
  KeepErrno() : kept_(errno) {}
  ~KeepErrno() { errno = kept_; }
  KeepErrno(const KeepErrno&) = delete;
  KeepErrno& operator=(const KeepErrno&) = delete;

 private:
  int kept_;
};

struct FreeArrived {
  void operator()(veskType* value) const {
    const KeepErrno keep;
    veskType::destroyDecoded(value);
  }
};

// A value that decodeCreate() made. It is freed with everything still in it.
template <class Value>
using Arrived = std::unique_ptr<Value, FreeArrived>;

struct Delete {
  template <class Object>
  void operator()(Object* object) const {
    const KeepErrno keep;
    delete object;
  }
};

template <class Object>
using Scoped = std::unique_ptr<Object, Delete>;

// A list whose elements are freed with it.
class ScopedList {
 public:
  ScopedList() = default;
  ~ScopedList() {
    const KeepErrno keep;
    list_.clear(1);
  }
  ScopedList(const ScopedList&) = delete;
  ScopedList& operator=(const ScopedList&) = delete;

  veskList* get() { return &list_; }

 private:
  veskList list_;
};

// Text from getString() and its like, for printing; null prints as "".
class TextToPrint {
 public:
  explicit TextToPrint(char* text) : text_(text) {}
  explicit TextToPrint(veskType& value) : text_(value.getString()) {}
  ~TextToPrint() {
    const KeepErrno keep;
    std::free(text_);
  }
  TextToPrint(const TextToPrint&) = delete;
  TextToPrint& operator=(const TextToPrint&) = delete;

  const char* get() const { return text_ == nullptr ? "" : text_; }

 private:
  char* text_;
};

}  // namespace ostrel

#endif  // OSTREL_SRC_OWNERS_H
