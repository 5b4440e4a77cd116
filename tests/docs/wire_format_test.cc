// The examples of docs/wire-format.md: each stands here as hex and is decoded,
// printed and encoded, or sent and received, by the library. The last tests
// compare the document with this file, so that neither goes its own way.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <ostrel/access.h>
#include <ostrel/datagram.h>
#include <ostrel/message.h>
#include <ostrel/objectdesc.h>
#include <ostrel/tags.h>
#include <ostrel/veskAttr.h>
#include <ostrel/veskError.h>
#include <ostrel/veskEvent.h>
#include <ostrel/veskPDU.h>
#include <ostrel/veskQuery.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <ostream>
#include <set>
#include <string>
#include <typeinfo>
#include <vector>

#include "support/bytes.h"
#include "support/servers.h"

namespace {

using fake::raw;
using ostrel::test::Bytes;
using ostrel::test::encoded;
using ostrel::test::ExactBuffer;
using ostrel::test::hex;
using ostrel::test::IsHex;
using ostrel::test::prefix;
using ostrel::test::textOf;
using ostrel::test::toHex;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

template <class Class>
bool is(veskType& value) {
  return typeid(value) == typeid(Class);
}

// What the bytes of a message are made into.
class Decoded {
 public:
  explicit Decoded(const Bytes& bytes) {
    ExactBuffer buffer(bytes);
    used = veskType::decodeCreate(buffer.data(), buffer.size(), &value);
  }
  ~Decoded() { veskType::destroyDecoded(value); }
  Decoded(const Decoded&) = delete;
  Decoded& operator=(const Decoded&) = delete;

