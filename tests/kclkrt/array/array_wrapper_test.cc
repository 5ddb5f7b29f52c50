// korel::Array as a host uses it: only the public headers and the shared library, so
// every failure crosses the boundary as a last-error record and comes back as an
// exception.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "kclkrt/runtime/host_support.h"
#include "korel/array.hpp"

using korel::Array;

namespace {

// The message of the exception `body` throws; "<nothing thrown>" when it returns.
std::string message_of(const std::function<void()>& body) {
  try {
    body();
  } catch (const tbException& e) {
    return e.what() ? e.what() : "<no message>";
  }
  return "<nothing thrown>";
}

class WrapperCalls : public hosttest::RuntimeHost {};

}  // namespace

TEST(ArrayWrapper, ElementsWriteIntoTheirArrayAndCopiesStayApart) {
  Array a = Array::matrix(2, 3);
  a(2, 3) = 5.0;
  EXPECT_EQ(a.values<double>(), (std::vector<double>{0, 0, 0, 0, 0, 5}));
  double read_back = a(2, 3);
  EXPECT_EQ(read_back, 5);

  // A copy shares until one side writes; reading a const copy does not separate them.
  Array b = a;
  Array c = b;
  EXPECT_EQ(std::as_const(c)(6), 5);
  EXPECT_EQ(c.get(), b.get());
  a(1, 1) = 7.0;
  EXPECT_EQ(b.values<double>(), (std::vector<double>{0, 0, 0, 0, 0, 5}));
  EXPECT_EQ(a(1), 7);

  // Element to element assigns the value, not the view; a write through an element of
  // a shared copy leaves the other copy alone.
  c(1, 2) = a(1, 1);
  EXPECT_EQ(c.values<double>(), (std::vector<double>{0, 0, 7, 0, 0, 5}));
  EXPECT_EQ(b(1, 2), 0);

  // Bulk writes convert, and detach like element writes.
  const std::int32_t counts[] = {1, 2, 3, 4, 5, 6};
  b.write(counts, 6);
  EXPECT_EQ(b.values<std::int32_t>(), (std::vector<std::int32_t>(counts, counts + 6)));
  EXPECT_EQ(a.values<double>()[1], 0);

  // Struct fields; a native array made from an Array is independent of it.
  Array s = Array::structure(1, 2, {"name", "age"});
  s("name", 2) = Array("Ada");
  s("age", 2) = 36;  // a number into an empty place
  EXPECT_EQ(s("age", 2), 36);
  Array cells = Array::cell(1, 1);
  cells(1) = Array::matrix(1, 3);
  cells(1) = 2.5;  // replaces the content rather than writing into it
  EXPECT_EQ(cells(1).value().numel(), 1);
  EXPECT_EQ(s.field_name(2), "age");
  EXPECT_EQ(s("name", 2).value(), Array("Ada"));
  kxArray* native = a.to_native();
  static_cast<double*>(kxGetData(native))[0] = 99;
  EXPECT_EQ(a(1), 7);
  Array back = Array::from_native(native);
  EXPECT_EQ(back(1), 99);

  Array moved = std::move(a);
  EXPECT_EQ(a.get(), nullptr);
  EXPECT_EQ(moved(1, 1), 7);
}

TEST(ArrayWrapper, LibraryMessagesCrossTheBoundary) {
  Array a = Array::matrix(2, 3);
  EXPECT_EQ(message_of([&] { a(7); }), "Attempt to access element at index 7  in array of size 6");
  EXPECT_EQ(message_of([&] { a(3, 1); }),
            "Attempt to access element at index [3,1] in array of dimensions [2,3]");
  EXPECT_EQ(message_of([] { Array::cell(1, 2).values<double>(); }),
            "Cannot convert type: cell to type: numeric");
  EXPECT_EQ(message_of([&] { a(1, 1) = Array::cell(1, 1); }),
            "Attempt to access: double with pointer type: cell");
  EXPECT_EQ(a.values<double>(), std::vector<double>(6, 0.0));  // untouched by the failures
  EXPECT_EQ(tbException(nullptr).what(), nullptr);
}

TEST(ArrayWrapper, CreatorsAndQueriesAgreeWithTheLibrary) {
  Array text("hi");
  EXPECT_EQ(text.class_id(), kxCHAR_CLASS);
  EXPECT_EQ(text.dims(), (std::vector<int>{1, 2}));
  EXPECT_TRUE(Array().is_empty());
  EXPECT_EQ(Array::array({2, 3, 4}, kxINT16_CLASS).dims(), (std::vector<int>{2, 3, 4}));
  EXPECT_TRUE(Array::matrix(1, 1, kxDOUBLE_CLASS, true).is_complex());

  Array sparse = Array::sparse(3, 3, {1, 3, 3}, {1, 2, 2}, {2.5, 1, 3});
  EXPECT_TRUE(sparse.is_sparse());
  EXPECT_EQ(sparse.values<double>(), (std::vector<double>{2.5, 4}));
  EXPECT_EQ(sparse(3, 2), 4);
  EXPECT_EQ(sparse(2, 2), 0);

  Array pi = 3.25;
  Array copy = Array::deserialize(pi.serialize());
  EXPECT_EQ(copy, pi);
  EXPECT_EQ(copy.compare(pi), 0);
  EXPECT_EQ(copy.hash(), pi.hash());
  EXPECT_NE(copy.compare(Array(4.0)), 0);
  EXPECT_EQ(message_of([&] { pi.imag(); }),
            "Cannot access the imaginary part of a pure-real array");
}

TEST_F(WrapperCalls, FevalReturnsResultsAndThrowsTheFunctionsError) {
  Array row = Array::matrix(1, 3);
  const double values[] = {1, 2, 3};
  row.write(values, 3);
  std::vector<Array> results = korel::feval(k_, "three_results", 3, {row});
  ASSERT_EQ(results.size(), 3u);
  EXPECT_EQ(results[0], row);
  EXPECT_EQ(results[1].values<double>(), (std::vector<double>{2, 4, 6}));
  EXPECT_EQ(results[2].values<double>(), (std::vector<double>{3, 6, 9}));
  // The first result is the input itself, passed through: writing one leaves the other.
  results[0](1) = 50.0;
  EXPECT_EQ(row.values<double>(), (std::vector<double>{1, 2, 3}));

  try {
    korel::feval(k_, "fails_deep", 0, {Array(-4)});
    FAIL() << "no exception";
  } catch (const tbException& e) {
    EXPECT_STREQ(e.what(), "Input -4 is negative.\nError in fails_deep>check (line 8)");
    std::vector<std::string> trace = e.stack_trace();
    ASSERT_EQ(trace.size(), 2u);
    EXPECT_EQ(trace[0],
              "file " + hosttest::kFunctions + "/fails_deep.k name fails_deep>check line at 8");
  }
}
