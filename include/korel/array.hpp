// korel::Array: a C++ array with value semantics over the exported array calls of
// korel/array_api.h. Header-only; it reaches the library through those flat calls alone,
// so a host needs nothing but the public headers and libkclkrt.so.
//
// Values. An Array holds one counted array object. Copying an Array shares the object
// (one more reference); every write first makes the object this Array's own when
// anyone else holds it (copy on write), so a copy never sees another copy's writes.
// A moved-from Array holds nothing: it may be destroyed or assigned to, nothing else.
//
// Errors. Every failing call throws tbException built from the thread's last error
// record, so what() is the library's own message (and, for feval, stack_trace() the
// called function's frames).
//
// Elements. a(i, j) is an Element: a view that reads from and writes into the array it
// was taken from. It holds a reference on that array, so while an Element is alive the
// next write through the Array copies the array first, and the Element keeps writing
// into the old one. Use an Element at once (a(2, 3) = 5.0, double d = a(2, 3)) rather
// than keeping it across writes through its Array.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "korel/array_api.h"
#include "korel/array_ref.h"
#include "korel/counted_ref.h"
#include "korel/kclkrt.h"
#include "korel/tb_exception.h"

namespace korel {

// Throws the calling thread's last error. A failure that left no record still throws
// an exception with a message.
[[noreturn]] inline void throw_last_error() {
  void* record = nullptr;
  kclcppGetLastError(&record);
  if (!record) kclcppCreateError(&record, "Unspecified error");
  throw tbException(static_cast<error_info*>(record));
}

namespace detail {

inline int check(int status) {
  if (status < 0) throw_last_error();
  return status;
}

template <class T>
T* check(T* object) {
  if (!object) throw_last_error();
  return object;
}

// For calls whose failure value is also a valid answer (false, -1 of an ordering or a
// hash): the failure is told apart by the error it leaves pending. A stale pending
// error left by someone else is dropped first.
template <class Call>
int check_pending(int failure, Call&& call) {
  if (kclcppErrorCheck()) {
    void* stale = nullptr;
    kclcppGetLastError(&stale);
    if (stale) ref_count_obj_release(static_cast<error_info*>(stale));
  }
  int result = call();
  if (result == failure && kclcppErrorCheck()) throw_last_error();
  return result;
}

inline bool is_container(array_ref* a) {
  int cls = check(array_ref_classID(a));
  return cls == kxCELL_CLASS || cls == kxSTRUCT_CLASS || cls == kxOBJECT_CLASS;
}

inline std::string take_text(char_buffer* text) {
  CountedRef<char_buffer> owned(check(text));
  return check(char_buffer_get_buffer(owned.get()));
}

// The typed bulk accessors by element type. kxChar and kxLogical are the same C types
// as kxUint16 and kxUint8, so those have calls of their own on Array.
template <class T>
struct Access;
#define KOREL_ARRAY_ACCESS(Type, Suffix)                                                           \
  template <>                                                                                      \
  struct Access<Type> {                                                                            \
    static int get(array_ref* a, Type* b, int n) { return array_ref_get_##Suffix(a, b, n); }       \
    static int set(array_ref* a, const Type* b, int n) { return array_ref_set_##Suffix(a, b, n); } \
  };
KOREL_ARRAY_ACCESS(kxDouble, numeric_kxDouble)
KOREL_ARRAY_ACCESS(kxSingle, numeric_kxSingle)
KOREL_ARRAY_ACCESS(kxInt8, numeric_kxInt8)
KOREL_ARRAY_ACCESS(kxUint8, numeric_kxUint8)
KOREL_ARRAY_ACCESS(kxInt16, numeric_kxInt16)
KOREL_ARRAY_ACCESS(kxUint16, numeric_kxUint16)
KOREL_ARRAY_ACCESS(kxInt32, numeric_kxInt32)
KOREL_ARRAY_ACCESS(kxUint32, numeric_kxUint32)
KOREL_ARRAY_ACCESS(kxInt64, numeric_kxInt64)
KOREL_ARRAY_ACCESS(kxUint64, numeric_kxUint64)
#undef KOREL_ARRAY_ACCESS

// The element view at one-based subscripts, of a field when `field` is not null; null
// (with the last error) on failure.
template <class... Ints>
array_ref* element_of(array_ref* a, const char* field, int s1, Ints... rest) {
  int subscripts[] = {s1, static_cast<int>(rest)...};
  int count = static_cast<int>(sizeof subscripts / sizeof subscripts[0]);
  return field ? array_ref_get_const_char(a, field, count, subscripts)
               : array_ref_get_int(a, count, subscripts);
}

template <class... Ints>
concept Subscripts = (std::is_convertible_v<Ints, int> && ...);

}  // namespace detail

class Array;

// A read-only element view (what indexing a const Array gives).
class ConstElement {
 public:
  // The element as a double, converted from its class.
  operator double() const {
    double value = 0;
    detail::check(array_ref_get_numeric_kxDouble(view_.get(), &value, 1));
    return value;
  }
  // A copy of the element, independent of the array.
  Array value() const;

