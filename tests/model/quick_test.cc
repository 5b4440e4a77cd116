// Elements of lists are read and written in a quick way where they allow it.
// That way and the general one, which reads and writes the same element by
// itself, agree in every room.

#include <gtest/gtest.h>

#include <string>

#include "ostrel/type.h"
#include "ostrel/veskAttr.h"
#include "support/bytes.h"

namespace {

using ostrel::test::Bytes;
using ostrel::test::encoded;
using ostrel::test::Encoded;
using ostrel::test::encodeInto;
using ostrel::test::ExactBuffer;
using ostrel::test::hex;
using ostrel::test::textOf;
using ostrel::test::toHex;

const char* const kValues[] = {
    "00",
    "01 41",
    "02 FF FE",
    "03 00",
    "03 01 05",
    "03 02 01 00",
    "03 03 01 02 03",
    "03 04 FF FF FF FF",
    "03 05 01 02 03 04 05",
    "03 06 00 00 00 00 00 07",
    "03 02 00 05",
    "04 01 05",
    "05 3F C0 00 00",
    "06 3F F8 00 00 00 00 00 00",
    "07 00",
    "07 01 01",
    "07 01 02",
    "08 43 01 02 AA BB",
    "08 43 00",
    "09 43 00",
    "09 43 01 03 61 62 63",
    "09 03 01 03 61 62 63",
    "09 8F 01 03 61 62 63",
    "09 43 05 00 00 00 00 02 61 62",
    "09 43 02 00 02 61 62",
    "09 43 01 20 61 62 63 64 65 66 67 68 69 6A 6B 6C 6D 6E 6F 70 71 72 73 74 "
    "75 76 77 78 79 7A 61 62 63 64 65 66",
    "09 43 01 7F 61",
    "0A 00",
    "0A 01 01 3B 01 06 00 00",
    "0A 05 01 3B 01 06 01 03 01 07",
    "0A 01 04 FF FF FF FF 04 FF FF FF FF 04 FF FF FF FF 04 FF FF FF FF",
    "0A 01 05 00 00 00 00 3B 01 06 00 00",
    "0A 01 01 3B",
    "0B 00",
    "0B 01 01 3B 01 06 01 02",
    "0B 05 01 3B 01 06 00",
    "0C 01 09",
    "0F 00",
    "0F 02 0A 00 00 01",
    "0F 07",
    "0F 02 0A 00",
    "41 41",
    "42 00 07",
    "43 02 01 00",
    "44 01 05",
    "4D 01 05",
    "FF",
    "80 43 01 01 03 01 05",
    "1A 43 01 02 03 01 05",
    "17 0B 00 00"};

// An attribute with the value behind, and its identifier as it may arrive.
const char* const kBefore[] = {"",
                               "17 0B 01 01 3B 01 06 01 02 01",
                               "17 0B 05 00 01 06 02 01 00 07",
                               "17 EE 01 01 3B 01 06 00 01",
                               "17 0B 01 05 00 00 00 00 3B 01 06 00 01",
                               "17 0B 00 01"};

std::string described(veskType& value) {
  return std::string(typeid(value).name()) + " " + toHex(encoded(value)) + " " +
         textOf(value);
}

// What decoding made of these bytes: the bytes consumed, and the value.
std::string byItself(const Bytes& bytes) {
  ExactBuffer buffer(bytes);
  veskType* value = nullptr;
  const unsigned used =
      veskType::decodeCreate(buffer.data(), buffer.size(), &value);
  const std::string result =
      used == 0 ? "fails" : std::to_string(used) + " " + described(*value);
  veskType::destroyDecoded(value);
  return result;
}

std::string inAList(const Bytes& bytes) {
  Bytes list = hex("80 43 01 01");
  list += bytes;
  ExactBuffer buffer(list);
  veskList made;
  const unsigned used = made.decode(buffer.data(), buffer.size());
  const std::string result =
      used == 0 ? "fails"
                : std::to_string(used - 4) + " " + described(*made.at(0));
  made.destroyDecodedElements();
  return result;
}

TEST(QuickReading, AgreesWithTheGeneralWayWhateverFollows) {
  for (const char* before : kBefore) {
    for (const char* value : kValues) {
      for (const char* filling : {"00", "FF", "01"}) {
        Bytes bytes = hex(std::string(before) + " " + value);
        for (int more = 0; more <= 48; ++more) {
          ASSERT_EQ(inAList(bytes), byItself(bytes)) << toHex(bytes);
          bytes += hex(filling);
        }
      }
    }
  }
}

void expectAlikeInEveryRoom(veskType& value) {
  constexpr std::size_t kHead = 4;
  constexpr std::size_t kRoomOfCount = 7;
  veskList list;
  list.append(&value);
  for (std::size_t room = 0; room <= 150; ++room) {
    Bytes expected;
    if (room >= kRoomOfCount) {
      const Encoded alone = encodeInto(value, room - kHead);
      if (alone.used != 0) {
        expected = hex("80 43 01 01");
        expected += alone.bytes;
      }
    }
    ASSERT_EQ(toHex(encodeInto(list, room).bytes), toHex(expected))
        << "room " << room;
  }
}

TEST(QuickWriting, AgreesWithTheGeneralWayInEveryRoom) {
  for (const char* before : kBefore) {
    for (const char* bytes : kValues) {
      SCOPED_TRACE(std::string(before) + " | " + bytes);
      ExactBuffer buffer(hex(std::string(before) + " " + bytes));
      veskType* value = nullptr;
      if (veskType::decodeCreate(buffer.data(), buffer.size(), &value) != 0)
        expectAlikeInEveryRoom(*value);
      veskType::destroyDecoded(value);
    }
  }
}

TEST(QuickWriting, AgreesAboutValuesThatAProgramHasChanged) {
  veskString string("text");
  char* const text = string.text;
  string.text = nullptr;
  expectAlikeInEveryRoom(string);
  string.text = text;
  string.length.value = 1000;
  expectAlikeInEveryRoom(string);
  string.length.value = 4;

  veskAddress address("10.0.0.1");
  address.family = 7;
  expectAlikeInEveryRoom(address);
  address.family = 2;

  veskOid oid("59.6");
  oid.valid = 256;
  expectAlikeInEveryRoom(oid);
  veskInt number(5);
  number = 0;
  expectAlikeInEveryRoom(number);
  veskAid id("59.6.1");
  veskAttribute attribute(&id, &number);
  attribute.id.valid = 2;
  expectAlikeInEveryRoom(attribute);
}

}  // namespace