  unsigned used = 0;
  veskType* value = nullptr;
};

struct Example {
  const char* bytes;
  bool (*isOfItsClass)(veskType&);
  const char* text;
};

void PrintTo(const Example& example, std::ostream* out) {
  *out << example.bytes;
}

// Encoding what they decode to gives the same bytes.
const Example kExamples[] = {
    // Numbers
    {"00", is<veskType>, ""},
    {"01 41", is<veskChar>, "A"},
    {"41 7A", is<veskUnsignedChar>, "z"},
    {"02 FF FE", is<veskShort>, "-2"},
    {"42 9C 41", is<veskUnsignedShort>, "40001"},
    {"03 00", is<veskInt>, "0"},
    {"03 01 05", is<veskInt>, "5"},
    {"03 04 FF FF FF FF", is<veskInt>, "-1"},
    {"04 03 01 00 00", is<veskLong>, "65536"},
    {"43 02 01 00", is<veskUnsignedInt>, "256"},
    {"43 04 FF FF FF FF", is<veskUnsignedInt>, "4294967295"},
    {"44 01 07", is<veskUnsignedLong>, "7"},
    {"05 3F C0 00 00", is<veskFloat>, "1.500000"},
    {"06 3F F0 00 00 00 00 00 00", is<veskDouble>, "1072693248"},
    {"07 01 01", is<veskBool>, "True"},
    {"07 00", is<veskBool>, "False"},
    {"07 01 02", is<veskBool>, "True"},
    {"0C 02 03 E8", is<veskTime>, "1000"},
    // Identifiers
    {"0A 00", is<veskOid>, "Invalid"},
    {"0A 01 01 3B 01 06 00 00", is<veskOid>, "59.6.0.0"},
    {"0A 01 01 3B 01 07 00 01 01", is<veskOid>, "59.7.0.1"},
    {"0A 01 01 01 02 01 00 00 04 FF FF FF FF", is<veskOid>,
     "1.256.0.4294967295"},
    {"0B 00", is<veskAid>, "Invalid"},
    {"0B 01 01 3B 01 06 01 02", is<veskAid>, "59.6.2"},
    // Strings, opaques and addresses
    {"09 43 01 03 61 62 63", is<veskString>, "abc"},
    {"09 03 01 03 61 62 63", is<veskString>, "abc"},
    {"09 43 00", is<veskString>, ""},
    {"08 43 01 02 01 FF", is<veskOpaque>, "01 ff "},
    {"08 43 00", is<veskOpaque>, ""},
    {"0F 00", is<veskAddress>, ""},
    {"0F 02 0A 00 00 01", is<veskAddress>, "10.0.0.1"},
    // Lists
    {"80 43 00", is<veskList>, ""},
    {"80 43 01 02 03 01 05 07 00", is<veskList>, "5, False"},
    {"80 43 01 01 80 43 01 01 03 01 07", is<veskList>, "7"},
    // Attributes, objects and errors
    {"17 0B 01 01 3B 01 07 01 01 00", is<veskAttribute>, "59.7.1 = "},
    {"17 0B 01 01 3B 01 07 01 01 01 03 01 05", is<veskAttribute>, "59.7.1 = 5"},
    {"18 0B 01 01 3B 01 07 01 01 01 03 01 05 01 01", is<veskAttributeValueOp>,
     "59.7.1 = 5 op = 1"},
    {"19 0A 01 01 3B 01 07 00 01 01 "
     "80 43 01 01 17 0B 01 01 3B 01 07 01 01 01 03 01 05",
     is<veskObject>, "59.7.0.1 : 59.7.1 = 5"},
    {"1A 43 01 02 03 01 05", is<veskError>, "index 2 : 5(Permission Denied)"},
    // Descriptions
    {"10 09 43 01 05 6C 65 76 65 6C 43 01 03", is<veskArgumentDesc>,
     "\t\targument level {\n\t\t\ttype 3;\n\t\t};\n"},
    {"11 09 43 01 02 6F 6E 0B 01 01 3B 01 07 01 01 43 01 07 00 43 01 01 43 00 "
     "07 01 01",
     is<veskAttributeDesc>,
     "\tattribute on {\n\t\tid 59.7.1;\n\t\ttype 7;\n\t\tdefval ;\n"
     "\t\taccess 1;\n\t\tstorage 0;\n\t\trequiredOnCreate True;\n\t};\n"},
    {"12 09 43 01 03 64 69 6D 0B 01 01 3B 01 07 01 02 "
     "80 43 01 01 10 09 43 01 05 6C 65 76 65 6C 43 01 03",
     is<veskActionDesc>,
     "\taction dim {\n\t\tid 59.7.2;\n"
     "\t\targument level {\n\t\t\ttype 3;\n\t\t};\n\t};\n"},
    {"13 09 43 01 03 6F 75 74 0B 01 01 3B 01 07 01 03 80 43 00",
     is<veskEventDesc>, "\tevent out {\n\t\tid 59.7.3;\n\t};\n"},
    {"14 09 43 01 04 6C 61 6D 70 0A 01 01 3B 01 07 00 00 "
     "0A 01 01 3B 01 01 00 00 80 43 00 80 43 00 80 43 01 01 "
     "13 09 43 01 03 6F 75 74 0B 01 01 3B 01 07 01 03 80 43 00",
     is<veskObjectDesc>,
     "object lamp {\n\tid 59.7.0.0;\n\tderivedFrom 59.1.0.0;\n"
     "\tevent out {\n\t\tid 59.7.3;\n\t};\n};\n"},
    // Requests and events
    {"1F 03 00 43 01 05 0A 00 0A 01 01 3B 01 06 00 00 80 43 00", is<veskGetPDU>,
     "5 : 0 : Invalid : 59.6.0.0 : "},
    {"1C 03 00 43 01 05 0A 00 0A 01 01 3B 01 07 00 00 "
     "80 43 01 01 17 0B 01 01 3B 01 07 01 01 01 03 01 05",
     is<veskCreatePDU>, "5 : 0 : Invalid : 59.7.0.0 : 59.7.1 = 5"},
    {"1D 03 00 43 01 05 0A 00 0A 01 01 3B 01 07 00 01 01 80 43 00",
     is<veskClonePDU>, "5 : 0 : Invalid : 59.7.0.1 : "},
    {"1E 03 00 43 01 05 0A 00 0A 01 01 3B 01 07 00 01 01", is<veskRemovePDU>,
     "5 : 0 : Invalid : 59.7.0.1"},
    {"20 03 00 43 01 05 0A 00 0A 01 01 3B 01 07 00 01 01 "
     "80 43 01 01 17 0B 01 01 3B 01 07 01 01 01 03 01 05",
     is<veskSetPDU>, "5 : 0 : Invalid : 59.7.0.1 : 59.7.1 = 5"},
    {"21 03 00 43 01 05 0A 00 0A 01 01 3B 01 07 00 00 "
     "80 43 01 01 18 0B 01 01 3B 01 07 01 01 01 03 01 05 01 01 07 01 01",
     is<veskSearchPDU>,
     "5 : 0 : Invalid : 59.7.0.0 : 59.7.1 = 5 op = 1 : True"},
    {"22 03 00 43 00 0A 00 0A 01 01 3B 01 07 00 01 01 0B 01 01 3B 01 07 01 03 "
     "80 43 01 01 03 01 2A",
     is<veskEventPDU>, "0 : 0 : Invalid : 59.7.0.1 : 59.7.3 : 42"},
    {"23 03 00 43 01 05 0A 01 01 3B 01 6E 01 01 01 01 0B 01 01 3B 01 07 01 02 "
     "80 43 01 01 03 01 03",
     is<veskActionPDU>, "5 : 0 : 59.110.1.1 : 59.7.2 : 3"},
    {"2C 03 00 43 01 05 0A 00 0A 01 01 3B 01 07 00 01 01", is<veskVerifyPDU>,
     "5 : 0 : Invalid : 59.7.0.1"},
    {"2E 03 00 43 01 05 0A 00 0A 01 01 3B 01 07 00 00 "
     "80 43 01 01 18 0B 01 01 3B 01 07 01 01 01 03 01 05 01 01 80 43 00",
     is<veskDSsearchPDU>, "5 : 0 : Invalid : 59.7.0.0 : 59.7.1 = 5 op = 1 : "},
    {"21 03 00 43 01 05 0A 00 0A 01 01 3B 01 C8 00 00 80 43 01 03 "
     "18 0B 00 01 0A 01 01 3B 01 C8 00 01 01 01 10 "
     "18 0B 00 01 43 01 02 01 11 "
     "18 0B 00 01 80 43 01 01 0B 01 01 3B 01 C8 01 01 01 12 07 01 01",
     is<veskSearchPDU>,
     "5 : 0 : Invalid : 59.200.0.0 : Invalid = 59.200.0.1 op = 16, "
     "Invalid = 2 op = 17, Invalid = 59.200.1 op = 18 : True"},
    // Answers
    {"25 03 00 43 01 05 0A 00 80 43 00 0A 01 01 3B 01 07 00 01 01",
     is<veskCreateRespPDU>, "5 : 0 : Invalid : 59.7.0.1"},
    {"26 03 04 FF FF FF FF 43 01 05 0A 00 80 43 01 01 1A 43 00 03 01 02 0A 00",
     is<veskCloneRespPDU>, "5 : -1 : Invalid : Invalid"},
    {"27 03 00 43 01 05 0A 00 80 43 00 "
     "80 43 01 01 17 0B 01 01 3B 01 07 01 01 01 03 01 05",
     is<veskGetRespPDU>, "5 : 0 : Invalid : 59.7.1 = 5 : "},
    {"28 03 00 43 01 07 0A 00 80 43 00", is<veskSetRespPDU>,
     "7 : 0 : Invalid : "},
    {"29 03 00 43 01 05 0A 00 80 43 00 80 43 01 01 0A 01 01 3B 01 07 00 01 01",
     is<veskSearchRespPDU>, "5 : 0 : Invalid : 59.7.0.1 : "},
    {"29 03 00 43 01 05 0A 00 80 43 00 80 43 01 02 "
     "19 0A 01 01 3B 01 C8 00 01 02 "
     "80 43 01 01 17 0B 01 01 3B 01 C8 01 01 01 03 01 05 "
     "19 0A 01 01 3B 01 C8 00 01 03 80 43 00",
     is<veskSearchRespPDU>,
     "5 : 0 : Invalid : 59.200.0.2 : 59.200.1 = 5, 59.200.0.3 :  : "},
    {"2B 03 01 01 43 01 05 0A 00", is<veskRemoveRespPDU>, "5 : 1 : Invalid"},
    {"2D 03 00 43 01 05 0A 00", is<veskVerifyRespPDU>, "5 : 0 : Invalid"},
    {"2F 03 00 43 01 05 0A 00 80 43 00 80 43 01 01 0F 02 C0 00 02 01 "
     "80 43 01 01 0A 01 01 3B 01 07 00 01 01",
     is<veskDSsearchRespPDU>, "5 : 0 : Invalid : 59.7.0.1 : 192.0.2.1 : "},
    {"2A 03 00 43 01 05 0A 00 80 43 00", is<veskActionRespPDU>,
     "5 : 0 : Invalid : "},
};

// Read in another form than they are written in.
struct Unusual {
  const char* bytes;
  const char* text;
  const char* written;
};
const Unusual kUnusual[] = {
    {"03 01 FF", "255", "03 01 FF"},
    {"03 02 00 05", "5", "03 01 05"},
    {"03 05 01 02 03 04 05", "33752069", "03 04 02 03 04 05"},
    {"0A 05 00 00 00 00", "0.0.0.0", "0A 01 00 00 00 00"},
    {"09 8F 01 03 61 62 63", "abc", "09 8F 01 03 61 62 63"},
};

const char kGauge[] = "4D 01 07";
const char kCounter[] = "4E 01 07";
const char kHeader[] = "1B 03 00 43 00 0A 00";

const char* const kRefused[] = {
    "0D",
    kGauge,
    kCounter,
    kHeader,
    "03 03 01 02",
    "0A 01 01 3B",
    "09 43 01 04 61 62 63",
    "80 43 04 FF FF FF FF",
    "0F 02 0A 00",
    "0F 07",
    "80 43 01 02 03 01 05 FF",
};

// Datagrams.
const char kDatagram[] =
    "00 01 00 07 00 01 00 00 00 00 00 09 00 00 00 00 "
    "2B 03 01 01 43 01 05 0A 00";
const char kFirstHeader[] = "00 01 00 08 00 02 00 00 00 00 05 B1 00 00 00 00";
const char kSecondFragment[] =
    "00 01 00 08 00 02 00 01 00 00 05 B1 00 00 05 B0 AA";

struct RefusedDatagram {
  const char* bytes;
  int error;
};
const RefusedDatagram kRefusedDatagrams[] = {
    {"00 01 00 07 00 01 00 00 00 00", EMSGSIZE},
    {"00 01 00 07 00 01 00 00 00 00 00 09 00 00 00 00", EMSGSIZE},
    {"00 02 00 07 00 01 00 00 00 00 00 01 00 00 00 00 00", EPROTONOSUPPORT},
    {"00 01 00 07 00 00 00 00 00 00 00 01 00 00 00 00 00", EBADMSG},
    {"00 01 00 07 00 02 00 02 00 00 05 B1 00 00 05 B0 AA", EBADMSG},
    {"00 01 00 07 00 02 00 01 00 00 05 B1 00 00 05 B2 AA", EBADMSG},
    {"00 01 00 07 00 02 00 01 00 00 0B 61 00 00 05 B0 AA", EBADMSG},
    {"00 01 00 07 00 01 00 00 00 00 00 02 00 00 00 00 AA", EBADMSG},
};

// Exchanges.
const char kReadRequest[] =
    "00 01 00 00 00 01 00 00 00 00 00 26 00 00 00 00 "
    "1F 03 00 43 00 0A 01 01 3B 01 6E 01 01 01 01 0A 01 01 3B 01 07 00 01 01 "
    "80 43 01 01 17 0B 01 01 3B 01 07 01 01 00";
const char kReadAnswer[] =
    "00 01 00 07 00 01 00 00 00 00 00 1B 00 00 00 00 "
    "27 03 00 43 00 0A 00 80 43 00 "
    "80 43 01 01 17 0B 01 01 3B 01 07 01 01 01 03 01 05";
const char kDiscovery[] = "2E 03 00 43 00 0A 00 0A 00 80 43 00 80 43 00";
const char kDiscovered[] = "2F 03 00 43 00 0A 00 80 43 00 80 43 00 80 43 00";
const char kRegister[] =
    "1C 03 00 43 00 0A 01 01 3B 01 6E 01 01 01 01 0A 01 01 3B 01 06 00 00 "
    "80 43 01 05 "
    "17 0B 01 01 3B 01 01 01 01 01 0F 02 C0 00 02 01 "
    "17 0B 01 01 3B 01 06 01 01 01 0A 01 01 3B 01 07 00 01 01 "
    "17 0B 01 01 3B 01 06 01 02 01 0B 01 01 3B 01 07 01 03 "
    "17 0B 01 01 3B 01 06 01 03 01 0F 02 C0 00 02 0A "
    "17 0B 01 01 3B 01 06 01 04 01 42 9C 41";
const char kRegistered[] =
    "25 03 00 43 00 0A 00 80 43 00 0A 01 01 3B 01 06 00 01 03";
const char kNotice[] =
    "22 03 00 43 00 0A 00 0A 01 01 3B 01 06 00 01 03 0B 01 01 3B 01 06 01 06 "
    "80 43 01 01 0C 02 03 E8";
const char kRenew[] =
    "20 03 00 43 01 01 0A 01 01 3B 01 6E 01 01 01 01 "
    "0A 01 01 3B 01 06 00 01 03 "
    "80 43 01 01 17 0B 01 01 3B 01 06 01 05 01 0C 02 11 F8";
const char kUnregister[] =
    "1E 03 00 43 01 02 0A 01 01 3B 01 6E 01 01 01 01 "
    "0A 01 01 3B 01 06 00 01 03";
const char kFindPrincipal[] =
    "21 03 00 43 00 0A 00 0A 01 01 3B 01 6E 00 00 "
    "80 43 01 01 18 0B 01 01 3B 01 6E 01 02 01 03 02 03 E8 01 01 07 01 01";
const char kPrincipalFound[] =
    "29 03 00 43 00 0A 00 80 43 00 80 43 01 01 0A 01 01 3B 01 6E 00 01 09";
const char kReadPrincipal[] =
    "1F 03 00 43 01 01 0A 00 0A 01 01 3B 01 6E 00 01 09 80 43 00";
const char kPrincipalRead[] =
    "27 03 00 43 01 01 0A 00 80 43 00 "
    "80 43 01 01 17 0B 01 01 3B 01 6E 01 01 01 0A 01 01 3B 01 6E 01 01 01 01";

const char* const kSentAndReceived[] = {
    kDatagram,      kFirstHeader,    kSecondFragment, kReadRequest,
    kReadAnswer,    kDiscovery,      kDiscovered,     kRegister,
    kRegistered,    kNotice,         kRenew,          kUnregister,
    kFindPrincipal, kPrincipalFound, kReadPrincipal,  kPrincipalRead,
};

// --- values and PDUs

class WireFormat : public ::testing::TestWithParam<Example> {};

TEST_P(WireFormat, ExampleIsDecodedPrintedAndEncoded) {
  const Bytes bytes = hex(GetParam().bytes);
  const Decoded decoded(bytes);
  ASSERT_NE(decoded.value, nullptr);
  EXPECT_EQ(decoded.used, bytes.size());
  EXPECT_TRUE(GetParam().isOfItsClass(*decoded.value));
  EXPECT_EQ(textOf(*decoded.value), GetParam().text);
  EXPECT_EQ(encoded(*decoded.value), bytes);
}

TEST_P(WireFormat, ExampleIsRefusedWhenCutAnywhere) {
  const Bytes bytes = hex(GetParam().bytes);
  for (std::size_t size = 0; size < bytes.size(); ++size)
    EXPECT_EQ(Decoded(prefix(bytes, size)).used, 0U) << size;
}

// Named by their place in the table and their first bytes.
std::string nameOf(const ::testing::TestParamInfo<Example>& row) {
  constexpr std::size_t kLongest = 23;
  std::string name = std::to_string(row.index) + ' ' + row.param.bytes;
  name.resize(std::min(name.size(), kLongest));
  std::replace(name.begin(), name.end(), ' ', '_');
  return name;
}

INSTANTIATE_TEST_SUITE_P(Examples, WireFormat, ::testing::ValuesIn(kExamples),
                         nameOf);

TEST(WireFormatValues, TakeMoreThanAnEncoderMakes) {
  for (const Unusual& row : kUnusual) {
    const Bytes bytes = hex(row.bytes);
    const Decoded decoded(bytes);
    ASSERT_EQ(decoded.used, bytes.size()) << row.bytes;
    EXPECT_EQ(textOf(*decoded.value), row.text);
    EXPECT_THAT(encoded(*decoded.value), IsHex(row.written));
  }
}

TEST(WireFormatValues, AreRefusedWhenWrong) {
  for (const char* bytes : kRefused)
    EXPECT_EQ(Decoded(hex(bytes)).used, 0U) << bytes;
}

TEST(WireFormatValues, AreSentThoughRefusedWhenTheyArrive) {
  veskGauge gauge(7);
  veskCounter counter(7);
  veskPDU header(ostrel::kTagPDU);
  EXPECT_THAT(encoded(gauge), IsHex(kGauge));
  EXPECT_THAT(encoded(counter), IsHex(kCounter));
  EXPECT_THAT(encoded(header), IsHex(kHeader));
}

TEST(WireFormatValues, NestTo2048Levels) {
  const auto nested = [](std::size_t levels) {
    Bytes bytes = ostrel::test::repeated(hex("80 43 01 01"), levels - 1);
    return bytes += hex("80 43 00");
  };
  EXPECT_NE(Decoded(nested(2048)).used, 0U);
  EXPECT_EQ(Decoded(nested(2049)).used, 0U);
}

TEST(WireFormatValues, NestWithoutCountingTheListsOfPdus) {
  // A get whose list holds lists: the PDU is one level, its own list none.
  const auto get = [](std::size_t levels) {
    Bytes bytes = hex("1F 03 00 43 00 0A 00 0A 00");
    bytes += ostrel::test::repeated(hex("80 43 01 01"), levels);
    return bytes += hex("80 43 00");
  };
  EXPECT_NE(Decoded(get(2047)).used, 0U);
  EXPECT_EQ(Decoded(get(2048)).used, 0U);
}

// --- datagrams

class WireFormatDatagrams : public ::testing::Test {
 protected:
  WireFormatDatagrams() : system((fake::platform().reset(), fake::platform())) {
    handler.open(0);
  }
  ~WireFormatDatagrams() override { handler.dropPartialMessages(); }

