// The binary interface of the array objects: operation positions and the two
// spellings of every flat function.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "array_support.h"
#include "kclkrt/array/array_object.h"

using namespace arraytest;

namespace {

// The Itanium ABI stores a pointer to a virtual member function as one plus the
// operation's byte offset in the table.
template <class Member>
std::ptrdiff_t position_of(Member member) {
  static_assert(sizeof(Member) == 2 * sizeof(std::uintptr_t));
  std::uintptr_t raw[2];
  std::memcpy(raw, &member, sizeof raw);
  EXPECT_EQ(raw[0] & 1, 1u) << "not a virtual operation";
  return static_cast<std::ptrdiff_t>((raw[0] - 1) / sizeof(void*));
}

#define EXPECT_AT(Interface, operation, position) \
  EXPECT_EQ(position_of(&Interface::operation), position) << #Interface "::" #operation

}  // namespace

TEST(ArrayInterface, OperationsKeepTheirPositions) {
  EXPECT_AT(ref_count_obj, addref, 2);
  EXPECT_AT(ref_count_obj, release, 3);
  EXPECT_AT(error_info, get_message, 4);
  EXPECT_AT(error_info, get_stack_trace, 5);
  EXPECT_AT(char_buffer, size, 4);
  EXPECT_AT(char_buffer, get_buffer, 5);
  EXPECT_AT(char_buffer, set_buffer, 6);
  EXPECT_AT(char_buffer, compare_to, 7);
  EXPECT_AT(array_buffer, size, 4);
  EXPECT_AT(array_buffer, get, 5);
  EXPECT_AT(array_buffer, set, 6);
  EXPECT_AT(array_buffer, add, 7);
  EXPECT_AT(array_buffer, remove, 8);
  EXPECT_AT(array_buffer, clear, 9);
  EXPECT_AT(array_buffer, to_cell, 10);
  EXPECT_AT(array_ref, addref, 2);
  EXPECT_AT(array_ref, release, 3);
  EXPECT_AT(array_ref, classID, 4);
  EXPECT_AT(array_ref, deep_copy, 5);
  EXPECT_AT(array_ref, shared_copy, 6);
  EXPECT_AT(array_ref, serialize, 7);
  EXPECT_AT(array_ref, element_size, 8);
  EXPECT_AT(array_ref, number_of_elements, 9);
  EXPECT_AT(array_ref, number_of_nonzeros, 10);
  EXPECT_AT(array_ref, maximum_nonzeros, 11);
  EXPECT_AT(array_ref, number_of_dimensions, 12);
  EXPECT_AT(array_ref, get_dimensions, 13);
  EXPECT_AT(array_ref, number_of_fields, 14);
  EXPECT_AT(array_ref, get_field_name, 15);
  EXPECT_AT(array_ref, is_empty, 16);
  EXPECT_AT(array_ref, is_sparse, 17);
  EXPECT_AT(array_ref, is_numeric, 18);
  EXPECT_AT(array_ref, is_complex, 19);
  EXPECT_AT(array_ref, make_complex, 20);
  EXPECT_AT(array_ref, equals, 21);
  EXPECT_AT(array_ref, compare_to, 22);
  EXPECT_AT(array_ref, hash_code, 23);
  EXPECT_AT(array_ref, to_string, 24);
  EXPECT_AT(array_ref, row_index, 25);
  EXPECT_AT(array_ref, column_index, 26);
  EXPECT_AT(array_ref, get_int, 27);
  EXPECT_AT(array_ref, get_const_char, 28);
  EXPECT_AT(array_ref, getV_int, 29);
  EXPECT_AT(array_ref, getV_const_char, 30);
  EXPECT_AT(array_ref, set, 31);
  EXPECT_AT(array_ref, real, 32);
  EXPECT_AT(array_ref, imag, 33);
  EXPECT_AT(array_ref, get_numeric_kxDouble, 34);
  EXPECT_AT(array_ref, get_numeric_kxSingle, 35);
  EXPECT_AT(array_ref, get_numeric_kxInt8, 36);
  EXPECT_AT(array_ref, get_numeric_kxUint8, 37);
  EXPECT_AT(array_ref, get_numeric_kxInt16, 38);
  EXPECT_AT(array_ref, get_numeric_kxUint16, 39);
  EXPECT_AT(array_ref, get_numeric_kxInt32, 40);
  EXPECT_AT(array_ref, get_numeric_kxUint32, 41);
  EXPECT_AT(array_ref, get_numeric_kxInt64, 42);
  EXPECT_AT(array_ref, get_numeric_kxUint64, 43);
  EXPECT_AT(array_ref, get_char, 44);
  EXPECT_AT(array_ref, get_logical, 45);
  EXPECT_AT(array_ref, set_numeric_kxDouble, 46);
  EXPECT_AT(array_ref, set_numeric_kxSingle, 47);
  EXPECT_AT(array_ref, set_numeric_kxInt8, 48);
  EXPECT_AT(array_ref, set_numeric_kxUint8, 49);
  EXPECT_AT(array_ref, set_numeric_kxInt16, 50);
  EXPECT_AT(array_ref, set_numeric_kxUint16, 51);
  EXPECT_AT(array_ref, set_numeric_kxInt32, 52);
  EXPECT_AT(array_ref, set_numeric_kxUint32, 53);
  EXPECT_AT(array_ref, set_numeric_kxInt64, 54);
  EXPECT_AT(array_ref, set_numeric_kxUint64, 55);
  EXPECT_AT(array_ref, set_char, 56);
  EXPECT_AT(array_ref, set_logical, 57);
}

