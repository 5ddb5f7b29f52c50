// The exception of the C++ array API. It carries one counted error record: inside the
// library every array failure is one of its subclasses; on the wrapper side it is
// rebuilt from the record that kclcppGetLastError hands over, so what() shows the
// library's message. Header-only: it calls only exported functions.
#pragma once

#include <exception>
#include <string>
#include <utility>
#include <vector>

#include "korel/kclkrt.h"
#include "korel/ref_count_obj.h"

class tbException : public std::exception {
 public:
  tbException() noexcept = default;
  // Takes over one reference to `record`, which may be null.
  explicit tbException(error_info* record) noexcept : record_(record) {}
  tbException(const tbException& other) noexcept : record_(other.record_) {
    if (record_) ref_count_obj_addref(record_);
  }
  tbException(tbException&& other) noexcept : record_(std::exchange(other.record_, nullptr)) {}
  tbException& operator=(tbException other) noexcept {
    std::swap(record_, other.record_);
    return *this;
  }
  ~tbException() override {
    if (record_) ref_count_obj_release(record_);
  }

  // The record's message; null when there is no record or its message is empty.
  const char* what() const noexcept override {
    return record_ ? error_info_get_message(record_) : nullptr;
  }

  // The stack trace the record carries, innermost frame first; empty when none.
  std::vector<std::string> stack_trace() const {
    std::vector<std::string> lines;
    const char** trace = nullptr;
    int count = record_ ? error_info_get_stack_trace(record_, &trace) : -1;
    for (int i = 0; i < count; ++i) lines.emplace_back(trace[i] ? trace[i] : "");
    return lines;
  }

  error_info* record() const noexcept { return record_; }

 protected:
  // Replaces the record with `record`, taking over its reference.
  void reset_record(error_info* record) noexcept {
    if (record_) ref_count_obj_release(record_);
    record_ = record;
  }

 private:
  error_info* record_ = nullptr;
};
