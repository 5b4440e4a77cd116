#include "objects/registration_table.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <ostrel/names.h>

#include <string>

#include "common/addresses.h"
#include "common/printed.h"
#include "support/own_addresses.h"

namespace ostrel::tools::server {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::UnorderedElementsAre;

class RegistrationTableTest : public testing::Test {
 protected:
  void add(const char* oid, const char* object, const char* event,
           std::uint32_t expires = 4000, const char* to = "192.0.2.1",
           const char* owner = "192.0.2.2") {
    Registration registration;
    registration.oid = veskOid(oid);
    registration.object = veskOid(object);
    registration.event = veskAid(event);
    registration.to = endpoint(*parseAddress(to), 9000);
    registration.owner = *parseAddress(owner);
    registration.expires = expires;
    registration.nextNotice = expires - 300;
    table.replace(veskOid(oid), registration);
  }

  std::vector<std::string> watching(const char* oid, const char* event) {
    std::vector<std::string> result;
    for (const Registration* each :
         table.watching(veskOid(oid), veskAid(event))) {
      veskOid found = each->oid;
      result.push_back(printed(found));
    }
    return result;
  }

  std::size_t of(const char* address) {
    return table.of(*parseAddress(address));
  }

  RegistrationTable table;
};

TEST_F(RegistrationTableTest, FindsThoseForTheObjectItsClassAndEverything) {
  add("59.6.0.1", "59.200.0.1", kEventChanged);
  add("59.6.0.2", "59.200.0.0", kEventChanged);
  add("59.6.0.3", "0.0.0.0", kEventAny);
  add("59.6.0.4", "59.200.0.1", kEventAny);
  add("59.6.0.5", "59.200.0.2", kEventChanged);
  add("59.6.0.6", "59.201.0.0", kEventChanged);
  add("59.6.0.7", "59.200.0.1", kEventRemoved);
  EXPECT_THAT(
      watching("59.200.0.1", kEventChanged),
      UnorderedElementsAre("59.6.0.1", "59.6.0.2", "59.6.0.3", "59.6.0.4"));
  EXPECT_THAT(watching("59.202.0.1", kEventChanged), ElementsAre("59.6.0.3"));
}

TEST_F(RegistrationTableTest, NamesNoneTwice) {
  add("59.6.0.1", "59.200.0.0", kEventAny);
  EXPECT_THAT(watching("59.200.0.0", kEventAny), SizeIs(1));
}

TEST_F(RegistrationTableTest, OneIsEnoughToKnowThatThereAreSome) {
  for (const char* oid : {"59.6.0.1", "59.6.0.2"})
    add(oid, "59.200.0.0", kEventAny);
  EXPECT_THAT(
      table.watching(veskOid("59.200.0.1"), veskAid(kEventCreated), true),
      SizeIs(1));
}

TEST_F(RegistrationTableTest, WhatIsReplacedIsHandedBackAndNoLongerFound) {
  add("59.6.0.1", "59.200.0.0", kEventAny);
  add("59.6.0.1", "59.201.0.0", kEventAny, 5000, "192.0.2.3", "192.0.2.3");
  EXPECT_THAT(watching("59.200.0.1", kEventCreated), IsEmpty());
  EXPECT_EQ(of("192.0.2.1"), 0U);
  EXPECT_EQ(of("192.0.2.3"), 1U);
  const auto former = table.replace(veskOid("59.6.0.1"), std::nullopt);
  ASSERT_TRUE(former.has_value());
  EXPECT_EQ(former->expires, 5000U);
  EXPECT_EQ(table.size(), 0U);
  EXPECT_EQ(table.first(), nullptr);
  EXPECT_EQ(table.find(veskOid("59.6.0.1")), nullptr);
  EXPECT_FALSE(table.replace(veskOid("59.6.0.1"), std::nullopt).has_value());
}

TEST_F(RegistrationTableTest, TheOneThatIsDueNextComesFirst) {
  add("59.6.0.1", "59.200.0.0", kEventAny, 5000);
  add("59.6.0.2", "59.200.0.0", kEventAny, 4000);
  ASSERT_NE(table.first(), nullptr);
  EXPECT_DOUBLE_EQ(table.first()->due(), 3700);
  EXPECT_THAT(table.expired(3999), IsEmpty());
  EXPECT_THAT(table.expired(4000), SizeIs(1));
  EXPECT_THAT(table.expired(6000), SizeIs(2));
}

TEST_F(RegistrationTableTest, CountsWhatAnAddressGetsOrMade) {
  add("59.6.0.1", "59.200.0.0", kEventAny, 4000, "192.0.2.1", "192.0.2.2");
  add("59.6.0.2", "59.200.0.0", kEventAny, 4000, "192.0.2.3", "192.0.2.2");
  EXPECT_EQ(of("192.0.2.1"), 1U);
  EXPECT_EQ(of("192.0.2.2"), 2U);
  EXPECT_EQ(of("192.0.2.9"), 0U);
}

TEST(OwnAddresses, AreThoseOfLoopbackAndOfNobodyElse) {
  EXPECT_TRUE(isOwnAddress(*parseAddress("127.0.0.1")));
  EXPECT_TRUE(isOwnAddress(*parseAddress("127.0.1.1")));
  EXPECT_FALSE(isOwnAddress(*parseAddress("192.0.2.7")));
  EXPECT_FALSE(isOwnAddress(*parseAddress("0.0.0.0")));
}

}  // namespace
}  // namespace ostrel::tools::server
