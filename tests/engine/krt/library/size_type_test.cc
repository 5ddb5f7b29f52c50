#include <cmath>

#include "library_test_support.h"

namespace {

using namespace libtest;

bool truth(const Owned& a) {
  EXPECT_EQ(class_of(a), "logical");
  return scalar(a) != 0;
}

TEST(Sizes, CountsAndShapes) {
  Owned block = typed(kxDOUBLE_CLASS, {2, 3, 4}, std::vector<double>(24, 1));
  EXPECT_EQ(scalar(call("numel", block)), 24);
  EXPECT_EQ(scalar(call("length", block)), 4);
  EXPECT_EQ(scalar(call("ndims", block)), 3);
  EXPECT_EQ(scalar(call("length", typed(kxDOUBLE_CLASS, {5, 0}, {}))), 0);
  EXPECT_EQ(scalar(call("numel", cell_of({2, 2}, {}))), 4);
  EXPECT_EQ(class_of(call("numel", block)), "double");

  EXPECT_TRUE(truth(call("isempty", typed(kxDOUBLE_CLASS, {0, 3}, {}))));
  EXPECT_FALSE(truth(call("isempty", num(0))));
  EXPECT_TRUE(truth(call("isscalar", text("a"))));
  EXPECT_FALSE(truth(call("isscalar", empty())));
  EXPECT_TRUE(truth(call("isvector", col({1, 2}))));
  EXPECT_TRUE(truth(call("isvector", num(1))));
  EXPECT_TRUE(truth(call("isvector", typed(kxDOUBLE_CLASS, {1, 0}, {}))));
  EXPECT_FALSE(truth(call("isvector", mat({{1, 2}, {3, 4}}))));
  EXPECT_FALSE(truth(call("isvector", typed(kxDOUBLE_CLASS, {1, 1, 3}, {1, 2, 3}))));
}

TEST(Sizes, SizeInEveryForm) {
  Owned block = typed(kxDOUBLE_CLASS, {2, 3, 4}, std::vector<double>(24, 0));
  Owned whole = call("size", block);
  EXPECT_EQ(dims(whole), (Dims{1, 3}));
  EXPECT_EQ(values(whole), (Doubles{2, 3, 4}));
  EXPECT_EQ(scalar(call("size", block, num(2))), 3);
  EXPECT_EQ(scalar(call("size", block, num(7))), 1);
  EXPECT_EQ(values(call("size", block, row({3, 1}))), (Doubles{4, 2}));
  EXPECT_EQ(values(call("size", block, num(3), num(1))), (Doubles{4, 2}));

  auto two = call_n(2, "size", block);  // the last output takes the rest
  EXPECT_EQ(scalar(two[0]), 2);
  EXPECT_EQ(scalar(two[1]), 12);
  auto five = call_n(5, "size", block);
  Doubles got;
  for (auto& v : five) got.push_back(scalar(v));
  EXPECT_EQ(got, (Doubles{2, 3, 4, 1, 1}));
  auto asked = call_n(2, "size", block, row({3, 2}));
  EXPECT_EQ(scalar(asked[0]), 4);
  EXPECT_EQ(scalar(asked[1]), 3);

  EXPECT_EQ(error_of("size"), "Korel:size:notEnoughInputs");
  EXPECT_EQ(error_of("size", block, num(0)), "Korel:size:badDimension");
  EXPECT_EQ(error_of("size", block, num(1.5)), "Korel:size:badDimension");
  EXPECT_EQ(error_of("size", block, text("a")), "Korel:size:badDimension");
  EXPECT_EQ(error_with("size", 3, {block.get(), num(1).get()}), "Korel:size:tooManyOutputs");
  EXPECT_EQ(error_of("numel", block, num(1)), "Korel:numel:tooManyInputs");
}

TEST(Types, ClassNamesAndKinds) {
  EXPECT_EQ(str(call("class", num(1))), "double");
  EXPECT_EQ(str(call("class", typed(kxUINT16_CLASS, {1, 1}, {1}))), "uint16");
  EXPECT_EQ(str(call("class", cell_row())), "cell");
  EXPECT_EQ(str(call("class", Owned(kxCreateFunctionHandle("sin")))), "function_handle");
  Owned point(kxCreateObjectArray("Point", 2, Dims{1, 1}.data(), 0, nullptr));
  EXPECT_EQ(str(call("class", point)), "Point");

  Owned i8 = typed(kxINT8_CLASS, {1, 1}, {1});
  EXPECT_TRUE(truth(call("isa", i8, text("int8"))));
  EXPECT_TRUE(truth(call("isa", i8, text("integer"))));
  EXPECT_TRUE(truth(call("isa", i8, text("numeric"))));
  EXPECT_FALSE(truth(call("isa", i8, text("float"))));
  EXPECT_TRUE(truth(call("isa", typed(kxSINGLE_CLASS, {1, 1}, {1}), text("float"))));
  EXPECT_FALSE(truth(call("isa", boolean(true), text("numeric"))));
  EXPECT_TRUE(truth(call("isa", point, text("Point"))));
  EXPECT_EQ(error_of("isa", num(1), num(2)), "Korel:isa:badType");

  EXPECT_TRUE(truth(call("ischar", typed(kxCHAR_CLASS, {0, 0}, {}))));
  EXPECT_FALSE(truth(call("ischar", cell_row(text("a")))));
  EXPECT_TRUE(truth(call("isnumeric", i8)));
  EXPECT_FALSE(truth(call("isnumeric", text("1"))));
  EXPECT_TRUE(truth(call("islogical", boolean(false))));
  EXPECT_TRUE(truth(call("iscell", cell_row())));
  EXPECT_FALSE(truth(call("isstruct", point)));
  EXPECT_TRUE(truth(call("isstruct", Owned(kxCreateStructMatrix(1, 1, 0, nullptr)))));
  EXPECT_TRUE(truth(call("isreal", text("a"))));
  EXPECT_FALSE(truth(call("isreal", complex_row({1}, {0}))));
  EXPECT_FALSE(truth(call("isreal", cell_row())));
}

TEST(Types, IsfieldWithOneNameOrACellOfNames) {
  const char* names[] = {"a", "bc"};
  Owned s(kxCreateStructMatrix(1, 1, 2, names));
  EXPECT_TRUE(truth(call("isfield", s, text("bc"))));
  EXPECT_FALSE(truth(call("isfield", s, text("b"))));
  EXPECT_FALSE(truth(call("isfield", s, num(1))));
  EXPECT_FALSE(truth(call("isfield", num(1), text("a"))));
  Owned asked = call("isfield", s, cell_of({2, 2}, {}));
  EXPECT_EQ(dims(asked), (Dims{2, 2}));
  Owned list = cell_row(text("a"), text("x"), num(3), text("bc"));
  Owned found = call("isfield", s, list);
  EXPECT_EQ(class_of(found), "logical");
  EXPECT_EQ(values(found), (Doubles{1, 0, 0, 1}));
}

TEST(Isequal, ComparesValuesAcrossClasses) {
  auto same = [](const Owned& a, const Owned& b) { return truth(call("isequal", a, b)); };
  EXPECT_TRUE(same(num(1), typed(kxINT8_CLASS, {1, 1}, {1})));
  EXPECT_TRUE(same(text("a"), num(97)));
  EXPECT_TRUE(same(boolean(true), num(1)));
  EXPECT_TRUE(same(row({1, 2}), typed(kxSINGLE_CLASS, {1, 2}, {1, 2})));
  EXPECT_FALSE(same(row({1, 2}), col({1, 2})));
  EXPECT_FALSE(same(num(NAN), num(NAN)));
  EXPECT_TRUE(same(complex_row({1}, {0}), num(1)));
  EXPECT_FALSE(same(complex_row({1}, {1}), num(1)));
  EXPECT_FALSE(same(num(1), cell_row(num(1))));
  EXPECT_TRUE(same(empty(), typed(kxCHAR_CLASS, {0, 0}, {})));

  // 2^63 - 1 and 2^63 differ, though both round to the same double.
  Owned below = typed(kxINT64_CLASS, {1, 1}, {0});
  *static_cast<int64_t*>(kxGetData(below.get())) = INT64_MAX;
  EXPECT_FALSE(same(below, typed(kxUINT64_CLASS, {1, 1}, {9223372036854775808.0})));

  kxIndex rows[] = {1}, columns[] = {0};
  double stored[] = {5};
  Owned sparse(
      kxCreateSparseFromTriples(kxDOUBLE_CLASS, 2, 1, 1, rows, columns, stored, nullptr, 1));
  EXPECT_TRUE(same(sparse, col({0, 5})));
}

TEST(Isequal, CellsStructsAndManyArguments) {
  EXPECT_TRUE(truth(call("isequal", cell_row(num(1), text("a")),
                         cell_row(typed(kxUINT8_CLASS, {1, 1}, {1}), text("a")))));
  EXPECT_FALSE(truth(call("isequal", cell_row(num(1)), cell_row(num(2)))));
  Owned with_hole = cell_of({1, 2}, {});
  kxSetCell(with_hole.get(), 1, kxCreateDoubleScalar(1));
  EXPECT_TRUE(truth(call("isequal", with_hole, cell_row(empty(), num(1)))));

  const char* ab[] = {"a", "b"};
  const char* ba[] = {"b", "a"};
  Owned s(kxCreateStructMatrix(1, 1, 2, ab));
  Owned t(kxCreateStructMatrix(1, 1, 2, ba));
  kxSetField(s.get(), 0, "a", kxCreateDoubleScalar(1));
  kxSetField(t.get(), 0, "a", kxCreateDoubleScalar(1));
  EXPECT_TRUE(truth(call("isequal", s, t)));  // field order does not matter
  kxSetField(t.get(), 0, "b", kxCreateString("x"));
  EXPECT_FALSE(truth(call("isequal", s, t)));
  const char* only_a[] = {"a"};
  Owned fewer(kxCreateStructMatrix(1, 1, 1, only_a));
  kxSetField(fewer.get(), 0, "a", kxCreateDoubleScalar(1));
  EXPECT_FALSE(truth(call("isequal", s, fewer)));

  EXPECT_TRUE(truth(call("isequal", num(2), num(2), typed(kxINT32_CLASS, {1, 1}, {2}))));
  EXPECT_FALSE(truth(call("isequal", num(2), num(2), num(3))));
  EXPECT_TRUE(truth(call("isequal", Owned(kxCreateFunctionHandle("f")),
                         Owned(kxCreateFunctionHandle("f")))));
  EXPECT_EQ(error_of("isequal", num(1)), "Korel:isequal:notEnoughInputs");
}

}  // namespace
