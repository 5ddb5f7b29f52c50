// The error record: a message and optionally a copy of a stack trace, reference
// counted, handed across the array interface as the thread's last error and carried by
// every array exception.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "kclkrt/platform/small_object_allocator.h"
#include "korel/ref_count_obj.h"

namespace kcl {

class ErrorInfo final : public error_info, public SmallObject {
 public:
  // A null message is stored as "Unspecified error". The record starts with one
  // reference, owned by the caller.
  explicit ErrorInfo(const char* message);
  // Also copies `count` trace lines (none when `count` <= 0 or `lines` is null; a null
  // line is copied as empty).
  ErrorInfo(const char* message, const char** lines, int count);
  ~ErrorInfo() override;
  ErrorInfo(const ErrorInfo&) = delete;
  ErrorInfo& operator=(const ErrorInfo&) = delete;

  int addref() override;
  int release() override;
  const char* get_message() override;
  int get_stack_trace(const char*** trace) override;

 private:
  char** stack_trace_ = nullptr;
  int32_t stack_trace_length_ = -1;
  std::string message_;
  std::atomic<int32_t> count_{1};
};

}  // namespace kcl