  int send(const std::string& message) {
    std::string copy = message;
    return handler.send(&peer, copy.data(), static_cast<unsigned>(copy.size()));
  }

  // The message that a datagram completes, or "".
  std::string receive(const std::string& bytes) {
    system.deliver(peer, handler.socket, bytes);
    void* data = nullptr;
    const unsigned length = handler.recv(nullptr, &data);
    error = errno;
    std::string message;
    if (length > 0) message.assign(static_cast<char*>(data), length);
    std::free(data);
    return message;
  }

  fake::Platform& system;
  veskDatagramHandler handler;
  sockaddr_in peer = fake::endpoint("192.0.2.1", 5135);
  int error = 0;
};

TEST_F(WireFormatDatagrams, CarryAMessageOfOneFragment) {
  const std::string message = raw("2B 03 01 01 43 01 05 0A 00");
  handler.nextMessageId = 7;
  ASSERT_EQ(send(message), 1);
  ASSERT_THAT(system.sent, SizeIs(1));
  EXPECT_EQ(fake::digits(system.sent[0].bytes), kDatagram);
  EXPECT_EQ(receive(raw(kDatagram)), message);
}

TEST_F(WireFormatDatagrams, CarryAMessageOfTwoFragments) {
  const std::string first(1456, 'x');
  const std::string message = first + '\xAA';
  handler.nextMessageId = 8;
  ASSERT_EQ(send(message), 1);
  ASSERT_THAT(system.sent, SizeIs(2));
  EXPECT_EQ(system.sent[0].bytes, raw(kFirstHeader) + first);
  EXPECT_EQ(fake::digits(system.sent[1].bytes), kSecondFragment);
  EXPECT_EQ(receive(raw(kSecondFragment)), "");
  EXPECT_EQ(error, ENODATA);
  EXPECT_EQ(receive(raw(kFirstHeader) + first), message);
}

TEST_F(WireFormatDatagrams, AreRefusedWhenWrong) {
  for (const RefusedDatagram& row : kRefusedDatagrams) {
    EXPECT_EQ(receive(raw(row.bytes)), "") << row.bytes;
    EXPECT_EQ(error, row.error) << row.bytes;
    EXPECT_EQ(system.queued(handler.socket), 0U) << row.bytes;
    EXPECT_EQ(handler.reassemblyList.count, 0U) << row.bytes;
  }
}

TEST_F(WireFormatDatagrams, AreKeptSixtySecondsFromTheFirst) {
  const auto one = [this](unsigned id, unsigned number) {
    receive(fake::fragment(id, 3, number, 3, number, "x"));
  };
  one(1, 0);
  system.advance(60);
  one(1, 1);
  EXPECT_EQ(handler.reassemblyList.count, 1U);
  system.advance(1);
  one(2, 0);
  EXPECT_EQ(handler.reassemblyList.count, 1U);
}

TEST_F(WireFormatDatagrams, HoldAtMostWhatTheLimitsSay) {
  const std::string one(1456, 'x');
  receive(fake::fragment(1, 65535, 0, 95418960, 0, one));
  EXPECT_EQ(error, ENODATA);
  receive(fake::fragment(2, 65535, 0, 95418961, 0, one));
  EXPECT_EQ(error, EBADMSG);
  const std::string longest(65491, 'x');
  EXPECT_EQ(receive(fake::fragment(3, 1, 0, 65491, 0, longest)), longest);
  EXPECT_EQ(receive(fake::fragment(4, 1, 0, 65492, 0, longest)), "");
  EXPECT_EQ(error, EBADMSG);
  EXPECT_EQ(veskDatagramHandler::kMaxPartialMessages, 1024U);
  EXPECT_EQ(veskDatagramHandler::kMaxPartialBytes, 128U * 1024 * 1024);
}

TEST_F(WireFormatDatagrams, CarryNothingThatIsNoPdu) {
  veskMessageHandler messages;
  messages.open(0);
  system.deliver(peer, messages.socket,
                 fake::fragment(1, 1, 0, 3, 0, raw("80 43 00")));
  veskPDU* pdu = nullptr;
  EXPECT_EQ(messages.recv(nullptr, &pdu), 11);
  EXPECT_EQ(pdu, nullptr);
}

// --- exchanges

class WireFormatExchanges : public ::testing::Test {
 protected:
  WireFormatExchanges()
      : system((fake::platform().reset(), fake::platform())),
        began(system.clock) {}

