#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <ostrel/catalogue.h>
#include <ostrel/names.h>

#include <cstdlib>
#include <fstream>

#include "catalogue/catalogue_support.h"

namespace ostrel {
namespace {

using test::catalogueOf;
using test::kLamp;
using test::linesOf;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kBase = R"(name = "equipment"
id = "59.190"
revision = 1
key = "serial"
columns = ["serial"]
[attribute.serial]
id = "59.190.1"
type = "string"
was = ["number"]
[action.reset]
id = "59.190.30"
[event.broke]
id = "59.190.50"
)";

constexpr const char* kShelf = R"(name = "shelf"
id = "59.201"
revision = 1
derived-from = "equipment"
[attribute.size]
id = "59.201.1"
type = "double"
)";

class OfEquipment : public testing::Test {
 protected:
  Catalogue catalogue_ = catalogueOf({kBase, kShelf, kLamp});
  const ClassDescription& shelf_ = *catalogue_.find("shelf");
};

TEST_F(OfEquipment, FindsClassesByNameAndByNumber) {
  EXPECT_EQ(catalogue_.find("lamp")->id.text(), "59.200");
  EXPECT_EQ(catalogue_.find(ClassId{59, 201})->name, "shelf");
  EXPECT_EQ(catalogue_.find("room"), nullptr);
  EXPECT_EQ(catalogue_.find(ClassId{59, 202}), nullptr);
  EXPECT_EQ(catalogue_.classes().size(), 3U);
  EXPECT_EQ(catalogue_.classes().at(0)->name, "equipment");
}

TEST_F(OfEquipment, GivesAClassWhatItsBasesHave) {
  std::vector<std::string> names;
  for (const AttributeDescription* attribute : catalogue_.attributes(shelf_))
    names.push_back(attribute->id.text() + " " + attribute->name);
  EXPECT_THAT(names, ElementsAre("59.190.1 serial", "59.201.1 size"));
  EXPECT_EQ(catalogue_.attribute(shelf_, "serial")->id.text(), "59.190.1");
  EXPECT_EQ(catalogue_.attribute(shelf_, "size")->id.text(), "59.201.1");
  EXPECT_EQ(catalogue_.action(shelf_, "reset")->id.text(), "59.190.30");
  EXPECT_EQ(catalogue_.event(shelf_, "broke")->id.text(), "59.190.50");
  EXPECT_EQ(catalogue_.key(shelf_), "serial");
  EXPECT_THAT(catalogue_.columns(shelf_), ElementsAre("serial"));
}

TEST_F(OfEquipment, UnderstandsFormerNames) {
  EXPECT_EQ(catalogue_.attribute(shelf_, "number")->name, "serial");
  EXPECT_EQ(catalogue_.attribute(shelf_, "weight"), nullptr);
}

TEST_F(OfEquipment, KnowsWhatDerivesFromWhat) {
  const ClassDescription& equipment = *catalogue_.find("equipment");
  EXPECT_TRUE(catalogue_.derives(shelf_, equipment));
  EXPECT_FALSE(catalogue_.derives(equipment, shelf_));
  EXPECT_FALSE(catalogue_.derives(shelf_, shelf_));
}

TEST_F(OfEquipment, NamesIdentifiers) {
  EXPECT_EQ(catalogue_.name(veskOid("59.200")), "lamp");
  EXPECT_EQ(catalogue_.name(veskOid("59.200.0.1")), "");
  EXPECT_EQ(catalogue_.name(veskOid("59.7")), "");
  EXPECT_EQ(catalogue_.name(veskOid()), "");
  EXPECT_EQ(catalogue_.name(veskAid("59.200.2")), "lamp.power");
  EXPECT_EQ(catalogue_.name(veskAid("59.200.30")), "lamp.blink");
  EXPECT_EQ(catalogue_.name(veskAid("59.200.50")), "lamp.broke");
  EXPECT_EQ(catalogue_.name(veskAid("59.200.3")), "");
  EXPECT_EQ(catalogue_.name(veskAid("59.7.3")), "");
  EXPECT_EQ(catalogue_.name(veskAid()), "");
}

TEST_F(OfEquipment, KeepsItsClassesInACopy) {
  const Catalogue copy = catalogue_;
  const ClassDescription* lamp = copy.find("lamp");
  catalogue_ = Catalogue();
  EXPECT_EQ(lamp->name, "lamp");
}

std::string textOf(const ObjectDescPointer& description) {
  char* text = description->getString();
  std::string result = text;
  std::free(text);
  return result;
}

