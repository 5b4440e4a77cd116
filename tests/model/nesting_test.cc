// Every class that may hold other values, inside itself as deep as decoding
// goes and one level deeper.

#include <gtest/gtest.h>

#include <string>

#include "ostrel/type.h"
#include "support/bytes.h"
#include "support/value_invariants.h"

namespace {

using ostrel::test::Bytes;
using ostrel::test::encoded;
using ostrel::test::ExactBuffer;
using ostrel::test::hex;
using ostrel::test::releaseCopy;
using ostrel::test::repeated;
using ostrel::test::textOf;

// What stands before and behind the value inside.
struct Holder {
  const char* name;
  std::string before;
  std::string behind;
};

// Status, request id and no principal; a list of none, and of one.
const std::string kHeader = "03 00 43 00 0A 00 ";
const std::string kNone = "80 43 00 ";
const std::string kOne = "80 43 01 01 ";

const Holder kHolders[] = {
    {"List", kOne, ""},
    {"Attribute", "17 0B 00 01", ""},
    {"ValueOp", "18 0B 00 01", "01 01"},
    {"Object", "19 0A 00" + kOne, ""},
    {"Create", "1C" + kHeader + "0A 00" + kOne, ""},
    {"Clone", "1D" + kHeader + "0A 00" + kOne, ""},
    {"Get", "1F" + kHeader + "0A 00" + kOne, ""},
    {"Set", "20" + kHeader + "0A 00" + kOne, ""},
    {"Search", "21" + kHeader + "0A 00" + kOne, "07 01 01"},
    {"Event", "22" + kHeader + "0A 00 0B 00" + kOne, ""},
    {"Action", "23" + kHeader + "0B 00" + kOne, ""},
    {"DirectorySearch", "2E" + kHeader + "0A 00" + kOne, kNone},
    {"DirectorySearchSecond", "2E" + kHeader + "0A 00" + kNone + kOne, ""},
    {"CreateResponse", "25" + kHeader + kOne, "0A 00"},
    {"CloneResponse", "26" + kHeader + kOne, "0A 00"},
    {"GetResponse", "27" + kHeader + kNone + kOne, ""},
    {"GetResponseErrors", "27" + kHeader + kOne, kNone},
    {"SetResponse", "28" + kHeader + kOne, ""},
    {"SearchResponse", "29" + kHeader + kNone + kOne, ""},
    {"DirectoryResponse", "2F" + kHeader + kNone + kNone + kOne, ""},
    {"ActionDesc", "12 09 43 00 0B 00" + kOne, ""},
    {"EventDesc", "13 09 43 00 0B 00" + kOne, ""},
    {"ObjectDesc", "14 09 43 00 0A 00 0A 00" + kOne, kNone + kNone},
    {"ObjectDescEvents", "14 09 43 00 0A 00 0A 00" + kNone + kNone + kOne, ""},
};

// The number 5 inside `depth` holders.
Bytes nested(const Holder& holder, std::size_t depth) {
  Bytes bytes = repeated(hex(holder.before), depth);
  bytes += hex("03 01 05");
  bytes += repeated(hex(holder.behind), depth);
  return bytes;
}

class Created {
 public:
  explicit Created(const Bytes& bytes) {
    ExactBuffer buffer(bytes);
    used_ = veskType::decodeCreate(buffer.data(), buffer.size(), &value_);
  }
  ~Created() { veskType::destroyDecoded(value_); }
  Created(const Created&) = delete;
  Created& operator=(const Created&) = delete;

  std::size_t used() const { return used_; }
  veskType& operator*() const { return *value_; }

 private:
  veskType* value_ = nullptr;
  std::size_t used_;
};

constexpr std::size_t kDeepest = 2048;

class NestedHolder : public testing::TestWithParam<Holder> {};

TEST_P(NestedHolder, AtTheBoundEncodesComparesPrintsAndCopies) {
  const Bytes bytes = nested(GetParam(), kDeepest);
  const Created value(bytes);
  ASSERT_EQ(value.used(), bytes.size());
  EXPECT_EQ(encoded(*value), bytes);
  EXPECT_NE(textOf(*value), "");
  const Created same(bytes);
  EXPECT_EQ((*value).compare(*same), 0);
  EXPECT_EQ(*value == *same, 1);
}

TEST_P(NestedHolder, InAListAtTheBoundIsCopiedWhole) {
  Bytes bytes = hex(kOne);
  bytes += nested(GetParam(), kDeepest - 1);
  const Created value(bytes);
  ASSERT_EQ(value.used(), bytes.size());
  veskType* const copy = (*value).dup();
  EXPECT_EQ(encoded(*copy), bytes);
  releaseCopy(copy);
}

TEST_P(NestedHolder, PastTheBoundFailsAndLeaksNothing) {
  EXPECT_EQ(Created(nested(GetParam(), kDeepest + 1)).used(), 0u);
  EXPECT_EQ(Created(nested(GetParam(), 20000)).used(), 0u);
}

std::string holderName(const testing::TestParamInfo<Holder>& info) {
  return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(Holders, NestedHolder, testing::ValuesIn(kHolders),
                         holderName);

// Not among the others, as its copies have another tag.
TEST(NestedActionResponse, HasTheSameBound) {
  const Holder holder{"ActionResponse", "2A" + kHeader + kOne, ""};
  const Bytes bytes = nested(holder, kDeepest);
  EXPECT_EQ(Created(bytes).used(), bytes.size());
  EXPECT_EQ(Created(nested(holder, kDeepest + 1)).used(), 0u);
}

TEST(NestedHolders, CountTowardsOneBound) {
  Bytes pair = hex(kHolders[0].before);
  pair += hex(kHolders[1].before);
  Bytes deepest = repeated(pair, kDeepest / 2);
  Bytes deeper = hex(kOne);
  deeper += deepest;
  deepest += hex("03 01 05");
  deeper += hex("03 01 05");
  EXPECT_EQ(Created(deepest).used(), deepest.size());
  EXPECT_EQ(Created(deeper).used(), 0u);
}

}  // namespace
