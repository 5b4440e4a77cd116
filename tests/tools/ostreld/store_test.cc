// What every store does.

#include "store/store.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <ostrel/names.h>

#include <cmath>

#include "common/encoding.h"
#include "common/printed.h"
#include "store/cached_store.h"
#include "store/memory_store.h"
#include "store/sqlite_store.h"

namespace ostrel::tools::server {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct SqliteInMemory : SqliteStore {
  SqliteInMemory() : SqliteStore(kInMemory) {}
};

template <class Kind>
class StoreTest : public testing::Test {
 protected:
  static std::vector<std::string> texts(std::vector<veskOid> oids) {
    std::vector<std::string> result;
    for (veskOid& oid : oids) result.push_back(printed(oid));
    return result;
  }

  std::vector<std::string> attributes(const char* oid) {
    std::vector<std::string> result;
    const auto record = store.read(veskOid(oid));
    if (record == nullptr) return {"nothing"};
    for (std::size_t i = 0; i < record->count(); ++i) {
      veskAid id = record->id(i);
      result.push_back(printed(id) + "=" + std::string(record->value(i)));
    }
    return result;
  }

  void insert(const char* oid) { store.insert(veskOid(oid)); }
  void write(const char* oid, const char* id, const char* value) {
    store.write(veskOid(oid), veskAid(id), value);
  }

  void keepAnswer(const char* request, std::int64_t arrived,
                  const char* bytes) {
    store.keepAnswer(request, {std::uint16_t{0}, arrived, bytes});
  }
  std::optional<std::string> answer(const char* request) {
    const auto kept = store.answer(request);
    if (!kept) return std::nullopt;
    return kept->bytes;
  }

