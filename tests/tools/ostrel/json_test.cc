#include "format/json.h"

#include <gtest/gtest.h>
#include <ostrel/objectdesc.h>
#include <ostrel/veskError.h>

#include <limits>
#include <utility>
#include <vector>

#include "format/value_text.h"

namespace ostrel::tools::cli {
namespace {

TEST(Json, HasOneFormForEachValue) {
  const std::vector<std::pair<const char*, const char*>> rows = {
      {"null:", R"({"type":"null","value":null})"},
      {"int:-5", R"({"type":"int","value":-5})"},
      {"uint:4294967295", R"({"type":"uint","value":4294967295})"},
      {"long:-5", R"({"type":"long","value":-5})"},
      {"ulong:5", R"({"type":"ulong","value":5})"},
      {"short:-5", R"({"type":"short","value":-5})"},
      {"ushort:5", R"({"type":"ushort","value":5})"},
      {"char:A", R"({"type":"char","value":65})"},
      {"uchar:\\xff", R"({"type":"uchar","value":255})"},
      {"float:1.5", R"({"type":"float","value":1.5})"},
      {"double:0.1", R"({"type":"double","value":0.1})"},
      {"bool:true", R"({"type":"bool","value":true})"},
      {"bool:2", R"({"type":"bool","value":true,"number":2})"},
      {"time:0", R"({"type":"time","value":0,"text":"1970-01-01T00:00:00Z"})"},
      {"string:a\\n\\x1b", R"({"type":"string","value":"a\n\u001b"})"},
      {"oid:59.6", R"({"type":"oid","value":"59.6.0.0"})"},
      {"oid:invalid", R"({"type":"oid","value":null})"},
      {"aid:59.6.1", R"({"type":"aid","value":"59.6.1"})"},
      {"addr:10.0.0.1", R"({"type":"addr","value":"10.0.0.1"})"},
      {"addr:none", R"({"type":"addr","value":null})"},
      {"opaque:00ff", R"({"type":"opaque","value":"00ff"})"},
      {"list:[1,list:[]]",
       R"({"type":"list","value":[{"type":"int","value":1},)"
       R"({"type":"list","value":[]}]})"},
      {"attr:59.6.1=5",
       R"({"type":"attribute","id":"59.6.1","value":{"type":"int","value":5}})"},
      {"attr:59.6.1", R"({"type":"attribute","id":"59.6.1","value":null})"},
  };
  for (const auto& [text, json] : rows)
    EXPECT_EQ(line(toJson(parseValue(text, 0).get())), json);
}

TEST(Json, HasAFormForWhatCannotBeTypedIn) {
  veskGauge gauge(5);
  veskCounter counter(5);
  EXPECT_EQ(line(toJson(&gauge)), R"({"type":"gauge","value":5})");
  EXPECT_EQ(line(toJson(&counter)), R"({"type":"counter","value":5})");
}

TEST(Json, WritesBytesThatAreNoTextInHexadecimalToo) {
  veskString text("a\xff", 2);
  EXPECT_EQ(
      line(toJson(&text)),
      "{\"type\":\"string\",\"value\":\"a\xef\xbf\xbd\",\"hex\":\"61ff\"}");
}

TEST(Json, EscapesWhatTerminalsActOn) {
  veskString text("\x1b\x7f\xc2\x80\xc2\x9f\xe2\x80\x8e\xe2\x80\xa8");
  EXPECT_EQ(line(toJson(&text)), R"({"type":"string","value":)"
                                 R"("\u001b\u007f\u0080\u009f\u200e\u2028"})");
  veskString marks("\xe2\x80\xaa\xe2\x80\xae\xe2\x81\xa6\xe2\x81\xa9");
  EXPECT_EQ(line(toJson(&marks)),
            R"({"type":"string","value":"\u202a\u202e\u2066\u2069"})");
  veskString others("\xc2\xa0\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80");
  EXPECT_EQ(line(toJson(&others)),
            "{\"type\":\"string\",\"value\":"
            "\"\xc2\xa0\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80\"}");
}

TEST(Json, WritesNumbersThatJsonLacksAsTexts) {
  veskDouble nan(std::numeric_limits<double>::quiet_NaN());
  veskFloat inf(-std::numeric_limits<float>::infinity());
  EXPECT_EQ(line(toJson(&nan)), R"({"type":"double","value":"nan"})");
  EXPECT_EQ(line(toJson(&inf)), R"({"type":"float","value":"-inf"})");
}

TEST(Json, NamesTheOperatorOfACondition) {
  EXPECT_EQ(line(toJson(parseCondition("59.6.1>=5", 0).get())),
            R"({"type":"condition","id":"59.6.1",)"
            R"("value":{"type":"int","value":5},)"
            R"("operator":">=","operatorCode":6})");
  EXPECT_EQ(toJson(parseCondition("59.6.1@99=5", 0).get())["operator"],
            Json(nullptr));
}

TEST(Json, GivesErrorsTheirText) {
  veskError error(2, 5);
  EXPECT_EQ(
      line(toJson(&error)),
      R"({"type":"error","index":2,"code":5,"text":"Permission Denied"})");
  EXPECT_EQ(line(codeJson(-1)),
            R"({"code":-1,"text":"Ostrel Arg List Error"})");
  EXPECT_EQ(line(codeJson(255)),
            R"({"code":255,"text":"Ostrel Internal Error"})");
  EXPECT_EQ(line(codeJson(99)),
            R"({"code":99,"text":"illegal return code: 99"})");
}

TEST(Json, ListsAttributesAndErrorsWithoutTheirType) {
  Owned<veskList> list(new veskList);
  list->append(parseAttribute("59.6.1=5", 0).release());
  EXPECT_EQ(line(attributesJson(list.get())),
            R"([{"id":"59.6.1","value":{"type":"int","value":5}}])");
  Owned<veskList> errors(new veskList);
  errors->append(new veskError(0, 1));
  EXPECT_EQ(line(errorsJson(errors.get())),
            R"([{"index":0,"code":1,"text":"No Such Name"}])");
  EXPECT_EQ(line(errorsJson(nullptr)), "[]");
}

TEST(Json, HasOneFormForMessages) {
  veskOid oid("59.6");
  veskGetPDU get(oid, new veskList);
  get.requestId.value = 5;
  EXPECT_EQ(line(toJson(&get)),
            R"({"type":"get","tag":31,"requestId":5,)"
            R"("status":{"code":0,"text":"No Error"},"principal":null,)"
            R"("oid":"59.6.0.0","list":[]})");
  get.clear();
}

TEST(Json, NamesEachKindOfMessage) {
  const std::vector<std::pair<unsigned char, const char*>> rows = {
      {28, "create"},
      {29, "clone"},
      {30, "remove"},
      {31, "get"},
      {32, "set"},
      {33, "search"},
      {34, "event"},
      {35, "action"},
      {37, "createResponse"},
      {38, "cloneResponse"},
      {39, "getResponse"},
      {40, "setResponse"},
      {41, "searchResponse"},
      {42, "actionResponse"},
      {43, "removeResponse"},
      {44, "verify"},
      {45, "verifyResponse"},
      {46, "dsSearch"},
      {47, "dsSearchResponse"}};
  for (const auto& [tag, name] : rows) {
    char byte = static_cast<char>(tag);
    veskType* value = nullptr;
    veskType::decodeCreate(&byte, 1, &value);
    const Value owned(value);
    ASSERT_NE(value, nullptr);
    EXPECT_EQ(toJson(value)["type"], name);
  }
}

TEST(Json, ShowsAnObjectWithItsAttributes) {
  veskOid oid("59.6.0.1");
  veskObject object(&oid);
  veskAtAppendAttr(object.attributeList, "59.6.1", new veskInt(5));
  EXPECT_EQ(line(toJson(&object)),
            R"({"type":"object","oid":"59.6.0.1","attributes":)"
            R"([{"id":"59.6.1","value":{"type":"int","value":5}}]})");
}

TEST(Json, ShowsWhatLiesDeepInsideOthersAsText) {
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
  const Json lists = toJson(list.get());
  const Json attributes = toJson(attribute.get());
  const Json* listAt = &lists;
  const Json* attributeAt = &attributes;
  for (int i = 0; i < 100; ++i) {
    EXPECT_EQ((*listAt)["type"], "list");
    listAt = &(*listAt)["value"][0];
    EXPECT_EQ((*attributeAt)["type"], "attribute");
    attributeAt = &(*attributeAt)["value"];
  }
  EXPECT_EQ((*listAt)["type"], "deep");
  EXPECT_EQ((*attributeAt)["type"], "deep");
  EXPECT_EQ((*listAt)["value"].get<std::string>().substr(0, 13),
            "list:[list:[l");
}

TEST(Json, ShowsADescriptionAsItsText) {
  veskArgumentDesc argument("speed", 3);
  const Json json = toJson(&argument);
  EXPECT_EQ(json["type"], "description");
  EXPECT_EQ(json["tag"], 16);
}

}  // namespace
}  // namespace ostrel::tools::cli
