#include "format/decode.h"

#include <gtest/gtest.h>

#include "format/value_text.h"

namespace ostrel::tools::cli {
namespace {

// A get of request 5 for 59.6.0.0 with an empty list.
constexpr const char* kGet = "1f03004301050a000a01013b01060000804300";

std::vector<Decoded> decoded(const std::vector<std::string>& hex) {
  std::vector<std::string> inputs;
  for (const std::string& text : hex) inputs.push_back(parseHex(text));
  return decodeAll(inputs);
}

TEST(Decode, ShowsAPdu) {
  const auto results = decoded({kGet});
  ASSERT_EQ(results.size(), 1u);
  EXPECT_EQ(results[0].problem, "");
  EXPECT_EQ(decodedText(results[0]),
            "get 5, status 0(No Error), principal none\n"
            "  oid: 59.6.0.0\n"
            "  list: 0 elements\n");
}

TEST(Decode, ShowsADatagram) {
  const auto results =
      decoded({"0001"
               "0007"
               "0001"
               "0000"
               "00000013"
               "00000000" +
               std::string(kGet)});
  ASSERT_EQ(results.size(), 1u);
  EXPECT_EQ(decodedText(results[0]),
            "message 7, fragment 1 of 1, bytes 0 to 18 of 19\n"
            "get 5, status 0(No Error), principal none\n"
            "  oid: 59.6.0.0\n"
            "  list: 0 elements\n");
}

TEST(Decode, PutsFragmentsTogetherInAnyOrder) {
  const std::string get = kGet;
  const auto results =
      decoded({"0001"
               "0007"
               "0002"
               "0001"
               "00000013"
               "0000000a" +
                   get.substr(20),
               "0001"
               "0007"
               "0002"
               "0000"
               "00000013"
               "00000000" +
                   get.substr(0, 20)});
  ASSERT_EQ(results.size(), 1u);
  EXPECT_EQ(results[0].problem, "");
  EXPECT_EQ(results[0].used, 19u);
  EXPECT_EQ(decodedText(results[0]).substr(0, 47),
            "message 7, fragment 1 of 2, bytes 0 to 9 of 19\n");
}

TEST(Decode, SaysWhatAMessageLacks) {
  const std::string get = kGet;
  auto results =
      decoded({"0001"
               "0007"
               "0002"
               "0001"
               "00000013"
               "0000000a" +
               get.substr(20)});
  EXPECT_EQ(results[0].problem,
            "1 of 2 fragments: the message is not complete");
  results =
      decoded({"0001"
               "0007"
               "0001"
               "0000"
               "00000014"
               "00000000" +
               get});
  EXPECT_EQ(results[0].problem,
            "the fragments hold 19 bytes, not the 20 announced");
}

TEST(Decode, KeepsMessagesApart) {
  const std::string get = kGet;
  const auto results = decoded({get,
                                "0001"
                                "0007"
                                "0001"
                                "0000"
                                "00000013"
                                "00000000" +
                                    get,
                                "0001"
                                "0008"
                                "0001"
                                "0000"
                                "00000013"
                                "00000000" +
                                    get});
  EXPECT_EQ(results.size(), 3u);
}

TEST(Decode, SaysWhyADatagramIsRefused) {
  const struct {
    const char* hex;
    const char* problem;
  } rows[] = {
      {"0001",
       "a datagram has a header of 16 bytes and data behind it, these are 2 "
       "bytes"},
      {"00010007000100000000001300000000",
       "a datagram has a header of 16 bytes and data behind it, these are 16 "
       "bytes"},
      {"0002000700010000000000130000000000",
       "the version of the datagram is 2, not 1"},
      {"0001000700000000000000130000000000", "the message has no fragments"},
      {"0001000700010001000000130000000000", "there is no fragment 2 of 1"},
      {"0001000700010000000000130000001300",
       "the data ends at byte 20, the message at byte 19"},
      {"000100070002000000000b610000000000",
       "2 fragments cannot hold 2913 bytes"},
      {"0001000700010000000000130000001200", ""},
  };
  for (const auto& row : rows) {
    Datagram datagram;
    EXPECT_EQ(readDatagram(parseHex(row.hex), &datagram), row.problem);
    if (*row.problem == '\0') continue;
    const auto results = decoded({row.hex});
    ASSERT_EQ(results.size(), 1u);
    EXPECT_EQ(results[0].value, nullptr);
    EXPECT_EQ(results[0].problem,
              std::string("a receiver refuses the datagram: ") + row.problem);
  }
}

TEST(Decode, TakesASingleZeroForTheNullValue) {
  const auto results = decoded({"00"});
  EXPECT_EQ(results[0].problem, "");
  EXPECT_EQ(decodedText(results[0]), "null:\n");
}

TEST(Decode, TakesAFragmentThatIsThereTwiceOnce) {
  const std::string first = "000100070002000000000013000000001f030043";
  const std::string second =
      "0001000700020001000000130000000401050a000a01013b01060000804300";
  const auto results = decoded({first, first, second, second, first});
  ASSERT_EQ(results.size(), 1u);
  EXPECT_EQ(results[0].problem, "");
  EXPECT_EQ(results[0].datagrams.size(), 2u);
}

TEST(Decode, KeepsMessagesOfTheSameNumberApart) {
  const auto results = decoded({"00010007000100000000000300000000030105",
                                "00010007000100000000000300000000030106"});
  ASSERT_EQ(results.size(), 2u);
  EXPECT_EQ(plainText(results[0].value.get()), "5");
  EXPECT_EQ(plainText(results[1].value.get()), "6");
}

TEST(Decode, ShowsWhatFollowsAValue) {
  const auto results = decoded({"030105ff"});
  EXPECT_EQ(decodedText(results[0]), "int:5\n1 byte follows: ff\n");
}

TEST(Decode, SaysWhyBytesAreNoValue) {
  EXPECT_EQ(decoded({"ff"})[0].problem, "no value begins with the tag 255");
  EXPECT_EQ(decoded({"0303"})[0].problem,
            "the bytes end too early, or hold a value that is not known, "
            "inside a value with the tag 3");
  EXPECT_EQ(decoded({""})[0].problem, "there is nothing to decode");
}

TEST(Decode, SurvivesEveryShorterInput) {
  const std::string whole = parseHex(kGet);
  for (std::size_t length = 0; length < whole.size(); ++length) {
    const auto results = decodeAll({whole.substr(0, length)});
    EXPECT_EQ(results[0].value, nullptr);
    EXPECT_NE(results[0].problem, "");
  }
}

TEST(Decode, SurvivesTheDeepestNesting) {
  std::string hex;
  for (int i = 0; i < 2000; ++i) hex += "80430101";
  hex += "804300";
  const auto results = decoded({hex});
  ASSERT_EQ(results[0].problem, "");
  EXPECT_NE(decodedText(results[0]), "");
  EXPECT_NE(line(decodedJson(results[0])), "");
}

TEST(Decode, PrintsAttributesAndErrorsOnLinesOfTheirOwn) {
  // A get response: errors [item 1: code 1], list [59.1.1 = "a", 59.1.2].
  const auto results =
      decoded({"27"
               "0304ffffffff"
               "43"
               "0109"
               "0a00"
               "80430101"
               "1a43010103"
               "0101"
               "80430102"
               "17"
               "0b01013b01010101"
               "01"
               "0943010161"
               "17"
               "0b01013b01010102"
               "00"});
  EXPECT_EQ(results[0].problem, "");
  EXPECT_EQ(decodedText(results[0]),
            "getResponse 9, status -1(Ostrel Arg List Error), principal none\n"
            "  list: 2 elements\n"
            "    59.1.1 = string:a\n"
            "    59.1.2\n"
            "  errors: 1 element\n"
            "    item 1: 1(No Such Name)\n");
}

TEST(Decode, HasAJsonForm) {
  EXPECT_EQ(line(decodedJson(decoded({"030105ff"})[0])),
            R"({"datagrams":[],"bytes":4,"used":3,)"
            R"("value":{"type":"int","value":5},"problem":null})");
  EXPECT_EQ(line(decodedJson(decoded({"ff"})[0])),
            R"({"datagrams":[],"bytes":1,"used":0,"value":null,)"
            R"("problem":"no value begins with the tag 255"})");
}

}  // namespace
}  // namespace ostrel::tools::cli
