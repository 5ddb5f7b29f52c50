#include "library_test_support.h"

namespace {

using namespace libtest;

TEST(Strcmp, TextsCellsAndOtherValues) {
  EXPECT_EQ(scalar(call("strcmp", text("abc"), text("abc"))), 1);
  EXPECT_EQ(scalar(call("strcmp", text("abc"), text("abd"))), 0);
  EXPECT_EQ(scalar(call("strcmp", text("abc"), text("ABC"))), 0);
  EXPECT_EQ(scalar(call("strcmpi", text("abc"), text("ABC"))), 1);
  EXPECT_EQ(scalar(call("strcmpi", text("\xC3\xA9t\xC3\xA9"), text("\xC3\x89T\xC3\x89"))), 1);
  EXPECT_EQ(scalar(call("strcmp", text("ab"), text("ab "))), 0);
  EXPECT_EQ(scalar(call("strcmp", char_rows({"ab", "cd"}), char_rows({"ab", "cd"}))), 1);
  EXPECT_EQ(scalar(call("strcmp", text("a"), char_rows({"a"}))), 1);
  EXPECT_EQ(scalar(call("strcmp", num(1), num(1))), 0);  // numbers are not texts
  EXPECT_EQ(class_of(call("strcmp", num(1), num(1))), "logical");

  Owned words = cell_of({2, 2}, {});
  kxSetCell(words.get(), 0, kxCreateString("yes"));
  kxSetCell(words.get(), 1, kxCreateString("no"));
  kxSetCell(words.get(), 2, kxCreateDoubleScalar(1));
  kxSetCell(words.get(), 3, kxCreateString("YES"));
  Owned against_text = call("strcmp", words, text("yes"));
  EXPECT_EQ(dims(against_text), (Dims{2, 2}));
  EXPECT_EQ(values(against_text), (Doubles{1, 0, 0, 0}));
  EXPECT_EQ(values(call("strcmpi", text("yes"), words)), (Doubles{1, 0, 0, 1}));
  EXPECT_EQ(values(call("strcmp", cell_row(text("a"), text("b")), cell_row(text("a"), text("c")))),
            (Doubles{1, 0}));
  EXPECT_EQ(values(call("strcmp", cell_row(text("b")), cell_row(text("a"), text("b")))),
            (Doubles{0, 1}));
  EXPECT_EQ(values(call("strcmp", cell_row(text("a"), text("b")), num(1))), (Doubles{0, 0}));
  EXPECT_EQ(
      error_of("strcmp", cell_row(text("a"), text("b")), cell_row(text("a"), text("b"), text("c"))),
      "Korel:strcmp:sizeMismatch");
  EXPECT_EQ(error_of("strcmp", text("a")), "Korel:strcmp:notEnoughInputs");
}

TEST(Strcat, CharArgumentsLoseTrailingBlanks) {
  EXPECT_EQ(str(call("strcat", text("a "), text(" b\t"), text("c"))), "a bc");
  EXPECT_EQ(str(call("strcat", text("x"), empty(), text(""))), "x");
  EXPECT_EQ(rows_of(call("strcat", char_rows({"a ", "bc"}), char_rows({"1", "2"}))),
            (Texts{"a 1", "bc2"}));
  EXPECT_EQ(error_of("strcat", char_rows({"a", "b"}), text("c")), "Korel:strcat:sizeMismatch");
  EXPECT_EQ(error_of("strcat", text("a"), num(1)), "Korel:strcat:badType");
  EXPECT_EQ(error_of("strcat"), "Korel:strcat:notEnoughInputs");
}

TEST(Strcat, CellArgumentsJoinElementByElement) {
  Owned joined = call("strcat", cell_row(text("a "), text("b")), text("-"),
                      cell_row(text("1"), text("2")));
  ASSERT_EQ(class_of(joined), "cell");
  EXPECT_EQ(dims(joined), (Dims{1, 2}));
  EXPECT_EQ(text_in(joined, 0), "a -1");
  EXPECT_EQ(text_in(joined, 1), "b-2");
  Owned one = call("strcat", cell_row(text("x")), text("y"));
  EXPECT_EQ(dims(one), (Dims{1, 1}));
  EXPECT_EQ(
      error_of("strcat", cell_row(text("a"), text("b")), cell_row(text("a"), text("b"), text("c"))),
      "Korel:strcat:sizeMismatch");
  EXPECT_EQ(error_of("strcat", cell_row(num(1)), text("a")), "Korel:strcat:badType");
}

TEST(CaseAndTrim, CharArraysAndCells) {
  EXPECT_EQ(str(call("upper", text("abc Xy1\xC3\xA9"))), "ABC XY1\xC3\x89");
  EXPECT_EQ(str(call("lower", text("ABC xY1\xC3\x89\xCE\xA3"))), "abc xy1\xC3\xA9\xCF\x83");
  EXPECT_EQ(rows_of(call("upper", char_rows({"ab", "cd"}))), (Texts{"AB", "CD"}));
  Owned upper_cells = call("upper", cell_row(text("a"), text("b")));
  EXPECT_EQ(text_in(upper_cells, 1), "B");
  EXPECT_EQ(error_of("upper", num(1)), "Korel:upper:badType");
  EXPECT_EQ(error_of("lower", cell_row(num(1))), "Korel:lower:badType");

  EXPECT_EQ(str(call("strtrim", text(" \t a b \n"))), "a b");
  Owned blank = call("strtrim", text("   "));
  EXPECT_EQ(dims(blank), (Dims{1, 0}));
  EXPECT_EQ(rows_of(call("strtrim", char_rows({"  a ", " bc "}))), (Texts{" a", "bc"}));
  Owned trimmed = call("strtrim", cell_row(text(" x "), text("y  ")));
  EXPECT_EQ(text_in(trimmed, 0), "x");
  EXPECT_EQ(text_in(trimmed, 1), "y");
  EXPECT_EQ(error_of("strtrim", num(1)), "Korel:strtrim:badType");
}

}  // namespace