TEST_F(OfEquipment, DescribesAClassForEveryPeer) {
  EXPECT_EQ(textOf(objectDesc(catalogue_, shelf_)),
            "object shelf {\n"
            "\tid 59.201.0.0;\n"
            "\tderivedFrom 59.190.0.0;\n"
            "\tattribute size {\n"
            "\t\tid 59.201.1;\n"
            "\t\ttype 6;\n"
            "\t\tdefval ;\n"
            "\t\taccess 2;\n"
            "\t\tstorage 1;\n"
            "\t\trequiredOnCreate False;\n"
            "\t};\n"
            "};\n");
  EXPECT_EQ(textOf(objectDesc(catalogue_, *catalogue_.find("lamp"))),
            "object lamp {\n"
            "\tid 59.200.0.0;\n"
            "\tderivedFrom Invalid;\n"
            "\tattribute name {\n"
            "\t\tid 59.200.1;\n"
            "\t\ttype 9;\n"
            "\t\tdefval ;\n"
            "\t\taccess 2;\n"
            "\t\tstorage 1;\n"
            "\t\trequiredOnCreate False;\n"
            "\t};\n"
            "\tattribute power {\n"
            "\t\tid 59.200.2;\n"
            "\t\ttype 3;\n"
            "\t\tdefval ;\n"
            "\t\taccess 2;\n"
            "\t\tstorage 1;\n"
            "\t\trequiredOnCreate False;\n"
            "\t};\n"
            "\taction blink {\n"
            "\t\tid 59.200.30;\n"
            "\t\targument lamp {\n"
            "\t\t\ttype 10;\n"
            "\t\t};\n"
            "\t\targument seconds {\n"
            "\t\t\ttype 3;\n"
            "\t\t};\n"
            "\t};\n"
            "\tevent broke {\n"
            "\t\tid 59.200.50;\n"
            "\t};\n"
            "};\n");
}

TEST(ObjectDesc, SurvivesTheWire) {
  for (const ClassDescription* each : shippedClasses().classes()) {
    const ObjectDescPointer description = objectDesc(shippedClasses(), *each);
    char bytes[8192];
    const unsigned length = description->encode(bytes, sizeof bytes);
    ASSERT_NE(length, 0U);
    ObjectDescPointer read(new veskObjectDesc);
    EXPECT_EQ(read->decode(bytes, length), length);
    EXPECT_EQ(textOf(read), textOf(description));
  }
}

TEST(Document, ShowsAClassFileWithoutAMistake) {
  std::ifstream document(OSTREL_CLASSES_DOCUMENT);
  std::string text;
  bool isInside = false;
  for (std::string line; std::getline(document, line);) {
    if (line.rfind("```", 0) == 0)
      isInside = line == "```toml";
    else if (isInside)
      text += line + "\n";
  }
  Catalogue catalogue = shippedClasses();
  EXPECT_THAT(linesOf(catalogue.add(parseClass(text, "classes.md"))),
              IsEmpty());
  EXPECT_NE(catalogue.find("disk-shelf"), nullptr);
}

// ---------------------------------------------------------------------------
// The classes that ship

TEST(ShippedClasses, AreHostRegistrationClassAndPrincipal) {
  std::vector<std::string> names;
  for (const ClassDescription* each : shippedClasses().classes())
    names.push_back(each->id.text() + " " + each->name);
  EXPECT_THAT(names, ElementsAre("59.1 host", "59.6 registration", "59.8 class",
                                 "59.110 principal"));
}

TEST(ShippedClasses, AreTheFilesThatAreInstalled) {
  const ClassFiles read = readClassFiles({OSTREL_CLASSES});
  EXPECT_FALSE(hasMistake(read.mistakes));
  EXPECT_EQ(read.files.size(), shippedClasses().classes().size());
  for (const ClassFile& file : read.files)
    EXPECT_TRUE(*shippedClasses().find(file.description.id) == file.description)
        << file.file;
  Catalogue alone;
  EXPECT_FALSE(hasMistake(alone.add(read)));
}

TEST(ShippedClasses, NameWhatTheLibraryKnows) {
  const Catalogue& known = shippedClasses();
  EXPECT_EQ(known.name(veskOid(kHostClass)), "host");
  EXPECT_EQ(known.name(veskAid(kHostAddress)), "host.address");
  EXPECT_EQ(known.name(veskOid(kRegistrationClass)), "registration");
  EXPECT_EQ(known.name(veskAid(kRegistrationObject)), "registration.object");
  EXPECT_EQ(known.name(veskAid(kRegistrationEvent)), "registration.event");
  EXPECT_EQ(known.name(veskAid(kRegistrationAddress)), "registration.address");
  EXPECT_EQ(known.name(veskAid(kRegistrationPort)), "registration.port");
  EXPECT_EQ(known.name(veskAid(kRegistrationExpiry)), "registration.expiry");
  EXPECT_EQ(known.name(veskAid(kEventExpiry)), "registration.expiry");
  EXPECT_EQ(known.name(veskAid(kEventCreated)), "registration.created");
  EXPECT_EQ(known.name(veskAid(kEventChanged)), "registration.changed");
  EXPECT_EQ(known.name(veskAid(kEventRemoved)), "registration.removed");
  EXPECT_EQ(known.name(veskOid(kPrincipalClass)), "principal");
  EXPECT_EQ(known.name(veskAid(kPrincipalOid)), "principal.principal");
  EXPECT_EQ(known.name(veskAid(kPrincipalUserId)), "principal.user-id");
  EXPECT_EQ(known.name(veskAid(kPrincipalLogin)), "principal.login");
  EXPECT_EQ(known.name(veskAid(kPrincipalFullName)), "principal.full-name");
}

}  // namespace
}  // namespace ostrel
