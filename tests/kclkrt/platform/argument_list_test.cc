// Short argument lists stay off the heap; long ones are allocated.
#include <gtest/gtest.h>

#include <cstdlib>
#include <new>

#include "kclkrt/platform/argument_list.h"
#include "kclkrt/platform/owned_array_list.h"
#include "korel/kx.h"

namespace {
thread_local int allocations = 0;
}  // namespace

// Counts this thread's allocations for the whole test program.
void* operator new(std::size_t size) {
  ++allocations;
  if (void* p = std::malloc(size ? size : 1)) return p;
  throw std::bad_alloc();
}
void* operator new[](std::size_t size) { return operator new(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  ++allocations;
  return std::malloc(size ? size : 1);
}
void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept {
  return operator new(size, tag);
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }

TEST(ArgumentList, FiveEntriesInPlaceMoreOnTheHeap) {
  int before = allocations;
  {
    kcl::ArgumentList<kxArray*> five(5);
    for (std::size_t i = 0; i < five.size(); ++i) EXPECT_EQ(five[i], nullptr);
    five[4] = reinterpret_cast<kxArray*>(&before);
    EXPECT_EQ(five.data()[4], reinterpret_cast<kxArray*>(&before));
  }
  EXPECT_EQ(allocations, before);

  kcl::ArgumentList<kxArray*> six(6);
  EXPECT_EQ(allocations, before + 1);
  for (std::size_t i = 0; i < six.size(); ++i) EXPECT_EQ(six[i], nullptr);

  // An owned list destroys what it still holds, and nothing it gave away.
  kxArray* given = kxCreateDoubleScalar(1);
  {
    kcl::OwnedArrayList list(2);
    list[0] = given;
    list[1] = kxCreateDoubleScalar(2);
    EXPECT_EQ(list.take(0), given);
    EXPECT_EQ(list[0], nullptr);
  }
  EXPECT_EQ(kxGetScalar(given), 1);
  kxDestroyArray(given);
}
