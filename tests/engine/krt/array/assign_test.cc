#include "engine/krt/array/array_test_support.h"

namespace krt::opstest {
namespace {

void assign(Value& target, std::initializer_list<const Value*> list, const Value& rhs) {
  std::vector<const kxArray*> s = subs(list);
  ops::assign_index(target, s, rhs.get());
}
void remove(Value& target, std::initializer_list<const Value*> list) {
  std::vector<const kxArray*> s = subs(list);
  ops::delete_elements(target, s);
}

TEST(Assign, InPlaceAndGrowing) {
  Value x = row({1, 2, 3});
  Value two = scalar(2);
  assign(x, {&two}, scalar(20));
  EXPECT_EQ(values(x), (std::vector<double>{1, 20, 3}));
  Value five = scalar(5);
  assign(x, {&five}, scalar(50));
  EXPECT_EQ(values(x), (std::vector<double>{1, 20, 3, 0, 50}));

  Value col = column({1, 2});
  Value three = scalar(3);
  assign(col, {&three}, scalar(9));
  EXPECT_EQ(dims(col), (Shape{3, 1}));

  // A linear index into nothing makes a row.
  Value nothing;
  assign(nothing, {&three}, scalar(7));
  EXPECT_EQ(dims(nothing), (Shape{1, 3}));
  EXPECT_EQ(values(nothing), (std::vector<double>{0, 0, 7}));
  Value bracket = empty();
  assign(bracket, {&two}, text("a"));
  EXPECT_EQ(kxGetClassID(bracket.get()), kxCHAR_CLASS);
  EXPECT_EQ(values(bracket), (std::vector<double>{0, 97}));

  Value m = matrix(2, 2, {1, 2, 3, 4});
  assign(m, {&three, &three}, scalar(9));
  EXPECT_EQ(dims(m), (Shape{3, 3}));
  EXPECT_EQ(values(m), (std::vector<double>{1, 3, 0, 2, 4, 0, 0, 0, 9}));
  Value one = scalar(1);
  assign(m, {&one, &one, &two}, scalar(5));
  EXPECT_EQ(dims(m), (Shape{3, 3, 2}));
  EXPECT_EQ(values(m)[9], 5);
  Value far = scalar(100);
  EXPECT_EQ(error_id([&] { assign(m, {&far}, scalar(1)); }),
            "Korel:subsassign:ambiguousGrowth");

  // ':' into an empty target spans the right side.
  Value grown = empty();
  assign(grown, {nullptr, &one}, column({1, 2, 3}));
  EXPECT_EQ(dims(grown), (Shape{3, 1}));
  Value wide;
  assign(wide, {&two, nullptr}, row({4, 5}));
  EXPECT_EQ(dims(wide), (Shape{2, 2}));
  EXPECT_EQ(values(wide), (std::vector<double>{0, 4, 0, 5}));

  Value mask = row({0, 1, 1}, kxLOGICAL_CLASS);
  Value target = row({1, 2, 3});
  assign(target, {&mask}, row({8, 9}));
  EXPECT_EQ(values(target), (std::vector<double>{1, 8, 9}));
  assign(target, {nullptr}, scalar(0));
  EXPECT_EQ(values(target), (std::vector<double>{0, 0, 0}));
}

TEST(Assign, ElementCountsMustAgree) {
  Value x = row({1, 2, 3});
  Value both = row({1, 2});
  EXPECT_EQ(error_of([&] { assign(x, {&both}, row({1, 2, 3})); }),
            "Korel:subsassignnumelmismatch: Unable to perform assignment because the left and "
            "right sides have a different number of elements.");
  Value zero = scalar(0);
  EXPECT_EQ(error_id([&] { assign(x, {&zero}, scalar(1)); }), "Korel:badsubscript");
  EXPECT_EQ(values(x), (std::vector<double>{1, 2, 3}));  // failed assignments change nothing
}

TEST(Assign, ResultClasses) {
  Value one = scalar(1);
  Value d = row({1, 2});
  assign(d, {&one}, scalar(-5, kxINT8_CLASS));
  EXPECT_EQ(kxGetClassID(d.get()), kxINT8_CLASS);
  EXPECT_EQ(values(d), (std::vector<double>{-5, 2}));
  Value i = row({1, 2}, kxUINT8_CLASS);
  assign(i, {&one}, scalar(2.5));
  EXPECT_EQ(kxGetClassID(i.get()), kxUINT8_CLASS);
  EXPECT_EQ(values(i)[0], 3);
  assign(i, {&one}, scalar(7, kxINT16_CLASS));
  EXPECT_EQ(kxGetClassID(i.get()), kxUINT8_CLASS);
  Value numbers = row({1, 2});
  assign(numbers, {&one}, text("a"));
  EXPECT_EQ(kxGetClassID(numbers.get()), kxDOUBLE_CLASS);
  EXPECT_EQ(values(numbers)[0], 97);
  Value word = text("abc");
  assign(word, {&one}, scalar(65));
  EXPECT_EQ(string_of(word), "Abc");
  Value flags = row({1, 0}, kxLOGICAL_CLASS);
  assign(flags, {&one}, scalar(5));
  EXPECT_EQ(kxGetClassID(flags.get()), kxDOUBLE_CLASS);
  EXPECT_EQ(values(flags), (std::vector<double>{5, 0}));
  Value s = row({1, 2});
  assign(s, {&one}, scalar(0.5, kxSINGLE_CLASS));
  EXPECT_EQ(kxGetClassID(s.get()), kxSINGLE_CLASS);

  Value z = row({1, 2});
  assign(z, {&one}, complex_scalar(0, 1));
  ASSERT_TRUE(kxIsComplex(z.get()));
  EXPECT_EQ(imag_values(z), (std::vector<double>{1, 0}));
  // A real value written into a complex array clears the imaginary part there.
  assign(z, {&one}, scalar(3));
  EXPECT_EQ(imag_values(z), (std::vector<double>{0, 0}));
  Value ints = row({1, 2}, kxINT8_CLASS);
  EXPECT_EQ(error_id([&] { assign(ints, {&one}, complex_scalar(1, 1)); }),
            "Korel:complex:Unsupported");
}

TEST(Assign, ContainersAndHandles) {
  Value one = scalar(1), two = scalar(2), three = scalar(3);
  Value cell = checked(kxCreateCellMatrix(1, 1));
  Value source = checked(kxCreateCellMatrix(1, 1));
  kxSetCell(source.get(), 0, kxCreateDoubleScalar(8));
  assign(cell, {&three}, source);
  EXPECT_EQ(dims(cell), (Shape{1, 3}));
  EXPECT_EQ(kxGetCell(cell.get(), 1), nullptr);
  EXPECT_EQ(kxGetScalar(kxGetCell(cell.get(), 2)), 8);
  EXPECT_EQ(error_of([&] { assign(cell, {&one}, scalar(1)); }),
            "Korel:cellAssign: Conversion to cell from double is not possible.");
  Value numbers = row({1});
  EXPECT_EQ(error_id([&] { assign(numbers, {&one}, source); }), "Korel:invalidConversion");
  Value made;
  assign(made, {&two}, source);
  EXPECT_TRUE(kxIsCell(made.get()));

  const char* ab[] = {"a", "b"};
  const char* bc[] = {"c", "b"};
  Value records = checked(kxCreateStructMatrix(1, 1, 2, ab));
  Value other = checked(kxCreateStructMatrix(1, 1, 2, bc));
  kxSetField(other.get(), 0, "c", kxCreateDoubleScalar(4));
  assign(records, {&two}, other);
  EXPECT_EQ(dims(records), (Shape{1, 2}));
  EXPECT_EQ(kxGetNumberOfFields(records.get()), 3);
  EXPECT_EQ(kxGetScalar(kxGetField(records.get(), 1, "c")), 4);
  EXPECT_EQ(kxGetField(records.get(), 0, "c"), nullptr);
  EXPECT_EQ(error_id([&] { assign(records, {&one}, scalar(1)); }), "Korel:invalidConversion");

  // An object goes into [] as into nothing.
  const kxSize one_by_one[] = {1, 1};
  Value point = checked(kxCreateObjectArray("P", 2, one_by_one, 2, ab));
  Value points = empty();
  assign(points, {&two}, point);
  EXPECT_STREQ(kxGetObjectClassName(points.get()), "P");
  EXPECT_EQ(dims(points), (Shape{1, 2}));

  Value handle = checked(kxCreateFunctionHandle("sin"));
  Value f;
  assign(f, {&one}, handle);
  EXPECT_STREQ(kxGetFunctionName(f.get()), "sin");
  EXPECT_EQ(error_id([&] { assign(f, {&two}, handle); }), "Korel:functionHandle:Nonscalar");
}

TEST(Assign, CopiesOnWriteAndAliases) {
  Value original = row({1, 2, 3});
  Value copy = original.share();
  Value one = scalar(1);
  assign(copy, {&one}, scalar(100));
  EXPECT_EQ(values(original), (std::vector<double>{1, 2, 3}));
  EXPECT_EQ(values(copy), (std::vector<double>{100, 2, 3}));

  // The right side may be the target itself.
  Value x = row({1, 2, 3});
  Value reversed = row({3, 2, 1});
  assign(x, {&reversed}, x);
  EXPECT_EQ(values(x), (std::vector<double>{3, 2, 1}));
  Value five = scalar(5);
  Value y = row({1, 2});
  assign(y, {&five}, scalar(9));
  EXPECT_EQ(values(y), (std::vector<double>{1, 2, 0, 0, 9}));
}

TEST(Assign, BracesAndFields) {
  Value one = scalar(1), two = scalar(2);
  Value c;
  std::vector<const kxArray*> at_two = subs({&two});
  ops::assign_brace(c, at_two, row({1, 2}).get());
  EXPECT_TRUE(kxIsCell(c.get()));
  EXPECT_EQ(dims(c), (Shape{1, 2}));
  EXPECT_EQ(values(kxGetCell(c.get(), 1)), (std::vector<double>{1, 2}));
  // A cell stored into itself keeps the value it had.
  ops::assign_brace(c, subs({&one}), c.get());
  const kxArray* inner = kxGetCell(c.get(), 0);
  ASSERT_TRUE(kxIsCell(inner));
  EXPECT_EQ(kxGetCell(inner, 0), nullptr);
  EXPECT_EQ(values(kxGetCell(inner, 1)), (std::vector<double>{1, 2}));
  Value both = row({1, 2});
  EXPECT_EQ(error_id([&] { ops::assign_brace(c, subs({&both}), one.get()); }), "Korel:braceAssign");
  Value number = scalar(3);
  EXPECT_EQ(error_id([&] { ops::assign_brace(number, subs({&one}), one.get()); }),
            "Korel:cellAssignNonCell");
  Value bracket = empty();
  ops::assign_brace(bracket, subs({&one}), one.get());
  EXPECT_TRUE(kxIsCell(bracket.get()));

  Value s;
  ops::assign_field(s, "alpha", scalar(1).get());
  ops::assign_field(s, "beta", text("b").get());
  ops::assign_field(s, "alpha", scalar(2).get());
  ASSERT_TRUE(kxIsStruct(s.get()));
  EXPECT_EQ(kxGetNumberOfFields(s.get()), 2);
  EXPECT_EQ(kxGetScalar(kxGetField(s.get(), 0, "alpha")), 2);
  Value shared = s.share();
  ops::assign_field(s, "alpha", scalar(3).get());
  EXPECT_EQ(kxGetScalar(kxGetField(shared.get(), 0, "alpha")), 2);
  ops::assign_field(s, "self", s.get());
  EXPECT_EQ(kxGetFieldNumber(kxGetField(s.get(), 0, "self"), "self"), -1);

  Value from_empty = empty();
  ops::assign_field(from_empty, "x", one.get());
  EXPECT_TRUE(kxIsStruct(from_empty.get()));
  Value pair = checked(kxCreateStructMatrix(1, 2, 0, nullptr));
  EXPECT_EQ(error_id([&] { ops::assign_field(pair, "x", one.get()); }),
            "Korel:fieldAssignMultiple");
  EXPECT_EQ(error_id([&] { ops::assign_field(number, "x", one.get()); }),
            "Korel:fieldAssignNonStruct");
  EXPECT_EQ(error_id([&] { ops::assign_field(s, "1x", one.get()); }), "Korel:invalidFieldName");
  const char* names[] = {"x"};
  const kxSize single[] = {1, 1};
  Value object = checked(kxCreateObjectArray("P", 2, single, 1, names));
  ops::assign_field(object, "x", one.get());
  EXPECT_EQ(kxGetScalar(kxGetField(object.get(), 0, "x")), 1);
  EXPECT_EQ(error_id([&] { ops::assign_field(object, "y", one.get()); }), "Korel:undefinedField");
}

TEST(Delete, ElementsAndSlices) {
  Value two = scalar(2);
  Value x = row({1, 2, 3, 4});
  Value pick = row({1, 3, 1});
  remove(x, {&pick});
  EXPECT_EQ(dims(x), (Shape{1, 2}));
  EXPECT_EQ(values(x), (std::vector<double>{2, 4}));
  Value c = column({1, 2, 3});
  remove(c, {&two});
  EXPECT_EQ(dims(c), (Shape{2, 1}));
  Value m = matrix(2, 2, {1, 2, 3, 4});
  Value first = scalar(1);
  remove(m, {&first});
  EXPECT_EQ(dims(m), (Shape{1, 3}));
  EXPECT_EQ(values(m), (std::vector<double>{3, 2, 4}));
  Value unchanged = matrix(2, 2, {1, 2, 3, 4});
  Value none = empty();
  remove(unchanged, {&none});
  EXPECT_EQ(dims(unchanged), (Shape{2, 2}));
  remove(unchanged, {nullptr});
  EXPECT_EQ(dims(unchanged), (Shape{0, 0}));

  Value grid = matrix(3, 3, {1, 2, 3, 4, 5, 6, 7, 8, 9});
  remove(grid, {&two, nullptr});
  EXPECT_EQ(dims(grid), (Shape{2, 3}));
  EXPECT_EQ(values(grid), (std::vector<double>{1, 7, 2, 8, 3, 9}));
  Value all_rows = row({1, 2});
  remove(grid, {&all_rows, &two});  // rows 1:2 are all of them
  EXPECT_EQ(dims(grid), (Shape{2, 2}));
  EXPECT_EQ(values(grid), (std::vector<double>{1, 7, 3, 9}));
  remove(grid, {nullptr, nullptr});
  EXPECT_EQ(dims(grid), (Shape{0, 2}));

  Value cube = make(kxDOUBLE_CLASS, {1, 2, 2}, {1, 2, 3, 4});
  remove(cube, {nullptr, nullptr, &two});
  EXPECT_EQ(dims(cube), (Shape{1, 2}));

  Value cells = checked(kxCreateCellMatrix(1, 3));
  kxSetCell(cells.get(), 2, kxCreateDoubleScalar(3));
  remove(cells, {&first});
  EXPECT_EQ(dims(cells), (Shape{1, 2}));
  EXPECT_EQ(kxGetScalar(kxGetCell(cells.get(), 1)), 3);

  Value square = matrix(2, 2, {1, 2, 3, 4});
  EXPECT_EQ(error_of([&] { remove(square, {&first, &first}); }),
            "Korel:nullAssignment: A null assignment can have only one non-colon index.");
  Value five = scalar(5);
  EXPECT_EQ(error_id([&] { remove(square, {&five}); }), "Korel:badsubscript");
  EXPECT_EQ(dims(square), (Shape{2, 2}));
}

}  // namespace
}  // namespace krt::opstest
