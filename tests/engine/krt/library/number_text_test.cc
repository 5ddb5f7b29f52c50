#include <cmath>
#include <limits>

#include "library_test_support.h"

namespace {

using namespace libtest;

template <class... A>
std::string num2str(const A&... args) {
  return str(call("num2str", args...));
}

TEST(Num2str, ScalarsInTheirShortestUsefulForm) {
  EXPECT_EQ(num2str(num(M_PI)), "3.1416");
  EXPECT_EQ(num2str(num(0.1)), "0.1");
  EXPECT_EQ(num2str(num(123.456)), "123.456");
  EXPECT_EQ(num2str(num(-2.5)), "-2.5");
  EXPECT_EQ(num2str(num(123456.789)), "123456.789");
  EXPECT_EQ(num2str(num(1e-10)), "1e-10");
  EXPECT_EQ(num2str(num(42)), "42");
  EXPECT_EQ(num2str(num(-7)), "-7");
  EXPECT_EQ(num2str(num(-0.0)), "0");
  EXPECT_EQ(num2str(num(1e20)), "1e+20");
  EXPECT_EQ(num2str(num(NAN)), "NaN");
  EXPECT_EQ(num2str(num(-INFINITY)), "-Inf");
  EXPECT_EQ(num2str(boolean(true)), "1");
  EXPECT_EQ(num2str(typed(kxINT8_CLASS, {1, 1}, {-5})), "-5");
  Owned big = typed(kxUINT64_CLASS, {1, 1}, {0});
  *static_cast<uint64_t*>(kxGetData(big.get())) = std::numeric_limits<uint64_t>::max();
  EXPECT_EQ(num2str(big), "18446744073709551615");
  EXPECT_EQ(num2str(complex_row({1}, {2})), "1+2i");
  EXPECT_EQ(num2str(complex_row({1.5}, {-0.25})), "1.5-0.25i");
}

TEST(Num2str, MatricesAlignTheirColumns) {
  EXPECT_EQ(num2str(row({1, 2, 3})), "1  2  3");
  EXPECT_EQ(num2str(row({1, 10, 100})), "1   10  100");
  EXPECT_EQ(num2str(row({1, NAN})), "1  NaN");
  EXPECT_EQ(num2str(row({M_PI, 1})), "3.1416       1");
  Owned column = call("num2str", col({1, 10}));
  EXPECT_EQ(rows_of(column), (Texts{" 1", "10"}));
  Owned block = call("num2str", mat({{1, -2}, {30, 4}}));
  EXPECT_EQ(rows_of(block), (Texts{" 1  -2", "30   4"}));
  Owned none = call("num2str", empty());
  EXPECT_EQ(class_of(none), "char");
  EXPECT_EQ(dims(none), (Dims{0, 0}));
}

TEST(Num2str, PrecisionFormatAndText) {
  EXPECT_EQ(num2str(num(M_PI), num(8)), "3.1415927");
  EXPECT_EQ(num2str(num(123456), num(3)), "1.23e+05");
  EXPECT_EQ(num2str(row({1.5, 2}), text("%.1f ")), "1.5 2.0 ");
  Owned rows = call("num2str", mat({{1, 2}, {3, 40}}), text("%d,"));
  EXPECT_EQ(rows_of(rows), (Texts{"1,2, ", "3,40,"}));
  EXPECT_EQ(num2str(text("abc")), "abc");
  EXPECT_EQ(num2str(text("abc"), num(2)), "abc");
}

TEST(Num2str, BadArgumentsRaise) {
  EXPECT_EQ(error_of("num2str"), "Korel:num2str:notEnoughInputs");
  EXPECT_EQ(error_of("num2str", num(1), num(2), num(3)), "Korel:num2str:tooManyInputs");
  EXPECT_EQ(error_of("num2str", cell_row(num(1))), "Korel:num2str:badType");
  EXPECT_EQ(error_of("num2str", num(1), num(0)), "Korel:num2str:badPrecision");
  EXPECT_EQ(error_of("num2str", num(1), num(2.5)), "Korel:num2str:badPrecision");
  EXPECT_EQ(error_of("num2str", num(1), cell_row()), "Korel:num2str:badType");
  EXPECT_EQ(error_of("num2str", num(1), text("%q")), "Korel:format:badConversion");
}

TEST(Int2str, RoundsHalvesAwayFromZero) {
  EXPECT_EQ(str(call("int2str", num(2.5))), "3");
  EXPECT_EQ(str(call("int2str", num(-2.5))), "-3");
  EXPECT_EQ(str(call("int2str", row({1.2, 3.7, -10}))), "1    4  -10");
  EXPECT_EQ(str(call("int2str", num(NAN))), "NaN");
  EXPECT_EQ(str(call("int2str", text("a"))), "97");
  EXPECT_EQ(error_of("int2str", complex_row({1}, {2})), "Korel:int2str:complex");
  EXPECT_EQ(error_of("int2str", cell_row()), "Korel:int2str:badType");
}

TEST(Str2double, ReadsDecimalNumbers) {
  auto read = [](const char* s) { return scalar(call("str2double", text(s))); };
  EXPECT_DOUBLE_EQ(read("3.14"), 3.14);
  EXPECT_DOUBLE_EQ(read("  -1e3 "), -1000);
  EXPECT_DOUBLE_EQ(read("+.5"), 0.5);
  EXPECT_DOUBLE_EQ(read("5."), 5);
  EXPECT_DOUBLE_EQ(read("1,234.5"), 1234.5);
  EXPECT_DOUBLE_EQ(read("1d2"), 100);
  EXPECT_DOUBLE_EQ(read("2.5E-1"), 0.25);
  EXPECT_EQ(read("Inf"), INFINITY);
  EXPECT_EQ(read("-infinity"), -INFINITY);
  EXPECT_EQ(read("1e400"), INFINITY);
  EXPECT_EQ(read("-1e400"), -INFINITY);
  EXPECT_EQ(read("1e-400"), 0);
  EXPECT_TRUE(std::isnan(read(" NaN ")));
  for (const char* bad : {"abc", "", "  ", "1 2", "1e", ".", "e5", "0x10", ",5", "1,,2",
                          "1.2.3", "--1", "12abc", "1+2i"})
    EXPECT_TRUE(std::isnan(read(bad))) << bad;
}

TEST(Str2double, CellsGiveArraysAndOtherValuesNaN) {
  Owned texts = cell_of({2, 2}, {});
  kxSetCell(texts.get(), 0, kxCreateString("1"));
  kxSetCell(texts.get(), 1, kxCreateString("2.5"));
  kxSetCell(texts.get(), 2, kxCreateString("x"));
  Owned numbers = call("str2double", texts);
  EXPECT_EQ(dims(numbers), (Dims{2, 2}));
  Doubles v = values(numbers);
  EXPECT_EQ(v[0], 1);
  EXPECT_EQ(v[1], 2.5);
  EXPECT_TRUE(std::isnan(v[2]));
  EXPECT_TRUE(std::isnan(v[3]));  // an empty place
  EXPECT_TRUE(std::isnan(scalar(call("str2double", num(5)))));
  EXPECT_TRUE(std::isnan(scalar(call("str2double", char_rows({"1", "2"})))));
  EXPECT_EQ(error_of("str2double", text("1"), text("2")), "Korel:str2double:tooManyInputs");
}

}  // namespace
