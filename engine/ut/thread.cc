#include "ut/thread.h"

#include <atomic>

namespace {
std::atomic<uint32_t> next_thread_id{1};
}

uint32_t ut_thread_self() {
  // Drawn on first use, so threads that never ask do not consume numbers.
  thread_local uint32_t id = next_thread_id.fetch_add(1);
  return id;
}
