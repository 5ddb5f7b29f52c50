// The per-thread last error of the array interface: each thread sees only the error it
// left pending, and takes it exactly once.
#include "kclkrt/errors/last_error.h"

#include <cstdint>
#include <map>
#include <mutex>
#include <new>

#include "kclkrt/errors/error_info.h"
#include "korel/kclkrt.h"
#include "krt/mutex.h"
#include "ut/thread.h"

namespace kcl {
namespace {

class LastErrorStore {
 public:
  ~LastErrorStore() {
    // Records still pending when the library unloads are released with it.
    for (auto& [thread, info] : pending_)
      if (info) info->release();
    pending_.clear();
  }

  void set(ErrorInfo* info) {
    uint32_t self = ut_thread_self();
    auto it = pending_.find(self);
    if (it != pending_.end() && it->second != nullptr) it->second->release();
    pending_[self] = info;
  }

  ErrorInfo* take() {
    auto it = pending_.find(ut_thread_self());
    if (it == pending_.end()) return nullptr;
    ErrorInfo* info = it->second;
    pending_.erase(it);
    return info;
  }

  bool pending() const { return pending_.count(ut_thread_self()) != 0; }
  std::size_t size() const { return pending_.size(); }

 private:
  std::map<uint32_t, ErrorInfo*> pending_;  // owns one reference to each record
};

LastErrorStore store;

using Lock = std::lock_guard<std::recursive_mutex>;

// Thread ids are never reused, so an error left by a thread that has ended can never
// be taken: it is released when its thread ends, not kept until unload.
struct ThreadExitRelease {
  ~ThreadExitRelease() {
    Lock lock(krt::global_mutex());
    if (ErrorInfo* info = store.take()) info->release();
  }
};

void release_at_thread_exit() { thread_local ThreadExitRelease guard; }

}  // namespace

std::size_t pending_error_count() {
  Lock lock(krt::global_mutex());
  return store.size();
}

}  // namespace kcl

void kclcppSetLastError(const char* msg) { kclcppSetLastErrorWithStackTrace(msg, nullptr, 0); }

void kclcppSetLastErrorWithStackTrace(const char* msg, const char** lines, int count) {
  try {
    kcl::Lock lock(krt::global_mutex());
    // Built before the store is touched: if building fails the old entry stays.
    auto* info = new kcl::ErrorInfo(msg, lines, count);
    kcl::release_at_thread_exit();
    kcl::store.set(info);
  } catch (...) {
  }
}

int kclcppGetLastError(void** err) {
  if (err == nullptr) return -1;
  kcl::Lock lock(krt::global_mutex());
  *err = static_cast<error_info*>(kcl::store.take());
  return 0;
}

bool kclcppErrorCheck(void) {
  kcl::Lock lock(krt::global_mutex());
  return kcl::store.pending();
}

int kclcppCreateError(void** err, const char* msg) {
  if (err == nullptr) return -1;
  try {
    *err = static_cast<error_info*>(new kcl::ErrorInfo(msg));
    return 0;
  } catch (...) {
    *err = nullptr;
    return -1;
  }
}