  template <class... Ints>
  requires detail::Subscripts<Ints...> ConstElement operator()(int s1, Ints... rest) const {
    return ConstElement(detail::element_of(view_.get(), nullptr, s1, rest...));
  }
  template <class... Ints>
  requires detail::Subscripts<Ints...> ConstElement operator()(const char* field, int s1,
                                                               Ints... rest) const {
    return ConstElement(detail::element_of(view_.get(), field, s1, rest...));
  }

  array_ref* get() const noexcept { return view_.get(); }

 protected:
  friend class Array;
  // Takes over the view; a null one is the failure of the call that made it.
  explicit ConstElement(array_ref* view) : view_(detail::check(view)) {}

  CountedRef<array_ref> view_;
};

// An element view that writes into the array it came from.
class Element : public ConstElement {
 public:
  Element(const Element&) = default;

  // A number element takes the value; a cell or field place gets a scalar in it.
  Element& operator=(double value);
  Element& operator=(const Array& value);
  // Assigns the other element's value, not the view: a(1, 1) = b(2, 2) writes into a.
  Element& operator=(const ConstElement& other) {
    detail::check(array_ref_set(view_.get(), other.get()));
    return *this;
  }
  Element& operator=(const Element& other) {
    return *this = static_cast<const ConstElement&>(other);
  }

  template <class... Ints>
  requires detail::Subscripts<Ints...> Element operator()(int s1, Ints... rest) const {
    return Element(detail::element_of(view_.get(), nullptr, s1, rest...), view_.get());
  }
  template <class... Ints>
  requires detail::Subscripts<Ints...> Element operator()(const char* field, int s1,
                                                          Ints... rest) const {
    return Element(detail::element_of(view_.get(), field, s1, rest...), view_.get());
  }

 private:
  friend class Array;
  Element(array_ref* view, array_ref* parent)
      : ConstElement(view), in_container_(detail::is_container(parent)) {}

  bool in_container_;  // a place of a cell or struct array rather than a number
};

class Array {
 public:
  // ---- Creation --------------------------------------------------------------------

  // A 0-by-0 double array.
  Array() : Array(create([](array_ref** out) { return kclGetEmptyArray(out, kxDOUBLE_CLASS); })) {}
  // Takes over one reference to `owned`; a null one is the failure of the call that
  // made it and throws its error.
  explicit Array(array_ref* owned) : ref_(detail::check(owned)) {}
  // A double scalar from any number (one constructor, so that 0 is not ambiguous with
  // the text constructor).
  template <class Number>
  requires std::is_arithmetic_v<Number> Array(Number value)
      : Array(create([&](array_ref** out) {
          return kclGetScalarDouble(out, static_cast<double>(value), 0, 0);
        })) {}
  // A 1-by-N char row from UTF-8 text.
  Array(const char* text)
      : Array(create([&](array_ref** out) { return kclGetString(out, text); })) {}
  Array(const std::string& text) : Array(text.c_str()) {}

