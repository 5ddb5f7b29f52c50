// The exception of the C++ array API. It carries one counted error record: inside the
// library every array failure is one of its subclasses; on the wrapper side it is
// rebuilt from the record that kclcppGetLastError hands over, so what() shows the
// library's message. Header-only: it calls only exported functions.
#pragma once

#include <exception>
#include <string>
#include <vector>

#include "korel/counted_ref.h"

class tbException : public std::exception {
 public:
  tbException() noexcept = default;
  // Takes over one reference to `record`, which may be null.
  explicit tbException(error_info* record) noexcept : record_(record) {}

  // The record's message; null when there is no record or its message is empty.
  const char* what() const noexcept override {
    return record_.get() ? error_info_get_message(record_.get()) : nullptr;
  }

  // The stack trace the record carries, innermost frame first; empty when none.
  std::vector<std::string> stack_trace() const {
    std::vector<std::string> lines;
    const char** trace = nullptr;
    int count = record_.get() ? error_info_get_stack_trace(record_.get(), &trace) : -1;
    for (int i = 0; i < count; ++i) lines.emplace_back(trace[i] ? trace[i] : "");
    return lines;
  }

  error_info* record() const noexcept { return record_.get(); }

 protected:
  // Replaces the record with `record`, taking over its reference.
  void reset_record(error_info* record) noexcept { record_.reset(record); }

 private:
  korel::CountedRef<error_info> record_;
};
