#include <cmath>

#include "library_test_support.h"

namespace {

using namespace libtest;

TEST(ZerosOnes, SizeForms) {
  Owned none = call("zeros");
  EXPECT_EQ(dims(none), (Dims{1, 1}));
  EXPECT_EQ(class_of(none), "double");
  EXPECT_EQ(dims(call("zeros", num(3))), (Dims{3, 3}));
  EXPECT_EQ(dims(call("ones", num(2), num(3))), (Dims{2, 3}));
  EXPECT_EQ(dims(call("ones", num(2), num(3), num(4))), (Dims{2, 3, 4}));
  EXPECT_EQ(dims(call("ones", num(2), num(3), num(1), num(1))), (Dims{2, 3}));
  EXPECT_EQ(dims(call("zeros", row({4, 1, 2}))), (Dims{4, 1, 2}));
  EXPECT_EQ(dims(call("zeros", empty())), (Dims{0, 0}));
  EXPECT_EQ(dims(call("zeros", num(-2), num(3))), (Dims{0, 3}));  // negative counts as 0
  EXPECT_EQ(values(call("ones", num(2))), (Doubles{1, 1, 1, 1}));
  EXPECT_EQ(values(call("zeros", num(1), num(2))), (Doubles{0, 0}));
}

TEST(ZerosOnes, ClassNames) {
  Owned i32 = call("ones", num(2), num(1), text("int32"));
  EXPECT_EQ(class_of(i32), "int32");
  EXPECT_EQ(dims(i32), (Dims{2, 1}));
  EXPECT_EQ(values(i32), (Doubles{1, 1}));
  Owned flags = call("ones", num(2), text("logical"));
  EXPECT_EQ(class_of(flags), "logical");
  EXPECT_EQ(values(flags), (Doubles{1, 1, 1, 1}));
  EXPECT_EQ(class_of(call("zeros", text("uint64"))), "uint64");
  EXPECT_EQ(class_of(call("zeros", row({1, 2}), text("single"))), "single");
  EXPECT_EQ(error_of("zeros", num(2), text("cell")), "Korel:zeros:badClass");
  EXPECT_EQ(error_of("ones", num(2), text("char")), "Korel:ones:badClass");
}

TEST(ZerosOnes, BadSizesRaise) {
  EXPECT_EQ(error_of("zeros", num(1.5)), "Korel:zeros:nonInteger");
  EXPECT_EQ(error_of("zeros", num(NAN)), "Korel:zeros:nonInteger");
  EXPECT_EQ(error_of("zeros", num(2), row({1, 2})), "Korel:zeros:badSize");
  EXPECT_EQ(error_of("ones", cell_row()), "Korel:ones:badSize");
  EXPECT_EQ(error_of("ones", complex_row({1}, {1})), "Korel:ones:badSize");
  EXPECT_EQ(error_of("zeros", num(1e6), num(1e6)), "Korel:zeros:tooLarge");
  EXPECT_EQ(error_of("zeros", num(INFINITY)), "Korel:zeros:tooLarge");
  EXPECT_EQ(error_of("ones", num(1e10), num(1e10), num(1e10)), "Korel:ones:tooLarge");
  EXPECT_EQ(error_of("cell", num(1e12)), "Korel:cell:tooLarge");
  EXPECT_EQ(error_with("zeros", 2, {}), "Korel:zeros:tooManyOutputs");
}

TEST(Cell, SizeFormsGiveEmptyPlaces) {
  Owned none = call("cell");
  EXPECT_EQ(class_of(none), "cell");
  EXPECT_EQ(dims(none), (Dims{0, 0}));
  Owned square = call("cell", num(2));
  EXPECT_EQ(dims(square), (Dims{2, 2}));
  EXPECT_EQ(kxGetCell(square.get(), 3), nullptr);
  EXPECT_EQ(dims(call("cell", num(1), num(3))), (Dims{1, 3}));
  EXPECT_EQ(dims(call("cell", row({2, 0}))), (Dims{2, 0}));
  EXPECT_EQ(error_of("cell", text("a")), "Korel:cell:badSize");
}

TEST(Struct, NamesValuesAndCellArrays) {
  Owned bare = call("struct");
  EXPECT_EQ(class_of(bare), "struct");
  EXPECT_EQ(dims(bare), (Dims{1, 1}));
  EXPECT_EQ(kxGetNumberOfFields(bare.get()), 0);

  Owned s = call("struct", text("a"), num(1), text("b"), text("xy"));
  EXPECT_EQ(dims(s), (Dims{1, 1}));
  EXPECT_EQ(kxGetScalar(kxGetField(s.get(), 0, "a")), 1);
  EXPECT_EQ(kxGetNumberOfElements(kxGetField(s.get(), 0, "b")), 2u);

  // A cell value spreads over a struct array of its size; a 1x1 cell and plain values
  // go to every element.
  Owned spread = call("struct", text("n"), cell_row(num(1), num(2), num(3)), text("k"),
                      cell_row(text("same")), text("m"), row({7, 8}));
  EXPECT_EQ(dims(spread), (Dims{1, 3}));
  EXPECT_EQ(kxGetScalar(kxGetField(spread.get(), 2, "n")), 3);
  EXPECT_TRUE(kxIsChar(kxGetField(spread.get(), 1, "k")));
  EXPECT_EQ(kxGetNumberOfElements(kxGetField(spread.get(), 2, "m")), 2u);

  Owned hollow = call("struct", text("a"), cell_of({0, 0}, {}));
  EXPECT_EQ(dims(hollow), (Dims{0, 0}));
  EXPECT_EQ(kxGetFieldNumber(hollow.get(), "a"), 0);
  Owned nested = call("struct", text("c"), cell_row(cell_row(num(1), num(2))));
  EXPECT_TRUE(kxIsCell(kxGetField(nested.get(), 0, "c")));

  Owned again = call("struct", s);
  EXPECT_TRUE(kxIsIdentical(again.get(), s.get()));
}

TEST(Struct, BadArgumentsRaise) {
  EXPECT_EQ(error_of("struct", text("a")), "Korel:struct:badArguments");
  EXPECT_EQ(error_of("struct", text("a"), num(1), text("b")), "Korel:struct:badArguments");
  EXPECT_EQ(error_of("struct", num(1), num(1)), "Korel:struct:badType");
  EXPECT_EQ(error_of("struct", text("1a"), num(1)), "Korel:struct:badFieldName");
  EXPECT_EQ(error_of("struct", text("a b"), num(1)), "Korel:struct:badFieldName");
  EXPECT_EQ(error_of("struct", text("a"), num(1), text("a"), num(2)),
            "Korel:struct:duplicateField");
  EXPECT_EQ(error_of("struct", text("a"), cell_row(num(1), num(2)), text("b"),
                     cell_row(num(1), num(2), num(3))),
            "Korel:struct:sizeMismatch");
}

TEST(Fieldnames, ColumnCellOfNames) {
  Owned s = call("struct", text("alpha"), num(1), text("beta"), num(2));
  Owned names = call("fieldnames", s);
  EXPECT_EQ(dims(names), (Dims{2, 1}));
  EXPECT_EQ(text_in(names, 0), "alpha");
  EXPECT_EQ(text_in(names, 1), "beta");
  EXPECT_EQ(dims(call("fieldnames", call("struct"))), (Dims{0, 1}));
  EXPECT_EQ(error_of("fieldnames", num(1)), "Korel:fieldnames:badType");
}

TEST(ClassConversion, NumbersRoundAndSaturate) {
  Owned numbers = row({2.5, -2.5, 300, -300, NAN, 1.4});
  EXPECT_EQ(values(call("int8", numbers)), (Doubles{3, -3, 127, -128, 0, 1}));
  EXPECT_EQ(values(call("uint8", numbers)), (Doubles{3, 0, 255, 0, 0, 1}));
  EXPECT_EQ(class_of(call("int16", numbers)), "int16");
  EXPECT_EQ(class_of(call("uint64", numbers)), "uint64");
  Owned back = call("double", typed(kxINT32_CLASS, {2, 1}, {-4, 5}));
  EXPECT_EQ(class_of(back), "double");
  EXPECT_EQ(dims(back), (Dims{2, 1}));
  EXPECT_EQ(values(call("double", text("AB"))), (Doubles{65, 66}));
  EXPECT_FLOAT_EQ(static_cast<float>(scalar(call("single", num(0.1)))), 0.1f);
  Owned z = call("int16", complex_row({1.6}, {-2.4}));
  EXPECT_TRUE(kxIsComplex(z.get()));
  EXPECT_EQ(imag_values(z), (Doubles{-2}));
  EXPECT_EQ(values(call("uint32", boolean(true))), (Doubles{1}));
  EXPECT_EQ(error_of("double", cell_row()), "Korel:double:badType");
  EXPECT_EQ(error_of("int8", num(1), num(2)), "Korel:int8:tooManyInputs");
  EXPECT_EQ(error_of("uint16"), "Korel:uint16:notEnoughInputs");

  kxIndex rows[] = {0}, columns[] = {1};
  double stored[] = {2.5};
  Owned sparse(
      kxCreateSparseFromTriples(kxDOUBLE_CLASS, 1, 2, 1, rows, columns, stored, nullptr, 1));
  EXPECT_EQ(values(call("int8", sparse)), (Doubles{0, 3}));
}

TEST(ClassConversion, Logical) {
  Owned flags = call("logical", row({0, 2, -0.5}));
  EXPECT_EQ(class_of(flags), "logical");
  EXPECT_EQ(values(flags), (Doubles{0, 1, 1}));
  EXPECT_EQ(error_of("logical", row({1, NAN})), "Korel:logical:NaN");
  EXPECT_EQ(error_of("logical", text("a")), "Korel:logical:badType");
  EXPECT_EQ(error_of("logical", complex_row({1}, {1})), "Korel:logical:complex");
  EXPECT_EQ(error_of("logical", cell_row()), "Korel:logical:badType");
}

TEST(ClassConversion, Char) {
  EXPECT_EQ(str(call("char", row({72, 105}))), "Hi");
  Owned codes = call("char", mat({{97, 98}, {99, 100}}));
  EXPECT_EQ(rows_of(codes), (Texts{"ab", "cd"}));
  Owned padded = call("char", cell_row(text("one"), text(""), text("three")));
  EXPECT_EQ(rows_of(padded), (Texts{"one  ", "     ", "three"}));
  Owned stacked = call("char", text("ab"), cell_row(text("c")), char_rows({"de", "fg"}));
  EXPECT_EQ(rows_of(stacked), (Texts{"ab", "c ", "de", "fg"}));
  EXPECT_EQ(dims(call("char", cell_row())), (Dims{0, 0}));
  EXPECT_EQ(error_of("char", cell_row(num(1))), "Korel:char:badType");
  EXPECT_EQ(error_of("char", complex_row({65}, {1})), "Korel:char:complex");
  EXPECT_EQ(error_of("char", Owned(kxCreateStructMatrix(1, 1, 0, nullptr))), "Korel:char:badType");
}

}  // namespace
