#include "ut/hash.h"

#include <gtest/gtest.h>

TEST(Hash, MatchesXxHash32AndSeparatesInputs) {
  EXPECT_EQ(ut_hash_n_bytes("", 0, 0), 0x02CC5D05u);
  EXPECT_EQ(ut_hash_n_bytes(nullptr, 12, 0), 0x02CC5D05u);
  EXPECT_NE(ut_hash_n_bytes("abc", 3, 0), ut_hash_n_bytes("abd", 3, 0));
  EXPECT_NE(ut_hash_n_bytes("abc", 3, 0), ut_hash_n_bytes("abc", 3, 1));
  EXPECT_NE(ut_hash_n_bytes("abc", 3, 0), ut_hash_n_bytes("abc", 2, 0));
}
