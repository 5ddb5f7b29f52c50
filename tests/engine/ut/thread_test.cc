#include "ut/thread.h"

#include <gtest/gtest.h>

#include <set>
#include <thread>

TEST(Thread, IdsAreStableAndNeverReused) {
  const uint32_t main_id = ut_thread_self();
  EXPECT_EQ(ut_thread_self(), main_id);
  std::set<uint32_t> ids{0, main_id};
  EXPECT_EQ(ids.size(), 2u);
  // One thread at a time, so the system is free to reuse its own thread ids.
  for (int i = 0; i < 8; ++i) {
    uint32_t first = 0, second = 0;
    std::thread([&] { first = ut_thread_self(), second = ut_thread_self(); }).join();
    EXPECT_EQ(first, second);
    EXPECT_TRUE(ids.insert(first).second) << "id " << first << " handed out twice";
  }
}
