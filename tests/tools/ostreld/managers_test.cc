#include "objects/manager.h"

#include <ostrel/veskOmAttr.h>
#include <pwd.h>
#include <unistd.h>

#include <ctime>

#include "machine/host_manager.h"
#include "machine/principals.h"
#include "objects/attributes.h"
#include "server_test.h"

namespace ostrel::tools::server {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;

// The smallest manager: one object with two attributes.
class Lamp : public ObjectManager {
 public:
  std::vector<veskOid> classes() override { return {veskOid("59.300.0.0")}; }
  int list(veskOid&, veskList* oids) override {
    oids->append(new veskOid("59.300.0.1"));
    return 0;
  }
  int read(veskOid& oid, veskList* attributes) override {
    if (!(oid == "59.300.0.1")) return kNoSuchName;
    veskAppendOmAttr("59.300.1", &on, attributes);
    veskAppendOmAttr("59.300.2", &watts, attributes);
    return 0;
  }
  veskBool on{1};
  veskInt watts{40};
};

class ManagersTest : public ServerTest {
 protected:
  ManagersTest() : host(local().sin_addr, &counters) {
    router.add(&lamp);
    router.add(&host);
    router.add(&principals);
  }

  Owned<veskSetRespPDU> act(const char* action, veskList* arguments) {
    veskOid oid;
    veskAid aid(action);
    auto request = make<veskActionPDU>(oid, aid, nullptr);
    request->list = arguments;
    return ask<veskSetRespPDU>(std::move(request));
  }

