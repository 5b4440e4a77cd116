// Descriptions of classes: their bytes, their nested text, and who frees what.

#include "ostrel/objectdesc.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <typeinfo>
#include <utility>

#include "support/bytes.h"
#include "support/holders.h"
#include "support/value_invariants.h"
#include "support/value_table.h"

namespace {

using ostrel::test::Bytes;
using ostrel::test::checkRow;
using ostrel::test::Counted;
using ostrel::test::decodeFrom;
using ostrel::test::encoded;
using ostrel::test::encodeInto;
using ostrel::test::ExactBuffer;
using ostrel::test::hex;
using ostrel::test::IsHex;
using ostrel::test::listOf;
using ostrel::test::OwnedValue;
using ostrel::test::releaseCopy;
using ostrel::test::releaseValue;
using ostrel::test::rowFrom;
using ostrel::test::rowName;
using ostrel::test::textOf;
using ostrel::test::ValueRow;

// "size", type 3
constexpr char kArgument[] = "10 09 43 01 04 73 69 7A 65 43 01 03 ";
constexpr char kArgumentText[] = "\t\targument size {\n\t\t\ttype 3;\n\t\t};\n";
// "name", 59.6.2, type 9, no default, access 1, storage 2, required
constexpr char kAttribute[] =
    "11 09 43 01 04 6E 61 6D 65 0B 01 01 3B 01 06 01 02 43 01 09 00 "
    "43 01 01 43 01 02 07 01 01 ";
constexpr char kAttributeText[] =
    "\tattribute name {\n"
    "\t\tid 59.6.2;\n"
    "\t\ttype 9;\n"
    "\t\tdefval ;\n"
    "\t\taccess 1;\n"
    "\t\tstorage 2;\n"
    "\t\trequiredOnCreate True;\n"
    "\t};\n";
// "grow", 59.6.7, one argument
constexpr char kAction[] =
    "12 09 43 01 04 67 72 6F 77 0B 01 01 3B 01 06 01 07 80 43 01 01 ";
constexpr char kActionText[] =
    "\taction grow {\n"
    "\t\tid 59.6.7;\n";
// "full", 59.6.8, no arguments
constexpr char kEvent[] =
    "13 09 43 01 04 66 75 6C 6C 0B 01 01 3B 01 06 01 08 80 43 00 ";
constexpr char kEventText[] =
    "\tevent full {\n"
    "\t\tid 59.6.8;\n"
    "\t};\n";

veskAttributeDesc* attribute(veskType* defval) {
  veskAid id("59.6.2");
  return new veskAttributeDesc("name", id, 9, defval, 1, 2, 1);
}

veskList* oneArgument() { return listOf({new veskArgumentDesc("size", 3)}); }

template <class Callable>
Callable* callable(const char* name, const char* id, veskList* arguments) {
  veskAid aid(id);
  auto* made = new Callable(name, aid, *arguments);
  delete arguments;
  return made;
}

veskActionDesc* action() {
  return callable<veskActionDesc>("grow", "59.6.7", oneArgument());
}
veskEventDesc* event() {
  return callable<veskEventDesc>("full", "59.6.8", new veskList);
}

veskObjectDesc* object() {
  veskString name("disk", 0);
  veskOid id("59.6");
  veskOid parent("59.1");
  veskList attributes;
  veskList actions;
  veskList events;
  attributes.append(attribute(nullptr));
  actions.append(action());
  events.append(event());
  return new veskObjectDesc(name, id, parent, attributes, actions, events);
}
const std::string kObject =
    std::string(
        "14 09 43 01 04 64 69 73 6B 0A 01 01 3B 01 06 00 00 "
        "0A 01 01 3B 01 01 00 00 80 43 01 01 ") +
    kAttribute + "80 43 01 01 " + kAction + kArgument + "80 43 01 01 " + kEvent;
const std::string kObjectText = std::string(
                                    "object disk {\n"
                                    "\tid 59.6.0.0;\n"
                                    "\tderivedFrom 59.1.0.0;\n") +
                                kAttributeText + kActionText + kArgumentText +
                                "\t};\n" + kEventText + "};\n";

// A record for bytes to be read into, which gives it a default value.
template <class Record>
veskType* blankRecord() {
  return new Record;
}
template <>
veskType* blankRecord<veskAttributeDesc>() {
  auto* record = new veskAttributeDesc;
  delete std::exchange(record->defval, nullptr);
  return record;
}

template <class Record>
ValueRow descRow(const char* name, std::string bytes, std::string text,
                 unsigned room, std::function<veskType*()> make) {
  ValueRow row =
      rowFrom<Record>(name, std::move(bytes), std::move(text), std::move(make));
  row.blank = blankRecord<Record>;
  return std::move(row).needs(room).releasedWith(veskType::destroyDecoded,
                                                 releaseCopy);
}

const ValueRow kRows[] = {
    descRow<veskArgumentDesc>("Argument", kArgument, kArgumentText, 15,
                              [] { return new veskArgumentDesc("size", 3); }),
    descRow<veskArgumentDesc>("ArgumentEmpty", "10 09 43 00 43 00",
                              "\t\targument  {\n\t\t\ttype 0;\n\t\t};\n", 10,
                              [] { return new veskArgumentDesc; }),
    descRow<veskAttributeDesc>("Attribute", kAttribute, kAttributeText, 33,
                               [] { return attribute(nullptr); }),
    descRow<veskAttributeDesc>(
        "AttributeEmpty", "11 09 43 00 0B 00 43 00 00 43 00 43 00 07 00",
        "\tattribute  {\n\t\tid Invalid;\n\t\ttype 0;\n\t\tdefval ;\n"
        "\t\taccess 0;\n\t\tstorage 0;\n\t\trequiredOnCreate False;\n\t};\n",
        21, [] { return new veskAttributeDesc; }),
    descRow<veskActionDesc>("Action", std::string(kAction) + kArgument,
                            std::string(kActionText) + kArgumentText + "\t};\n",
                            36, [] { return action(); }),
    descRow<veskActionDesc>("ActionWithoutArguments",
                            "12 09 43 00 0B 00 80 43 00",
                            "\taction  {\n\t\tid Invalid;\n\t};\n", 21,
                            [] { return new veskActionDesc; }),
    descRow<veskEventDesc>("Event", kEvent, kEventText, 26,
                           [] { return event(); }),
    descRow<veskEventDesc>(
        "EventWithArguments",
        "13 09 43 00 0B 00 80 43 01 02 10 09 43 00 43 00 10 09 43 00 43 00",
        "\tevent  {\n\t\tid Invalid;\n"
        "\t\targument  {\n\t\t\ttype 0;\n\t\t};\n"
        "\t\targument  {\n\t\t\ttype 0;\n\t\t};\n\t};\n",
        26,
        [] {
          return callable<veskEventDesc>(
              "", "", listOf({new veskArgumentDesc, new veskArgumentDesc}));
        }),
    descRow<veskObjectDesc>("Object", kObject, kObjectText, 126,
                            [] { return object(); }),
    descRow<veskObjectDesc>(
        "ObjectWithEmptyLists",
        "14 09 43 00 0A 00 0A 00 80 43 00 80 43 00 "
        "80 43 00",
        "object  {\n\tid Invalid;\n\tderivedFrom Invalid;\n};\n", 28,
        [] { return new veskObjectDesc; }),
};

class DescriptionTable : public testing::TestWithParam<ValueRow> {};

TEST_P(DescriptionTable, RowHolds) { checkRow(GetParam()); }

INSTANTIATE_TEST_SUITE_P(Records, DescriptionTable, testing::ValuesIn(kRows),
                         rowName);

// Constructors

TEST(Argument, CopiesItsMembers) {
  veskString name("size", 0);
  veskUnsignedInt type(3);
  veskArgumentDesc made(name, type);
  name = "other";
  type.value = 4;
  EXPECT_THAT(encoded(made), IsHex(kArgument));
}

TEST(Attribute, PointsAtADefaultGivenAsAReference) {
  int alive = 0;
  veskString name("name", 0);
  veskAid id("59.6.2");
  veskUnsignedInt nine(9);
  veskUnsignedInt one(1);
  veskUnsignedInt two(2);
  veskBool required(1);
  Counted defval(&alive);
  {
    veskAttributeDesc made(name, id, nine, defval, one, two, required);
    EXPECT_EQ(made.defval, &defval);
    EXPECT_THAT(encoded(made), IsHex(kAttribute));
  }
  EXPECT_EQ(alive, 1);
}

TEST(Attribute, CopiesADefaultGivenAsAPointer) {
  veskInt defval(5);
  veskAttributeDesc* made = attribute(&defval);
  defval.value = 6;
  EXPECT_NE(made->defval, &defval);
  EXPECT_EQ(textOf(*made->defval), "5");
  veskType::destroyDecoded(made);
}

TEST(Attribute, HasANullValueForNoDefault) {
  veskAttributeDesc* made = attribute(nullptr);
  ASSERT_NE(made->defval, nullptr);
  EXPECT_EQ(typeid(*made->defval), typeid(veskType));
  EXPECT_EQ(made->defval->tag, 0);
  veskType::destroyDecoded(made);
  veskAttributeDesc fresh;
  ASSERT_NE(fresh.defval, nullptr);
  EXPECT_EQ(fresh.defval->tag, 0);
  delete fresh.defval;
}

TEST(Attribute, LeavesItsDefaultToItsOwner) {
  int alive = 0;
  veskAttributeDesc* made = attribute(nullptr);
  delete made->defval;
  auto* defval = new Counted(&alive);
  made->defval = defval;
  delete made;
  EXPECT_EQ(alive, 1);
  delete defval;
}

TEST(Attribute, KeepsSharingItsDefaultWithCopies) {
  veskInt value(5);
  veskAttributeDesc* source = attribute(&value);
  veskType* dup = source->dup();
  auto* copy = new veskAttributeDesc(*source);
  EXPECT_EQ(dynamic_cast<veskAttributeDesc*>(dup)->defval, source->defval);
  EXPECT_EQ(copy->defval, source->defval);
  EXPECT_EQ(textOf(*dup), textOf(*source));
  EXPECT_EQ(textOf(*copy), textOf(*source));
  delete dup;
  delete copy;
  veskType::destroyDecoded(source);
}

TEST(Attribute, PrintsItsDefault) {
  veskString value("abc", 0);
  veskAttributeDesc* made = attribute(&value);
  EXPECT_THAT(textOf(*made), testing::HasSubstr("\t\tdefval abc;\n"));
  veskType::destroyDecoded(made);
}

template <class Record>
class Callables : public testing::Test {};
using CallableClasses = testing::Types<veskActionDesc, veskEventDesc>;
TYPED_TEST_SUITE(Callables, CallableClasses);

TYPED_TEST(Callables, TakeOverTheElementsAndNotTheList) {
  veskString name("size", 0);
  veskAid id("59.6.7");
  const OwnedValue owner(oneArgument());
  auto& arguments = dynamic_cast<veskList&>(*owner);
  TypeParam fromValues(name, id, arguments);
  TypeParam fromText("size", id, arguments);
  name = "other";
  id = "1.2.3";
  EXPECT_EQ(fromValues.arguments.at(0), arguments.at(0));
  EXPECT_EQ(fromText.arguments.at(0), arguments.at(0));
  arguments.append(new veskArgumentDesc);
  EXPECT_EQ(fromValues.arguments.count, 1u);
  EXPECT_EQ(textOf(fromText), textOf(fromValues));
  EXPECT_EQ(textOf(fromText.name), "size");
  EXPECT_EQ(textOf(fromText.id), "59.6.7");
}

TYPED_TEST(Callables, LeaveTheirArgumentsToTheirOwner) {
  int alive = 0;
  veskAid id("59.6.7");
  const OwnedValue arguments(listOf({new Counted(&alive)}));
  delete new TypeParam("size", id, dynamic_cast<veskList&>(*arguments));
  EXPECT_EQ(alive, 1);
}

TYPED_TEST(Callables, CopyTheirArguments) {
  int alive = 0;
  veskAid id("59.6.7");
  const OwnedValue arguments(listOf({new Counted(&alive)}));
  TypeParam source("size", id, dynamic_cast<veskList&>(*arguments));
  veskType* copy = source.dup();
  EXPECT_EQ(typeid(*copy), typeid(TypeParam));
  EXPECT_EQ(alive, 2);
  veskType::destroyDecoded(copy);
  EXPECT_EQ(alive, 1);
}

TYPED_TEST(Callables, AppendWhatArrives) {
  veskAid id("59.6.7");
  TypeParam made("size", id, *std::make_unique<veskList>());
  const Bytes bytes = hex("12 09 43 00 0B 00 80 43 01 01 10 09 43 00 43 00");
  EXPECT_EQ(decodeFrom(made, bytes), bytes.size());
  EXPECT_EQ(decodeFrom(made, bytes), bytes.size());
  EXPECT_EQ(made.arguments.count, 2u);
  EXPECT_EQ(made.tag, 0x12);
  made.arguments.clear(1);
}

TEST(Object, TakesOverTheElementsAndNotTheLists) {
  veskString name("disk", 0);
  veskOid id("59.6");
  int alive = 0;
  veskList attributes;
  veskList actions;
  veskList events;
  attributes.append(new Counted(&alive));
  actions.append(new Counted(&alive));
  events.append(new Counted(&alive));
  {
    veskObjectDesc made(name, id, id, attributes, actions, events);
    EXPECT_EQ(made.attributes.at(0), attributes.at(0));
    EXPECT_EQ(made.actions.at(0), actions.at(0));
    EXPECT_EQ(made.events.at(0), events.at(0));
    attributes.append(new Counted(&alive));
    EXPECT_EQ(made.attributes.count, 1u);
    EXPECT_EQ(textOf(made.derivedFrom), "59.6.0.0");
  }
  EXPECT_EQ(alive, 4);
  attributes.clear(1);
  actions.clear(1);
  events.clear(1);
  EXPECT_EQ(alive, 0);
}

TEST(Object, CopiesItsElements) {
  veskObjectDesc* source = object();
  veskType* copy = source->dup();
  EXPECT_EQ(textOf(*copy), kObjectText);
  EXPECT_NE(dynamic_cast<veskObjectDesc*>(copy)->actions.at(0),
            source->actions.at(0));
  releaseCopy(copy);
  veskType::destroyDecoded(source);
}

TEST(Description, ComparesByTagAlone) {
  veskArgumentDesc one("size", 3);
  veskArgumentDesc two("name", 4);
  veskActionDesc action;
  veskEventDesc event;
  EXPECT_EQ(one.compare(two), 0);
  EXPECT_EQ(one == two, 1);
  EXPECT_EQ(action.compare(event), 1);
  EXPECT_EQ(action > event, 1);
  EXPECT_EQ(event > action, 1);
}

TEST(Description, DoesNotCheckTheTagsOfItsMembers) {
  veskArgumentDesc made;
  EXPECT_EQ(decodeFrom(made, hex("55 08 03 01 01 61 07 01 03")), 9u);
  EXPECT_EQ(textOf(made), "\t\targument a {\n\t\t\ttype 3;\n\t\t};\n");
}

TEST(Description, DoesNotCutALongText) {
  veskAid id("59.6.7");
  veskObjectDesc made;
  std::string expected = "object  {\n\tid Invalid;\n\tderivedFrom Invalid;\n";
  const std::string longName(5000, 'x');
  for (int i = 0; i < 40; ++i) {
    veskList none;
    made.actions.append(new veskActionDesc(longName.c_str(), id, none));
    expected += "\taction " + longName + " {\n\t\tid 59.6.7;\n\t};\n";
  }
  EXPECT_EQ(textOf(made), expected + "};\n");
  made.actions.clear(1);
}

// The default value that does not come back

TEST(AttributeBytes, CarryADefaultValueWhole) {
  veskInt value(5);
  veskAttributeDesc* made = attribute(&value);
  EXPECT_THAT(
      encoded(*made),
      IsHex("11 09 43 01 04 6E 61 6D 65 0B 01 01 3B 01 06 01 02 43 01 09 "
            "03 01 05 43 01 01 43 01 02 07 01 01"));
  veskType::destroyDecoded(made);
}

TEST(AttributeBytes, KeepsReadingOnlyTheTagOfADefaultValue) {
  // Only the tag of the default 03 01 05 is taken: 01 05 behind it is read as
  // the tag and the length of `access`, which has the five bytes after it.
  auto* made = new veskAttributeDesc;
  delete made->defval;
  EXPECT_EQ(decodeFrom(*made, hex("11 09 43 00 0B 00 43 00 03 "
                                  "01 05 43 01 01 43 01 43 01 02 07 01 01")),
            22u);
  EXPECT_EQ(typeid(*made->defval), typeid(veskType));
  EXPECT_EQ(made->defval->tag, 3);
  EXPECT_EQ(textOf(*made->defval), "");
  EXPECT_EQ(made->access.tag, 1);
  EXPECT_EQ(made->access.value, 0x01014301u);
  EXPECT_EQ(made->storage.tag, 0x43);
  EXPECT_EQ(made->storage.value, 2u);
  EXPECT_EQ(made->requiredOnCreate.value, 1u);
  veskType::destroyDecoded(made);
}

TEST(AttributeBytes, WithADefaultValueUsuallyFail) {
  veskInt value(5);
  veskAttributeDesc* made = attribute(&value);
  veskAttributeDesc received;
  delete received.defval;
  EXPECT_EQ(decodeFrom(received, encoded(*made)), 0u);
  EXPECT_EQ(received.defval->tag, 3);
  delete received.defval;
  veskType::destroyDecoded(made);
}

TEST(AttributeBytes, ReplaceADefaultThatIsNotTheirsWithoutFreeingIt) {
  int alive = 0;
  veskAttributeDesc made;
  delete made.defval;
  auto* held = new Counted(&alive);
  made.defval = held;
  EXPECT_EQ(decodeFrom(made, hex(kAttribute)), 30u);
  EXPECT_NE(made.defval, held);
  EXPECT_EQ(alive, 1);
  delete held;
  delete made.defval;
}

TEST(AttributeBytes, TellADefaultAtTheAddressOfTheirOwnFromTheirOwn) {
  veskAttributeDesc made;
  delete made.defval;
  auto* held = new veskType(5);  // mostly gets the memory just freed
  made.defval = held;
  EXPECT_EQ(decodeFrom(made, hex(kAttribute)), 30u);
  EXPECT_NE(made.defval, held);
  EXPECT_EQ(held->tag, 5);
  delete held;
  delete made.defval;
}

TEST(AttributeBytes, LeaveTheFormerDefaultToWhoeverKeptIt) {
  veskAttributeDesc made;
  veskType* const first = made.defval;
  EXPECT_EQ(decodeFrom(made, hex(kAttribute)), 30u);
  veskType* const second = made.defval;
  EXPECT_EQ(decodeFrom(made, hex(kAttribute)), 30u);
  EXPECT_EQ(first->tag, 0);
  delete first;
  delete second;
  delete made.defval;
}

TEST(AttributeBytes, MayBeReadOverADefaultThatTheProgramHasDeleted) {
  veskAttributeDesc made;
  delete made.defval;
  EXPECT_EQ(decodeFrom(made, hex(kAttribute)), 30u);
  delete made.defval;
  EXPECT_EQ(decodeFrom(made, hex("11 09 43 01")), 0u);
  delete made.defval;
}

// What arrived

TEST(ArrivedDescription, IsFreedWhole) {
  const Bytes bytes = hex(kObject);
  for (std::size_t size = 1; size <= bytes.size(); ++size) {
    ExactBuffer buffer(ostrel::test::prefix(bytes, size));
    veskType* arrived = nullptr;
    const unsigned used =
        veskType::decodeCreate(buffer.data(), buffer.size(), &arrived);
    EXPECT_EQ(used, size == bytes.size() ? size : 0u);
    veskType::destroyDecoded(arrived);
  }
}

// A list of two descriptions, whose default values have the tags 2 and 0, and
// an object description with one whose default value has the tag 2.
const char kShortDefault[] = "11 09 43 00 0B 00 43 00 02 43 00 43 00 07 00 ";
const char kNoDefault[] = "11 09 43 00 0B 00 43 00 00 43 00 43 00 07 00 ";
const Bytes kTwoDescriptions =
    hex(std::string("80 43 01 02 ") + kShortDefault + kNoDefault);
const Bytes kDescribed =
    hex(std::string("14 09 43 00 0A 00 0A 00 80 43 01 01 ") + kShortDefault +
        "80 43 00 80 43 00");

TEST(ArrivedDescription, InAListIsFreedByTheProgramByTheRules) {
  veskList arrived;
  ASSERT_EQ(decodeFrom(arrived, kTwoDescriptions), kTwoDescriptions.size());
  for (unsigned i = 0; i < arrived.count; i++)
    delete arrived.at<veskAttributeDesc>(i)->defval;
  arrived.clear(1);
}

TEST(ArrivedDescription, OfAnObjectIsFreedByTheProgramByTheRules) {
  veskObjectDesc arrived;
  ASSERT_EQ(decodeFrom(arrived, kDescribed), kDescribed.size());
  delete arrived.attributes.at<veskAttributeDesc>(0)->defval;
  arrived.attributes.clear(1);
}

TEST(ArrivedDescription, InAListIsFreedWholeAsDecoded) {
  veskList arrived;
  const Bytes bytes = hex("80 43 01 02 " + kObject + kAttribute);
  ASSERT_EQ(decodeFrom(arrived, bytes), bytes.size());
  arrived.destroyDecodedElements();
  EXPECT_EQ(arrived.count, 0u);
}

TEST(ArrivedDescription, HasCopiesWithTheTagOfItsDefaultValue) {
  for (const Bytes& bytes :
       {kTwoDescriptions, kDescribed,
        hex(std::string("17 0B 00 01 ") + kShortDefault)}) {
    ExactBuffer buffer(bytes);
    veskType* arrived = nullptr;
    ASSERT_EQ(veskType::decodeCreate(buffer.data(), buffer.size(), &arrived),
              bytes.size());
    veskType* const copy = arrived->dup();
    EXPECT_EQ(encoded(*copy), bytes);
    releaseCopy(copy);
    veskType::destroyDecoded(arrived);
  }
}

TEST(ArrivedDescription, KeepsSharingItsDefaultValueWithItsCopies) {
  veskList arrived;
  ASSERT_EQ(decodeFrom(arrived, kTwoDescriptions), kTwoDescriptions.size());
  veskType* const copy = arrived.dup();
  EXPECT_EQ(dynamic_cast<veskList*>(copy)->at<veskAttributeDesc>(1)->defval,
            arrived.at<veskAttributeDesc>(1)->defval);
  releaseCopy(copy);
  arrived.destroyDecodedElements();
}

TEST(ArrivedDescription, LeavesADefaultValueThatTheProgramKeeps) {
  veskList arrived;
  ASSERT_EQ(decodeFrom(arrived, kTwoDescriptions), kTwoDescriptions.size());
  const OwnedValue first(arrived.at<veskAttributeDesc>(0)->defval);
  const OwnedValue second(arrived.at<veskAttributeDesc>(1)->defval);
  arrived.clear(1);
  EXPECT_EQ(first->tag, 2);
  EXPECT_EQ(second->tag, 0);
}

TEST(ArrivedDescription, HasArgumentsThatMayServeInAnother) {
  veskList arrived;
  const Bytes bytes =
      hex("80 43 01 01 12 09 43 00 0B 00 80 43 01 01 10 09 43 00 43 00");
  ASSERT_EQ(decodeFrom(arrived, bytes), bytes.size());
  veskAid id("59.6.1");
  veskActionDesc built("act", id, arrived.at<veskActionDesc>(0)->arguments);
  arrived.clear(1);
  EXPECT_EQ(built.arguments.count, 1u);
  EXPECT_EQ(textOf(*built.arguments.at(0)),
            "\t\targument  {\n\t\t\ttype 0;\n\t\t};\n");
  built.arguments.clear(1);
}

TEST(ArrivedDescription, LeavesWhatAProgramAppendedToItsList) {
  veskList arrived;
  const Bytes bytes = hex("80 43 01 01 12 09 43 00 0B 00 80 43 00");
  ASSERT_EQ(decodeFrom(arrived, bytes), bytes.size());
  veskArgumentDesc mine("mine", 3);
  arrived.at<veskActionDesc>(0)->arguments.append(&mine);
  arrived.clear(1);
  EXPECT_EQ(mine.type.value, 3u);
}

TEST(ArrivedDescription, InARecordThatAProgramBuiltIsFreedListByList) {
  veskObjectDesc made;
  ASSERT_EQ(decodeFrom(made, hex(kObject)), hex(kObject).size());
  EXPECT_EQ(textOf(made), kObjectText);
  made.attributes.destroyDecodedElements();
  made.actions.destroyDecodedElements();
  made.events.destroyDecodedElements();
}

TEST(ArrivedDescription, WithAnElementThatHasNoClassFails) {
  for (const char* element : {"4D 01 05", "4E 01 05", "1B 03 00 43 00 0A 00",
                              "24 03 00 43 00 0A 00 80 43 00", "15"}) {
    SCOPED_TRACE(element);
    veskActionDesc made;
    EXPECT_EQ(decodeFrom(made, hex(std::string("12 09 43 00 0B 00 80 43 01 02 "
                                               "03 01 01 ") +
                                   element)),
              0u);
    EXPECT_EQ(made.arguments.count, 1u);
    made.arguments.clear(1);
  }
}

TEST(ArrivedDescription, InAListThatAProgramFilledKeepsItsElements) {
  auto* action = new veskActionDesc;
  const Bytes bytes =
      hex("12 09 43 00 0B 00 80 43 01 01 10 09 43 01 04 73 69 7A 65 43 01 03");
  ASSERT_EQ(decodeFrom(*action, bytes), bytes.size());
  const OwnedValue argument(action->arguments.at(0));
  veskList filled;
  filled.append(action);
  filled.clear(1);
  EXPECT_EQ(textOf(*argument), "\t\targument size {\n\t\t\ttype 3;\n\t\t};\n");
}

}  // namespace
