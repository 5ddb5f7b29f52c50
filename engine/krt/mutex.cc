#include "krt/mutex.h"

namespace krt {

std::recursive_mutex& global_mutex() {
  // Built on first use so that it exists for callers running from other libraries'
  // static initialisers.
  static std::recursive_mutex mutex;
  return mutex;
}

}  // namespace krt

void krt_acquire_mutex() { krt::global_mutex().lock(); }
void krt_release_mutex() { krt::global_mutex().unlock(); }