  static Array matrix(int rows, int cols, kxClassID cls = kxDOUBLE_CLASS, bool complex = false) {
    return create([&](array_ref** out) { return kclGetMatrix(out, rows, cols, cls, complex); });
  }
  static Array array(const std::vector<int>& dims, kxClassID cls = kxDOUBLE_CLASS,
                     bool complex = false) {
    return create([&](array_ref** out) {
      return kclGetArray(out, static_cast<int>(dims.size()), dims.data(), cls, complex);
    });
  }
  static Array logical(int rows, int cols) {
    return create([&](array_ref** out) { return kclGetLogicalMatrix(out, rows, cols); });
  }
  static Array cell(int rows, int cols) {
    return create([&](array_ref** out) { return kclGetCellMatrix(out, rows, cols); });
  }
  static Array structure(int rows, int cols, const std::vector<std::string>& fields) {
    std::vector<const char*> names;
    for (const std::string& f : fields) names.push_back(f.c_str());
    return create([&](array_ref** out) {
      return kclGetStructMatrix(out, rows, cols, static_cast<int>(names.size()), names.data());
    });
  }
  static Array empty(kxClassID cls) {
    return create([&](array_ref** out) { return kclGetEmptyArray(out, cls); });
  }
  // The array whose serialized form `bytes` (uint8) holds.
  static Array deserialize(const Array& bytes) {
    return create([&](array_ref** out) { return kclDeserializeArray(out, bytes.get()); });
  }
  // Takes `native` over.
  static Array from_native(kxArray* native) {
    return create([&](array_ref** out) { return kclkxArray2ArrayHandle(out, native); });
  }
  // A rows-by-cols sparse double array from one-based (row, column, value) triples;
  // values at the same place add up.
  static Array sparse(int rows, int cols, const std::vector<int>& row_of,
                      const std::vector<int>& column_of, const std::vector<double>& values,
                      int nzmax = 0) {
    return create([&](array_ref** out) {
      return kclGetNumericSparse(out, static_cast<int>(row_of.size()), row_of.data(),
                                 static_cast<int>(column_of.size()), column_of.data(),
                                 static_cast<int>(values.size()), values.data(), nullptr, rows,
                                 cols, nzmax, kxDOUBLE_CLASS, 0);
    });
  }

  // ---- Queries ---------------------------------------------------------------------

  kxClassID class_id() const {
    return static_cast<kxClassID>(detail::check(array_ref_classID(get())));
  }
  int numel() const { return detail::check(array_ref_number_of_elements(get())); }
  int nnz() const { return detail::check(array_ref_number_of_nonzeros(get())); }
  int ndims() const { return detail::check(array_ref_number_of_dimensions(get())); }
  std::vector<int> dims() const {
    Array row(array_ref_get_dimensions(get()));
    std::vector<kxUint32> sizes = row.values<kxUint32>();
    return std::vector<int>(sizes.begin(), sizes.end());
  }
  bool is_empty() const { return flag(array_ref_is_empty); }
  bool is_sparse() const { return flag(array_ref_is_sparse); }
  bool is_numeric() const { return flag(array_ref_is_numeric); }
  bool is_complex() const { return flag(array_ref_is_complex); }
  int nfields() const { return detail::check(array_ref_number_of_fields(get())); }
  // Field numbers count from 1.
  std::string field_name(int field) const {
    return detail::take_text(array_ref_get_field_name(get(), field));
  }
  // The display text.
  std::string to_string() const { return detail::take_text(array_ref_to_string(get())); }
  // The serialized form, a 1-by-N uint8 array.
  Array serialize() const { return Array(array_ref_serialize(get())); }

  bool operator==(const Array& other) const {
    return detail::check_pending(0, [&] { return array_ref_equals(get(), other.get()); }) != 0;
  }
  // The order of the serialized forms: below, at or above 0.
  int compare(const Array& other) const {
    return detail::check_pending(-1, [&] { return array_ref_compare_to(get(), other.get()); });
  }
  int hash() const {
    return detail::check_pending(-1, [&] { return array_ref_hash_code(get()); });
  }
  Array real() const { return Array(array_ref_real(get())); }
  Array imag() const { return Array(array_ref_imag(get())); }

  // The array object, still owned by this Array.
  array_ref* get() const noexcept { return ref_.get(); }

  // A native array the caller owns and destroys, independent of this Array: the
  // library hands out a native array sharing the object's data, so it is made from a
  // copy of its own.
  kxArray* to_native() const {
    array_ref* copy = detail::check(array_ref_deep_copy(get()));
    kxArray* native = nullptr;
    detail::check(kclArrayHandle2kxArray(&native, copy));  // consumes `copy`
    return native;
  }

