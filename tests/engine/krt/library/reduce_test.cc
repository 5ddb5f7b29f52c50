#include <cmath>

#include "library_test_support.h"

namespace {

using namespace libtest;

TEST(SumProd, AlongTheFirstNonSingletonDimension) {
  Owned m = mat({{1, 2, 3}, {4, 5, 6}});
  Owned columns = call("sum", m);
  EXPECT_EQ(dims(columns), (Dims{1, 3}));
  EXPECT_EQ(values(columns), (Doubles{5, 7, 9}));
  Owned rows = call("sum", m, num(2));
  EXPECT_EQ(dims(rows), (Dims{2, 1}));
  EXPECT_EQ(values(rows), (Doubles{6, 15}));
  EXPECT_EQ(values(call("sum", m, num(3))), values(m));
  EXPECT_EQ(scalar(call("sum", row({1, 2, 3}))), 6);
  EXPECT_EQ(values(call("prod", m)), (Doubles{4, 10, 18}));
  EXPECT_EQ(scalar(call("prod", col({2, 3, 4}))), 24);
  Owned cube = typed(kxDOUBLE_CLASS, {1, 1, 3}, {1, 2, 3});
  EXPECT_EQ(scalar(call("sum", cube)), 6);
  EXPECT_EQ(scalar(call("sum", row({0.1, 0.2}))), 0.1 + 0.2);
}

TEST(SumProd, EmptyArrays) {
  Owned none = call("sum", empty());
  EXPECT_EQ(dims(none), (Dims{1, 1}));
  EXPECT_EQ(scalar(none), 0);
  EXPECT_EQ(scalar(call("prod", empty())), 1);
  Owned wide = call("sum", typed(kxDOUBLE_CLASS, {0, 3}, {}));
  EXPECT_EQ(dims(wide), (Dims{1, 3}));
  EXPECT_EQ(values(wide), (Doubles{0, 0, 0}));
  EXPECT_EQ(dims(call("sum", typed(kxDOUBLE_CLASS, {3, 0}, {}))), (Dims{1, 0}));
  EXPECT_EQ(scalar(call("sum", typed(kxDOUBLE_CLASS, {1, 0}, {}))), 0);
}

TEST(SumProd, Classes) {
  Owned i8 = call("sum", typed(kxINT8_CLASS, {1, 3}, {100, 100, -100}));
  EXPECT_EQ(class_of(i8), "int8");
  EXPECT_EQ(scalar(i8), 100);  // worked out exactly, saturated only at the end
  EXPECT_EQ(scalar(call("sum", typed(kxINT8_CLASS, {1, 2}, {100, 100}))), 127);
  EXPECT_EQ(scalar(call("prod", typed(kxUINT8_CLASS, {1, 2}, {20, 20}))), 255);
  EXPECT_EQ(scalar(call("sum", typed(kxINT8_CLASS, {1, 2}, {-100, -100}))), -128);
  Owned flags = call("sum", typed(kxLOGICAL_CLASS, {1, 3}, {1, 1, 0}));
  EXPECT_EQ(class_of(flags), "double");
  EXPECT_EQ(scalar(flags), 2);
  EXPECT_EQ(scalar(call("sum", text("ab"))), 195);
  EXPECT_EQ(class_of(call("prod", typed(kxSINGLE_CLASS, {1, 2}, {2, 3}))), "single");
  Owned z = call("prod", complex_row({1, 1}, {1, 1}));
  EXPECT_EQ(values(z), (Doubles{0}));
  EXPECT_EQ(imag_values(z), (Doubles{2}));
  Owned s = call("sum", complex_row({1, 2}, {3, -1}));
  EXPECT_EQ(imag_values(s), (Doubles{2}));

  kxIndex r[] = {0, 1}, c[] = {0, 1};
  double v[] = {2, 3};
  Owned sparse(kxCreateSparseFromTriples(kxDOUBLE_CLASS, 2, 2, 2, r, c, v, nullptr, 2));
  EXPECT_EQ(values(call("sum", sparse)), (Doubles{2, 3}));
}

TEST(SumProd, BadArgumentsRaise) {
  EXPECT_EQ(error_of("sum", cell_row()), "Korel:sum:badType");
  EXPECT_EQ(error_of("sum", row({1}), num(0)), "Korel:sum:badDimension");
  EXPECT_EQ(error_of("prod", row({1}), row({1, 2})), "Korel:prod:badDimension");
  EXPECT_EQ(error_of("sum", row({1}), text("all")), "Korel:sum:badDimension");
  EXPECT_EQ(error_of("sum"), "Korel:sum:notEnoughInputs");
  EXPECT_EQ(error_of("sum", num(1), num(1), num(1)), "Korel:sum:tooManyInputs");
  Owned complex_int(kxCreateNumericMatrix(1, 1, kxINT8_CLASS, kxCOMPLEX));
  EXPECT_EQ(error_of("sum", complex_int), "Korel:sum:complex");
}

TEST(AnyAll, TruthAlongADimension) {
  Owned m = mat({{0, 1, 0}, {0, 2, 3}});
  Owned some = call("any", m);
  EXPECT_EQ(class_of(some), "logical");
  EXPECT_EQ(values(some), (Doubles{0, 1, 1}));
  EXPECT_EQ(values(call("all", m)), (Doubles{0, 1, 0}));
  EXPECT_EQ(values(call("any", m, num(2))), (Doubles{1, 1}));
  EXPECT_EQ(scalar(call("any", empty())), 0);
  EXPECT_EQ(scalar(call("all", empty())), 1);
  EXPECT_EQ(dims(call("any", empty())), (Dims{1, 1}));
  EXPECT_EQ(values(call("all", typed(kxDOUBLE_CLASS, {0, 2}, {}))), (Doubles{1, 1}));
  EXPECT_EQ(scalar(call("any", num(NAN))), 0);  // NaN is ignored
  EXPECT_EQ(scalar(call("all", num(NAN))), 1);  // but is not zero
  EXPECT_EQ(scalar(call("any", complex_row({0}, {1}))), 1);
  EXPECT_EQ(scalar(call("all", text("ab"))), 1);
  EXPECT_EQ(error_of("any", cell_row()), "Korel:any:badType");
  EXPECT_EQ(error_of("all", num(1), num(-1)), "Korel:all:badDimension");
}

TEST(MaxMin, AlongADimensionWithPositions) {
  Owned m = mat({{1, 9, 3}, {7, 2, 3}});
  auto out = call_n(2, "max", m);
  EXPECT_EQ(values(out[0]), (Doubles{7, 9, 3}));
  EXPECT_EQ(values(out[1]), (Doubles{2, 1, 1}));  // the first of equal values
  auto low = call_n(2, "min", m, empty(), num(2));
  EXPECT_EQ(dims(low[0]), (Dims{2, 1}));
  EXPECT_EQ(values(low[0]), (Doubles{1, 2}));
  EXPECT_EQ(values(low[1]), (Doubles{1, 2}));
  auto nan = call_n(2, "max", row({NAN, 4, NAN, 5}));
  EXPECT_EQ(scalar(nan[0]), 5);
  EXPECT_EQ(scalar(nan[1]), 4);
  auto all_nan = call_n(2, "min", row({NAN, NAN}));
  EXPECT_TRUE(std::isnan(scalar(all_nan[0])));
  EXPECT_EQ(scalar(all_nan[1]), 1);
  Owned i8 = call("max", typed(kxINT8_CLASS, {1, 3}, {-5, 100, 7}));
  EXPECT_EQ(class_of(i8), "int8");
  EXPECT_EQ(scalar(i8), 100);
  EXPECT_EQ(class_of(call("max", text("az"))), "double");
  EXPECT_EQ(scalar(call("max", text("az"))), 'z');
  EXPECT_EQ(dims(call("max", empty())), (Dims{0, 0}));
  EXPECT_EQ(dims(call("min", typed(kxDOUBLE_CLASS, {0, 3}, {}))), (Dims{0, 3}));
  EXPECT_EQ(values(call("max", m, empty(), num(5))), values(m));
}

TEST(MaxMin, TwoArraysElementByElement) {
  EXPECT_EQ(values(call("max", row({1, 5, NAN}), row({3, 2, 4}))), (Doubles{3, 5, 4}));
  EXPECT_EQ(values(call("min", row({1, 5, 3}), num(2))), (Doubles{1, 2, 2}));
  Owned grid = call("max", col({1, 4}), row({2, 3}));
  EXPECT_EQ(dims(grid), (Dims{2, 2}));
  EXPECT_EQ(values(grid), (Doubles{2, 4, 3, 4}));
  Owned i = call("max", typed(kxUINT8_CLASS, {1, 2}, {1, 200}), num(100.5));
  EXPECT_EQ(class_of(i), "uint8");
  EXPECT_EQ(values(i), (Doubles{101, 200}));  // 100.5 rounds away from zero
  EXPECT_EQ(error_with("max", 2, {num(1).get(), num(2).get()}), "Korel:max:tooManyOutputs");
  EXPECT_EQ(error_of("max", row({1, 2}), row({1, 2, 3})), "Korel:max:sizeMismatch");
  EXPECT_EQ(error_of("max", num(1), num(2), num(1)), "Korel:max:badArguments");
  EXPECT_EQ(error_of("max", complex_row({1}, {1})), "Korel:max:complex");
  EXPECT_EQ(error_of("min", cell_row()), "Korel:min:badType");
  EXPECT_EQ(error_with("min", 3, {num(1).get()}), "Korel:min:tooManyOutputs");
}

TEST(Find, PositionsInEveryForm) {
  Owned column = call("find", mat({{0, 3}, {5, 0}}));
  EXPECT_EQ(dims(column), (Dims{2, 1}));
  EXPECT_EQ(values(column), (Doubles{2, 3}));
  Owned across = call("find", row({0, 1, 0, 1, 1}));
  EXPECT_EQ(dims(across), (Dims{1, 3}));
  EXPECT_EQ(values(across), (Doubles{2, 4, 5}));
  EXPECT_EQ(values(call("find", row({0, 1, 0, 1, 1}), num(2))), (Doubles{2, 4}));
  EXPECT_EQ(values(call("find", row({0, 1, 0, 1, 1}), num(2), text("last"))), (Doubles{4, 5}));
  EXPECT_EQ(values(call("find", row({1, NAN, 0}))), (Doubles{1, 2}));
  EXPECT_EQ(values(call("find", text("a\0b"))), (Doubles{1}));
  EXPECT_EQ(dims(call("find", empty())), (Dims{0, 0}));
  EXPECT_EQ(dims(call("find", num(0))), (Dims{1, 0}));
  EXPECT_EQ(dims(call("find", col({0, 0}))), (Dims{0, 1}));

  auto rc = call_n(3, "find", typed(kxINT8_CLASS, {2, 2}, {0, 4, -1, 0}));
  EXPECT_EQ(values(rc[0]), (Doubles{2, 1}));
  EXPECT_EQ(values(rc[1]), (Doubles{1, 2}));
  EXPECT_EQ(class_of(rc[2]), "int8");
  EXPECT_EQ(values(rc[2]), (Doubles{4, -1}));
  auto zc = call_n(3, "find", complex_row({0, 0}, {0, 2}));
  EXPECT_EQ(imag_values(zc[2]), (Doubles{2}));

  EXPECT_EQ(error_of("find", cell_row()), "Korel:find:badType");
  EXPECT_EQ(error_of("find", row({1}), num(0)), "Korel:find:badCount");
  EXPECT_EQ(error_of("find", row({1}), num(1.5)), "Korel:find:badCount");
  EXPECT_EQ(error_of("find", row({1}), num(1), text("middle")), "Korel:find:badDirection");
  EXPECT_EQ(error_with("find", 4, {num(1).get()}), "Korel:find:tooManyOutputs");
}

}  // namespace