namespace {

// A result made comparable: numbers as they are, objects by their display text and
// serialized bytes (then released), failures with their last error.
std::string comparable(int result) { return std::to_string(result) + " " + last_error(); }
std::string comparable(char_buffer* result) { return text_of(result) + " " + last_error(); }
std::string comparable(array_ref* result) {
  if (!result) return "null " + last_error();
  Ref owned(result);
  Ref bytes(array_ref_serialize(result));
  return text_of(array_ref_to_string(result)) + "|" + std::to_string(array_ref_hash_code(bytes.get()));
}

template <class Ref, class Handle, class... Args>
void expect_same(const char* name, Ref by_ref, Handle by_handle, array_ref* a, Args... args) {
  std::string first = comparable(by_ref(a, args...));
  std::string second = comparable(by_handle(a, args...));
  EXPECT_EQ(first, second) << name;
}

// The typed accessors: both spellings read the same values, or fail alike.
template <class T, class Ref, class Handle>
void expect_same_read(const char* name, Ref by_ref, Handle by_handle, array_ref* a, int n) {
  std::vector<T> first(static_cast<std::size_t>(n)), second(first.size());
  std::string r1 = comparable(by_ref(a, first.data(), n));
  std::string r2 = comparable(by_handle(a, second.data(), n));
  EXPECT_EQ(r1, r2) << name;
  EXPECT_EQ(first, second) << name;
}

}  // namespace

