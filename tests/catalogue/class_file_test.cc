#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <ostrel/class_file.h>

#include <filesystem>
#include <fstream>
#include <random>

#include "catalogue/catalogue_support.h"

namespace ostrel {
namespace {

using test::fileOf;
using test::kLamp;
using test::linesOf;
using test::with;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

// One part of the lamp's file replaced by another, and what is said about it.
struct Mistaken {
  const char* name;
  const char* from;
  const char* to;
  std::vector<std::string> lines;
};

const Mistaken kMistaken[] = {
    {"IsNoToml",
     "name = \"lamp\"",
     "name = lamp",
     {"lamp.toml:1:8: this is no TOML: Error while parsing value: could not "
      "determine value type"}},
    {"NamesAKeyTwice",
     "revision = 2",
     "revision = 2\nrevision = 2",
     {"lamp.toml:4:12: this is no TOML: Error while parsing key-value pair: "
      "cannot redefine existing integer 'revision'"}},
    {"HasAnUnknownKey",
     "columns = ",
     "colums = ",
     {"lamp.toml:6:1: unknown key 'colums' (did you mean 'columns'?)"}},
    {"HasAnUnknownKeyLikeNothing",
     "columns = ",
     "wheels = ",
     {"lamp.toml:6:1: unknown key 'wheels'"}},
    {"HasNoName",
     "name = \"lamp\"\n",
     "",
     {"lamp.toml:1:1: name: is missing; write name = \"lamp\", for instance"}},
    {"HasANameThatIsNone",
     "\"lamp\"",
     "\"Lamp\"",
     {"lamp.toml:1:8: name: 'Lamp' is no name: a name is a letter from a to z "
      "and up to 31 letters, digits and hyphens"}},
    {"HasANumberForAName",
     "\"lamp\"",
     "5",
     {"lamp.toml:1:8: name: has to be a text in quotes, not a whole number"}},
    {"HasNoNumber",
     "id = \"59.200\"\n",
     "",
     {"lamp.toml:1:1: id: is missing; write id = \"59.240\", for instance"}},
    {"HasItsNumberWithoutQuotes",
     "\"59.200\"",
     "59.200",
     {"lamp.toml:2:6: id: 59.200 without quotes is a number, which loses "
      "zeros; write id = \"59.200\""}},
    {"HasAWholeNumberForItsNumber",
     "\"59.200\"",
     "59",
     {"lamp.toml:2:6: id: has to be a text in quotes, \"59.240\" for instance, "
      "not a whole number"}},
    {"HasABooleanForItsNumber",
     "\"59.200\"",
     "true",
     {"lamp.toml:2:6: id: has to be a text in quotes, \"59.240\" for instance, "
      "not true or false"}},
    {"HasTooManyNumbers",
     "\"59.200\"",
     "\"59.200.0.0\"",
     {"lamp.toml:2:6: id: '59.200.0.0' is no number of a class; write two "
      "decimal numbers with a dot between, \"59.240\""}},
    {"HasALeadingZero",
     "\"59.200\"",
     "\"59.0200\"",
     {"lamp.toml:2:6: id: '59.0200' is no number of a class; write two decimal "
      "numbers with a dot between, \"59.240\""}},
    {"HasANumberBeyond32Bits",
     "\"59.200\"",
     "\"59.4294967296\"",
     {"lamp.toml:2:6: id: '59.4294967296' is no number of a class; write two "
      "decimal numbers with a dot between, \"59.240\""}},
    {"HasNoRevision",
     "revision = 2\n",
     "",
     {"lamp.toml:1:1: revision: is missing; write revision = 1"}},
    {"HasRevisionZero",
     "revision = 2",
     "revision = 0",
     {"lamp.toml:3:12: revision: has to be from 1 to 2147483647, not 0"}},
    {"HasATextForItsRevision",
     "revision = 2",
     "revision = \"2\"",
     {"lamp.toml:3:12: revision: has to be a whole number, not a text"}},
    {"HasATableForItsText",
     "text = \"A lamp.\"",
     "text = { en = \"A lamp.\" }",
     {"lamp.toml:4:8: text: has to be a text in quotes, not a table"}},
    {"HasAKeyThatIsNoText",
     "key = \"name\"",
     "key = [\"name\"]",
     {"lamp.toml:5:7: key: has to be a text in quotes, not an array"}},
    {"HasColumnsThatAreNoArray",
     "columns = [\"name\", \"power\"]",
     "columns = \"name\"",
     {"lamp.toml:6:11: columns: has to be an array, not a text"}},
    {"HasAColumnTwice",
     "[\"name\", \"power\"]",
     "[\"name\", \"name\"]",
     {"lamp.toml:6:11: columns: 'name' stands here twice"}},
    {"HasAColumnThatIsANumber",
     "[\"name\", \"power\"]",
     "[\"name\", 1]",
     {"lamp.toml:6:20: columns: has to be an array of texts in quotes, not a "
      "whole number"}},
    {"ReservesANumberOfAnotherClass",
     "[\"59.200.9\"]",
     "[\"59.201.9\"]",
     {"lamp.toml:7:20: reserved.ids: 59.201.9 belongs to the class 59.201; "
      "numbers of this class begin with 59.200."}},
    {"ReservesWhatIsNoName",
     "[\"colour\"]",
     "[\"Colour\"]",
     {"lamp.toml:7:42: reserved.names: 'Colour' is no name: a name is a letter "
      "from a to z and up to 31 letters, digits and hyphens"}},
    {"ReservesSomethingElse",
     "names = [\"colour\"]",
     "words = [\"colour\"]",
     {"lamp.toml:7:34: reserved: unknown key 'words'"}},
    {"HasAnAttributeThatIsNoTable",
     "[attribute.name]\n",
     "attribute.size = 5\n[attribute.name]\n",
     {"lamp.toml:9:18: attribute.size: has to be a table, [attribute.size], "
      "not a whole number"}},
    {"HasAnAttributeWithAnOddName",
     "[attribute.power]\n",
     "[attribute.Power]\n[attribute.power]\n",
     {"lamp.toml:14:12: attribute: 'Power' is no name: a name is a letter from "
      "a to z and up to 31 letters, digits and hyphens"}},
    {"HasAnAttributeWithoutNumber",
     "id = \"59.200.1\"\n",
     "",
     {"lamp.toml:9:1: attribute.name.id: is missing; write id = \"59.200.1\", "
      "for instance"}},
    {"HasAnAttributeOfAnotherClass",
     "\"59.200.1\"",
     "\"59.201.1\"",
     {"lamp.toml:10:6: attribute.name.id: 59.201.1 belongs to the class "
      "59.201; numbers of this class begin with 59.200."}},
    {"HasAnAttributeWithNumberZero",
     "\"59.200.1\"",
     "\"59.200.0\"",
     {"lamp.toml:10:6: attribute.name.id: 59.200.0 stands for all of a class; "
      "begin with 59.200.1"}},
    {"HasAnAttributeWithTheNumberOfAClass",
     "\"59.200.1\"",
     "\"59.200\"",
     {"lamp.toml:10:6: attribute.name.id: '59.200' is no number of this "
      "class's; write three decimal numbers with dots between, \"59.200.1\""}},
    {"HasAnAttributeNumberWithoutQuotes",
     "\"59.200.1\"",
     "59.2001",
     {"lamp.toml:10:6: attribute.name.id: 59.2001 without quotes is a number, "
      "which loses zeros; write id = \"59.200.1\""}},
    {"UsesANumberTwice",
     "\"59.200.30\"",
     "\"59.200.2\"",
     {"lamp.toml:24:6: action.blink.id: 59.200.2 is the number of "
      "attribute.power already (line 14); take another"}},
    {"UsesAReservedNumber",
     "\"59.200.2\"",
     "\"59.200.9\"",
     {"lamp.toml:15:6: attribute.power.id: 59.200.9 is reserved; take a number "
      "that was never used"}},
    {"UsesAReservedName",
     "[attribute.name]",
     "[attribute.colour]\nid = \"59.200.4\"\ntype = \"int\"\n[attribute.name]",
     {"lamp.toml:9:12: attribute.colour: 'colour' is reserved; take a name "
      "that was never used"}},
    {"TakesAFormerNameOfAnother",
     "length = [1, 32]",
     "was = [\"power\"]",
     {"lamp.toml:12:7: attribute.name.was: 'power' stands for attribute.power "
      "already (line 14); take another name"}},
    {"HasAFormerNameThatIsReserved",
     "length = [1, 32]",
     "was = [\"colour\"]",
     {"lamp.toml:12:7: attribute.name.was: 'colour' is reserved; take a name "
      "that was never used"}},
    {"HasNoType",
     "type = \"string\"\n",
     "",
     {"lamp.toml:9:1: attribute.name.type: is missing; write type = "
      "\"string\", for instance"}},
    {"HasAnUnknownType",
     "\"string\"",
     "\"text\"",
     {"lamp.toml:11:8: attribute.name.type: there is no type 'text'; write "
      "int, uint, short, ushort, long, ulong, char, uchar, float, double, "
      "bool, string, opaque, oid, aid, time, addr, list or description"}},
    {"HasAMistypedType",
     "\"string\"",
     "\"sting\"",
     {"lamp.toml:11:8: attribute.name.type: there is no type 'sting' (did you "
      "mean 'string'?); write int, uint, short, ushort, long, ulong, char, "
      "uchar, float, double, bool, string, opaque, oid, aid, time, addr, list "
      "or description"}},
    {"HasTheTypeGauge",
     "type = \"int\"\nrange",
     "type = \"gauge\"\nrange",
     {"lamp.toml:16:8: attribute.power.type: no receiver decodes the type "
      "gauge; write type = \"uint\" and kind = \"gauge\""}},
    {"HasTheTypeCounter",
     "type = \"int\"\nrange",
     "type = \"counter\"\nrange",
     {"lamp.toml:16:8: attribute.power.type: no receiver decodes the type "
      "counter; write type = \"uint\" and kind = \"counter\""}},
    {"HasAListWithoutElements",
     "type = \"string\"\nlength = [1, 32]",
     "type = \"list\"",
     {"lamp.toml:9:1: attribute.name.element: is missing: a list has elements "
      "of one type; write element = \"string\", for instance"}},
    {"HasAListOfLists",
     "type = \"string\"\nlength = [1, 32]",
     "type = \"list\"\nelement = \"list\"",
     {"lamp.toml:12:11: attribute.name.element: a list cannot hold the type "
      "list"}},
    {"HasElementsInNoList",
     "length = [1, 32]",
     "element = \"int\"",
     {"lamp.toml:12:11: attribute.name.element: only a list has elements; "
      "remove it, or write type = \"list\""}},
    {"HasAUnitThatIsTooLong",
     "range = [0, 9]",
     "unit = \"furlongs/fortnight\"",
     {"lamp.toml:17:8: attribute.power.unit: a unit has 1 to 16 printable "
      "characters; 'furlongs/fortnight' has not"}},
    {"HasAUnitOnAText",
     "length = [1, 32]",
     "unit = \"byte\"",
     {"lamp.toml:12:8: attribute.name.unit: only numbers have a unit, and "
      "string is none; remove it"}},
    {"HasARangeOfOneNumber",
     "range = [0, 9]",
     "range = [9]",
     {"lamp.toml:17:9: attribute.power.range: has to be two numbers, the least "
      "and the greatest: range = [1, 32]"}},
    {"HasARangeOfTexts",
     "range = [0, 9]",
     "range = [\"0\", \"9\"]",
     {"lamp.toml:17:9: attribute.power.range: has to be two numbers, the least "
      "and the greatest: range = [1, 32]"}},
    {"HasARangeTheWrongWayRound",
     "range = [0, 9]",
     "range = [9, 0]",
     {"lamp.toml:17:9: attribute.power.range: the least, 9, is greater than "
      "the greatest, 0; swap them"}},
    {"HasARangeBeyondItsType",
     "type = \"int\"\nrange = [0, 9]",
     "type = \"uchar\"\nrange = [0, 256]",
     {"lamp.toml:17:9: attribute.power.range: goes beyond what the type uchar "
      "can hold, 0 to 255"}},
    {"HasARangeOnAText",
     "length = [1, 32]",
     "range = [0, 9]",
     {"lamp.toml:12:9: attribute.name.range: only numbers have a range, and "
      "string is none; remove it"}},
    {"HasALengthOnANumber",
     "range = [0, 9]",
     "length = [0, 9]",
     {"lamp.toml:17:10: attribute.power.length: only string, opaque and list "
      "have a length; remove it"}},
    {"HasANegativeLength",
     "[1, 32]",
     "[-1, 32]",
     {"lamp.toml:12:10: attribute.name.length: has to be two whole numbers "
      "from 0 to 4294967295"}},
    {"HasAValueThatIsNoNumber",
     "off = 0",
     "off = \"0\"",
     {"lamp.toml:18:11: attribute.power.default: 'off' is not among the "
      "values; write on",
      "lamp.toml:20:7: attribute.power.values.off: has to be a whole number, "
      "or a table as in { value = 1, text = \"...\" }"}},
    {"HasAValueWithAnOddName",
     "off = 0",
     "off = 0\nOn = 2",
     {"lamp.toml:21:1: attribute.power.values: 'On' is no name: a name is a "
      "letter from a to z and up to 31 letters, digits and hyphens"}},
    {"HasAValueTwice",
     "value = 1",
     "value = 0",
     {"lamp.toml:21:1: attribute.power.values.on: 0 has the name 'off' "
      "already; each number has one name"}},
    {"HasAValueOutsideTheRange",
     "value = 1",
     "value = 10",
     {"lamp.toml:21:1: attribute.power.values.on: 10 is outside the range 0 to "
      "9"}},
    {"HasAValueBeyondItsType",
     "type = \"int\"\nrange = [0, 9]\ndefault = "
     "\"off\"\n[attribute.power.values]\noff = 0",
     "type = \"uchar\"\n[attribute.power.values]\noff = -1",
     {"lamp.toml:18:1: attribute.power.values.off: -1 is beyond what the type "
      "uchar can hold, 0 to 255"}},
    {"HasAValueWithoutANumber",
     "value = 1, ",
     "",
     {"lamp.toml:21:6: attribute.power.values.on.value: is missing; write "
      "value = 1, for instance"}},
    {"HasAValueWithAnUnknownKey",
     "value = 1",
     "value = 1, color = 2",
     {"lamp.toml:21:19: attribute.power.values.on: unknown key 'color'"}},
    {"HasValuesOnAText",
     "[attribute.power]",
     "values = { off = 0 }\n[attribute.power]",
     {"lamp.toml:14:10: attribute.name.values: only whole numbers have names, "
      "and string is none; remove them, or write type = \"int\""}},
    {"HasNoValues",
     "[action.blink]",
     "[attribute.dim]\nid = \"59.200.3\"\ntype = \"int\"\nvalues = "
     "{}\n[action.blink]",
     {"lamp.toml:26:10: attribute.dim.values: names no value; remove it or "
      "write off = 0, for instance"}},
    {"HasAnUnknownFormat",
     "length = [1, 32]",
     "format = \"ip\"",
     {"lamp.toml:12:10: attribute.name.format: there is no 'ip'; write mac, "
      "ipv6, cidr, uuid or uint64"}},
    {"HasAFormatOfAnotherType",
     "length = [1, 32]",
     "format = \"uint64\"",
     {"lamp.toml:12:10: attribute.name.format: 'uint64' is a format of opaque, "
      "not of string"}},
    {"HasAFormatAndALength",
     "length = [1, 32]",
     "length = [1, 32]\nformat = \"mac\"",
     {"lamp.toml:12:10: attribute.name.length: the format 'mac' has its own "
      "length; remove it"}},
    {"RefersToAClassFromAText",
     "length = [1, 32]",
     "class = \"lamp\"",
     {"lamp.toml:12:9: attribute.name.class: only an oid refers to objects of "
      "a class, and this is string; remove it"}},
    {"RefersToWhatIsNoName",
     "class = \"lamp\"",
     "class = \"59.200\"",
     {"lamp.toml:26:42: action.blink.arguments.1.class: '59.200' is no name: a "
      "name is a letter from a to z and up to 31 letters, digits and hyphens"}},
    {"HasADefaultOutsideTheRange",
     "default = \"off\"",
     "default = 10",
     {"lamp.toml:18:11: attribute.power.default: 10 is outside the range 0 to "
      "9"}},
    {"HasADefaultThatIsNoValueName",
     "default = \"off\"",
     "default = \"of\"",
     {"lamp.toml:18:11: attribute.power.default: 'of' is not among the values "
      "(did you mean 'off'?); write off or on"}},
    {"HasADefaultOfAnotherType",
     "default = \"off\"",
     "default = true",
     {"lamp.toml:18:11: attribute.power.default: has to be a whole number, or "
      "the name of a value in quotes, not true or false"}},
    {"HasADefaultTooLong",
     "length = [1, 32]",
     "length = [1, 2]\ndefault = \"abc\"",
     {"lamp.toml:13:11: attribute.name.default: has 3 bytes; 1 to 2 are "
      "allowed"}},
    {"HasANumberInQuotesForADefault",
     "default = \"off\"",
     "default = \"1\"",
     {"lamp.toml:18:11: attribute.power.default: has to be a whole number, or "
      "the name of a value in quotes, not a text"}},
    {"HasAnUnknownAccess",
     "range = [0, 9]",
     "access = \"readonly\"",
     {"lamp.toml:17:10: attribute.power.access: there is no 'readonly' (did "
      "you mean 'read-only'?); write read-only, read-write or create-only"}},
    {"HasAnUnknownKind",
     "range = [0, 9]",
     "kind = \"gage\"",
     {"lamp.toml:17:8: attribute.power.kind: there is no 'gage' (did you mean "
      "'gauge'?); write gauge, counter, id, state or text"}},
    {"HasAnUnknownStatus",
     "range = [0, 9]",
     "status = \"old\"",
     {"lamp.toml:17:10: attribute.power.status: there is no 'old'; write "
      "current, deprecated or obsolete"}},
    {"HasAnUnknownStorage",
     "range = [0, 9]",
     "storage = \"disk\"",
     {"lamp.toml:17:11: attribute.power.storage: there is no 'disk'; write "
      "persistent or volatile"}},
    {"RequiresWhatIsReadOnly",
     "length = [1, 32]",
     "access = \"read-only\"\nrequired = true",
     {"lamp.toml:13:12: attribute.name.required: nobody can give what is "
      "read-only; remove it, or write access = \"create-only\""}},
    {"HasATextForRequired",
     "length = [1, 32]",
     "required = \"yes\"",
     {"lamp.toml:12:12: attribute.name.required: has to be true or false, not "
      "a text"}},
    {"DescribesADescriptionThatCanBeWritten",
     "type = \"string\"\nlength = [1, 32]",
     "type = \"description\"",
     {"lamp.toml:11:8: attribute.name.type: a description is made by the "
      "server; write access = \"read-only\""}},
    {"HasAnActionWithoutNumber",
     "id = \"59.200.30\"\n",
     "",
     {"lamp.toml:23:1: action.blink.id: is missing; write id = \"59.200.1\", "
      "for instance"}},
    {"HasAnActionWithAnUnknownKey",
     "id = \"59.200.30\"",
     "id = \"59.200.30\"\ntype = \"int\"",
     {"lamp.toml:25:1: action.blink: unknown key 'type'"}},
    {"HasArgumentsThatAreATable",
     "id = \"59.200.50\"",
     "id = \"59.200.50\"\narguments = { code = \"int\" }",
     {"lamp.toml:32:13: event.broke.arguments: has to be an array, not a "
      "table"}},
    {"HasAnArgumentThatIsAWord",
     "id = \"59.200.50\"",
     "id = \"59.200.50\"\narguments = [\"code\"]",
     {"lamp.toml:32:14: event.broke.arguments: each argument is a table, { "
      "name = \"seconds\", type = \"int\" }"}},
    {"HasAnArgumentWithoutName",
     "name = \"seconds\", ",
     "",
     {"lamp.toml:27:3: action.blink.arguments.2.name: is missing; write name = "
      "\"seconds\", for instance"}},
    {"HasAnArgumentTwice",
     "name = \"seconds\"",
     "name = \"lamp\"",
     {"lamp.toml:27:12: action.blink.arguments.2.name: 'lamp' is an argument "
      "already"}},
    {"HasAnArgumentWithoutType",
     ", type = \"int\" }",
     " }",
     {"lamp.toml:27:3: action.blink.arguments.2.type: is missing; write type = "
      "\"string\", for instance"}},
    {"HasAnArgumentWithAnUnknownKey",
     "type = \"int\" }",
     "type = \"int\", units = \"second\" }",
     {"lamp.toml:27:37: action.blink.arguments.2: unknown key 'units' (did you "
      "mean 'unit'?)"}},
    {"HasAnEventOfAnotherClass",
     "\"59.200.50\"",
     "\"59.7.3\"",
     {"lamp.toml:31:6: event.broke.id: 59.7.3 belongs to the class 59.7; "
      "numbers of this class begin with 59.200."}},
};

class ClassFileWith : public testing::TestWithParam<Mistaken> {};

TEST_P(ClassFileWith, IsToldWhereWhyAndWhatToDo) {
  const Mistaken& row = GetParam();
  const ClassFiles read =
      parseClass(with(kLamp, row.from, row.to), "lamp.toml");
  EXPECT_THAT(linesOf(read.mistakes), ElementsAreArray(row.lines));
}

INSTANTIATE_TEST_SUITE_P(Mistakes, ClassFileWith, testing::ValuesIn(kMistaken),
                         [](const auto& each) {
                           return std::string(each.param.name);
                         });

TEST(ClassFile, HasEverythingThatItsTextSays) {
  const ClassFile file = fileOf(kLamp);
  const ClassDescription& lamp = file.description;
  EXPECT_EQ(lamp.name, "lamp");
  EXPECT_EQ(lamp.id.text(), "59.200");
  EXPECT_EQ(lamp.revision, 2U);
  EXPECT_EQ(lamp.text, "A lamp.");
  EXPECT_EQ(lamp.key, "name");
  EXPECT_THAT(lamp.columns, ElementsAre("name", "power"));
  EXPECT_EQ(lamp.reservedIds.at(0).text(), "59.200.9");
  EXPECT_THAT(lamp.reservedNames, ElementsAre("colour"));
  ASSERT_THAT(lamp.attributes, SizeIs(2));
  const AttributeDescription& name = lamp.attributes[0];
  EXPECT_EQ(name.type, kTagString);
  EXPECT_EQ(name.length->most, 32U);
  EXPECT_EQ(name.access, MemberAccess::readWrite);
  EXPECT_EQ(name.storage, MemberStorage::persistent);
  EXPECT_FALSE(name.required);
  const AttributeDescription& power = lamp.attributes[1];
  EXPECT_EQ(power.id.text(), "59.200.2");
  EXPECT_EQ(power.defaultText, "off");
  ASSERT_THAT(power.values, SizeIs(2));
  EXPECT_EQ(power.values[1].name, "on");
  EXPECT_EQ(power.values[1].value, 1);
  EXPECT_EQ(power.values[1].text, "It burns.");
  ASSERT_THAT(lamp.actions, SizeIs(1));
  ASSERT_THAT(lamp.actions[0].arguments, SizeIs(2));
  EXPECT_EQ(lamp.actions[0].arguments[0].reference, "lamp");
  EXPECT_EQ(lamp.actions[0].arguments[1].name, "seconds");
  EXPECT_EQ(lamp.events.at(0).name, "broke");
}

TEST(ClassFile, TellsSeveralMistakesAtOnceInTheOrderOfTheFile) {
  const std::string text =
      with(with(kLamp, "columns", "colums"), "\"string\"", "\"sting\"");
  EXPECT_THAT(linesOf(parseClass(text, "x").mistakes),
              ElementsAre(HasSubstr("x:6:1: unknown key 'colums'"),
                          HasSubstr("x:11:8: attribute.name.type: ")));
}

TEST(ClassFile, KnowsWhereItsPartsStand) {
  const ClassFile file = fileOf(kLamp);
  EXPECT_EQ(file.place("attribute.power").line, 14U);
  EXPECT_EQ(file.place("attribute.power.type").line, 16U);
  EXPECT_EQ(file.place("attribute.power.unit").line, 14U);  // has none
  EXPECT_EQ(file.place("derived-from").line, 1U);
}

TEST(ClassFile, NotesUnitsThatAreMultiples) {
  const ClassFiles read =
      parseClass(with(kLamp, "range = [0, 9]", "unit = \"KiB\""), "lamp.toml");
  EXPECT_THAT(
      linesOf(read.mistakes),
      ElementsAre("lamp.toml:17:8: note: attribute.power.unit: 'KiB' is a "
                  "multiple; in new attributes write the base unit (byte, "
                  "second, hertz), which tools scale"));
  EXPECT_FALSE(hasMistake(read.mistakes));
}

TEST(ClassFile, KeepsDefaultsInTheirCanonicalForm) {
  const auto defaultOf = [](const std::string& keys) {
    return fileOf(
               "name = \"x\"\nid = \"59.201\"\nrevision = 1\n"
               "[attribute.a]\nid = \"59.201.1\"\n" +
               keys)
        .description.attributes.at(0)
        .defaultText;
  };
  EXPECT_EQ(defaultOf("type = \"string\"\nformat = \"mac\"\n"
                      "default = \"FE-54-00-00-00-01\""),
            "fe:54:00:00:00:01");
  EXPECT_EQ(defaultOf("type = \"double\"\ndefault = 2e3"), "2000");
  EXPECT_EQ(defaultOf("type = \"bool\"\ndefault = true"), "true");
  EXPECT_EQ(defaultOf("type = \"time\"\ndefault = \"@0\""),
            "1970-01-01T00:00:00Z");
  EXPECT_EQ(defaultOf("type = \"list\"\nelement = \"string\"\n"
                      "default = [\"a,b\", \"\"]"),
            "a\\,b,\"\"");
  EXPECT_EQ(defaultOf("type = \"list\"\nelement = \"int\"\n"
                      "default = []"),
            "");
}

TEST(ClassFile, StopsAfterAHundredMistakes) {
  std::string text;
  for (int i = 0; i < 200; ++i) text += "key-" + std::to_string(i) + " = 1\n";
  const ClassFiles read = parseClass(text + kLamp, "x");
  ASSERT_THAT(read.mistakes, SizeIs(101));
  EXPECT_EQ(read.mistakes.back().text,
            "there are more mistakes; mend these first");
}

TEST(ClassFile, EscapesWhatAFileWouldDoToATerminal) {
  const ClassFiles read = parseClass("\"a\\u001b\" = 1", "x\ny");
  EXPECT_THAT(linesOf(read.mistakes),
              testing::Contains("x\\x0ay:1:1: unknown key 'a\\x1b'"));
}

TEST(ClassFile, HasLettersBeyondAsciiInQuotesAndCommentsOnly) {
  const auto complaint = [](const std::string& from, const std::string& to) {
    const ClassFiles read = parseClass(with(kLamp, from, to), "x");
    return read.mistakes.empty() ? "" : read.mistakes[0].line();
  };
  EXPECT_THAT(complaint("revision = 2", "revision = \xc3\xa4"),
              StartsWith("x:3:12: this is no TOML: "));
  EXPECT_THAT(complaint("key = ", "k\xc3\xa4y = "),
              StartsWith("x:5:2: this is no TOML: "));
  EXPECT_THAT(complaint("2\n", "2 \xcf\x98\n"),
              StartsWith("x:3:14: this is no TOML: "));
  for (const char* good :
       {"\"\xc3\xa4 \\\" # \xc3\xa4\"", "'\xc3\xa4\\'", "\"\" # \xc3\xa4 \"",
        "\"\"\"\xc3\xa4\n\"\xc3\xa4\"\"\"\"", "'''\xc3\xa4'\xc3\xa4'''",
        "\"\"\"A\\\n  \xcf\x98\"\"\""})
    EXPECT_EQ(complaint("\"A lamp.\"", good), "") << good;
}

TEST(ClassFile, IsRefusedWhereTheParserWouldAssert) {
  for (const char* text : {"[[[", "[[", "[", "a.", "=", "\"\"\"", "a = [[[",
                           "a = {", "\xff", "a = 0x", "a = 1979-"})
    EXPECT_TRUE(hasMistake(parseClass(text, "x").mistakes)) << text;
}

TEST(ClassFile, RefusesWhatIsTooLong) {
  EXPECT_THAT(
      linesOf(
          parseClass(std::string(kLongestClassFile + 1, '#'), "x").mistakes),
      ElementsAre("x: is longer than 256 KiB; describe several classes "
                  "in a file each"));
  EXPECT_THAT(
      linesOf(parseClass(with(kLamp, "A lamp.", std::string(1001, 'x')), "x")
                  .mistakes),
      ElementsAre("x:4:8: text: is 1001 bytes long; 1000 are allowed"));
  std::string names = "\"a0\"";
  for (int i = 1; i < 33; ++i) names += ", \"a" + std::to_string(i) + "\"";
  EXPECT_THAT(
      linesOf(
          parseClass(with(kLamp, "\"name\", \"power\"", names), "x").mistakes),
      ElementsAre("x:6:11: columns: has 33 entries; 32 are allowed"));
}

TEST(ClassFile, OfANewerServerLosesOnlyWhatIsNotKnown) {
  const std::string text =
      with(with(with(kLamp, "text = ", "colour = \"red\"\ntext = "),
                "length = [1, 32]", "access = \"secret\""),
           "[action.blink]",
           "[attribute.far]\nid = \"59.200.3\"\ntype = \"int128\"\n"
           "[action.blink]");
  const ClassFiles read = parseClass(text, "x", ClassSource::server);
  EXPECT_FALSE(hasMistake(read.mistakes));
  EXPECT_THAT(
      linesOf(read.mistakes),
      ElementsAre("x:4:1: note: unknown key 'colour'; left out",
                  HasSubstr("x:13:10: note: attribute.name.access: there is no "
                            "'secret'"),
                  HasSubstr("note: attribute.far.type: there is no type "
                            "'int128'")));
  const ClassDescription& lamp = read.files.at(0).description;
  EXPECT_THAT(lamp.attributes, SizeIs(2));
  EXPECT_EQ(lamp.attributes[0].access, MemberAccess::readWrite);
}

TEST(ClassFile, OfAServerIsStillRefusedWhenItContradictsItself) {
  const ClassFiles read = parseClass(with(kLamp, "59.200.30", "59.200.2"), "x",
                                     ClassSource::server);
  EXPECT_TRUE(hasMistake(read.mistakes));
}

class Folder {
 public:
  Folder() {
    std::string path = testing::TempDir() + "ostrel-XXXXXX";
    path_ = mkdtemp(path.data());
  }
  ~Folder() { std::filesystem::remove_all(path_); }
  std::string write(const std::string& name, const std::string& text) {
    std::ofstream(path_ + "/" + name) << text;
    return path_ + "/" + name;
  }
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

TEST(ClassFiles, OfAFolderAreThoseThatEndInTomlByName) {
  Folder folder;
  folder.write("b.toml", with(kLamp, "A lamp.", "b"));
  folder.write("a.toml", with(kLamp, "A lamp.", "a"));
  folder.write("a.toml~", "nonsense");
  folder.write(".hidden.toml", "nonsense");
  const ClassFiles read = readClassFiles({folder.path()});
  EXPECT_THAT(read.mistakes, IsEmpty());
  ASSERT_THAT(read.files, SizeIs(2));
  EXPECT_EQ(read.files[0].file, folder.path() + "/a.toml");
  EXPECT_EQ(read.files[1].description.text, "b");
}

TEST(ClassFiles, AreReadOnWhenOneIsNotThere) {
  Folder folder;
  const std::string good = folder.write("lamp.toml", kLamp);
  const ClassFiles read = readClassFiles({folder.path() + "/none", good});
  EXPECT_THAT(read.files, SizeIs(1));
  EXPECT_THAT(linesOf(read.mistakes),
              ElementsAre(folder.path() +
                          "/none: cannot be read (is it there, and may you "
                          "read it?)"));
}

// ---------------------------------------------------------------------------
// The canonical text

TEST(CanonicalText, IsAlwaysTheSameForTheSameDescription) {
  EXPECT_EQ(canonicalText(fileOf(kLamp).description), R"(name = "lamp"
id = "59.200"
revision = 2
text = "A lamp."
key = "name"
columns = ["name", "power"]
reserved = { ids = ["59.200.9"], names = ["colour"] }

[attribute.name]
id = "59.200.1"
type = "string"
length = [1, 32]

[attribute.power]
id = "59.200.2"
type = "int"
range = [0, 9]
default = "off"
[attribute.power.values]
off = 0
on = { value = 1, text = "It burns." }

[action.blink]
id = "59.200.30"
arguments = [
  { name = "lamp", type = "oid", class = "lamp" },
  { name = "seconds", type = "int" },
]

[event.broke]
id = "59.200.50"
)");
}

TEST(CanonicalText, HasTheHashThatIsWritten) {
  EXPECT_EQ(classHash(""), 0xcbf29ce484222325U);
  EXPECT_EQ(classHash("a"), 0xaf63dc4c8601ec8cU);
  EXPECT_EQ(classHash("foobar"), 0x85944171f73967e8U);
}

TEST(CanonicalText, EscapesWhatTomlWouldReadOtherwise) {
  ClassDescription lamp = fileOf(kLamp).description;
  lamp.text = "\"a\\b\"\n\x01\x7f\xc3\xa4";
  EXPECT_THAT(
      canonicalText(lamp),
      HasSubstr("text = \"\\\"a\\\\b\\\"\\u000A\\u0001\\u007F\xc3\xa4\""));
  EXPECT_EQ(fileOf(canonicalText(lamp)).description, lamp);
}

// Descriptions of all shapes that a file can have.
class AnyDescription {
 public:
  explicit AnyDescription(unsigned seed) : random_(seed) {}

