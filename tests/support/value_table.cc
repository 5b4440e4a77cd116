#include "value_table.h"

#include <ostream>
#include <typeinfo>

#include "bytes.h"
#include "value/walk.h"

namespace ostrel::test {

namespace {

// Bytes past the end. A correct encode leaves them alone, and a correct decode
// does not consume them.
constexpr std::size_t kSpare = 9;

// A row's value in scope of one check, released as the row says.
class RowValue {
 public:
  RowValue(veskType* value, const std::function<void(veskType*)>& release)
      : value_(value), release_(release) {}
  ~RowValue() { release_(value_); }
  RowValue(const RowValue&) = delete;
  RowValue& operator=(const RowValue&) = delete;

  veskType& operator*() const { return *value_; }
  veskType* operator->() const { return value_; }

 private:
  veskType* value_;
  const std::function<void(veskType*)>& release_;
};

// A value that decodeCreate made, freed by the library's own call. Walking over
// the bytes gives the same result.
class Created {
 public:
  explicit Created(const Bytes& bytes) {
    ExactBuffer buffer(bytes);
    used_ = veskType::decodeCreate(buffer.data(), buffer.size(), &value_);
    EXPECT_EQ(walkValue(buffer.data(), buffer.size()), used_);
  }
  ~Created() { veskType::destroyDecoded(value_); }
  Created(const Created&) = delete;
  Created& operator=(const Created&) = delete;

  unsigned used() const { return used_; }
  veskType* value() const { return value_; }

 private:
  veskType* value_ = nullptr;
  unsigned used_ = 0;
};

std::size_t neededRoom(const ValueRow& row) {
  return row.room != 0 ? row.room : hex(row.bytes).size();
}

void expectSameClass(const veskType& original, const veskType& copy) {
  EXPECT_STREQ(typeid(original).name(), typeid(copy).name());
}

// `copy` is another object with the row's value.
void expectSameValue(const ValueRow& row, veskType& original, veskType& copy) {
  EXPECT_EQ(original.tag, copy.tag);
  EXPECT_EQ(original.compare(copy), 0);
  EXPECT_EQ(copy.compare(original), 0);
  EXPECT_EQ(original == copy, row.equalsItself ? 1 : 0);
  EXPECT_EQ(original < copy, 0);
  EXPECT_EQ(original > copy, 0);
  EXPECT_EQ(textOf(copy), row.text);
  EXPECT_THAT(encoded(copy), IsHex(row.bytes));
}

}  // namespace

void releaseValue(veskType* value) {
  if (veskList* list = dynamic_cast<veskList*>(value)) list->clear(1);
  delete value;
}

ValueRow&& ValueRow::needs(unsigned bufferSize) && {
  room = bufferSize;
  return std::move(*this);
}

ValueRow&& ValueRow::notInFactory() && {
  inFactory = false;
  return std::move(*this);
}

ValueRow&& ValueRow::neverEqual() && {
  equalsItself = false;
  return std::move(*this);
}

ValueRow&& ValueRow::releasedWith(std::function<void(veskType*)> value,
                                  std::function<void(veskType*)> copy) && {
  release = std::move(value);
  releaseCopy = std::move(copy);
  return std::move(*this);
}

void PrintTo(const ValueRow& row, std::ostream* out) { *out << row.name; }

std::string rowName(const testing::TestParamInfo<ValueRow>& info) {
  return info.param.name;
}

void checkEncoding(const ValueRow& row) {
  SCOPED_TRACE("encoding " + row.name);
  const RowValue value(row.make(), row.release);
  const std::size_t room = neededRoom(row);
  for (std::size_t spare = 0; spare <= kSpare; ++spare) {
    const Encoded result = encodeInto(*value, room + spare);
    EXPECT_EQ(result.used, hex(row.bytes).size());
    EXPECT_THAT(result.bytes, IsHex(row.bytes));
  }
}

void checkShortBuffers(const ValueRow& row) {
  SCOPED_TRACE("short buffers of " + row.name);
  const RowValue value(row.make(), row.release);
  for (std::size_t room = 0; room < neededRoom(row); ++room) {
    EXPECT_EQ(encodeInto(*value, room).used, 0u) << "room " << room;
  }
  EXPECT_THAT(encoded(*value), IsHex(row.bytes)) << "after the failures";
}

void checkDecoding(const ValueRow& row) {
  SCOPED_TRACE("decoding " + row.name);
  const RowValue original(row.make(), row.release);
  Bytes input = hex(row.bytes);
  const std::size_t size = input.size();
  for (std::size_t spare = 0; spare <= kSpare; ++spare) {
    const RowValue value(row.blank(), row.release);
    EXPECT_EQ(decodeFrom(*value, input), size);
    expectSameValue(row, *original, *value);
    input.push_back(0x01);
  }
}

void checkShortInputs(const ValueRow& row) {
  SCOPED_TRACE("short inputs of " + row.name);
  const Bytes input = hex(row.bytes);
  for (std::size_t size = 0; size < input.size(); ++size) {
    SCOPED_TRACE("size " + std::to_string(size));
    const RowValue value(row.blank(), row.release);
    EXPECT_EQ(decodeFrom(*value, prefix(input, size)), 0u);
    const Created created(prefix(input, size));
    EXPECT_EQ(created.used(), 0u);
    EXPECT_EQ(created.value() != nullptr, row.inFactory && size != 0);
  }
}

void checkFactory(const ValueRow& row) {
  SCOPED_TRACE("factory and " + row.name);
  const Created created(hex(row.bytes));
  if (!row.inFactory) {
    EXPECT_EQ(created.used(), 0u);
    EXPECT_EQ(created.value(), nullptr);
    return;
  }
  const RowValue original(row.make(), row.release);
  EXPECT_EQ(created.used(), hex(row.bytes).size());
  ASSERT_NE(created.value(), nullptr);
  expectSameClass(*original, *created.value());
  expectSameValue(row, *original, *created.value());
}

void checkText(const ValueRow& row) {
  SCOPED_TRACE("text of " + row.name);
  const RowValue value(row.make(), row.release);
  EXPECT_EQ(textOf(*value), row.text);
}

void checkCopy(const ValueRow& row) {
  SCOPED_TRACE("copy of " + row.name);
  const RowValue original(row.make(), row.release);
  const RowValue copy(original->dup(), row.releaseCopy);
  EXPECT_NE(&*copy, &*original);
  expectSameClass(*original, *copy);
  expectSameValue(row, *original, *copy);
}

void checkRow(const ValueRow& row) {
  checkEncoding(row);
  checkShortBuffers(row);
  checkDecoding(row);
  checkShortInputs(row);
  checkFactory(row);
  checkText(row);
  checkCopy(row);
}

}  // namespace ostrel::test
