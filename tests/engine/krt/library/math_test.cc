#include <cmath>

#include "library_test_support.h"

namespace {

using namespace libtest;

TEST(Rounding, AllFourDirectionsKeepTheClass) {
  Owned x = row({2.5, -2.5, 1.2, -1.7, 0.5});
  EXPECT_EQ(values(call("round", x)), (Doubles{3, -3, 1, -2, 1}));
  EXPECT_EQ(values(call("floor", x)), (Doubles{2, -3, 1, -2, 0}));
  EXPECT_EQ(values(call("ceil", x)), (Doubles{3, -2, 2, -1, 1}));
  EXPECT_EQ(values(call("fix", x)), (Doubles{2, -2, 1, -1, 0}));
  Owned s = call("floor", typed(kxSINGLE_CLASS, {2, 1}, {1.5, -1.5}));
  EXPECT_EQ(class_of(s), "single");
  EXPECT_EQ(dims(s), (Dims{2, 1}));
  EXPECT_EQ(class_of(call("round", typed(kxINT16_CLASS, {1, 1}, {7}))), "int16");
  EXPECT_EQ(class_of(call("round", text("a"))), "double");
  EXPECT_EQ(class_of(call("ceil", boolean(true))), "double");
  Owned z = call("round", complex_row({1.5}, {-2.5}));
  EXPECT_EQ(values(z), (Doubles{2}));
  EXPECT_EQ(imag_values(z), (Doubles{-3}));
  EXPECT_TRUE(std::isnan(scalar(call("floor", num(NAN)))));
  EXPECT_EQ(error_of("round", cell_row()), "Korel:round:badType");
  EXPECT_EQ(error_of("fix", num(1), num(2)), "Korel:fix:tooManyInputs");
}

TEST(Abs, MagnitudesSaturatingIntegers) {
  EXPECT_EQ(values(call("abs", row({-3, 0, 2.5}))), (Doubles{3, 0, 2.5}));
  Owned i8 = call("abs", typed(kxINT8_CLASS, {1, 3}, {-128, -5, 5}));
  EXPECT_EQ(class_of(i8), "int8");
  EXPECT_EQ(values(i8), (Doubles{127, 5, 5}));
  EXPECT_EQ(class_of(call("abs", text("a"))), "double");
  Owned m = call("abs", complex_row({3, -1}, {4, 0}));
  EXPECT_FALSE(kxIsComplex(m.get()));
  EXPECT_EQ(values(m), (Doubles{5, 1}));
  EXPECT_EQ(error_of("abs", cell_row()), "Korel:abs:badType");
}

TEST(Sqrt, NegativesGiveComplexResults) {
  Owned r = call("sqrt", row({4, 2.25}));
  EXPECT_FALSE(kxIsComplex(r.get()));
  EXPECT_EQ(values(r), (Doubles{2, 1.5}));
  Owned c = call("sqrt", row({-4, 9}));
  ASSERT_TRUE(kxIsComplex(c.get()));
  EXPECT_EQ(values(c), (Doubles{0, 3}));
  EXPECT_EQ(imag_values(c), (Doubles{2, 0}));
  Owned z = call("sqrt", complex_row({3}, {4}));
  EXPECT_DOUBLE_EQ(values(z)[0], 2);
  EXPECT_DOUBLE_EQ(imag_values(z)[0], 1);
  EXPECT_EQ(class_of(call("sqrt", typed(kxSINGLE_CLASS, {1, 1}, {-1}))), "single");
  EXPECT_EQ(error_of("sqrt", typed(kxINT8_CLASS, {1, 1}, {4})), "Korel:sqrt:badType");
}

TEST(ModRem, SignsZerosAndClasses) {
  EXPECT_EQ(values(call("mod", row({5, -5, 5, -5}), row({3, 3, -3, -3}))), (Doubles{2, 1, -1, -2}));
  EXPECT_EQ(values(call("rem", row({5, -5, 5, -5}), row({3, 3, -3, -3}))), (Doubles{2, -2, 2, -2}));
  EXPECT_EQ(scalar(call("mod", num(5), num(0))), 5);
  EXPECT_TRUE(std::isnan(scalar(call("rem", num(5), num(0)))));
  EXPECT_DOUBLE_EQ(scalar(call("mod", num(5.5), num(2))), 1.5);
  Owned i = call("mod", typed(kxINT8_CLASS, {1, 2}, {-7, 7}), num(3));
  EXPECT_EQ(class_of(i), "int8");
  EXPECT_EQ(values(i), (Doubles{2, 1}));
  EXPECT_EQ(
      scalar(call("rem", typed(kxUINT8_CLASS, {1, 1}, {7}), typed(kxUINT8_CLASS, {1, 1}, {0}))), 0);
  EXPECT_EQ(class_of(call("rem", typed(kxSINGLE_CLASS, {1, 1}, {7}), num(2))), "single");
  EXPECT_EQ(class_of(call("mod", text("a"), boolean(true))), "double");

  // 2^62 + 1 is odd, which a double could not tell.
  Owned big = typed(kxINT64_CLASS, {1, 1}, {0});
  *static_cast<int64_t*>(kxGetData(big.get())) = (int64_t{1} << 62) + 1;
  EXPECT_EQ(*static_cast<int64_t*>(kxGetData(call("mod", big, num(2)).get())), 1);
}

TEST(ModRem, ExpansionAndErrors) {
  Owned grid = call("mod", col({10, 11}), row({3, 4, 5}));
  EXPECT_EQ(dims(grid), (Dims{2, 3}));
  EXPECT_EQ(values(grid), (Doubles{1, 2, 2, 3, 0, 1}));
  EXPECT_EQ(dims(call("rem", typed(kxDOUBLE_CLASS, {0, 3}, {}), num(2))), (Dims{0, 3}));
  EXPECT_EQ(error_of("mod", row({1, 2}), row({1, 2, 3})), "Korel:mod:sizeMismatch");
  EXPECT_EQ(error_of("mod", typed(kxINT8_CLASS, {1, 1}, {1}), typed(kxINT16_CLASS, {1, 1}, {1})),
            "Korel:mod:mixedIntegers");
  EXPECT_EQ(error_of("rem", complex_row({1}, {1}), num(1)), "Korel:rem:complex");
  EXPECT_EQ(error_of("rem", num(1), cell_row()), "Korel:rem:badType");
  EXPECT_EQ(error_of("mod", num(1)), "Korel:mod:notEnoughInputs");
}

}  // namespace
