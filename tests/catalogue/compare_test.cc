#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <ostrel/class_file.h>

#include "catalogue/catalogue_support.h"

namespace ostrel {
namespace {

using test::fileOf;
using test::linesOf;
using test::with;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

constexpr const char* kShelf = R"(name = "shelf"
id = "59.240"
revision = 3
derived-from = "equipment"
key = "serial"
reserved = { ids = ["59.240.4"], names = ["colour"] }

[attribute.serial]
id = "59.240.1"
type = "string"
length = [2, 32]
required = true
access = "create-only"

[attribute.state]
id = "59.240.2"
type = "int"
range = [0, 9]
default = 1
was = ["status"]
status = "deprecated"
kind = "state"
[attribute.state.values]
off = 0
on = 1

[attribute.size]
id = "59.240.3"
type = "double"
unit = "byte"
access = "read-only"

[attribute.address]
id = "59.240.5"
type = "string"
format = "ipv6"

[attribute.rooms]
id = "59.240.6"
type = "list"
element = "oid"
class = "room"

[action.locate]
id = "59.240.30"
arguments = [
  { name = "shelf", type = "oid" },
  { name = "seconds", type = "int", range = [1, 60] },
]

[event.alarm]
id = "59.240.50"
)";

struct Change {
  const char* name;
  const char* from;
  const char* to;
  std::vector<std::string> lines;
};

class ChangeThat : public testing::TestWithParam<Change> {};

// With its revision raised, as it should be.
std::vector<std::string> complaints(const char* from, const char* to) {
  const std::string now =
      with(with(kShelf, "revision = 3", "revision = 4"), from, to);
  return linesOf(compareClasses(fileOf(kShelf, "old.toml"), fileOf(now, "x")));
}

TEST_P(ChangeThat, IsJudgedByTheRules) {
  EXPECT_THAT(complaints(GetParam().from, GetParam().to),
              ElementsAreArray(GetParam().lines));
}

const Change kAllowed[] = {
    {"ChangesNothing", "revision", "revision", {}},
    {"AddsAText", "key =", "text = \"A shelf.\"\nkey =", {}},
    {"AddsColumns", "key =", "columns = [\"serial\"]\nkey =", {}},
    {"AddsAnOptionalAttribute",
     "[action",
     "[attribute.new]\nid = \"59.240.7\"\ntype = \"int\"\n[action",
     {}},
    {"AddsARequiredAttributeWithADefault",
     "[action",
     "[attribute.new]\nid = \"59.240.7\"\ntype = \"int\"\nrequired = true\n"
     "default = 5\n[action",
     {}},
    {"AddsAnAction",
     "[action",
     "[action.new]\nid = \"59.240.31\"\n[action",
     {}},
    {"AddsAnEvent", "[event", "[event.new]\nid = \"59.240.51\"\n[event", {}},
    {"AddsAValueName", "on = 1", "on = 1\nbroken = 2", {}},
    {"RenamesWithWas",
     "[attribute.size]",
     "[attribute.capacity]\nwas = [\"size\"]",
     {}},
    {"WidensARange", "range = [0, 9]", "range = [-1, 10]", {}},
    {"DropsARange", "range = [0, 9]\n", "", {}},
    {"WidensALength", "length = [2, 32]", "length = [1, 64]", {}},
    {"DropsALength", "length = [2, 32]\n", "", {}},
    {"MakesARequiredAttributeOptional", "required = true\n", "", {}},
    {"LetsWhatWasReadBeWritten", "access = \"read-only\"\n", "", {}},
    {"LetsWhatWasCreatedBeWritten", "access = \"create-only\"\n", "", {}},
    {"GoesOnFromDeprecatedToObsolete", "\"deprecated\"", "\"obsolete\"", {}},
    {"AddsAUnit", "kind = \"state\"", "kind = \"state\"\nunit = \"volt\"", {}},
    {"AddsAKind", "unit = \"byte\"", "unit = \"byte\"\nkind = \"gauge\"", {}},
    {"AddsADefault",
     "format = \"ipv6\"",
     "format = \"ipv6\"\ndefault = \"::1\"",
     {}},
};

INSTANTIATE_TEST_SUITE_P(Allowed, ChangeThat, testing::ValuesIn(kAllowed),
                         [](const auto& each) {
                           return std::string(each.param.name);
                         });

const Change kForbidden[] = {
    {"ChangesTheName",
     "name = \"shelf\"",
     "name = \"rack\"",
     {"x:1:8: name: was 'shelf' and stays so, not 'rack'; describe a new class "
      "with a new number instead"}},
    {"ChangesTheBase",
     "derived-from = \"equipment\"",
     "derived-from = \"thing\"",
     {"x:4:16: derived-from: was 'equipment' and stays so, not 'thing'; "
      "describe a new class with a new number instead"}},
    {"DropsTheBase",
     "derived-from = \"equipment\"\n",
     "",
     {"x:1:1: derived-from: was 'equipment' and stays so, not none; describe a "
      "new class with a new number instead"}},
    {"ChangesTheKey",
     "key = \"serial\"",
     "key = \"address\"",
     {"x:5:7: key: was 'serial' and stays so, not 'address'; describe a new "
      "class with a new number instead"}},
    {"DropsTheKey",
     "key = \"serial\"\n",
     "",
     {"x:1:1: key: was 'serial' and stays so, not none; describe a new class "
      "with a new number instead"}},
    {"TakesBackAReservedNumber",
     "\"59.240.4\"",
     "\"59.240.9\"",
     {"x:6:12: reserved: 59.240.4 was reserved, which is for ever; write it "
      "into ids again"}},
    {"TakesBackAReservedName",
     "\"colour\"",
     "\"hue\"",
     {"x:6:12: reserved: 'colour' was reserved, which is for ever; write it "
      "into names again"}},
    {"RemovesAnAttribute",
     "[attribute.size]\nid = \"59.240.3\"\ntype = \"double\"\nunit = "
     "\"byte\"\naccess = \"read-only\"\n",
     "",
     {"x:8:1: attribute.size: is gone; write 59.240.3 into the ids of reserved",
      "x:8:1: attribute.size: is gone; write 'size' into the names of "
      "reserved"}},
    {"RemovesAnAction",
     "[action.locate]\nid = \"59.240.30\"\narguments = [\n  { name = "
     "\"shelf\", type = \"oid\" },\n  { name = \"seconds\", type = \"int\", "
     "range = [1, 60] },\n]\n",
     "",
     {"x:1:1: action.locate: is gone; write 59.240.30 into the ids of reserved",
      "x:1:1: action.locate: is gone; write 'locate' into the names of "
      "reserved"}},
    {"RemovesAnEvent",
     "[event.alarm]\nid = \"59.240.50\"\n",
     "",
     {"x:1:1: event.alarm: is gone; write 59.240.50 into the ids of reserved",
      "x:1:1: event.alarm: is gone; write 'alarm' into the names of reserved"}},
    {"GivesAnAttributeAnotherNumber",
     "\"59.240.3\"",
     "\"59.240.7\"",
     {"x:27:12: attribute.size: is gone; write 59.240.3 into the ids of "
      "reserved",
      "x:27:12: attribute.size: is gone; write 'size' into the names of "
      "reserved",
      "x:27:12: attribute.size: was the name of 59.240.3 and cannot become "
      "59.240.7; take another name"}},
    {"RenamesWithoutWas",
     "[attribute.size]",
     "[attribute.capacity]",
     {"x:27:12: attribute.capacity: was called 'size'; write 'size' into was, "
      "so that it is still understood"}},
    {"ForgetsAFormerName",
     "was = [\"status\"]\n",
     "",
     {"x:15:12: attribute.state: was called 'status'; write 'status' into was, "
      "so that it is still understood"}},
    {"RenamesAnActionWithoutWas",
     "[action.locate]",
     "[action.find]",
     {"x:44:9: action.find: was called 'locate'; write 'locate' into was, so "
      "that it is still understood"}},
    {"RenamesAnEventWithoutWas",
     "[event.alarm]",
     "[event.alert]",
     {"x:51:8: event.alert: was called 'alarm'; write 'alarm' into was, so "
      "that it is still understood"}},
    {"ChangesAType",
     "type = \"int\"\nrange = [0, 9]",
     "type = \"uint\"\nrange = [0, 9]",
     {"x:17:8: attribute.state.type: was 'int' and stays so, not 'uint'; "
      "describe a new one with a new number and name instead"}},
    {"ChangesAnElement",
     "element = \"oid\"\nclass = \"room\"",
     "element = \"string\"",
     {"x:41:11: attribute.rooms.element: was 'oid' and stays so, not 'string'; "
      "describe a new one with a new number and name instead",
      "x:38:12: attribute.rooms.class: was 'room' and stays so, not none; "
      "describe a new one with a new number and name instead"}},
    {"ChangesAUnit",
     "unit = \"byte\"",
     "unit = \"bit\"",
     {"x:30:8: attribute.size.unit: was 'byte' and stays so, not 'bit'; "
      "describe a new one with a new number and name instead"}},
    {"DropsAUnit",
     "unit = \"byte\"\n",
     "",
     {"x:27:12: attribute.size.unit: was 'byte' and stays so, not none; "
      "describe a new one with a new number and name instead"}},
    {"ChangesAFormat",
     "\"ipv6\"",
     "\"cidr\"",
     {"x:36:10: attribute.address.format: was 'ipv6' and stays so, not 'cidr'; "
      "describe a new one with a new number and name instead"}},
    {"DropsAFormat",
     "format = \"ipv6\"\n",
     "",
     {"x:33:12: attribute.address.format: was 'ipv6' and stays so, not none; "
      "describe a new one with a new number and name instead"}},
    {"ChangesAReference",
     "class = \"room\"",
     "class = \"house\"",
     {"x:42:9: attribute.rooms.class: was 'room' and stays so, not 'house'; "
      "describe a new one with a new number and name instead"}},
    {"ChangesAKind",
     "kind = \"state\"",
     "kind = \"gauge\"",
     {"x:22:8: attribute.state.kind: was 'state' and stays so, not 'gauge'"}},
    {"ChangesAStorage",
     "unit = \"byte\"",
     "unit = \"byte\"\nstorage = \"volatile\"",
     {"x:31:11: attribute.size.storage: was 'persistent' and stays so, not "
      "'volatile'"}},
    {"ChangesADefault",
     "default = 1",
     "default = 0",
     {"x:19:11: attribute.state.default: was 'on' and stays so, not 'off'"}},
    {"DropsADefault",
     "default = 1\n",
     "",
     {"x:15:12: attribute.state.default: was 'on' and stays so, not none"}},
    {"NarrowsARange",
     "range = [0, 9]",
     "range = [0, 8]",
     {"x:18:9: attribute.state.range: is narrower than [0, 9]; it may only "
      "become wider"}},
    {"AddsARange",
     "unit = \"byte\"",
     "unit = \"byte\"\nrange = [0, 1e6]",
     {"x:31:9: attribute.size.range: there was none, and values that were "
      "right would be refused; remove it"}},
    {"NarrowsALength",
     "length = [2, 32]",
     "length = [3, 32]",
     {"x:11:10: attribute.serial.length: is narrower than [2, 32]; it may only "
      "become wider"}},
    {"AddsALength",
     "element = \"oid\"",
     "element = \"oid\"\nlength = [0, 100]",
     {"x:42:10: attribute.rooms.length: there was none, and values that were "
      "right would be refused; remove it"}},
    {"ChangesTheMeaningOfAValue",
     "off = 0",
     "off = 2",
     {"x:24:1: attribute.state.values.off: was 0 and stays so, not 2"}},
    {"DropsAValueName",
     "off = 0\n",
     "",
     {"x:23:1: attribute.state.values: 'off' is gone; write off = 0 again"}},
    {"SwapsTwoValues",
     "off = 0\non = 1",
     "off = 1\non = 0",
     {"x:24:1: attribute.state.values.off: was 0 and stays so, not 1",
      "x:25:1: attribute.state.values.on: was 1 and stays so, not 0",
      "x:19:11: attribute.state.default: was 'on' and stays so, not 'off'"}},
    {"NamesTheValuesOfAnOpenAttribute",
     "type = \"int\", range",
     "type = \"int\", values = { one = 1 }, range",
     {"x:48:46: action.locate.arguments.2.values: no value had a name, and "
      "those without one would be refused; remove them"}},
    {"RequiresWhatWasOptional",
     "format = \"ipv6\"",
     "format = \"ipv6\"\nrequired = true",
     {"x:37:12: attribute.address.required: requests that were right would "
      "fail; give it a default, or leave it optional"}},
    {"AddsARequiredAttribute",
     "[action",
     "[attribute.new]\nid = \"59.240.7\"\ntype = \"int\"\nrequired = "
     "true\n[action",
     {"x:47:12: attribute.new.required: requests that were right would fail; "
      "give it a default, or leave it optional"}},
    {"ForbidsToWrite",
     "format = \"ipv6\"",
     "format = \"ipv6\"\naccess = \"read-only\"",
     {"x:37:10: attribute.address.access: was 'read-write', and programs that "
      "write it would be refused; leave it so"}},
    {"ForbidsToChange",
     "format = \"ipv6\"",
     "format = \"ipv6\"\naccess = \"create-only\"",
     {"x:37:10: attribute.address.access: was 'read-write', and programs that "
      "write it would be refused; leave it so"}},
    {"ForbidsToCreateWith",
     "required = true\naccess = \"create-only\"",
     "access = \"read-only\"",
     {"x:12:10: attribute.serial.access: was 'create-only', and programs that "
      "write it would be refused; leave it so"}},
    {"GoesBackToCurrent",
     "status = \"deprecated\"\n",
     "",
     {"x:15:12: attribute.state.status: was 'deprecated' and never goes back"}},
    {"AddsAnArgument",
     "range = [1, 60] },",
     "range = [1, 60] },\n  { name = \"colour\", type = \"int\" },",
     {"x:46:13: action.locate.arguments: there were 2, not 3, and they are "
      "told apart by their positions; describe a new one with a new number and "
      "name instead"}},
    {"DropsAnArgument",
     "  { name = \"seconds\", type = \"int\", range = [1, 60] },\n",
     "",
     {"x:46:13: action.locate.arguments: there were 2, not 1, and they are "
      "told apart by their positions; describe a new one with a new number and "
      "name instead"}},
    {"SwapsArguments",
     "  { name = \"shelf\", type = \"oid\" },\n  { name = \"seconds\", type = "
     "\"int\", range = [1, 60] },",
     "  { name = \"seconds\", type = \"int\", range = [1, 60] },\n  { name = "
     "\"shelf\", type = \"oid\" },",
     {"x:47:12: action.locate.arguments.1.name: was 'shelf' and stays so, not "
      "'seconds'",
      "x:47:30: action.locate.arguments.1.type: was 'oid' and stays so, not "
      "'int'; describe a new one with a new number and name instead",
      "x:47:45: action.locate.arguments.1.range: there was none, and values "
      "that were right would be refused; remove it",
      "x:48:12: action.locate.arguments.2.name: was 'seconds' and stays so, "
      "not 'shelf'",
      "x:48:28: action.locate.arguments.2.type: was 'int' and stays so, not "
      "'oid'; describe a new one with a new number and name instead"}},
    {"ChangesTheTypeOfAnArgument",
     "type = \"int\", range",
     "type = \"uint\", range",
     {"x:48:30: action.locate.arguments.2.type: was 'int' and stays so, not "
      "'uint'; describe a new one with a new number and name instead"}},
    {"RenamesAnArgument",
     "name = \"seconds\"",
     "name = \"time\"",
     {"x:48:12: action.locate.arguments.2.name: was 'seconds' and stays so, "
      "not 'time'"}},
    {"NarrowsTheRangeOfAnArgument",
     "[1, 60]",
     "[2, 60]",
     {"x:48:45: action.locate.arguments.2.range: is narrower than [1, 60]; it "
      "may only become wider"}},
};

INSTANTIATE_TEST_SUITE_P(Forbidden, ChangeThat, testing::ValuesIn(kForbidden),
                         [](const auto& each) {
                           return std::string(each.param.name);
                         });

// What the two files say about their revisions.
std::vector<std::string> revisions(const std::string& now) {
  return linesOf(compareClasses(fileOf(kShelf, "old.toml"), fileOf(now, "x")));
}

TEST(ChangesOfAClass, RaiseTheRevision) {
  EXPECT_THAT(revisions(kShelf), IsEmpty());
  EXPECT_THAT(revisions(with(kShelf, "= 3", "= 9")), IsEmpty());
  EXPECT_THAT(revisions(with(kShelf, "key =", "text = \"x\"\nkey =")),
              ElementsAre("x:3:12: revision: has to be raised with each "
                          "change; write revision = 4"));
  EXPECT_THAT(revisions(with(kShelf, "= 3", "= 2")),
              ElementsAre("x:3:12: revision: has to be raised with each "
                          "change; write revision = 4"));
}

TEST(ChangesOfAClass, KeepTheNumberOfTheClass) {
  std::string now = with(kShelf, "revision = 3", "revision = 4");
  for (std::size_t at; (at = now.find("59.240")) != now.npos;)
    now.replace(at, 6, "59.241");
  EXPECT_EQ(revisions(now).at(0),
            "x:2:6: id: was '59.240' and stays so, not '59.241'; describe a "
            "new class with a new number instead");
}

TEST(ChangesOfAClass, RemoveWhatTheyReserve) {
  const std::string now =
      with(with(with(kShelf, "revision = 3", "revision = 4"),
                "ids = [\"59.240.4\"], names = [\"colour\"]",
                "ids = [\"59.240.4\", \"59.240.50\"], "
                "names = [\"colour\", \"alarm\"]"),
           "[event.alarm]\nid = \"59.240.50\"\n", "");
  EXPECT_THAT(revisions(now), IsEmpty());
}

TEST(ChangesOfAClass, GiveNoNameToAnotherNumber) {
  const std::string now =
      with(with(with(kShelf, "revision = 3", "revision = 4"),
                "[attribute.size]", "[attribute.capacity]"),
           "[action",
           "[attribute.size]\nid = \"59.240.7\"\ntype = \"int\"\n[action");
  EXPECT_THAT(
      revisions(now),
      ElementsAre("x:27:12: attribute.capacity: was called 'size'; write "
                  "'size' into was, so that it is still understood",
                  "x:44:12: attribute.size: was the name of 59.240.3 and "
                  "cannot become 59.240.7; take another name"));
}

}  // namespace
}  // namespace ostrel
