/*
 * The C++ array API as plain C calls: the flat functions that reach each operation of
 * the array, list, character-buffer and error-record objects, and the calls that create
 * arrays and call compiled functions with them. Usable from C and C++; the header-only
 * C++ class of korel/array.hpp is built on these calls alone.
 *
 * Conventions: every object starts with one reference owned by whoever received it and
 * dies when ref_count_obj_release drops its count to zero. A failure returns -1 (int
 * and status results), null (objects) or 0 (booleans, returned as int 0 or 1) and
 * leaves the reason as the calling thread's last error: take it with
 * kclcppGetLastError. The forwarding functions check nothing: the object pointer must
 * be valid. Subscripts, list positions and field numbers count from 1.
 */
#ifndef KOREL_ARRAY_API_H
#define KOREL_ARRAY_API_H

#include "korel/kclkrt.h"

#ifdef __cplusplus
class array_ref;
class array_buffer;
class char_buffer;
extern "C" {
#else
typedef struct array_ref array_ref;
typedef struct array_buffer array_buffer;
typedef struct char_buffer char_buffer;
#endif

/* The array operations in their table order, as
 * X(flat result, name, parameters after the object, arguments). Each is exported twice,
 * as array_ref_<name> and array_handle_<name>, with the same behaviour. */
#define KCL_ARRAY_OPERATIONS(X)                                                            \
  X(int, classID, (array_ref * a), ())                                                     \
  X(array_ref*, deep_copy, (array_ref * a), ())                                            \
  X(array_ref*, shared_copy, (array_ref * a), ())                                          \
  X(array_ref*, serialize, (array_ref * a), ())                                            \
  X(int, element_size, (array_ref * a), ())                                                \
  X(int, number_of_elements, (array_ref * a), ())                                          \
  X(int, number_of_nonzeros, (array_ref * a), ())                                          \
  X(int, maximum_nonzeros, (array_ref * a), ())                                            \
  X(int, number_of_dimensions, (array_ref * a), ())                                        \
  X(array_ref*, get_dimensions, (array_ref * a), ())                                       \
  X(int, number_of_fields, (array_ref * a), ())                                            \
  X(char_buffer*, get_field_name, (array_ref * a, int field), (field))                     \
  X(int, is_empty, (array_ref * a), ())                                                    \
  X(int, is_sparse, (array_ref * a), ())                                                   \
  X(int, is_numeric, (array_ref * a), ())                                                  \
  X(int, is_complex, (array_ref * a), ())                                                  \
  X(int, make_complex, (array_ref * a), ())                                                \
  X(int, equals, (array_ref * a, array_ref * other), (other))                              \
  X(int, compare_to, (array_ref * a, array_ref * other), (other))                          \
  X(int, hash_code, (array_ref * a), ())                                                   \
  X(char_buffer*, to_string, (array_ref * a), ())                                          \
  X(array_ref*, row_index, (array_ref * a), ())                                            \
  X(array_ref*, column_index, (array_ref * a), ())                                         \
  X(array_ref*, get_int, (array_ref * a, int count, const int* subscripts),                \
    (count, subscripts))                                                                   \
  X(array_ref*, get_const_char,                                                            \
    (array_ref * a, const char* field, int count, const int* subscripts),                  \
    (field, count, subscripts))                                                            \
  X(int, set, (array_ref * a, array_ref * value), (value))                                 \
  X(array_ref*, real, (array_ref * a), ())                                                 \
  X(array_ref*, imag, (array_ref * a), ())                                                 \
  X(int, get_numeric_kxDouble, (array_ref * a, kxDouble * buffer, int count), (buffer, count)) \
  X(int, get_numeric_kxSingle, (array_ref * a, kxSingle * buffer, int count), (buffer, count)) \
  X(int, get_numeric_kxInt8, (array_ref * a, kxInt8 * buffer, int count), (buffer, count))     \
  X(int, get_numeric_kxUint8, (array_ref * a, kxUint8 * buffer, int count), (buffer, count))   \
  X(int, get_numeric_kxInt16, (array_ref * a, kxInt16 * buffer, int count), (buffer, count))   \
  X(int, get_numeric_kxUint16, (array_ref * a, kxUint16 * buffer, int count), (buffer, count)) \
  X(int, get_numeric_kxInt32, (array_ref * a, kxInt32 * buffer, int count), (buffer, count))   \
  X(int, get_numeric_kxUint32, (array_ref * a, kxUint32 * buffer, int count), (buffer, count)) \
  X(int, get_numeric_kxInt64, (array_ref * a, kxInt64 * buffer, int count), (buffer, count))   \
  X(int, get_numeric_kxUint64, (array_ref * a, kxUint64 * buffer, int count), (buffer, count)) \
  X(int, get_char, (array_ref * a, kxChar * buffer, int count), (buffer, count))               \
  X(int, get_logical, (array_ref * a, kxLogical * buffer, int count), (buffer, count))         \
  X(int, set_numeric_kxDouble, (array_ref * a, const kxDouble* buffer, int count),             \
    (buffer, count))                                                                           \
  X(int, set_numeric_kxSingle, (array_ref * a, const kxSingle* buffer, int count),             \
    (buffer, count))                                                                           \
  X(int, set_numeric_kxInt8, (array_ref * a, const kxInt8* buffer, int count), (buffer, count)) \
  X(int, set_numeric_kxUint8, (array_ref * a, const kxUint8* buffer, int count),               \
    (buffer, count))                                                                           \
  X(int, set_numeric_kxInt16, (array_ref * a, const kxInt16* buffer, int count),               \
    (buffer, count))                                                                           \
  X(int, set_numeric_kxUint16, (array_ref * a, const kxUint16* buffer, int count),             \
    (buffer, count))                                                                           \
  X(int, set_numeric_kxInt32, (array_ref * a, const kxInt32* buffer, int count),               \
    (buffer, count))                                                                           \
  X(int, set_numeric_kxUint32, (array_ref * a, const kxUint32* buffer, int count),             \
    (buffer, count))                                                                           \
  X(int, set_numeric_kxInt64, (array_ref * a, const kxInt64* buffer, int count),               \
    (buffer, count))                                                                           \
  X(int, set_numeric_kxUint64, (array_ref * a, const kxUint64* buffer, int count),             \
    (buffer, count))                                                                           \
  X(int, set_char, (array_ref * a, const kxChar* buffer, int count), (buffer, count))          \
  X(int, set_logical, (array_ref * a, const kxLogical* buffer, int count), (buffer, count))

#define KCL_DECLARE_ARRAY_OPERATION(result, name, parameters, arguments) \
  KCLKRT_API result array_ref_##name parameters;                          \
  KCLKRT_API result array_handle_##name parameters;
KCL_ARRAY_OPERATIONS(KCL_DECLARE_ARRAY_OPERATION)
#undef KCL_DECLARE_ARRAY_OPERATION

/* The two operations with variable arguments: `count` int subscripts follow. */
KCLKRT_API array_ref* array_ref_getV_int(array_ref* a, int count, ...);
KCLKRT_API array_ref* array_handle_getV_int(array_ref* a, int count, ...);
KCLKRT_API array_ref* array_ref_getV_const_char(array_ref* a, const char* field, int count, ...);
KCLKRT_API array_ref* array_handle_getV_const_char(array_ref* a, const char* field, int count,
                                                   ...);

/* ---- Character buffers and array lists --------------------------------------------- */

KCLKRT_API int char_buffer_size(char_buffer* b);
KCLKRT_API const char* char_buffer_get_buffer(char_buffer* b);
KCLKRT_API int char_buffer_set_buffer(char_buffer* b, const char* text);
KCLKRT_API int char_buffer_compare_to(char_buffer* b, char_buffer* other);

KCLKRT_API int array_buffer_size(array_buffer* list);
KCLKRT_API array_ref* array_buffer_get(array_buffer* list, int position);
KCLKRT_API int array_buffer_set(array_buffer* list, int position, array_ref* value);
KCLKRT_API int array_buffer_add(array_buffer* list, array_ref* value);
KCLKRT_API int array_buffer_remove(array_buffer* list, int position);
KCLKRT_API int array_buffer_clear(array_buffer* list);
KCLKRT_API array_ref* array_buffer_to_cell(array_buffer* list, int offset, int length);

/* ---- Creating arrays ----------------------------------------------------------------
 * Each stores a new array through its first argument and returns 0, or returns -1,
 * leaves *out untouched and the reason as the last error. Class ids are those of
 * kxClassID; `complexity` non-zero makes a numeric array complex. */

KCLKRT_API int kclGetEmptyArray(array_ref** out, int class_id);
KCLKRT_API int kclGetScalarDouble(array_ref** out, kxDouble re, kxDouble im, int complexity);
KCLKRT_API int kclGetScalarSingle(array_ref** out, kxSingle re, kxSingle im, int complexity);
KCLKRT_API int kclGetScalarInt8(array_ref** out, kxInt8 re, kxInt8 im, int complexity);
KCLKRT_API int kclGetScalarUint8(array_ref** out, kxUint8 re, kxUint8 im, int complexity);
KCLKRT_API int kclGetScalarInt16(array_ref** out, kxInt16 re, kxInt16 im, int complexity);
KCLKRT_API int kclGetScalarUint16(array_ref** out, kxUint16 re, kxUint16 im, int complexity);
KCLKRT_API int kclGetScalarInt32(array_ref** out, kxInt32 re, kxInt32 im, int complexity);
KCLKRT_API int kclGetScalarUint32(array_ref** out, kxUint32 re, kxUint32 im, int complexity);
KCLKRT_API int kclGetScalarInt64(array_ref** out, kxInt64 re, kxInt64 im, int complexity);
KCLKRT_API int kclGetScalarUint64(array_ref** out, kxUint64 re, kxUint64 im, int complexity);
KCLKRT_API int kclGetScalarLogical(array_ref** out, kxLogical value);
KCLKRT_API int kclGetScalarChar(array_ref** out, kxChar value);
/* A 1-by-N char row from UTF-8 text; null text: "Invalid input". */
KCLKRT_API int kclGetString(array_ref** out, const char* text);
/* One row per string, shorter ones padded with blanks. */
KCLKRT_API int kclGetCharMatrixFromStrings(array_ref** out, int count, const char** strings);

/* Dimensions are counts; a negative one is an invalid argument. */
KCLKRT_API int kclGetNumericMatrix(array_ref** out, int rows, int cols, int class_id,
                                   int complexity);
KCLKRT_API int kclGetNumericArray(array_ref** out, int ndim, const int* dims, int class_id,
                                  int complexity);
KCLKRT_API int kclGetLogicalMatrix(array_ref** out, int rows, int cols);
KCLKRT_API int kclGetLogicalArray(array_ref** out, int ndim, const int* dims);
KCLKRT_API int kclGetCharMatrix(array_ref** out, int rows, int cols);
KCLKRT_API int kclGetCharArray(array_ref** out, int ndim, const int* dims);
KCLKRT_API int kclGetCellMatrix(array_ref** out, int rows, int cols);
KCLKRT_API int kclGetCellArray(array_ref** out, int ndim, const int* dims);
KCLKRT_API int kclGetStructMatrix(array_ref** out, int rows, int cols, int nfields,
                                  const char** field_names);
KCLKRT_API int kclGetStructArray(array_ref** out, int ndim, const int* dims, int nfields,
                                 const char** field_names);
/* Any class: numeric, logical, char, cell or struct (without fields). */
KCLKRT_API int kclGetMatrix(array_ref** out, int rows, int cols, int class_id, int complexity);
KCLKRT_API int kclGetArray(array_ref** out, int ndim, const int* dims, int class_id,
                           int complexity);

/* Sparse arrays from (row, column, value) triples with one-based rows and columns.
 * Values at the same place add up. Only double has a numeric sparse form; `imag` may
 * be null for a real array. */
KCLKRT_API int kclGetNumericSparse(array_ref** out, int row_count, const int* rows,
                                   int column_count, const int* columns, int value_count,
                                   const kxDouble* real, const kxDouble* imag, int m, int n,
                                   int nzmax, int class_id, int complexity);
KCLKRT_API int kclGetLogicalSparse(array_ref** out, int row_count, const int* rows,
                                   int column_count, const int* columns, int value_count,
                                   const kxLogical* values, int m, int n, int nzmax);

/* The array whose serialized form the uint8 array `bytes` holds. */
KCLKRT_API int kclDeserializeArray(array_ref** out, array_ref* bytes);

/* Native arrays and array objects. kclkxArray2ArrayHandle takes `array` over;
 * kclArrayHandle2kxArray stores a shared data copy of the object's array and releases
 * the object: the caller's reference is consumed, even on failure past the checks. */
KCLKRT_API int kclkxArray2ArrayHandle(array_ref** out, kxArray* array);
KCLKRT_API int kclArrayHandle2kxArray(kxArray** out, array_ref* array);

KCLKRT_API int kclCreateCharBuffer(char_buffer** out, const char* text);
/* A new, empty array list; `capacity` is a hint for the room kept in advance. */
KCLKRT_API int kclcppGetArrayBuffer(array_buffer** out, int capacity);

/* The display text of an array, freed with kclcppFreeString. */
KCLKRT_API int kclcppArrayToString(array_ref* array, char** out);
KCLKRT_API void kclcppFreeString(char* text);

/* Calls the compiled function `name` of the instance with the arrays of `inputs` and
 * stores a new list of `nargout` results. On failure the last error holds the function's
 * message and stack trace. */
KCLKRT_API int kclcppFeval(krtInstance* instance, const char* name, int nargout,
                           array_buffer** outputs, array_buffer* inputs);

#ifdef __cplusplus
}
#endif

#endif /* KOREL_ARRAY_API_H */
