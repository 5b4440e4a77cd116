#include "net/fragment.h"

#include <gtest/gtest.h>

#include <string>

namespace ostrel::tools::server {
namespace {

using namespace std::string_view_literals;

constexpr std::string_view kHeader =
    "\x00\x01\x12\x34\x00\x03\x00\x02\x01\x02\x03\x04\x00\x00\x0b\x60"sv;

TEST(FragmentTest, IsWrittenAsItsBytes) {
  Fragment fragment;
  fragment.id = 0x1234;
  fragment.count = 3;
  fragment.number = 2;
  fragment.total = 0x01020304;
  fragment.offset = 2912;
  const auto bytes = fragment.bytes();
  EXPECT_EQ(std::string_view(reinterpret_cast<const char*>(bytes.data()),
                             bytes.size()),
            kHeader);
}

TEST(FragmentTest, IsReadFromItsBytes) {
  const Fragment fragment = Fragment::of(kHeader);
  EXPECT_EQ(fragment.version, 1);
  EXPECT_EQ(fragment.id, 0x1234);
  EXPECT_EQ(fragment.count, 3);
  EXPECT_EQ(fragment.number, 2);
  EXPECT_EQ(fragment.total, 0x01020304U);
  EXPECT_EQ(fragment.offset, 2912U);
}

TEST(FragmentTest, ReadsTheHighestNumbers) {
  const Fragment fragment = Fragment::of(std::string(16, '\xff'));
  EXPECT_EQ(fragment.version, 65535);
  EXPECT_EQ(fragment.total, 4294967295U);
  EXPECT_EQ(fragment.offset, 4294967295U);
}

TEST(FragmentTest, MessagesHaveAsManyAsTheyNeed) {
  EXPECT_EQ(fragmentsOf(0), 0U);
  EXPECT_EQ(fragmentsOf(1), 1U);
  EXPECT_EQ(fragmentsOf(1456), 1U);
  EXPECT_EQ(fragmentsOf(1457), 2U);
}

}  // namespace
}  // namespace ostrel::tools::server
