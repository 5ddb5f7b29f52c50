#include <cmath>

#include "engine/krt/array/array_test_support.h"

namespace krt::opstest {
namespace {

Value index(const Value& a, std::initializer_list<const Value*> list) {
  std::vector<const kxArray*> s = subs(list);
  return ops::index(a.get(), s);
}

TEST(Index, LinearIndexingShapes) {
  Value r = row({10, 20, 30, 40});
  Value c = column({10, 20, 30});
  Value m = matrix(2, 3, {1, 2, 3, 4, 5, 6});
  Value pick_row = row({3, 1});
  Value pick_column = column({3, 1});
  Value pick_matrix = matrix(2, 2, {1, 2, 3, 1});

  // A vector indexed by a vector keeps its own orientation.
  EXPECT_EQ(dims(index(r, {&pick_column})), (Shape{1, 2}));
  EXPECT_EQ(values(index(r, {&pick_column})), (std::vector<double>{30, 10}));
  EXPECT_EQ(dims(index(c, {&pick_row})), (Shape{2, 1}));
  // Otherwise the result has the index's shape.
  EXPECT_EQ(dims(index(m, {&pick_row})), (Shape{1, 2}));
  EXPECT_EQ(values(index(m, {&pick_row})), (std::vector<double>{2, 1}));
  EXPECT_EQ(dims(index(m, {&pick_column})), (Shape{2, 1}));
  EXPECT_EQ(dims(index(r, {&pick_matrix})), (Shape{2, 2}));
  EXPECT_EQ(values(index(r, {&pick_matrix})), (std::vector<double>{10, 30, 20, 10}));
  // A scalar is not a vector here: the result takes the index's shape.
  Value one = scalar(7);
  Value ones_column = column({1, 1});
  EXPECT_EQ(dims(index(one, {&ones_column})), (Shape{2, 1}));
  Value ones = row({1, 1, 1});
  EXPECT_EQ(dims(index(one, {&ones})), (Shape{1, 3}));
  // ':' gives a column of everything.
  Value all = index(m, {nullptr});
  EXPECT_EQ(dims(all), (Shape{6, 1}));
  EXPECT_EQ(values(all), (std::vector<double>{1, 4, 2, 5, 3, 6}));
  Value colon_text = text(":");
  EXPECT_EQ(dims(index(r, {&colon_text})), (Shape{4, 1}));
  Value nothing = empty();
  EXPECT_EQ(dims(index(m, {&nothing})), (Shape{0, 0}));
  // Any numeric class and text can be an index.
  Value small = row({2}, kxUINT8_CLASS);
  EXPECT_EQ(values(index(r, {&small})), std::vector<double>{20});
}

TEST(Index, LogicalMasks) {
  Value m = matrix(2, 2, {1, 2, 3, 4});
  Value big = ops::binary(lang::BinaryOp::Gt, m.get(), scalar(1).get());
  Value selected = index(m, {&big});
  EXPECT_EQ(dims(selected), (Shape{3, 1}));
  EXPECT_EQ(values(selected), (std::vector<double>{3, 2, 4}));
  Value r = row({5, 6, 7});
  Value mask = row({1, 0, 1}, kxLOGICAL_CLASS);
  EXPECT_EQ(dims(index(r, {&mask})), (Shape{1, 2}));
  Value short_mask = row({0, 1}, kxLOGICAL_CLASS);
  EXPECT_EQ(values(index(r, {&short_mask})), std::vector<double>{6});
  // A longer mask is fine while its extra elements are false.
  Value long_mask = row({1, 0, 0, 0}, kxLOGICAL_CLASS);
  EXPECT_EQ(values(index(r, {&long_mask})), std::vector<double>{5});
  Value beyond = row({0, 0, 0, 1}, kxLOGICAL_CLASS);
  EXPECT_EQ(error_of([&] { index(r, {&beyond}); }),
            "Korel:badsubscript: Index exceeds the number of array elements (3).");
  Value row_mask = row({1, 0}, kxLOGICAL_CLASS);
  EXPECT_EQ(values(index(m, {&row_mask, nullptr})), (std::vector<double>{1, 2}));
}

TEST(Index, SubscriptsPerDimension) {
  Value m = matrix(3, 3, {1, 2, 3, 4, 5, 6, 7, 8, 9});
  Value rows = row({1, 3});
  Value two = scalar(2);
  Value block = index(m, {&rows, nullptr});
  EXPECT_EQ(dims(block), (Shape{2, 3}));
  EXPECT_EQ(values(block), (std::vector<double>{1, 7, 2, 8, 3, 9}));
  EXPECT_EQ(values(index(m, {&two, &two})), std::vector<double>{5});
  Value col = index(m, {nullptr, &two});
  EXPECT_EQ(dims(col), (Shape{3, 1}));

  Value cube = make(kxINT16_CLASS, {2, 2, 2}, {1, 2, 3, 4, 5, 6, 7, 8});
  Value page = index(cube, {nullptr, nullptr, &two});
  EXPECT_EQ(kxGetClassID(page.get()), kxINT16_CLASS);
  EXPECT_EQ(dims(page), (Shape{2, 2}));
  EXPECT_EQ(values(page), (std::vector<double>{5, 6, 7, 8}));
  // The last subscript spans the remaining dimensions.
  Value three = scalar(3);
  Value one = scalar(1);
  EXPECT_EQ(values(index(cube, {&one, &three})), std::vector<double>{5});
  EXPECT_EQ(dims(index(cube, {nullptr, nullptr})), (Shape{2, 4}));
  // Subscripts past the array's dimensions may only be 1.
  EXPECT_EQ(values(index(m, {&two, &two, &one})), std::vector<double>{5});
  Value four = scalar(4);
  EXPECT_EQ(error_of([&] { index(m, {&four, &one}); }),
            "Korel:badsubscript: Index in position 1 exceeds array bounds (must not exceed 3).");
  EXPECT_EQ(error_of([&] { index(m, {&one, &one, &two}); }),
            "Korel:badsubscript: Index in position 3 exceeds array bounds (must not exceed 1).");
  EXPECT_EQ(ops::end_of(cube.get(), 0, 2), 2u);
  EXPECT_EQ(ops::end_of(cube.get(), 1, 2), 4u);
  EXPECT_EQ(ops::end_of(cube.get(), 0, 1), 8u);
  EXPECT_EQ(ops::end_of(m.get(), 2, 3), 1u);
}

TEST(Index, BadSubscripts) {
  Value r = row({1, 2, 3});
  for (double bad : {0.0, -1.0, 1.5, double(NAN), double(INFINITY)}) {
    Value sub = scalar(bad);
    EXPECT_EQ(error_of([&] { index(r, {&sub}); }),
              "Korel:badsubscript: Array indices must be positive integers or logical values.")
        << bad;
  }
  Value huge = scalar(1e300);
  EXPECT_EQ(error_id([&] { index(r, {&huge}); }), "Korel:badsubscript");
  Value cell = checked(kxCreateCellMatrix(1, 1));
  EXPECT_EQ(error_id([&] { index(r, {&cell}); }), "Korel:badsubscript");
  Value z = complex_scalar(1, 1);
  EXPECT_EQ(error_id([&] { index(r, {&z}); }), "Korel:badsubscript");
}

TEST(Index, ContainersAndHandles) {
  Value cell = checked(kxCreateCellMatrix(1, 3));
  kxSetCell(cell.get(), 0, kxCreateDoubleScalar(1));
  kxSetCell(cell.get(), 2, kxCreateString("three"));
  Value pick = row({3, 2});
  Value part = index(cell, {&pick});
  EXPECT_TRUE(kxIsCell(part.get()));
  EXPECT_EQ(dims(part), (Shape{1, 2}));
  EXPECT_EQ(kxGetCell(part.get(), 1), nullptr);
  EXPECT_TRUE(kxIsIdentical(kxGetCell(part.get(), 0), kxGetCell(cell.get(), 2)));

  std::vector<const kxArray*> s = subs({&pick});
  std::vector<Value> contents = ops::brace_index(cell.get(), s);
  ASSERT_EQ(contents.size(), 2u);
  EXPECT_TRUE(kxIsChar(contents[0].get()));
  EXPECT_EQ(dims(contents[1]), (Shape{0, 0}));  // an empty place reads as []
  EXPECT_EQ(ops::brace_index(cell.get(), {}).size(), 3u);
  EXPECT_EQ(error_id([&] { ops::brace_index(pick.get(), s); }), "Korel:cellRefFromNonCell");

  const char* names[] = {"x", "y"};
  Value records = checked(kxCreateStructMatrix(1, 3, 2, names));
  for (kxSize i = 0; i < 3; ++i) kxSetField(records.get(), i, "x", kxCreateDoubleScalar(i + 1.0));
  Value some = index(records, {&pick});
  EXPECT_TRUE(kxIsStruct(some.get()));
  EXPECT_EQ(kxGetNumberOfFields(some.get()), 2);
  EXPECT_EQ(kxGetScalar(kxGetField(some.get(), 0, "x")), 3);
  std::vector<Value> xs = ops::field(records.get(), "x");
  ASSERT_EQ(xs.size(), 3u);
  EXPECT_EQ(kxGetScalar(xs[2].get()), 3);
  EXPECT_EQ(dims(ops::field(records.get(), "y")[0]), (Shape{0, 0}));
  EXPECT_EQ(error_of([&] { ops::field(records.get(), "z"); }),
            "Korel:undefinedField: Unrecognized field name \"z\".");
  EXPECT_EQ(error_id([&] { ops::field(cell.get(), "x"); }), "Korel:fieldRefFromNonStruct");

  const kxSize pair[] = {1, 2};
  Value object = checked(kxCreateObjectArray("Point", 2, pair, 2, names));
  Value second = scalar(2);
  Value one_object = index(object, {&second});
  EXPECT_STREQ(kxGetObjectClassName(one_object.get()), "Point");
  EXPECT_EQ(ops::field(object.get(), "y").size(), 2u);

  Value handle = checked(kxCreateFunctionHandle("cos"));
  Value one = scalar(1);
  EXPECT_STREQ(kxGetFunctionName(index(handle, {&one}).get()), "cos");
  Value twice = row({1, 1});
  EXPECT_EQ(error_id([&] { index(handle, {&twice}); }), "Korel:functionHandle:Nonscalar");
  EXPECT_EQ(error_id([&] { index(handle, {&second}); }), "Korel:badsubscript");

  // No subscripts: the same value, shared.
  Value whole = ops::index(cell.get(), {});
  EXPECT_TRUE(storage_is_shared(cell.get()));
  EXPECT_TRUE(kxIsIdentical(whole.get(), cell.get()));
}

TEST(Index, ComplexPartsComeAlong) {
  Value z = make(kxSINGLE_CLASS, {1, 3}, {1, 2, 3}, {4, 0, 6});
  Value pick = row({3, 2});
  Value part = index(z, {&pick});
  EXPECT_EQ(kxGetClassID(part.get()), kxSINGLE_CLASS);
  ASSERT_TRUE(kxIsComplex(part.get()));
  EXPECT_EQ(imag_values(part), (std::vector<double>{6, 0}));
}

}  // namespace
}  // namespace krt::opstest
