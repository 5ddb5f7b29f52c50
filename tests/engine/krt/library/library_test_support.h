// Calling the built-in functions through their table, and building and reading arrays.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "korel/kx.h"
#include "support/owned_array.h"
#include "krt/error_state.h"
#include "krt/instance.h"
#include "krt/library/functions.h"
#include "kx/error.h"

namespace libtest {

using korel::test::Destroy;
using korel::test::Owned;

// One instance runs every call: the library's functions are reached by name, as Korel
// code reaches them.
inline krtInstance& engine() {
  static krtInstance* instance = [] {
    krtOptions options;
    options.deployed = true;
    return new krtInstance(options);  // lives as long as the test program
  }();
  return *instance;
}

// Every library function, with its table entry.
template <class F>
void for_each_function(F&& f) {
  for (const krt::lang::IntrinsicGroup& g : krt::library::function_groups())
    for (const krt::lang::IntrinsicEntry* e = g.entries; e->name; ++e) f(*e);
}

// Calls `name` with nlhs outputs; returns max(nlhs, 1) results.
inline std::vector<Owned> call_with(const char* name, int nlhs, std::vector<kxArray*> in) {
  std::vector<kxArray*> out(static_cast<std::size_t>(nlhs > 0 ? nlhs : 1), nullptr);
  if (!engine().CallKorelFunction(name, nlhs, out.data(), static_cast<int>(in.size()), in.data()))
    ADD_FAILURE() << name << ": " << engine().GetErrorState().message;
  std::vector<Owned> results;
  for (kxArray* a : out) results.emplace_back(a);
  return results;
}

template <class... A>
std::vector<Owned> call_n(int nlhs, const char* name, const A&... args) {
  return call_with(name, nlhs, {args.get()...});
}

template <class... A>
Owned call(const char* name, const A&... args) {
  return std::move(call_n(1, name, args...)[0]);
}

// The identifier of the error that calling `name` raises ("" when none), checking that
// no output was left behind.
inline std::string error_with(const char* name, int nlhs, std::vector<kxArray*> in) {
  std::vector<kxArray*> out(static_cast<std::size_t>(nlhs > 0 ? nlhs : 1), nullptr);
  if (engine().CallKorelFunction(name, nlhs, out.data(), static_cast<int>(in.size()), in.data())) {
    for (kxArray* a : out) kxDestroyArray(a);
    return "";
  }
  for (kxArray* a : out) EXPECT_EQ(a, nullptr) << name << " left an output after raising";
  const krt::ErrorState& e = engine().GetErrorState();
  EXPECT_FALSE(e.message.empty()) << name << " raised without a message";
  return e.identifier;
}

template <class... A>
std::string error_of(const char* name, const A&... args) {
  return error_with(name, 1, {args.get()...});
}

// ---- Building arrays ---------------------------------------------------------------

inline Owned num(double v) { return Owned(kxCreateDoubleScalar(v)); }
inline Owned text(const char* s) { return Owned(kxCreateString(s)); }
inline Owned empty() { return Owned(kxCreateDoubleMatrix(0, 0, kxREAL)); }
inline Owned boolean(bool v) { return Owned(kxCreateLogicalScalar(v)); }

// An array of class `cls` and shape `dims` with the given elements in storage order.
inline Owned typed(kxClassID cls, std::vector<kxSize> dims, std::vector<double> values) {
  kxArray* a = cls == kxLOGICAL_CLASS ? kxCreateLogicalArray(dims.size(), dims.data())
               : cls == kxCHAR_CLASS  ? kxCreateCharArray(dims.size(), dims.data())
                                      : kxCreateNumericArray(dims.size(), dims.data(), cls, kxREAL);
  if (!values.empty())
    kxConvertBufferToType(kxGetData(a), cls, values.data(), kxDOUBLE_CLASS, values.size());
  return Owned(a);
}

inline Owned row(std::vector<double> v) { return typed(kxDOUBLE_CLASS, {1, v.size()}, v); }
inline Owned col(std::vector<double> v) { return typed(kxDOUBLE_CLASS, {v.size(), 1}, v); }

// A matrix written row by row.
inline Owned mat(std::initializer_list<std::initializer_list<double>> rows,
                 kxClassID cls = kxDOUBLE_CLASS) {
  std::size_t m = rows.size(), n = m ? rows.begin()->size() : 0;
  std::vector<double> values(m * n);
  std::size_t r = 0;
  for (const auto& line : rows) {
    std::size_t c = 0;
    for (double v : line) values[c++ * m + r] = v;
    ++r;
  }
  return typed(cls, {m, n}, values);
}

inline Owned complex_row(std::vector<double> re, std::vector<double> im) {
  Owned a(kxCreateDoubleMatrix(1, re.size(), kxCOMPLEX));
  std::copy(re.begin(), re.end(), kxGetPr(a.get()));
  std::copy(im.begin(), im.end(), kxGetPi(a.get()));
  return a;
}

inline Owned char_rows(std::vector<const char*> rows) {
  return Owned(kxCreateCharMatrixFromStrings(rows.size(), rows.data()));
}

// A cell of shape `dims` taking the elements (null for an empty place).
inline Owned cell_of(std::vector<kxSize> dims, std::vector<Owned> elements) {
  Owned c(kxCreateCellArray(dims.size(), dims.data()));
  for (std::size_t i = 0; i < elements.size(); ++i) kxSetCell(c.get(), i, elements[i].release());
  return c;
}

template <class... A>
Owned cell_row(A&&... elements) {
  std::vector<Owned> list;
  (list.push_back(std::move(elements)), ...);
  kxSize n = list.size();
  return cell_of({1, n}, std::move(list));
}

// ---- Reading arrays ----------------------------------------------------------------

inline std::vector<kxSize> dims(const Owned& a) {
  return {kxGetDimensions(a.get()), kxGetDimensions(a.get()) + kxGetNumberOfDimensions(a.get())};
}

inline std::vector<double> values(const Owned& a) {
  std::vector<double> v(kxGetNumberOfElements(a.get()));
  if (!v.empty() && kxGetData(a.get()))
    kxConvertBufferToType(v.data(), kxDOUBLE_CLASS, kxGetData(a.get()), kxGetClassID(a.get()),
                          v.size());
  return v;
}

inline std::vector<double> imag_values(const Owned& a) {
  std::vector<double> v(kxGetNumberOfElements(a.get()));
  if (!v.empty() && kxGetImagData(a.get()))
    kxConvertBufferToType(v.data(), kxDOUBLE_CLASS, kxGetImagData(a.get()), kxGetClassID(a.get()),
                          v.size());
  return v;
}

inline double scalar(const Owned& a) {
  EXPECT_EQ(kxGetNumberOfElements(a.get()), 1u);
  return kxGetScalar(a.get());
}

inline std::string str(const Owned& a) {
  EXPECT_TRUE(kxIsChar(a.get())) << kxGetClassName(a.get());
  char* s = kxArrayToString(a.get());
  std::string out = s ? s : "<null>";
  kxFree(s);
  return out;
}

// The text of element i of a cell.
inline std::string text_in(const Owned& cell, kxSize i) {
  const kxArray* element = kxGetCell(cell.get(), i);
  EXPECT_TRUE(kxIsChar(element)) << "element " << i;
  char* s = kxArrayToString(element);
  std::string out = s ? s : "<null>";
  kxFree(s);
  return out;
}

// The rows of a char matrix as texts.
inline std::vector<std::string> rows_of(const Owned& a) {
  std::vector<std::string> rows;
  kxSize m = kxGetM(a.get()), n = kxGetN(a.get());
  const kxChar* c = kxGetChars(a.get());
  for (kxSize r = 0; r < m; ++r) {
    std::string line;
    for (kxSize k = 0; k < n; ++k) line += static_cast<char>(c[k * m + r]);
    rows.push_back(line);
  }
  return rows;
}

inline std::string class_of(const Owned& a) { return kxGetClassName(a.get()); }

using Dims = std::vector<kxSize>;
using Doubles = std::vector<double>;
using Texts = std::vector<std::string>;

}  // namespace libtest
