// What may get into the store, and what comes out of it.

#include "objects/stored_objects.h"

#include "server_test.h"

namespace ostrel::tools::server {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

constexpr std::size_t kMost = 10;  // values in an object

class StoredObjectsTest : public testing::Test {
 protected:
  StoredObjectsTest() {
    veskOid classOid("59.200.0.0");
    OwnedList none;
    stored.create(Asker(), classOid, none, &oid, &none);
  }

  int set(veskList* attributes) {
    const int code = stored.set(Asker(), oid, *attributes, &errors);
    attributes->destroyDecodedElements();
    delete attributes;
    return code;
  }

  // A list of so many nulls; it is one value more.
  static veskList* nulls(unsigned count) {
    auto* list = newList();
    for (unsigned i = 0; i < count; ++i) list->append(new veskType);
    return list;
  }

  std::string bytesOf(const char* id) {
    return std::string(
        store.read(oid)->find(Record::keyOf(veskAid(id))).value_or("nothing"));
  }

  MemoryStore store;
  StoredObjects stored{&store, kMost};
  veskOid oid;
  OwnedList errors;
};

TEST_F(StoredObjectsTest, KeepsTheCanonicalBytesOfAValue) {
  OwnedList attributes;
  veskAtAppendAttr(&attributes, "59.200.1",
                   decoded("\x09\x8F\x01\x03\x61\x62\x63").release());
  EXPECT_EQ(stored.set(Asker(), oid, attributes, &errors), 0);
  EXPECT_EQ(bytesOf("59.200.1"), "\x09\x43\x01\x03\x61\x62\x63");
}

TEST_F(StoredObjectsTest, RefusesWhatNobodyCouldRead) {
  EXPECT_EQ(set(with(newList(), "59.200.1", new veskGauge(5))), -1);
  EXPECT_THAT(errorsIn(errors), ElementsAre(Pair(0U, kBadValue)));
  EXPECT_EQ(bytesOf("59.200.1"), "nothing");
}

TEST_F(StoredObjectsTest, AnObjectHasABoundedNumberOfValues) {
  EXPECT_EQ(set(with(newList(), "59.200.1", nulls(5))), 0);
  // The second would make it 11.
  EXPECT_EQ(
      set(with(with(newList(), "59.200.2", nulls(2)), "59.200.3", nulls(1))),
      -1);
  EXPECT_THAT(errorsIn(errors), ElementsAre(Pair(1U, kBadValue)));
  EXPECT_EQ(bytesOf("59.200.3"), "nothing");
  // One that takes the place of another one needs no room beside it.
  errors.destroyDecodedElements();
  EXPECT_EQ(set(with(newList(), "59.200.1", nulls(6))), 0);
  EXPECT_EQ(
      set(with(with(newList(), "59.200.1", nulls(3)), "59.200.1", nulls(6))),
      0);
}

TEST_F(StoredObjectsTest, AnObjectHasABoundedLength) {
  const std::string text(kLongestObject / 2, 'x');
  const auto value = [&] { return new veskString(text.c_str()); };
  EXPECT_EQ(set(with(newList(), "59.200.1", value())), 0);
  EXPECT_EQ(set(with(newList(), "59.200.2", value())), -1);
  EXPECT_EQ(set(with(newList(), "59.200.1", value())), 0);
}

TEST_F(StoredObjectsTest, DoesNotMakeAnObjectWithTooManyValues) {
  veskOid classOid("59.200.0.0");
  veskOid created;
  OwnedList attributes;
  veskAtAppendAttr(&attributes, "59.200.1", nulls(kMost));
  EXPECT_EQ(stored.create(Asker(), classOid, attributes, &created, &errors),
            -1);
  EXPECT_THAT(errorsIn(errors), ElementsAre(Pair(0U, kBadValue)));
  EXPECT_EQ(store.objects(classOid).size(), 1U);
}

TEST_F(StoredObjectsTest, DoesNotMakeWhatFormerVersionsKeptTooMuchOf) {
  store.write(oid, veskAid("59.200.1"), *encoded(*Owned<veskList>(nulls(10))));
  OwnedList attributes;
  EXPECT_EQ(stored.read(oid, &attributes), kDatabaseError);
  EXPECT_EQ(attributes.count, 0U);
  // Whoever knows what to do about it can.
  EXPECT_EQ(set(with(newList(), "59.200.1", new veskInt(1))), 0);
  EXPECT_EQ(stored.read(oid, &attributes), 0);
}

TEST_F(StoredObjectsTest, AGetGivesWhatIsAskedForAsItIsKept) {
  set(with(with(newList(), "59.200.1", new veskInt(5)), "59.200.2",
           new veskString("abc")));
  OwnedList wanted;
  veskAtAppendAttr(&wanted, "59.200.2", nullptr);
  veskAtAppendAttr(&wanted, "59.200.3", nullptr);
  wanted.append(new veskType);
  veskAtAppendAttr(&wanted, "59.200.2", nullptr);
  OwnedList attributes;
  EXPECT_EQ(stored.get(oid, wanted, &attributes, &errors), -1);
  EXPECT_THAT(errorsIn(errors),
              ElementsAre(Pair(1U, kNoSuchName), Pair(2U, kAidFormat)));
  EXPECT_THAT(texts(dynamic_cast<veskList&>(*decoded(*encoded(attributes)))),
              ElementsAre("59.200.2 = abc",
                          "59.200.3 = ", "Invalid = ", "59.200.2 = abc"));
}

TEST_F(StoredObjectsTest, AGetOfAllGivesThemInOrder) {
  set(with(with(newList(), "59.200.2", new veskInt(5)), "59.200.1",
           new veskInt(7)));
  OwnedList none;
  OwnedList attributes;
  EXPECT_EQ(stored.get(oid, none, &attributes, &errors), 0);
  EXPECT_EQ(*encoded(attributes),
            *encoded(*decoded(std::string(
                "\x80\x43\x01\x02"
                "\x17\x0B\x01\x01\x3B\x01\xC8\x01\x01\x01\x03\x01\x07"
                "\x17\x0B\x01\x01\x3B\x01\xC8\x01\x02\x01\x03\x01\x05",
                30))));
}

TEST_F(StoredObjectsTest, AnAnswerNeedsRoomForItsValues) {
  EncodedValue value("\x03\x01\x05");
  EXPECT_EQ(encoded(value, 3), "\x03\x01\x05");
  EXPECT_EQ(encoded(value, 2), std::nullopt);
}

TEST_F(StoredObjectsTest, KnowsWhatIsNotThere) {
  veskOid other("59.200.0.9");
  OwnedList none;
  OwnedList attributes;
  EXPECT_EQ(stored.get(other, none, &attributes, &errors), kNoSuchName);
  EXPECT_EQ(stored.read(other, &attributes), kNoSuchName);
  EXPECT_EQ(stored.set(Asker(), other, none, &errors), kNoSuchName);
  EXPECT_EQ(stored.verify(other), kNoSuchName);
  EXPECT_EQ(stored.remove(Asker(), other), kNoSuchName);
}

}  // namespace
}  // namespace ostrel::tools::server
