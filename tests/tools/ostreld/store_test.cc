#include "store/store.h"

#include <fcntl.h>
#include <ostrel/objectdesc.h>
#include <ostrel/veskOmAttr.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "server_test.h"

namespace ostrel::tools::server {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

class StoreFile : public testing::Test {
 protected:
  StoreFile() {
    char folder[] = "/tmp/ostreld-store-XXXXXX";
    folder_ = mkdtemp(folder);
    path = folder_ + "/objects.db";
  }
  ~StoreFile() override { std::filesystem::remove_all(folder_); }

  static veskOid createIn(Store* store, const char* note) {
    veskOid classOid("59.200.0.0");
    veskOid oid;
    OwnedList attributes;
    OwnedList errors;
    veskAtAppendAttr(&attributes, "59.200.1", new veskString(note));
    EXPECT_EQ(store->create(Asker(), classOid, attributes, &oid, &errors), 0);
    return oid;
  }

  static std::vector<std::string> read(Store* store, veskOid oid) {
    OwnedList attributes;
    if (store->read(oid, &attributes) != 0) return {"nothing"};
    return texts(attributes);
  }

  std::string path;

 private:
  std::string folder_;
};

TEST_F(StoreFile, KeepsObjectsFromOneOpeningToTheNext) {
  veskOid oid;
  {
    Store store(path);
    oid = createIn(&store, "kept");
  }
  Store store(path);
  EXPECT_THAT(read(&store, oid), ElementsAre("59.200.1 = kept"));
}

TEST_F(StoreFile, NeverGivesAnIdentifierTwice) {
  veskOid first;
  {
    Store store(path);
    first = createIn(&store, "one");
    EXPECT_EQ(store.remove(Asker(), first), 0);
  }
  Store store(path);
  veskOid second = createIn(&store, "two");
  EXPECT_EQ(text(first), "59.200.0.1");
  EXPECT_EQ(text(second), "59.200.0.2");
}

TEST_F(StoreFile, NumbersEachClassByItself) {
  Store store(path);
  createIn(&store, "one");
  veskOid other("59.201.0.0");
  veskOid oid;
  OwnedList none;
  store.create(Asker(), other, none, &oid, &none);
  EXPECT_EQ(text(oid), "59.201.0.1");
}

TEST_F(StoreFile, LosesNothingWhenTheProcessIsKilled) {
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    Store store(path);
    createIn(&store, "answered");
    kill(getpid(), SIGKILL);
  }
  int status = 0;
  waitpid(child, &status, 0);
  ASSERT_TRUE(WIFSIGNALED(status));
  Store store(path);
  EXPECT_THAT(read(&store, veskOid("59.200.0.1")),
              ElementsAre("59.200.1 = answered"));
}

TEST_F(StoreFile, KeepsNothingOfATransactionThatWasNotCommitted) {
  Store store(path);
  {
    Transaction transaction(store.database());
    createIn(&store, "half done");
  }
  veskOid oid("59.200.0.1");
  EXPECT_EQ(store.verify(oid), 1);
  EXPECT_EQ(text(*std::make_unique<veskOid>(createIn(&store, "next"))),
            "59.200.0.1");
}

TEST_F(StoreFile, CommitsBeforeTheCallReturns) {
  Store store(path);
  EXPECT_EQ(store.database().number("PRAGMA synchronous"), 2);  // full
  Statement statement(store.database(), "PRAGMA journal_mode");
  Rows rows(statement);
  ASSERT_TRUE(rows.next());
  EXPECT_EQ(rows.bytes(0), "wal");
}

TEST_F(StoreFile, IsUsedByOneServerAtATime) {
  Store store(path);
  createIn(&store, "mine");
  try {
    Store second(path);
    FAIL() << "opened twice";
  } catch (const StoreError& error) {
    EXPECT_THAT(error.what(), HasSubstr("used by another server"));
  }
}

