#include "store/sqlite_store.h"

#include <fcntl.h>
#include <ostrel/objectdesc.h>
#include <ostrel/veskOmAttr.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "server_test.h"

namespace ostrel::tools::server {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

// A file, and the objects in it.
struct Opened {
  explicit Opened(const std::string& path, const Unindexed& unindexed = {})
      : file(path, SqliteStore::Check::kPages, unindexed) {}

  SqliteStore file;
  StoredObjects objects{&file};
};

class StoreFile : public testing::Test {
 protected:
  StoreFile() {
    char folder[] = "/tmp/ostreld-store-XXXXXX";
    folder_ = mkdtemp(folder);
    path = folder_ + "/objects.db";
  }
  ~StoreFile() override { std::filesystem::remove_all(folder_); }

  static veskOid createIn(Opened* store, const char* note) {
    veskOid classOid("59.200.0.0");
    veskOid oid;
    OwnedList attributes;
    OwnedList errors;
    veskAtAppendAttr(&attributes, "59.200.1", new veskString(note));
    EXPECT_EQ(
        store->objects.create(Asker(), classOid, attributes, &oid, &errors), 0);
    return oid;
  }

  static std::vector<std::string> read(Opened* store, veskOid oid) {
    OwnedList attributes;
    if (store->objects.read(oid, &attributes) != 0) return {"nothing"};
    return texts(attributes);
  }

  std::string path;

 private:
  std::string folder_;
};

TEST_F(StoreFile, KeepsObjectsFromOneOpeningToTheNext) {
  veskOid oid;
  {
    Opened store(path);
    oid = createIn(&store, "kept");
  }
  Opened store(path);
  EXPECT_THAT(read(&store, oid), ElementsAre("59.200.1 = kept"));
}

TEST_F(StoreFile, NeverGivesAnIdentifierTwice) {
  veskOid first;
  {
    Opened store(path);
    first = createIn(&store, "one");
    EXPECT_EQ(store.objects.remove(Asker(), first), 0);
  }
  Opened store(path);
  veskOid second = createIn(&store, "two");
  EXPECT_EQ(text(first), "59.200.0.1");
  EXPECT_EQ(text(second), "59.200.0.2");
}

TEST_F(StoreFile, NumbersEachClassByItself) {
  Opened store(path);
  createIn(&store, "one");
  veskOid other("59.201.0.0");
  veskOid oid;
  OwnedList none;
  store.objects.create(Asker(), other, none, &oid, &none);
  EXPECT_EQ(text(oid), "59.201.0.1");
}

TEST_F(StoreFile, LosesNothingWhenTheProcessIsKilled) {
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    Opened store(path);
    createIn(&store, "answered");
    kill(getpid(), SIGKILL);
  }
  int status = 0;
  waitpid(child, &status, 0);
  ASSERT_TRUE(WIFSIGNALED(status));
  Opened store(path);
  EXPECT_THAT(read(&store, veskOid("59.200.0.1")),
              ElementsAre("59.200.1 = answered"));
}

TEST_F(StoreFile, KeepsNothingOfATransactionThatWasNotCommitted) {
  Opened store(path);
  {
    Transaction transaction(store.file);
    createIn(&store, "half done");
  }
  veskOid oid("59.200.0.1");
  EXPECT_EQ(store.objects.verify(oid), 1);
  EXPECT_EQ(text(*std::make_unique<veskOid>(createIn(&store, "next"))),
            "59.200.0.1");
}

TEST_F(StoreFile, CommitsBeforeTheCallReturns) {
  Opened store(path);
  EXPECT_EQ(store.file.database().number("PRAGMA synchronous"), 2);  // full
  Statement statement(store.file.database(), "PRAGMA journal_mode");
  Rows rows(statement);
  ASSERT_TRUE(rows.next());
  EXPECT_EQ(rows.bytes(0), "wal");
}

TEST_F(StoreFile, IsUsedByOneServerAtATime) {
  Opened store(path);
  createIn(&store, "mine");
  try {
    Opened second(path);
    FAIL() << "opened twice";
  } catch (const StoreError& error) {
    EXPECT_THAT(error.what(), HasSubstr("used by another server"));
  }
}

