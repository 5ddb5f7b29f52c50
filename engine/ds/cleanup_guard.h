// Runs a clean-up function when a scope is left, unless the work succeeded.
#pragma once

#include <functional>
#include <utility>

class dsCleanupFunctionGuard {
 public:
  explicit dsCleanupFunctionGuard(std::function<void()> cleanup) : cleanup_(std::move(cleanup)) {}
  // Runs the clean-up unless dismissed; a clean-up that throws is ignored, since it runs
  // while another failure may already be on its way out.
  ~dsCleanupFunctionGuard() {
    if (!cleanup_) return;
    try {
      cleanup_();
    } catch (...) {
    }
  }
  dsCleanupFunctionGuard(const dsCleanupFunctionGuard&) = delete;
  dsCleanupFunctionGuard& operator=(const dsCleanupFunctionGuard&) = delete;

  // The work succeeded: nothing is to be undone.
  void dismiss() { cleanup_ = nullptr; }

 private:
  std::function<void()> cleanup_;
};