  Kind store;
};

// A base, so that it is there before the store in front of it.
template <class Below>
struct Holder {
  Below below;
};

// One that holds everything that it read, and one that never holds more than an
// object.
template <class Below, std::size_t kBytes>
struct Cached : private Holder<Below>, public CachedStore {
  Cached() : CachedStore(&this->below, kBytes) {}
};

using Kinds =
    testing::Types<MemoryStore, SqliteInMemory, Cached<MemoryStore, 1 << 20>,
                   Cached<SqliteInMemory, 500>>;
TYPED_TEST_SUITE(StoreTest, Kinds);

TYPED_TEST(StoreTest, ListsClassesAndTheirObjectsInAscendingOrder) {
  for (const char* oid :
       {"59.201.0.1", "59.200.0.256", "59.200.0.2", "59.200.1.0", "59.1.0.1"})
    this->insert(oid);
  EXPECT_THAT(this->texts(this->store.classes()),
              ElementsAre("59.1.0.0", "59.200.0.0", "59.201.0.0"));
  EXPECT_THAT(this->texts(this->store.objects(veskOid("59.200"))),
              ElementsAre("59.200.0.2", "59.200.0.256", "59.200.1.0"));
  EXPECT_THAT(this->store.objects(veskOid("59.2")), IsEmpty());
}

TYPED_TEST(StoreTest, ListsPagesOfAClass) {
  for (const char* oid :
       {"59.1.0.1", "59.200.0.1", "59.200.0.2", "59.200.1.0", "59.201.0.1"})
    this->insert(oid);
  const auto page = [&](const char* after, std::size_t most) {
    return this->texts(
        this->store.objects(veskOid("59.200"), veskOid(after), most));
  };
  EXPECT_THAT(page("59.200.0.0", 2), ElementsAre("59.200.0.1", "59.200.0.2"));
  EXPECT_THAT(page("59.200.0.2", 2), ElementsAre("59.200.1.0"));
  EXPECT_THAT(page("59.200.1.0", 2), IsEmpty());
}

TYPED_TEST(StoreTest, ScansObjectsWithOneOfTheirAttributes) {
  for (const char* oid :
       {"59.1.0.1", "59.200.0.1", "59.200.0.2", "59.200.1.0", "59.201.0.1"})
    this->insert(oid);
  this->write("59.200.0.1", "59.200.1", "one");
  this->write("59.200.0.2", "59.200.2", "another");
  this->write("59.200.1.0", "59.200.1", "last");
  std::vector<std::string> seen;
  const auto scan = [&](const char* after, std::size_t most) {
    seen.clear();
    this->store.scan(
        veskOid("59.200"), veskOid(after), veskAid("59.200.1"),
        [&](const veskOid& oid, std::string_view value) {
          seen.push_back(this->texts({oid})[0] + "=" + std::string(value));
          return seen.size() < most;
        });
    return seen;
  };
  EXPECT_THAT(scan("59.200.0.0", 9),
              ElementsAre("59.200.0.1=one", "59.200.0.2=", "59.200.1.0=last"));
  EXPECT_THAT(scan("59.200.0.0", 1), ElementsAre("59.200.0.1=one"));
  EXPECT_THAT(scan("59.200.0.2", 9), ElementsAre("59.200.1.0=last"));
  EXPECT_EQ(this->store.value(veskOid("59.200.0.1"), veskAid("59.200.1")),
            "one");
  EXPECT_EQ(this->store.value(veskOid("59.200.0.2"), veskAid("59.200.1")),
            std::nullopt);
}

TYPED_TEST(StoreTest, FindsTheNextClass) {
  for (const char* oid :
       {"59.1.0.1", "59.200.0.1", "59.200.4294967295.4294967295"})
    this->insert(oid);
  const auto after = [&](const char* oid) {
    auto next = this->store.classAfter(veskOid(oid));
    return next ? this->texts({*next})[0] : "none";
  };
  EXPECT_EQ(after("0.0.0.0"), "59.1.0.0");
  EXPECT_EQ(after("59.1.0.0"), "59.200.0.0");
  EXPECT_EQ(after("59.200.0.0"), "none");
}

TYPED_TEST(StoreTest, FindsCandidatesByTheKeysOfTheirValues) {
  const auto add = [&](const char* oid, veskType&& value) {
    this->insert(oid);
    this->store.write(veskOid(oid), veskAid("59.200.1"), *encoded(value));
  };
  add("59.200.0.3", veskInt(5));
  add("59.200.0.1", veskDouble(5));
  add("59.200.0.2", veskInt(-7));
  add("59.200.0.4", veskString("5"));
  add("59.200.0.5", veskDouble(std::nan("")));
  add("59.201.0.1", veskInt(5));
  this->insert("59.200.0.6");
  const auto find = [&](unsigned operation, veskType&& given,
                        std::size_t most = 10) {
    const auto found =
        this->store.candidates(veskOid("59.200"), veskAid("59.200.1"),
                               *keysFor(operation, given), most);
    return found ? this->texts(*found) : std::vector<std::string>{"too many"};
  };
  EXPECT_THAT(find(kOperatorEquals, veskTime(5)),
              ElementsAre("59.200.0.1", "59.200.0.3"));
  EXPECT_THAT(find(kOperatorEquals, veskTime(5), 1), ElementsAre("too many"));
  EXPECT_THAT(find(kOperatorEquals, veskInt(6)), IsEmpty());
  EXPECT_THAT(find(kOperatorEquals, veskDouble(std::nan(""))), IsEmpty());
  EXPECT_THAT(find(kOperatorLess, veskInt(6)),
              ElementsAre("59.200.0.1", "59.200.0.2", "59.200.0.3"));
  EXPECT_THAT(find(kOperatorGreater, veskInt(0)),
              ElementsAre("59.200.0.1", "59.200.0.3"));
  EXPECT_THAT(find(kOperatorGreater, veskString("")),
              ElementsAre("59.200.0.4"));
  this->store.write(veskOid("59.200.0.3"), veskAid("59.200.1"),
                    *encoded(*make<veskInt>(6)));
  this->store.remove(veskOid("59.200.0.1"));
  EXPECT_THAT(find(kOperatorEquals, veskInt(5)), IsEmpty());
  EXPECT_THAT(find(kOperatorEquals, veskInt(6)), ElementsAre("59.200.0.3"));
}

TYPED_TEST(StoreTest, UndoesASavepointThatIsNotKept) {
  {
    Transaction transaction(this->store);
    this->insert("59.200.0.1");
    {
      Savepoint kept(this->store);
      this->insert("59.200.0.2");
      kept.keep();
    }
    {
      Savepoint dropped(this->store);
      this->insert("59.200.0.3");
      this->store.remove(veskOid("59.200.0.1"));
    }
    transaction.commit();
  }
  EXPECT_THAT(this->texts(this->store.objects(veskOid("59.200"))),
              ElementsAre("59.200.0.1", "59.200.0.2"));
}

TYPED_TEST(StoreTest, KeepsOneValueForEachAttribute) {
  this->insert("59.200.0.1");
  this->write("59.200.0.1", "59.200.300", "later");
  this->write("59.200.0.1", "59.200.2", "first");
  this->write("59.200.0.1", "59.200.2", "second");
  EXPECT_THAT(this->attributes("59.200.0.1"),
              ElementsAre("59.200.2=second", "59.200.300=later"));
}

TYPED_TEST(StoreTest, RemovesAnObjectWithItsAttributes) {
  this->insert("59.200.0.1");
  this->write("59.200.0.1", "59.200.1", "gone");
  this->store.remove(veskOid("59.200.0.1"));
  EXPECT_FALSE(this->store.has(veskOid("59.200.0.1")));
  EXPECT_THAT(this->attributes("59.200.0.1"), ElementsAre("nothing"));
  this->insert("59.200.0.1");
  EXPECT_TRUE(this->store.has(veskOid("59.200.0.1")));
  EXPECT_THAT(this->attributes("59.200.0.1"), IsEmpty());
}

TYPED_TEST(StoreTest, RefusesAnObjectThatIsThere) {
  this->insert("59.200.0.1");
  EXPECT_THROW(this->insert("59.200.0.1"), StoreError);
}

TYPED_TEST(StoreTest, NumbersEachClassByItself) {
  EXPECT_EQ(this->store.takeNumber(veskOid("59.200")), 1U);
  EXPECT_EQ(this->store.takeNumber(veskOid("59.200")), 2U);
  EXPECT_EQ(this->store.takeNumber(veskOid("59.201")), 1U);
}

TYPED_TEST(StoreTest, ForgetsATransactionThatWasNotCommitted) {
  this->insert("59.200.0.1");
  this->write("59.200.0.1", "59.200.1", "kept");
  this->keepAnswer("former", 10, "kept");
  {
    Transaction transaction(this->store);
    this->write("59.200.0.1", "59.200.1", "forgotten");
    this->write("59.200.0.1", "59.200.2", "forgotten");
    this->insert("59.200.0.2");
    this->store.remove(veskOid("59.200.0.1"));
    EXPECT_EQ(this->store.takeNumber(veskOid("59.200")), 1U);
    this->keepAnswer("former", 20, "replaced");
    this->keepAnswer("question", 100, "answer");
    this->store.forgetAnswers(50, 200);
  }
  EXPECT_EQ(this->answer("former"), "kept");
  EXPECT_THAT(this->attributes("59.200.0.1"), ElementsAre("59.200.1=kept"));
  EXPECT_THAT(this->texts(this->store.objects(veskOid("59.200"))),
              ElementsAre("59.200.0.1"));
  EXPECT_EQ(this->store.takeNumber(veskOid("59.200")), 1U);
  EXPECT_EQ(this->answer("question"), std::nullopt);
}

TYPED_TEST(StoreTest, KeepsATransactionThatWasCommitted) {
  {
    Transaction transaction(this->store);
    this->insert("59.200.0.1");
    transaction.commit();
  }
  { Transaction transaction(this->store); }
  EXPECT_TRUE(this->store.has(veskOid("59.200.0.1")));
}

TYPED_TEST(StoreTest, TakesAnInnerTransactionForAPartOfTheOuter) {
  {
    Transaction outer(this->store);
    {
      Transaction inner(this->store);
      this->insert("59.200.0.1");
      inner.commit();
    }
  }
  EXPECT_FALSE(this->store.has(veskOid("59.200.0.1")));
  EXPECT_THAT(this->attributes("59.200.0.1"), ElementsAre("nothing"));
}

TYPED_TEST(StoreTest, KeepsTheLastAnswerToEachRequest) {
  this->store.keepAnswer("question", {std::uint16_t{65535}, 100, "first"});
  this->store.keepAnswer("question", {std::uint16_t{3}, 200, "second"});
  this->keepAnswer("later", 300, "");
  const auto kept = this->store.answer("question");
  ASSERT_TRUE(kept);
  EXPECT_EQ(kept->message, 3);
  EXPECT_EQ(kept->arrived, 200);
  EXPECT_EQ(kept->bytes, "second");
  EXPECT_EQ(this->answer("later"), "");
  EXPECT_EQ(this->answer("question, other end"), std::nullopt);
}

TYPED_TEST(StoreTest, ForgetsAnswersFromBeforeAndFromAfterATime) {
  this->keepAnswer("early", 99, "1");
  this->keepAnswer("first", 100, "2");
  this->keepAnswer("last", 200, "3");
  this->keepAnswer("late", 201, "4");
  this->store.forgetAnswers(100, 200);
  EXPECT_EQ(this->answer("early"), std::nullopt);
  EXPECT_EQ(this->answer("first"), "2");
  EXPECT_EQ(this->answer("last"), "3");
  EXPECT_EQ(this->answer("late"), std::nullopt);
}

}  // namespace
}  // namespace ostrel::tools::server