  // A handler in the name of 59.110.1.1, as if it had been looked up before.
  template <class Handler>
  void signIn(Handler& handler) {
    handler.currentAccess = "59.110.1.1";
    handler.currentAccess.id = system.user;
  }

  // Searches without knowing a directory server.
  int searchAnyDirectory() {
    veskQueryHandler handler;
    signIn(handler);
    veskOid classOid("59.7.0.0");
    veskList none;
    veskList results;
    veskAddress from;
    return handler.DSsearch(nullptr, classOid, none, results, none, &from,
                            nullptr, nullptr);
  }

  std::vector<double> timesSent() const {
    std::vector<double> result;
    for (const fake::Datagram& datagram : system.sent)
      result.push_back(static_cast<double>(datagram.at - began) / kSecond);
    return result;
  }

  static constexpr double kSecond = fake::Platform::kSecond;
  fake::Platform& system;
  std::int64_t began;
  veskAddress address{"192.0.2.1"};
  veskOid object{"59.7.0.1"};
};

TEST_F(WireFormatExchanges, ReadAnAttribute) {
  fake::Server server("192.0.2.1", 5135);
  server.then(fake::datagram(kReadAnswer));
  veskQueryHandler handler;
  signIn(handler);
  const char* const names[] = {"59.7.1", nullptr};
  veskList attributes;
  veskMakeAttrList(names, &attributes);
  EXPECT_EQ(handler.get(&address, object, attributes, nullptr), 0);
  EXPECT_EQ(textOf(attributes), "59.7.1 = 5");
  attributes.clear(1);
  ASSERT_THAT(system.sent, SizeIs(1));
  EXPECT_EQ(fake::digits(system.sent[0].bytes), kReadRequest);
  EXPECT_EQ(fake::text(system.sent[0].to), "192.0.2.1:5135");
}

TEST_F(WireFormatExchanges, SendAgainWithTheSamePduAndAnotherMessageId) {
  fake::Server server("192.0.2.1", 5135);
  veskQueryHandler handler;
  signIn(handler);
  EXPECT_EQ(handler.verify(&address, object), 10);
  EXPECT_EQ(errno, ETIMEDOUT);
  EXPECT_EQ(system.clock - began, 21 * fake::Platform::kSecond);
  EXPECT_THAT(timesSent(), ElementsAre(0, 3, 9));
  ASSERT_THAT(server.requests, SizeIs(3));
  for (unsigned i = 0; i < 3; ++i) {
    EXPECT_EQ(server.requests[i].pdu, server.requests[0].pdu);
    EXPECT_EQ(fake::numberAt(system.sent[i].bytes, 2, 2), i);
  }
}

TEST_F(WireFormatExchanges, DiscoverADirectoryServer) {
  fake::Server server("192.0.2.50", 5136, "224.0.1.2", 1);
  server.then(kDiscovered);
  searchAnyDirectory();
  ASSERT_GE(system.sent.size(), 2U);
  EXPECT_EQ(fake::text(system.sent[0].to), "224.0.1.2:5136");
  EXPECT_EQ(fake::digits(system.sent[0].bytes.substr(16)), kDiscovery);
  EXPECT_EQ(fake::text(system.sent[1].to), "192.0.2.50:5136");
  // The answer came at once; then the server fell silent.
  EXPECT_THAT(timesSent(), ElementsAre(0, 0, 3, 9));
}

TEST_F(WireFormatExchanges, DiscoverNobodyIn16Seconds) {
  EXPECT_EQ(searchAnyDirectory(), 10);
  EXPECT_THAT(timesSent(), ElementsAre(0, 3, 6, 11));
  EXPECT_EQ(system.clock - began, 16 * fake::Platform::kSecond);
  std::vector<int> reach;
  std::vector<std::string> ids;
  for (const fake::Datagram& datagram : system.sent) {
    EXPECT_EQ(fake::text(datagram.to), "224.0.1.2:5136");
    reach.push_back(datagram.ttl);
    ids.push_back(fake::requestId(datagram.bytes.substr(16)));
  }
  EXPECT_THAT(reach, ElementsAre(1, 2, 4, 8));
  EXPECT_THAT(ids, ElementsAre("43 00", "43 01 01", "43 01 02", "43 01 03"));
}

TEST_F(WireFormatExchanges, RegisterHearRenewAndUnregister) {
  fake::Server server("192.0.2.1", 5135);
  server.then(kRegistered)
      .then("28 03 00 ID 0A 00 80 43 00")
      .then("2B 03 00 ID 0A 00");
  veskEventHandler handler;
  signIn(handler);
  handler.open();
  veskAid event("59.7.3");
  veskOid registration;
  EXPECT_EQ(handler.reg(object, event, &registration, nullptr, &address), 0);
  EXPECT_EQ(textOf(registration), "59.6.0.3");

  // From another port than the one that the server listens on.
  const sockaddr_in sender = fake::endpoint("192.0.2.1", 4444);
  system.deliver(sender, handler.eventSocket,
                 fake::fragments(1, raw(kNotice))[0]);
  veskAddress from;
  veskOid source;
  veskList arguments;
  EXPECT_EQ(handler.receive(&from, &source, &event, &arguments), 0);
  EXPECT_EQ(textOf(event), "Invalid");

  EXPECT_EQ(handler.unreg(registration, &address), 0);
  ASSERT_THAT(server.requests, SizeIs(3));
  EXPECT_EQ(server.requests[0].pdu, kRegister);
  EXPECT_EQ(server.requests[1].pdu, kRenew);
  EXPECT_EQ(server.requests[2].pdu, kUnregister);
}

TEST_F(WireFormatExchanges, LookUpAPrincipal) {
  fake::Server server("127.0.0.1", 5135);
  server.then(kPrincipalFound).then(kPrincipalRead);
  veskTransactionHandler handler;
  const int socket = handler.open();
  veskOid principal;
  EXPECT_EQ(getPrincipalOid(1000, &principal, 0, &handler, socket), 0);
  EXPECT_EQ(textOf(principal), "59.110.1.1");
  ASSERT_THAT(server.requests, SizeIs(2));
  EXPECT_EQ(server.requests[0].pdu, kFindPrincipal);
  EXPECT_EQ(server.requests[1].pdu, kReadPrincipal);
}

TEST_F(WireFormatExchanges, AskForAPrincipalOnceAndFor30Seconds) {
  veskTransactionHandler handler;
  const int socket = handler.open();
  veskOid principal;
  EXPECT_EQ(getPrincipalOid(1000, &principal, 0, &handler, socket), 10);
  EXPECT_THAT(timesSent(), ElementsAre(0));
  EXPECT_EQ(system.clock - began, 30 * fake::Platform::kSecond);
}

// --- the document

bool isHexPairs(const std::string& text) {
  if (text.size() % 3 != 2) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char* allowed = i % 3 == 2 ? " " : "0123456789ABCDEF";
    if (std::string(allowed).find(text[i]) == std::string::npos) return false;
  }
  return true;
}