  ClassDescription make() {
    ClassDescription x;
    x.name = name();
    x.id = {below(100), below(1000) + 1};
    x.revision = below(9) + 1;
    x.text = text();
    if (chance()) x.derivedFrom = name();
    if (chance()) x.key = name();
    if (chance()) x.columns = names();
    if (chance()) x.reservedIds = {{x.id, 900}, {x.id, 901}};
    if (chance()) x.reservedNames = {"r1", "r2"};
    for (unsigned i = 1; i <= below(6); ++i)
      x.attributes.push_back(attribute(x.id, i));
    for (unsigned i = 10; i <= 10 + below(3); ++i)
      x.actions.push_back(action(x.id, i));
    for (unsigned i = 20; i <= 20 + below(3); ++i)
      x.events.push_back(action(x.id, i));
    return x;
  }

 private:
  unsigned below(unsigned limit) {
    return static_cast<unsigned>(random_() % limit);
  }
  bool chance() { return below(2) == 0; }
  std::string name() { return "n" + std::to_string(serial_++); }
  std::vector<std::string> names() { return {name(), name()}; }
  std::string text() {
    const std::string characters = "abc \"\\\n#=[]'\x7f";
    std::string text;
    for (unsigned i = below(12); i > 0; --i)
      text += characters[below(static_cast<unsigned>(characters.size()))];
    return text;
  }

