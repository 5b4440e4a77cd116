#include "objects/registrations.h"

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
      const auto pdu = decoded(message.bytes);
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

TEST_F(RegistrationsTest, AreBoundedInNumber) {
  for (std::size_t i = 0; i < Registrations::kMostRegistrations; ++i)
    ASSERT_NE(watch("59.200", kEventCreated), "");
  EXPECT_EQ(create("59.6.0.0", request("59.200", kEventCreated))->status.value,
            kPermissionDenied);
}

class OpenRegistrationsTest : public RegistrationsTest {
 protected:
  OpenRegistrationsTest() {
    router = RequestRouter(&stored, &registrations, Policy::writers({"any"}));
  }
};

TEST_F(OpenRegistrationsTest, FromAfarEventsGoOnlyToTheSenderItself) {
  const auto answer = create(
      "59.6.0.0", request("59.200", kEventCreated, "192.0.2.8"), remote());
  EXPECT_THAT(errorsIn(*answer->errors), ElementsAre(Pair(3, kBadValue)));
  EXPECT_EQ(create("59.6.0.0", request("59.200", kEventCreated, "192.0.2.7"),
                   remote())
                ->status.value,
            0);
}

TEST_F(OpenRegistrationsTest, ACopyOfWhatIsRefusedHasNoPosition) {
  veskOid original(watch("59.200", kEventCreated).c_str());
  auto answer =
      ask<veskCloneRespPDU>(make<veskClonePDU>(original, newList()), remote());
  EXPECT_EQ(answer->status.value, kBadValue);
  EXPECT_THAT(errorsIn(*answer->errors), IsEmpty());
  auto* list = with(newList(), "59.6.3", new veskAddress("192.0.2.8"));
  answer = ask<veskCloneRespPDU>(make<veskClonePDU>(original, list), remote());
  EXPECT_EQ(answer->status.value, kArgListError);
  EXPECT_THAT(errorsIn(*answer->errors), ElementsAre(Pair(0, kBadValue)));
}

}  // namespace
}  // namespace ostrel::tools::server