  Lamp lamp;
  Counters counters;
  HostManager host;
  Principals principals;
};

TEST_F(ManagersTest, ThreeCallsServeEveryReadingRequest) {
  EXPECT_EQ(verify("59.300.0.1"), 0);
  EXPECT_EQ(verify("59.300.0.2"), kNoSuchName);
  EXPECT_THAT(texts(*get("59.300.0.1")->list),
              ElementsAre("59.300.1 = True", "59.300.2 = 40"));
  EXPECT_THAT(texts(*get("59.300.0.1", {"59.300.2"})->list),
              ElementsAre("59.300.2 = 40"));
  auto* bright = condition(newList(), "59.300.2", new veskInt(30), 5);
  EXPECT_THAT(texts(*search("59.300", bright)->list),
              ElementsAre("59.300.0.1"));
}

TEST_F(ManagersTest, AttributesPointAtTheManagersValues) {
  veskOid oid("59.300.0.1");
  OwnedList attributes;
  lamp.read(oid, &attributes);
  EXPECT_EQ(attributes.at<veskAttribute>(1)->value, &lamp.watts);
  lamp.watts.value = 60;
  EXPECT_THAT(texts(*get("59.300.0.1", {"59.300.2"})->list),
              ElementsAre("59.300.2 = 60"));
}

TEST_F(ManagersTest, AValueThatIsAskedForOftenIsThereOnce) {
  veskOid oid("59.300.0.1");
  OwnedList wanted;
  OwnedList attributes;
  OwnedList errors;
  for (int i = 0; i < 3; ++i) veskAppendAttr(&wanted, "59.300.2", nullptr);
  lamp.get(oid, wanted, &attributes, &errors);
  for (unsigned i = 0; i < 3; ++i)
    EXPECT_EQ(attributes.at<veskAttribute>(i)->value, &lamp.watts);
}

TEST_F(ManagersTest, WhatAManagerDoesNotAllowIsBadAccess) {
  EXPECT_EQ(create("59.300.0.0", newList())->status.value, kBadAccess);
  EXPECT_EQ(remove("59.300.0.1"), kBadAccess);
  const auto answer =
      set("59.300.0.1", with(newList(), "59.300.1", new veskBool(0)));
  EXPECT_EQ(answer->status.value, kArgListError);
  EXPECT_THAT(errorsIn(*answer->errors), ElementsAre(Pair(0, kBadAccess)));
  EXPECT_EQ(lamp.on.value, 1U);
}

TEST_F(ManagersTest, TheStoreDoesNotSeeClassesOfOthers) {
  EXPECT_THAT(store.classes(), IsEmpty());
  EXPECT_THAT(texts(*search("0.0.0.0", newList())->list),
              Contains("59.300.0.1"));
}

TEST_F(ManagersTest, ThisHostIsAnObject) {
  const auto answer = get("59.1.0.1");
  EXPECT_EQ(answer->status.value, 0);
  ASSERT_THAT(texts(*answer->list), SizeIs(12 + 16));
  EXPECT_EQ(texts(*answer->list)[0], "59.1.1 = 127.0.0.1");
  auto* memory =
      dynamic_cast<veskUnsignedInt*>(answer->list->at<veskAttribute>(7)->value);
  ASSERT_NE(memory, nullptr);
  EXPECT_GT(memory->value, 0U);
}

TEST_F(ManagersTest, ThisHostShowsWhatTheServerCounts) {
  counters.add(Counter::kRequests);
  counters.add(Counter::kRegistrationsRefused);
  counters.add(Counter::kRegistrationsRefused);
  const auto answer = get("59.1.0.1", {"59.1.40", "59.1.53", "59.1.55"});
  std::vector<double> counts;
  for (auto* attribute : Elements<veskAttribute>(*answer->list))
    counts.push_back(dynamic_cast<veskDouble&>(*attribute->value).value);
  EXPECT_THAT(counts, ElementsAre(1, 2, 0));
  EXPECT_EQ(get("59.1.0.1", {"59.1.56"})->status.value, kArgListError);
}

TEST_F(ManagersTest, ThisHostShowsWhenTheServerStarted) {
  const auto answer = get("59.1.0.1", {"59.1.39"});
  auto* started =
      dynamic_cast<veskDouble*>(answer->list->at<veskAttribute>(0)->value);
  ASSERT_NE(started, nullptr);
  EXPECT_NEAR(started->value, static_cast<double>(std::time(nullptr)), 60);
}

TEST_F(ManagersTest, WhatTheSystemDoesNotTellIsMissing) {
  HostManager blind(local().sin_addr, nullptr, "/no/such/file");
  veskOid self("59.1.0.1");
  OwnedList attributes;
  ASSERT_EQ(blind.read(self, &attributes), 0);
  for (const char* name : {"59.1.8", "59.1.9", "59.1.40"}) {
    veskAid id(name);
    EXPECT_EQ(find(attributes, id), nullptr) << name;
  }
  veskAid uptime("59.1.4");
  EXPECT_NE(find(attributes, uptime), nullptr);
}

TEST_F(ManagersTest, ThisHostTakesNotes) {
  auto* note = newList();
  note->append(new veskString("hello"));
  EXPECT_EQ(act("59.1.100", note)->status.value, 0);
  EXPECT_EQ(act("59.1.100", newList())->status.value, kArgListError);
  EXPECT_EQ(act("59.1.7", newList())->status.value, kNoSuchName);
  EXPECT_EQ(act("nonsense", newList())->status.value, kAidFormat);
}

TEST_F(ManagersTest, UsersArePrincipals) {
  const passwd* user = getpwuid(0);
  ASSERT_NE(user, nullptr);
  const std::string name = user->pw_name;
  auto* self = condition(newList(), "59.110.2", new veskInt(0), 1);
  const auto found = search("59.110.0.0", self);
  ASSERT_THAT(texts(*found->list), ElementsAre("59.110.1.0"));
  const auto answer = get("59.110.1.0");
  EXPECT_EQ(texts(*answer->list)[0], "59.110.1 = 59.110.1.0");
  EXPECT_EQ(texts(*answer->list)[1], "59.110.2 = 0");
  EXPECT_EQ(texts(*answer->list)[2], "59.110.3 = " + name);
}

TEST_F(ManagersTest, WhoIsNoUserIsNoPrincipal) {
  EXPECT_EQ(verify("59.110.1.4294967294"), kNoSuchName);
  EXPECT_EQ(verify("59.110.2.0"), kNoSuchName);
  EXPECT_EQ(create("59.110.0.0", newList())->status.value, kBadAccess);
}

}  // namespace
}  // namespace ostrel::tools::server
