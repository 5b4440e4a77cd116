#include "store/maintenance.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "store/sqlite_store.h"

namespace ostrel::tools::server {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

class MaintenanceTest : public testing::Test {
 protected:
  MaintenanceTest() {
    char folder[] = "/tmp/ostreld-store-XXXXXX";
    folder_ = mkdtemp(folder);
    path = folder_ + "/objects.db";
    copy = folder_ + "/copy.db";
    store.emplace(path);
    store->insert(lamp);
    store->write(lamp, state, std::string("\x03\x01\x05", 3));
  }
  ~MaintenanceTest() override {
    store.reset();
    std::filesystem::remove_all(folder_);
  }

  const veskOid lamp{"59.200.0.1"};
  const veskAid state{"59.200.1"};
  std::string path;
  std::string copy;
  std::optional<SqliteStore> store;

 private:
  std::string folder_;
};

TEST_F(MaintenanceTest, FindsNothingInAStoreThatIsWhole) {
  EXPECT_THAT(checkStore(path), IsEmpty());
}

TEST_F(MaintenanceTest, FindsBytesThatAreNoValue) {
  store->write(lamp, state, std::string("\x03\x05\x05", 3));
  EXPECT_THAT(checkStore(path),
              ElementsAre("attribute 0000003b000000c800000001 of object"
                          " 0000003b000000c80000000000000001 has no value"));
}

TEST_F(MaintenanceTest, FindsAttributesWithoutAnObject) {
  store->database().execute("DELETE FROM object");
  EXPECT_THAT(checkStore(path), ElementsAre(HasSubstr("belongs to no object")));
}

TEST_F(MaintenanceTest, TellsTheFirstHundred) {
  for (int i = 2; i < 200; ++i) {
    store->write(lamp, veskAid(("59.200." + std::to_string(i)).c_str()), "");
  }
  EXPECT_THAT(checkStore(path), SizeIs(100));
}

TEST_F(MaintenanceTest, ReadsNoFileThatIsNone) {
  EXPECT_THROW(checkStore(copy), StoreError);
  EXPECT_FALSE(std::filesystem::exists(copy));
  {
    Database other(copy);
    other.execute("CREATE TABLE theirs (a)");
  }
  EXPECT_THROW(checkStore(copy), StoreError);
  EXPECT_THROW(backupStore(copy, path + ".copy"), StoreError);
  EXPECT_FALSE(std::filesystem::exists(path + ".copy"));
}

TEST_F(MaintenanceTest, CopiesWhatIsCommittedWhileAServerChangesTheStore) {
  Transaction transaction(*store);
  store->remove(lamp);
  backupStore(path, copy);
  transaction.commit();
  EXPECT_FALSE(store->has(lamp));
  SqliteStore other(copy);
  EXPECT_TRUE(other.has(lamp));
  EXPECT_EQ(other.read(lamp)->value(0), "\x03\x01\x05");
}

TEST_F(MaintenanceTest, OverwritesNothing) {
  EXPECT_THROW(backupStore(path, path), StoreError);
  EXPECT_TRUE(store->has(lamp));
}

TEST_F(MaintenanceTest, ACopyIsForItsOwnerAlone) {
  backupStore(path, copy);
  using Perms = std::filesystem::perms;
  const auto mode = std::filesystem::status(copy).permissions();
  EXPECT_EQ(mode & (Perms::group_all | Perms::others_all), Perms::none);
}

TEST_F(MaintenanceTest, LeavesNoCopyWhereItCannotBeWritten) {
  EXPECT_THROW(backupStore(path, path + ".no/copy.db"), StoreError);
}

}  // namespace
}  // namespace ostrel::tools::server
