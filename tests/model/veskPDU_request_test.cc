// The PDU header and the requests: their bytes, texts, constructors, and who
// frees their lists.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <type_traits>
#include <typeinfo>

#include "ostrel/veskPDU.h"
#include "support/bytes.h"
#include "support/holders.h"
#include "support/value_table.h"

namespace {

using ostrel::test::barePduRow;
using ostrel::test::Bytes;
using ostrel::test::checkRow;
using ostrel::test::Counted;
using ostrel::test::decodeFrom;
using ostrel::test::encoded;
using ostrel::test::encodeInto;
using ostrel::test::hex;
using ostrel::test::IsHex;
using ostrel::test::kTwoAttributes;
using ostrel::test::kTwoAttributesText;
using ostrel::test::listOf;
using ostrel::test::numbered;
using ostrel::test::OwnedPdu;
using ostrel::test::OwnedText;
using ostrel::test::OwnedValue;
using ostrel::test::pduRow;
using ostrel::test::rowName;
using ostrel::test::textOf;
using ostrel::test::twoAttributes;
using ostrel::test::ValueRow;

// Lasting identifiers to build PDUs from.
struct Names {
  veskOid object = veskOid("59.6");
  veskAid event = veskAid("59.6.6");
  veskOid principal = veskOid("59.110.0.7");
};

const std::string kAttributes = kTwoAttributes;
const std::string kAttributesText = kTwoAttributesText;

const ValueRow kRows[] = {
    pduRow<veskGetPDU>("Get",
                       "1F 03 00 43 01 05 0A 00 0A 01 01 3B 01 06 00 00 "
                       "80 43 00",
                       "5 : 0 : Invalid : 59.6.0.0 : ", 30,
                       [] {
                         Names n;
                         return numbered(
                             5, new veskGetPDU(n.object, new veskList));
                       }),
    pduRow<veskGetPDU>(
        "GetOfTwo",
        "1F 03 00 43 01 05 0A 00 0A 01 01 3B 01 06 00 00 " + kAttributes,
        "5 : 0 : Invalid : 59.6.0.0 : " + kAttributesText, 48,
        [] {
          Names n;
          return numbered(5, new veskGetPDU(n.object, twoAttributes()));
        }),
    pduRow<veskGetPDU>("GetWithPrincipal",
                       "1F 03 00 43 01 05 0A 01 01 3B 01 6E 00 01 07 "
                       "0A 01 01 3B 01 06 00 00 80 43 00",
                       "5 : 0 : 59.110.0.7 : 59.6.0.0 : ", 37,
                       [] {
                         Names n;
                         return numbered(5,
                                         new veskGetPDU(n.object, new veskList,
                                                        n.principal));
                       }),
    pduRow<veskGetPDU>("GetEmpty", "1F 03 00 43 00 0A 00 0A 00 80 43 00",
                       "0 : 0 : Invalid : Invalid : ", 29,
                       [] { return new veskGetPDU; }),
    pduRow<veskGetPDU>(
        "GetOfTheLongestHeader",
        "1F 03 04 80 00 00 00 43 04 FF FF FF FF "
        "0A 01 04 FF FF FF FF 04 FF FF FF FF 04 FF FF FF FF 04 FF FF FF FF "
        "0A 00 80 43 00",
        "4294967295 : -2147483648 : "
        "4294967295.4294967295.4294967295.4294967295 : Invalid : ",
        57,
        [] {
          auto* pdu = numbered(0xFFFFFFFFu, new veskGetPDU);
          pdu->status.value = -2147483647 - 1;
          pdu->principal = "4294967295.4294967295.4294967295.4294967295";
          return pdu;
        }),
    pduRow<veskSetPDU>(
        "Set", "20 03 00 43 01 05 0A 00 0A 01 01 3B 01 06 00 00 " + kAttributes,
        "5 : 0 : Invalid : 59.6.0.0 : " + kAttributesText, 48,
        [] {
          Names n;
          return numbered(5, new veskSetPDU(n.object, twoAttributes()));
        }),
    pduRow<veskSetPDU>("SetEmpty", "20 03 00 43 00 0A 00 0A 00 80 43 00",
                       "0 : 0 : Invalid : Invalid : ", 29,
                       [] { return new veskSetPDU; }),
    pduRow<veskCreatePDU>(
        "Create",
        "1C 03 00 43 01 05 0A 00 0A 01 01 3B 01 06 00 00 " + kAttributes,
        "5 : 0 : Invalid : 59.6.0.0 : " + kAttributesText, 48,
        [] {
          Names n;
          return numbered(5, new veskCreatePDU(n.object, twoAttributes()));
        }),
    pduRow<veskCreatePDU>("CreateEmpty", "1C 03 00 43 00 0A 00 0A 00 80 43 00",
                          "0 : 0 : Invalid : Invalid : ", 29,
                          [] { return new veskCreatePDU; }),
    pduRow<veskClonePDU>(
        "Clone",
        "1D 03 00 43 01 05 0A 00 0A 01 01 3B 01 06 00 00 " + kAttributes,
        "5 : 0 : Invalid : 59.6.0.0 : " + kAttributesText, 48,
        [] {
          Names n;
          return numbered(5, new veskClonePDU(n.object, twoAttributes()));
        }),
    pduRow<veskClonePDU>("CloneEmpty", "1D 03 00 43 00 0A 00 0A 00 80 43 00",
                         "0 : 0 : Invalid : Invalid : ", 29,
                         [] { return new veskClonePDU; }),
    pduRow<veskRemovePDU>("Remove",
                          "1E 03 00 43 01 05 0A 00 0A 01 01 3B 01 06 01 03 "
                          "01 07",
                          "5 : 0 : Invalid : 59.6.3.7", 30,
                          [] {
                            veskOid object("59.6.3.7");
                            return numbered(5, new veskRemovePDU(object));
                          }),
    pduRow<veskRemovePDU>("RemoveEmpty", "1E 03 00 43 00 0A 00 0A 00",
                          "0 : 0 : Invalid : Invalid", 29,
                          [] { return new veskRemovePDU; }),
    pduRow<veskVerifyPDU>("Verify",
                          "2C 03 00 43 01 05 0A 00 0A 01 01 3B 01 06 01 03 "
                          "01 07",
                          "5 : 0 : Invalid : 59.6.3.7", 30,
                          [] {
                            veskOid object("59.6.3.7");
                            return numbered(5, new veskVerifyPDU(object));
                          }),
    pduRow<veskVerifyPDU>("VerifyEmpty", "2C 03 00 43 00 0A 00 0A 00",
                          "0 : 0 : Invalid : Invalid", 29,
                          [] { return new veskVerifyPDU; }),
    pduRow<veskSearchPDU>(
        "Search",
        "21 03 00 43 01 05 0A 00 0A 01 01 3B 01 6E 00 00 80 43 01 01 "
        "18 0B 01 01 3B 01 6E 01 02 01 03 02 03 E8 01 01 07 01 01",
        "5 : 0 : Invalid : 59.110.0.0 : 59.110.2 = 1000 op = 1 : True", 42,
        [] {
          veskOid classOid("59.110");
          veskAid id("59.110.2");
          veskInt user(1000);
          return numbered(
              5, new veskSearchPDU(
                     classOid,
                     listOf({new veskAttributeValueOp(&id, &user, 1)}), 1));
        }),
    pduRow<veskSearchPDU>("SearchWithoutFlag",
                          "21 03 00 43 01 05 0A 00 0A 01 01 3B 01 06 00 00 "
                          "80 43 00 07 00",
                          "5 : 0 : Invalid : 59.6.0.0 :  : False", 30,
                          [] {
                            Names n;
                            return numbered(5, new veskSearchPDU(
                                                   n.object, new veskList, 0));
                          }),
    pduRow<veskSearchPDU>("SearchEmpty",
                          "21 03 00 43 00 0A 00 0A 00 80 43 00 07 01 01",
                          "0 : 0 : Invalid : Invalid :  : True", 29,
                          [] { return new veskSearchPDU; }),
    pduRow<veskEventPDU>(
        "Event",
        "22 03 00 43 01 05 0A 00 0A 01 01 3B 01 06 01 03 "
        "01 07 0B 01 01 3B 01 06 01 06 80 43 01 01 "
        "17 0B 01 01 3B 01 06 01 05 01 0C 02 03 E8",
        "5 : 0 : Invalid : 59.6.3.7 : 59.6.6 : 59.6.5 = 1000", 48,
        [] {
          Names n;
          veskOid object("59.6.3.7");
          auto* list = new veskList;
          veskAtAppendAttr(list, "59.6.5", new veskTime(1000));
          return numbered(5, new veskEventPDU(object, n.event, list));
        }),
    pduRow<veskEventPDU>("EventEmpty",
                         "22 03 00 43 00 0A 00 0A 00 0B 00 80 43 00",
                         "0 : 0 : Invalid : Invalid : Invalid : ", 29,
                         [] { return new veskEventPDU; }),
    pduRow<veskActionPDU>("Action",
                          "23 03 00 43 01 05 0A 00 0B 01 01 3B 01 06 01 06 "
                          "80 43 01 01 03 01 05",
                          "5 : 0 : Invalid : 59.6.6 : 5", 28,
                          [] {
                            Names n;
                            return numbered(
                                5, new veskActionPDU(n.object, n.event,
                                                     listOf({new veskInt(5)})));
                          }),
    pduRow<veskActionPDU>("ActionEmpty", "23 03 00 43 00 0A 00 0B 00 80 43 00",
                          "0 : 0 : Invalid : Invalid : ", 27,
                          [] { return new veskActionPDU; }),
    pduRow<veskDSsearchPDU>(
        "DirectorySearch",
        "2E 03 00 43 01 05 0A 00 0A 01 01 3B 01 06 00 00 "
        "80 43 01 01 03 01 01 80 43 01 02 03 01 02 03 01 03",
        "5 : 0 : Invalid : 59.6.0.0 : 1 : 2, 3", 36,
        [] {
          Names n;
          return numbered(
              5, new veskDSsearchPDU(n.object, listOf({new veskInt(1)}),
                                     listOf({new veskInt(2), new veskInt(3)})));
        }),
    pduRow<veskDSsearchPDU>("Discovery",
                            "2E 03 00 43 00 0A 00 0A 00 80 43 00 80 43 00",
                            "0 : 0 : Invalid : Invalid :  : ", 29,
                            [] { return new veskDSsearchPDU; }),
    barePduRow(
        "Header", "1B 03 00 43 01 05 0A 00", "5 : 0 : Invalid", 28,
        [] { return numbered(5, new veskPDU(27)); },
        [] { return new veskPDU(0); }),
};

class RequestTable : public testing::TestWithParam<ValueRow> {};

TEST_P(RequestTable, RowHolds) { checkRow(GetParam()); }

INSTANTIATE_TEST_SUITE_P(PDUs, RequestTable, testing::ValuesIn(kRows), rowName);

// The header

TEST(PduHeader, IsEmptyAtFirst) {
  veskPDU pdu(99);
  EXPECT_EQ(pdu.tag, 99);
  EXPECT_EQ(pdu.status.value, 0);
  EXPECT_EQ(pdu.requestId.value, 0u);
  EXPECT_EQ(pdu.principal.valid, 0u);
  EXPECT_EQ(veskPDU(256 + 30).tag, 30);
}

TEST(PduHeader, CopiesThePrincipal) {
  Names n;
  veskPDU pdu(30, n.principal);
  n.principal = "1.2";
  EXPECT_EQ(pdu.tag, 30);
  EXPECT_EQ(textOf(pdu), "0 : 0 : 59.110.0.7");
}

TEST(PduHeader, IsCopiedUnderAnotherTag) {
  Names n;
  veskPDU pdu(30, n.principal);
  pdu.status.value = -1;
  pdu.requestId.value = 5;
  veskPDU copy(&pdu, 31);
  EXPECT_EQ(copy.tag, 31);
  EXPECT_EQ(textOf(copy), "5 : -1 : 59.110.0.7");
}

TEST(PduHeader, KeepsGivingTag27ToItsCopies) {
  veskPDU pdu(99);
  pdu.requestId.value = 5;
  const OwnedValue copy(pdu.dup());
  EXPECT_EQ(typeid(*copy), typeid(veskPDU));
  EXPECT_THAT(encoded(*copy), IsHex("1B 03 00 43 01 05 0A 00"));
}

TEST(PduHeader, ClearDoesNothing) {
  veskPDU pdu(27);
  pdu.requestId.value = 5;
  pdu.clear();
  EXPECT_EQ(textOf(pdu), "5 : 0 : Invalid");
}

TEST(PduHeader, ComparesByTagAlone) {
  Names n;
  veskRemovePDU one(n.object);
  veskRemovePDU two(n.principal);
  veskVerifyPDU other(n.object);
  EXPECT_EQ(one.compare(two), 0);
  EXPECT_EQ(one == two, 1);
  EXPECT_EQ(one.compare(other), 1);
  EXPECT_EQ(one > other, 1);
  EXPECT_EQ(other > one, 1);
}

TEST(PduHeader, DoesNotCheckTheTagsOfItsMembers) {
  veskRemovePDU pdu;
  EXPECT_EQ(decodeFrom(pdu, hex("1E 43 01 01 03 01 05 55 00 0B 00")), 11u);
  EXPECT_EQ(textOf(pdu), "5 : 1 : Invalid : Invalid");
}

TEST(PduHeader, TakesOverAnyTag) {
  veskRemovePDU pdu;
  EXPECT_EQ(decodeFrom(pdu, hex("55 03 00 43 00 0A 00 0A 00")), 9u);
  EXPECT_EQ(pdu.tag, 0x55);
}

TEST(PduHeader, BeforeATruncationKeepsWhatItRead) {
  veskRemovePDU pdu;
  EXPECT_EQ(decodeFrom(pdu, hex("1E 03 01 07 43 01 09 0A 01")), 0u);
  EXPECT_EQ(pdu.status.value, 7);
  EXPECT_EQ(pdu.requestId.value, 9u);
}

// Constructors: the principal, and whose list it is

template <class Pdu>
class ListRequests : public testing::Test {};
using ListRequestClasses =
    testing::Types<veskGetPDU, veskSetPDU, veskCreatePDU, veskClonePDU>;
TYPED_TEST_SUITE(ListRequests, ListRequestClasses);

TYPED_TEST(ListRequests, KeepTheListThatTheyAreGiven) {
  Names n;
  veskList list;
  TypeParam pdu(n.object, &list);
  TypeParam withPrincipal(n.object, &list, n.principal);
  n.object = "1.2";
  EXPECT_EQ(pdu.list, &list);
  EXPECT_EQ(withPrincipal.list, &list);
  EXPECT_EQ(textOf(pdu), "0 : 0 : Invalid : 59.6.0.0 : ");
  EXPECT_EQ(textOf(withPrincipal), "0 : 0 : 59.110.0.7 : 59.6.0.0 : ");
}

TYPED_TEST(ListRequests, CopyTheListOfAnObject) {
  Names n;
  veskObject object(&n.object, twoAttributes());
  const OwnedPdu<TypeParam> pdu(new TypeParam(object));
  const OwnedPdu<TypeParam> withPrincipal(new TypeParam(object, n.principal));
  object.attributeList->clear(1);
  EXPECT_NE(pdu->list, object.attributeList);
  EXPECT_EQ(textOf(*pdu), "0 : 0 : Invalid : 59.6.0.0 : " + kAttributesText);
  EXPECT_EQ(textOf(*withPrincipal),
            "0 : 0 : 59.110.0.7 : 59.6.0.0 : " + kAttributesText);
}

TYPED_TEST(ListRequests, OfAnObjectWithoutAListHaveNone) {
  Names n;
  veskObject object(&n.object, nullptr);
  TypeParam pdu(object);
  TypeParam withPrincipal(object, n.principal);
  EXPECT_EQ(pdu.list, nullptr);
  EXPECT_EQ(withPrincipal.list, nullptr);
}

TYPED_TEST(ListRequests, KeepsSharingTheListWithCopies) {
  Names n;
  const OwnedPdu<TypeParam> pdu(
      new TypeParam(n.object, twoAttributes(), n.principal));
  pdu->status.value = 3;
  pdu->requestId.value = 5;
  TypeParam copy(pdu.get());
  const OwnedValue dup(pdu->dup());
  EXPECT_EQ(copy.list, pdu->list);
  EXPECT_EQ(dynamic_cast<TypeParam&>(*dup).list, pdu->list);
  EXPECT_EQ(typeid(*dup), typeid(TypeParam));
  EXPECT_EQ(dup->tag, pdu->tag);
  EXPECT_EQ(textOf(copy), "5 : 3 : 59.110.0.7 : 59.6.0.0 : " + kAttributesText);
  EXPECT_EQ(textOf(*dup), textOf(copy));
}

TYPED_TEST(ListRequests, LeaveTheListToItsOwnerWhenTheyAreFreed) {
  int alive = 0;
  Names n;
  const OwnedValue list(listOf({new Counted(&alive)}));
  delete new TypeParam(n.object, dynamic_cast<veskList*>(list.get()));
  EXPECT_EQ(alive, 1);
}

TYPED_TEST(ListRequests, ClearFreesTheListOnce) {
  int alive = 0;
  Names n;
  TypeParam pdu(n.object,
                listOf({new Counted(&alive), listOf({new Counted(&alive)})}));
  EXPECT_EQ(alive, 2);
  pdu.clear();
  EXPECT_EQ(alive, 0);
  EXPECT_EQ(pdu.list, nullptr);
  pdu.clear();
  EXPECT_EQ(encodeInto(pdu, 256).used, 0u);
  EXPECT_EQ(textOf(pdu), "0 : 0 : Invalid : 59.6.0.0 : ");
}

TYPED_TEST(ListRequests, WithoutAListDoNotTravel) {
  Names n;
  TypeParam pdu(n.object, nullptr);
  EXPECT_EQ(encodeInto(pdu, 256).used, 0u);
  EXPECT_EQ(decodeFrom(pdu, hex("1F 03 00 43 00 0A 00 0A 00 80 43 00")), 0u);
  EXPECT_EQ(pdu.list, nullptr);
}

TYPED_TEST(ListRequests, AppendWhatArrives) {
  const OwnedPdu<TypeParam> pdu(new TypeParam);
  const Bytes bytes =
      hex("1F 03 00 43 00 0A 00 0A 00 80 43 01 01 19 0A 00 80 43 00");
  EXPECT_EQ(decodeFrom(*pdu, bytes), bytes.size());
  EXPECT_EQ(decodeFrom(*pdu, bytes), bytes.size());
  EXPECT_EQ(textOf(*pdu), "0 : 0 : Invalid : Invalid : Invalid : , Invalid : ");
}

TYPED_TEST(ListRequests, CanBeClearedAndFreedAfterAFailure) {
  auto* pdu = new TypeParam;
  EXPECT_EQ(decodeFrom(*pdu, hex("1F 03 00 43 00 0A 00 0A 00 80 43 01 02 "
                                 "19 0A 00 80 43 00")),
            0u);
  EXPECT_EQ(pdu->list->count, 1u);
  pdu->clear();
  delete pdu;
}

template <class Pdu>
class ObjectRequests : public testing::Test {};
using ObjectRequestClasses = testing::Types<veskRemovePDU, veskVerifyPDU>;
TYPED_TEST_SUITE(ObjectRequests, ObjectRequestClasses);

TYPED_TEST(ObjectRequests, HaveEachOfTheirConstructors) {
  Names n;
  TypeParam pdu(n.object);
  TypeParam withPrincipal(n.object, n.principal);
  withPrincipal.status.value = 3;
  TypeParam copy(&withPrincipal);
  const OwnedValue dup(withPrincipal.dup());
  EXPECT_EQ(textOf(pdu), "0 : 0 : Invalid : 59.6.0.0");
  EXPECT_EQ(textOf(copy), "0 : 3 : 59.110.0.7 : 59.6.0.0");
  EXPECT_EQ(textOf(*dup), textOf(copy));
  EXPECT_EQ(typeid(*dup), typeid(TypeParam));
  pdu.clear();
  EXPECT_EQ(textOf(pdu), "0 : 0 : Invalid : 59.6.0.0");
}

TEST(Search, HasEachOfItsConstructors) {
  Names n;
  veskList list;
  veskSearchPDU pdu(n.object, &list, 2);
  veskSearchPDU withPrincipal(n.object, &list, 0, n.principal);
  veskSearchPDU copy(&pdu);
  const OwnedValue dup(pdu.dup());
  EXPECT_EQ(pdu.list, &list);
  EXPECT_EQ(withPrincipal.list, &list);
  EXPECT_EQ(copy.list, &list);
  EXPECT_EQ(copy.flag.value, 2u);
  EXPECT_EQ(dynamic_cast<veskSearchPDU&>(*dup).list, &list);
  EXPECT_EQ(dynamic_cast<veskSearchPDU&>(*dup).flag.value, 2u);
  EXPECT_EQ(textOf(withPrincipal), "0 : 0 : 59.110.0.7 : 59.6.0.0 :  : False");
}

TEST(Search, WithoutAListDoesNotTravelAndHasText) {
  Names n;
  veskSearchPDU pdu(n.object, nullptr, 1);
  EXPECT_EQ(encodeInto(pdu, 256).used, 0u);
  EXPECT_EQ(textOf(pdu), "0 : 0 : Invalid : 59.6.0.0 :  : True");
}

TEST(Search, ClearFreesTheListOnce) {
  int alive = 0;
  Names n;
  veskSearchPDU pdu(n.object, listOf({new Counted(&alive)}), 1);
  pdu.clear();
  pdu.clear();
  EXPECT_EQ(alive, 0);
  EXPECT_EQ(pdu.list, nullptr);
}

TEST(Event, HasEachOfItsConstructors) {
  Names n;
  veskList list;
  veskEventPDU pdu(n.object, n.event, &list);
  veskEventPDU copy(&pdu);
  const OwnedValue dup(pdu.dup());
  EXPECT_EQ(pdu.list, &list);
  EXPECT_EQ(copy.list, &list);
  EXPECT_EQ(dynamic_cast<veskEventPDU&>(*dup).list, &list);
  EXPECT_EQ(textOf(*dup), "0 : 0 : Invalid : 59.6.0.0 : 59.6.6 : ");
  EXPECT_EQ(textOf(copy), textOf(*dup));
}

TEST(Event, WithoutAListDoesNotTravel) {
  Names n;
  veskEventPDU pdu(n.object, n.event, nullptr);
  EXPECT_EQ(encodeInto(pdu, 256).used, 0u);
}

TEST(Action, TakesTheListThatItIsGiven) {
  Names n;
  veskList list;
  veskActionPDU pdu(n.object, n.event, &list);
  veskActionPDU withPrincipal(n.object, n.event, &list, n.principal);
  EXPECT_EQ(pdu.list, &list);
  EXPECT_EQ(withPrincipal.list, &list);
  EXPECT_EQ(textOf(withPrincipal), "0 : 0 : 59.110.0.7 : 59.6.6 : ");
  EXPECT_THAT(encoded(pdu), IsHex("23 03 00 43 00 0A 00 "
                                  "0B 01 01 3B 01 06 01 06 80 43 00"));
}

TEST(Action, WithoutAListDoesNotTravel) {
  Names n;
  veskActionPDU pdu(n.object, n.event, nullptr);
  EXPECT_EQ(encodeInto(pdu, 256).used, 0u);
}

TEST(Action, KeepsItsObjectInMemoryAlone) {
  Names n;
  const OwnedPdu<veskActionPDU> pdu(
      new veskActionPDU(n.object, n.event, new veskList));
  veskActionPDU copy(pdu.get());
  const OwnedValue dup(pdu->dup());
  EXPECT_EQ(textOf(copy.oid), "59.6.0.0");
  EXPECT_EQ(textOf(dynamic_cast<veskActionPDU&>(*dup).oid), "59.6.0.0");

  const OwnedPdu<veskActionPDU> received(new veskActionPDU);
  received->oid = "1.2.3.4";
  const Bytes bytes = encoded(*pdu);
  EXPECT_EQ(decodeFrom(*received, bytes), bytes.size());
  EXPECT_EQ(textOf(received->oid), "1.2.3.4");
  EXPECT_EQ(textOf(*received), "0 : 0 : Invalid : 59.6.6 : ");
}

TEST(DirectorySearch, HasEachOfItsConstructors) {
  Names n;
  veskList first;
  veskList second;
  veskDSsearchPDU pdu(n.object, &first, &second);
  veskDSsearchPDU withPrincipal(n.object, &first, &second, n.principal);
  veskDSsearchPDU copy(&withPrincipal);
  const OwnedValue dup(withPrincipal.dup());
  for (auto* each : {&pdu, &withPrincipal, &copy,
                     dynamic_cast<veskDSsearchPDU*>(dup.get())}) {
    EXPECT_EQ(each->list, &first);
    EXPECT_EQ(each->list2, &second);
  }
  EXPECT_EQ(textOf(*dup), "0 : 0 : 59.110.0.7 : 59.6.0.0 :  : ");
}

TEST(DirectorySearch, ClearFreesBothListsOnce) {
  int alive = 0;
  Names n;
  veskDSsearchPDU pdu(n.object, listOf({new Counted(&alive)}),
                      listOf({new Counted(&alive)}));
  pdu.clear();
  EXPECT_EQ(alive, 0);
  EXPECT_EQ(pdu.list, nullptr);
  EXPECT_EQ(pdu.list2, nullptr);
  pdu.clear();
}

TEST(DirectorySearch, ClearFreesAListThatIsThereTwiceOnce) {
  int alive = 0;
  Names n;
  veskList* list = listOf({new Counted(&alive)});
  veskDSsearchPDU pdu(n.object, list, list);
  pdu.clear();
  EXPECT_EQ(alive, 0);
  EXPECT_EQ(pdu.list, nullptr);
  EXPECT_EQ(pdu.list2, nullptr);
}

TEST(DirectorySearch, WithoutOneOfItsListsDoesNotTravel) {
  Names n;
  veskList list;
  veskDSsearchPDU first(n.object, nullptr, &list);
  veskDSsearchPDU second(n.object, &list, nullptr);
  EXPECT_EQ(encodeInto(first, 256).used, 0u);
  EXPECT_EQ(encodeInto(second, 256).used, 0u);
}

// What may not arrive

TEST(ArrivingRequest, WithAnElementThatHasNoClassFails) {
  const std::string start = "1F 03 00 43 00 0A 00 0A 00 80 43 01 02 03 01 01 ";
  for (const char* element :
       {"4D 01 05", "4E 01 05", "1B 03 00 43 00 0A 00",
        "24 03 00 43 00 0A 00 80 43 00", "0D", "0E", "15", "16", "30", "FF"}) {
    SCOPED_TRACE(element);
    const OwnedPdu<veskGetPDU> pdu(new veskGetPDU);
    EXPECT_EQ(decodeFrom(*pdu, hex(start + element)), 0u);
    EXPECT_EQ(pdu->list->count, 1u);
  }
}

TEST(ArrivingRequest, IsNotReadPastAClaimedCount) {
  const OwnedPdu<veskGetPDU> pdu(new veskGetPDU);
  EXPECT_EQ(decodeFrom(*pdu, hex("1F 03 00 43 00 0A 00 0A 00 "
                                 "80 43 04 FF FF FF FF 00 00 00")),
            0u);
  EXPECT_EQ(pdu->list->count, 3u);
}

TEST(RequestNull, AssigningZeroChangesTheTagAlone) {
  const OwnedPdu<veskGetPDU> pdu(new veskGetPDU);
  veskList* list = pdu->list;
  veskType& value = *pdu;
  value = 0;
  EXPECT_EQ(value == 0, 1);
  EXPECT_EQ(pdu->list, list);
  EXPECT_THAT(encoded(*pdu), IsHex("00 03 00 43 00 0A 00 0A 00 80 43 00"));
}

// Operations called by the names of their classes

TEST(QualifiedName, OfTheHeaderMeansTheHeaderAlone) {
  Names n;
  const OwnedPdu<veskGetPDU> get(
      numbered(5, new veskGetPDU(n.object, twoAttributes())));
  char buffer[64];
  const unsigned used = get->veskPDU::encode(buffer, sizeof buffer);
  EXPECT_THAT(Bytes(buffer, buffer + used), IsHex("1F 03 00 43 01 05 0A 00"));
  const OwnedText text(get->veskPDU::getString());
  EXPECT_STREQ(text.get(), "5 : 0 : Invalid");
  get->veskPDU::clear();
  EXPECT_EQ(get->list->count, 2u);

  Bytes bytes = hex("1F 03 01 07 43 01 08 0A 00 FF");
  EXPECT_EQ(get->veskPDU::decode(reinterpret_cast<char*>(bytes.data()), 10),
            9u);
  EXPECT_EQ(get->status.value, 7);
  EXPECT_EQ(get->requestId.value, 8u);
}

// A request of a program's own: a get with a number behind.
class Extended : public veskGetPDU {
 public:
  using veskGetPDU::veskGetPDU;
  unsigned encode(char* buffer, unsigned length) override {
    const unsigned used = veskGetPDU::encode(buffer, length);
    if (used == 0) return 0;
    const unsigned more = extra.encode(buffer + used, length - used);
    return more == 0 ? 0 : used + more;
  }
  unsigned decode(char* buffer, unsigned length) override {
    const unsigned used = veskGetPDU::decode(buffer, length);
    if (used == 0) return 0;
    const unsigned more = extra.decode(buffer + used, length - used);
    return more == 0 ? 0 : used + more;
  }

