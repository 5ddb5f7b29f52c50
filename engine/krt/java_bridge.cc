#include "krt/java_bridge.h"

#include <atomic>

namespace krt {
namespace {

// Any thread may hand it in or read it; nothing else is tied to it.
std::atomic<void*> class_loader{nullptr};

}  // namespace

void set_standalone_class_loader(void* loader) { class_loader.store(loader); }

void* standalone_class_loader() { return class_loader.load(); }

}  // namespace krt
