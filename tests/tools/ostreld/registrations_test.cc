#include "objects/registrations.h"

#include <optional>

#include "server_test.h"

namespace ostrel::tools::server {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;

class RegistrationsTest : public ServerTest {
 protected:
  static veskList* request(const char* object, const char* event,
                           const char* host = "127.0.0.1",
                           std::uint16_t port = 9000) {
    auto* list = with(newList(), "59.1.1", new veskAddress("127.0.0.1"));
    with(list, "59.6.1", new veskOid(object));
    with(list, "59.6.2", new veskAid(event));
    with(list, "59.6.3", new veskAddress(host));
    return with(list, "59.6.4", new veskUnsignedShort(port));
  }

  std::string watch(const char* object, const char* event) {
    return created("59.6.0.0", request(object, event));
  }

  // What was sent since the last call: "HOST:PORT OBJECT EVENT ARGUMENTS".
  std::vector<std::string> sent() {
    std::vector<std::string> result;
    for (const Outgoing& message : registrations.takeOutgoing()) {
      const auto pdu = decoded(*message.bytes);
      auto* event = dynamic_cast<veskEventPDU*>(pdu.get());
      EXPECT_NE(event, nullptr);
      if (event == nullptr) continue;
      result.push_back(text(message.to) + " " + text(event->oid) + " " +
                       text(event->aid) + " " + text(*event->list));
    }
    return result;
  }

