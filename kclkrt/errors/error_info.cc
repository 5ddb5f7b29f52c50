#include "kclkrt/errors/error_info.h"

#include <cstring>
#include <memory>

#include "korel/kclkrt.h"

namespace kcl {

ErrorInfo::ErrorInfo(const char* message) : message_(message ? message : "Unspecified error") {}

ErrorInfo::ErrorInfo(const char* message, const char** lines, int count) : ErrorInfo(message) {
  if (lines == nullptr || count <= 0) return;
  // Built aside and adopted only when complete, so a failed copy frees what it made.
  auto copy = std::make_unique<std::unique_ptr<char[]>[]>(count);
  for (int i = 0; i < count; ++i) {
    const char* line = lines[i] ? lines[i] : "";
    std::size_t n = std::strlen(line) + 1;
    copy[i] = std::make_unique<char[]>(n);
    std::memcpy(copy[i].get(), line, n);
  }
  stack_trace_ = new char*[count];
  for (int i = 0; i < count; ++i) stack_trace_[i] = copy[i].release();
  stack_trace_length_ = count;
}

ErrorInfo::~ErrorInfo() {
  for (int32_t i = 0; i < stack_trace_length_; ++i) delete[] stack_trace_[i];
  delete[] stack_trace_;
}

int ErrorInfo::addref() { return count_.fetch_add(1, std::memory_order_relaxed) + 1; }

int ErrorInfo::release() {
  int remaining = count_.fetch_sub(1, std::memory_order_acq_rel) - 1;
  if (remaining == 0) delete this;
  return remaining;
}

const char* ErrorInfo::get_message() { return message_.empty() ? nullptr : message_.c_str(); }

int ErrorInfo::get_stack_trace(const char*** trace) {
  if (trace != nullptr) *trace = const_cast<const char**>(stack_trace_);
  return stack_trace_length_;
}

}  // namespace kcl

const char* error_info_get_message(error_info* info) {
  return info ? info->get_message() : nullptr;
}

int error_info_get_stack_trace(error_info* info, const char*** trace) {
  if (info == nullptr) {
    if (trace != nullptr) *trace = nullptr;
    return -1;
  }
  return info->get_stack_trace(trace);
}

int ref_count_obj_addref(ref_count_obj* obj) { return obj ? obj->addref() : -1; }
int ref_count_obj_release(ref_count_obj* obj) { return obj ? obj->release() : -1; }
