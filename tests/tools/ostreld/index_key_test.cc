#include "store/index_key.h"

#include <gtest/gtest.h>
#include <ostrel/names.h>
#include <ostrel/veskAttr.h>

#include <limits>
#include <memory>
#include <vector>

#include "common/owned.h"
#include "support/value_order.h"

namespace ostrel::tools::server {
namespace {

using namespace std::string_literals;

std::string keyOf(veskType&& value) { return indexKey(value).value_or("none"); }

TEST(IndexKey, HasTheseBytes) {
  EXPECT_EQ(keyOf(veskInt(5)), "N\xC0\x14\0\0\0\0\0\0"s);
  EXPECT_EQ(keyOf(veskInt(-5)), "N\x3F\xEB\xFF\xFF\xFF\xFF\xFF\xFF"s);
  EXPECT_EQ(keyOf(veskInt(0)), "N\x80\0\0\0\0\0\0\0"s);
  EXPECT_EQ(keyOf(veskString("ab")), "Sab");
  EXPECT_EQ(keyOf(veskOpaque("ab", 2)), "Bab");
  EXPECT_EQ(keyOf(veskAid("59.6.1")), "A\1\0\0\0\x3B\0\0\0\6\0\0\0\1"s);
  EXPECT_EQ(keyOf(veskAddress("10.0.0.1")), "I\x0A\0\0\1"s);
  EXPECT_EQ(keyOf(veskAddress()), "I");
  EXPECT_EQ(keyOf(veskType()), "X\0"s);
}

TEST(IndexKey, IsTheSameForEqualNumbersOfAllClasses) {
  const std::string five = keyOf(veskInt(5));
  EXPECT_EQ(keyOf(veskDouble(5)), five);
  EXPECT_EQ(keyOf(veskTime(5)), five);
  EXPECT_EQ(keyOf(veskChar(5)), five);
  EXPECT_EQ(keyOf(veskDouble(-0.0)), keyOf(veskBool(0)));
}

TEST(IndexKey, IsMissingForWhatEqualsNothing) {
  EXPECT_EQ(keyOf(veskDouble(std::numeric_limits<double>::quiet_NaN())),
            "none");
}

TEST(IndexKey, IsBounded) {
  const std::string longText(1000, 'x');
  EXPECT_EQ(keyOf(veskString(longText.c_str())).size(), 1 + kLongestKey);
  OwnedList list;
  for (int i = 0; i < 100; ++i) list.append(new veskInt(i));
  EXPECT_EQ(indexKey(list)->size(), 1 + kLongestKey);
}

// Values that meet every branch, many of them equal or close to one another.
class Values {
 public:
  Values() {
    for (const double number : {0.0,
                                -0.0,
                                1.0,
                                -1.0,
                                1.5,
                                255.0,
                                256.0,
                                65535.0,
                                2147483647.0,
                                -2147483648.0,
                                4294967295.0,
                                4294967296.0,
                                9007199254740992.0,
                                9007199254740994.0,
                                1e300,
                                -1e300,
                                5e-324,
                                -5e-324,
                                std::numeric_limits<double>::infinity(),
                                -std::numeric_limits<double>::infinity(),
                                std::numeric_limits<double>::quiet_NaN()})
      add(new veskDouble(number));
    for (const int number : {0, 1, -1, 2, 255, 256, 65535, 2147483647}) {
      add(new veskInt(number));
      add(new veskUnsignedInt(static_cast<unsigned>(number)));
      add(new veskTime(static_cast<unsigned>(number)));
      add(new veskShort(static_cast<short>(number)));
      add(new veskFloat(static_cast<float>(number)));
    }
    add(new veskBool(0));
    add(new veskBool(1));
    add(new veskBool(7));
    add(new veskChar('x'));
    const std::string longText(kLongestKey + 10, 'a');
    for (const std::string& text :
         {""s, "a"s, "ab"s, "a\0b"s, "b"s, "\xFF"s, longText, longText + "a",
          longText.substr(0, kLongestKey), longText.substr(0, kLongestKey - 1),
          std::string(100, '\xFF')}) {
      add(new veskString(text.data(), static_cast<unsigned>(text.size())));
      add(new veskOpaque(text.data(), static_cast<unsigned>(text.size())));
    }
    for (const char* oid : {"0.0", "59.6", "59.6.0.1", "59.6.1.0", "1.256",
                            "59.4294967295", "no"}) {
      add(new veskOid(oid));
      add(new veskAid(oid));
    }
    for (const char* host : {"0.0.0.0", "10.0.0.1", "10.0.1.0", "200.0.0.1"})
      add(new veskAddress(host));
    add(new veskAddress);
    add(new veskType);
    veskAid id("59.6.1");
    add(new veskAttribute(&id, all_[0].get()));
    add(new veskAttribute(&id, all_[1].get()));
    addLists();
  }
  const std::vector<Owned<veskType>>& all() const { return all_; }

