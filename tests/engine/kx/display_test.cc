#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <numbers>
#include <string>
#include <type_traits>
#include <utility>

#include "korel/kx.h"
#include "engine/kx/kx_test_support.h"

namespace {

const kxSize kOne[] = {1, 1};

using kxtest::Owned;

// Display text of an array that the call takes over.
std::string show(kxArray* a, const char* name = "x") {
  Owned owned(a);
  char* text = kxArrayToDisplayText(a, name);
  EXPECT_NE(text, nullptr);
  std::string out = text ? text : "<null>";
  kxFree(text);
  return out;
}

kxArray* complex_scalar(double re, double im) {
  kxArray* a = kxCreateDoubleMatrix(1, 1, kxCOMPLEX);
  *kxGetPr(a) = re;
  *kxGetPi(a) = im;
  return a;
}

// An array of class `cls` from column-major values.
template <class T = double>
kxArray* matrix(kxSize m, kxSize n, std::initializer_list<std::type_identity_t<T>> values,
                kxClassID cls = kxDOUBLE_CLASS) {
  kxArray* a = kxCreateNumericMatrix(m, n, cls, kxREAL);
  std::copy(values.begin(), values.end(), static_cast<T*>(kxGetData(a)));
  return a;
}

kxArray* cell(kxSize m, kxSize n, std::initializer_list<kxArray*> items) {
  kxArray* c = kxCreateCellMatrix(m, n);
  kxSize k = 0;
  for (kxArray* item : items) kxSetCell(c, k++, item);
  return c;
}

TEST(DisplayNumbers, ScalarsAndComplex) {
  const double inf = std::numeric_limits<double>::infinity();
  const std::pair<double, const char*> doubles[] = {
      {3, "3"}, {-12, "-12"}, {std::numbers::pi, "3.1416"}, {-2.5, "-2.5000"}, {0.001, "0.0010"},
      {-0.0, "0"}, {NAN, "NaN"}, {inf, "Inf"}, {-inf, "-Inf"}, {999999999, "999999999"},
      {1e10, "1.0000e+10"}, {123456.7, "1.2346e+05"}, {-2.5e-7, "-2.5000e-07"}};
  for (auto [value, text] : doubles)
    EXPECT_EQ(show(kxCreateDoubleScalar(value)), std::string("x = ") + text + "\n") << value;
  EXPECT_EQ(show(matrix<float>(1, 1, {3.14159f}, kxSINGLE_CLASS)), "x = 3.1416\n");
  EXPECT_EQ(show(matrix<kxInt8>(1, 1, {-128}, kxINT8_CLASS)), "x = -128\n");
  EXPECT_EQ(show(matrix<kxUint64>(1, 1, {UINT64_MAX}, kxUINT64_CLASS)),
            "x = 18446744073709551615\n");
  EXPECT_EQ(show(kxCreateLogicalScalar(1)), "x = 1\n");

  EXPECT_EQ(show(complex_scalar(1, 2), "z"), "z = 1 + 2i\n");
  EXPECT_EQ(show(complex_scalar(1, -2), "z"), "z = 1 - 2i\n");
  EXPECT_EQ(show(complex_scalar(1, 2.5), "z"), "z = 1.0000 + 2.5000i\n");
  EXPECT_EQ(show(complex_scalar(1, -inf), "z"), "z = 1 - Infi\n");
  EXPECT_EQ(show(complex_scalar(2, -0.0), "z"), "z = 2 + 0i\n");
  // The imaginary sign never doubles up, even at the most negative integer.
  kxArray* i8 = kxCreateNumericMatrix(1, 1, kxINT8_CLASS, kxCOMPLEX);
  *static_cast<kxInt8*>(kxGetImagData(i8)) = -128;
  EXPECT_EQ(show(i8, "z"), "z = 0 - 128i\n");
}

TEST(DisplayNumbers, MatricesShareOneFormatAndWidth) {
  EXPECT_EQ(show(matrix(2, 3, {1, 40, -2, 5, 3, -600})),
            "x =\n      1     -2      3\n     40      5   -600\n\n");
  // One fraction puts every element in 4 decimals, one large value in exponent form.
  EXPECT_EQ(show(matrix(2, 2, {1.5, 0, -2, 10})),
            "x =\n    1.5000   -2.0000\n    0.0000   10.0000\n\n");
  EXPECT_EQ(show(matrix(1, 4, {1e10, NAN, -INFINITY, 1})),
            "x =\n   1.0000e+10          NaN         -Inf   1.0000e+00\n\n");
  EXPECT_EQ(show(matrix<kxInt8>(2, 2, {-128, 5, 127, 0}, kxINT8_CLASS)),
            "x =\n   -128    127\n      5      0\n\n");
  kxArray* logicals = kxCreateLogicalMatrix(1, 3);
  kxGetLogicals(logicals)[0] = kxGetLogicals(logicals)[2] = 1;
  EXPECT_EQ(show(logicals), "x =\n   1   0   1\n\n");
  kxArray* z = kxCreateDoubleMatrix(1, 2, kxCOMPLEX);
  kxGetPr(z)[0] = 1, kxGetPi(z)[0] = 2, kxGetPr(z)[1] = -3, kxGetPi(z)[1] = -4.5;
  EXPECT_EQ(show(z, "z"), "z =\n    1.0000 + 2.0000i   -3.0000 - 4.5000i\n\n");
}

TEST(DisplayNumbers, PagesEmptiesAndNoName) {
  const kxSize cube[] = {2, 2, 2};
  kxArray* a = kxCreateNumericArray(3, cube, kxDOUBLE_CLASS, kxREAL);
  for (int k = 0; k < 8; ++k) kxGetPr(a)[k] = k + 1;
  EXPECT_EQ(show(a, "a"), "a(:,:,1) =\n   1   3\n   2   4\n\na(:,:,2) =\n   5   7\n   6   8\n\n");
  // Later dimensions count pages in column-major order too.
  const kxSize four[] = {1, 1, 2, 2};
  kxArray* b = kxCreateNumericArray(4, four, kxUINT8_CLASS, kxREAL);
  for (int k = 0; k < 4; ++k) static_cast<kxUint8*>(kxGetData(b))[k] = k + 1;
  EXPECT_EQ(show(b, nullptr),
            "(:,:,1,1) =\n   1\n\n(:,:,2,1) =\n   2\n\n(:,:,1,2) =\n   3\n\n(:,:,2,2) =\n   4\n\n");

  EXPECT_EQ(show(kxCreateDoubleMatrix(0, 3, kxREAL)), "x = [](0x3)\n");
  const kxSize hollow[] = {2, 0, 4};
  EXPECT_EQ(show(kxCreateNumericArray(3, hollow, kxINT32_CLASS, kxREAL)), "x = [](2x0x4)\n");
  EXPECT_EQ(show(kxCreateDoubleScalar(3), nullptr), "3\n");
  EXPECT_EQ(show(kxCreateDoubleScalar(3), ""), "3\n");
  EXPECT_EQ(show(matrix(1, 2, {1, 2}), nullptr), "   1   2\n\n");
  EXPECT_EQ(show(nullptr), "x = []\n");
}

TEST(DisplayNumbers, LargeArraysPrintEveryElement) {
  const kxSize m = 500, n = 400, width = 9;  // "200000" and 3 blanks
  kxArray* a = kxCreateDoubleMatrix(m, n, kxREAL);
  for (kxSize k = 0; k < m * n; ++k) kxGetPr(a)[k] = static_cast<double>(k + 1);
  std::string text = show(a);
  ASSERT_EQ(text.size(), 4 + m * (n * width + 1) + 1);
  EXPECT_EQ(text.substr(0, 4 + 2 * width), "x =\n        1      501");
  EXPECT_EQ(text.substr(text.size() - 2 * width - 2), "   199500   200000\n\n");
}

TEST(DisplayChar, RowsMatricesAndText) {
  EXPECT_EQ(show(kxCreateString("hello"), "s"), "s = 'hello'\n");
  EXPECT_EQ(show(kxCreateString(""), "s"), "s = ''\n");
  EXPECT_EQ(show(kxCreateCharMatrix(0, 3), "s"), "s = ''(0x3)\n");
  EXPECT_EQ(show(kxCreateString("héllo → 世界 😀"), "s"), "s = 'héllo → 世界 😀'\n");
  EXPECT_EQ(show(kxCreateString("a\xff"), "s"), "s = 'a\xff'\n");
  // Zero code units would end the C text early.
  EXPECT_EQ(show(kxCreateCharMatrix(1, 3), "s"), "s = '   '\n");
  const char* rows[] = {"ab", "cdé"};
  EXPECT_EQ(show(kxCreateCharMatrixFromStrings(2, rows), "s"), "s =\n  'ab '\n  'cdé'\n\n");
  const kxSize pages[] = {1, 2, 2};
  kxArray* paged = kxCreateCharArray(3, pages);
  std::memcpy(kxGetChars(paged), u"abcd", 4 * sizeof(kxChar));
  EXPECT_EQ(show(paged, "s"), "s(:,:,1) =\n  'ab'\n\ns(:,:,2) =\n  'cd'\n\n");
}

kxArray* sparse(kxSize m, kxSize n, std::initializer_list<kxIndex> rows,
                std::initializer_list<kxIndex> cols, std::initializer_list<double> re,
                const double* im = nullptr) {
  return kxCreateSparseFromTriples(kxDOUBLE_CLASS, m, n, re.size(), rows.begin(), cols.begin(),
                                   re.begin(), im, 0);
}

TEST(DisplaySparse, StoredValuesInColumnOrder) {
  EXPECT_EQ(show(sparse(3, 3, {1, 0, 2}, {2, 0, 0}, {10, 5, -2})),
            "x =\n  (1,1)     5\n  (3,1)    -2\n  (2,3)    10\n\n");
  EXPECT_EQ(show(sparse(12, 1, {11, 0}, {0, 0}, {0.5, 1}), nullptr),
            "   (1,1)    1.0000\n  (12,1)    0.5000\n\n");
  const double im[] = {2};
  EXPECT_EQ(show(sparse(2, 2, {1}, {0}, {1}, im)), "x =\n  (2,1)    1 + 2i\n\n");
  EXPECT_EQ(show(kxCreateSparse(3, 3, 5, kxREAL)), "x = All zero sparse: 3x3\n");
}

TEST(DisplaySparse, CorruptedIndexBlocksAreReportedNotWalked) {
  void (*corruptions[])(kxIndex* ir, kxIndex* jc) = {
      [](kxIndex*, kxIndex* jc) { jc[3] = SIZE_MAX; },       // more values than room
      [](kxIndex*, kxIndex* jc) { jc[1] = 3; },              // column starts fall
      [](kxIndex* ir, kxIndex*) { ir[0] = 99; },             // row past the end
      [](kxIndex* ir, kxIndex*) { ir[1] = 0, ir[0] = 2; }};  // rows out of order
  for (auto corrupt : corruptions) {
    kxArray* a = sparse(3, 3, {0, 2, 1}, {0, 0, 2}, {5, -2, 10});
    corrupt(kxGetIr(a), kxGetJc(a));
    EXPECT_EQ(show(kxDuplicateArray(a)), "x = <invalid sparse structure>\n");
    // Inside a container only its size is shown.
    EXPECT_EQ(show(cell(1, 1, {a}), "c"), "c =\n  1x1 cell array\n    {3x3 sparse double}\n");
  }
}

TEST(DisplayCell, ElementSummaries) {
  kxArray* c = cell(
      1, 3, {kxCreateDoubleScalar(1), kxCreateString("ab"), kxCreateDoubleMatrix(2, 2, kxREAL)});
  EXPECT_EQ(show(kxDuplicateArray(c), "c"),
            "c =\n  1x3 cell array\n    {[1]}    {'ab'}    {2x2 double}\n");
  EXPECT_EQ(show(c, nullptr), "  1x3 cell array\n    {[1]}    {'ab'}    {2x2 double}\n");

  // Columns are left-aligned to their widest element, counted in characters; the last
  // column is not padded.
  EXPECT_EQ(show(cell(2, 4,
                      {kxCreateDoubleScalar(std::numbers::pi), kxCreateString("é"),
                       kxCreateString("abcdefghijklmnopqrstu"),
                       kxCreateStructMatrix(1, 1, 0, nullptr), nullptr, kxCreateLogicalMatrix(2, 2),
                       kxCreateFunctionHandle("sin"), complex_scalar(1, -2)}),
                 "c"),
            "c =\n  2x4 cell array\n"
            "    {[3.1416]}    {1x21 char}     {[]}             {@sin}\n"
            "    {'é'}         {1x1 struct}    {2x2 logical}    {[1 - 2i]}\n");
  EXPECT_EQ(
      show(cell(1, 6,
                {kxCreateString("a\nb"), kxCreateString(""), kxCreateDoubleMatrix(0, 3, kxREAL),
                 kxCreateSparse(3, 3, 1, kxREAL), kxCreateObjectArray("Point", 2, kOne, 0, nullptr),
                 kxCreateString("twenty characters ok")}),
           nullptr),
      "  1x6 cell array\n    {1x3 char}    {''}    {0x3 double}    {3x3 sparse double}    "
      "{1x1 Point}    {'twenty characters ok'}\n");

  EXPECT_EQ(show(kxCreateCellMatrix(0, 3), "c"), "c = {}(0x3)\n");
  const kxSize pages[] = {1, 1, 2};
  kxArray* nd = kxCreateCellArray(3, pages);
  kxSetCell(nd, 1, kxCreateString("z"));
  EXPECT_EQ(show(nd, "c"),
            "c =\n  1x1x2 cell array\n  (:,:,1) =\n    {[]}\n  (:,:,2) =\n    {'z'}\n");

  kxArray* deep = kxCreateDoubleScalar(7);
  for (int depth = 0; depth < 2000; ++depth) deep = cell(1, 1, {deep});
  EXPECT_EQ(show(deep, "c"), "c =\n  1x1 cell array\n    {1x1 cell}\n");
}

TEST(DisplayStruct, ScalarsArraysAndObjects) {
  const char* names[] = {"a", "b", "c", "long_name", "e", "nested"};
  kxArray* s = kxCreateStructMatrix(1, 1, 6, names);
  kxSetField(s, 0, "a", kxCreateDoubleScalar(1));
  kxSetField(s, 0, "b", kxCreateString("text"));
  kxSetField(s, 0, "c", kxCreateLogicalMatrix(2, 2));
  kxSetField(s, 0, "long_name", kxCreateCellMatrix(1, 2));
  kxSetField(s, 0, "nested", kxCreateObjectArray("Point", 2, kOne, 0, nullptr));
  EXPECT_EQ(show(s, "s"),
            "s =\n  struct with fields:\n\n"
            "            a: 1\n"
            "            b: 'text'\n"
            "            c: [2x2 logical]\n"
            "    long_name: {1x2 cell}\n"
            "            e: []\n"
            "       nested: [1x1 Point]\n");
  EXPECT_EQ(show(kxCreateStructMatrix(2, 1, 2, names), "s"),
            "s =\n  2x1 struct array with fields:\n    a\n    b\n");
  EXPECT_EQ(show(kxCreateStructMatrix(1, 1, 0, nullptr), nullptr), "  struct with no fields.\n");
  EXPECT_EQ(show(kxCreateEmptyArray(kxSTRUCT_CLASS), "s"),
            "s =\n  0x0 struct array with no fields.\n");

  const char* props[] = {"x", "y"};
  kxArray* p = kxCreateObjectArray("Point", 2, kOne, 2, props);
  kxSetField(p, 0, "x", kxCreateDoubleScalar(1));
  kxSetField(p, 0, "y", kxCreateDoubleScalar(2.5));
  EXPECT_EQ(show(p, "p"), "p =\n  Point object with properties:\n\n    x: 1\n    y: 2.5000\n");
  const kxSize row[] = {1, 2};
  EXPECT_EQ(show(kxCreateObjectArray("Point", 2, row, 2, props), "p"),
            "p =\n  1x2 Point object array with properties:\n    x\n    y\n");
}

TEST(DisplayOther, HandlesOpaqueAndUnknown) {
  EXPECT_EQ(show(kxCreateFunctionHandle("sin"), "f"), "f = @sin\n");
  const unsigned char bytes[16] = {};
  EXPECT_EQ(show(kxCreateOpaque("FileHandle", bytes, 16), "h"),
            "h = <opaque FileHandle, 16 bytes>\n");
  EXPECT_EQ(show(kxCreateOpaque("Flag", bytes, 1), "h"), "h = <opaque Flag, 1 byte>\n");
  EXPECT_EQ(show(kxCreateEmptyArray(kxFUNCTION_CLASS), "f"), "f = <function 0x0>\n");
  EXPECT_EQ(show(kxCreateEmptyArray(kxUNKNOWN_CLASS)), "x = <unknown 0x0>\n");
  EXPECT_EQ(show(kxCreateEmptyArray(kxVOID_CLASS)), "x = <unknown 0x0>\n");
}

}  // namespace
