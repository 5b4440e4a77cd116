// The responses: their bytes, texts, constructors, and who frees their lists.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <typeinfo>

#include "ostrel/veskPDU.h"
#include "support/bytes.h"
#include "support/holders.h"
#include "support/value_table.h"

namespace {

using ostrel::test::attributeOf;
using ostrel::test::barePduRow;
using ostrel::test::Bytes;
using ostrel::test::checkRow;
using ostrel::test::clearAndDelete;
using ostrel::test::Counted;
using ostrel::test::decodeFrom;
using ostrel::test::encoded;
using ostrel::test::encodeInto;
using ostrel::test::ExactBuffer;
using ostrel::test::hex;
using ostrel::test::IsHex;
using ostrel::test::kOneError;
using ostrel::test::kOneErrorText;
using ostrel::test::listOf;
using ostrel::test::numbered;
using ostrel::test::oneError;
using ostrel::test::OwnedPdu;
using ostrel::test::OwnedText;
using ostrel::test::OwnedValue;
using ostrel::test::pduRow;
using ostrel::test::rowName;
using ostrel::test::textOf;
using ostrel::test::twoAttributes;
using ostrel::test::ValueRow;

const std::string kError = kOneError;
const std::string kErrorText = kOneErrorText;

veskList* numbers(std::initializer_list<int> values) {
  auto* list = new veskList;
  for (const int value : values) list->append(new veskInt(value));
  return list;
}

// Like encode, but of a PDU that the caller gives away.
template <class Pdu>
Bytes bytesOf(Pdu* pdu) {
  const OwnedPdu<Pdu> owned(pdu);
  return encoded(*pdu);
}

const ValueRow kRows[] = {
    pduRow<veskCreateRespPDU>(
        "CreateResponse",
        "25 03 00 43 01 05 0A 00 80 43 00 0A 01 01 3B 01 06 01 03 01 07",
        "5 : 0 : Invalid : 59.6.3.7", 33,
        [] {
          veskOid made("59.6.3.7");
          return numbered(5, new veskCreateRespPDU(0, made, nullptr));
        }),
    pduRow<veskCreateRespPDU>(
        "CreateResponseWithErrors",
        "25 03 04 FF FF FF FF 43 01 05 0A 00 " + kError + "0A 00",
        "5 : -1 : Invalid : Invalid", 45,
        [] { return numbered(5, new veskCreateRespPDU(-1, oneError())); }),
    pduRow<veskCreateRespPDU>(
        "CreateResponseEmpty", "25 03 00 43 00 0A 00 80 43 00 0A 00",
        "0 : 0 : Invalid : Invalid", 32, [] { return new veskCreateRespPDU; }),
    pduRow<veskCloneRespPDU>(
        "CloneResponse",
        "26 03 00 43 01 05 0A 00 80 43 00 0A 01 01 3B 01 06 01 03 01 08",
        "5 : 0 : Invalid : 59.6.3.8", 33,
        [] {
          veskOid made("59.6.3.8");
          return numbered(5, new veskCloneRespPDU(0, made, nullptr));
        }),
    pduRow<veskCloneRespPDU>(
        "CloneResponseEmpty", "26 03 00 43 00 0A 00 80 43 00 0A 00",
        "0 : 0 : Invalid : Invalid", 32, [] { return new veskCloneRespPDU; }),
    pduRow<veskGetRespPDU>(
        "GetResponse",
        "27 03 04 FF FF FF FF 43 01 05 0A 00 " + kError +
            "80 43 01 01 17 0B 01 01 3B 01 06 01 02 01 03 01 05",
        "5 : -1 : Invalid : 59.6.2 = 5 : " + kErrorText, 45,
        [] {
          return numbered(
              5, new veskGetRespPDU(
                     -1, listOf({attributeOf("59.6.2", new veskInt(5))}),
                     oneError()));
        }),
    pduRow<veskGetRespPDU>(
        "GetResponseEmpty", "27 03 00 43 00 0A 00 80 43 00 80 43 00",
        "0 : 0 : Invalid :  : ", 27, [] { return new veskGetRespPDU; }),
    pduRow<veskSetRespPDU>("SetResponse", "28 03 00 43 01 07 0A 00 80 43 00",
                           "7 : 0 : Invalid : ", 28,
                           [] { return numbered(7, new veskSetRespPDU); }),
    pduRow<veskSetRespPDU>(
        "SetResponseWithErrors",
        "28 03 04 FF FF FF FF 43 01 07 0A 00 " + kError,
        "7 : -1 : Invalid : " + kErrorText, 32,
        [] { return numbered(7, new veskSetRespPDU(-1, oneError())); }),
    pduRow<veskSearchRespPDU>(
        "SearchResponse",
        "29 03 00 43 01 05 0A 00 80 43 00 80 43 01 01 "
        "19 0A 01 01 3B 01 06 00 01 01 80 43 00",
        "5 : 0 : Invalid : 59.6.0.1 :  : ", 38,
        [] {
          veskOid found("59.6.0.1");
          return numbered(5, new veskSearchRespPDU(
                                 0, listOf({new veskObject(&found)}), nullptr));
        }),
    pduRow<veskSearchRespPDU>(
        "SearchResponseEmpty", "29 03 00 43 00 0A 00 80 43 00 80 43 00",
        "0 : 0 : Invalid :  : ", 27, [] { return new veskSearchRespPDU; }),
    pduRow<veskRemoveRespPDU>(
        "RemoveResponse", "2B 03 01 01 43 01 05 0A 00", "5 : 1 : Invalid", 29,
        [] { return numbered(5, new veskRemoveRespPDU(1)); }),
    pduRow<veskRemoveRespPDU>("RemoveResponseEmpty", "2B 03 00 43 00 0A 00",
                              "0 : 0 : Invalid", 27,
                              [] { return new veskRemoveRespPDU; }),
    pduRow<veskVerifyRespPDU>(
        "VerifyResponse", "2D 03 01 01 43 01 05 0A 00", "5 : 1 : Invalid", 29,
        [] { return numbered(5, new veskVerifyRespPDU(1)); }),
    pduRow<veskVerifyRespPDU>("VerifyResponseEmpty", "2D 03 00 43 00 0A 00",
                              "0 : 0 : Invalid", 27,
                              [] { return new veskVerifyRespPDU; }),
    pduRow<veskDSsearchRespPDU>("DirectoryResponse",
                                "2F 03 00 43 01 05 0A 00 80 43 00 80 43 00 "
                                "80 43 01 02 03 01 01 03 01 02",
                                "5 : 0 : Invalid : 1, 2 :  : ", 28,
                                [] {
                                  return numbered(
                                      5, new veskDSsearchRespPDU(
                                             0, numbers({1, 2}), nullptr));
                                }),
    pduRow<veskDSsearchRespPDU>("DirectoryResponseEmpty",
                                "2F 03 00 43 00 0A 00 80 43 00 80 43 00 80 43 "
                                "00",
                                "0 : 0 : Invalid :  :  : ", 27,
                                [] { return new veskDSsearchRespPDU; }),
    barePduRow(
        "BareResponse", "24 03 00 43 01 05 0A 00 " + kError,
        "5 : 0 : Invalid : " + kErrorText, 28,
        [] { return numbered(5, new veskRespPDU(36, oneError())); },
        [] { return new veskRespPDU(0, nullptr); }),
};

class ResponseTable : public testing::TestWithParam<ValueRow> {};

TEST_P(ResponseTable, RowHolds) { checkRow(GetParam()); }

INSTANTIATE_TEST_SUITE_P(PDUs, ResponseTable, testing::ValuesIn(kRows),
                         rowName);

// The base

TEST(Response, MakesAMissingErrorListEmpty) {
  const OwnedPdu<veskRespPDU> pdu(new veskRespPDU(99, nullptr));
  EXPECT_EQ(pdu->tag, 99);
  ASSERT_NE(pdu->errors, nullptr);
  EXPECT_EQ(pdu->errors->count, 0u);
  EXPECT_EQ(textOf(*pdu), "0 : 0 : Invalid : ");
}

TEST(Response, KeepsGivingTag36ToItsCopies) {
  const OwnedPdu<veskRespPDU> pdu(new veskRespPDU(99, oneError()));
  pdu->requestId.value = 5;
  const OwnedValue copy(pdu->dup());
  EXPECT_EQ(typeid(*copy), typeid(veskRespPDU));
  EXPECT_EQ(dynamic_cast<veskRespPDU&>(*copy).errors, pdu->errors);
  EXPECT_THAT(encoded(*copy), IsHex("24 03 00 43 01 05 0A 00 " + kError));
}

TEST(Response, IsCopiedUnderAnotherTag) {
  veskOid principal("59.110.0.7");
  const OwnedPdu<veskRespPDU> pdu(new veskRespPDU(40, oneError()));
  pdu->status.value = -1;
  pdu->requestId.value = 5;
  pdu->principal = principal;
  veskRespPDU copy(pdu.get(), 99);
  EXPECT_EQ(copy.tag, 99);
  EXPECT_EQ(copy.errors, pdu->errors);
  EXPECT_EQ(textOf(copy), "5 : -1 : 59.110.0.7 : " + kErrorText);
}

// Constructors that all responses with errors have

template <class Pdu>
class ErrorResponses : public testing::Test {};
using ErrorResponseClasses =
    testing::Types<veskCreateRespPDU, veskCloneRespPDU, veskSetRespPDU,
                   veskActionRespPDU, veskSearchRespPDU>;
TYPED_TEST_SUITE(ErrorResponses, ErrorResponseClasses);

TYPED_TEST(ErrorResponses, HaveEmptyErrorsUnlessGivenSome) {
  const OwnedPdu<TypeParam> empty(new TypeParam);
  const OwnedPdu<TypeParam> coded(new TypeParam(12));
  const OwnedPdu<TypeParam> none(new TypeParam(12, nullptr));
  EXPECT_EQ(empty->status.value, 0);
  EXPECT_EQ(coded->status.value, 12);
  EXPECT_EQ(none->status.value, 12);
  for (TypeParam* each : {empty.get(), coded.get(), none.get()}) {
    ASSERT_NE(each->errors, nullptr);
    EXPECT_EQ(each->errors->count, 0u);
    EXPECT_EQ(each->requestId.value, 0u);
    EXPECT_EQ(each->principal.valid, 0u);
  }
}

TYPED_TEST(ErrorResponses, KeepTheErrorsThatTheyAreGiven) {
  veskList* errors = oneError();
  const OwnedPdu<TypeParam> pdu(new TypeParam(-1, errors));
  EXPECT_EQ(pdu->errors, errors);
  EXPECT_EQ(pdu->status.value, -1);
}

TYPED_TEST(ErrorResponses, KeepsSharingTheListsWithCopies) {
  const OwnedPdu<TypeParam> pdu(new TypeParam(-1, oneError()));
  pdu->requestId.value = 5;
  pdu->principal = "59.110.0.7";
  TypeParam copy(pdu.get());
  const OwnedValue dup(pdu->dup());
  EXPECT_EQ(typeid(*dup), typeid(TypeParam));
  EXPECT_EQ(copy.tag, pdu->tag);
  EXPECT_EQ(dup->tag, pdu->tag);
  EXPECT_EQ(copy.errors, pdu->errors);
  EXPECT_EQ(dynamic_cast<TypeParam&>(*dup).errors, pdu->errors);
  EXPECT_EQ(textOf(copy), textOf(*pdu));
  EXPECT_EQ(textOf(*dup), textOf(*pdu));
}

TYPED_TEST(ErrorResponses, LeaveTheErrorsToTheirOwnerWhenTheyAreFreed) {
  int alive = 0;
  const OwnedValue errors(listOf({new Counted(&alive)}));
  TypeParam pdu(-1, dynamic_cast<veskList*>(errors.get()));
  veskList* rest = pdu.errors;
  pdu.errors = nullptr;
  pdu.clear();
  EXPECT_EQ(rest, errors.get());
  EXPECT_EQ(alive, 1);
}

TYPED_TEST(ErrorResponses, ClearFreesTheErrorsOnce) {
  int alive = 0;
  TypeParam pdu(-1, listOf({new Counted(&alive)}));
  pdu.clear();
  EXPECT_EQ(alive, 0);
  EXPECT_EQ(pdu.errors, nullptr);
  pdu.clear();
  EXPECT_EQ(encodeInto(pdu, 256).used, 0u);
  EXPECT_EQ(textOf(pdu).substr(0, 16), "0 : -1 : Invalid");
}

TYPED_TEST(ErrorResponses, WithoutErrorsDoNotTravel) {
  const OwnedPdu<TypeParam> pdu(new TypeParam);
  delete pdu->errors;
  pdu->errors = nullptr;
  EXPECT_EQ(encodeInto(*pdu, 256).used, 0u);
  EXPECT_EQ(decodeFrom(*pdu, hex("28 03 00 43 00 0A 00 80 43 00 80 43 00")),
            0u);
}

TYPED_TEST(ErrorResponses, CanBeClearedAndFreedAfterAFailure) {
  auto* pdu = new TypeParam;
  EXPECT_EQ(decodeFrom(*pdu, hex("28 03 00 43 00 0A 00 80 43 01 02 "
                                 "19 0A 00 80 43 00")),
            0u);
  EXPECT_EQ(pdu->errors->count, 1u);
  pdu->clear();
  delete pdu;
}

// Constructors of some classes alone

template <class Pdu>
class MakerResponses : public testing::Test {};
using MakerResponseClasses =
    testing::Types<veskCreateRespPDU, veskCloneRespPDU>;
TYPED_TEST_SUITE(MakerResponses, MakerResponseClasses);

TYPED_TEST(MakerResponses, CopyTheIdentifierOfWhatWasMade) {
  veskOid made("59.6.3.7");
  veskList* errors = oneError();
  const OwnedPdu<TypeParam> pdu(new TypeParam(-1, made, errors));
  const OwnedPdu<TypeParam> without(new TypeParam(0, made, nullptr));
  made = "1.2";
  EXPECT_EQ(pdu->errors, errors);
  TypeParam copy(pdu.get());
  EXPECT_EQ(textOf(copy.oid), "59.6.3.7");
  EXPECT_EQ(without->errors->count, 0u);
  EXPECT_EQ(textOf(*without), "0 : 0 : Invalid : 59.6.3.7");
}

TYPED_TEST(MakerResponses, KeepsErrorsOutOfItsText) {
  const OwnedPdu<TypeParam> pdu(new TypeParam(-1, oneError()));
  EXPECT_EQ(textOf(*pdu), "0 : -1 : Invalid : Invalid");
}

TEST(GetResponse, HasEachOfItsConstructors) {
  veskList* list = numbers({1});
  veskList* errors = oneError();
  const OwnedPdu<veskGetRespPDU> whole(new veskGetRespPDU(-1, list, errors));
  const OwnedPdu<veskGetRespPDU> found(new veskGetRespPDU(numbers({2})));
  const OwnedPdu<veskGetRespPDU> coded(new veskGetRespPDU(12));
  const OwnedPdu<veskGetRespPDU> none(new veskGetRespPDU(0, nullptr, nullptr));
  EXPECT_EQ(whole->list, list);
  EXPECT_EQ(whole->errors, errors);
  EXPECT_EQ(textOf(*whole), "0 : -1 : Invalid : 1 : " + kErrorText);
  EXPECT_EQ(textOf(*found), "0 : 0 : Invalid : 2 : ");
  EXPECT_EQ(textOf(*coded), "0 : 12 : Invalid :  : ");
  ASSERT_NE(coded->list, nullptr);
  ASSERT_NE(coded->errors, nullptr);
  EXPECT_NE(none->list, nullptr);
  EXPECT_NE(none->errors, nullptr);
  veskGetRespPDU copy(whole.get());
  EXPECT_EQ(copy.list, list);
  EXPECT_EQ(copy.errors, errors);
}

TEST(GetResponse, OfALiteralZeroIsACode) {
  const OwnedPdu<veskGetRespPDU> pdu(new veskGetRespPDU(0));
  EXPECT_EQ(textOf(*pdu), "0 : 0 : Invalid :  : ");
}

TEST(GetResponse, ClearFreesBothListsOnce) {
  int alive = 0;
  veskGetRespPDU pdu(0, listOf({new Counted(&alive)}),
                     listOf({new Counted(&alive)}));
  pdu.clear();
  EXPECT_EQ(alive, 0);
  EXPECT_EQ(pdu.list, nullptr);
  EXPECT_EQ(pdu.errors, nullptr);
  pdu.clear();
  EXPECT_EQ(textOf(pdu), "0 : 0 : Invalid :  : ");
}

TEST(GetResponse, WithoutOneOfItsListsDoesNotTravel) {
  const OwnedPdu<veskGetRespPDU> pdu(new veskGetRespPDU);
  delete pdu->list;
  pdu->list = nullptr;
  EXPECT_EQ(encodeInto(*pdu, 256).used, 0u);
}

TEST(SearchResponse, HasEachOfItsConstructors) {
  veskList* list = numbers({1});
  veskList* errors = oneError();
  const OwnedPdu<veskSearchRespPDU> whole(
      new veskSearchRespPDU(-1, list, errors));
  const OwnedPdu<veskSearchRespPDU> failed(
      new veskSearchRespPDU(-1, oneError()));
  EXPECT_EQ(whole->list, list);
  EXPECT_EQ(whole->errors, errors);
  EXPECT_EQ(textOf(*whole), "0 : -1 : Invalid : 1 : " + kErrorText);
  EXPECT_EQ(textOf(*failed), "0 : -1 : Invalid :  : " + kErrorText);
  ASSERT_NE(failed->list, nullptr);
  veskSearchRespPDU copy(whole.get());
  EXPECT_EQ(copy.list, list);
}

TEST(DirectoryResponse, HasEachOfItsConstructors) {
  veskList* list2 = numbers({2});
  veskList* list = numbers({1});
  veskList* errors = oneError();
  const OwnedPdu<veskDSsearchRespPDU> coded(new veskDSsearchRespPDU(12));
  const OwnedPdu<veskDSsearchRespPDU> second(new veskDSsearchRespPDU(0, list2));
  const OwnedPdu<veskDSsearchRespPDU> whole(
      new veskDSsearchRespPDU(-1, list, errors));
  EXPECT_EQ(textOf(*coded), "0 : 12 : Invalid :  :  : ");
  EXPECT_EQ(second->list2, list2);
  EXPECT_EQ(textOf(*second), "0 : 0 : Invalid :  : 2 : ");
  EXPECT_EQ(whole->list, list);
  EXPECT_EQ(whole->errors, errors);
  EXPECT_EQ(textOf(*whole), "0 : -1 : Invalid : 1 :  : " + kErrorText);
  for (auto* each : {coded.get(), second.get(), whole.get()}) {
    EXPECT_NE(each->list, nullptr);
    EXPECT_NE(each->list2, nullptr);
    EXPECT_NE(each->errors, nullptr);
  }
  veskDSsearchRespPDU copy(whole.get());
  const OwnedValue dup(whole->dup());
  EXPECT_EQ(copy.list, list);
  EXPECT_EQ(copy.list2, whole->list2);
  EXPECT_EQ(dynamic_cast<veskDSsearchRespPDU&>(*dup).list2, whole->list2);
  EXPECT_EQ(dynamic_cast<veskDSsearchRespPDU&>(*dup).errors, errors);
}

TEST(DirectoryResponse, KeepsItsSecondListFirstOnTheWire) {
  const OwnedPdu<veskDSsearchRespPDU> pdu(
      new veskDSsearchRespPDU(0, numbers({1})));
  pdu->list->append(new veskInt(2));
  pdu->errors->append(new veskError(2, 5));
  EXPECT_THAT(encoded(*pdu),
              IsHex("2F 03 00 43 00 0A 00 " + kError +
                    "80 43 01 01 03 01 01 80 43 01 01 03 01 02"));
  EXPECT_EQ(textOf(*pdu), "0 : 0 : Invalid : 2 : 1 : " + kErrorText);

  const OwnedPdu<veskDSsearchRespPDU> received(new veskDSsearchRespPDU);
  decodeFrom(*received, encoded(*pdu));
  EXPECT_EQ(textOf(*received->list), "2");
  EXPECT_EQ(textOf(*received->list2), "1");
}

TEST(DirectoryResponse, ClearFreesItsThreeListsOnce) {
  int alive = 0;
  veskDSsearchRespPDU pdu(0, listOf({new Counted(&alive)}),
                          listOf({new Counted(&alive)}));
  pdu.list2->append(new Counted(&alive));
  pdu.clear();
  EXPECT_EQ(alive, 0);
  EXPECT_EQ(pdu.list, nullptr);
  EXPECT_EQ(pdu.list2, nullptr);
  EXPECT_EQ(pdu.errors, nullptr);
}

template <class Pdu>
class PlainResponses : public testing::Test {};
using PlainResponseClasses =
    testing::Types<veskRemoveRespPDU, veskVerifyRespPDU>;
TYPED_TEST_SUITE(PlainResponses, PlainResponseClasses);

TYPED_TEST(PlainResponses, AreTheHeaderAlone) {
  TypeParam empty;
  TypeParam pdu(8);
  pdu.requestId.value = 5;
  pdu.principal = "59.110.0.7";
  TypeParam copy(&pdu);
  veskPDU header(&pdu, pdu.tag);
  const OwnedValue dup(pdu.dup());
  EXPECT_EQ(textOf(empty), "0 : 0 : Invalid");
  EXPECT_EQ(textOf(copy), "5 : 8 : 59.110.0.7");
  EXPECT_EQ(encoded(header), encoded(pdu));
  EXPECT_EQ(encoded(*dup), encoded(pdu));
  EXPECT_EQ(typeid(*dup), typeid(TypeParam));
  pdu.clear();
  EXPECT_EQ(textOf(pdu), "5 : 8 : 59.110.0.7");
}

// Action responses

TEST(ActionResponse, KeepsTheTagOfASetResponse) {
  EXPECT_THAT(bytesOf(numbered(7, new veskActionRespPDU)),
              IsHex("28 03 00 43 01 07 0A 00 80 43 00"));
  EXPECT_THAT(bytesOf(numbered(7, new veskActionRespPDU(12))),
              IsHex("28 03 01 0C 43 01 07 0A 00 80 43 00"));
  const Bytes bytes =
      bytesOf(numbered(7, new veskActionRespPDU(-1, oneError())));
  EXPECT_THAT(bytes, IsHex("28 03 04 FF FF FF FF 43 01 07 0A 00 " + kError));

  ExactBuffer buffer(bytes);
  veskType* received = nullptr;
  EXPECT_EQ(veskType::decodeCreate(buffer.data(), buffer.size(), &received),
            bytes.size());
  ASSERT_NE(received, nullptr);
  EXPECT_EQ(typeid(*received), typeid(veskSetRespPDU));
  EXPECT_EQ(textOf(*received), "7 : -1 : Invalid : " + kErrorText);
  clearAndDelete(received);
}

TEST(ActionResponse, KeepsTag42KnownWhenItArrives) {
  ExactBuffer buffer(hex("2A 03 00 43 01 07 0A 00 80 43 00"));
  veskType* received = nullptr;
  ASSERT_EQ(veskType::decodeCreate(buffer.data(), buffer.size(), &received),
            11u);
  EXPECT_EQ(typeid(*received), typeid(veskActionRespPDU));
  EXPECT_EQ(received->tag, 42);
  EXPECT_EQ(textOf(*received), "7 : 0 : Invalid : ");
  const OwnedValue copy(received->dup());
  EXPECT_EQ(copy->tag, 40);
  clearAndDelete(received);
}

// What may not arrive

TEST(ArrivingResponse, WithAnElementThatHasNoClassFails) {
  for (const char* element : {"4D 01 05", "4E 01 05", "1B 03 00 43 00 0A 00",
                              "24 03 00 43 00 0A 00 80 43 00", "FF"}) {
    SCOPED_TRACE(element);
    const OwnedPdu<veskGetRespPDU> pdu(new veskGetRespPDU);
    EXPECT_EQ(decodeFrom(*pdu, hex(std::string("27 03 00 43 00 0A 00 80 43 00 "
                                               "80 43 01 02 03 01 01 ") +
                                   element)),
              0u);
    EXPECT_EQ(pdu->list->count, 1u);
  }
}

TEST(ArrivingResponse, MayHaveAnythingForErrors) {
  const OwnedPdu<veskSetRespPDU> pdu(new veskSetRespPDU);
  EXPECT_EQ(decodeFrom(*pdu, hex("28 03 00 43 00 0A 00 80 43 01 02 "
                                 "03 01 05 09 43 00")),
            17u);
  EXPECT_EQ(textOf(*pdu), "0 : 0 : Invalid : 5, ");
}

TEST(ArrivingResponse, InAListKeepsSharingItsListsWithItsCopies) {
  const Bytes bytes = hex("80 43 01 01 28 03 00 43 01 05 0A 00 " + kError);
  veskList arrived;
  ASSERT_EQ(decodeFrom(arrived, bytes), bytes.size());
  veskType* copy = arrived.dup();
  EXPECT_EQ(encoded(*copy), bytes);
  arrived.clear(1);
  EXPECT_EQ(encoded(*copy), bytes) << "the lists are there still";
  veskType::destroyDecoded(copy);
}

TEST(ArrivingResponse, InAListMayHaveItsListFreedByTheProgram) {
  veskList arrived;
  const Bytes bytes = hex("80 43 01 01 28 03 00 43 01 05 0A 00 " + kError);
  ASSERT_EQ(decodeFrom(arrived, bytes), bytes.size());
  veskList* const errors = arrived.at<veskSetRespPDU>(0)->errors;
  errors->clear(1);
  delete errors;
  arrived.clear(1);
}

TEST(ArrivingResponse, InAListThatAProgramFilledKeepsItsLists) {
  auto* response = new veskSetRespPDU;
  const Bytes bytes = hex("28 03 00 43 01 05 0A 00 " + kError);
  ASSERT_EQ(decodeFrom(*response, bytes), bytes.size());
  veskList* errors = response->errors;
  veskList filled;
  filled.append(response);
  filled.clear(1);
  ASSERT_EQ(errors->count, 1u);
  EXPECT_EQ(textOf(*errors), kErrorText);
  errors->clear(1);
  delete errors;
}

TEST(QualifiedName, OfTheBaseMeansItsErrorsAlone) {
  const OwnedPdu<veskGetRespPDU> response(
      new veskGetRespPDU(0, twoAttributes(), oneError()));
  char buffer[64];
  const unsigned used = response->veskRespPDU::encode(buffer, sizeof buffer);
  EXPECT_THAT(Bytes(buffer, buffer + used),
              IsHex(std::string("27 03 00 43 00 0A 00 ") + kOneError));
  const OwnedText text(response->veskRespPDU::getString());
  EXPECT_EQ(std::string(text.get()),
            std::string("0 : 0 : Invalid : ") + kOneErrorText);
  response->veskRespPDU::clear();
  EXPECT_EQ(response->errors, nullptr);
  EXPECT_EQ(response->list->count, 2u);
}

}  // namespace