// The examples of the document: what is hex between two backticks, and the
// blocks that begin with ```hex, whose lines may end with two spaces and words.
class Document {
 public:
  explicit Document(const char* path) {
    std::ifstream file(path);
    std::string line;
    while (std::getline(file, line)) {
      if (line.rfind("```", 0) == 0) {
        fence(line);
      } else if (inBlock_) {
        addLine(line);
      } else {
        addSpans(line);
      }
    }
  }

  std::set<std::string> examples;
  unsigned blocks = 0;
  std::vector<std::string> unreadable;  // lines of blocks that are not hex

 private:
  void fence(const std::string& line) {
    if (inBlock_) {
      examples.insert(block_);
      ++blocks;
    } else if (line != "```hex") {
      unreadable.push_back(line);
    }
    inBlock_ = !inBlock_;
    block_.clear();
  }

  void addLine(const std::string& line) {
    const std::string bytes = line.substr(0, line.find("  "));
    if (!isHexPairs(bytes)) unreadable.push_back(line);
    if (!block_.empty()) block_ += ' ';
    block_ += bytes;
  }

  void addSpans(const std::string& line) {
    std::size_t open = line.find('`');
    while (open != std::string::npos) {
      const std::size_t close = line.find('`', open + 1);
      if (close == std::string::npos) return;
      const std::string span = line.substr(open + 1, close - open - 1);
      if (isHexPairs(span)) examples.insert(span);
      open = line.find('`', close + 1);
    }
  }

