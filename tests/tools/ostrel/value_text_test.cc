#include "format/value_text.h"

#include <gtest/gtest.h>
#include <ostrel/veskError.h>
#include <ostrel/veskPDU.h>

#include <string>
#include <vector>

namespace ostrel::tools::cli {
namespace {

constexpr std::time_t kNow = 1000000000;

std::string reprinted(const std::string& text) {
  return valueText(parseValue(text, kNow).get());
}

std::string problemWith(const std::string& text) {
  try {
    parseValue(text, kNow);
  } catch (const TextError& error) {
    return error.what();
  }
  return "";
}

TEST(ValueText, RefusesWhatNoServerReadsAndSaysWhatToWrite) {
  EXPECT_EQ(problemWith("gauge:7"),
            "no server reads a gauge: write 'uint:7' instead");
  EXPECT_EQ(problemWith("list:[1,counter:8]"),
            "no server reads a counter: write 'uint:8' instead");
  EXPECT_EQ(problemWith("frob:1").find("gauge"), std::string::npos);
}

TEST(ValueText, PrintsGaugesAndCounters) {
  veskGauge gauge(7);
  veskCounter counter(8);
  EXPECT_EQ(valueText(&gauge), "gauge:7");
  EXPECT_EQ(valueText(&counter), "counter:8");
}

TEST(ValueText, ReadsWhatItPrints) {
  const std::vector<std::string> texts = {
      "int:5",
      "int:-2147483648",
      "int:2147483647",
      "uint:4294967295",
      "long:-1",
      "ulong:4294967295",
      "short:-32768",
      "ushort:65535",
      "char:A",
      "char:\\x05",
      "uchar:\\xff",
      "float:1.5",
      "float:-inf",
      "double:0.1",
      "double:1e+300",
      "double:nan",
      "bool:true",
      "bool:false",
      "bool:2",
      "time:2001-09-09T01:46:40Z",
      "string:",
      "string:a b",
      "string:a\\\\b\\n\\x1b",
      "string:a,b]",
      "oid:59.6.0.1",
      "oid:invalid",
      "aid:59.6.1",
      "aid:invalid",
      "addr:10.0.0.1",
      "addr:none",
      "opaque:",
      "opaque:00ff",
      "list:[]",
      "list:[int:1,string:abc,list:[],list:[bool:true]]",
      "list:[string:a\\,b\\[c\\],string:\\x20x\\x20,string:]",
      "attr:59.6.1=int:5",
      "attr:59.6.1",
      "list:[attr:59.6.1=string:a\\,b,attr:59.6.2]",
      "null:",
  };
  for (const std::string& text : texts) EXPECT_EQ(reprinted(text), text);
}

TEST(ValueText, GivesPlainWordsTheObviousType) {
  EXPECT_EQ(reprinted("5"), "int:5");
  EXPECT_EQ(reprinted("-5"), "int:-5");
  EXPECT_EQ(reprinted("0x10"), "int:16");
  EXPECT_EQ(reprinted("2147483648"), "uint:2147483648");
  EXPECT_EQ(reprinted("1.5"), "double:1.5");
  EXPECT_EQ(reprinted("59.6.1"), "aid:59.6.1");
  EXPECT_EQ(reprinted("59.6.0.1"), "oid:59.6.0.1");
  EXPECT_EQ(reprinted("true"), "bool:true");
  EXPECT_EQ(reprinted("abc"), "string:abc");
  EXPECT_EQ(reprinted("."), "string:.");
  EXPECT_EQ(reprinted("1.2.x"), "string:1.2.x");
  EXPECT_EQ(reprinted(""), "string:");
  EXPECT_EQ(reprinted("12:30"), "string:12:30");
  EXPECT_EQ(reprinted("list:[5, abc , 59.6.1]"),
            "list:[int:5,string:abc,aid:59.6.1]");
}

TEST(ValueText, ReadsTimesRelativeToNow) {
  EXPECT_EQ(plainText(parseValue("time:now", 0).get()), "1970-01-01T00:00:00Z");
  EXPECT_EQ(reprinted("time:now+1h"), "time:2001-09-09T02:46:40Z");
  EXPECT_EQ(reprinted("time:now-30m"), "time:2001-09-09T01:16:40Z");
  EXPECT_EQ(reprinted("time:now+2d"), "time:2001-09-11T01:46:40Z");
  EXPECT_EQ(reprinted("time:now+1w"), "time:2001-09-16T01:46:40Z");
  EXPECT_EQ(reprinted("time:now+10s"), "time:2001-09-09T01:46:50Z");
}

TEST(ValueText, ReadsTimesAsDatesAndAsSeconds) {
  EXPECT_EQ(reprinted("time:1000000000"), "time:2001-09-09T01:46:40Z");
  EXPECT_EQ(reprinted("time:2026-11-21"), "time:2026-11-21T00:00:00Z");
  EXPECT_EQ(reprinted("time:2026-11-21T03:19"), "time:2026-11-21T03:19:00Z");
  EXPECT_EQ(reprinted("time:4294967295"), "time:2106-02-07T06:28:15Z");
}

TEST(ValueText, RefusesTimesThatDoNotFit) {
  EXPECT_NE(problemWith("time:4294967296"), "");
  EXPECT_NE(problemWith("time:-1"), "");
  EXPECT_NE(problemWith("time:1960-01-01"), "");
  EXPECT_NE(problemWith("time:now+1y"), "");
  EXPECT_NE(problemWith("time:now1h"), "");
  EXPECT_NE(problemWith("time:soon"), "");
  EXPECT_NE(problemWith("time:2026-02-30"), "");
  EXPECT_NE(problemWith("time:2026-02-29T10:00"), "");
  EXPECT_EQ(problemWith("time:2028-02-29"), "");
}

TEST(ValueText, RefusesNumbersThatDoNotFit) {
  for (const char* text :
       {"int:2147483648", "int:",          "int:1x",          "int:--1",
        "int:0x",         "uint:-1",       "uint:4294967296", "short:32768",
        "ushort:-1",      "float:abc",     "float:",          "bool:yes",
        "char:",          "char:ab",       "addr:10.0.0",     "addr:localhost",
        "oid:59",         "oid:1.2.3.4.5", "oid:-1.2",        "oid:59. 6",
        "aid:1.2.3.4",    "opaque:0",      "opaque:xy",       "null:x"})
    EXPECT_NE(problemWith(text), "") << text;
}

TEST(ValueText, SaysWhichNumbersFit) {
  EXPECT_EQ(problemWith("short:40000"),
            "'40000' is no short: a whole number from -32768 to 32767 is");
  EXPECT_EQ(problemWith("99999999999999999999"),
            "'99999999999999999999' is no uint: a whole number from 0 to "
            "4294967295 is");
  EXPECT_NE(problemWith("0xfffffffffffffffff"), "");
  EXPECT_EQ(problemWith("-2147483649"),
            "'-2147483649' is no int: a whole number from -2147483648 to "
            "2147483647 is");
  EXPECT_EQ(problemWith("null:x"),
            "'x' stands behind null:, which has no value");
}

TEST(ValueText, NamesTheTypesWhenOneIsUnknown) {
  const std::string problem = problemWith("itn:5");
  EXPECT_NE(problem.find("'itn' is no type"), std::string::npos);
  EXPECT_NE(problem.find("string:itn:5"), std::string::npos);
}

TEST(ValueText, RefusesListsThatAreNotClosedOrHaveHoles) {
  for (const char* text : {"list:", "list:[", "list:[1", "list:[1,,2]",
                           "list:[1,]", "list:[1]x", "list:[list:[1]"})
    EXPECT_NE(problemWith(text), "") << text;
}

TEST(ValueText, RefusesTextNestedTooDeep) {
  std::string list = "1", attribute = "1";
  for (int i = 0; i < 3000; ++i) {
    list = "list:[" + list + "]";
    attribute = "attr:59.6.1=" + attribute;
  }
  EXPECT_EQ(problemWith(list), "values are nested too deep");
  EXPECT_EQ(problemWith(attribute), "values are nested too deep");
}

TEST(ValueText, PrintsTheDeepestNestingThatCanArrive) {
  Value list(new veskInt(1)), attribute(new veskInt(1));
  veskAid id("59.6.1");
  for (int i = 0; i < 2000; ++i) {
    auto* outerList = new veskList;
    outerList->append(list.release());
    list.reset(outerList);
    auto* outerAttribute = new veskAttribute(&id);
    outerAttribute->value = attribute.release();
    attribute.reset(outerAttribute);
  }
  EXPECT_EQ(valueText(list.get()).size(), 2000 * 7 + 5u);
  EXPECT_EQ(valueText(attribute.get()).size(), 2000 * 12 + 5u);
}

TEST(ValueText, ReadsClassesAndObjects) {
  EXPECT_EQ(oidText(parseOid("59.6")), "59.6.0.0");
  EXPECT_EQ(oidText(parseOid("4294967295.4294967295.4294967295.4294967295")),
            "4294967295.4294967295.4294967295.4294967295");
  EXPECT_EQ(aidText(parseAid("59.6.1")), "59.6.1");
  EXPECT_THROW(parseOid(""), TextError);
  EXPECT_THROW(parseOid("59.6.x"), TextError);
  EXPECT_THROW(parseOid("59.6.0.000000000000000000000000000000000000000000001"),
               TextError);
}

TEST(ValueText, RefusesIdentifiersThatWouldMeanOthers) {
  const auto problem = [](const char* text) -> std::string {
    try {
      parseOid(text);
    } catch (const TextError& error) {
      return error.what();
    }
    return "";
  };
  EXPECT_EQ(problem("59.200.0.010"),
            "'59.200.0.010' is no object identifier: '010' begins with a zero");
  EXPECT_EQ(problem("59.200.0.4294967297"),
            "'59.200.0.4294967297' is no object identifier: '4294967297' is "
            "more than 4294967295");
  EXPECT_EQ(problem("59..0.1"),
            "'59..0.1' is no object identifier: a number is missing");
  EXPECT_EQ(problem("59.6.0.1."),
            "'59.6.0.1.' is no object identifier: two to four numbers with "
            "dots, such as 59.6 or 59.6.0.1, are");
  EXPECT_EQ(problem("59.0x.1"),
            "'59.0x.1' is no object identifier: '0x' is no number");
  EXPECT_NE(problem("59.0x100000000"), "");
  EXPECT_NE(problem("59. 6"), "");
  EXPECT_EQ(oidText(parseOid("0x3b.0xC8.0.0xffffffff")), "59.200.0.4294967295");
  EXPECT_THROW(parseAid("59.200"), TextError);
  EXPECT_THROW(parseAid("59.200.1.1"), TextError);
  EXPECT_THROW(parseAid("59.200.01"), TextError);
  // Such words are no identifiers, but may be texts.
  EXPECT_EQ(reprinted("01.02.2026"), "string:01.02.2026");
  EXPECT_EQ(reprinted("10.0.0.4294967296"), "string:10.0.0.4294967296");
}

TEST(ValueText, ReadsAttributesWithAndWithoutValue) {
  EXPECT_EQ(attributeText(*parseAttribute("59.6.1=5", kNow)), "59.6.1 = int:5");
  EXPECT_EQ(attributeText(*parseAttribute("59.6.1=a=b", kNow)),
            "59.6.1 = string:a=b");
  EXPECT_EQ(attributeText(*parseAttribute("59.6.1=", kNow)),
            "59.6.1 = string:");
  EXPECT_EQ(attributeText(*parseAttribute("59.6.1", kNow)), "59.6.1");
  EXPECT_THROW(parseAttribute("name=5", kNow), TextError);
}

struct Row {
  const char* text;
  unsigned code;
  const char* printed;
};

TEST(ValueText, ReadsTheConditionsOfASearch) {
  const std::vector<Row> rows = {
      {"59.6.1=5", 1, "59.6.1 = int:5"},
      {"59.6.1!=5", 2, "59.6.1 != int:5"},
      {"59.6.1<5", 3, "59.6.1 < int:5"},
      {"59.6.1<=5", 4, "59.6.1 <= int:5"},
      {"59.6.1>5", 5, "59.6.1 > int:5"},
      {"59.6.1>=5", 6, "59.6.1 >= int:5"},
      {"59.6.1?", 7, "59.6.1?"},
      {"59.6.1", 7, "59.6.1?"},
      {"59.6.1~abc", 8, "59.6.1 ~ string:abc"},
      {"59.6.1@9=5", 9, "59.6.1 @9= int:5"},
      {"59.6.1=a<b", 1, "59.6.1 = string:a<b"},
  };
  for (const Row& row : rows) {
    const auto condition = parseCondition(row.text, kNow);
    EXPECT_EQ(static_cast<unsigned char>(condition->op.value), row.code);
    EXPECT_EQ(condition->tag, 24) << row.text;
    EXPECT_EQ(attributeText(*condition), row.printed);
  }
}

TEST(ValueText, RefusesWhatIsNoCondition) {
  for (const char* text : {"59.6.1!5", "59.6.1?5", "59.6.1@x=5", "59.6.1@256=5",
                           "59.6.1@9", "=5", "a=5"})
    EXPECT_THROW(parseCondition(text, kNow), TextError) << text;
}

TEST(ValueText, EscapesTextFromTheNetwork) {
  veskString text("\x1b[31m\n", 6);
  EXPECT_EQ(valueText(&text), "string:\\x1b[31m\\n");
}

TEST(ValueText, PrintsDoublesAsNumbers) {
  veskDouble number(1.0);
  EXPECT_EQ(plainText(&number), "1");
}

TEST(ValueText, PrintsObjectsErrorsAndMessages) {
  veskOid oid("59.6.0.1");
  veskObject object(&oid);
  veskInt five(5);
  veskAppendAttr(object.attributeList, "59.6.1", &five);
  EXPECT_EQ(valueText(&object), "object:59.6.0.1[attr:59.6.1=int:5]");
  veskError error(2, 5);
  EXPECT_EQ(valueText(&error), "error:2:5");
  veskRemovePDU pdu(oid);
  EXPECT_EQ(valueText(&pdu), "pdu:0 : 0 : Invalid : 59.6.0.1");
}

TEST(ValueText, PrintsAMissingValueAsNull) {
  EXPECT_EQ(valueText(nullptr), "null:");
  EXPECT_EQ(plainText(nullptr), "");
}

}  // namespace
}  // namespace ostrel::tools::cli
