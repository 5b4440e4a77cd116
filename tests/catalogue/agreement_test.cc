#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <ostrel/catalogue.h>

#include "catalogue/catalogue_support.h"

namespace ostrel {
namespace {

using test::filesOf;
using test::kLamp;
using test::linesOf;
using test::with;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// The class 59.(300 + number), with keys of its head and parts below.
std::string classFile(const std::string& name, int number,
                      const std::string& head = "",
                      const std::string& parts = "") {
  return "name = \"" + name + "\"\nid = \"59." + std::to_string(300 + number) +
         "\"\nrevision = 1\n" + head + "\n" + parts;
}

std::string attribute(const std::string& name, int number,
                      const std::string& keys = "") {
  return "[attribute." + name + "]\nid = \"59." + std::to_string(300 + number) +
         ".1\"\ntype = \"string\"\n" + keys + "\n";
}

std::vector<std::string> complaints(const std::vector<std::string>& texts,
                                    ClassSource source = ClassSource::author) {
  Catalogue catalogue;
  return linesOf(catalogue.add(filesOf(texts, source), source));
}

TEST(ClassesTogether, HaveDifferentNumbers) {
  EXPECT_THAT(complaints({classFile("a", 1), classFile("b", 1)}),
              ElementsAre("1.toml:2:6: id: 59.301 is the number of 'a' in "
                          "0.toml:2; one of the two needs another"));
}

TEST(ClassesTogether, HaveDifferentNames) {
  EXPECT_THAT(complaints({classFile("a", 1), classFile("a", 2)}),
              ElementsAre("1.toml:1:8: name: 'a' is the name of 59.301 in "
                          "0.toml:1; one of the two needs another"));
}

TEST(ClassesTogether, AreNotCalledAsATypeIs) {
  for (const char* word : {"int", "list", "gauge", "null"})
    EXPECT_THAT(complaints({classFile(word, 1)}),
                ElementsAre(std::string("0.toml:1:8: name: '") + word +
                            "' is the name of a type; take another"));
}

TEST(ClassesTogether, HaveTheBasesThatTheyName) {
  EXPECT_THAT(complaints({classFile("lamp", 1),
                          classFile("b", 2, "derived-from = \"lmap\"")}),
              ElementsAre("1.toml:4:16: derived-from: there is no class 'lmap' "
                          "(did you mean 'lamp'?); give its file as well"));
}

TEST(ClassesTogether, AreNotTheirOwnBases) {
  EXPECT_THAT(complaints({classFile("a", 1, "derived-from = \"b\""),
                          classFile("b", 2, "derived-from = \"a\""),
                          classFile("c", 3, "derived-from = \"a\"")}),
              ElementsAre("0.toml:4:16: derived-from: leads back to 'a'; a "
                          "class cannot be its own base",
                          "1.toml:4:16: derived-from: leads back to 'b'; a "
                          "class cannot be its own base"));
  EXPECT_THAT(complaints({classFile("a", 1, "derived-from = \"a\"")}),
              ElementsAre(HasSubstr("leads back to 'a'")));
}

TEST(ClassesTogether, HaveEightBasesAndNoMore) {
  std::vector<std::string> texts{classFile("c0", 0)};
  for (int i = 1; i <= 8; ++i)
    texts.push_back(
        classFile("c" + std::to_string(i), i,
                  "derived-from = \"c" + std::to_string(i - 1) + "\""));
  EXPECT_THAT(complaints(texts), IsEmpty());
  texts.push_back(classFile("c9", 9, "derived-from = \"c8\""));
  EXPECT_THAT(complaints(texts),
              ElementsAre("9.toml:4:16: derived-from: there are more than 8 "
                          "classes above this one; derive from a higher one"));
}

TEST(ClassesTogether, DescribeNothingTwice) {
  const std::string base =
      classFile("base", 1, "reserved = { names = [\"gone\"] }",
                attribute("owner", 1, "was = [\"keeper\"]"));
  for (const char* name : {"owner", "keeper", "gone"}) {
    const std::string line = name == std::string("gone") ? "4" : "5";
    EXPECT_THAT(
        complaints({base, classFile("b", 2, "derived-from = \"base\"",
                                    attribute(name, 2))}),
        ElementsAre(std::string("1.toml:5:12: attribute.") + name + ": '" +
                    name + "' belongs to the base 'base' (0.toml:" + line +
                    "), and nothing is described twice; one of the two needs "
                    "another name"));
  }
  EXPECT_THAT(
      complaints({base, classFile("b", 2, "derived-from = \"base\"",
                                  attribute("x", 2, "was = [\"owner\"]"))}),
      ElementsAre(HasSubstr("'owner' belongs to the base")));
}

TEST(ClassesTogether, DescribeNoActionOrEventTwice) {
  const auto part = [](const char* kind, int number) {
    return std::string("[") + kind + ".ring]\nid = \"59." +
           std::to_string(300 + number) + ".7\"\n";
  };
  for (const char* kind : {"action", "event"})
    EXPECT_THAT(
        complaints(
            {classFile("base", 1, "", part(kind, 1)),
             classFile("b", 2, "derived-from = \"base\"", part(kind, 2))}),
        ElementsAre(HasSubstr(std::string(kind) +
                              ".ring: 'ring' belongs to the base 'base'")));
}

TEST(ClassesTogether, HaveTheKeysAndColumnsThatTheyName) {
  EXPECT_THAT(
      complaints({with(with(kLamp, "key = \"name\"", "key = \"nmae\""),
                       "[\"name\", \"power\"]", "[\"name\", \"pover\"]")}),
      ElementsAre("0.toml:5:7: key: there is no attribute 'nmae' (did you mean "
                  "'name'?)",
                  "0.toml:6:11: columns: there is no attribute 'pover' (did "
                  "you mean 'power'?)"));
}

TEST(ClassesTogether, TakeKeysAndColumnsFromTheirBases) {
  EXPECT_THAT(complaints({classFile("base", 1, "", attribute("owner", 1)),
                          classFile("b", 2,
                                    "derived-from = \"base\"\nkey = \"owner\"\n"
                                    "columns = [\"owner\"]")}),
              IsEmpty());
}

TEST(ClassesTogether, HaveKeysThatNameAnObject) {
  EXPECT_THAT(complaints({with(kLamp, "type = \"string\"\nlength = [1, 32]",
                               "type = \"double\"")}),
              ElementsAre("0.toml:5:7: key: the type double names no object; "
                          "take a string or a whole number"));
}

TEST(ClassesTogether, HaveTheClassesThatTheyReferTo) {
  EXPECT_THAT(complaints({with(kLamp, "class = \"lamp\"", "class = \"room\"")}),
              ElementsAre("0.toml:26:42: action.blink.arguments.1.class: there "
                          "is no class 'room'; give its file as well"));
  EXPECT_THAT(
      complaints({classFile("a", 1, "",
                            "[attribute.x]\nid = \"59.301.1\"\ntype = "
                            "\"list\"\nelement = \"oid\"\nclass = \"room\"")}),
      ElementsAre(HasSubstr("attribute.x.class: there is no class 'room'")));
}

TEST(ClassesTogether, OfAServerMayNameClassesThatAreNotHere) {
  EXPECT_THAT(
      complaints({with(with(kLamp, "class = \"lamp\"", "class = \"room\""),
                       "key = \"name\"",
                       "key = \"serial\"\nderived-from = \"equipment\"")},
                 ClassSource::server),
      IsEmpty());
}

TEST(ClassesTogether, AreAddedAllOrNone) {
  Catalogue catalogue;
  EXPECT_TRUE(hasMistake(
      catalogue.add(filesOf({classFile("a", 1), classFile("b", 1)}))));
  EXPECT_THAT(catalogue.classes(), IsEmpty());
}

TEST(ClassesTogether, CollideWithThoseThatAreThereAlready) {
  Catalogue catalogue = shippedClasses();
  EXPECT_THAT(linesOf(catalogue.add(filesOf(
                  {with(classFile("a", 1), "\"59.301\"", "\"59.1\"")}))),
              ElementsAre("0.toml:2:6: id: 59.1 is the number of 'host' in "
                          "shipped:host.toml:2; one of the two needs another"));
}

}  // namespace
}  // namespace ostrel
