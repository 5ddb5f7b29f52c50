// What the operation suites share: building small arrays, reading them back, and the
// identifier of the error an operation raises.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

#include "korel/kx.h"
#include "krt/array/operations.h"
#include "krt/array/value.h"
#include "kx/error.h"

namespace krt::opstest {

using Shape = std::vector<kxSize>;

// An array of class `cls` holding `re` (and `im` when given) in storage order.
inline Value make(kxClassID cls, Shape shape, std::vector<double> re,
                  std::vector<double> im = {}) {
  Value out = cls == kxLOGICAL_CLASS ? checked(kxCreateLogicalArray(shape.size(), shape.data()))
              : cls == kxCHAR_CLASS  ? checked(kxCreateCharArray(shape.size(), shape.data()))
                                     : checked(kxCreateNumericArray(
                                          shape.size(), shape.data(), cls,
                                          im.empty() ? kxREAL : kxCOMPLEX));
  EXPECT_EQ(re.size(), kxGetNumberOfElements(out.get()));
  kxConvertBufferToType(kxGetData(out.get()), cls, re.data(), kxDOUBLE_CLASS, re.size());
  if (!im.empty())
    kxConvertBufferToType(kxGetImagData(out.get()), cls, im.data(), kxDOUBLE_CLASS, im.size());
  return out;
}

inline Value row(std::vector<double> values, kxClassID cls = kxDOUBLE_CLASS) {
  kxSize n = values.size();
  return make(cls, {1, n}, std::move(values));
}
inline Value column(std::vector<double> values, kxClassID cls = kxDOUBLE_CLASS) {
  kxSize n = values.size();
  return make(cls, {n, 1}, std::move(values));
}
inline Value scalar(double v, kxClassID cls = kxDOUBLE_CLASS) { return make(cls, {1, 1}, {v}); }
inline Value complex_scalar(double re, double im) {
  return make(kxDOUBLE_CLASS, {1, 1}, {re}, {im});
}
// rows-by-cols from values given row by row, as they would be typed.
inline Value matrix(kxSize rows, kxSize cols, std::vector<double> by_rows,
                    kxClassID cls = kxDOUBLE_CLASS) {
  std::vector<double> by_columns(by_rows.size());
  for (kxSize i = 0; i < rows; ++i)
    for (kxSize j = 0; j < cols; ++j) by_columns[i + j * rows] = by_rows[i * cols + j];
  return make(cls, {rows, cols}, std::move(by_columns));
}
inline Value text(const char* s) { return make_string(s); }
inline Value empty() { return make_empty_double(); }

inline Shape dims(const kxArray* a) {
  return {kxGetDimensions(a), kxGetDimensions(a) + kxGetNumberOfDimensions(a)};
}
inline Shape dims(const Value& v) { return dims(v.get()); }

// Real parts in storage order, as doubles.
inline std::vector<double> values(const kxArray* a) {
  std::vector<double> out(kxGetNumberOfElements(a));
  kxConvertBufferToType(out.data(), kxDOUBLE_CLASS, kxGetData(a), kxGetClassID(a), out.size());
  return out;
}
inline std::vector<double> values(const Value& v) { return values(v.get()); }
inline std::vector<double> imag_values(const Value& v) {
  std::vector<double> out(kxGetNumberOfElements(v.get()));
  if (kxIsComplex(v.get()))
    kxConvertBufferToType(out.data(), kxDOUBLE_CLASS, kxGetImagData(v.get()),
                          kxGetClassID(v.get()), out.size());
  return out;
}
inline std::string string_of(const Value& v) {
  char* s = kxArrayToString(v.get());
  std::string out = s ? s : "<not text>";
  kxFree(s);
  return out;
}

// "identifier: message" of the Korel error `body` raises ("none" when it returns).
inline std::string error_of(const std::function<void()>& body) {
  try {
    body();
  } catch (const kx::KorelError& e) {
    return e.identifier() + ": " + e.what();
  }
  return "none";
}
inline std::string error_id(const std::function<void()>& body) {
  std::string error = error_of(body);
  return error.substr(0, error.find(": "));
}

// Subscript lists from arrays; a null entry is ':'.
inline std::vector<const kxArray*> subs(std::initializer_list<const Value*> list) {
  std::vector<const kxArray*> out;
  for (const Value* v : list) out.push_back(v ? v->get() : nullptr);
  return out;
}

}  // namespace krt::opstest
