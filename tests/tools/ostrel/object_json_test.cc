#include "format/object_json.h"

#include <gtest/gtest.h>
#include <ostrel/codes.h>
#include <ostrel/objectdesc.h>

#include <limits>
#include <random>
#include <utility>
#include <vector>

#include "format/value_text.h"

namespace ostrel::tools::cli {
namespace {

std::string json(const ostrel::Value& value, Form form = Form::kWhole) {
  std::string text;
  appendJson(&text, value, form);
  return text;
}

ostrel::Value read(const std::string& text) {
  return valueFrom(Json::parse(text), 0);
}

ostrel::Value fromHex(const char* hex) {
  return *ostrel::Value::decode(parseHex(hex));
}

TEST(ObjectJson, WritesWhatEveryCommandPrints) {
  for (const char* text : {"null:",
                           "int:-5",
                           "int:2147483647",
                           "uint:4294967295",
                           "long:-2147483648",
                           "ulong:5",
                           "short:-5",
                           "ushort:65535",
                           "char:A",
                           "char:\\xff",
                           "uchar:\\xff",
                           "float:0.1",
                           "double:0.1",
                           "double:-0",
                           "double:1e300",
                           "double:inf",
                           "float:-inf",
                           "double:nan",
                           "bool:true",
                           "bool:2",
                           "time:4294967295",
                           "string:",
                           "string:lamp",
                           "string:a\\n\\x1b",
                           "string:\"\\\\",
                           "string:a\\xff",
                           "string:\xc2\x9b",
                           "string:\xe2\x80\xa8",
                           "oid:59.6",
                           "oid:invalid",
                           "oid:4294967295.0.1.2",
                           "aid:59.6.1",
                           "aid:invalid",
                           "addr:10.0.0.1",
                           "addr:none",
                           "opaque:00ff",
                           "opaque:",
                           "list:[]",
                           "list:[1,list:[\\,],attr:59.6.1=5]",
                           "attr:59.6.1=list:[1]",
                           "attr:59.6.1"}) {
    const auto value = parseValue(text, 0);
    EXPECT_EQ(json(ostrel::Value::from(value.get()), Form::kShown),
              line(toJson(value.get())))
        << text;
  }
}

TEST(ObjectJson, WritesAttributesAsEveryCommandDoes) {
  Attributes attributes{{"59.6.1", 5}, {"59.6.1", "again"}};
  attributes.append(Attribute("59.6.2"));
  attributes.append("59.6.3", ostrel::Value());
  attributes.append(Attribute());
  std::string text;
  appendJson(&text, attributes, Form::kShown);
  EXPECT_EQ(text,
            R"([{"id":"59.6.1","value":{"type":"int","value":5}},)"
            R"({"id":"59.6.1","value":{"type":"string","value":"again"}},)"
            R"({"id":"59.6.2","value":null},)"
            R"({"id":"59.6.3","value":{"type":"null","value":null}},)"
            R"({"id":null,"value":null}])");
  EXPECT_EQ(attributesFrom(Json::parse(text), 0), attributes);
}

TEST(ObjectJson, HasTheBytesOfWhatItsFormDoesNotTell) {
  // A NaN with a payload, and an object.
  EXPECT_EQ(json(fromHex("057fc00001")),
            R"({"type":"float","value":"nan","hex":"057fc00001"})");
  EXPECT_EQ(json(ostrel::Value(Object("59.6.0.1", {}))),
            R"({"type":"object","oid":"59.6.0.1","attributes":[],)"
            R"("hex":"190a01013b0106000101804300"})");
}

// Values of all types, with others inside.
class Random {
 public:
  ostrel::Value value(unsigned depth = 0) {
    switch (pick(depth < 4 ? 22 : 18)) {
      case 0:
        return ostrel::Value();
      case 1:
        return ostrel::Value(static_cast<signed char>(bits()));
      case 2:
        return ostrel::Value(static_cast<unsigned char>(bits()));
      case 3:
        return ostrel::Value(static_cast<short>(bits()));
      case 4:
        return ostrel::Value(static_cast<unsigned short>(bits()));
      case 5:
        return ostrel::Value(static_cast<int>(bits()));
      case 6:
        return ostrel::Value(bits());
      case 7:
        return ostrel::Value(static_cast<long>(static_cast<int>(bits())));
      case 8:
        return ostrel::Value(static_cast<unsigned long>(bits()));
      case 9:
        return real("05", 1);
      case 10:
        return real("06", 2);
      case 11:
        return ostrel::Value(pick(2) == 1);
      case 12:
        return ostrel::Value::time(bits());
      case 13:
        return ostrel::Value(bytes());
      case 14:
        return ostrel::Value(Opaque{bytes()});
      case 15:
        return ostrel::Value(pick(8) == 0 ? Oid() : Oid(bits(), bits(), 1, 2));
      case 16:
        return ostrel::Value(pick(8) == 0 ? Aid() : Aid(bits(), bits(), 1));
      case 17:
        if (pick(4) == 0) return ostrel::Value::noAddress();
        return ostrel::Value(in_addr{bits()});
      case 18:
        return ostrel::Value(attribute(depth + 1));
      case 19:
        return ostrel::Value(Object(Oid(bits(), 1), attributes(depth + 1)));
      default: {
        Values elements(pick(5));
        for (ostrel::Value& element : elements) element = value(depth + 1);
        return ostrel::Value(std::move(elements));
      }
    }
  }

