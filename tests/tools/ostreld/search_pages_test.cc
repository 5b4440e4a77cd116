// Searches that ask for a page of the results, or for objects in place of
// identifiers.

#include "net/outbox.h"
#include "requests/answer_bytes.h"
#include "requests/search_answer.h"
#include "server_test.h"

namespace ostrel::tools::server {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;
using namespace std::string_literals;

using Texts = std::vector<std::string>;

class SearchPages : public ServerTest {
 protected:
  // 59.200.0.1 and so on: each has its number as 59.200.1, and no other class
  // stands between 59.100 and 59.300.
  void make(unsigned count) {
    for (unsigned i = 1; i <= count; ++i)
      created("59.200",
              with(newList(), "59.200.1", new veskInt(static_cast<int>(i))));
  }
  static veskList* add(veskList* list, veskType* value, int operation) {
    veskAid none;
    list->append(new veskAttributeValueOp(&none, value, operation));
    delete value;
    return list;
  }
  static veskList* after(const char* oid, veskList* list = newList()) {
    return add(list, new veskOid(oid), kOperatorAfter);
  }
  static veskList* limit(unsigned count, veskList* list = newList()) {
    return add(list, new veskUnsignedInt(count), kOperatorLimit);
  }
  // All attributes, or one.
  static veskList* objects(veskList* list = newList(),
                           const char* name = nullptr) {
    auto* ids = new veskList;
    if (name != nullptr) ids->append(new veskAid(name));
    veskAid none;
    auto* condition = new veskAttributeValueOp(&none);
    condition->op.value = kOperatorAttributes;
    condition->value = ids;
    list->append(condition);
    return list;
  }
  Texts found(const std::string& where, veskList* list) {
    const auto answer = search(where, list);
    EXPECT_EQ(answer->status.value, 0);
    return texts(*answer->list);
  }
};

// The example of docs/wire-format.md.
TEST_F(SearchPages, AnswerWithTheDocumentedBytes) {
  created("59.200", newList());
  auto* two = with(newList(), "59.200.1", new veskInt(5));
  created("59.200", with(two, "59.200.2", new veskInt(9)));
  created("59.200", newList());
  created("59.200", newList());
  const std::string request =
      "\x21\x03\x00\x43\x01\x05\x0A\x00"
      "\x0A\x01\x01\x3B\x01\xC8\x00\x00"
      "\x80\x43\x01\x03"
      "\x18\x0B\x00\x01\x0A\x01\x01\x3B\x01\xC8\x00\x01\x01\x01\x10"
      "\x18\x0B\x00\x01\x43\x01\x02\x01\x11"
      "\x18\x0B\x00\x01\x80\x43\x01\x01\x0B\x01\x01\x3B\x01\xC8\x01\x01\x01\x12"
      "\x07\x01\x01"s;
  const auto pdu = decoded(request);
  auto* asked = dynamic_cast<veskSearchPDU*>(pdu.get());
  ASSERT_NE(asked, nullptr);
  EXPECT_EQ(encoded(*asked), request);
  const auto answer = router.answer(*kindOf(*asked), *asked, local());
  EXPECT_EQ(encoded(*answer),
            "\x29\x03\x00\x43\x01\x05\x0A\x00"
            "\x80\x43\x00"
            "\x80\x43\x01\x02"
            "\x19\x0A\x01\x01\x3B\x01\xC8\x00\x01\x02"
            "\x80\x43\x01\x01"
            "\x17\x0B\x01\x01\x3B\x01\xC8\x01\x01\x01\x03\x01\x05"
            "\x19\x0A\x01\x01\x3B\x01\xC8\x00\x01\x03"
            "\x80\x43\x00"s);
}

TEST_F(SearchPages, BeginBehindAnObjectWhetherOrNotItIsThere) {
  make(4);
  EXPECT_THAT(found("59.200", after("59.200.0.2")),
              ElementsAre("59.200.0.3", "59.200.0.4"));
  remove("59.200.0.2");
  EXPECT_THAT(found("59.200", after("59.200.0.2")),
              ElementsAre("59.200.0.3", "59.200.0.4"));
  EXPECT_THAT(found("59.200", after("59.200.0.4")), IsEmpty());
}

TEST_F(SearchPages, OfAClassKnowPlacesOutsideIt) {
  make(1);
  for (const char* before : {"0.0.0.0", "59.100.0.7", "59.200.0.0"})
    EXPECT_THAT(found("59.200", after(before)), SizeIs(1)) << before;
  for (const char* behind : {"59.201.0.0", "60.0.0.0", "59.200.1.0"})
    EXPECT_THAT(found("59.200", after(behind)), IsEmpty()) << behind;
}

TEST_F(SearchPages, OfOneObjectHaveItWhenItIsBehindThePlace) {
  make(2);
  EXPECT_THAT(found("59.200.0.2", after("59.200.0.1")),
              ElementsAre("59.200.0.2"));
  EXPECT_THAT(found("59.200.0.2", after("59.200.0.2")), IsEmpty());
}

TEST_F(SearchPages, OfEverythingGoOverAllClasses) {
  make(2);
  created("59.100", newList());
  created("59.300", newList());
  Texts all;
  veskOid last("0.0.0.0");
  for (;;) {
    const auto answer = search("0.0.0.0", limit(1, after(text(last).c_str())));
    const Texts page = texts(*answer->list);
    if (page.empty()) break;
    ASSERT_THAT(page, SizeIs(1));
    all.push_back(page[0]);
    last = *dynamic_cast<veskOid*>(answer->list->at<veskType>(0));
  }
  EXPECT_THAT(
      all, ElementsAre("59.100.0.1", "59.200.0.1", "59.200.0.2", "59.300.0.1"));
  EXPECT_EQ(all, found("0.0.0.0", newList()));
  EXPECT_THAT(found("0.0.0.0", after("59.150.0.9")), SizeIs(3));
}

TEST_F(SearchPages, HaveAtMostAsManyResultsAsAsked) {
  make(3);
  EXPECT_THAT(found("59.200", limit(2)), SizeIs(2));
  EXPECT_THAT(found("59.200", limit(4)), SizeIs(3));
  EXPECT_THAT(found("59.200", limit(0)), IsEmpty());
  EXPECT_THAT(found("59.200", add(newList(), new veskInt(1), kOperatorLimit)),
              SizeIs(1));
  EXPECT_THAT(found("59.200", limit(4294967295U)), SizeIs(3));
}

TEST_F(SearchPages, JoinConditions) {
  make(9);
  const auto page = [&](const char* name, int value, int operation) {
    auto* list = limit(2, after("59.200.0.3"));
    return found("59.200",
                 condition(list, name, new veskInt(value), operation));
  };
  EXPECT_THAT(page("59.200.1", 5, kOperatorGreater),
              ElementsAre("59.200.0.6", "59.200.0.7"));
  EXPECT_THAT(page("59.200.1", 2, kOperatorGreaterOrEqual),
              ElementsAre("59.200.0.4", "59.200.0.5"));
  EXPECT_THAT(page("59.200.1", 3, kOperatorEquals), IsEmpty());
  EXPECT_THAT(page("59.200.1", 4, kOperatorEquals), ElementsAre("59.200.0.4"));
}

TEST_F(SearchPages, LeaveOutAttributesThatAnObjectDoesNotHave) {
  make(1);
  created("59.200", with(newList(), "59.200.2", new veskInt(7)));
  EXPECT_THAT(found("59.200", objects(newList(), "59.200.1")),
              ElementsAre("59.200.0.1 : 59.200.1 = 1", "59.200.0.2 : "));
  EXPECT_THAT(
      found("59.200", objects()),
      ElementsAre("59.200.0.1 : 59.200.1 = 1", "59.200.0.2 : 59.200.2 = 7"));
}

TEST_F(SearchPages, GiveAnAttributeOnceHoweverOftenItIsAskedFor) {
  make(1);
  auto* list = objects(newList(), "59.200.1");
  auto* condition = dynamic_cast<veskAttribute*>(list->at<veskType>(0));
  dynamic_cast<veskList&>(*condition->value).append(new veskAid("59.200.1"));
  EXPECT_THAT(found("59.200", list), ElementsAre("59.200.0.1 : 59.200.1 = 1"));
}

TEST_F(SearchPages, NameWhatIsWrongWithThem) {
  make(1);
  const auto errors = [&](veskList* list) {
    const auto answer = search("59.200", list);
    EXPECT_EQ(answer->status.value, kArgListError);
    EXPECT_EQ(answer->list->count, 0U);
    return errorsIn(*answer->errors);
  };
  for (const int operation : {16, 17, 18})
    EXPECT_THAT(errors(add(newList(), new veskString("1"), operation)),
                ElementsAre(Pair(0, kBadValue)));
  EXPECT_THAT(errors(add(newList(), new veskInt(-1), kOperatorLimit)),
              ElementsAre(Pair(0, kBadValue)));
  EXPECT_THAT(errors(add(newList(), new veskDouble(1), kOperatorLimit)),
              ElementsAre(Pair(0, kBadValue)));
  EXPECT_THAT(errors(add(newList(), new veskOid, kOperatorAfter)),
              ElementsAre(Pair(0, kBadValue)));
  EXPECT_THAT(errors(limit(2, limit(1))), ElementsAre(Pair(1, kBadValue)));
  EXPECT_THAT(errors(condition(limit(1), "59.200.1", new veskInt(1), 17)),
              ElementsAre(Pair(1, kAidFormat)));
  EXPECT_THAT(errors(add(newList(), new veskInt(1), 19)),
              ElementsAre(Pair(0, kAidFormat)));
  auto* many = objects();
  auto* condition = dynamic_cast<veskAttribute*>(many->at<veskType>(0));
  auto& ids = dynamic_cast<veskList&>(*condition->value);
  for (std::size_t i = 0; i <= kMostPageAttributes; ++i)
    ids.append(new veskAid("59.200.1"));
  EXPECT_THAT(errors(many), ElementsAre(Pair(0, kBadValue)));
}

// What a client does that reads everything.
TEST_F(SearchPages, EndBeforeTheirAnswerWouldBePacedAndLoseNothing) {
  const std::string value(900, 'x');
  for (unsigned i = 0; i < 100; ++i)
    created("59.200",
            with(newList(), "59.200.1", new veskString(value.c_str())));
  std::string last = "0.0.0.0";
  Texts all;
  unsigned pages = 0;
  for (;; ++pages) {
    const auto answer = search("59.200", objects(after(last.c_str())));
    if (answer->list->count == 0) break;
    EXPECT_LE(encoded(*answer)->size(), Outbox::kQuickMessage);
    for (unsigned i = 0; i < answer->list->count; ++i)
      all.push_back(last = text(answer->list->at<veskObject>(i)->oid));
  }
  EXPECT_EQ(pages, 4U);
  EXPECT_EQ(all, found("59.200", newList()));
}

TEST_F(SearchPages, HaveALongObjectAlone) {
  make(1);
  const std::string value(Outbox::kQuickMessage, 'x');
  created("59.200", with(newList(), "59.200.1", new veskString(value.c_str())));
  make(1);
  EXPECT_THAT(found("59.200", objects()), SizeIs(1));
  EXPECT_THAT(found("59.200", objects(after("59.200.0.1"))), SizeIs(1));
  EXPECT_THAT(found("59.200", objects(after("59.200.0.2"))), SizeIs(1));
}

// A search with an answer of a bounded length.
class BoundedPages : public SearchPages {
 protected:
  Owned<veskSearchRespPDU> ask(veskList* list, std::size_t longest) {
    veskOid where("59.200");
    const auto request = make<veskSearchPDU>(where, list, 1U);
    auto answer = Owned<veskSearchRespPDU>(new veskSearchRespPDU);
    SearchAnswer bytes(&router, answer.get(), longest);
    const auto search = router.begin(
        *request, answer.get(), [&](veskOid& oid) { return bytes.add(oid); });
    bytes.begin(&search->page());
    while (search->step(Search::Time::max())) {
    }
    Owned<veskType> whole = decoded(bytes.finish());
    return takeAs<veskSearchRespPDU>(whole);
  }
  template <class Value, class... Arguments>
  static Owned<Value> make(Arguments&&... arguments) {
    return tools::make<Value>(std::forward<Arguments>(arguments)...);
  }
  using SearchPages::make;
};

TEST_F(BoundedPages, NameAnObjectThatNoAnswerHolds) {
  make(1);
  const std::string value(1000, 'x');
  created("59.200", with(newList(), "59.200.1", new veskString(value.c_str())));
  make(1);
  EXPECT_THAT(texts(*ask(objects(), 200)->list),
              ElementsAre("59.200.0.1 : 59.200.1 = 1", "59.200.0.2",
                          "59.200.0.3 : 59.200.1 = 1"));
}

TEST_F(BoundedPages, AnAnswerMayHaveTheLastByteOfItsBound) {
  make(2);
  // 7 bytes of header, 3 of errors, 4 of the list, 9 for each object.
  EXPECT_THAT(texts(*ask(newList(), 32)->list), SizeIs(2));
  EXPECT_EQ(ask(newList(), 31), nullptr);
  EXPECT_THAT(texts(*ask(after("0.0.0.0"), 32)->list), SizeIs(2));
  EXPECT_THAT(texts(*ask(after("0.0.0.0"), 31)->list), SizeIs(1));
}

}  // namespace
}  // namespace ostrel::tools::server
