#include "krt/mutex.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

TEST(KrtMutex, IsRecursiveAndExcludesOtherThreads) {
  krt_acquire_mutex();
  krt_acquire_mutex();
  std::atomic<bool> other_got_it{false};
  std::thread other([&] { other_got_it = krt::global_mutex().try_lock(); });
  other.join();
  EXPECT_FALSE(other_got_it);
  krt_release_mutex();
  krt_release_mutex();
  std::thread again([&] {
    other_got_it = krt::global_mutex().try_lock();
    if (other_got_it) krt::global_mutex().unlock();
  });
  again.join();
  EXPECT_TRUE(other_got_it);
}
