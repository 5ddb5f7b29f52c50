#include "kx/objects.h"

#include <atomic>

#include "kx/array.h"

namespace kx {
namespace {
std::atomic<ObjectCountObserver> observer{nullptr};
}

void set_object_count_observer(ObjectCountObserver fn) { observer.store(fn); }

void count_objects(Storage& storage) {
  storage.counted_objects = true;
  if (ObjectCountObserver fn = observer.load(); fn && storage.capacity)
    fn(storage.name.c_str(), static_cast<long>(storage.capacity));
}

void uncount_objects(Storage& storage) noexcept {
  if (!storage.counted_objects) return;
  storage.counted_objects = false;
  if (ObjectCountObserver fn = observer.load(); fn && storage.capacity)
    fn(storage.name.c_str(), -static_cast<long>(storage.capacity));
}

}  // namespace kx
