// What holds for every value and for any bytes, over values and bytes that are
// made up from seeds.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <string>

#include "ostrel/type.h"
#include "support/bytes.h"
#include "support/random_values.h"
#include "support/value_invariants.h"
#include "support/value_table.h"

namespace {

using ostrel::test::Arrival;
using ostrel::test::brokenInvariant;
using ostrel::test::Bytes;
using ostrel::test::decodeFrom;
using ostrel::test::Encoded;
using ostrel::test::encoded;
using ostrel::test::encodeInto;
using ostrel::test::mutated;
using ostrel::test::OwnedValue;
using ostrel::test::prefix;
using ostrel::test::printed;
using ostrel::test::Random;
using ostrel::test::randomBytes;
using ostrel::test::randomValue;
using ostrel::test::releaseValue;
using ostrel::test::toHex;

constexpr unsigned kDepth = 3;
constexpr unsigned kMostBytes = 40;
constexpr std::uint64_t kValues = 5000;
constexpr std::uint64_t kInputs = 30000;

std::string asText(const Bytes& bytes) {
  return std::string(bytes.begin(), bytes.end());
}

// NaNs and opaques are never equal, whatever they hold.
bool equalsItself(veskType& value) {
  if (auto* single = dynamic_cast<veskFloat*>(&value)) {
    return !std::isnan(single->value);
  }
  if (auto* twice = dynamic_cast<veskDouble*>(&value)) {
    return !std::isnan(twice->value);
  }
  return dynamic_cast<veskOpaque*>(&value) == nullptr;
}

TEST(AnyValue, WhatEncodesDecodesToAnEqualValueWithTheSameText) {
  for (std::uint64_t seed = 0; seed < kValues; ++seed) {
    Random random(seed);
    const OwnedValue value(randomValue(random, kDepth));
    const Bytes bytes = encoded(*value);
    SCOPED_TRACE("seed " + std::to_string(seed) + ": " + toHex(bytes));
    const Arrival arrived(asText(bytes));
    ASSERT_EQ(arrived.used(), bytes.size());
    ASSERT_EQ((*value).compare(*arrived), 0);
    ASSERT_EQ((*arrived).compare(*value), 0);
    ASSERT_EQ(*value == *arrived, equalsItself(*value) ? 1 : 0);
    ASSERT_EQ(printed(*value), printed(*arrived));
    ASSERT_EQ(encoded(*arrived), bytes);
  }
}

TEST(AnyValue, CopiesAreEqualAndLiveOn) {
  for (std::uint64_t seed = 0; seed < kValues; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Random random(seed);
    veskType* source = randomValue(random, kDepth);
    const std::string text = printed(*source);
    const Bytes bytes = encoded(*source);
    const OwnedValue copy(source->dup());
    EXPECT_EQ(source->compare(*copy), 0);
    EXPECT_EQ(copy->compare(*source), 0);
    releaseValue(source);
    ASSERT_EQ(printed(*copy), text);
    ASSERT_EQ(encoded(*copy), bytes);
  }
}

TEST(AnyValue, EveryPrefixOfItsBytesIsRefused) {
  for (std::uint64_t seed = 0; seed < kValues / 10; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Random random(seed);
    const OwnedValue value(randomValue(random, kDepth));
    const Bytes bytes = encoded(*value);
    for (std::size_t size = 0; size < bytes.size(); ++size) {
      const Arrival arrived(asText(prefix(bytes, size)));
      ASSERT_EQ(arrived.used(), 0u) << "size " << size;
    }
  }
}

TEST(AnyValue, FitsInEveryRoomFromTheFirstThatFits) {
  for (std::uint64_t seed = 0; seed < kValues / 10; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Random random(seed);
    const OwnedValue value(randomValue(random, kDepth));
    const Bytes bytes = encoded(*value);
    bool fits = false;
    const std::size_t most = bytes.size() + ostrel::test::kMostSpareRoom;
    for (std::size_t room = 0; room <= most; ++room) {
      const Encoded result = encodeInto(*value, room);
      ASSERT_TRUE(result.used != 0 || !fits) << "room " << room;
      fits = result.used != 0;
      ASSERT_EQ(result.bytes, fits ? bytes : Bytes());
    }
    ASSERT_TRUE(fits);
  }
}

TEST(AnyValue, StandsApartFromWhatFollowsIt) {
  for (std::uint64_t seed = 0; seed < kValues; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Random random(seed);
    const OwnedValue value(randomValue(random, kDepth));
    const Bytes bytes = encoded(*value);
    Bytes longer = bytes;
    longer += randomBytes(random, kMostBytes);
    const Arrival arrived(asText(longer));
    ASSERT_EQ(arrived.used(), bytes.size());
    ASSERT_EQ((*value).compare(*arrived), 0);
  }
}

TEST(AnyBytes, KeepTheInvariants) {
  for (std::uint64_t seed = 0; seed < kInputs; ++seed) {
    Random random(seed);
    const Bytes bytes = randomBytes(random, kMostBytes);
    ASSERT_EQ(brokenInvariant(asText(bytes)), nullptr)
        << brokenInvariant(asText(bytes)) << ": " << toHex(bytes);
  }
}

TEST(AnyBytes, NearlyAValueKeepTheInvariants) {
  for (std::uint64_t seed = 0; seed < kInputs; ++seed) {
    Random random(seed);
    const OwnedValue value(randomValue(random, kDepth));
    const Bytes bytes = mutated(random, encoded(*value));
    ASSERT_EQ(brokenInvariant(asText(bytes)), nullptr)
        << brokenInvariant(asText(bytes)) << ": " << toHex(bytes);
  }
}

TEST(AnyBytes, DecodedIntoAnObjectOfAnyClassAreSafe) {
  for (std::uint64_t seed = 0; seed < kInputs; ++seed) {
    Random random(seed);
    const OwnedValue source(randomValue(random, 1));
    const OwnedValue target(randomValue(random, 1));
    const Bytes bytes = mutated(random, encoded(*source));
    SCOPED_TRACE("seed " + std::to_string(seed) + ": " + toHex(bytes));
    ASSERT_LE(decodeFrom(*target, bytes), bytes.size());
    // The object has a foreign tag or holds half of what arrived.
    static_cast<void>(target->compare(*source));
    static_cast<void>(source->compare(*target));
    static_cast<void>(*target == *source);
    static_cast<void>(*source == *target);
    static_cast<void>(printed(*target));
    encodeInto(*target, 200);
    const OwnedValue copy(target->dup());
  }
}

}  // namespace
