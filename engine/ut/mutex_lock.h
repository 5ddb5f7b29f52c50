// An in-process mutex with explicit acquire and release.
#pragma once

#include <mutex>
#include <stdexcept>

namespace Tenbrook::System {

// Recursive: the thread that holds it may acquire it again and then releases it as
// often, so code running under it may call back into its owner.
class MutexLock {
 public:
  // `spin_count`: how many times acquire tries without blocking before it waits.
  // `flags`: none are defined; anything but 0 is refused.
  MutexLock(unsigned spin_count, unsigned flags) : spin_count_(spin_count) {
    if (flags != 0) throw std::invalid_argument("MutexLock: unknown flags");
  }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

  void acquire() {
    for (unsigned i = 0; i < spin_count_; ++i)
      if (mutex_.try_lock()) return;
    mutex_.lock();
  }
  void release() { mutex_.unlock(); }

  // Holds the mutex for a scope.
  class Holder {
   public:
    explicit Holder(MutexLock& lock) : lock_(lock) { lock_.acquire(); }
    ~Holder() { lock_.release(); }
    Holder(const Holder&) = delete;
    Holder& operator=(const Holder&) = delete;

   private:
    MutexLock& lock_;
  };

 private:
  std::recursive_mutex mutex_;
  unsigned spin_count_;
};

}  // namespace Tenbrook::System
