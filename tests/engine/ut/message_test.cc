#include "ut/message.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

constexpr uint32_t kTable = 0x7A01;
constexpr uint32_t kGreeting = (kTable << 16) + 1, kReserved = kGreeting + 1, kPlain = kGreeting + 2;
const char* const kIds[] = {"test:greeting", nullptr, "test:plain"};
const char* const kTexts[] = {"Hello %s, you have %d items.", nullptr, "Plain text."};
const utMessageTable kFirst = {3, kTable, "T", kIds, kTexts, "Internal error.", {0, 0}};
const char* const kOtherTexts[] = {"Replaced %d."};
const utMessageTable kSecond = {1, kTable, "T", kIds, kOtherTexts, "Other.", {0, 0}};

TEST(Message, FormatsWithinTheBufferBound) {
  ASSERT_EQ(ut_mem_add_primary_message_table(utGetMemoryContext(), &kFirst), 0);
  utMessageContext* ctx = utGetMessageContext();
  char buffer[64];
  EXPECT_EQ(ut_sprintm(ctx, buffer, sizeof buffer, kGreeting, "Ada", 3), 28);
  EXPECT_STREQ(buffer, "Hello Ada, you have 3 items.");
  std::memset(buffer, '#', sizeof buffer);
  EXPECT_EQ(ut_sprintm(ctx, buffer, 8, kGreeting, "Ada", 3), 7);
  EXPECT_STREQ(buffer, "Hello A");
  EXPECT_EQ(buffer[8], '#') << "wrote past the given size";
  EXPECT_EQ(ut_sprintm(ctx, buffer, 0, kPlain), -1);
  EXPECT_EQ(ut_sprintm(ctx, nullptr, 16, kPlain), -1);
}

TEST(Message, ReservedUnknownAndReplacedTables) {
  ASSERT_EQ(ut_mem_add_primary_message_table(utGetMemoryContext(), &kFirst), 0);
  utMessageContext* ctx = utGetMessageContext();
  char buffer[64];
  for (uint32_t code : {kTable << 16, kReserved, kPlain + 1}) {
    EXPECT_EQ(ut_sprintm(ctx, buffer, sizeof buffer, code), 15) << code;
    EXPECT_STREQ(buffer, "Internal error.");
    EXPECT_EQ(ut_get_message_id(ctx, code), nullptr);
  }
  EXPECT_STREQ(ut_get_message_id(ctx, kPlain), "test:plain");
  EXPECT_EQ(ut_sprintm(ctx, buffer, sizeof buffer, (0x7A7Fu << 16) + 1), -1);
  EXPECT_EQ(ut_get_message(ctx, (0x7A7Fu << 16) + 1), nullptr);

  ASSERT_EQ(ut_mem_add_primary_message_table(utGetMemoryContext(), &kSecond), 0);
  EXPECT_EQ(ut_sprintm(ctx, buffer, sizeof buffer, kGreeting, 42), 12);
  EXPECT_STREQ(buffer, "Replaced 42.");
  EXPECT_STREQ(ut_get_message(ctx, kPlain), "Other.");
}

}  // namespace
