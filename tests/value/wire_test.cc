// The reader and the writer of bytes: exact bytes, every access compared with
// what is left, and the first failure that sticks.

#include "value/wire.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "support/bytes.h"

namespace {

using ostrel::ByteReader;
using ostrel::ByteWriter;
using ostrel::kIntegerRoom;
using ostrel::test::Bytes;
using ostrel::test::ExactBuffer;
using ostrel::test::hex;
using ostrel::test::IsHex;
using ostrel::test::prefix;

// A writer into a heap block of its own, and what it left there. Bytes that
// nobody wrote read as A5.
struct Writing {
  explicit Writing(std::size_t room)
      : buffer(room), writer(buffer.data(), room) {}
  Bytes all() const { return buffer.first(buffer.size()); }

  ExactBuffer buffer;
  ByteWriter writer;
};

// A reader of a heap block that ends with these bytes.
struct Reading {
  explicit Reading(const Bytes& bytes)
      : buffer(bytes), reader(buffer.data(), bytes.size()) {}
  explicit Reading(const char* digits) : Reading(hex(digits)) {}

  ExactBuffer buffer;
  ByteReader reader;
};

struct IntegerRow {
  std::uint32_t value;
  const char* bytes;
};

// Both sides of each length.
const IntegerRow kIntegers[] = {
    {0, "00"},
    {1, "01 01"},
    {0xFF, "01 FF"},
    {0x100, "02 01 00"},
    {0xFFFF, "02 FF FF"},
    {0x10000, "03 01 00 00"},
    {0xFFFFFF, "03 FF FF FF"},
    {0x1000000, "04 01 00 00 00"},
    {0xFFFFFFFF, "04 FF FF FF FF"},
};

TEST(ByteWriter, WritesNumbersMostSignificantByteFirst) {
  Writing to(15);
  to.writer.number(std::uint8_t{0x01});
  to.writer.number(std::uint16_t{0x0203});
  to.writer.number(std::uint32_t{0x04050607});
  to.writer.number(std::uint64_t{0x08090A0B0C0D0E0F});
  EXPECT_TRUE(to.writer.ok());
  EXPECT_EQ(to.writer.used(), 15U);
  EXPECT_EQ(to.writer.left(), 0U);
  EXPECT_THAT(to.all(), IsHex("01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F"));
}

TEST(ByteWriter, WritesIntegersWithoutLeadingZerosAndNothingBehindThem) {
  for (const IntegerRow& row : kIntegers) {
    Writing to(kIntegerRoom);
    to.writer.integer(row.value);
    std::string expected = row.bytes;
    while (expected.size() < 3 * kIntegerRoom - 1) expected += " A5";
    EXPECT_THAT(to.all(), IsHex(expected));
    EXPECT_EQ(to.writer.used(), hex(row.bytes).size());
  }
}

TEST(ByteWriter, AnIntegerAsksForFiveBytesHoweverFewItTakes) {
  Writing to(4);
  to.writer.integer(0);
  EXPECT_FALSE(to.writer.ok());
  EXPECT_THAT(to.all(), IsHex("A5 A5 A5 A5"));
}

TEST(ByteWriter, WritesBytesOneBehindTheOther) {
  Writing to(4);
  to.writer.bytes("ab", 2);
  to.writer.bytes(nullptr, 0);
  to.writer.bytes("c", 1);
  EXPECT_EQ(to.writer.left(), 1U);
  EXPECT_THAT(to.all(), IsHex("61 62 63 A5"));
}

TEST(ByteWriter, WhatDoesNotFitFailsAndWritesNothing) {
  const auto failsIn = [](std::size_t room, auto write) {
    Writing to(room);
    write(to.writer);
    return !to.writer.ok() && to.all() == Bytes(room, 0xA5);
  };
  EXPECT_TRUE(failsIn(0, [](ByteWriter& w) { w.number(std::uint8_t{1}); }));
  EXPECT_TRUE(failsIn(1, [](ByteWriter& w) { w.number(std::uint16_t{1}); }));
  EXPECT_TRUE(failsIn(3, [](ByteWriter& w) { w.number(std::uint32_t{1}); }));
  EXPECT_TRUE(failsIn(7, [](ByteWriter& w) { w.number(std::uint64_t{1}); }));
  EXPECT_TRUE(failsIn(2, [](ByteWriter& w) { w.bytes("abc", 3); }));
  EXPECT_TRUE(failsIn(2, [](ByteWriter& w) { w.room(3); }));
  EXPECT_TRUE(failsIn(2, [](ByteWriter& w) { w.wrote(3); }));
  EXPECT_TRUE(failsIn(2, [](ByteWriter& w) { w.wrote(SIZE_MAX); }));
}

TEST(ByteWriter, RoomTakesNothing) {
  Writing to(2);
  EXPECT_TRUE(to.writer.room(2));
  EXPECT_EQ(to.writer.left(), 2U);
  EXPECT_EQ(to.writer.used(), 0U);
}

TEST(ByteWriter, GoesOnBehindWhatAValueWrote) {
  Writing to(4);
  to.writer.at()[0] = 'a';
  to.writer.wrote(1);
  to.writer.at()[0] = 'b';
  to.writer.moveTo(to.writer.at() + 1);
  to.writer.number(std::uint16_t{0x6364});
  EXPECT_THAT(to.all(), IsHex("61 62 63 64"));
}

TEST(ByteWriter, AValueThatWroteNothingHasFailed) {
  Writing to(4);
  to.writer.wrote(0);
  EXPECT_FALSE(to.writer.ok());
}

TEST(ByteWriter, MovesNeitherBackNorPastTheEnd) {
  Writing back(4);
  back.writer.bytes("ab", 2);
  back.writer.moveTo(back.buffer.data() + 1);
  EXPECT_FALSE(back.writer.ok());

  // A writer that was told of less than there is.
  Writing past(4);
  ByteWriter part(past.buffer.data(), 2);
  part.moveTo(past.buffer.data() + 3);
  EXPECT_FALSE(part.ok());
}

TEST(ByteWriter, TheFirstFailureSticks) {
  Writing to(8);
  to.writer.number(std::uint8_t{1});
  to.writer.fail();
  to.writer.number(std::uint8_t{2});
  to.writer.integer(3);
  to.writer.bytes("a", 1);
  to.writer.bytes(nullptr, 0);
  to.writer.wrote(1);
  EXPECT_FALSE(to.writer.room(0));
  EXPECT_FALSE(to.writer.ok());
  EXPECT_EQ(to.writer.at(), nullptr);
  EXPECT_EQ(to.writer.left(), 0U);
  EXPECT_EQ(to.writer.used(), 0U);
  EXPECT_THAT(to.all(), IsHex("01 A5 A5 A5 A5 A5 A5 A5"));
}

TEST(ByteReader, ReadsNumbersMostSignificantByteFirst) {
  Reading from("01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F");
  EXPECT_EQ(from.reader.number<std::uint8_t>(), 0x01);
  EXPECT_EQ(from.reader.number<std::uint16_t>(), 0x0203);
  EXPECT_EQ(from.reader.number<std::uint32_t>(), 0x04050607U);
  EXPECT_EQ(from.reader.number<std::uint64_t>(), 0x08090A0B0C0D0E0FU);
  EXPECT_TRUE(from.reader.ok());
  EXPECT_EQ(from.reader.used(), 15U);
  EXPECT_EQ(from.reader.left(), 0U);
}

TEST(ByteReader, ReadsIntegersAtTheEndAndBeforeOtherBytes) {
  for (const IntegerRow& row : kIntegers) {
    const Bytes bytes = hex(row.bytes);
    Bytes more = bytes;
    more += hex("EE EE EE EE");
    for (const Bytes& input : {bytes, more}) {
      Reading from(input);
      EXPECT_EQ(from.reader.integer(), row.value);
      EXPECT_EQ(from.reader.used(), bytes.size());
    }
  }
}

TEST(ByteReader, IntegersMayHaveLeadingZeros) {
  EXPECT_EQ(Reading("01 00").reader.integer(), 0U);
  EXPECT_EQ(Reading("03 00 00 07").reader.integer(), 7U);
  EXPECT_EQ(Reading("04 00 00 00 07").reader.integer(), 7U);
}

TEST(ByteReader, KeepsTheLastFourBytesOfALongerInteger) {
  Reading five("05 01 02 03 04 05");
  EXPECT_EQ(five.reader.integer(), 0x02030405U);
  EXPECT_EQ(five.reader.used(), 6U);

  Bytes longest = Bytes(256, 0x11);
  longest[0] = 0xFF;
  Reading from(longest);
  EXPECT_EQ(from.reader.integer(), 0x11111111U);
  EXPECT_EQ(from.reader.used(), 256U);
}

TEST(ByteReader, EveryCutIntegerFails) {
  for (const char* digits : {"01 01", "02 01 00", "03 01 00 00",
                             "04 01 00 00 00", "05 01 02 03 04 05"}) {
    const Bytes bytes = hex(digits);
    for (std::size_t size = 0; size < bytes.size(); ++size) {
      Reading from(prefix(bytes, size));
      EXPECT_EQ(from.reader.integer(), 0U) << digits << " cut to " << size;
      EXPECT_FALSE(from.reader.ok()) << digits << " cut to " << size;
    }
  }
}

TEST(ByteReader, ReadsTheLow32BitsOfAsManyBytesAsItIsTold) {
  Reading from("01 02 03 04 05 06");
  EXPECT_EQ(from.reader.significant(0), 0U);
  EXPECT_EQ(from.reader.significant(1), 0x01U);
  EXPECT_EQ(from.reader.significant(5), 0x03040506U);
  EXPECT_TRUE(from.reader.ok());
  EXPECT_EQ(from.reader.left(), 0U);
}

TEST(ByteReader, WhatIsNotThereFails) {
  const auto failsWith = [](std::size_t size, auto read) {
    Reading from(Bytes(size, 0x01));
    read(from.reader);
    return !from.reader.ok();
  };
  EXPECT_TRUE(failsWith(0, [](ByteReader& r) { r.number<std::uint8_t>(); }));
  EXPECT_TRUE(failsWith(1, [](ByteReader& r) { r.number<std::uint16_t>(); }));
  EXPECT_TRUE(failsWith(3, [](ByteReader& r) { r.number<std::uint32_t>(); }));
  EXPECT_TRUE(failsWith(7, [](ByteReader& r) { r.number<std::uint64_t>(); }));
  EXPECT_TRUE(failsWith(2, [](ByteReader& r) { r.significant(3); }));
  EXPECT_TRUE(failsWith(2, [](ByteReader& r) { r.has(3); }));
  EXPECT_TRUE(failsWith(2, [](ByteReader& r) { r.read(3); }));
  EXPECT_TRUE(failsWith(2, [](ByteReader& r) { r.skip(3); }));
  EXPECT_TRUE(failsWith(2, [](ByteReader& r) { r.skip(SIZE_MAX); }));
}

TEST(ByteReader, HasTakesNothing) {
  Reading from("01 02");
  EXPECT_TRUE(from.reader.has(2));
  EXPECT_EQ(from.reader.left(), 2U);
  EXPECT_EQ(from.reader.used(), 0U);
}

TEST(ByteReader, GoesOnBehindWhatAValueTook) {
  Reading from("01 02 03 04");
  from.reader.read(1);
  from.reader.skip(1);
  from.reader.skip(0);
  from.reader.moveTo(from.reader.at() + 1);
  EXPECT_EQ(from.reader.number<std::uint8_t>(), 0x04);
  EXPECT_TRUE(from.reader.ok());
}

TEST(ByteReader, AValueThatTookNothingHasFailed) {
  Reading from("01 02");
  from.reader.read(0);
  EXPECT_FALSE(from.reader.ok());
}

TEST(ByteReader, MovesNeitherBackNorPastTheEnd) {
  Reading back("01 02 03 04");
  back.reader.skip(2);
  back.reader.moveTo(back.buffer.data() + 1);
  EXPECT_FALSE(back.reader.ok());

  // A reader that was told of less than there is.
  Reading past("01 02 03 04");
  ByteReader part(past.buffer.data(), 2);
  part.moveTo(past.buffer.data() + 3);
  EXPECT_FALSE(part.ok());
}

TEST(ByteReader, TheFirstFailureSticks) {
  Reading from("01 02 03 04 05 06 07 08");
  from.reader.skip(1);
  from.reader.fail();
  EXPECT_EQ(from.reader.number<std::uint8_t>(), 0);
  EXPECT_EQ(from.reader.significant(1), 0U);
  EXPECT_EQ(from.reader.integer(), 0U);
  from.reader.skip(0);
  EXPECT_FALSE(from.reader.has(0));
  EXPECT_FALSE(from.reader.ok());
  EXPECT_EQ(from.reader.at(), nullptr);
  EXPECT_EQ(from.reader.left(), 0U);
  EXPECT_EQ(from.reader.used(), 0U);
}

}  // namespace