  Attributes attributes(unsigned depth) {
    Attributes result;
    for (std::uint32_t i = pick(6); i > 0; --i) result.append(attribute(depth));
    return result;
  }

 private:
  std::uint32_t bits() { return static_cast<std::uint32_t>(random_()); }
  std::uint32_t pick(std::uint32_t below) { return bits() % below; }

  std::string bytes() {
    std::string result(pick(24), '\0');
    const bool isText = pick(2) == 0;
    for (char& c : result)
      c = static_cast<char>(isText ? 'a' + pick(26) : bits());
    return result;
  }

  // Of any pattern of bits.
  ostrel::Value real(const char* tag, int words) {
    std::string encoded = parseHex(tag);
    for (int i = 0; i < words * 4; ++i) encoded += static_cast<char>(bits());
    const auto value = ostrel::Value::decode(encoded);
    return value ? *value : ostrel::Value(0.5);
  }

  Attribute attribute(unsigned depth) {
    const Aid aid(bits(), 1, pick(3));
    return pick(5) == 0 ? Attribute(aid) : Attribute(aid, value(depth));
  }

  std::mt19937 random_{20261122};
};

TEST(ObjectJson, ReadsAgainWithoutLossWhatItWrote) {
  Random random;
  for (int i = 0; i < 20000; ++i) {
    const ostrel::Value value = random.value();
    const std::string text = json(value);
    ASSERT_EQ(read(text).encode(), value.encode()) << text;
  }
}

TEST(ObjectJson, ReadsAttributesAgainWithoutLoss) {
  Random random;
  for (int i = 0; i < 2000; ++i) {
    const Attributes attributes = random.attributes(0);
    std::string text;
    appendJson(&text, attributes, Form::kWhole);
    ASSERT_EQ(attributesFrom(Json::parse(text), 0), attributes) << text;
  }
}

TEST(ObjectJson, ReadsDescriptionsAndErrorsAgain) {
  veskArgumentDesc argument("speed", 3);
  const ostrel::Value description = ostrel::Value::from(&argument);
  EXPECT_EQ(read(json(description)), description);
  const ostrel::Value error = fromHex("1a4300030105");
  EXPECT_EQ(read(json(error)), error);
  EXPECT_EQ(read(json(fromHex("070102"))), fromHex("070102"));  // bool 2
}

TEST(ObjectJson, ReadsListsOfAnyDepthAgain) {
  ostrel::Value value(1);
  for (int i = 0; i < 1500; ++i) value = ostrel::Value(Values{value});
  EXPECT_EQ(read(json(value)), value);
}

TEST(ObjectJson, ReadsTextsAsTheCommandLineDoes) {
  EXPECT_EQ(valueFrom("int:5", 0), ostrel::Value(5));
  EXPECT_EQ(valueFrom("lamp", 0), ostrel::Value("lamp"));
  EXPECT_EQ(valueFrom("time:now+1m", 100), ostrel::Value::time(160));
  EXPECT_EQ(valueFrom(5, 0), ostrel::Value(5));
  EXPECT_EQ(valueFrom(1.5, 0), ostrel::Value(1.5));
  EXPECT_EQ(valueFrom(true, 0), ostrel::Value(true));
  EXPECT_EQ(attributesFrom(Json::array({"59.6.1=5", "59.6.2"}), 0),
            Attributes({{"59.6.1", 5}, Attribute("59.6.2")}));
  EXPECT_EQ(
      termsFrom(Json::array({"59.6.1>5", "59.6.2"}), 0),
      (std::vector<Term>{Term("59.6.1", kOperatorGreater, 5), Term("59.6.2")}));
  EXPECT_EQ(idsFrom(Json::array({"59.6.1"})), std::vector<Aid>{"59.6.1"});
}

TEST(ObjectJson, RefusesWhatIsNoValue) {
  for (const char* text : {"null",
                           "[]",
                           "{}",
                           R"({"type":5})",
                           R"({"type":"int"})",
                           R"({"type":"int","value":"5"})",
                           R"({"type":"int","value":1.5})",
                           R"({"type":"int","value":2147483648})",
                           R"({"type":"int","value":-2147483649})",
                           R"({"type":"uint","value":-1})",
                           R"({"type":"uint","value":4294967296})",
                           R"({"type":"ulong","value":4294967296})",
                           R"({"type":"long","value":18446744073709551615})",
                           R"({"type":"short","value":32768})",
                           R"({"type":"uchar","value":256})",
                           R"({"type":"float","value":1e39})",
                           R"({"type":"float","value":"x"})",
                           R"({"type":"double","value":null})",
                           R"({"type":"bool","value":1})",
                           R"({"type":"time","value":-1})",
                           R"({"type":"string","value":5})",
                           R"({"type":"string","value":"","hex":"0"})",
                           R"({"type":"opaque","value":"0g"})",
                           R"({"type":"oid","value":"59"})",
                           R"({"type":"aid","value":"59.6"})",
                           R"({"type":"addr","value":"a"})",
                           R"({"type":"gauge","value":5})",
                           R"({"type":"counter","value":5})",
                           R"({"type":"list","value":5})",
                           R"({"type":"list","value":[{}]})",
                           R"({"type":"description","value":"x","tag":16})",
                           R"({"type":"deep","value":"x"})",
                           R"({"type":"deep","hex":"03"})",
                           R"({"type":"object","oid":"59.6"})",
                           R"({"type":"lamp","value":5})"})
    EXPECT_THROW(read(text), TextError) << text;
  EXPECT_THROW(attributesFrom(Json::parse(R"([{"value":5}])"), 0), TextError);
  EXPECT_THROW(attributesFrom(Json::parse(R"([5])"), 0), TextError);
  EXPECT_THROW(attributesFrom(5, 0), TextError);
  EXPECT_THROW(termsFrom(Json::array({5}), 0), TextError);
  EXPECT_THROW(idsFrom(Json::array({"59.6"})), TextError);
}

TEST(ObjectJson, RefusesListsThatLieTooDeep) {
  Json deep = 1;
  for (int i = 0; i < 600; ++i)
    deep = Json{{"type", "list"}, {"value", Json::array({deep})}};
  EXPECT_THROW(valueFrom(deep, 0), TextError);
}

TEST(ObjectJson, RefusesLinesThatAreNoObjects) {
  EXPECT_EQ(objectFrom(R"({"a":1})")["a"], 1);
  for (const char* text : {"", "5", "[]", "{", R"({"a":1} {})", "{\"\xff\":1}"})
    EXPECT_THROW(objectFrom(text), TextError) << text;
}

}  // namespace
}  // namespace ostrel::tools::cli