TEST_F(StoreFile, RefusesAFileOfALaterVersion) {
  {
    Opened store(path);
    store.file.database().execute("PRAGMA user_version = 1000");
  }
  EXPECT_THROW(Opened store(path), StoreError);
}

TEST_F(StoreFile, RefusesAFileThatIsNoDatabase) {
  const int file = open(path.c_str(), O_CREAT | O_WRONLY, S_IRUSR | S_IWUSR);
  const std::string content(2000, 'x');
  ASSERT_EQ(write(file, content.data(), content.size()),
            static_cast<ssize_t>(content.size()));
  close(file);
  EXPECT_THROW(Opened store(path), StoreError);
}

TEST_F(StoreFile, KeepsEveryClassOfValueAsItIs) {
  Opened store(path);
  OwnedList values;
  values.append(new veskChar('x'));
  values.append(new veskDouble(2.5));
  values.append(new veskBool(7));
  values.append(new veskOpaque("\0\1", 2));
  values.append(new veskString());
  values.append(new veskAddress("10.1.2.3"));
  values.append(new veskOid());
  values.append(new veskTime(99));
  values.append(new veskType);
  OwnedList attributes;
  veskAppendAttr(&attributes, "59.200.7", &values);
  veskOid classOid("59.200.0.0");
  veskOid oid;
  OwnedList errors;
  ASSERT_EQ(store.objects.create(Asker(), classOid, attributes, &oid, &errors),
            0);
  OwnedList held;
  ASSERT_EQ(store.objects.read(oid, &held), 0);
  EXPECT_EQ(encoded(held), encoded(attributes));
}

// The check for leaks looks at all that lies inside values.
TEST_F(StoreFile, FreesWhatLiesInsideAValueThatWasRead) {
  Opened store(path);
  veskOid oid("59.200.0.9");
  veskGetPDU request(oid, with(newList(), "59.200.1", new veskInt(1)));
  veskObjectDesc description;
  veskAid action("59.200.1");
  veskList none;
  description.actions.append(new veskActionDesc("on", action, none));
  OwnedList attributes;
  veskAppendOmAttr("59.200.1", &request, &attributes);
  veskAppendOmAttr("59.200.2", &description, &attributes);
  veskOid classOid("59.200.0.0");
  OwnedList errors;
  ASSERT_EQ(store.objects.create(Asker(), classOid, attributes, &oid, &errors),
            0);
  description.actions.clear(1);
  request.clear();
  OwnedList held;
  ASSERT_EQ(store.objects.read(oid, &held), 0);
  EXPECT_THAT(texts(held), SizeIs(2));
}

TEST_F(StoreFile, KeepsAnswersFromOneOpeningToTheNext) {
  {
    Opened store(path);
    store.file.keepAnswer("question", {std::uint16_t{7}, 100, "answer"});
  }
  Opened store(path);
  const auto kept = store.file.answer("question");
  ASSERT_TRUE(kept);
  EXPECT_EQ(kept->message, 7);
  EXPECT_EQ(kept->arrived, 100);
  EXPECT_EQ(kept->bytes, "answer");
}

TEST_F(StoreFile, GivesBackTheRoomOfForgottenAnswers) {
  Opened store(path);
  const std::string request(1 << 20, 'q');
  store.file.keepAnswer(request, {std::uint16_t{0}, 100, "answer"});
  // It is there once.
  EXPECT_LT(store.file.database().number("PRAGMA page_count"), 300);
  store.file.forgetAnswers(150, 200);
  store.file.shrink();
  EXPECT_LT(store.file.database().number("PRAGMA page_count"), 50);
}

TEST_F(StoreFile, RefusesADatabaseOfAnotherProgram) {
  {
    Database other(path);
    other.execute("CREATE TABLE theirs (a)");
  }
  try {
    Opened store(path);
    FAIL() << "opened";
  } catch (const StoreError& error) {
    EXPECT_THAT(error.what(), HasSubstr(path));
    EXPECT_THAT(error.what(), HasSubstr("another program"));
  }
  Database other(path);
  EXPECT_EQ(other.number("SELECT count(*) FROM sqlite_master"), 1);
}

