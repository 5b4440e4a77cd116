// A search that goes by an index finds what one finds that looks at everything.

#include <cmath>
#include <string>

#include "objects/search.h"
#include "server_test.h"
#include "store/cached_store.h"
#include "store/sqlite_store.h"

namespace ostrel::tools::server {
namespace {

using testing::ElementsAreArray;

class OneManager : public Places {
 public:
  explicit OneManager(ObjectManager* manager) : manager_(manager) {}
  ObjectManager& managerOf(const veskOid&) override { return *manager_; }
  std::optional<veskOid> classAfter(veskOid&) override { return std::nullopt; }

 private:
  ObjectManager* manager_;
};

// Counts the objects that a search looks at, and knows no index when told.
class Counting : public StoredObjects {
 public:
  using StoredObjects::StoredObjects;

  int read(veskOid& oid, veskList* attributes) override {
    ++looked;
    return StoredObjects::read(oid, attributes);
  }
  bool scan(veskOid& classOid, veskOid& after, veskAid& id,
            const Each& each) override {
    return StoredObjects::scan(classOid, after, id,
                               [&](veskOid& oid, veskType* value) {
                                 ++looked;
                                 return each(oid, value);
                               });
  }
  std::optional<std::vector<veskOid>> candidates(veskOid& classOid,
                                                 veskAttribute& condition,
                                                 unsigned operation,
                                                 std::size_t most) override {
    if (!indexed) return std::nullopt;
    return StoredObjects::candidates(classOid, condition, operation, most);
  }

  int looked = 0;
  bool indexed = true;
};

class SearchPlan : public testing::Test {
 protected:
  void create(veskList* attributes) {
    veskOid classOid("59.200.0.0");
    veskOid oid;
    OwnedList errors;
    objects.create(Asker(), classOid, *attributes, &oid, &errors);
    Owned<veskList> done(attributes);
  }

  std::vector<std::string> search(veskList& conditions, bool indexed) {
    objects.looked = 0;
    objects.indexed = indexed;
    std::vector<std::string> found;
    Search search(&places, veskOid("59.200.0.0"), conditions,
                  [&](veskOid& oid) {
                    found.push_back(text(oid));
                    return true;
                  });
    while (search.step(Search::Time::max())) {
    }
    return found;
  }

  SqliteStore file{kInMemory};
  CachedStore store{&file, 100000};
  Counting objects{&store};
  OneManager places{&objects};
};

TEST_F(SearchPlan, LooksAtTheCandidatesOfTheRarestValue) {
  for (int i = 0; i < 1000; ++i) {
    create(with(with(newList(), "59.200.1", new veskInt(i % 2)), "59.200.2",
                new veskInt(i / 10)));
  }
  Owned<veskList> conditions(condition(
      condition(newList(), "59.200.1", new veskDouble(1), kOperatorEquals),
      "59.200.2", new veskUnsignedInt(7), kOperatorEquals));
  const auto found = search(*conditions, true);
  EXPECT_EQ(found.size(), 5U);
  EXPECT_EQ(objects.looked, 10);
  EXPECT_THAT(search(*conditions, false), ElementsAreArray(found));
  EXPECT_EQ(objects.looked, 1000);
}

TEST_F(SearchPlan, FindsTheSameWithAndWithoutAnIndex) {
  const auto values = [] {
    std::vector<veskType*> all;
    for (const double number : {-1.5, -0.0, 0.0, 1.0, 2.0, 1e300})
      all.push_back(new veskDouble(number));
    all.push_back(new veskDouble(std::nan("")));
    for (const int number : {-1, 0, 1, 2}) all.push_back(new veskInt(number));
    all.push_back(new veskBool(1));
    for (const std::string given : {"", "a", "ab", "b"}) {
      all.push_back(new veskString(given.c_str()));
      all.push_back(
          new veskOpaque(given.data(), static_cast<unsigned>(given.size())));
    }
    const std::string longText(100, 'a');
    all.push_back(new veskString(longText.c_str()));
    all.push_back(new veskString((longText + "b").c_str()));
    all.push_back(new veskOid("59.200.0.1"));
    all.push_back(new veskAid("59.200.1"));
    all.push_back(new veskAddress("10.0.0.1"));
    all.push_back(new veskAddress);
    all.push_back(new veskType);
    auto* list = newList();
    list->append(new veskInt(1));
    all.push_back(list);
    return all;
  };
  for (veskType* value : values()) create(with(newList(), "59.200.1", value));
  std::size_t found = 0;
  for (int code = kOperatorEquals; code <= kOperatorContains; ++code) {
    for (veskType* given : values()) {
      Owned<veskList> conditions(condition(newList(), "59.200.1", given, code));
      const auto without = search(*conditions, false);
      EXPECT_THAT(search(*conditions, true), ElementsAreArray(without));
      found += without.size();
    }
  }
  EXPECT_GT(found, 500U);
}

}  // namespace
}  // namespace ostrel::tools::server