  // A number that a range may end with, and the default of that type.
  double number() {
    const double numbers[] = {
        0, 1, -1, 0.1, 1e300, -2.5e-7, 9007199254740993.0, 1e20, 123456789};
    return numbers[below(9)];
  }

  void describe(ValueDescription* value, std::optional<std::string>* text) {
    switch (below(8)) {
      case 0:
        value->type = kTagDouble;
        value->unit = "byte";
        value->range = ValueRange{-1e300, std::abs(number())};
        if (text) *text = "-0.5";
        break;
      case 1:
        value->type = kTagInt;
        value->values = {{"off", -1, ""}, {"on", 7, "x"}};
        if (text) *text = "on";
        break;
      case 2:
        value->type = kTagString;
        value->length = LengthRange{0, below(100) + 20};
        if (text) *text = this->text();
        break;
      case 3:
        value->type = kTagOpaque;
        value->format = ValueFormat::uint64;
        if (text) *text = "18446744073709551615";
        break;
      case 4:
        value->type = kTagOid;
        value->reference = name();
        break;
      case 5:
        value->type = kTagList;
        value->element = kTagDouble;
        if (text) *text = "100000000000000000000,0.1,-3";
        break;
      case 6:
        value->type = kTagList;
        value->element = kTagString;
        value->format = ValueFormat::cidr;
        value->length = LengthRange{1, 3};
        if (text) *text = "10.0.0.7/24,2001:db8::1/64";
        break;
      default:
        value->type = kTagBool;
        if (text) *text = "false";
    }
  }

