#include "engine/krt/array/array_test_support.h"

namespace krt::opstest {
namespace {

Value horz(std::initializer_list<const Value*> parts) {
  std::vector<const kxArray*> arrays;
  for (const Value* p : parts) arrays.push_back(p->get());
  return ops::horzcat(arrays);
}
Value vert(std::initializer_list<const Value*> parts) {
  std::vector<const kxArray*> arrays;
  for (const Value* p : parts) arrays.push_back(p->get());
  return ops::vertcat(arrays);
}

Value record(std::vector<const char*> names, double first) {
  Value s = checked(kxCreateStructMatrix(1, 1, static_cast<int>(names.size()), names.data()));
  kxSetFieldByNumber(s.get(), 0, 0, kxCreateDoubleScalar(first));
  return s;
}

TEST(Concatenate, ShapesAndEmptyParts) {
  Value a = matrix(2, 2, {1, 2, 3, 4});
  Value c = column({5, 6});
  Value side = horz({&a, &c});
  EXPECT_EQ(dims(side), (Shape{2, 3}));
  EXPECT_EQ(values(side), (std::vector<double>{1, 3, 2, 4, 5, 6}));
  Value r = row({7, 8});
  Value stacked = vert({&a, &r});
  EXPECT_EQ(dims(stacked), (Shape{3, 2}));
  EXPECT_EQ(values(stacked), (std::vector<double>{1, 3, 7, 2, 4, 8}));

  Value none = empty();
  Value one = scalar(1);
  EXPECT_EQ(values(horz({&none, &one, &none})), std::vector<double>{1});
  EXPECT_EQ(dims(vert({&none, &none})), (Shape{0, 0}));
  // Other empties take part in the shape check.
  Value no_columns = make(kxDOUBLE_CLASS, {1, 0}, {});
  EXPECT_EQ(dims(horz({&no_columns, &one})), (Shape{1, 1}));
  Value two_rows_empty = make(kxDOUBLE_CLASS, {2, 0}, {});
  EXPECT_EQ(error_id([&] { horz({&two_rows_empty, &one}); }),
            "Korel:catenate:dimensionMismatch");
  EXPECT_EQ(error_of([&] { vert({&a, &c}); }),
            "Korel:catenate:dimensionMismatch: Dimensions of arrays being concatenated are not "
            "consistent.");

  Value page1 = make(kxDOUBLE_CLASS, {1, 2, 2}, {1, 2, 3, 4});
  Value page2 = make(kxDOUBLE_CLASS, {1, 1, 2}, {9, 10});
  Value cube = horz({&page1, &page2});
  EXPECT_EQ(dims(cube), (Shape{1, 3, 2}));
  EXPECT_EQ(values(cube), (std::vector<double>{1, 2, 9, 3, 4, 10}));
  Value tall = vert({&page1, &page1});
  EXPECT_EQ(dims(tall), (Shape{2, 2, 2}));
  EXPECT_EQ(values(tall), (std::vector<double>{1, 1, 2, 2, 3, 3, 4, 4}));
  EXPECT_EQ(error_id([&] { vert({&page1, &page2}); }), "Korel:catenate:dimensionMismatch");
}

TEST(Concatenate, ResultClasses) {
  auto class_of = [](std::initializer_list<const Value*> parts) {
    return kxGetClassID(horz(parts).get());
  };
  Value d = scalar(65), t = text("a"), l = scalar(1, kxLOGICAL_CLASS);
  Value i8 = scalar(300, kxINT8_CLASS), i16 = scalar(1000, kxINT16_CLASS);
  Value s = scalar(1, kxSINGLE_CLASS);
  EXPECT_EQ(class_of({&d, &t}), kxCHAR_CLASS);
  EXPECT_EQ(class_of({&l, &t}), kxCHAR_CLASS);
  EXPECT_EQ(class_of({&d, &i8}), kxINT8_CLASS);
  EXPECT_EQ(class_of({&s, &i16}), kxINT16_CLASS);
  EXPECT_EQ(class_of({&d, &s}), kxSINGLE_CLASS);
  EXPECT_EQ(class_of({&l, &l}), kxLOGICAL_CLASS);
  EXPECT_EQ(class_of({&l, &d}), kxDOUBLE_CLASS);
  // Different integer classes: the leftmost wins, and values saturate into it.
  Value mixed = horz({&i8, &i16});
  EXPECT_EQ(kxGetClassID(mixed.get()), kxINT8_CLASS);
  EXPECT_EQ(values(mixed), (std::vector<double>{127, 127}));
  EXPECT_EQ(string_of(horz({&t, &d})), "aA");
  // [] does not make text numeric, but an empty text makes numbers text.
  Value none = empty(), no_text = text("");
  EXPECT_EQ(class_of({&none, &t}), kxCHAR_CLASS);
  EXPECT_EQ(string_of(horz({&no_text, &d})), "A");

  Value z = complex_scalar(1, 2);
  Value with_complex = horz({&d, &z});
  EXPECT_TRUE(kxIsComplex(with_complex.get()));
  EXPECT_EQ(imag_values(with_complex), (std::vector<double>{0, 2}));
  EXPECT_EQ(error_id([&] { horz({&i8, &z}); }), "Korel:complex:Unsupported");
  // A failure after parts were converted leaves nothing behind (the sanitizer build checks).
  Value tall = column({1, 2});
  EXPECT_EQ(error_id([&] { horz({&i8, &d, &tall}); }), "Korel:catenate:dimensionMismatch");
}

TEST(Concatenate, CellsStructsAndHandles) {
  Value cell = checked(kxCreateCellMatrix(1, 2));
  kxSetCell(cell.get(), 0, kxCreateDoubleScalar(1));
  Value number = scalar(5);
  Value none = empty();
  Value joined = horz({&cell, &number, &none});
  EXPECT_EQ(dims(joined), (Shape{1, 3}));
  EXPECT_EQ(kxGetCell(joined.get(), 1), nullptr);  // the empty place stays empty
  ASSERT_NE(kxGetCell(joined.get(), 2), nullptr);
  EXPECT_EQ(kxGetScalar(kxGetCell(joined.get(), 2)), 5);
  Value stacked = vert({&cell, &cell});
  EXPECT_EQ(dims(stacked), (Shape{2, 2}));
  EXPECT_EQ(kxGetScalar(kxGetCell(stacked.get(), 1)), 1);

  Value s1 = record({"a", "b"}, 1);
  Value s2 = record({"b", "a"}, 2);  // same fields, other order
  Value both = horz({&s1, &s2});
  EXPECT_EQ(dims(both), (Shape{1, 2}));
  EXPECT_STREQ(kxGetFieldNameByNumber(both.get(), 0), "a");
  EXPECT_EQ(kxGetScalar(kxGetField(both.get(), 0, "a")), 1);
  EXPECT_EQ(kxGetScalar(kxGetField(both.get(), 1, "b")), 2);
  EXPECT_EQ(kxGetField(both.get(), 1, "a"), nullptr);
  Value other = record({"a", "c"}, 3);
  EXPECT_EQ(error_id([&] { horz({&s1, &other}); }), "Korel:catenate:structFieldBad");
  EXPECT_EQ(error_id([&] { horz({&s1, &number}); }), "Korel:catenate:conversion");
  EXPECT_EQ(kxGetClassID(horz({&s1, &none}).get()), kxSTRUCT_CLASS);
  Value in_cell = horz({&cell, &s1});
  EXPECT_TRUE(kxIsStruct(kxGetCell(in_cell.get(), 2)));

  Value handle = checked(kxCreateFunctionHandle("sin"));
  Value alone = horz({&handle});
  EXPECT_STREQ(kxGetFunctionName(alone.get()), "sin");
  EXPECT_EQ(error_id([&] { horz({&handle, &handle}); }), "Korel:catenate:functionHandle");
  EXPECT_TRUE(kxIsFunctionHandle(kxGetCell(horz({&cell, &handle}).get(), 2)));
}

}  // namespace
}  // namespace krt::opstest