  std::uint32_t expiry(const std::string& registration) {
    const auto answer = get(registration, {"59.6.5"});
    return dynamic_cast<veskTime&>(*answer->list->at<veskAttribute>(0)->value)
        .value;
  }
};

TEST_F(RegistrationsTest, LivesAnHour) {
  const std::string oid = watch("59.200", kEventCreated);
  EXPECT_EQ(oid, "59.6.0.1");
  EXPECT_EQ(expiry(oid), clock.seconds() + 3600);
}

TEST_F(RegistrationsTest, CannotChooseItsOwnEnd) {
  auto* list = request("59.200", kEventCreated);
  with(list, "59.6.5", new veskTime(0xFFFFFFFF));
  EXPECT_EQ(expiry(created("59.6.0.0", list)), clock.seconds() + 3600);
}

TEST_F(RegistrationsTest, TellsOfCreationChangeAndRemoval) {
  watch("59.200", kEventCreated);
  watch("59.200", kEventChanged);
  watch("59.200", kEventRemoved);
  const std::string oid =
      created("59.200.0.0", with(newList(), "59.200.1", new veskInt(1)));
  EXPECT_THAT(sent(), ElementsAre("127.0.0.1:9000 59.200.0.1 59.6.7 "
                                  "59.200.1 = 1"));
  auto* list = with(newList(), "59.200.1", new veskInt(2));
  set(oid, with<veskType>(list, "59.200.2", nullptr));
  EXPECT_THAT(sent(), ElementsAre("127.0.0.1:9000 59.200.0.1 59.6.8 "
                                  "59.200.1 = 2"));
  remove(oid);
  EXPECT_THAT(sent(), ElementsAre("127.0.0.1:9000 59.200.0.1 59.6.9 "));
}

TEST_F(RegistrationsTest, TellsOfClones) {
  watch("59.200", kEventCreated);
  veskOid source(
      created("59.200.0.0", with(newList(), "59.200.1", new veskInt(1)))
          .c_str());
  sent();
  ask<veskCloneRespPDU>(make<veskClonePDU>(source, newList()));
  EXPECT_THAT(sent(), ElementsAre("127.0.0.1:9000 59.200.0.2 59.6.7 "
                                  "59.200.1 = 1"));
}

TEST_F(RegistrationsTest, OneForAnObjectHearsOfThatObjectAlone) {
  created("59.200.0.0", newList());
  created("59.200.0.0", newList());
  watch("59.200.0.2", kEventRemoved);
  remove("59.200.0.1");
  EXPECT_THAT(sent(), IsEmpty());
  remove("59.200.0.2");
  EXPECT_THAT(sent(), SizeIs(1));
}

TEST_F(RegistrationsTest, OneForEveryEventHearsOfAllThree) {
  watch("0.0.0.0", kEventAny);
  const std::string oid = created("59.200.0.0", newList());
  set(oid, with(newList(), "59.200.1", new veskInt(2)));
  remove(oid);
  EXPECT_THAT(sent(), SizeIs(3));
}

TEST_F(RegistrationsTest, ARefusedRequestIsNoEvent) {
  watch("59.200", kEventAny);
  create("59.200.0.0", with<veskType>(newList(), "59.200.1", nullptr));
  set("59.200.0.9", newList());
  remove("59.200.0.9");
  EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(RegistrationsTest, RegistrationsRaiseNoEvents) {
  watch("0.0.0.0", kEventAny);
  remove(watch("59.200", kEventAny));
  EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(RegistrationsTest, EventsBeyondADatagramOrSoComeWithoutArguments) {
  watch("59.200", kEventCreated);
  const std::string longText(Registrations::kLongestEvent, 'x');
  created("59.200.0.0",
          with(newList(), "59.200.1", new veskString(longText.c_str())));
  EXPECT_THAT(sent(), ElementsAre("127.0.0.1:9000 59.200.0.1 59.6.7 "));
}

TEST_F(RegistrationsTest, TheNoticeComesInTimeAndIsRepeated) {
  const std::string oid = watch("59.200", kEventCreated);
  const auto end = expiry(oid);
  EXPECT_DOUBLE_EQ(registrations.tick(), 3300);
  clock.time += 3299;
  EXPECT_DOUBLE_EQ(registrations.tick(), 1);
  EXPECT_THAT(sent(), IsEmpty());
  clock.time += 1;
  EXPECT_DOUBLE_EQ(registrations.tick(), 60);
  const std::string notice =
      "127.0.0.1:9000 59.6.0.1 59.6.6 " + std::to_string(end);
  EXPECT_THAT(sent(), ElementsAre(notice));
  clock.time += 60;
  registrations.tick();
  EXPECT_THAT(sent(), ElementsAre(notice));
}

TEST_F(RegistrationsTest, ARenewalMovesTheEnd) {
  const std::string oid = watch("59.200", kEventCreated);
  clock.time += 3400;
  registrations.tick();
  sent();
  const auto end = expiry(oid) + 3600;
  EXPECT_EQ(
      set(oid, with(newList(), "59.6.5", new veskTime(end)))->status.value, 0);
  clock.time += 3000;
  registrations.tick();
  EXPECT_EQ(verify(oid), 0);
  EXPECT_EQ(expiry(oid), end);
}

TEST_F(RegistrationsTest, AnEndThatComesWithoutNoticeWaitsForOne) {
  const std::string oid = watch("59.200", kEventCreated);
  clock.time += 8000;
  EXPECT_DOUBLE_EQ(registrations.tick(), 60);
  const auto end = clock.seconds() + 60;
  EXPECT_EQ(expiry(oid), end);
  EXPECT_THAT(sent(), ElementsAre("127.0.0.1:9000 59.6.0.1 59.6.6 " +
                                  std::to_string(end)));
  EXPECT_EQ(set(oid, with(newList(), "59.6.5", new veskTime(end + 3600)))
                ->status.value,
            0);
  clock.time += 60;
  registrations.tick();
  EXPECT_EQ(verify(oid), 0);
}

TEST_F(RegistrationsTest, ItsEndIsNotSetToAnEarlierTime) {
  const std::string oid = watch("59.200", kEventCreated);
  const auto end = expiry(oid);
  auto* list = with(newList(), "59.6.5", new veskTime(end - 1));
  with(list, "59.6.5", new veskTime(1));
  with(list, "59.6.5", new veskTime(end));
  EXPECT_THAT(errorsIn(*set(oid, list)->errors),
              ElementsAre(Pair(0, kBadValue), Pair(1, kBadValue)));
  EXPECT_EQ(expiry(oid), end);
}

TEST_F(RegistrationsTest, WithoutARenewalItEnds) {
  const std::string oid = watch("59.200", kEventCreated);
  clock.time += 3300;
  registrations.tick();
  sent();
  clock.time += 300;
  registrations.tick();
  EXPECT_EQ(verify(oid), kNoSuchName);
  created("59.200.0.0", newList());
  EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(RegistrationsTest, ARemovedOneHearsNothing) {
  EXPECT_EQ(remove(watch("59.200", kEventCreated)), 0);
  created("59.200.0.0", newList());
  EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(RegistrationsTest, OnlyItsEndCanBeWritten) {
  const std::string oid = watch("59.200", kEventCreated);
  auto* list = with(newList(), "59.6.4", new veskUnsignedShort(9001));
  with(list, "59.6.5", new veskTime(clock.seconds() + 7501));
  with(list, "59.6.5", new veskString("soon"));
  const auto answer = set(oid, list);
  EXPECT_EQ(answer->status.value, kArgListError);
  EXPECT_THAT(
      errorsIn(*answer->errors),
      ElementsAre(Pair(0, kBadAccess), Pair(1, kBadValue), Pair(2, kBadValue)));
}

TEST_F(RegistrationsTest, NeedsToSayWhatAndWhere) {
  EXPECT_EQ(create("59.6.0.0", newList())->status.value, kRequiredAttribute);
  auto* list = request("nonsense", "nonsense", "224.0.0.1", 0);
  const auto answer = create("59.6.0.0", list);
  EXPECT_EQ(answer->status.value, kArgListError);
  EXPECT_THAT(errorsIn(*answer->errors),
              ElementsAre(Pair(1, kBadValue), Pair(2, kBadValue),
                          Pair(3, kBadValue), Pair(4, kBadValue)));
}

TEST_F(RegistrationsTest, SurvivesARestart) {
  watch("59.200", kEventCreated);
  Registrations again(&stored, &clock);
  veskOid oid("59.200.0.5");
  veskAid event(kEventCreated);
  veskList none;
  again.raise(oid, event, none);
  EXPECT_THAT(again.takeOutgoing(), SizeIs(1));
}

TEST_F(RegistrationsTest, WhoRegisteredCanBeRead) {
  const std::string oid = watch("59.200", kEventCreated);
  EXPECT_EQ(text(*get(oid, {"59.6.20"})->list), "59.6.20 = 127.0.0.1");
}

TEST_F(RegistrationsTest, WhoRegisteredIsNotWhatTheRequestSays) {
  auto* list = request("59.200", kEventCreated);
  with(list, "59.6.20", new veskAddress("192.0.2.9"));
  with(list, "59.6.21", new veskOid("59.110.1.0"));
  const std::string oid = created("59.6.0.0", list);
  EXPECT_EQ(text(*get(oid, {"59.6.20"})->list), "59.6.20 = 127.0.0.1");
  EXPECT_EQ(get(oid, {"59.6.21"})->status.value, kArgListError);
}

TEST_F(RegistrationsTest, OfTwoAddressesTheLastCounts) {
  auto* list = request("59.200", kEventCreated, "192.0.2.8");
  with(list, "59.6.3", new veskAddress("127.0.0.2"));
  EXPECT_NE(created("59.6.0.0", list), "");
  created("59.200.0.0", newList());
  EXPECT_THAT(sent(), ElementsAre("127.0.0.2:9000 59.200.0.1 59.6.7 "));
  list = request("59.200", kEventCreated);
  with(list, "59.6.3", new veskAddress("192.0.2.8"));
  EXPECT_EQ(create("59.6.0.0", list)->status.value, kPermissionDenied);
}

TEST_F(RegistrationsTest, OneMessageIsMadeForAllWhoWatch) {
  for (int i = 0; i < 3; ++i) watch("59.200", kEventCreated);
  created("59.200.0.0", newList());
  const auto events = registrations.takeOutgoing();
  ASSERT_THAT(events, SizeIs(3));
  EXPECT_EQ(events[0].bytes, events[2].bytes);
  EXPECT_EQ(addressText(events[0].askedBy), "127.0.0.1");
}

TEST_F(RegistrationsTest, WhatIsRolledBackDidNotHappen) {
  const std::string first = watch("59.200", kEventAny);
  created("59.200.0.0", newList());
  const std::size_t mark = registrations.mark();
  {
    Transaction transaction(store);
    created("59.200.0.0", newList());
    watch("59.200", kEventAny);
    remove(first);
    set(first, with(newList(), "59.6.5", new veskTime(clock.seconds() + 4000)));
    created("59.200.0.0", newList());
    registrations.rollBackTo(mark);
  }
  EXPECT_THAT(sent(), ElementsAre("127.0.0.1:9000 59.200.0.1 59.6.7 "));
  created("59.200.0.0", newList());
  EXPECT_THAT(sent(), ElementsAre("127.0.0.1:9000 59.200.0.2 59.6.7 "));
  EXPECT_DOUBLE_EQ(registrations.tick(), 3300);
}

TEST_F(RegistrationsTest, AnEndThatTheStoreRefusesIsTriedAgain) {
  class FullStore : public FakeStore {
   public:
    void remove(const veskOid& oid) override {
      if (full) throw StoreError("no room");
      FakeStore::remove(oid);
    }
    bool full = false;
  };
  FullStore fullStore;
  StoredObjects objects(&fullStore);
  Registrations tested(&objects, &clock);
  veskOid classOid(kRegistrationClass), oid;
  OwnedList errors;
  const Owned<veskList> list(request("59.200", kEventCreated));
  ASSERT_EQ(tested.create({local(), {}}, classOid, *list, &oid, &errors), 0);
  list->destroyDecodedElements();
  clock.time += 3300;
  tested.tick();
  clock.time += 300;
  fullStore.full = true;
  EXPECT_THROW(tested.tick(), StoreError);
  veskOid lamp("59.200.0.1");
  veskAid event(kEventCreated);
  EXPECT_TRUE(tested.wanted(lamp, event));
  fullStore.full = false;
  tested.tick();
  EXPECT_FALSE(tested.wanted(lamp, event));
}

TEST_F(RegistrationsTest, AClockSetBackWhileNotRunningLetsNobodyLiveForADay) {
  const std::string oid = watch("59.200", kEventCreated);
  clock.time -= 86400;
  Registrations again(&stored, &clock);
  const double latest = 2 * 3600 + 300;
  EXPECT_EQ(expiry(oid), clock.seconds() + latest);
  EXPECT_DOUBLE_EQ(again.tick(), 3600);
  clock.time += latest - 1;
  again.tick();
  clock.time += 1;
  again.tick();
  EXPECT_EQ(verify(oid), kNoSuchName);
}

// What can be registered for from where, with 10.0.0.5 as an address of this
// machine.
class RulesTest : public RegistrationsTest {
 protected:
  RulesTest() {
    rules.isOwn = [](in_addr address) {
      return isLoopback(address) || addressText(address) == "10.0.0.5";
    };
    rules.most = 6;
    rules.mostOfOne = 4;
    rules.eventsTo = {*parseNetwork("192.0.2.128/25")};
    tested.emplace(&stored, &clock, &counters, rules);
  }

  int from(const char* sender, const char* to, const char* principal = "") {
    return registerFor({addressOf(sender, 4000), veskOid(principal)}, to);
  }
  int registerFor(const Asker& asker, const char* to) {
    veskOid classOid(kRegistrationClass);
    OwnedList errors;
    const Owned<veskList> list(request("59.200", kEventCreated, to));
    const int code = tested->create(asker, classOid, *list, &last, &errors);
    list->destroyDecodedElements();
    return code;
  }

  int renew(const Asker& asker) {
    OwnedList list, errors;
    veskAtAppendAttr(&list, "59.6.5", new veskTime(clock.seconds() + 3700));
    return tested->set(asker, last, list, &errors);
  }
  static Asker asker(const char* sender, const char* principal = "") {
    return {addressOf(sender, 4001), veskOid(principal)};
  }
  static Asker administrator() {
    Asker result = asker("198.51.100.1");
    result.administrator = true;
    return result;
  }

  Counters counters;
  RegistrationRules rules;
  std::optional<Registrations> tested;
  veskOid last;
};

TEST_F(RulesTest, EventsGoToWhoAsked) {
  EXPECT_EQ(from("192.0.2.7", "192.0.2.7"), 0);
  EXPECT_EQ(from("192.0.2.7", "192.0.2.8"), kPermissionDenied);
  EXPECT_EQ(from("192.0.2.7", "127.0.0.1"), kPermissionDenied);
  EXPECT_EQ(counters.value(Counter::kRegistrationsRefused), 2U);
}

TEST_F(RulesTest, AProgramHereMayNameAnyAddressOfThisMachine) {
  EXPECT_EQ(from("127.0.0.1", "10.0.0.5"), 0);
  EXPECT_EQ(from("10.0.0.5", "127.0.1.1"), 0);
  EXPECT_EQ(from("127.0.0.1", "192.0.2.8"), kPermissionDenied);
}

TEST_F(RulesTest, NamedNetworksMayBeRegisteredFor) {
  EXPECT_EQ(from("192.0.2.7", "192.0.2.200"), 0);
  EXPECT_EQ(from("127.0.0.1", "192.0.2.128"), 0);
  EXPECT_EQ(from("127.0.0.1", "192.0.2.127"), kPermissionDenied);
}

TEST_F(RulesTest, OneAddressGetsOnlySoMany) {
  for (int i = 0; i < 4; ++i) ASSERT_EQ(from("192.0.2.7", "192.0.2.7"), 0);
  EXPECT_EQ(from("192.0.2.7", "192.0.2.7"), kPermissionDenied);
  EXPECT_EQ(from("192.0.2.7", "192.0.2.200"), kPermissionDenied);
  EXPECT_EQ(from("192.0.2.8", "192.0.2.8"), 0);
  EXPECT_EQ(counters.value(Counter::kRegistrationsRefused), 2U);
}

TEST_F(RulesTest, ManyMayNotAimAtOneAddress) {
  for (const char* sender :
       {"192.0.2.1", "192.0.2.2", "192.0.2.3", "192.0.2.4"})
    ASSERT_EQ(from(sender, "192.0.2.200"), 0);
  EXPECT_EQ(from("192.0.2.5", "192.0.2.200"), kPermissionDenied);
}

TEST_F(RulesTest, AllTogetherMayMakeOnlySoMany) {
  for (const char* sender : {"192.0.2.1", "192.0.2.2", "192.0.2.3", "192.0.2.4",
                             "192.0.2.5", "192.0.2.6"})
    ASSERT_EQ(from(sender, sender), 0);
  EXPECT_EQ(from("192.0.2.7", "192.0.2.7"), kPermissionDenied);
  EXPECT_EQ(tested->remove(asker("192.0.2.6"), last), 0);
  EXPECT_EQ(from("192.0.2.7", "192.0.2.7"), 0);
}

TEST_F(RulesTest, OthersNeitherRenewNorRemove) {
  ASSERT_EQ(from("192.0.2.7", "192.0.2.7"), 0);
  EXPECT_EQ(renew(asker("192.0.2.8")), kPermissionDenied);
  EXPECT_EQ(tested->remove(asker("192.0.2.8"), last), kPermissionDenied);
  EXPECT_EQ(tested->remove(asker("127.0.0.1"), last), kPermissionDenied);
  EXPECT_EQ(renew(asker("192.0.2.7")), 0);
  EXPECT_EQ(tested->remove(asker("192.0.2.7"), last), 0);
}

TEST_F(RulesTest, OnThisMachineTheAddressMayDiffer) {
  ASSERT_EQ(from("127.0.0.1", "127.0.0.1"), 0);
  EXPECT_EQ(renew(asker("10.0.0.5")), 0);
  EXPECT_EQ(tested->remove(asker("127.0.1.1"), last), 0);
}

TEST_F(RulesTest, APrincipalThatRegisteredHasToBeNamedAgain) {
  ASSERT_EQ(from("192.0.2.7", "192.0.2.7", "59.110.1.7"), 0);
  EXPECT_EQ(renew(asker("192.0.2.7")), kPermissionDenied);
  EXPECT_EQ(renew(asker("192.0.2.7", "59.110.1.8")), kPermissionDenied);
  EXPECT_EQ(renew(asker("192.0.2.8", "59.110.1.7")), kPermissionDenied);
  EXPECT_EQ(renew(asker("192.0.2.7", "59.110.1.7")), 0);
}

TEST_F(RulesTest, AnAdministratorMayEndAny) {
  ASSERT_EQ(from("192.0.2.7", "192.0.2.7", "59.110.1.7"), 0);
  EXPECT_EQ(renew(administrator()), 0);
  EXPECT_EQ(tested->remove(administrator(), last), 0);
}

TEST_F(RulesTest, WhoRegisteredIsKnownAfterARestart) {
  ASSERT_EQ(from("192.0.2.7", "192.0.2.200", "59.110.1.7"), 0);
  tested.emplace(&stored, &clock, &counters, rules);
  EXPECT_EQ(renew(asker("192.0.2.200", "59.110.1.7")), kPermissionDenied);
  EXPECT_EQ(renew(asker("192.0.2.7")), kPermissionDenied);
  EXPECT_EQ(renew(asker("192.0.2.7", "59.110.1.7")), 0);
  veskOid lamp("59.200.0.1");
  veskAid event(kEventCreated);
  veskList none;
  tested->raise(lamp, event, none);
  const auto events = tested->takeOutgoing();
  ASSERT_THAT(events, SizeIs(1));
  EXPECT_EQ(addressText(events[0].askedBy), "192.0.2.7");
}

class OpenRegistrationsTest : public RegistrationsTest {
 protected:
  OpenRegistrationsTest() {
    router = RequestRouter(&stored, &registrations, Policy::writers({"any"}));
  }
};

TEST_F(OpenRegistrationsTest, ACopyMayNotAimAtTheOriginal) {
  veskOid original(watch("59.200", kEventCreated).c_str());
  auto answer =
      ask<veskCloneRespPDU>(make<veskClonePDU>(original, newList()), remote());
  EXPECT_EQ(answer->status.value, kPermissionDenied);
  auto* list = with(newList(), "59.6.3", new veskAddress("192.0.2.8"));
  answer = ask<veskCloneRespPDU>(make<veskClonePDU>(original, list), remote());
  EXPECT_EQ(answer->status.value, kPermissionDenied);
  list = with(newList(), "59.6.3", new veskAddress("192.0.2.7"));
  answer = ask<veskCloneRespPDU>(make<veskClonePDU>(original, list), remote());
  EXPECT_EQ(answer->status.value, 0);
  EXPECT_EQ(text(*get(text(answer->oid), {"59.6.20"})->list),
            "59.6.20 = 192.0.2.7");
}

// Written as no client can, to be what a copy is refused for.
TEST_F(OpenRegistrationsTest, ACopyOfWhatIsRefusedHasNoPosition) {
  veskOid original(watch("59.200", kEventCreated).c_str());
  veskUnsignedShort nowhere(0);
  store.write(original, veskAid("59.6.4"), *encoded(nowhere));
  auto answer = ask<veskCloneRespPDU>(make<veskClonePDU>(original, newList()));
  EXPECT_EQ(answer->status.value, kBadValue);
  EXPECT_THAT(errorsIn(*answer->errors), IsEmpty());
  auto* list = with(newList(), "59.6.4", new veskUnsignedShort(0));
  answer = ask<veskCloneRespPDU>(make<veskClonePDU>(original, list));
  EXPECT_EQ(answer->status.value, kArgListError);
  EXPECT_THAT(errorsIn(*answer->errors), ElementsAre(Pair(0, kBadValue)));
}

}  // namespace
}  // namespace ostrel::tools::server