TEST_F(StoreFile, RefusesAFileOfALaterVersion) {
  {
    Store store(path);
    store.database().execute("PRAGMA user_version = 3");
  }
  EXPECT_THROW(Store store(path), StoreError);
}

TEST_F(StoreFile, RefusesAFileThatIsNoDatabase) {
  const int file = open(path.c_str(), O_CREAT | O_WRONLY, S_IRUSR | S_IWUSR);
  const std::string content(2000, 'x');
  ASSERT_EQ(write(file, content.data(), content.size()),
            static_cast<ssize_t>(content.size()));
  close(file);
  EXPECT_THROW(Store store(path), StoreError);
}

TEST_F(StoreFile, KeepsEveryClassOfValueAsItIs) {
  Store store(path);
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
  ASSERT_EQ(store.create(Asker(), classOid, attributes, &oid, &errors), 0);
  OwnedList held;
  ASSERT_EQ(store.read(oid, &held), 0);
  EXPECT_EQ(encoded(held), encoded(attributes));
}

// The check for leaks looks at all that lies inside values.
TEST_F(StoreFile, FreesWhatLiesInsideAValueThatWasRead) {
  Store store(path);
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
  ASSERT_EQ(store.create(Asker(), classOid, attributes, &oid, &errors), 0);
  description.actions.clear(1);
  request.clear();
  OwnedList held;
  ASSERT_EQ(store.read(oid, &held), 0);
  EXPECT_THAT(texts(held), SizeIs(2));
}

TEST_F(StoreFile, RemembersAnswersUntilTheyExpire) {
  {
    Store store(path);
    store.keepAnswer("question", "answer", 100);
    store.keepAnswer("later", "", 200);
  }
  Store store(path);
  EXPECT_EQ(store.answer("question", 100), "answer");
  EXPECT_EQ(store.answer("question", 101), std::nullopt);
  EXPECT_EQ(store.answer("question, other end", 100), std::nullopt);
  store.forgetAnswers(150);
  EXPECT_EQ(store.answer("question", 100), std::nullopt);
  EXPECT_EQ(store.answer("later", 150), "");
}

TEST_F(StoreFile, GivesBackTheRoomOfForgottenAnswers) {
  Store store(path);
  const std::string request(1 << 20, 'q');
  store.keepAnswer(request, "answer", 100);
  // It is there once.
  EXPECT_LT(store.database().number("PRAGMA page_count"), 300);
  store.forgetAnswers(150);
  store.shrink();
  EXPECT_LT(store.database().number("PRAGMA page_count"), 50);
}

TEST_F(StoreFile, RefusesADatabaseOfAnotherProgram) {
  {
    Database other(path);
    other.execute("CREATE TABLE theirs (a)");
  }
  try {
    Store store(path);
    FAIL() << "opened";
  } catch (const StoreError& error) {
    EXPECT_THAT(error.what(), HasSubstr(path));
    EXPECT_THAT(error.what(), HasSubstr("another program"));
  }
  Database other(path);
  EXPECT_EQ(other.number("SELECT count(*) FROM sqlite_master"), 1);
}

TEST_F(StoreFile, AcceptsAFileThatWasMadeBeforeThereWereMarks) {
  {
    Store store(path);
    createIn(&store, "old");
    store.database().execute(
        "DROP TABLE answer;"
        "CREATE TABLE answer (request BLOB PRIMARY KEY,"
        "  expires INTEGER NOT NULL, answer BLOB NOT NULL) WITHOUT ROWID;"
        "CREATE INDEX answer_expires ON answer (expires);"
        "INSERT INTO answer VALUES (x'71', 100, x'61');"
        "PRAGMA application_id = 0; PRAGMA user_version = 1");
  }
  Store store(path);
  EXPECT_EQ(store.answer("q", 100), "a");
  EXPECT_EQ(store.verify(*std::make_unique<veskOid>("59.200.0.1")), 0);
  EXPECT_NE(store.database().number("PRAGMA application_id"), 0);
}

}  // namespace
}  // namespace ostrel::tools::server
