#include "requests/request_router.h"

#include "server_test.h"

namespace ostrel::tools::server {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

class RequestRouterTest : public ServerTest {
 protected:
  std::string note(const char* value) {
    return created("59.200.0.0",
                   with(newList(), "59.200.1", new veskString(value)));
  }
};

TEST_F(RequestRouterTest, CreateGivesANewIdentifierInTheClass) {
  EXPECT_EQ(note("a"), "59.200.0.1");
  EXPECT_EQ(note("b"), "59.200.0.2");
  EXPECT_EQ(remove("59.200.0.2"), 0);
  EXPECT_EQ(note("c"), "59.200.0.3");
}

TEST_F(RequestRouterTest, CreateWantsAClass) {
  EXPECT_EQ(create("59.200.0.1", newList())->status.value, kOidFormat);
  EXPECT_EQ(create("0.0.0.0", newList())->status.value, kOidFormat);
  EXPECT_EQ(create("nonsense", newList())->status.value, kOidFormat);
}

TEST_F(RequestRouterTest, CreateMakesNothingWhenAnAttributeIsBad) {
  auto* list = with(newList(), "59.200.1", new veskInt(1));
  with<veskType>(list, "59.200.2", nullptr);
  with(list, "nonsense", new veskInt(3));
  list->append(new veskInt(4));
  const auto answer = create("59.200.0.0", list);
  EXPECT_EQ(answer->status.value, kArgListError);
  EXPECT_THAT(errorsIn(*answer->errors),
              ElementsAre(Pair(1, kBadValue), Pair(2, kAidFormat),
                          Pair(3, kAidFormat)));
  EXPECT_THAT(texts(*search("59.200", newList())->list), IsEmpty());
}

TEST_F(RequestRouterTest, GetAnswersInTheOrderOfTheRequest) {
  auto* list = with(newList(), "59.200.1", new veskString("a"));
  with(list, "59.200.2", new veskInt(2));
  const std::string oid = created("59.200.0.0", list);
  const auto answer = get(oid, {"59.200.2", "59.200.1", "59.200.2"});
  EXPECT_EQ(answer->status.value, 0);
  EXPECT_THAT(texts(*answer->list),
              ElementsAre("59.200.2 = 2", "59.200.1 = a", "59.200.2 = 2"));
  EXPECT_THAT(texts(*answer->errors), IsEmpty());
}

TEST_F(RequestRouterTest, GetOfAnEmptyListGivesAllAttributesInOrder) {
  auto* list = with(newList(), "59.200.10", new veskInt(10));
  with(list, "59.200.9", new veskInt(9));
  EXPECT_THAT(texts(*get(created("59.200.0.0", list))->list),
              ElementsAre("59.200.9 = 9", "59.200.10 = 10"));
}

TEST_F(RequestRouterTest, GetNamesWhatIsMissing) {
  const auto answer = get(note("a"), {"59.200.3", "59.200.1", "nonsense"});
  EXPECT_EQ(answer->status.value, kArgListError);
  EXPECT_THAT(texts(*answer->list),
              ElementsAre("59.200.3 = ", "59.200.1 = a", "Invalid = "));
  EXPECT_EQ(answer->list->at<veskAttribute>(0)->value, nullptr);
  EXPECT_THAT(errorsIn(*answer->errors),
              ElementsAre(Pair(0, kNoSuchName), Pair(2, kAidFormat)));
}

// The address checks look for what is left of them.
TEST_F(RequestRouterTest, StoredValuesThatHoldOthersAreFreedWhole) {
  auto* inside = newList();
  inside->append(new veskError(1, 5));
  auto* list = with(newList(), "59.200.1", new veskSetRespPDU(0, inside));
  const std::string oid = created("59.200.0.0", list);
  const std::string text =
      "59.200.1 = 0 : 0 : Invalid : index 1 : "
      "5(Permission Denied)";
  EXPECT_THAT(texts(*get(oid)->list), ElementsAre(text));
  EXPECT_THAT(texts(*get(oid, {"59.200.1"})->list), ElementsAre(text));
  EXPECT_EQ(verify(oid), 0);
  EXPECT_EQ(texts(*search("59.200", newList())->list).size(), 1u);
}

TEST_F(RequestRouterTest, WhatIsNotThereIsNoSuchName) {
  EXPECT_EQ(get("59.200.0.7")->status.value, kNoSuchName);
  EXPECT_EQ(set("59.200.0.7", newList())->status.value, kNoSuchName);
  EXPECT_EQ(remove("59.200.0.7"), kNoSuchName);
  EXPECT_EQ(verify("59.200.0.7"), kNoSuchName);
  veskOid oid("59.200.0.7");
  EXPECT_EQ(
      ask<veskCloneRespPDU>(make<veskClonePDU>(oid, newList()))->status.value,
      kNoSuchName);
}

TEST_F(RequestRouterTest, AnIdentifierThatIsInvalidIsOidFormat) {
  EXPECT_EQ(get("nonsense")->status.value, kOidFormat);
  EXPECT_EQ(set("nonsense", newList())->status.value, kOidFormat);
  EXPECT_EQ(remove("nonsense"), kOidFormat);
  EXPECT_EQ(verify("nonsense"), kOidFormat);
  EXPECT_EQ(search("nonsense", newList())->status.value, kOidFormat);
}

TEST_F(RequestRouterTest, SetWritesWhatItCanAndNamesTheRest) {
  const std::string oid = note("a");
  auto* list = with(newList(), "59.200.1", new veskString("b"));
  with<veskType>(list, "59.200.2", nullptr);
  const auto answer = set(oid, list);
  EXPECT_EQ(answer->status.value, kArgListError);
  EXPECT_THAT(errorsIn(*answer->errors), ElementsAre(Pair(1, kBadValue)));
  EXPECT_THAT(texts(*get(oid)->list), ElementsAre("59.200.1 = b"));
}

TEST_F(RequestRouterTest, RemoveAndVerifyAgree) {
  const std::string oid = note("a");
  EXPECT_EQ(verify(oid), 0);
  EXPECT_EQ(remove(oid), 0);
  EXPECT_EQ(verify(oid), kNoSuchName);
  EXPECT_EQ(get(oid)->status.value, kNoSuchName);
}

TEST_F(RequestRouterTest, CloneCopiesAndOverrides) {
  auto* list = with(newList(), "59.200.1", new veskString("a"));
  with(list, "59.200.2", new veskInt(2));
  veskOid source(created("59.200.0.0", list).c_str());
  auto* changes = with(newList(), "59.200.2", new veskInt(3));
  const auto answer =
      ask<veskCloneRespPDU>(make<veskClonePDU>(source, changes));
  EXPECT_EQ(answer->status.value, 0);
  EXPECT_EQ(text(answer->oid), "59.200.0.2");
  EXPECT_THAT(texts(*get("59.200.0.2")->list),
              ElementsAre("59.200.1 = a", "59.200.2 = 3"));
  EXPECT_THAT(texts(*get("59.200.0.1")->list),
              ElementsAre("59.200.1 = a", "59.200.2 = 2"));
}

TEST_F(RequestRouterTest, SearchFindsByEachOperation) {
  for (int i = 1; i <= 3; ++i)
    created("59.200.0.0", with(newList(), "59.200.2", new veskInt(i)));
  note("hello");
  const auto found = [&](veskType* value, int op) {
    return texts(
        *search("59.200", condition(newList(), "59.200.2", value, op))->list);
  };
  EXPECT_THAT(found(new veskInt(2), 1), ElementsAre("59.200.0.2"));
  EXPECT_THAT(found(new veskInt(2), 2),
              ElementsAre("59.200.0.1", "59.200.0.3"));
  EXPECT_THAT(found(new veskInt(2), 3), ElementsAre("59.200.0.1"));
  EXPECT_THAT(found(new veskInt(2), 4),
              ElementsAre("59.200.0.1", "59.200.0.2"));
  EXPECT_THAT(found(new veskInt(2), 5), ElementsAre("59.200.0.3"));
  EXPECT_THAT(found(new veskInt(2), 6),
              ElementsAre("59.200.0.2", "59.200.0.3"));
  EXPECT_THAT(found(nullptr, 7),
              ElementsAre("59.200.0.1", "59.200.0.2", "59.200.0.3"));
  EXPECT_THAT(texts(*search("59.200", condition(newList(), "59.200.1",
                                                new veskString("ell"), 8))
                         ->list),
              ElementsAre("59.200.0.4"));
}

TEST_F(RequestRouterTest, SearchJoinsConditionsByAnd) {
  auto* list = with(newList(), "59.200.1", new veskString("a"));
  created("59.200.0.0", with(list, "59.200.2", new veskInt(1)));
  note("a");
  auto* both = condition(newList(), "59.200.1", new veskString("a"), 1);
  condition(both, "59.200.2", new veskInt(0), 5);
  EXPECT_THAT(texts(*search("59.200", both)->list), ElementsAre("59.200.0.1"));
}

TEST_F(RequestRouterTest, SearchFindsNothingWithAConditionThatItDoesNotKnow) {
  note("a");
  auto* list = condition(newList(), "59.200.1", new veskString("a"), 99);
  condition(list, "59.200.1", nullptr, 1);
  list->append(new veskInt(1));
  const auto answer = search("59.200", list);
  EXPECT_EQ(answer->status.value, kArgListError);
  EXPECT_THAT(
      errorsIn(*answer->errors),
      ElementsAre(Pair(0, kBadValue), Pair(1, kBadValue), Pair(2, kAidFormat)));
  EXPECT_THAT(texts(*answer->list), IsEmpty());
}

TEST_F(RequestRouterTest, SearchHasABoundedNumberOfConditions) {
  auto* list = newList();
  for (int i = 0; i <= 64; ++i) condition(list, "59.200.1", nullptr, 7);
  EXPECT_THAT(errorsIn(*search("59.200", list)->errors),
              ElementsAre(Pair(64, kBadValue)));
}

TEST_F(RequestRouterTest, SearchOfAnObjectLooksAtThatAlone) {
  note("a");
  note("a");
  auto* list = condition(newList(), "59.200.1", new veskString("a"), 1);
  EXPECT_THAT(texts(*search("59.200.0.2", list)->list),
              ElementsAre("59.200.0.2"));
  EXPECT_THAT(texts(*search("59.200.0.9", newList())->list), IsEmpty());
}

TEST_F(RequestRouterTest, SearchOfZeroLooksEverywhere) {
  created("59.201.0.0", newList());
  note("a");
  EXPECT_THAT(texts(*search("0.0.0.0", newList())->list),
              ElementsAre("59.200.0.1", "59.201.0.1"));
}

TEST_F(RequestRouterTest, AnActionThatNobodyKnowsHasNoObjectManager) {
  veskOid oid;
  veskAid aid("59.200.9");
  auto request = make<veskActionPDU>(oid, aid, nullptr);
  request->list = newList();
  // An answer to an action arrives as an answer to a set.
  EXPECT_EQ(ask<veskSetRespPDU>(std::move(request))->status.value,
            kNoObjectManager);
}

TEST_F(RequestRouterTest, ADirectorySearchIsRefused) {
  EXPECT_EQ(ask<veskDSsearchRespPDU>(make<veskDSsearchPDU>())->status.value,
            kNoObjectManager);
}

TEST_F(RequestRouterTest, EventsAndAnswersAreNotAnswered) {
  veskEventPDU event;
  veskGetRespPDU response(0);
  veskVerifyRespPDU verified(0);
  for (veskPDU* pdu : std::vector<veskPDU*>{&event, &response, &verified}) {
    EXPECT_EQ(kindOf(*pdu), nullptr);
    pdu->clear();
  }
}

TEST_F(RequestRouterTest, TheAnswerCarriesTheRequestsId) {
  veskOid oid("59.200.0.1");
  veskGetPDU request(oid, newList());
  request.requestId.value = 77;
  const auto answer = router.answer(*kindOf(request), request, local());
  EXPECT_EQ(answer->requestId.value, 77U);
  EXPECT_EQ(answer->principal.valid, 0U);
  request.clear();
}

TEST_F(RequestRouterTest, ByDefaultOnlyThisMachineMayWrite) {
  const std::string oid = note("a");
  EXPECT_EQ(create("59.200.0.0", newList(), remote())->status.value,
            kPermissionDenied);
  EXPECT_EQ(set(oid, newList(), remote())->status.value, kPermissionDenied);
  EXPECT_EQ(remove(oid, remote()), kPermissionDenied);
  EXPECT_EQ(verify(oid), 0);
  veskOid object(oid.c_str());
  EXPECT_EQ(ask<veskGetRespPDU>(make<veskGetPDU>(object, newList()), remote())
                ->status.value,
            0);
}

TEST(PolicyTest, WritersMayWriteFromAnywhereAndOthersNot) {
  const Policy policy = Policy::writers({"59.110.1.1000"});
  EXPECT_TRUE(policy.mayWrite({remote(), veskOid("59.110.1.1000")}));
  EXPECT_FALSE(policy.mayWrite({local(), veskOid("59.110.1.1001")}));
  EXPECT_FALSE(policy.mayWrite({local(), veskOid()}));
}

TEST(PolicyTest, AnyoneMayWriteWhereAnyIsAWriter) {
  EXPECT_TRUE(Policy::writers({"any"}).mayWrite({remote(), veskOid()}));
}

TEST(PolicyTest, NobodyMayWriteWhereAllIsReadOnly) {
  EXPECT_FALSE(Policy::readOnly().mayWrite({local(), veskOid("59.110.1.0")}));
}

TEST(PolicyTest, EverybodyMayReadWhereNoNetworkIsNamed) {
  EXPECT_TRUE(Policy().mayRead({remote(), veskOid()}));
}

TEST(PolicyTest, OnlyNamedNetworksMayRead) {
  Policy policy;
  policy.allow({*parseNetwork("192.0.2.0/24")});
  EXPECT_TRUE(policy.mayRead({remote(), veskOid()}));
  EXPECT_FALSE(policy.mayRead({local(), veskOid()}));
  // Nor may the others change anything.
  EXPECT_FALSE(policy.mayWrite({local(), veskOid()}));
  EXPECT_FALSE(policy.mayWrite({remote(), veskOid()}));
}

TEST(PolicyTest, NetworksThatMayWriteStandInPlaceOfThisMachine) {
  Policy policy;
  policy.allowWrite({*parseNetwork("192.0.2.0/24")});
  EXPECT_TRUE(policy.mayWrite({remote(), veskOid()}));
  EXPECT_FALSE(policy.mayWrite({local(), veskOid()}));
  EXPECT_TRUE(policy.mayRead({local(), veskOid()}));
}

TEST(PolicyTest, NetworksAndWritersHaveToFitBoth) {
  Policy policy = Policy::writers({"59.110.1.1000"});
  policy.allowWrite({*parseNetwork("192.0.2.0/24")});
  EXPECT_TRUE(policy.mayWrite({remote(), veskOid("59.110.1.1000")}));
  EXPECT_FALSE(policy.mayWrite({remote(), veskOid("59.110.1.1001")}));
  EXPECT_FALSE(policy.mayWrite({local(), veskOid("59.110.1.1000")}));
}

TEST(PolicyTest, AnAdministratorIsNamedAndMayWrite) {
  Policy policy;
  policy.administrators({"59.110.1.0"});
  EXPECT_TRUE(policy.isAdministrator({local(), veskOid("59.110.1.0")}));
  EXPECT_FALSE(policy.isAdministrator({local(), veskOid("59.110.1.1")}));
  EXPECT_FALSE(policy.isAdministrator({remote(), veskOid("59.110.1.0")}));
  EXPECT_FALSE(Policy().isAdministrator({local(), veskOid()}));
}

TEST(PolicyTest, AWriterIsAnIdentifier) {
  EXPECT_THROW(Policy::writers({"root"}), std::invalid_argument);
}

}  // namespace
}  // namespace ostrel::tools::server