// What the tables of answers were in files of the versions 1 and 2.
constexpr const char* kFirstAnswers =
    "DROP TABLE answer; DROP TABLE answer_key;"
    "CREATE TABLE answer (request BLOB PRIMARY KEY,"
    "  expires INTEGER NOT NULL, answer BLOB NOT NULL) WITHOUT ROWID;"
    "CREATE INDEX answer_expires ON answer (expires);"
    "INSERT INTO answer VALUES (x'71', 161, x'61');"
    "PRAGMA application_id = 0; PRAGMA user_version = 1";
constexpr const char* kSecondAnswers =
    "DROP TABLE answer; DROP TABLE answer_key;"
    "CREATE TABLE answer (request BLOB NOT NULL, expires INTEGER NOT NULL,"
    "  answer BLOB NOT NULL);"
    "CREATE INDEX answer_request ON answer (substr(request, 1, 32));"
    "CREATE INDEX answer_expires ON answer (expires);"
    "INSERT INTO answer VALUES (x'71', 161, x'61');"
    "PRAGMA user_version = 2";

// The third version had no index, and values as they arrived: here "abc" whose
// length has a tag that no class has.
constexpr const char* kThirdAttributes =
    "DROP INDEX attribute_key; ALTER TABLE attribute DROP COLUMN key;"
    "DROP TABLE unindexed;"
    "INSERT INTO attribute SELECT oid, x'0000003B000000C800000002',"
    "  x'098F0103616263' FROM object WHERE true ON CONFLICT DO NOTHING;"
    "PRAGMA user_version = 3";

TEST_F(StoreFile, IndexesAndCorrectsWhatFormerVersionsKept) {
  {
    Opened store(path);
    createIn(&store, "old");
    store.file.database().execute(kThirdAttributes);
  }
  Opened store(path);
  EXPECT_EQ(store.file.read(veskOid("59.200.0.1"))->value(1),
            "\x09\x43\x01\x03\x61\x62\x63");
  veskString abc("abc");
  const auto found =
      store.file.candidates(veskOid("59.200"), veskAid("59.200.2"),
                            *keysFor(kOperatorEquals, abc), 10);
  ASSERT_TRUE(found);
  EXPECT_EQ(found->size(), 1U);
}

// How many objects an index knows that have a note; -1 when none knows.
int indexed(Opened* store, const char* note) {
  veskString text(note);
  const auto found =
      store->file.candidates(veskOid("59.200"), veskAid("59.200.1"),
                             *keysFor(kOperatorEquals, text), 10);
  return found ? static_cast<int>(found->size()) : -1;
}

TEST_F(StoreFile, LeavesOutOfTheIndexWhatItIsTold) {
  for (const char* left : {"59.200.0.0", "59.200.1"}) {
    Unindexed unindexed;
    unindexed.add(left);
    {
      Opened store(path);
      createIn(&store, left);
      EXPECT_EQ(indexed(&store, left), 1);
    }
    {
      Opened store(path, unindexed);
      EXPECT_EQ(indexed(&store, left), -1);
      createIn(&store, left);
      EXPECT_EQ(store.file.database().number(
                    "SELECT count(*) FROM attribute WHERE key IS NOT NULL"),
                0);
    }
    // What was written meanwhile is found when it is indexed again.
    Opened store(path);
    EXPECT_EQ(indexed(&store, left), 2);
  }
}

TEST_F(StoreFile, KnowsWhatCanBeLeftOut) {
  Unindexed unindexed;
  for (const char* text : {"59.200.0.1", "59", "lamp", ""})
    EXPECT_THROW(unindexed.add(text), std::invalid_argument) << text;
}

TEST_F(StoreFile, AcceptsFilesOfFormerVersions) {
  for (const char* former : {kFirstAnswers, kSecondAnswers}) {
    {
      Opened store(path);
      createIn(&store, "old");
      store.file.database().execute(kThirdAttributes);
      store.file.database().execute(former);
    }
    Opened store(path);
    const auto kept = store.file.answer("q");
    ASSERT_TRUE(kept);
    EXPECT_EQ(kept->message, std::nullopt);
    EXPECT_EQ(kept->arrived, 100000);
    EXPECT_EQ(kept->bytes, "a");
    EXPECT_EQ(store.objects.verify(*std::make_unique<veskOid>("59.200.0.1")),
              0);
    EXPECT_NE(store.file.database().number("PRAGMA application_id"), 0);
  }
}

}  // namespace
}  // namespace ostrel::tools::server
