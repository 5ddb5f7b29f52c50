#include "ut/warning.h"

#include <atomic>
#include <map>
#include <mutex>

class utWarningManager {
 public:
  void set(const char* id, bool enabled) {
    std::lock_guard lock(mutex_);
    states_[id] = enabled;
  }

  bool get(const char* id) const {
    std::lock_guard lock(mutex_);
    auto it = states_.find(id);
    return it == states_.end() || it->second;
  }

  std::vector<std::pair<std::string, bool>> states() const {
    std::lock_guard lock(mutex_);
    return {states_.begin(), states_.end()};
  }

 private:
  mutable std::mutex mutex_;
  std::map<std::string, bool, std::less<>> states_;
};

namespace {

std::atomic<utWarningManager*> current_manager{nullptr};

// Never destroyed, so warnings issued during process exit still find a manager.
utWarningManager* defaultManager() {
  static utWarningManager* manager = new utWarningManager;
  return manager;
}

}  // namespace

utWarningManager* utNewWarningManager(utMemoryContext*) { return new utWarningManager; }

void utDeleteWarningManager(utWarningManager* manager) {
  if (!manager || manager == defaultManager()) return;
  // A deleted manager must not stay current, or the next warning would use freed memory.
  utWarningManager* expected = manager;
  current_manager.compare_exchange_strong(expected, nullptr);
  delete manager;
}

utWarningManager* utGetCurrentWarningManager() { return current_manager.load(); }

void utSetCurrentWarningManager(utWarningManager* manager) { current_manager.store(manager); }

utWarningManager* utGetWarningContext() {
  utWarningManager* manager = current_manager.load();
  return manager ? manager : defaultManager();
}

void ut_set_warning_status_id(utWarningManager* manager, const char* id, bool enabled) {
  if (manager && id) manager->set(id, enabled);
}

bool ut_get_warning_status_id(utWarningManager* manager, const char* id) {
  return !manager || !id || manager->get(id);
}

std::vector<std::pair<std::string, bool>> ut_get_warning_states(utWarningManager* manager) {
  return manager ? manager->states() : std::vector<std::pair<std::string, bool>>{};
}

bool ut_is_warning_enabled(const char* id) {
  return ut_get_warning_status_id(utGetWarningContext(), id);
}
