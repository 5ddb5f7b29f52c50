// The Korel library functions, called through korel::feval on an instance whose path
// holds their directories, as a component's does.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "korel/array.hpp"
#include "korel/kclkrt.h"

namespace {

using korel::Array;

// A rows-by-cols double array from its values in column order.
Array matrix(int rows, int cols, const std::vector<double>& values) {
  Array a = Array::matrix(rows, cols);
  a.write(values.data(), static_cast<int>(values.size()));
  return a;
}

class KorelLibrary : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    static const bool started = kclInitializeApplication(nullptr, 0);
    ASSERT_TRUE(started);
  }
  void SetUp() override {
    ASSERT_TRUE(kclInitializeInstance(&k_));
    for (const char* dir : {"/datafun", "/elmat"})
      ASSERT_TRUE(kclAddPath(k_, (std::string(KOREL_LIBRARY_DIR) + dir).c_str()));
  }
  void TearDown() override { kclPopActivation(k_); }

  Array call(const char* name, std::vector<Array> inputs) {
    return korel::feval(k_, name, 1, inputs).at(0);
  }
  // The message of the error `name` raises on `inputs`, without the lines that say where.
  std::string failure(const char* name, std::vector<Array> inputs) {
    try {
      korel::feval(k_, name, 1, inputs);
    } catch (const tbException& e) {
      std::string message = e.what() ? e.what() : "";
      return message.substr(0, message.find('\n'));
    }
    return "no error";
  }

  krtInstance* k_ = nullptr;
};

TEST_F(KorelLibrary, StatisticsOfVectorsAndColumns) {
  Array samples = matrix(1, 5, {2, 4, 4, 5, 7});
  EXPECT_DOUBLE_EQ(call("mean", {samples}).values<double>()[0], 4.4);
  EXPECT_DOUBLE_EQ(call("var", {samples}).values<double>()[0], 3.3);
  EXPECT_DOUBLE_EQ(call("std", {samples}).values<double>()[0], std::sqrt(3.3));
  EXPECT_EQ(call("var", {Array(9.0)}).values<double>(), std::vector<double>{0});
  // A column vector is a vector too; a matrix averages its columns.
  EXPECT_DOUBLE_EQ(call("mean", {matrix(3, 1, {1, 2, 6})}).values<double>()[0], 3);
  Array columns = call("mean", {matrix(2, 3, {1, 3, 10, 20, -1, 1})});
  EXPECT_EQ(columns.dims(), (std::vector<int>{1, 3}));
  EXPECT_EQ(columns.values<double>(), (std::vector<double>{2, 15, 0}));
  EXPECT_TRUE(std::isnan(call("mean", {Array::matrix(0, 0)}).values<double>()[0]));

  EXPECT_EQ(call("cumsum", {matrix(1, 4, {1, 2, 3, 4})}).values<double>(),
            (std::vector<double>{1, 3, 6, 10}));
  EXPECT_EQ(call("cumsum", {matrix(2, 2, {1, 2, 3, 4})}).values<double>(),
            (std::vector<double>{1, 3, 3, 7}));

  EXPECT_EQ(failure("mean", {Array("text")}), "mean needs a numeric or logical array.");
  EXPECT_EQ(failure("var", {matrix(2, 2, {1, 2, 3, 4})}), "var needs a vector.");
}

TEST_F(KorelLibrary, RowsAndColumns) {
  Array five = call("linspace", {Array(0.0), Array(1.0), Array(5.0)});
  EXPECT_EQ(five.values<double>(), (std::vector<double>{0, 0.25, 0.5, 0.75, 1}));
  std::vector<double> hundred = call("linspace", {Array(-1.0), Array(2.0)}).values<double>();
  ASSERT_EQ(hundred.size(), 100u);
  EXPECT_EQ(hundred.front(), -1);
  EXPECT_EQ(hundred.back(), 2);  // exactly, whatever the rounding of the steps
  EXPECT_EQ(call("linspace", {Array(3.0), Array(7.0), Array(1.0)}).values<double>(),
            std::vector<double>{7});
  EXPECT_EQ(call("linspace", {Array(3.0), Array(7.0), Array(0.0)}).dims(), (std::vector<int>{1, 0}));

  Array m = matrix(2, 3, {1, 2, 3, 4, 5, 6});  // [1 3 5; 2 4 6]
  EXPECT_EQ(call("fliplr", {m}).values<double>(), (std::vector<double>{5, 6, 3, 4, 1, 2}));
  EXPECT_EQ(call("flipud", {m}).values<double>(), (std::vector<double>{2, 1, 4, 3, 6, 5}));

  auto is = [&](const char* name, int rows, int cols) {
    return call(name, {Array::matrix(rows, cols)}).values<double>()[0] != 0;
  };
  EXPECT_TRUE(is("isrow", 1, 3));
  EXPECT_FALSE(is("isrow", 3, 1));
  EXPECT_TRUE(is("iscolumn", 3, 1));
  EXPECT_FALSE(is("iscolumn", 2, 2));
  EXPECT_TRUE(is("isrow", 1, 1) && is("iscolumn", 1, 1));
}

}  // namespace
