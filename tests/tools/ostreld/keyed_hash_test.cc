#include "support/keyed_hash.h"

#include <gtest/gtest.h>

#include <string>

namespace ostrel::tools::server {
namespace {

// The key of the bytes 00 to 0F, and the first hashes of the table that the
// algorithm's authors publish: of no bytes, of 00, of 00 01 and so on.
constexpr HashKey kKey = {0x0706050403020100U, 0x0F0E0D0C0B0A0908U};

TEST(KeyedHash, GivesThePublishedNumbers) {
  EXPECT_EQ(keyedHash(kKey, ""), 0x726FDB47DD0E0E31U);
  EXPECT_EQ(keyedHash(kKey, std::string(1, '\0')), 0x74F839C593DC67FDU);
  EXPECT_EQ(keyedHash(kKey, {"\0\1\2\3\4\5\6\7\10\11\12\13\14\15\16", 15}),
            0xA129CA6149BE45E5U);
}

TEST(KeyedHash, IsAnotherWithAnotherKey) {
  EXPECT_NE(keyedHash(randomHashKey(), "x"), keyedHash(randomHashKey(), "x"));
}

}  // namespace
}  // namespace ostrel::tools::server
