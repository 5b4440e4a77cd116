#include "net/fragment.h"

namespace ostrel::tools::server {
namespace {

constexpr unsigned kByteBits = 8;

// One after another, the most significant byte first.
class Writer {
 public:
  explicit Writer(Fragment::Bytes* bytes) : bytes_(bytes) {}

  template <class Number>
  void number(Number value) {
    for (std::size_t left = sizeof value; left-- > 0;)
      (*bytes_)[at_++] =
          static_cast<unsigned char>(value >> (left * kByteBits));
  }

 private:
  Fragment::Bytes* bytes_;
  std::size_t at_ = 0;
};

class Reader {
 public:
  explicit Reader(std::string_view bytes) : bytes_(bytes) {}

  template <class Number>
  void number(Number* value) {
    std::uint32_t all = 0;
    for (std::size_t i = 0; i < sizeof *value; ++i)
      all = all << kByteBits | static_cast<unsigned char>(bytes_[at_++]);
    *value = static_cast<Number>(all);
  }

 private:
  std::string_view bytes_;
  std::size_t at_ = 0;
};

}  // namespace

Fragment::Bytes Fragment::bytes() const {
  Bytes result = {};
  Writer writer(&result);
  writer.number(version);
  writer.number(id);
  writer.number(count);
  writer.number(number);
  writer.number(total);
  writer.number(offset);
  return result;
}

Fragment Fragment::of(std::string_view datagram) {
  Fragment result;
  Reader reader(datagram);
  reader.number(&result.version);
  reader.number(&result.id);
  reader.number(&result.count);
  reader.number(&result.number);
  reader.number(&result.total);
  reader.number(&result.offset);
  return result;
}

}  // namespace ostrel::tools::server
