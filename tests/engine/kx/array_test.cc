#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "korel/kx.h"
#include "engine/kx/kx_test_support.h"
#include "kx/error.h"
#include "kx/scope.h"

namespace {

using kxtest::dims_of;
using kxtest::last_error_id;
using kxtest::Owned;

std::string text_of(const kxArray* a) {
  char* text = kxArrayToString(a);
  std::string out = text ? text : "<null>";
  kxFree(text);
  return out;
}

TEST(KxArray, ShapesKeepTwoDimensionsAndDropTrailingOnes) {
  const kxSize nd[] = {2, 3, 1, 1};
  Owned a(kxCreateNumericArray(4, nd, kxINT16_CLASS, kxREAL));
  EXPECT_EQ(dims_of(a.get()), (std::vector<kxSize>{2, 3}));
  const kxSize one[] = {5};
  Owned b(kxCreateNumericArray(1, one, kxDOUBLE_CLASS, kxREAL));
  EXPECT_EQ(dims_of(b.get()), (std::vector<kxSize>{5, 1}));
  Owned c(kxCreateNumericArray(0, nullptr, kxDOUBLE_CLASS, kxREAL));
  EXPECT_EQ(dims_of(c.get()), (std::vector<kxSize>{0, 0}));
  const kxSize cube[] = {2, 3, 4};
  Owned d(kxCreateCellArray(3, cube));
  EXPECT_EQ(kxGetM(d.get()), 2u);
  EXPECT_EQ(kxGetN(d.get()), 12u);
  EXPECT_EQ(kxGetNumberOfElements(d.get()), 24u);
  // Past four dimensions the list no longer fits in the header; copies keep it whole.
  const kxSize six[] = {2, 1, 3, 1, 2, 1};
  Owned f(kxCreateLogicalArray(6, six));
  Owned f_copy(kxDuplicateArray(f.get()));
  EXPECT_EQ(dims_of(f_copy.get()), (std::vector<kxSize>{2, 1, 3, 1, 2}));
  EXPECT_TRUE(kxIsIdentical(f.get(), f_copy.get()));

  // Reshape keeps the element count; a shared copy keeps its own shape.
  Owned e(kxCreateSharedDataCopy(d.get()));
  const kxSize flat[] = {24, 1};
  EXPECT_EQ(kxSetDimensions(e.get(), 2, flat), 1);
  const kxSize wrong[] = {5, 5};
  EXPECT_EQ(kxSetDimensions(e.get(), 2, wrong), 0);
  EXPECT_EQ(dims_of(e.get()), (std::vector<kxSize>{24, 1}));
  EXPECT_EQ(dims_of(d.get()), (std::vector<kxSize>{2, 3, 4}));
}

TEST(KxArray, ClassesSizesAndPredicates) {
  struct Case {
    kxClassID cls;
    const char* name;
    size_t element_size;
  };
  const Case cases[] = {{kxDOUBLE_CLASS, "double", 8}, {kxSINGLE_CLASS, "single", 4},
                        {kxINT8_CLASS, "int8", 1},     {kxUINT8_CLASS, "uint8", 1},
                        {kxINT16_CLASS, "int16", 2},   {kxUINT16_CLASS, "uint16", 2},
                        {kxINT32_CLASS, "int32", 4},   {kxUINT32_CLASS, "uint32", 4},
                        {kxINT64_CLASS, "int64", 8},   {kxUINT64_CLASS, "uint64", 8}};
  for (const Case& c : cases) {
    Owned a(kxCreateNumericMatrix(2, 2, c.cls, kxCOMPLEX));
    ASSERT_NE(a, nullptr) << c.name;
    EXPECT_EQ(kxGetClassID(a.get()), c.cls);
    EXPECT_STREQ(kxGetClassName(a.get()), c.name);
    EXPECT_EQ(kxGetElementSize(a.get()), c.element_size);
    EXPECT_TRUE(kxIsNumeric(a.get()) && kxIsComplex(a.get()));
    EXPECT_NE(kxGetImagData(a.get()), nullptr);
    EXPECT_EQ(kxGetPr(a.get()) != nullptr, c.cls == kxDOUBLE_CLASS);
  }
  // Every id from 0 to 18 can be made; 5 and ids past 18 have no name of their own.
  for (int id = 0; id <= 18; ++id) {
    Owned a(kxCreateEmptyArray(static_cast<kxClassID>(id)));
    ASSERT_NE(a, nullptr) << id;
    EXPECT_EQ(kxGetClassID(a.get()), id);
    EXPECT_TRUE(kxIsEmpty(a.get()));
  }
  EXPECT_STREQ(kxGetClassNameFromID(5), "unknown");
  EXPECT_STREQ(kxGetClassNameFromID(19), "unknown");
  EXPECT_STREQ(kxGetClassNameFromID(-1), "unknown");
  EXPECT_STREQ(kxGetClassNameFromID(16), "function");
  EXPECT_EQ(kxCreateEmptyArray(static_cast<kxClassID>(19)), nullptr);

  Owned t(kxCreateLogicalScalar(7));
  EXPECT_EQ(kxGetLogicals(t.get())[0], 1);
  EXPECT_TRUE(kxIsScalar(t.get()) && kxIsLogical(t.get()) && !kxIsNumeric(t.get()));
  EXPECT_EQ(kxMakeComplex(t.get()), 0);

  // Complexity can be given later; an empty array can be complex too.
  Owned r(kxCreateDoubleScalar(2.5));
  EXPECT_FALSE(kxIsComplex(r.get()));
  EXPECT_EQ(kxMakeComplex(r.get()), 1);
  EXPECT_TRUE(kxIsComplex(r.get()));
  EXPECT_EQ(kxGetPi(r.get())[0], 0.0);
  EXPECT_EQ(kxGetScalar(r.get()), 2.5);
  Owned e(kxCreateDoubleMatrix(0, 3, kxREAL));
  EXPECT_EQ(kxMakeComplex(e.get()), 1);
  EXPECT_TRUE(kxIsComplex(e.get()));

  // Complex char or logical arrays do not exist.
  EXPECT_EQ(kxCreateNumericMatrix(1, 1, kxCHAR_CLASS, kxREAL), nullptr);
  EXPECT_EQ(last_error_id(), "Korel:kx:BadClass");
}

TEST(KxArray, SizesThatCannotBeHeldFailCleanly) {
  const kxSize huge[] = {kxSize{1} << 40, kxSize{1} << 40};
  EXPECT_EQ(kxCreateNumericArray(2, huge, kxDOUBLE_CLASS, kxREAL), nullptr);
  EXPECT_EQ(last_error_id(), "Korel:kx:TooLarge");
  const kxSize big[] = {kxSize{1} << 61, 1};
  EXPECT_EQ(kxCreateNumericArray(2, big, kxDOUBLE_CLASS, kxREAL), nullptr);
  EXPECT_EQ(kxCreateCellArray(2, huge), nullptr);
  EXPECT_EQ(kxCreateNumericArray(2, nullptr, kxDOUBLE_CLASS, kxREAL), nullptr);
  EXPECT_EQ(last_error_id(), "Korel:kx:BadArgument");
}

TEST(KxArray, SharedCopiesSeeWritesAndDuplicatesDoNot) {
  Owned a(kxCreateDoubleMatrix(2, 2, kxREAL));
  Owned shared(kxCreateSharedDataCopy(a.get()));
  Owned deep(kxDuplicateArray(a.get()));
  kxGetPr(a.get())[3] = 42;
  EXPECT_EQ(kxGetPr(shared.get())[3], 42);
  EXPECT_EQ(kxGetPr(deep.get())[3], 0);
  kxGetPr(shared.get())[0] = -1;
  EXPECT_EQ(kxGetPr(a.get())[0], -1);

  // Making one complex makes both complex: the imaginary block is shared data too.
  EXPECT_EQ(kxMakeComplex(shared.get()), 1);
  EXPECT_TRUE(kxIsComplex(a.get()));
  EXPECT_FALSE(kxIsComplex(deep.get()));

  // The data outlives the array it came from.
  a.reset();
  EXPECT_EQ(kxGetPr(shared.get())[3], 42);

  // Cells: an element stored through a shared copy is seen through the original.
  Owned cell(kxCreateCellMatrix(1, 2));
  Owned cell_view(kxCreateSharedDataCopy(cell.get()));
  Owned cell_copy(kxDuplicateArray(cell.get()));
  ASSERT_EQ(kxSetCell(cell_view.get(), 1, kxCreateString("b")), 1);
  EXPECT_EQ(text_of(kxGetCell(cell.get(), 1)), "b");
  EXPECT_EQ(kxGetCell(cell_copy.get(), 1), nullptr);
  Owned nested_copy(kxDuplicateArray(cell.get()));
  EXPECT_NE(kxGetCell(nested_copy.get(), 1), kxGetCell(cell.get(), 1));
  EXPECT_TRUE(kxIsIdentical(nested_copy.get(), cell.get()));
}

TEST(KxArray, ContainersOwnWhatIsStoredInThem) {
  Owned cell(kxCreateCellMatrix(2, 1));
  kxArray* x = kxCreateDoubleScalar(1);
  ASSERT_EQ(kxSetCell(cell.get(), 0, x), 1);
  // Destroying a contained array directly is refused: the cell still holds it.
  kxDestroyArray(x);
  EXPECT_EQ(last_error_id(), "Korel:kxDestroyArray:Contained");
  EXPECT_EQ(kxGetScalar(kxGetCell(cell.get(), 0)), 1);
  // The same array cannot go into a second place.
  EXPECT_EQ(kxSetCell(cell.get(), 1, x), 0);
  EXPECT_EQ(last_error_id(), "Korel:kx:AlreadyContained");
  EXPECT_EQ(kxSetCell(cell.get(), 0, x), 1);  // storing it where it is changes nothing
  EXPECT_EQ(kxSetCell(cell.get(), 2, kxGetCell(cell.get(), 0)), 0);

  // A container cannot hold itself, also not through a shared copy or a nested cell.
  kxArray* self_view = kxCreateSharedDataCopy(cell.get());
  EXPECT_EQ(kxSetCell(cell.get(), 1, self_view), 0);
  EXPECT_EQ(last_error_id(), "Korel:kx:SelfContained");
  kxArray* outer = kxCreateCellMatrix(1, 1);
  ASSERT_EQ(kxSetCell(outer, 0, self_view), 1);
  EXPECT_EQ(kxSetCell(cell.get(), 1, outer), 0);
  kxDestroyArray(outer);

  // Replacing an element destroys the old one (checked by the sanitizer runs).
  EXPECT_EQ(kxSetCell(cell.get(), 0, kxCreateString("new")), 1);
  EXPECT_EQ(kxSetCell(cell.get(), 0, nullptr), 1);
  EXPECT_EQ(kxGetCell(cell.get(), 0), nullptr);
  EXPECT_EQ(kxGetCell(cell.get(), 99), nullptr);
}

TEST(KxArray, StructFieldsAndObjects) {
  const char* names[] = {"a", "b"};
  Owned s(kxCreateStructMatrix(1, 2, 2, names));
  EXPECT_EQ(kxGetNumberOfFields(s.get()), 2);
  EXPECT_EQ(kxGetFieldNumber(s.get(), "b"), 1);
  EXPECT_EQ(kxGetFieldNumber(s.get(), "zz"), -1);
  ASSERT_EQ(kxSetField(s.get(), 1, "b", kxCreateDoubleScalar(12)), 1);
  ASSERT_EQ(kxSetField(s.get(), 0, "a", kxCreateString("first")), 1);
  EXPECT_EQ(kxSetField(s.get(), 2, "a", nullptr), 0);
  EXPECT_EQ(kxSetField(s.get(), 0, "missing", nullptr), 0);

  // Adding a field keeps every value where it was.
  EXPECT_EQ(kxAddField(s.get(), "c"), 2);
  EXPECT_EQ(kxAddField(s.get(), "a"), 0);
  EXPECT_EQ(kxAddField(s.get(), ""), -1);
  EXPECT_EQ(kxGetScalar(kxGetField(s.get(), 1, "b")), 12);
  EXPECT_EQ(text_of(kxGetField(s.get(), 0, "a")), "first");
  EXPECT_EQ(kxGetField(s.get(), 1, "c"), nullptr);

  // Removing one keeps the others aligned.
  ASSERT_EQ(kxRemoveField(s.get(), 0), 1);
  EXPECT_STREQ(kxGetFieldNameByNumber(s.get(), 0), "b");
  EXPECT_STREQ(kxGetFieldNameByNumber(s.get(), 1), "c");
  EXPECT_EQ(kxGetFieldNameByNumber(s.get(), 2), nullptr);
  EXPECT_EQ(kxGetScalar(kxGetFieldByNumber(s.get(), 1, 0)), 12);
  EXPECT_EQ(kxRemoveField(s.get(), 5), 0);

  const char* twice[] = {"x", "x"};
  EXPECT_EQ(kxCreateStructMatrix(1, 1, 2, twice), nullptr);
  EXPECT_EQ(last_error_id(), "Korel:kx:DuplicateField");

  const kxSize one[] = {1, 1};
  const char* props[] = {"Value"};
  Owned o(kxCreateObjectArray("Account", 2, one, 1, props));
  EXPECT_EQ(kxGetClassID(o.get()), kxOBJECT_CLASS);
  EXPECT_STREQ(kxGetObjectClassName(o.get()), "Account");
  EXPECT_EQ(kxSetField(o.get(), 0, "Value", kxCreateDoubleScalar(3)), 1);
  Owned o2(kxDuplicateArray(o.get()));
  EXPECT_TRUE(kxIsIdentical(o.get(), o2.get()));
  EXPECT_EQ(kxCreateObjectArray(nullptr, 2, one, 0, nullptr), nullptr);
  // Cells have no fields.
  Owned cell(kxCreateCellMatrix(1, 1));
  EXPECT_EQ(kxAddField(cell.get(), "a"), -1);
}

TEST(KxArray, TextRoundTripsAnyBytes) {
  Owned ascii(kxCreateString("hello"));
  EXPECT_EQ(dims_of(ascii.get()), (std::vector<kxSize>{1, 5}));
  EXPECT_EQ(kxGetChars(ascii.get())[1], u'e');

  // "é" is one code unit, "𝄞" a surrogate pair; both come back as the same bytes.
  const std::string unicode = "caf\xC3\xA9 \xF0\x9D\x84\x9E";
  Owned u(kxCreateString(unicode.c_str()));
  EXPECT_EQ(kxGetNumberOfElements(u.get()), 7u);
  EXPECT_EQ(kxGetChars(u.get())[3], 0xE9);
  EXPECT_EQ(text_of(u.get()), unicode);

  // Bytes that are not UTF-8 survive too, NUL included, when counted.
  const std::string raw("a\xFF\xC0\x80\xED\xA0\x80z\0b", 10);
  Owned r(kxCreateStringFromNChars(raw.data(), raw.size()));
  char* back = kxArrayToString(r.get());
  EXPECT_EQ(std::string(back, raw.size()), raw);
  kxFree(back);

  // kxGetString cuts short at a character boundary and says so.
  char buf[6];
  EXPECT_EQ(kxGetString(ascii.get(), buf, sizeof buf), 0);
  EXPECT_STREQ(buf, "hello");
  EXPECT_EQ(kxGetString(u.get(), buf, 5), 1);  // "é" does not fit whole
  EXPECT_STREQ(buf, "caf");
  Owned number(kxCreateDoubleScalar(1));
  EXPECT_EQ(kxGetString(number.get(), buf, sizeof buf), 1);
  EXPECT_EQ(kxArrayToString(number.get()), nullptr);

  const char* rows[] = {"ab", "", "xyz"};
  Owned m(kxCreateCharMatrixFromStrings(3, rows));
  EXPECT_EQ(dims_of(m.get()), (std::vector<kxSize>{3, 3}));
  EXPECT_EQ(text_of(m.get()), "a xb y  z");  // column-major, blank-padded
  EXPECT_EQ(kxCreateString(nullptr), nullptr);
}

TEST(KxArray, SparseFromTriples) {
  // Duplicates add up, zeros are dropped, columns come out sorted.
  const kxIndex rows[] = {2, 0, 1, 0, 2};
  const kxIndex cols[] = {1, 0, 2, 0, 2};
  const double re[] = {5, 1, 3, 1, 0};
  Owned a(kxCreateSparseFromTriples(kxDOUBLE_CLASS, 3, 3, 5, rows, cols, re, nullptr, 10));
  ASSERT_NE(a, nullptr);
  EXPECT_TRUE(kxIsSparse(a.get()));
  EXPECT_EQ(kxGetNzmax(a.get()), 10u);
  EXPECT_EQ(kxGetNumberOfNonzeros(a.get()), 3u);
  const kxIndex* jc = kxGetJc(a.get());
  const kxIndex* ir = kxGetIr(a.get());
  EXPECT_EQ((std::vector<kxIndex>(jc, jc + 4)), (std::vector<kxIndex>{0, 1, 2, 3}));
  EXPECT_EQ((std::vector<kxIndex>(ir, ir + 3)), (std::vector<kxIndex>{0, 2, 1}));
  EXPECT_EQ((std::vector<double>(kxGetPr(a.get()), kxGetPr(a.get()) + 3)),
            (std::vector<double>{2, 5, 3}));
  EXPECT_EQ(kxGetScalar(a.get()), 2);

  // The same values with another capacity are identical; a dense copy is not.
  Owned b(kxCreateSparseFromTriples(kxDOUBLE_CLASS, 3, 3, 5, rows, cols, re, nullptr, 0));
  EXPECT_EQ(kxGetNzmax(b.get()), 3u);
  EXPECT_TRUE(kxIsIdentical(a.get(), b.get()));
  Owned dense(kxCreateDoubleMatrix(3, 3, kxREAL));
  EXPECT_FALSE(kxIsIdentical(a.get(), dense.get()));

  const kxLogical on[] = {1, 0, 9};
  Owned l(kxCreateSparseFromTriples(kxLOGICAL_CLASS, 2, 2, 3, rows, cols, on, nullptr, 0));
  EXPECT_EQ(l, nullptr);  // row 2 is outside a 2-by-2 array
  EXPECT_EQ(last_error_id(), "Korel:kx:IndexOutOfRange");
  const kxIndex lr[] = {0, 1, 1};
  const kxIndex lc[] = {0, 0, 1};
  Owned l2(kxCreateSparseFromTriples(kxLOGICAL_CLASS, 2, 2, 3, lr, lc, on, nullptr, 0));
  ASSERT_NE(l2, nullptr);
  EXPECT_EQ(kxGetNumberOfNonzeros(l2.get()), 2u);
  EXPECT_EQ(kxGetLogicals(l2.get())[1], 1);
  EXPECT_EQ(kxCreateSparseFromTriples(kxINT8_CLASS, 2, 2, 0, nullptr, nullptr, nullptr, nullptr, 0),
            nullptr);

  Owned empty(kxCreateSparse(4, 4, 0, kxCOMPLEX));
  EXPECT_EQ(kxGetNzmax(empty.get()), 1u);
  EXPECT_EQ(kxGetNumberOfNonzeros(empty.get()), 0u);
  EXPECT_EQ(kxGetScalar(empty.get()), 0);
  // A caller who writes nonsense into the index blocks gets no out-of-range reads.
  kxGetJc(empty.get())[4] = 1000;
  EXPECT_EQ(kxGetNumberOfNonzeros(empty.get()), 1u);
  Owned empty_copy(kxDuplicateArray(empty.get()));
  EXPECT_FALSE(kxIsIdentical(empty.get(), empty_copy.get()));
}

TEST(KxArray, IdenticalComparesClassShapeComplexityAndData) {
  Owned a(kxCreateDoubleMatrix(2, 3, kxREAL));
  kxGetPr(a.get())[0] = std::numeric_limits<double>::quiet_NaN();
  kxGetPr(a.get())[1] = -0.0;
  Owned same(kxDuplicateArray(a.get()));
  kxGetPr(same.get())[1] = 0.0;
  EXPECT_TRUE(kxIsIdentical(a.get(), same.get()));

  Owned other_class(kxCreateNumericMatrix(2, 3, kxSINGLE_CLASS, kxREAL));
  Owned other_shape(kxDuplicateArray(a.get()));
  const kxSize flat[] = {3, 2};
  kxSetDimensions(other_shape.get(), 2, flat);
  Owned complex(kxDuplicateArray(a.get()));
  kxMakeComplex(complex.get());
  Owned other_value(kxDuplicateArray(a.get()));
  kxGetPr(other_value.get())[5] = 1e-300;
  EXPECT_FALSE(kxIsIdentical(a.get(), other_class.get()));
  EXPECT_FALSE(kxIsIdentical(a.get(), other_shape.get()));
  EXPECT_FALSE(kxIsIdentical(a.get(), complex.get()));
  EXPECT_FALSE(kxIsIdentical(a.get(), other_value.get()));
  EXPECT_TRUE(kxIsIdentical(nullptr, nullptr));
  EXPECT_FALSE(kxIsIdentical(a.get(), nullptr));

  // Recursive: an empty place equals an explicit [], a nested difference is seen.
  Owned c1(kxCreateCellMatrix(1, 2));
  Owned c2(kxCreateCellMatrix(1, 2));
  kxSetCell(c2.get(), 0, kxCreateDoubleMatrix(0, 0, kxREAL));
  EXPECT_TRUE(kxIsIdentical(c1.get(), c2.get()));
  kxSetCell(c1.get(), 1, kxCreateString("x"));
  EXPECT_FALSE(kxIsIdentical(c1.get(), c2.get()));
  kxSetCell(c2.get(), 1, kxCreateString("x"));
  EXPECT_TRUE(kxIsIdentical(c1.get(), c2.get()));

  Owned f(kxCreateFunctionHandle("sin"));
  Owned g(kxCreateFunctionHandle("cos"));
  EXPECT_FALSE(kxIsIdentical(f.get(), g.get()));
  const unsigned char bytes[] = {1, 2, 3};
  Owned p(kxCreateOpaque("T", bytes, 3));
  Owned q(kxCreateOpaque("T", bytes, 2));
  EXPECT_FALSE(kxIsIdentical(p.get(), q.get()));
}

void add_one(int nlhs, kxArray* plhs[], int nrhs, kxArray* prhs[]) {
  plhs[0] = kxCreateDoubleScalar(kxGetScalar(prhs[0]) + 1);
}

TEST(KxArray, FunctionHandlesAndOpaqueValues) {
  Owned f(kxCreateNativeFunctionHandle("addOne", add_one));
  EXPECT_STREQ(kxGetFunctionName(f.get()), "addOne");
  ASSERT_EQ(kxGetNativeFunction(f.get()), &add_one);
  Owned by_name(kxCreateFunctionHandle("plus"));
  EXPECT_EQ(kxGetNativeFunction(by_name.get()), nullptr);
  EXPECT_EQ(kxCreateFunctionHandle(""), nullptr);

  const char payload[] = "\x01\x00\x02";
  Owned o(kxCreateOpaque("java.lang.Object", payload, 3));
  size_t size = 0;
  const void* data = kxGetOpaqueData(o.get(), &size);
  ASSERT_EQ(size, 3u);
  EXPECT_EQ(std::memcmp(data, payload, 3), 0);
  EXPECT_STREQ(kxGetOpaqueTypeName(o.get()), "java.lang.Object");
  EXPECT_EQ(kxGetData(o.get()), nullptr);
}

TEST(KxScope, TemporaryArraysAreSweptUnlessKeptOrStored) {
  kxArray* kept = nullptr;
  Owned before(kxCreateDoubleScalar(0));
  {
    kx::TemporaryScope scope;
    kxArray* dropped = kxCreateDoubleScalar(1);
    (void)dropped;
    kept = kxCreateString("kept");
    kxArray* cell = kxCreateCellMatrix(1, 1);
    kxArray* inside = kxCreateDoubleScalar(2);
    kxSetCell(cell, 0, inside);
    EXPECT_EQ(kxGetArrayScope(kept), kxTEMPORARY_SCOPE);
    EXPECT_EQ(kxGetArrayScope(inside), kxPERSISTENT_SCOPE);  // the cell owns it
    kxSetArrayScope(kept, kxPERSISTENT_SCOPE);
    kxArray* destroyed_early = kxCreateDoubleScalar(3);
    kxDestroyArray(destroyed_early);
    {
      kx::TemporaryScope inner;
      kxCreateDoubleScalar(4);
      EXPECT_EQ(inner.size(), 1u);
    }
    EXPECT_EQ(scope.size(), 2u);  // dropped and cell; the inner scope swept its own
    // Arrays made before the scope are not swept by it.
    EXPECT_EQ(kxGetArrayScope(before.get()), kxPERSISTENT_SCOPE);
  }
  EXPECT_EQ(text_of(kept), "kept");
  kxDestroyArray(kept);
  // Outside any scope nothing is temporary.
  Owned plain(kxCreateDoubleScalar(5));
  kxSetArrayScope(plain.get(), kxTEMPORARY_SCOPE);
  EXPECT_EQ(kxGetArrayScope(plain.get()), kxPERSISTENT_SCOPE);
}

TEST(KxErrors, RaisedErrorsCarryIdentifierAndMessage) {
  try {
    kxErrMsgIdAndTxt("Korel:test:Bad", "value %d of %s", 3, "x");
    FAIL() << "kxErrMsgIdAndTxt returned";
  } catch (const kx::KorelError& e) {
    EXPECT_EQ(e.identifier(), "Korel:test:Bad");
    EXPECT_STREQ(e.what(), "value 3 of x");
  }
  const char* id;
  const char* msg;
  EXPECT_EQ(kxGetLastErrIdAndMsg(&id, &msg), 1);
  EXPECT_STREQ(id, "Korel:test:Bad");
  EXPECT_STREQ(msg, "value 3 of x");

  // Each thread has its own last error.
  std::string other_thread_id = "unset";
  std::thread([&] {
    const char* tid;
    EXPECT_EQ(kxGetLastErrIdAndMsg(&tid, nullptr), 0);
    other_thread_id = tid;
  }).join();
  EXPECT_EQ(other_thread_id, "");

  int old = kxSetErrorMode(-1);
  EXPECT_EQ(old, 0);
  EXPECT_EQ(kxGetErrorMode(), -1);
  kxSetErrorMode(old);
}

}  // namespace
