// Return codes as texts, printed lines and values.

#include "ostrel/veskError.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <string>
#include <typeinfo>

#include "support/bytes.h"
#include "support/holders.h"
#include "support/value_table.h"

namespace {

using ostrel::test::checkRow;
using ostrel::test::decodeFrom;
using ostrel::test::encoded;
using ostrel::test::hex;
using ostrel::test::IsHex;
using ostrel::test::kOneErrorText;
using ostrel::test::listOf;
using ostrel::test::oneError;
using ostrel::test::OwnedText;
using ostrel::test::OwnedValue;
using ostrel::test::row;
using ostrel::test::rowName;
using ostrel::test::textOf;
using ostrel::test::ValueRow;

// Every code from 0 to 44 with its text.
constexpr const char* kTexts[] = {
    "No Error",
    "No Such Name",
    "Bad Value",
    "Oid Format",
    "Aid Format",
    "Permission Denied",
    "Bad Access",
    "Required Attribute",
    "No Object Manager",
    "Database Error",
    "Network Error",
    "Encode/decode Error",
    "Address Error",
    "SysAdmin Error",
    "SysOwner Error",
    "SysLocation Error",
    "Ostrel Error 16",
    "Ostrel Error 17",
    "Ostrel Error 18",
    "Ostrel Error 19",
    "Ostrel Error 20",
    "Ostrel Error 21",
    "Ostrel Error 22",
    "Ostrel Error 23",
    "Ostrel Error 24",
    "Ostrel Error 25",
    "Ostrel Error 26",
    "Sys Admin/Owner Error",
    "Sys Admin/Location Error",
    "Sys Owner/Location Error",
    "Ostrel Error 30",
    "Ostrel Error 31",
    "Ostrel Error 32",
    "Ostrel Error 33",
    "Ostrel Error 34",
    "Ostrel Error 35",
    "Ostrel Error 36",
    "Ostrel Error 37",
    "Ostrel Error 38",
    "Ostrel Error 39",
    "Ostrel Error 40",
    "Ostrel Error 41",
    "Sys Admin/Owner/Location Error",
    "Ostrel Arg List Error",
    "Ostrel Internal Error",
};
constexpr int kFirstWithoutText = 43;  // of those that callers may ask for
constexpr int kTableEnd = 45;
static_assert(sizeof kTexts / sizeof *kTexts == kTableEnd, "codes 0 to 44");

std::string errorString(int code, veskList* list = nullptr) {
  const OwnedText text(veskGetErrorString(code, list));
  return text.get();
}

// What veskPrintErrorString printed and what it returned.
struct Printed {
  std::string text;
  int result;
};

Printed printed(int code, veskList* list = nullptr, int error = 0) {
  testing::internal::CaptureStdout();
  errno = error;
  const int result = veskPrintErrorString(code, list);
  return {testing::internal::GetCapturedStdout(), result};
}

// Sets errno for one test.
class Errno {
 public:
  explicit Errno(int error) : before_(errno) { errno = error; }
  ~Errno() { errno = before_; }
  Errno(const Errno&) = delete;
  Errno& operator=(const Errno&) = delete;