#define SAME(operation, ...) \
  expect_same(#operation, array_ref_##operation, array_handle_##operation, a, ##__VA_ARGS__)
#define SAME_READ(T, operation, n) \
  expect_same_read<T>(#operation, array_ref_##operation, array_handle_##operation, a, n)

TEST(ArrayInterface, BothSpellingsBehaveAlike) {
  array_ref* made_struct = nullptr;
  const char* fields[] = {"x", "y"};
  Ref structure = made(kclGetStructMatrix(&made_struct, 1, 2, 2, fields), made_struct);
  array_ref* made_sparse = nullptr;
  int rows[] = {1, 3}, cols[] = {2, 2};
  double values[] = {4, 5};
  Ref sparse = made(kclGetNumericSparse(&made_sparse, 2, rows, 2, cols, 2, values, nullptr, 3, 2,
                                        0, kxDOUBLE_CLASS, 0),
                    made_sparse);
  Ref matrix = counting_matrix(2, 3);
  Ref cells = cell(1, 2);
  Ref other = scalar(7);
  int subscripts[] = {2, 1};

  for (array_ref* a : {matrix.get(), cells.get(), structure.get(), sparse.get()}) {
    SCOPED_TRACE(text_of(array_ref_to_string(a)));
    SAME(classID);
    SAME(deep_copy);
    SAME(shared_copy);
    SAME(serialize);
    SAME(element_size);
    SAME(number_of_elements);
    SAME(number_of_nonzeros);
    SAME(maximum_nonzeros);
    SAME(number_of_dimensions);
    SAME(get_dimensions);
    SAME(number_of_fields);
    SAME(get_field_name, 2);
    SAME(is_empty);
    SAME(is_sparse);
    SAME(is_numeric);
    SAME(is_complex);
    SAME(equals, other.get());
    SAME(compare_to, other.get());
    SAME(hash_code);
    SAME(to_string);
    SAME(row_index);
    SAME(column_index);
    SAME(get_int, 2, static_cast<const int*>(subscripts));
    SAME(get_const_char, "y", 1, static_cast<const int*>(subscripts + 1));
    SAME(getV_int, 2, 2, 1);
    SAME(getV_const_char, "x", 2, 1, 2);
    SAME(real);
    SAME(imag);
    SAME_READ(kxDouble, get_numeric_kxDouble, 2);
    SAME_READ(kxSingle, get_numeric_kxSingle, 2);
    SAME_READ(kxInt8, get_numeric_kxInt8, 2);
    SAME_READ(kxUint8, get_numeric_kxUint8, 2);
    SAME_READ(kxInt16, get_numeric_kxInt16, 2);
    SAME_READ(kxUint16, get_numeric_kxUint16, 2);
    SAME_READ(kxInt32, get_numeric_kxInt32, 2);
    SAME_READ(kxUint32, get_numeric_kxUint32, 2);
    SAME_READ(kxInt64, get_numeric_kxInt64, 2);
    SAME_READ(kxUint64, get_numeric_kxUint64, 2);
    SAME_READ(kxChar, get_char, 2);
    SAME_READ(kxLogical, get_logical, 2);
  }

  // The writers, each spelling on its own copy of the same array.
  auto same_write = [&](const char* name, auto by_ref, auto by_handle, const auto* values) {
    Ref first(array_ref_deep_copy(matrix.get())), second(array_ref_deep_copy(matrix.get()));
    std::string r1 = comparable(by_ref(first.get(), values, 2));
    std::string r2 = comparable(by_handle(second.get(), values, 2));
    EXPECT_EQ(r1, r2) << name;
    EXPECT_EQ(doubles(first.get()), doubles(second.get())) << name;
    EXPECT_NE(doubles(first.get()), doubles(matrix.get())) << name << " wrote nothing";
  };
  const double d[] = {9, 8};
  const float f[] = {9, 8};
  const int8_t i8[] = {9, 8};
  const uint8_t u8[] = {9, 8};
  const int16_t i16[] = {9, 8};
  const uint16_t u16[] = {9, 8};
  const int32_t i32[] = {9, 8};
  const uint32_t u32[] = {9, 8};
  const int64_t i64[] = {9, 8};
  const uint64_t u64[] = {9, 8};
  same_write("set_numeric_kxDouble", array_ref_set_numeric_kxDouble, array_handle_set_numeric_kxDouble, d);
  same_write("set_numeric_kxSingle", array_ref_set_numeric_kxSingle, array_handle_set_numeric_kxSingle, f);
  same_write("set_numeric_kxInt8", array_ref_set_numeric_kxInt8, array_handle_set_numeric_kxInt8, i8);
  same_write("set_numeric_kxUint8", array_ref_set_numeric_kxUint8, array_handle_set_numeric_kxUint8, u8);
  same_write("set_numeric_kxInt16", array_ref_set_numeric_kxInt16, array_handle_set_numeric_kxInt16, i16);
  same_write("set_numeric_kxUint16", array_ref_set_numeric_kxUint16, array_handle_set_numeric_kxUint16, u16);
  same_write("set_numeric_kxInt32", array_ref_set_numeric_kxInt32, array_handle_set_numeric_kxInt32, i32);
  same_write("set_numeric_kxUint32", array_ref_set_numeric_kxUint32, array_handle_set_numeric_kxUint32, u32);
  same_write("set_numeric_kxInt64", array_ref_set_numeric_kxInt64, array_handle_set_numeric_kxInt64, i64);
  same_write("set_numeric_kxUint64", array_ref_set_numeric_kxUint64, array_handle_set_numeric_kxUint64, u64);
  same_write("set_char", array_ref_set_char, array_handle_set_char, u16);
  same_write("set_logical", array_ref_set_logical, array_handle_set_logical, u8);

  Ref first(array_ref_deep_copy(matrix.get())), second(array_ref_deep_copy(matrix.get()));
  EXPECT_EQ(array_ref_make_complex(first.get()), array_handle_make_complex(second.get()));
  EXPECT_TRUE(array_ref_is_complex(first.get()) && array_handle_is_complex(second.get()));
  EXPECT_EQ(array_ref_set(first.get(), other.get()), array_handle_set(second.get(), other.get()));
  EXPECT_TRUE(array_ref_equals(first.get(), second.get()));
  EXPECT_TRUE(array_ref_equals(first.get(), other.get()));
}

// ---- Objects whose surroundings changed ------------------------------------------------

namespace {

// An m-by-n sparse double array storing the values at the one-based (row, column)s.
Ref sparse(int m, int n, std::vector<int> rows, std::vector<int> cols, std::vector<double> values) {
  array_ref* a = nullptr;
  const int k = static_cast<int>(values.size());
  return made(kclGetNumericSparse(&a, k, rows.data(), k, cols.data(), k, values.data(), nullptr, m, n, k,
                                  kxDOUBLE_CLASS, 0),
              a);
}
Ref sparse_3x3() { return sparse(3, 3, {1, 3, 2}, {1, 2, 3}, {1, 5, 7}); }
Ref dense_3x3() { return counting_matrix(3, 3); }

Ref with_fields(bool object, int nfields) {
  const char* names[] = {"x", "y", "z"};
  kxSize one[] = {1, 1};
  array_ref* a = nullptr;
  return made(kclkxArray2ArrayHandle(&a, object ? kxCreateObjectArray("Point", 2, one, nfields, names)
                                                : kxCreateStructArray(2, one, nfields, names)),
              a);
}

// After an operation: a last error comes only with the failure value, and an object
// result is null exactly when there is one. The error's text, or "" for none.
std::string reported(bool failure_value, bool null_object = false) {
  const std::string error = last_error();
  if (error == "<none>") {
    EXPECT_FALSE(null_object) << "a null result without a last error";
    return "";
  }
  EXPECT_TRUE(failure_value) << "the last error " << error << " with a result";
  return error;
}

// The value at the view as a double, or "fails: <message>".
std::string read_double(array_ref* view) {
  double value = -1;
  const int status = array_ref_get_numeric_kxDouble(view, &value, 1);
  const std::string error = reported(status == -1);
  return error.empty() ? std::to_string(value) : "fails: " + error;
}

// Every operation of the interface on `a`, each checked to report as it should.
void every_operation(array_ref* a) {
  Ref other = scalar(2);
  const int one[] = {1};
  const double value = 3;
  auto number = [](int result) { reported(result == -1 || result == 0); };
  auto object = [](ref_count_obj* result) {
    reported(result == nullptr, result == nullptr);
    if (result) result->release();
  };
  number(array_ref_classID(a)), object(array_ref_deep_copy(a)), number(array_ref_element_size(a));
  number(array_ref_number_of_elements(a)), number(array_ref_number_of_nonzeros(a));
  number(array_ref_maximum_nonzeros(a)), number(array_ref_number_of_dimensions(a));
  object(array_ref_get_dimensions(a)), number(array_ref_number_of_fields(a));
  object(array_ref_get_field_name(a, 1)), number(array_ref_is_empty(a)), number(array_ref_is_sparse(a));
  number(array_ref_is_numeric(a)), number(array_ref_is_complex(a)), number(array_ref_equals(a, other.get()));
  number(array_ref_compare_to(a, other.get())), number(array_ref_hash_code(a)), object(array_ref_to_string(a));
  object(array_ref_row_index(a)), object(array_ref_column_index(a)), object(array_ref_get_int(a, 1, one));
  object(array_ref_get_const_char(a, "x", 1, one)), object(array_ref_real(a)), object(array_ref_imag(a));
  number(array_ref_set_numeric_kxDouble(a, &value, 1)), number(array_ref_set(a, other.get()));
  number(array_ref_make_complex(a));
  Ref copy(array_ref_shared_copy(a));
  reported(copy == nullptr, copy == nullptr);
  if (copy) read_double(copy.get());
  try {  // outside the error capture on element views: a failure comes as an exception
    object(array_ref_serialize(a));
  } catch (const std::exception&) {
  }
}

}  // namespace

TEST(ArrayInterface, ElementViewsOfAReplacedParentFailOrReachItsCurrentElement) {
  const std::string gone = "fails: Index exceeds matrix dimensions";
  const std::string cell_read = "fails: Cannot convert type: cell to type: numeric";
  auto one_by_one = [] { return sparse(1, 1, {1}, {1}, {4}); };
  auto cells = [] { return cell(3, 3); };
  struct Case {
    const char* what;
    std::function<Ref()> parent;
    std::vector<int> subscripts;
    std::function<Ref()> replacement;
    std::string read;  // through the view, once the parent was replaced
  };
  const Case cases[] = {
      {"sparse view, dense parent", sparse_3x3, {3, 2}, dense_3x3, gone},
      {"sparse view, 1x1 sparse parent", sparse_3x3, {3, 2}, one_by_one, gone},
      {"unstored sparse view, 1x1 sparse parent", sparse_3x3, {2, 2}, one_by_one, gone},
      {"linear sparse view, 1x1 sparse parent", sparse_3x3, {6}, one_by_one, gone},
      {"sparse view, cell parent", sparse_3x3, {3, 2}, cells, cell_read},
      {"sparse view, same-sized sparse parent", sparse_3x3, {3, 2},
       [] { return sparse(3, 3, {3}, {2}, {9}); }, "9.000000"},
      {"dense view, sparse parent", dense_3x3, {3, 2}, sparse_3x3, gone},
      {"dense view, smaller parent", dense_3x3, {3, 2}, [] { return counting_matrix(2, 2); }, gone},
      {"dense view, single parent", dense_3x3, {3, 2},
       [] {
         array_ref* a = nullptr;
         Ref m = made(kclGetNumericMatrix(&a, 3, 3, kxSINGLE_CLASS, 0), a);
         const float values[] = {1, 2, 3, 4, 5, 6.5f, 7, 8, 9};
         EXPECT_EQ(array_ref_set_numeric_kxSingle(m.get(), values, 9), 0);
         return m;
       },
       "6.500000"},
      {"dense view, cell parent", dense_3x3, {3, 2}, cells, cell_read},
      // A cell or struct element view holds the container it was taken from.
      {"cell view, dense parent", cells, {3, 2}, dense_3x3, "fails: Index out of bounds"},
      {"struct view, sparse parent", [] { return with_fields(false, 2); }, {1, 1}, sparse_3x3,
       "fails: Cannot convert type: struct to type: numeric"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    Ref parent = c.parent();
    Ref view(array_ref_get_int(parent.get(), static_cast<int>(c.subscripts.size()), c.subscripts.data()));
    ASSERT_NE(view, nullptr) << last_error();
    ASSERT_EQ(array_ref_set(parent.get(), c.replacement().get()), 0) << last_error();
    EXPECT_EQ(read_double(view.get()), c.read);
    every_operation(view.get());
    every_operation(parent.get());  // the parent is whole after all that
  }
}

TEST(ArrayInterface, FieldsAreCountedForStructArraysOnly) {
  const std::pair<Ref, int> cases[] = {
      {with_fields(false, 2), 2}, {with_fields(true, 3), 0}, {with_fields(true, 0), 0},
      {cell(1, 2), 0},           {counting_matrix(2, 2), 0},
  };
  for (const auto& [array, fields] : cases) {
    EXPECT_EQ(array_ref_number_of_fields(array.get()), fields) << text_of(array_ref_to_string(array.get()));
    EXPECT_EQ(last_error(), "<none>");
  }
}

namespace {

// An array whose release throws.
template <class Thrown>
class ThrowingRelease final : public kcl::ArrayRef {
 public:
  explicit ThrowingRelease(Thrown thrown) : ArrayRef(kxCreateDoubleScalar(1)), thrown_(thrown) {}
  int release() override {
    Thrown thrown = thrown_;  // the object may be gone after the release below
    ArrayRef::release();
    throw thrown;
  }

 private:
  Thrown thrown_;
};

struct NotStandard {};

}  // namespace

TEST(ArrayInterface, ListsWhoseElementsFailToReleaseReportIt) {
  struct Case {
    std::function<array_ref*()> element;
    std::string error;
  };
  const Case cases[] = {
      {[] { return new ThrowingRelease<std::runtime_error>(std::runtime_error("gone")); }, "gone"},
      {[] { return new ThrowingRelease<NotStandard>(NotStandard{}); }, "Unexpected error thrown"},
  };
  // Each way a list lets go of its elements, and the elements it still holds after.
  const std::pair<std::function<int(array_buffer*)>, int> endings[] = {
      {[](array_buffer* list) { return ref_count_obj_release(list); }, -1},
      {[](array_buffer* list) { return array_buffer_clear(list); }, 0},
      {[](array_buffer* list) { return array_buffer_remove(list, 1); }, 1},
  };
  for (const Case& c : cases) {
    for (const auto& [ending, left] : endings) {
      SCOPED_TRACE(c.error + ", ending " + std::to_string(left));
      array_buffer* list = nullptr;
      ASSERT_EQ(kclcppGetArrayBuffer(&list, 2), 0);
      array_ref* element = c.element();
      Ref plain = scalar(1);
      ASSERT_EQ(array_buffer_add(list, element), 0);
      ASSERT_EQ(array_buffer_add(list, plain.get()), 0);
      EXPECT_ANY_THROW(element->release());  // the list's reference is the last
      EXPECT_EQ(ending(list), -1);
      EXPECT_EQ(last_error(), c.error);
      if (left >= 0) {
        EXPECT_EQ(array_buffer_size(list), left);
        EXPECT_EQ(ref_count_obj_release(list), 0);
      }
      EXPECT_EQ(plain->addref(), 2);  // the other element was let go of all the same
      plain->release();
    }
  }
}