  AttributeDescription attribute(ClassId owner, unsigned number) {
    AttributeDescription x;
    x.name = name();
    x.id = {owner, number};
    x.text = text();
    describe(&x, &x.defaultText);
    if (chance()) x.defaultText.reset();
    x.kind = MemberKind(below(6));
    x.access = MemberAccess(below(3) + 1);
    x.required = x.access != MemberAccess::readOnly && chance();
    if (chance()) x.formerNames = names();
    x.status = MemberStatus(below(3));
    x.storage = MemberStorage(below(2) + 1);
    return x;
  }

  ActionDescription action(ClassId owner, unsigned number) {
    ActionDescription x;
    x.name = name();
    x.id = {owner, number};
    x.text = text();
    for (unsigned i = below(4); i > 0; --i) {
      ArgumentDescription argument;
      argument.name = name();
      argument.text = text();
      describe(&argument, nullptr);
      x.arguments.push_back(argument);
    }
    if (chance()) x.formerNames = names();
    x.status = MemberStatus(below(3));
    return x;
  }

  std::mt19937 random_;
  unsigned serial_ = 0;
};

TEST(CanonicalText, MakesTheSameDescriptionAndTheSameTextAgain) {
  for (unsigned seed = 0; seed < 500; ++seed) {
    const ClassDescription description = AnyDescription(seed).make();
    const std::string text = canonicalText(description);
    const ClassFiles read = parseClass(text, "x");
    ASSERT_THAT(linesOf(read.mistakes), IsEmpty()) << text;
    ASSERT_EQ(canonicalText(read.files.at(0).description), text);
    ASSERT_TRUE(read.files[0].description == description) << text;
  }
}

}  // namespace
}  // namespace ostrel