 private:
  int before_;
};

// The value

const ValueRow kRows[] = {
    row<veskError>("ErrorEmpty", "1A 43 00 03 00", "index 0 : 0(No Error)")
        .needs(9),
    row<veskError>("ErrorOfTheThirdItem", "1A 43 01 02 03 01 05",
                   "index 2 : 5(Permission Denied)", 2u, 5)
        .needs(10),
    row<veskError>(
        "ErrorOfTheLastItem", "1A 43 04 FF FF FF FF 03 04 FF FF FF FF",
        "index 4294967295 : -1(illegal return code: -1)", 4294967295u, -1),
    row<veskError>("ErrorOfCode255", "1A 43 00 03 01 FF",
                   "index 0 : 255(illegal return code: 255)", 0u, 255)
        .needs(9),
    row<veskError>("ErrorOfTheLowestCode", "1A 43 00 03 04 80 00 00 00",
                   "index 0 : -2147483648(illegal return code: -2147483648)",
                   0u, INT_MIN),
    row<veskError>("ErrorBehindTheTable", "1A 43 00 03 01 2D",
                   "index 0 : 45(illegal return code: 45)", 0u, 45)
        .needs(9),
};

class ErrorTable : public testing::TestWithParam<ValueRow> {};

TEST_P(ErrorTable, RowHolds) { checkRow(GetParam()); }

INSTANTIATE_TEST_SUITE_P(Values, ErrorTable, testing::ValuesIn(kRows), rowName);

TEST(Error, HasItsTagAndZeroesAtFirst) {
  veskError error;
  EXPECT_EQ(error.tag, 26);
  EXPECT_EQ(error.index.value, 0u);
  EXPECT_EQ(error.code.value, 0);
}

TEST(Error, KeepsTheTextsOfCodes43And44) {
  for (int code = 0; code < kTableEnd; ++code) {
    veskError error(7, code);
    EXPECT_EQ(textOf(error),
              "index 7 : " + std::to_string(code) + "(" + kTexts[code] + ")");
  }
}

TEST(Error, KeepsNotKnowingMinusOneAnd255) {
  veskError list(0, -1);
  veskError internal(0, 255);
  EXPECT_EQ(textOf(list), "index 0 : -1(illegal return code: -1)");
  EXPECT_EQ(textOf(internal), "index 0 : 255(illegal return code: 255)");
}

TEST(Error, TextIsTheSameAfterATimeout) {
  const Errno timedOut(ETIMEDOUT);
  veskError error(0, 10);
  EXPECT_EQ(textOf(error), "index 0 : 10(Network Error)");
}

TEST(Error, ComparesByTagAlone) {
  veskError one(1, 2);
  veskError two(3, 4);
  EXPECT_EQ(one.compare(two), 0);
  EXPECT_EQ(one == two, 1);
  veskInt other(1);
  EXPECT_EQ(one.compare(other), 1);
}

TEST(Error, DupHasItsOwnTagAndMembers) {
  veskError error(2, 5);
  error.tag = 99;
  const OwnedValue copy(error.dup());
  EXPECT_EQ(typeid(*copy), typeid(veskError));
  EXPECT_THAT(encoded(*copy), IsHex("1A 43 01 02 03 01 05"));
}

TEST(Error, DoesNotCheckTheTagsOfItsMembers) {
  veskError error;
  EXPECT_EQ(decodeFrom(error, hex("55 03 01 02 43 01 05")), 7u);
  EXPECT_EQ(error.tag, 0x55);
  EXPECT_EQ(textOf(error), "index 2 : 5(Permission Denied)");
}

TEST(Error, BeforeATruncationKeepsWhatItRead) {
  veskError error(2, 5);
  EXPECT_EQ(decodeFrom(error, hex("1A 43 01 07 03 01")), 0u);
  EXPECT_EQ(error.index.value, 7u);
  EXPECT_EQ(error.code.value, 5);
}

// Texts

TEST(ErrorString, HasTheCodeAndItsText) {
  const Errno none(0);
  for (int code = 0; code < kFirstWithoutText; ++code) {
    EXPECT_EQ(errorString(code),
              std::to_string(code) + "(" + kTexts[code] + ")");
  }
  EXPECT_EQ(errorString(-1), "-1(Ostrel Arg List Error)");
  EXPECT_EQ(errorString(255), "255(Ostrel Internal Error)");
}

TEST(ErrorString, KeepsRefusingTheCodesOfTheLastTwoTexts) {
  EXPECT_EQ(errorString(43), "illegal return code: 43");
  EXPECT_EQ(errorString(44), "illegal return code: 44");
}

TEST(ErrorString, NamesACodeThatItDoesNotKnow) {
  EXPECT_EQ(errorString(-2), "illegal return code: -2");
  EXPECT_EQ(errorString(45), "illegal return code: 45");
  EXPECT_EQ(errorString(254), "illegal return code: 254");
  EXPECT_EQ(errorString(256), "illegal return code: 256");
  EXPECT_EQ(errorString(INT_MAX), "illegal return code: 2147483647");
  EXPECT_EQ(errorString(INT_MIN), "illegal return code: -2147483648");
}

TEST(ErrorString, TellsATimeoutByErrno) {
  const Errno timedOut(ETIMEDOUT);
  EXPECT_EQ(errorString(10), "10(Network Error): timed out\n");
  for (const int code : {9, 11, 0, 42}) {
    EXPECT_EQ(errorString(code),
              std::to_string(code) + "(" + kTexts[code] + ")");
  }
  EXPECT_EQ(errorString(255), "255(Ostrel Internal Error)");
}

TEST(ErrorString, SaysNothingOfOtherErrno) {
  const Errno other(ECONNREFUSED);
  EXPECT_EQ(errorString(10), "10(Network Error)");
}

TEST(ErrorString, LeavesErrnoAsItWas) {
  const Errno timedOut(ETIMEDOUT);
  const OwnedValue list(oneError());
  for (const int code : {0, 10, -1, 255, 43}) {
    errorString(code, dynamic_cast<veskList*>(list.get()));
    EXPECT_EQ(errno, ETIMEDOUT);
  }
}

TEST(ErrorString, ShowsTheListForCodeMinusOneAlone) {
  const OwnedValue owner(listOf({new veskError(0, 1), new veskError(2, 5)}));
  auto* list = dynamic_cast<veskList*>(owner.get());
  EXPECT_EQ(errorString(-1, list),
            "-1(Ostrel Arg List Error) index 0 : 1(No Such Name), "
            "index 2 : 5(Permission Denied)");
  EXPECT_EQ(errorString(5, list), "5(Permission Denied)");
  EXPECT_EQ(errorString(255, list), "255(Ostrel Internal Error)");
  EXPECT_EQ(errorString(45, list), "illegal return code: 45");
}

TEST(ErrorString, ShowsAnEmptyListAsASpace) {
  veskList list;
  EXPECT_EQ(errorString(-1, &list), "-1(Ostrel Arg List Error) ");
}

TEST(ErrorString, DoesNotCutALongList) {
  constexpr int kItems = 5000;
  veskList list;
  std::string expected = "-1(Ostrel Arg List Error) ";
  for (int i = 0; i < kItems; ++i) {
    list.append(new veskError(2, 5));
    expected += (i == 0 ? "" : ", ") + std::string(kOneErrorText);
  }
  EXPECT_EQ(errorString(-1, &list), expected);
  list.clear(1);
}

// Printed lines

TEST(ErrorPrint, HasTheCodeAndItsText) {
  for (int code = 0; code < kFirstWithoutText; ++code) {
    const Printed line = printed(code);
    EXPECT_EQ(line.text,
              "Error is " + std::to_string(code) + "(" + kTexts[code] + ")\n");
    EXPECT_EQ(line.result, 1);  // the newline alone
  }
}

TEST(ErrorPrint, TellsATimeoutByErrno) {
  const Printed line = printed(10, nullptr, ETIMEDOUT);
  EXPECT_EQ(line.text, "Error is 10(Network Error): timed out\n");
  EXPECT_EQ(line.result, 12);  // ": timed out" and the newline
  EXPECT_EQ(printed(10, nullptr, EAGAIN).text, "Error is 10(Network Error)\n");
  EXPECT_EQ(printed(9, nullptr, ETIMEDOUT).text,
            "Error is 9(Database Error)\n");
}

TEST(ErrorPrint, OfCodeMinusOneHasTheListOnItsOwnLine) {
  const OwnedValue list(oneError());
  const Printed both = printed(-1, dynamic_cast<veskList*>(list.get()));
  EXPECT_EQ(both.text,
            "Error is -1(Ostrel Arg List Error)\n"
            "Errors are:\n\tindex 2 : 5(Permission Denied)\n");
  EXPECT_EQ(both.result, 44);  // the second call's characters
  const Printed alone = printed(-1);
  EXPECT_EQ(alone.text, "Error is -1(Ostrel Arg List Error)\n");
  EXPECT_EQ(alone.result, 35);
}

TEST(ErrorPrint, OfAnInternalErrorIsOneLine) {
  const OwnedValue list(oneError());
  const Printed line = printed(255, dynamic_cast<veskList*>(list.get()));
  EXPECT_EQ(line.text, "Error is 255(Ostrel Internal Error)\n");
  EXPECT_EQ(line.result, 36);
}

TEST(ErrorPrint, KeepsRefusingTheCodesOfTheLastTwoTexts) {
  EXPECT_EQ(printed(43).text, "ostrelPrintErrorString: bad return code: 43\n");
  EXPECT_EQ(printed(44).text, "ostrelPrintErrorString: bad return code: 44\n");
}

TEST(ErrorPrint, NamesACodeThatItDoesNotKnow) {
  const Printed line = printed(-2);
  EXPECT_EQ(line.text, "ostrelPrintErrorString: bad return code: -2\n");
  EXPECT_EQ(line.result, 44);
  EXPECT_EQ(printed(45).text, "ostrelPrintErrorString: bad return code: 45\n");
  EXPECT_EQ(printed(256).text,
            "ostrelPrintErrorString: bad return code: 256\n");
}

TEST(ErrorPrint, DoesNotCutALongList) {
  veskList list;
  const std::string longText(100000, 'x');
  list.append(new veskString(longText.c_str(), 0));
  EXPECT_EQ(
      printed(-1, &list).text,
      "Error is -1(Ostrel Arg List Error)\nErrors are:\n\t" + longText + "\n");
  list.clear(1);
}

}  // namespace
