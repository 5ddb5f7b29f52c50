#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "korel/kx.h"
#include "engine/kx/kx_test_support.h"
#include "kx/scope.h"

namespace {

using kxtest::dims_of;
using kxtest::Owned;
using Bytes = std::vector<unsigned char>;

std::string last_error_id() {
  const char* id = nullptr;
  const char* msg = nullptr;
  kxGetLastErrIdAndMsg(&id, &msg);
  return *msg ? id : "<no message>";
}

Bytes serialized(const kxArray* a) {
  Owned s(kxSerialize(a));
  if (!s) return {};
  EXPECT_EQ(kxGetClassID(s.get()), kxUINT8_CLASS);
  EXPECT_EQ(kxGetM(s.get()), 1u);
  auto* p = static_cast<unsigned char*>(kxGetData(s.get()));
  return Bytes(p, p + kxGetN(s.get()));
}

Owned from(const Bytes& b) { return Owned(kxDeserialize(b.data(), b.size())); }

// Round trip, checked against the original; returns the copy for further checks.
Owned round_trip(const kxArray* a) {
  Bytes b = serialized(a);
  EXPECT_FALSE(b.empty());
  Owned back = from(b);
  EXPECT_NE(back, nullptr) << last_error_id();
  if (!back) return back;
  EXPECT_TRUE(kxIsIdentical(a, back.get()));
  EXPECT_EQ(kxGetClassID(back.get()), kxGetClassID(a));
  EXPECT_EQ(dims_of(back.get()), dims_of(a));
  EXPECT_EQ(kxIsComplex(back.get()), kxIsComplex(a));
  EXPECT_EQ(kxIsSparse(back.get()), kxIsSparse(a));
  EXPECT_EQ(serialized(back.get()), b);  // the form is canonical
  return back;
}

// Writes forms by hand, for inputs kxSerialize would never produce.
struct Form {
  Bytes b{0x89, 'K', 'X', 'S', 1, 0, 0, 0};
  Form& u8(unsigned v) { b.push_back(static_cast<unsigned char>(v)); return *this; }
  Form& u64(uint64_t v) {
    for (int k = 0; k < 8; ++k) u8(static_cast<unsigned>(v >> (8 * k)));
    return *this;
  }
  Form& header(unsigned cls, unsigned flags, std::vector<uint64_t> dims) {
    u8(cls).u8(flags).u64(dims.size());
    for (uint64_t d : dims) u64(d);
    return *this;
  }
  Form& text(const std::string& s) {
    u64(s.size());
    b.insert(b.end(), s.begin(), s.end());
    return *this;
  }
};

std::string failure_of(const Bytes& b) {
  Owned a = from(b);
  return a ? "<accepted>" : last_error_id();
}

TEST(KxSerialize, FormIsLittleEndianWithMagicAndVersion) {
  Owned a(kxCreateNumericMatrix(1, 2, kxUINT16_CLASS, kxREAL));
  static_cast<uint16_t*>(kxGetData(a.get()))[0] = 0x1234;
  static_cast<uint16_t*>(kxGetData(a.get()))[1] = 0xABCD;
  Form expected;
  expected.header(kxUINT16_CLASS, 0, {1, 2}).u8(0x34).u8(0x12).u8(0xCD).u8(0xAB);
  EXPECT_EQ(serialized(a.get()), expected.b);

  Owned d(kxCreateDoubleScalar(1.5));  // 0x3FF8000000000000
  Form scalar;
  scalar.header(kxDOUBLE_CLASS, 0, {1, 1}).u64(0x3FF8000000000000);
  EXPECT_EQ(serialized(d.get()), scalar.b);
}

TEST(KxSerialize, ValueArraysOfEveryClassRoundTrip) {
  for (int id = 0; id <= kxOBJECT_CLASS; ++id) {
    Owned e(kxCreateEmptyArray(static_cast<kxClassID>(id)));
    round_trip(e.get());
  }
  const kxSize nd[] = {2, 3, 4};
  for (int id = kxDOUBLE_CLASS; id <= kxUINT64_CLASS; ++id) {
    for (kxComplexity cx : {kxREAL, kxCOMPLEX}) {
      Owned a(kxCreateNumericArray(3, nd, static_cast<kxClassID>(id), cx));
      size_t bytes = 24 * kxGetElementSize(a.get());
      auto* re = static_cast<unsigned char*>(kxGetData(a.get()));
      for (size_t i = 0; i < bytes; ++i) re[i] = static_cast<unsigned char>(i * 37 + id);
      if (cx == kxCOMPLEX)
        std::memset(kxGetImagData(a.get()), 0x5A + id, bytes);
      Owned back = round_trip(a.get());
      ASSERT_NE(back, nullptr);
      // Bit for bit, which kxIsIdentical does not require of floats (-0, NaN payloads).
      EXPECT_EQ(std::memcmp(kxGetData(back.get()), re, bytes), 0) << id;
      if (cx == kxCOMPLEX) {
        EXPECT_EQ(std::memcmp(kxGetImagData(back.get()), kxGetImagData(a.get()), bytes), 0);
      }
    }
  }
  Owned text(kxCreateString("h\xC3\xA9llo \xE2\x82\xAC \xF0\x9D\x84\x9E \xFF"));
  Owned back = round_trip(text.get());
  char* t = kxArrayToString(back.get());
  EXPECT_STREQ(t, "h\xC3\xA9llo \xE2\x82\xAC \xF0\x9D\x84\x9E \xFF");
  kxFree(t);

  // Logical bytes a caller left other than 0 or 1 are written as true.
  Owned l(kxCreateLogicalArray(3, nd));
  kxGetLogicals(l.get())[5] = 1;
  kxGetLogicals(l.get())[23] = 1;
  round_trip(l.get());
  Owned odd(kxCreateLogicalMatrix(1, 2));
  kxGetLogicals(odd.get())[1] = 7;
  Owned fixed = from(serialized(odd.get()));
  ASSERT_NE(fixed, nullptr);
  EXPECT_EQ(kxGetLogicals(fixed.get())[1], 1);
}

TEST(KxSerialize, SparseArraysKeepOnlyStoredValues) {
  const kxIndex rows[] = {0, 3, 2, 4}, cols[] = {0, 0, 2, 3};
  const double re[] = {1, -2, 3.5, 4}, im[] = {0, 1, -1, 2};
  const kxLogical lv[] = {1, 1, 1, 1};
  Owned real(kxCreateSparseFromTriples(kxDOUBLE_CLASS, 5, 4, 4, rows, cols, re, nullptr, 0));
  Owned cplx(kxCreateSparseFromTriples(kxDOUBLE_CLASS, 5, 4, 4, rows, cols, re, im, 0));
  Owned logical(kxCreateSparseFromTriples(kxLOGICAL_CLASS, 5, 4, 4, rows, cols, lv, nullptr, 0));
  Owned roomy(kxCreateSparseFromTriples(kxDOUBLE_CLASS, 5, 4, 4, rows, cols, re, nullptr, 50));
  Owned none(kxCreateSparse(6, 3, 10, kxCOMPLEX));
  for (const Owned* a : {&real, &cplx, &logical, &roomy, &none}) {
    Owned back = round_trip(a->get());
    ASSERT_NE(back, nullptr);
    kxSize nnz = kxGetNumberOfNonzeros(a->get());
    EXPECT_EQ(kxGetNzmax(back.get()), nnz ? nnz : 1);
    size_t starts = (kxGetN(a->get()) + 1) * sizeof(kxIndex);
    EXPECT_EQ(std::memcmp(kxGetJc(back.get()), kxGetJc(a->get()), starts), 0);
    EXPECT_EQ(std::memcmp(kxGetIr(back.get()), kxGetIr(a->get()), nnz * sizeof(kxIndex)), 0);
  }
  EXPECT_EQ(serialized(roomy.get()), serialized(real.get()));

  // An array whose index blocks a caller broke is not written.
  kxGetIr(real.get())[1] = 9;
  EXPECT_EQ(kxSerialize(real.get()), nullptr);
  EXPECT_EQ(last_error_id(), "Korel:kxSerialize:Inconsistent");
}

TEST(KxSerialize, ContainersHandlesAndOpaqueValuesRoundTrip) {
  const char* names[] = {"alpha", "b"};
  Owned obj(kxCreateObjectArray("geo.Point", 2, std::vector<kxSize>{1, 2}.data(), 2, names));
  Owned inner(kxCreateCellMatrix(2, 1));
  kxSetCell(inner.get(), 0, kxCreateString("x"));
  kxSetCell(inner.get(), 1, kxCreateFunctionHandle("sin"));
  const char raw[] = {'a', 0, 'b', '\xFF'};
  kxSetFieldByNumber(obj.get(), 0, 0, inner.release());
  kxSetFieldByNumber(obj.get(), 1, 1, kxCreateOpaque("handle.t", raw, sizeof raw));
  Owned s(kxCreateStructMatrix(1, 1, 1, names));
  kxSetField(s.get(), 0, "alpha", obj.release());
  Owned outer(kxCreateCellMatrix(1, 3));
  kxSetCell(outer.get(), 1, s.release());
  Owned back = round_trip(outer.get());
  ASSERT_NE(back, nullptr);
  const kxArray* o = kxGetField(kxGetCell(back.get(), 1), 0, "alpha");
  EXPECT_STREQ(kxGetObjectClassName(o), "geo.Point");
  EXPECT_STREQ(kxGetFieldNameByNumber(o, 1), "b");
  EXPECT_STREQ(kxGetFunctionName(kxGetCell(kxGetFieldByNumber(o, 0, 0), 1)), "sin");
  size_t size = 0;
  const void* data = kxGetOpaqueData(kxGetFieldByNumber(o, 1, 1), &size);
  ASSERT_EQ(size, sizeof raw);
  EXPECT_EQ(std::memcmp(data, raw, size), 0);
  EXPECT_STREQ(kxGetOpaqueTypeName(kxGetFieldByNumber(o, 1, 1)), "handle.t");

  // Empty places and 0-by-0 doubles are the same value and give the same bytes.
  Owned holes(kxCreateCellMatrix(2, 2));
  Owned filled(kxCreateCellMatrix(2, 2));
  for (kxSize i = 0; i < 4; ++i) kxSetCell(filled.get(), i, kxCreateDoubleMatrix(0, 0, kxREAL));
  EXPECT_EQ(serialized(holes.get()), serialized(filled.get()));
  Owned kept = round_trip(holes.get());
  EXPECT_EQ(kxGetCell(kept.get(), 3), nullptr);  // still a place, not a new array
  round_trip(filled.get());

  // Only the outermost array of a read form joins the running call's scope.
  kx::TemporaryScope scope;
  Bytes form = serialized(outer.get());
  kxArray* temp = kxDeserialize(form.data(), form.size());
  ASSERT_NE(temp, nullptr);
  EXPECT_EQ(scope.size(), 1u);
  EXPECT_EQ(kxGetArrayScope(temp), kxTEMPORARY_SCOPE);
}

TEST(KxSerialize, RefusesNativeHandlesAndTooDeepNesting) {
  auto fn = [](int, kxArray**, int, kxArray**) {};
  Owned cell(kxCreateCellMatrix(1, 1));
  kxSetCell(cell.get(), 0, kxCreateNativeFunctionHandle("cb", fn));
  EXPECT_EQ(kxSerialize(cell.get()), nullptr);
  EXPECT_EQ(last_error_id(), "Korel:kxSerialize:NativeFunction");

  Owned deep(kxCreateDoubleScalar(1));
  for (int level = 1; level < 64; ++level) {
    kxArray* c = kxCreateCellMatrix(1, 1);
    kxSetCell(c, 0, deep.release());
    deep.reset(c);
  }
  round_trip(deep.get());  // 64 levels
  Owned deeper(kxCreateCellMatrix(1, 1));
  kxSetCell(deeper.get(), 0, deep.release());
  EXPECT_EQ(kxSerialize(deeper.get()), nullptr);
  EXPECT_EQ(last_error_id(), "Korel:kxSerialize:TooDeep");
}

TEST(KxDeserialize, EveryTruncationFailsCleanly) {
  const char* names[] = {"f"};
  Owned s(kxCreateStructMatrix(1, 2, 1, names));
  const kxIndex rows[] = {1}, cols[] = {1};
  const double v[] = {2}, w[] = {-3};
  kxSetFieldByNumber(s.get(), 0, 0, kxCreateSparseFromTriples(kxDOUBLE_CLASS, 2, 2, 1, rows,
                                                               cols, v, w, 0));
  kxSetFieldByNumber(s.get(), 1, 0, kxCreateString("ok"));
  Owned c(kxCreateCellMatrix(1, 2));
  kxSetCell(c.get(), 0, s.release());
  kxSetCell(c.get(), 1, kxCreateOpaque("t", "xyz", 3));
  Bytes whole = serialized(c.get());
  for (size_t n = 0; n < whole.size(); ++n) {
    Bytes prefix(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(n));
    std::string id = failure_of(prefix);
    EXPECT_TRUE(id == "Korel:kxDeserialize:Truncated" || id == "Korel:kxDeserialize:Malformed")
        << n << ": " << id;
  }
  EXPECT_EQ(kxDeserialize(nullptr, 0), nullptr);
  Bytes extra = whole;
  extra.push_back(0);
  EXPECT_EQ(failure_of(extra), "Korel:kxDeserialize:Malformed");
}

TEST(KxDeserialize, HostileFormsFailWithTheirReason) {
  const std::string truncated = "Korel:kxDeserialize:Truncated";
  const std::string malformed = "Korel:kxDeserialize:Malformed";
  Bytes good = Form().header(kxDOUBLE_CLASS, 0, {0, 0}).b;
  ASSERT_EQ(failure_of(good), "<accepted>");
  Bytes bad = good;
  bad[1] = 'Y';
  EXPECT_EQ(failure_of(bad), "Korel:kxDeserialize:BadMagic");
  bad = good;
  bad[4] ^= 0x02;
  EXPECT_EQ(failure_of(bad), "Korel:kxDeserialize:UnsupportedVersion");
  EXPECT_EQ(failure_of(Form().header(19, 0, {0, 0}).b), "Korel:kxDeserialize:BadClass");
  EXPECT_EQ(failure_of(Form().header(5, 0, {1, 1}).b), malformed);

  // Claims that the remaining bytes cannot back, before anything is allocated.
  EXPECT_EQ(failure_of(Form().header(kxDOUBLE_CLASS, 0, {1, 1ull << 40}).b), truncated);
  EXPECT_EQ(failure_of(Form().header(kxDOUBLE_CLASS, 0, {1ull << 40, 1ull << 40}).b), malformed);
  EXPECT_EQ(failure_of(Form().header(kxCELL_CLASS, 0, {1ull << 60, 1}).b), malformed);
  EXPECT_EQ(failure_of(Form().u8(kxDOUBLE_CLASS).u8(0).u64(1ull << 61).b), truncated);
  Form sparse_claim;  // 2^40 stored values, with column starts that agree
  sparse_claim.header(kxDOUBLE_CLASS, 2, {4, 1}).u64(1ull << 40).u64(0).u64(1ull << 40);
  EXPECT_EQ(failure_of(sparse_claim.b), truncated);
  EXPECT_EQ(failure_of(Form().header(kxCHAR_CLASS, 1, {0, 0}).b), malformed);
  EXPECT_EQ(failure_of(Form().header(kxDOUBLE_CLASS, 4, {0, 0}).b), malformed);
  EXPECT_EQ(failure_of(Form().header(kxINT8_CLASS, 2, {0, 0}).b), malformed);
  EXPECT_EQ(failure_of(Form().header(kxDOUBLE_CLASS, 0, {2, 2, 1}).b), malformed);

  Form deep;
  for (int level = 0; level < 65; ++level) deep.header(kxCELL_CLASS, 0, {1, 1});
  deep.header(kxDOUBLE_CLASS, 0, {0, 0});
  EXPECT_EQ(failure_of(deep.b), "Korel:kxDeserialize:TooDeep");

  // 3-row sparse arrays with two stored values: jc (n + 1 of them), ir, values.
  auto sparse = [](std::vector<uint64_t> jc, std::vector<uint64_t> ir, unsigned cls = 6,
                   unsigned second = 1) {
    Form f;
    f.header(cls, 2, {3, jc.size() - 1}).u64(2);
    for (uint64_t x : jc) f.u64(x);
    for (uint64_t x : ir) f.u64(x);
    if (cls == kxLOGICAL_CLASS) return f.u8(1).u8(second).b;
    return f.u64(0x3FF0000000000000).u64(0x4000000000000000).b;
  };
  EXPECT_EQ(failure_of(sparse({0, 1, 2}, {2, 0})), "<accepted>");
  EXPECT_EQ(failure_of(sparse({0, 1, 2}, {2, 0}, kxLOGICAL_CLASS)), "<accepted>");
  EXPECT_EQ(failure_of(sparse({0, 1, 2}, {2, 0}, kxLOGICAL_CLASS, 2)), malformed);
  EXPECT_EQ(failure_of(sparse({1, 1, 2}, {2, 0})), malformed);     // jc[0] != 0
  EXPECT_EQ(failure_of(sparse({0, 1, 1}, {2, 0})), malformed);     // jc[n] != nnz
  EXPECT_EQ(failure_of(sparse({0, 2, 1, 2}, {0, 1})), malformed);  // decreasing
  EXPECT_EQ(failure_of(sparse({0, 2, 2}, {1, 1})), malformed);     // repeated row
  EXPECT_EQ(failure_of(sparse({0, 1, 2}, {3, 0})), malformed);     // row past m

  EXPECT_EQ(failure_of(Form().header(kxLOGICAL_CLASS, 0, {1, 2}).u8(1).u8(2).b), malformed);
  auto fields = [](std::vector<std::string> names) {
    Form f;
    f.header(kxSTRUCT_CLASS, 0, {1, 1}).u64(names.size());
    for (const std::string& n : names) f.text(n);
    for (size_t k = 0; k < names.size(); ++k) f.header(kxDOUBLE_CLASS, 0, {0, 0});
    return f.b;
  };
  EXPECT_EQ(failure_of(fields({"a", "b"})), "<accepted>");
  EXPECT_EQ(failure_of(fields({"a", "a"})), malformed);
  EXPECT_EQ(failure_of(fields({"a", ""})), malformed);
  EXPECT_EQ(failure_of(fields({"a", std::string("b\0c", 3)})), malformed);
  EXPECT_EQ(failure_of(Form().header(kxFUNCTION_CLASS, 0, {1, 2}).text("f").b), malformed);
  EXPECT_EQ(failure_of(Form().header(kxFUNCTION_CLASS, 0, {1, 1}).text("").b), malformed);
}

}  // namespace
