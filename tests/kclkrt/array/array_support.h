// Objects of the array interface as the array suites handle them: owned references,
// creators that must succeed, and the calling thread's last error as text.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "korel/array_api.h"
#include "korel/array_ref.h"

namespace arraytest {

struct Release {
  void operator()(ref_count_obj* object) const {
    if (object) object->release();
  }
};
using Ref = std::unique_ptr<array_ref, Release>;
using Text = std::unique_ptr<char_buffer, Release>;
using List = std::unique_ptr<array_buffer, Release>;

// Takes the pending last error: its message, "<none>" when there is none, "<null>" for
// an empty one.
inline std::string last_error() {
  void* record = nullptr;
  kclcppGetLastError(&record);
  if (!record) return "<none>";
  auto* info = static_cast<error_info*>(record);
  const char* message = error_info_get_message(info);
  std::string text = message ? message : "<null>";
  info->release();
  return text;
}

inline Ref made(int status, array_ref*& a) {  // read after the creator ran
  EXPECT_EQ(status, 0) << last_error();
  return Ref(a);
}

// A rows-by-cols double matrix holding 1, 2, 3, ... in storage order.
inline Ref counting_matrix(int rows, int cols) {
  array_ref* a = nullptr;
  Ref m = made(kclGetNumericMatrix(&a, rows, cols, kxDOUBLE_CLASS, 0), a);
  std::vector<double> values(static_cast<std::size_t>(rows * cols));
  for (std::size_t i = 0; i < values.size(); ++i) values[i] = static_cast<double>(i + 1);
  EXPECT_EQ(array_ref_set_numeric_kxDouble(m.get(), values.data(), rows * cols), 0);
  return m;
}

inline Ref scalar(double value) {
  array_ref* a = nullptr;
  return made(kclGetScalarDouble(&a, value, 0, 0), a);
}

inline Ref cell(int rows, int cols) {
  array_ref* a = nullptr;
  return made(kclGetCellMatrix(&a, rows, cols), a);
}

inline std::vector<double> doubles(array_ref* a) {
  std::vector<double> values(static_cast<std::size_t>(array_ref_number_of_elements(a)));
  EXPECT_EQ(array_ref_get_numeric_kxDouble(a, values.data(), static_cast<int>(values.size())), 0)
      << last_error();
  return values;
}

inline std::string text_of(char_buffer* b) {
  Text owned(b);
  return b ? char_buffer_get_buffer(b) : "<null>";
}

}  // namespace arraytest
