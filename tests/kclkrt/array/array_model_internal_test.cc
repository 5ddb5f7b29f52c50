// Array objects: indexing, views, typed access, assignment and their failures, as a
// caller of the flat functions sees them.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "array_support.h"
#include "kclkrt/array/array_exceptions.h"

using namespace arraytest;

TEST(ArrayModel, ClassesAndEmptyArrays) {
  array_ref* a = nullptr;
  Ref empty_double = made(kclGetEmptyArray(&a, kxDOUBLE_CLASS), a);
  EXPECT_EQ(array_ref_classID(empty_double.get()), kxDOUBLE_CLASS);
  EXPECT_EQ(array_ref_number_of_elements(empty_double.get()), 0);
  Ref empty_cell = made(kclGetEmptyArray(&a, kxCELL_CLASS), a);
  EXPECT_EQ(array_ref_classID(empty_cell.get()), kxCELL_CLASS);
  EXPECT_TRUE(array_ref_is_empty(empty_cell.get()));
  EXPECT_STREQ(kcl::array_class_name(5), "unknown");
  EXPECT_STREQ(kcl::array_class_name(19), "unknown");
  EXPECT_STREQ(kcl::array_class_name(18), "object");

  // Complexity 0 makes a real array whatever the imaginary part says.
  Ref real = made(kclGetScalarDouble(&a, 1, 2, 0), a);
  EXPECT_FALSE(array_ref_is_complex(real.get()));
  Ref complex = made(kclGetScalarInt16(&a, 1, 2, 1), a);
  EXPECT_EQ(array_ref_classID(complex.get()), kxINT16_CLASS);
  EXPECT_TRUE(array_ref_is_complex(complex.get()));
  EXPECT_EQ(text_of(array_ref_to_string(Ref(array_ref_imag(complex.get())).get())).find('2') !=
                std::string::npos,
            true);

  Ref dims(array_ref_get_dimensions(counting_matrix(2, 3).get()));
  EXPECT_EQ(array_ref_classID(dims.get()), kxUINT32_CLASS);
  EXPECT_EQ(doubles(dims.get()), (std::vector<double>{2, 3}));

  EXPECT_EQ(kclGetNumericMatrix(nullptr, 1, 1, kxDOUBLE_CLASS, 0), -1);
  EXPECT_EQ(last_error(), "Invalid input");
  a = reinterpret_cast<array_ref*>(0x1);
  EXPECT_EQ(kclGetNumericMatrix(&a, 1, 1, kxCELL_CLASS, 0), -1);
  EXPECT_EQ(a, reinterpret_cast<array_ref*>(0x1)) << "a failed creator stores nothing";
  EXPECT_EQ(last_error(), "Cannot convert type: numeric to type: cell");
}