 private:
  void add(veskType* value) { all_.emplace_back(value); }

  void addLists() {
    add(new veskList);
    const std::size_t count = all_.size();
    for (std::size_t i = 0; i + 1 < count; i += 3) {
      auto list = make<veskList>();
      list->append(all_[i]->dup());
      add(list.release());
      list = make<veskList>();
      for (std::size_t j = i; j < count && j < i + 12; ++j)
        list->append(all_[j]->dup());
      add(list.release());
    }
  }

  std::vector<Owned<veskType>> all_;
};

TEST(IndexKey, HasTheOrderOfTheValues) {
  const Values values;
  for (const auto& a : values.all()) {
    for (const auto& b : values.all()) {
      const auto left = indexKey(*a);
      const auto right = indexKey(*b);
      switch (compareValues(*a, *b)) {
        case Order::kEqual:
          ASSERT_TRUE(left.has_value() && left == right);
          break;
        case Order::kLess:
          ASSERT_TRUE(left.has_value() && right.has_value());
          ASSERT_LE(*left, *right);
          ASSERT_TRUE(right->size() > kLongestKey || *left < *right);
          break;
        case Order::kGreater:
          ASSERT_TRUE(left.has_value() && right.has_value());
          ASSERT_GE(*left, *right);
          break;
        case Order::kDifferent:
          break;
      }
    }
  }
}

bool fulfils(unsigned operation, Order order) {
  switch (operation) {
    case kOperatorEquals:
      return order == Order::kEqual;
    case kOperatorLess:
      return order == Order::kLess;
    case kOperatorLessOrEqual:
      return order == Order::kLess || order == Order::kEqual;
    case kOperatorGreater:
      return order == Order::kGreater;
    default:
      return order == Order::kGreater || order == Order::kEqual;
  }
}

// A search that looks at these keys alone finds all that it would find.
TEST(KeysFor, HoldTheKeyOfEveryValueThatIsAskedFor) {
  const Values values;
  int found = 0;
  for (const unsigned operation :
       {kOperatorEquals, kOperatorLess, kOperatorLessOrEqual, kOperatorGreater,
        kOperatorGreaterOrEqual}) {
    for (const auto& given : values.all()) {
      const auto keys = keysFor(operation, *given);
      ASSERT_TRUE(keys.has_value());
      for (const auto& value : values.all()) {
        if (!fulfils(operation, compareValues(*value, *given))) continue;
        const auto key = indexKey(*value);
        ASSERT_TRUE(key.has_value());
        ASSERT_LE(keys->first, *key);
        ASSERT_LE(*key, keys->last);
        ++found;
      }
    }
  }
  EXPECT_GT(found, 1000);
}

TEST(KeysFor, AreNoneForWhatNothingEquals) {
  veskDouble nan(std::numeric_limits<double>::quiet_NaN());
  const auto keys = keysFor(kOperatorGreater, nan);
  ASSERT_TRUE(keys.has_value());
  EXPECT_LT(keys->last, keyOf(veskInt(0)));
}

TEST(KeysFor, CannotTellWhatIsNotARange) {
  veskInt five(5);
  EXPECT_FALSE(keysFor(kOperatorNotEqual, five).has_value());
  EXPECT_FALSE(keysFor(kOperatorPresent, five).has_value());
  EXPECT_FALSE(keysFor(kOperatorContains, five).has_value());
}

}  // namespace
}  // namespace ostrel::tools::server