  veskInt extra;
};

TEST(RequestOfAProgramsOwn, TravelsWithItsOwnMembers) {
  Names n;
  const OwnedPdu<Extended> sent(new Extended(n.object, new veskList));
  sent->extra = 9;
  const char kBytes[] =
      "1F 03 00 43 00 0A 00 0A 01 01 3B 01 06 00 00 80 43 00 03 01 09";
  EXPECT_THAT(encoded(*sent), IsHex(kBytes));
  const OwnedPdu<Extended> arrived(new Extended);
  EXPECT_EQ(decodeFrom(*arrived, hex(kBytes)), 21u);
  EXPECT_EQ(arrived->extra.value, 9);
  EXPECT_EQ(textOf(*arrived), "0 : 0 : Invalid : 59.6.0.0 : ");
}

template <class... Pdus>
constexpr bool anyIsAssignable = (std::is_copy_assignable_v<Pdus> || ...);

TEST(Pdu, IsNotAssignedWithItsLists) {
  static_assert(
      !anyIsAssignable<
          veskPDU, veskCreatePDU, veskClonePDU, veskRemovePDU, veskGetPDU,
          veskSetPDU, veskSearchPDU, veskEventPDU, veskActionPDU, veskVerifyPDU,
          veskDSsearchPDU, veskRespPDU, veskCreateRespPDU, veskCloneRespPDU,
          veskGetRespPDU, veskSetRespPDU, veskSearchRespPDU, veskActionRespPDU,
          veskRemoveRespPDU, veskVerifyRespPDU, veskDSsearchRespPDU>);
  static_assert(std::is_copy_constructible_v<veskGetPDU>);
}

}  // namespace