TEST(ArrayModel, SubscriptsLeadToPlacesOrExactFailures) {
  Ref m = counting_matrix(2, 3);
  auto element = [&](std::vector<int> subscripts) {
    subscripts.reserve(1);  // a list, even when it holds none
    return Ref(array_ref_get_int(m.get(), static_cast<int>(subscripts.size()), subscripts.data()));
  };
  EXPECT_EQ(doubles(element({2, 3}).get()), std::vector<double>{6});
  EXPECT_EQ(doubles(element({5}).get()), std::vector<double>{5});
  EXPECT_EQ(doubles(Ref(array_ref_getV_int(m.get(), 2, 1, 2)).get()), std::vector<double>{3});
  EXPECT_EQ(doubles(Ref(array_ref_get_int(scalar(4).get(), 1, std::vector<int>{1}.data())).get()),
            std::vector<double>{4});

  struct Case {
    std::vector<int> subscripts;
    const char* message;
  } cases[] = {
      {{7}, "Attempt to access element at index 7  in array of size 6"},
      {{0}, "Attempt to access element at index 0  in array of size 6"},
      {{3, 1}, "Attempt to access element at index [3,1] in array of dimensions [2,3]"},
      {{1, 0}, "Attempt to access element at index [1,0] in array of dimensions [2,3]"},
      {{1, 1, 1}, "Incompatible number of dimensions"},
      {{}, "Incompatible number of dimensions"},
      {{-1}, "Index into matrix is negative"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(element(c.subscripts), nullptr);
    EXPECT_EQ(last_error(), c.message);
  }
  EXPECT_EQ(array_ref_get_int(m.get(), 1, nullptr), nullptr);
  EXPECT_EQ(last_error(), "Invalid argument");
  array_ref* a = nullptr;
  Ref empty = made(kclGetNumericMatrix(&a, 0, 3, kxDOUBLE_CLASS, 0), a);
  EXPECT_EQ(array_ref_getV_int(empty.get(), 2, 1, 1), nullptr);
  EXPECT_EQ(last_error(), "Attempt to index into an empty array");
}

TEST(ArrayModel, TypedAccessChecksThenCopiesOrConverts) {
  Ref m = counting_matrix(1, 2);
  const double three[] = {7, 8, 9};
  EXPECT_EQ(array_ref_set_numeric_kxDouble(m.get(), three, 0), 0);
  EXPECT_EQ(array_ref_set_numeric_kxDouble(m.get(), three, 3), -1);
  EXPECT_EQ(last_error(), "Index out of bounds");
  EXPECT_EQ(array_ref_set_numeric_kxDouble(m.get(), nullptr, 1), -1);
  EXPECT_EQ(last_error(), "Illegal argument");
  EXPECT_EQ(doubles(m.get()), (std::vector<double>{1, 2}));
  EXPECT_EQ(array_ref_set_numeric_kxDouble(m.get(), three, 1), 0);  // a shorter buffer
  EXPECT_EQ(doubles(m.get()), (std::vector<double>{7, 2}));

  // Other element types convert, both ways.
  array_ref* a = nullptr;
  Ref bytes = made(kclGetNumericMatrix(&a, 1, 2, kxINT8_CLASS, 0), a);
  const double wide[] = {300, -2.5};
  EXPECT_EQ(array_ref_set_numeric_kxDouble(bytes.get(), wide, 2), 0);
  EXPECT_EQ(doubles(bytes.get()), (std::vector<double>{127, -3}));
  Ref single = made(kclGetScalarSingle(&a, 1.5f, 0, 0), a);
  EXPECT_EQ(doubles(single.get()), std::vector<double>{1.5});
  kxInt32 whole = 0;
  EXPECT_EQ(array_ref_get_numeric_kxInt32(single.get(), &whole, 1), 0);
  EXPECT_EQ(whole, 2);

  double out[1];
  EXPECT_EQ(array_ref_get_numeric_kxDouble(cell(1, 1).get(), out, 1), -1);
  EXPECT_EQ(last_error(), "Cannot convert type: cell to type: numeric");
  EXPECT_EQ(array_ref_get_numeric_kxDouble(m.get(), out, 5), -1);
  EXPECT_EQ(last_error(), "Index out of bounds");
}

TEST(ArrayModel, ElementViewsWriteIntoTheirParentAndKeepItAlive) {
  Ref m = counting_matrix(2, 3);
  array_ref* view = array_ref_getV_int(m.get(), 2, 2, 2);
  Ref again(array_ref_shared_copy(view));
  const double ten = 10;
  EXPECT_EQ(array_ref_set_numeric_kxDouble(view, &ten, 1), 0);
  EXPECT_EQ(doubles(m.get())[3], 10);
  EXPECT_EQ(doubles(again.get()), std::vector<double>{10});
  EXPECT_EQ(array_ref_set(again.get(), scalar(11).get()), 0);
  EXPECT_EQ(doubles(m.get())[3], 11);

  // The parent lives on through its views, whichever is released last.
  m.reset();
  EXPECT_EQ(doubles(view), std::vector<double>{11});
  view->release();
  EXPECT_EQ(doubles(again.get()), std::vector<double>{11});
  again.reset();

  // Assignment into a view takes numbers, text and logicals only.
  Ref target = counting_matrix(1, 2);
  Ref first(array_ref_getV_int(target.get(), 1, 1));
  EXPECT_EQ(array_ref_set(first.get(), cell(1, 1).get()), -1);
  EXPECT_EQ(last_error(), "Attempt to access: double with pointer type: cell");
  EXPECT_EQ(array_ref_set(first.get(), nullptr), -1);
  EXPECT_EQ(last_error(), "Null Pointer");
  EXPECT_EQ(array_ref_make_complex(first.get()), -1);
  EXPECT_EQ(last_error(), "Cannot access the imaginary part of a pure-real array");
  array_ref* a = nullptr;
  Ref complex_value = made(kclGetScalarDouble(&a, 1, 2, 1), a);
  EXPECT_EQ(array_ref_set(first.get(), complex_value.get()), -1);
  EXPECT_EQ(last_error(), "Cannot access the imaginary part of a pure-real array");
  EXPECT_EQ(doubles(target.get()), (std::vector<double>{1, 2}));

  // A view never reaches past a parent that has shrunk since.
  Ref last(array_ref_getV_int(target.get(), 1, 2));
  EXPECT_EQ(array_ref_set(target.get(), scalar(5).get()), 0);
  double out;
  EXPECT_EQ(array_ref_get_numeric_kxDouble(last.get(), &out, 1), -1);
  EXPECT_EQ(last_error(), "Index exceeds matrix dimensions");
}

TEST(ArrayModel, CellAndStructElementsAreReadAndWrittenInPlace) {
  Ref c = cell(1, 2);
  Ref second(array_ref_getV_int(c.get(), 1, 2));
  EXPECT_EQ(array_ref_set(second.get(), counting_matrix(1, 3).get()), 0);
  Ref read_back(array_ref_getV_int(c.get(), 1, 2));
  EXPECT_EQ(doubles(read_back.get()), (std::vector<double>{1, 2, 3}));
  // Nested: an element of the element writes into the cell's content.
  Ref inner(array_ref_getV_int(read_back.get(), 1, 3));
  EXPECT_EQ(array_ref_set(inner.get(), scalar(30).get()), 0);
  EXPECT_EQ(doubles(Ref(array_ref_getV_int(c.get(), 1, 2)).get()), (std::vector<double>{1, 2, 30}));
  EXPECT_TRUE(array_ref_is_empty(Ref(array_ref_getV_int(c.get(), 1, 1)).get()));

  array_ref* a = nullptr;
  const char* fields[] = {"name", "size"};
  Ref s = made(kclGetStructMatrix(&a, 1, 2, 2, fields), a);
  Ref size(array_ref_getV_const_char(s.get(), "size", 1, 2));
  EXPECT_EQ(array_ref_set(size.get(), scalar(42).get()), 0);
  EXPECT_EQ(doubles(Ref(array_ref_getV_const_char(s.get(), "size", 1, 2)).get()),
            std::vector<double>{42});
  EXPECT_EQ(text_of(array_ref_get_field_name(s.get(), 2)), "size");
  EXPECT_EQ(array_ref_get_field_name(s.get(), 3), nullptr);
  EXPECT_EQ(last_error(), "Invalid field number");
  EXPECT_EQ(array_ref_getV_const_char(s.get(), "colour", 1, 1), nullptr);
  EXPECT_EQ(last_error(), "Invalid field name");
  EXPECT_EQ(array_ref_getV_const_char(c.get(), "size", 1, 1), nullptr);
  EXPECT_EQ(last_error(), "Field name indexing not supported for this type");
  // A single subscript may range over elements times fields; only elements exist.
  EXPECT_EQ(array_ref_getV_int(s.get(), 1, 4), nullptr);
  EXPECT_EQ(last_error(), "Index exceeds matrix dimensions");

  // A whole struct element copies out, and takes a struct with the same fields.
  Ref element(array_ref_getV_int(s.get(), 1, 2));
  EXPECT_EQ(array_ref_classID(element.get()), kxSTRUCT_CLASS);
  Ref copy(array_ref_deep_copy(element.get()));
  Ref first(array_ref_getV_int(s.get(), 1, 1));
  EXPECT_EQ(array_ref_set(first.get(), copy.get()), 0);
  EXPECT_EQ(doubles(Ref(array_ref_getV_const_char(s.get(), "size", 1, 1)).get()),
            std::vector<double>{42});
  EXPECT_EQ(array_ref_set(first.get(), scalar(1).get()), -1);
  EXPECT_EQ(last_error(), "Cannot initialize type: struct with type: double");
  // A field reached through the whole element is the struct's own, not a copy's.
  Ref field(array_ref_getV_const_char(first.get(), "name", 1, 1));
  EXPECT_EQ(array_ref_set(field.get(), scalar(8).get()), 0);
  EXPECT_EQ(doubles(Ref(array_ref_getV_const_char(s.get(), "name", 1, 1)).get()),
            std::vector<double>{8});
}

TEST(ArrayModel, ArraysSharingDataAreWrittenApart) {
  Ref c = cell(1, 1);
  Ref v = counting_matrix(1, 2);
  EXPECT_EQ(array_ref_set(Ref(array_ref_getV_int(c.get(), 1, 1)).get(), v.get()), 0);
  const double nine = 9;
  EXPECT_EQ(array_ref_set_numeric_kxDouble(v.get(), &nine, 1), 0);
  Ref element(array_ref_getV_int(c.get(), 1, 1));
  EXPECT_EQ(doubles(element.get()), (std::vector<double>{1, 2}));
  EXPECT_EQ(array_ref_set(Ref(array_ref_getV_int(element.get(), 1, 2)).get(), scalar(4).get()), 0);
  EXPECT_EQ(doubles(Ref(array_ref_getV_int(c.get(), 1, 1)).get()), (std::vector<double>{1, 4}));
  EXPECT_EQ(doubles(v.get()), (std::vector<double>{9, 2}));

  Ref cells(array_ref_shared_copy(c.get()));
  EXPECT_EQ(array_ref_set(Ref(array_ref_getV_int(cells.get(), 1, 1)).get(), scalar(0).get()), 0);
  EXPECT_EQ(doubles(Ref(array_ref_getV_int(c.get(), 1, 1)).get()), (std::vector<double>{1, 4}));

  Ref copy(array_ref_shared_copy(v.get()));
  EXPECT_EQ(array_ref_make_complex(copy.get()), 0);
  EXPECT_EQ(array_ref_set_numeric_kxDouble(copy.get(), &nine, 1), 0);
  EXPECT_FALSE(array_ref_is_complex(v.get()));
  EXPECT_EQ(doubles(v.get()), (std::vector<double>{9, 2}));
}

TEST(ArrayModel, SparseElementsAndConstruction) {
  array_ref* a = nullptr;
  int rows[] = {1, 3}, cols[] = {2, 2};
  double values[] = {4, 5};
  Ref s = made(
      kclGetNumericSparse(&a, 2, rows, 2, cols, 2, values, nullptr, 3, 2, 2, kxDOUBLE_CLASS, 0), a);
  EXPECT_EQ(array_ref_number_of_nonzeros(s.get()), 2);
  EXPECT_EQ(doubles(Ref(array_ref_row_index(s.get())).get()), (std::vector<double>{0, 2}));
  EXPECT_EQ(doubles(Ref(array_ref_column_index(s.get())).get()), (std::vector<double>{0, 0, 2}));

  Ref stored(array_ref_getV_int(s.get(), 2, 3, 2));
  EXPECT_EQ(doubles(stored.get()), std::vector<double>{5});
  Ref unstored(array_ref_getV_int(s.get(), 2, 2, 2));
  EXPECT_EQ(doubles(unstored.get()), std::vector<double>{0});
  // Writing an unstored place makes the array store it, growing it when full; the
  // view made earlier still finds its own value.
  const double seven = 7;
  EXPECT_EQ(array_ref_set_numeric_kxDouble(unstored.get(), &seven, 1), 0);
  EXPECT_EQ(array_ref_number_of_nonzeros(s.get()), 3);
  EXPECT_EQ(doubles(stored.get()), std::vector<double>{5});
  EXPECT_EQ(doubles(Ref(array_ref_getV_int(s.get(), 1, 5)).get()), std::vector<double>{7});
  EXPECT_EQ(doubles(Ref(array_ref_row_index(s.get())).get()), (std::vector<double>{0, 1, 2}));

  EXPECT_EQ(kclGetNumericSparse(&a, 2, rows, 1, cols, 2, values, nullptr, 3, 2, 0,
                                kxDOUBLE_CLASS, 0),
            -1);
  EXPECT_EQ(last_error(), "Vectors must be the same length");
  EXPECT_EQ(kclGetNumericSparse(&a, 2, rows, 2, cols, 2, values, nullptr, 2, 2, 0,
                                kxDOUBLE_CLASS, 0),
            -1);
  EXPECT_EQ(last_error(), "Index exceeds matrix dimensions");
  EXPECT_EQ(kclGetNumericSparse(&a, 2, rows, 2, cols, 2, values, nullptr, 3, 2, 0,
                                kxSINGLE_CLASS, 0),
            -1);
  EXPECT_EQ(last_error(), "Sparse not support for type: single");
  kxLogical flags[] = {1, 1};
  Ref logical = made(kclGetLogicalSparse(&a, 2, rows, 2, cols, 2, flags, 3, 2, 0), a);
  EXPECT_EQ(array_ref_classID(logical.get()), kxLOGICAL_CLASS);
  EXPECT_TRUE(array_ref_is_sparse(logical.get()));
}

TEST(ArrayModel, OrderHashAndSerializedForms) {
  Ref a = counting_matrix(2, 3);
  Ref b(array_ref_deep_copy(a.get()));
  EXPECT_EQ(array_ref_compare_to(a.get(), a.get()), 0);
  EXPECT_EQ(array_ref_compare_to(a.get(), b.get()), 0);
  EXPECT_TRUE(array_ref_equals(a.get(), b.get()));
  EXPECT_EQ(array_ref_hash_code(a.get()), array_ref_hash_code(b.get()));
  EXPECT_EQ(array_ref_compare_to(a.get(), nullptr), 1);
  EXPECT_FALSE(array_ref_equals(a.get(), nullptr));
  // The shorter serialized form orders first whatever its bytes.
  Ref small = scalar(1e300);
  EXPECT_EQ(array_ref_compare_to(small.get(), a.get()), -1);
  EXPECT_EQ(array_ref_compare_to(a.get(), small.get()), 1);
  const double changed = -1;
  EXPECT_EQ(array_ref_set_numeric_kxDouble(b.get(), &changed, 1), 0);
  EXPECT_NE(array_ref_compare_to(a.get(), b.get()), 0);
  EXPECT_EQ(array_ref_compare_to(a.get(), b.get()), -array_ref_compare_to(b.get(), a.get()));

  Ref bytes(array_ref_serialize(a.get()));
  EXPECT_EQ(array_ref_classID(bytes.get()), kxUINT8_CLASS);
  array_ref* out = nullptr;
  Ref back = made(kclDeserializeArray(&out, bytes.get()), out);
  EXPECT_TRUE(array_ref_equals(back.get(), a.get()));
  EXPECT_EQ(kclDeserializeArray(&out, a.get()), -1);
  EXPECT_EQ(last_error(), "Attempt to access: uint8 with pointer type: double");
  EXPECT_EQ(kclDeserializeArray(&out, nullptr), -1);
  EXPECT_EQ(last_error(), "Invalid input");
  const kxUint8 garbage[] = {1, 2, 3};
  Ref junk = made(kclGetNumericMatrix(&out, 1, 3, kxUINT8_CLASS, 0), out);
  array_ref_set_numeric_kxUint8(junk.get(), garbage, 3);
  EXPECT_EQ(kclDeserializeArray(&out, junk.get()), -1);
  EXPECT_NE(last_error(), "<none>");

  char* text = nullptr;
  EXPECT_EQ(kclcppArrayToString(a.get(), &text), 0);
  EXPECT_NE(std::string(text).find('6'), std::string::npos);
  kclcppFreeString(text);
}

TEST(ArrayModel, NativeArraysCrossBothWays) {
  array_ref* a = nullptr;
  Ref wrapped = made(kclkxArray2ArrayHandle(&a, kxCreateDoubleScalar(3)), a);
  EXPECT_EQ(doubles(wrapped.get()), std::vector<double>{3});
  kxArray* native = nullptr;
  // The call consumes the reference it is given.
  EXPECT_EQ(kclArrayHandle2kxArray(&native, wrapped.release()), 0);
  EXPECT_EQ(kxGetScalar(native), 3);
  kxDestroyArray(native);
  EXPECT_EQ(kclkxArray2ArrayHandle(&a, nullptr), -1);
  EXPECT_EQ(last_error(), "Invalid input");
  array_buffer* results = nullptr;
  EXPECT_EQ(kclcppFeval(nullptr, "f", 1, &results, nullptr), -1);
  EXPECT_EQ(last_error(), "Invalid input");
}

TEST(ArrayBuffers, ListsHoldOneReferencePerElement) {
  array_buffer* made_list = nullptr;
  ASSERT_EQ(kclcppGetArrayBuffer(&made_list, 2), 0);
  List list(made_list);
  Ref x = scalar(1);
  EXPECT_EQ(array_buffer_add(list.get(), x.get()), 0);
  EXPECT_EQ(array_buffer_remove(list.get(), 1), 0);
  EXPECT_EQ(array_buffer_size(list.get()), 0);
  EXPECT_EQ(array_buffer_add(list.get(), x.get()), 0);
  EXPECT_EQ(array_buffer_add(list.get(), nullptr), 0);

  EXPECT_EQ(array_buffer_get(list.get(), 0), nullptr);
  EXPECT_EQ(last_error(), "Attempt to access element at index 0  in array of size 2");
  EXPECT_EQ(array_buffer_get(list.get(), 3), nullptr);
  EXPECT_EQ(last_error(), "Attempt to access element at index 3  in array of size 2");
  Ref got(array_buffer_get(list.get(), 1));
  EXPECT_EQ(got.get(), x.get());
  EXPECT_EQ(x->addref(), 4);  // ours, the list's, the one `get` gave, this one
  x->release();
  Ref filled(array_buffer_get(list.get(), 2));  // an empty slot gets an empty array
  EXPECT_TRUE(array_ref_is_empty(filled.get()));

  Ref packed(array_buffer_to_cell(list.get(), 1, 2));
  EXPECT_EQ(array_ref_classID(packed.get()), kxCELL_CLASS);
  EXPECT_EQ(doubles(Ref(array_ref_getV_int(packed.get(), 1, 1)).get()), std::vector<double>{1});
  EXPECT_TRUE(array_ref_is_empty(Ref(array_buffer_to_cell(list.get(), 1, 0)).get()));
  EXPECT_EQ(array_buffer_to_cell(list.get(), 2, 2), nullptr);
  EXPECT_EQ(last_error(), "Index out of bounds");
  EXPECT_EQ(array_buffer_set(list.get(), 2, x.get()), 0);
  EXPECT_EQ(array_buffer_clear(list.get()), 0);
  EXPECT_EQ(array_buffer_size(list.get()), 0);
  EXPECT_EQ(x->addref(), 3);  // ours, `got`'s and this one: the list let go of both
  x->release();

  char_buffer* made_text = nullptr;
  ASSERT_EQ(kclCreateCharBuffer(&made_text, "abc"), 0);
  Text text(made_text);
  char_buffer* made_other = nullptr;
  ASSERT_EQ(kclCreateCharBuffer(&made_other, "abd"), 0);
  Text other(made_other);
  EXPECT_LT(char_buffer_compare_to(text.get(), other.get()), 0);
  EXPECT_GT(char_buffer_compare_to(other.get(), text.get()), 0);
  EXPECT_EQ(char_buffer_set_buffer(text.get(), nullptr), 0);
  EXPECT_EQ(char_buffer_size(text.get()), 0);
  EXPECT_EQ(char_buffer_compare_to(text.get(), nullptr), -1);
  EXPECT_EQ(last_error(), "Invalid input");
}
