#include "krt/classes.h"

#include <algorithm>
#include <mutex>

#include "kx/objects.h"

namespace krt {
namespace {

struct Manager {
  std::mutex mutex;
  ClassApplication application{"korel", {}};

  ClassRecord& record(const std::string& name) {
    auto& classes = application.classes;
    auto it = std::find_if(classes.begin(), classes.end(),
                           [&](const ClassRecord& r) { return r.name == name; });
    if (it != classes.end()) return *it;
    ClassRecord r;
    r.name = name;
    r.internal = name.rfind("korel.", 0) == 0;
    return classes.emplace_back(std::move(r));
  }
};

Manager& manager() {
  static Manager* m = new Manager;  // object arrays may die during static destruction
  return *m;
}

void observe(const char* class_name, long delta) {
  Manager& m = manager();
  std::lock_guard lock(m.mutex);
  m.record(class_name).live_objects += delta;
}

// Counting starts when the engine library loads, before any object can exist.
const bool installed = (kx::set_object_count_observer(observe), true);

}  // namespace

std::vector<ClassApplication> class_applications() {
  (void)installed;
  Manager& m = manager();
  std::lock_guard lock(m.mutex);
  return {m.application};
}

void set_class_hidden(const std::string& name, bool hidden) {
  Manager& m = manager();
  std::lock_guard lock(m.mutex);
  m.record(name).hidden = hidden;
}

}  // namespace krt