  // ---- Bulk access: the first n elements (stored values of a sparse array), real part

  template <class T>
  void read(T* buffer, int n) const {
    detail::check(detail::Access<T>::get(get(), buffer, n));
  }
  template <class T>
  void write(const T* buffer, int n) {
    detach();
    detail::check(detail::Access<T>::set(get(), buffer, n));
  }
  void read_chars(kxChar* buffer, int n) const {
    detail::check(array_ref_get_char(get(), buffer, n));
  }
  void write_chars(const kxChar* buffer, int n) {
    detach();
    detail::check(array_ref_set_char(get(), buffer, n));
  }
  void read_logicals(kxLogical* buffer, int n) const {
    detail::check(array_ref_get_logical(get(), buffer, n));
  }
  void write_logicals(const kxLogical* buffer, int n) {
    detach();
    detail::check(array_ref_set_logical(get(), buffer, n));
  }
  // Every element, or every stored value of a sparse array, converted to T.
  template <class T>
  std::vector<T> values() const {
    std::vector<T> out(static_cast<std::size_t>(is_sparse() ? nnz() : numel()));
    read(out.data(), static_cast<int>(out.size()));
    return out;
  }

  // ---- Elements, one-based ---------------------------------------------------------

  template <class... Ints>
  requires detail::Subscripts<Ints...> Element operator()(int s1, Ints... rest) {
    detach();
    return Element(detail::element_of(get(), nullptr, s1, rest...), get());
  }
  template <class... Ints>
  requires detail::Subscripts<Ints...> ConstElement operator()(int s1, Ints... rest) const {
    return ConstElement(detail::element_of(get(), nullptr, s1, rest...));
  }
  // A field of a struct element.
  template <class... Ints>
  requires detail::Subscripts<Ints...> Element operator()(const char* field, int s1, Ints... rest) {
    detach();
    return Element(detail::element_of(get(), field, s1, rest...), get());
  }
  template <class... Ints>
  requires detail::Subscripts<Ints...> ConstElement operator()(const char* field, int s1,
                                                               Ints... rest) const {
    return ConstElement(detail::element_of(get(), field, s1, rest...));
  }

 private:
  template <class Create>
  static Array create(Create&& make) {
    array_ref* out = nullptr;
    detail::check(make(&out));
    return Array(out);
  }

  bool flag(int (*query)(array_ref*)) const {
    return detail::check_pending(0, [&] { return query(get()); }) != 0;
  }

  // Makes the object this Array's own before a write.
  void detach() {
    if (ref_.others() > 0)
      ref_ = CountedRef<array_ref>(detail::check(array_ref_deep_copy(get())));
  }

  CountedRef<array_ref> ref_;
};

inline Array ConstElement::value() const { return Array(array_ref_deep_copy(view_.get())); }

inline Element& Element::operator=(double value) {
  if (in_container_) return *this = Array(value);
  detail::check(array_ref_set_numeric_kxDouble(view_.get(), &value, 1));
  return *this;
}

inline Element& Element::operator=(const Array& value) {
  detail::check(array_ref_set(view_.get(), value.get()));
  return *this;
}

// Calls the compiled function `name` of `instance` with `inputs` and returns its
// `nargout` results.
inline std::vector<Array> feval(krtInstance* instance, const char* name, int nargout,
                                const std::vector<Array>& inputs) {
  CountedRef<array_buffer> arguments;
  detail::check(kclcppGetArrayBuffer(arguments.out(), static_cast<int>(inputs.size())));
  for (const Array& input : inputs) detail::check(array_buffer_add(arguments.get(), input.get()));
  CountedRef<array_buffer> results;
  detail::check(kclcppFeval(instance, name, nargout, results.out(), arguments.get()));
  int count = detail::check(array_buffer_size(results.get()));
  std::vector<Array> out;
  out.reserve(static_cast<std::size_t>(count));
  for (int i = 1; i <= count; ++i) out.emplace_back(array_buffer_get(results.get(), i));
  return out;
}

}  // namespace korel