  bool inBlock_ = false;
  std::string block_;
};

std::set<std::string> testedExamples() {
  std::set<std::string> result;
  const auto add = [&](const char* bytes) { result.insert(toHex(hex(bytes))); };
  for (const Example& row : kExamples) add(row.bytes);
  for (const Unusual& row : kUnusual) add(row.bytes);
  for (const char* bytes : kRefused) add(bytes);
  for (const RefusedDatagram& row : kRefusedDatagrams) add(row.bytes);
  for (const char* bytes : kSentAndReceived) add(bytes);
  return result;
}

std::vector<std::string> missing(const std::set<std::string>& from,
                                 const std::set<std::string>& among) {
  std::vector<std::string> result;
  for (const std::string& example : among)
    if (from.count(example) == 0) result.push_back(example);
  return result;
}

TEST(WireFormatDocument, HasNoExampleThatIsNotTested) {
  const Document document(OSTREL_WIRE_FORMAT);
  EXPECT_THAT(document.unreadable, IsEmpty());
  EXPECT_GT(document.blocks, 0U);
  EXPECT_THAT(missing(testedExamples(), document.examples), IsEmpty());
}

TEST(WireFormatDocument, HasEveryExampleThatIsTested) {
  const Document document(OSTREL_WIRE_FORMAT);
  EXPECT_THAT(missing(document.examples, testedExamples()), IsEmpty());
}

}  // namespace
