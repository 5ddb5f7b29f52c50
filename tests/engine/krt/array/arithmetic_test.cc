#include <cmath>
#include <cstdint>
#include <limits>

#include "engine/krt/array/array_test_support.h"

namespace krt::opstest {
namespace {

using lang::BinaryOp;
using lang::UnaryOp;
using ops::binary;
using ops::unary;

Value add(const Value& a, const Value& b) { return binary(BinaryOp::Add, a.get(), b.get()); }

TEST(Arithmetic, ResultClassesFollowTheOperands) {
  struct Case {
    kxClassID left, right, result;
  };
  const Case cases[] = {{kxDOUBLE_CLASS, kxDOUBLE_CLASS, kxDOUBLE_CLASS},
                        {kxDOUBLE_CLASS, kxCHAR_CLASS, kxDOUBLE_CLASS},
                        {kxLOGICAL_CLASS, kxLOGICAL_CLASS, kxDOUBLE_CLASS},
                        {kxCHAR_CLASS, kxCHAR_CLASS, kxDOUBLE_CLASS},
                        {kxSINGLE_CLASS, kxDOUBLE_CLASS, kxSINGLE_CLASS},
                        {kxCHAR_CLASS, kxSINGLE_CLASS, kxSINGLE_CLASS},
                        {kxINT8_CLASS, kxDOUBLE_CLASS, kxINT8_CLASS},
                        {kxSINGLE_CLASS, kxUINT16_CLASS, kxUINT16_CLASS},
                        {kxLOGICAL_CLASS, kxINT32_CLASS, kxINT32_CLASS},
                        {kxUINT64_CLASS, kxCHAR_CLASS, kxUINT64_CLASS},
                        {kxINT16_CLASS, kxINT16_CLASS, kxINT16_CLASS}};
  for (const Case& c : cases) {
    Value sum = add(scalar(1, c.left), row({1, 0}, c.right));
    EXPECT_EQ(kxGetClassID(sum.get()), c.result)
        << kxGetClassNameFromID(c.left) << " + " << kxGetClassNameFromID(c.right);
    EXPECT_EQ(values(sum), (std::vector<double>{2, 1}));
  }
  EXPECT_EQ(error_id([] { add(scalar(1, kxINT8_CLASS), scalar(1, kxINT16_CLASS)); }),
            "Korel:mixedIntegerClasses");
}

TEST(Arithmetic, IntegersRoundHalfAwayAndSaturate) {
  auto op = [](BinaryOp o, const Value& a, const Value& b) {
    return values(binary(o, a.get(), b.get()));
  };
  EXPECT_EQ(op(BinaryOp::Add, scalar(100, kxINT8_CLASS), scalar(100, kxINT8_CLASS)),
            std::vector<double>{127});
  EXPECT_EQ(op(BinaryOp::Sub, scalar(-100, kxINT8_CLASS), scalar(100)), std::vector<double>{-128});
  EXPECT_EQ(op(BinaryOp::Sub, scalar(5, kxUINT8_CLASS), scalar(10)), std::vector<double>{0});
  EXPECT_EQ(op(BinaryOp::ElemMul, row({5, -5, 3}, kxINT16_CLASS), scalar(0.5)),
            (std::vector<double>{3, -3, 2}));
  EXPECT_EQ(op(BinaryOp::Add, scalar(1, kxINT8_CLASS), scalar(1.5)), std::vector<double>{3});
  Value dividends = row({7, -7, 0, 7}, kxINT32_CLASS);
  EXPECT_EQ(op(BinaryOp::ElemDiv, dividends, row({2, 0, 0, -2}, kxINT32_CLASS)),
            (std::vector<double>{4, INT32_MIN, 0, -4}));
  EXPECT_EQ(op(BinaryOp::ElemDiv, scalar(7, kxINT32_CLASS), scalar(0))[0], INT32_MAX);
  EXPECT_EQ(op(BinaryOp::Add, scalar(1, kxINT8_CLASS), scalar(NAN)), std::vector<double>{0});
  EXPECT_EQ(op(BinaryOp::ElemPow, scalar(2, kxINT8_CLASS), scalar(10)), std::vector<double>{127});
  EXPECT_EQ(op(BinaryOp::ElemPow, scalar(2, kxUINT8_CLASS), scalar(-1)), std::vector<double>{1});

  // 64-bit integers keep every digit, which a double could not.
  Value big = scalar(0, kxINT64_CLASS);
  static_cast<int64_t*>(kxGetData(big.get()))[0] = (int64_t{1} << 53) + 1;
  Value next = add(big, scalar(1));
  EXPECT_EQ(kxGetClassID(next.get()), kxINT64_CLASS);
  EXPECT_EQ(static_cast<int64_t*>(kxGetData(next.get()))[0], (int64_t{1} << 53) + 2);
  Value top = scalar(0, kxUINT64_CLASS);
  static_cast<uint64_t*>(kxGetData(top.get()))[0] = UINT64_MAX - 1;
  Value over = binary(BinaryOp::ElemMul, top.get(), scalar(3).get());
  EXPECT_EQ(static_cast<uint64_t*>(kxGetData(over.get()))[0], UINT64_MAX);
  Value low = binary(BinaryOp::Sub, scalar(-9e18, kxINT64_CLASS).get(), scalar(9e18).get());
  EXPECT_EQ(static_cast<int64_t*>(kxGetData(low.get()))[0], INT64_MIN);
  EXPECT_EQ(error_id([] { binary(BinaryOp::ElemPow, scalar(-8, kxINT16_CLASS).get(),
                                 scalar(0.5).get()); }),
            "Korel:complex:Unsupported");
}

TEST(Arithmetic, OperandsExpandAlongDimensionsOfOne) {
  Value grid = add(row({1, 2, 3}), column({10, 20}));
  EXPECT_EQ(dims(grid), (Shape{2, 3}));
  EXPECT_EQ(values(grid), (std::vector<double>{11, 21, 12, 22, 13, 23}));

  Value cube = make(kxDOUBLE_CLASS, {2, 1, 2}, {1, 2, 3, 4});
  Value spread = binary(BinaryOp::ElemMul, cube.get(), row({1, 10, 100}).get());
  EXPECT_EQ(dims(spread), (Shape{2, 3, 2}));
  EXPECT_EQ(values(spread),
            (std::vector<double>{1, 2, 10, 20, 100, 200, 3, 4, 30, 40, 300, 400}));

  // Empty operands expand like any other; the result has no elements.
  Value none = add(make(kxDOUBLE_CLASS, {0, 3}, {}), row({1, 2, 3}));
  EXPECT_EQ(dims(none), (Shape{0, 3}));
  EXPECT_EQ(dims(add(scalar(1), empty())), (Shape{0, 0}));

  EXPECT_EQ(error_id([] { add(row({1, 2, 3}), row({1, 2})); }), "Korel:sizeMismatch");
  EXPECT_EQ(error_id([] { add(make(kxDOUBLE_CLASS, {0, 3}, {}), column({1, 2})); }),
            "Korel:sizeMismatch");
  EXPECT_EQ(error_of([] { add(matrix(2, 2, {1, 2, 3, 4}), column({1, 2, 3})); }),
            "Korel:sizeMismatch: Arrays have incompatible sizes for this operation.");
}

TEST(Arithmetic, ComplexValues) {
  Value sum = add(complex_scalar(1, 2), complex_scalar(3, -2));
  EXPECT_FALSE(kxIsComplex(sum.get()));  // an all-zero imaginary part goes
  EXPECT_EQ(values(sum), std::vector<double>{4});

  Value z1 = complex_scalar(1, 2), z2 = complex_scalar(3, 4);
  Value product = binary(BinaryOp::ElemMul, z1.get(), z2.get());
  EXPECT_EQ(values(product), std::vector<double>{-5});
  EXPECT_EQ(imag_values(product), std::vector<double>{10});
  Value quotient = binary(BinaryOp::ElemDiv, z1.get(), z2.get());
  EXPECT_DOUBLE_EQ(values(quotient)[0], 0.44);
  EXPECT_DOUBLE_EQ(imag_values(quotient)[0], 0.08);
  // A real factor multiplies each part: no NaN from Inf * 0.
  Value scaled = binary(BinaryOp::MatMul, complex_scalar(INFINITY, 1).get(), scalar(2).get());
  EXPECT_EQ(values(scaled)[0], INFINITY);
  EXPECT_EQ(imag_values(scaled)[0], 2);

  Value square = binary(BinaryOp::MatPow, complex_scalar(0, 1).get(), scalar(2).get());
  EXPECT_FALSE(kxIsComplex(square.get()));
  EXPECT_EQ(values(square), std::vector<double>{-1});

  Value roots = binary(BinaryOp::ElemPow, row({4, -4}).get(), scalar(0.5).get());
  ASSERT_TRUE(kxIsComplex(roots.get()));
  EXPECT_EQ(values(roots)[0], 2);
  EXPECT_EQ(imag_values(roots)[0], 0);
  EXPECT_NEAR(values(roots)[1], 0, 1e-15);
  EXPECT_DOUBLE_EQ(imag_values(roots)[1], 2);
  Value cube_root = binary(BinaryOp::MatPow, scalar(-8).get(), scalar(1.0 / 3).get());
  EXPECT_DOUBLE_EQ(values(cube_root)[0], 1);
  EXPECT_DOUBLE_EQ(imag_values(cube_root)[0], std::sqrt(3.0));

  Value single = make(kxSINGLE_CLASS, {1, 2}, {1, 2}, {1, -1});
  Value negated = unary(UnaryOp::Negate, single.get());
  EXPECT_EQ(kxGetClassID(negated.get()), kxSINGLE_CLASS);
  EXPECT_EQ(imag_values(negated), (std::vector<double>{-1, 1}));

  EXPECT_EQ(error_id([] { binary(BinaryOp::Lt, complex_scalar(1, 1).get(), scalar(1).get()); }),
            "Korel:complex:Unsupported");
  EXPECT_EQ(error_id([] { add(complex_scalar(1, 1), scalar(1, kxINT8_CLASS)); }),
            "Korel:complex:Unsupported");
  EXPECT_EQ(error_id([] { unary(UnaryOp::Not, complex_scalar(1, 1).get()); }),
            "Korel:complex:Unsupported");
}

TEST(Arithmetic, MatrixOperators) {
  Value a = matrix(2, 2, {1, 2, 3, 4});
  Value product = binary(BinaryOp::MatMul, a.get(), column({5, 6}).get());
  EXPECT_EQ(dims(product), (Shape{2, 1}));
  EXPECT_EQ(values(product), (std::vector<double>{17, 39}));
  EXPECT_EQ(values(binary(BinaryOp::MatMul, row({1, 2}).get(), a.get())),
            (std::vector<double>{7, 10}));
  Value outer = binary(BinaryOp::MatMul, make(kxDOUBLE_CLASS, {2, 0}, {}).get(),
                       make(kxDOUBLE_CLASS, {0, 3}, {}).get());
  EXPECT_EQ(dims(outer), (Shape{2, 3}));
  EXPECT_EQ(values(outer), std::vector<double>(6, 0));
  EXPECT_EQ(values(binary(BinaryOp::MatMul, scalar(2).get(), a.get())),
            (std::vector<double>{2, 6, 4, 8}));
  // (1+i)(1-i) = 2 for both products of a 1x2 by a 2x1.
  Value z_row = make(kxDOUBLE_CLASS, {1, 2}, {1, 1}, {1, 1});
  Value z_col = make(kxDOUBLE_CLASS, {2, 1}, {1, 1}, {-1, -1});
  Value dot = binary(BinaryOp::MatMul, z_row.get(), z_col.get());
  EXPECT_FALSE(kxIsComplex(dot.get()));
  EXPECT_EQ(values(dot), std::vector<double>{4});
  EXPECT_EQ(error_of([&] { binary(BinaryOp::MatMul, a.get(), row({1, 2}).get()); }),
            "Korel:innerdim: Inner matrix dimensions must agree.");

  Value fibonacci = matrix(2, 2, {1, 1, 1, 0});
  EXPECT_EQ(values(binary(BinaryOp::MatPow, fibonacci.get(), scalar(10).get())),
            (std::vector<double>{89, 55, 55, 34}));
  EXPECT_EQ(values(binary(BinaryOp::MatPow, a.get(), scalar(0).get())),
            (std::vector<double>{1, 0, 0, 1}));
  EXPECT_EQ(error_id([&] { binary(BinaryOp::MatPow, a.get(), scalar(0.5).get()); }),
            "Korel:mpower:Unsupported");
  EXPECT_EQ(error_id([&] { binary(BinaryOp::MatPow, scalar(2).get(), a.get()); }),
            "Korel:mpower:Unsupported");

  EXPECT_EQ(values(binary(BinaryOp::MatDiv, row({2, 4}).get(), scalar(2).get())),
            (std::vector<double>{1, 2}));
  EXPECT_EQ(error_id([&] { binary(BinaryOp::MatDiv, a.get(), a.get()); }),
            "Korel:mrdivide:Unsupported");
}

TEST(Arithmetic, UnaryOperatorsAndTransposes) {
  EXPECT_EQ(values(unary(UnaryOp::Negate, scalar(-128, kxINT8_CLASS).get())),
            std::vector<double>{127});
  EXPECT_EQ(values(unary(UnaryOp::Negate, scalar(5, kxUINT8_CLASS).get())),
            std::vector<double>{0});
  Value minus_text = unary(UnaryOp::Negate, text("a").get());
  EXPECT_EQ(kxGetClassID(minus_text.get()), kxDOUBLE_CLASS);
  EXPECT_EQ(values(minus_text), std::vector<double>{-97});
  Value plus_logical = unary(UnaryOp::Plus, scalar(1, kxLOGICAL_CLASS).get());
  EXPECT_EQ(kxGetClassID(plus_logical.get()), kxDOUBLE_CLASS);
  Value negation = unary(UnaryOp::Not, row({0, 1, 2}).get());
  EXPECT_EQ(kxGetClassID(negation.get()), kxLOGICAL_CLASS);
  EXPECT_EQ(values(negation), (std::vector<double>{1, 0, 0}));
  EXPECT_EQ(error_id([] { unary(UnaryOp::Not, scalar(NAN).get()); }), "Korel:logicalNaN");

  Value m = matrix(2, 3, {1, 2, 3, 4, 5, 6}, kxINT16_CLASS);
  Value t = unary(UnaryOp::DotTranspose, m.get());
  EXPECT_EQ(dims(t), (Shape{3, 2}));
  EXPECT_EQ(kxGetClassID(t.get()), kxINT16_CLASS);
  EXPECT_EQ(values(t), (std::vector<double>{1, 2, 3, 4, 5, 6}));
  Value z = make(kxDOUBLE_CLASS, {1, 2}, {1, 2}, {3, -4});
  EXPECT_EQ(imag_values(unary(UnaryOp::Transpose, z.get())), (std::vector<double>{-3, 4}));
  EXPECT_EQ(imag_values(unary(UnaryOp::DotTranspose, z.get())), (std::vector<double>{3, -4}));
  EXPECT_EQ(dims(unary(UnaryOp::Transpose, z.get())), (Shape{2, 1}));

  Value cells = checked(kxCreateCellMatrix(1, 2));
  kxSetCell(cells.get(), 1, kxCreateString("x"));
  Value cells_t = unary(UnaryOp::Transpose, cells.get());
  EXPECT_EQ(dims(cells_t), (Shape{2, 1}));
  EXPECT_EQ(kxGetCell(cells_t.get(), 0), nullptr);
  ASSERT_NE(kxGetCell(cells_t.get(), 1), nullptr);
  EXPECT_TRUE(kxIsIdentical(kxGetCell(cells_t.get(), 1), kxGetCell(cells.get(), 1)));

  const char* names[] = {"a"};
  Value records = checked(kxCreateStructMatrix(2, 1, 1, names));
  kxSetField(records.get(), 1, "a", kxCreateDoubleScalar(7));
  Value records_t = unary(UnaryOp::Transpose, records.get());
  EXPECT_EQ(dims(records_t), (Shape{1, 2}));
  EXPECT_EQ(kxGetScalar(kxGetField(records_t.get(), 1, "a")), 7);

  Value cube = make(kxDOUBLE_CLASS, {1, 1, 2}, {1, 2});
  EXPECT_EQ(error_id([&] { unary(UnaryOp::Transpose, cube.get()); }),
            "Korel:transpose:NotDefinedForND");
  EXPECT_EQ(error_of([&] { unary(UnaryOp::Negate, cells.get()); }),
            "Korel:UndefinedFunction: Undefined operator '-' for input arguments of type 'cell'.");
}

TEST(Arithmetic, ComparisonsAndLogicGiveLogicals) {
  Value greater = binary(BinaryOp::Gt, row({1, 2, 3}).get(), scalar(2).get());
  EXPECT_EQ(kxGetClassID(greater.get()), kxLOGICAL_CLASS);
  EXPECT_EQ(values(greater), (std::vector<double>{0, 0, 1}));
  EXPECT_EQ(values(binary(BinaryOp::Ne, row({NAN, 1}).get(), row({NAN, 1}).get())),
            (std::vector<double>{1, 0}));
  EXPECT_EQ(values(binary(BinaryOp::Eq, text("abc").get(), text("abd").get())),
            (std::vector<double>{1, 1, 0}));
  EXPECT_EQ(values(binary(BinaryOp::Le, row({1, 2}, kxINT8_CLASS).get(),
                          row({1, 1}, kxUINT16_CLASS).get())),
            (std::vector<double>{1, 0}));
  // Exact comparison of a 64-bit integer with the double next to it.
  Value big = scalar(0, kxINT64_CLASS);
  static_cast<int64_t*>(kxGetData(big.get()))[0] = (int64_t{1} << 53) + 1;
  EXPECT_EQ(values(binary(BinaryOp::Gt, big.get(), scalar(9007199254740992.0).get())),
            std::vector<double>{1});
  Value z = make(kxDOUBLE_CLASS, {1, 2}, {1, 1}, {0, 1});
  EXPECT_EQ(values(binary(BinaryOp::Eq, z.get(), scalar(1).get())), (std::vector<double>{1, 0}));
  EXPECT_EQ(values(binary(BinaryOp::Ne, z.get(), z.get())), (std::vector<double>{0, 0}));

  EXPECT_EQ(values(binary(BinaryOp::ElemAnd, row({1, 0, 2}).get(), row({1, 1, 0}).get())),
            (std::vector<double>{1, 0, 0}));
  EXPECT_EQ(values(binary(BinaryOp::ElemOr, row({0, 0}).get(), column({0, 3}).get())),
            (std::vector<double>{0, 1, 0, 1}));
  EXPECT_EQ(error_id([] { binary(BinaryOp::ElemOr, row({1, NAN}).get(), scalar(1).get()); }),
            "Korel:logicalNaN");
  EXPECT_EQ(values(binary(BinaryOp::AndAnd, scalar(1).get(), text("a").get())),
            std::vector<double>{1});
  EXPECT_EQ(error_id([] { binary(BinaryOp::OrOr, row({1, 1}).get(), scalar(1).get()); }),
            "Korel:nonLogicalConditional");
}

TEST(Arithmetic, ScalarFastPathMatchesTheGeneralRules) {
  Value sum = add(scalar(0.1), scalar(0.2));
  EXPECT_EQ(kxGetClassID(sum.get()), kxDOUBLE_CLASS);
  EXPECT_EQ(values(sum)[0], 0.1 + 0.2);
  EXPECT_EQ(values(binary(BinaryOp::MatDiv, scalar(-1).get(), scalar(0).get()))[0], -INFINITY);
  Value less = binary(BinaryOp::Lt, scalar(1).get(), scalar(2).get());
  EXPECT_EQ(kxGetClassID(less.get()), kxLOGICAL_CLASS);
  EXPECT_EQ(values(less), std::vector<double>{1});
  EXPECT_EQ(values(unary(UnaryOp::Negate, scalar(3).get())), std::vector<double>{-3});
  EXPECT_EQ(error_id([] { binary(BinaryOp::ElemAnd, scalar(NAN).get(), scalar(1).get()); }),
            "Korel:logicalNaN");
  // The result is a new array, never the operand.
  Value one = scalar(1);
  Value same = unary(UnaryOp::Plus, one.get());
  EXPECT_NE(kxGetData(same.get()), kxGetData(one.get()));
}

TEST(Arithmetic, OperandsOfOtherClassesAreRejected) {
  Value cell = checked(kxCreateCellMatrix(1, 1));
  Value handle = checked(kxCreateFunctionHandle("sin"));
  Value record = checked(kxCreateStructMatrix(1, 1, 0, nullptr));
  Value sparse = checked(kxCreateSparse(2, 2, 1, kxREAL));
  EXPECT_EQ(error_of([&] { add(cell, scalar(1)); }),
            "Korel:UndefinedFunction: Undefined operator '+' for input arguments of type 'cell'.");
  EXPECT_EQ(error_of([&] { binary(BinaryOp::ElemMul, scalar(1).get(), handle.get()); }),
            "Korel:UndefinedFunction: Undefined operator '.*' for input arguments of type "
            "'function_handle'.");
  EXPECT_EQ(error_id([&] { binary(BinaryOp::Eq, record.get(), record.get()); }),
            "Korel:UndefinedFunction");
  EXPECT_EQ(error_id([&] { add(sparse, scalar(1)); }), "Korel:sparse:Unsupported");
}

TEST(Arithmetic, TruthOfConditions) {
  EXPECT_FALSE(ops::is_true(empty().get()));
  EXPECT_TRUE(ops::is_true(row({1, 2}).get()));
  EXPECT_FALSE(ops::is_true(row({1, 0}).get()));
  EXPECT_TRUE(ops::is_true(text("a").get()));
  EXPECT_TRUE(ops::is_true(scalar(-1, kxINT8_CLASS).get()));
  EXPECT_EQ(error_id([] { ops::is_true(scalar(NAN).get()); }), "Korel:logicalNaN");
  EXPECT_EQ(error_id([] { ops::is_true(row({0, NAN}).get()); }), "Korel:logicalNaN");
  Value cell = checked(kxCreateCellMatrix(1, 1));
  EXPECT_EQ(error_of([&] { ops::is_true(cell.get()); }),
            "Korel:UndefinedFunction: Conversion to logical from cell is not possible.");
}

}  // namespace
}  // namespace krt::opstest
