// The interfaces of the C++ array API's objects as the library lays them out. A
// wrapper never calls these operations directly: it calls the flat functions of
// korel/array_api.h, each of which reaches one operation at its fixed position in the
// interface's operation table. The order of the declarations below is therefore part of
// the binary interface; never reorder, insert or remove an operation.
//
// Every operation reports failure by its result (-1 for int and status results, null
// for objects, false for booleans) and leaves the reason as the calling thread's last
// error (kclcppGetLastError). Objects returned are new, with one reference owned by the
// caller.
#pragma once

#include <cstdarg>

#include "korel/kx.h"
#include "korel/ref_count_obj.h"

// A counted byte string: field names and display texts.
class char_buffer : public ref_count_obj {
 public:
  virtual int size() = 0;                              // 4: length in bytes
  virtual const char* get_buffer() = 0;                // 5: valid until set_buffer
  virtual int set_buffer(const char* text) = 0;        // 6: null stores ""
  virtual int compare_to(char_buffer* other) = 0;      // 7: byte-wise, <0, 0 or >0
};

class array_ref;

// A list of arrays, one-based: argument and result lists of function calls.
class array_buffer : public ref_count_obj {
 public:
  virtual int size() = 0;                                    // 4
  virtual array_ref* get(int position) = 0;                  // 5: one more reference
  virtual int set(int position, array_ref* value) = 0;       // 6
  virtual int add(array_ref* value) = 0;                     // 7: appends
  virtual int remove(int position) = 0;                      // 8
  virtual int clear() = 0;                                   // 9
  virtual array_ref* to_cell(int offset, int length) = 0;    // 10: 1-by-length cell
};

// An array, or a view of one element of an array. Subscripts are one-based.
class array_ref : public ref_count_obj {
 public:
  virtual int classID() = 0;                      // 4
  virtual array_ref* deep_copy() = 0;             // 5
  virtual array_ref* shared_copy() = 0;           // 6
  virtual array_ref* serialize() = 0;             // 7: 1-by-N uint8
  virtual int element_size() = 0;                 // 8
  virtual int number_of_elements() = 0;           // 9
  virtual int number_of_nonzeros() = 0;           // 10
  virtual int maximum_nonzeros() = 0;             // 11
  virtual int number_of_dimensions() = 0;         // 12
  virtual array_ref* get_dimensions() = 0;        // 13: 1-by-N uint32
  virtual int number_of_fields() = 0;             // 14
  virtual char_buffer* get_field_name(int field) = 0;  // 15: field numbers from 1
  virtual bool is_empty() = 0;                    // 16
  virtual bool is_sparse() = 0;                   // 17
  virtual bool is_numeric() = 0;                  // 18
  virtual bool is_complex() = 0;                  // 19
  virtual int make_complex() = 0;                 // 20
  virtual bool equals(array_ref* other) = 0;      // 21
  virtual int compare_to(array_ref* other) = 0;   // 22: order of the serialized forms
  virtual int hash_code() = 0;                    // 23
  virtual char_buffer* to_string() = 0;           // 24
  virtual array_ref* row_index() = 0;             // 25: sparse only
  virtual array_ref* column_index() = 0;          // 26: sparse only
  virtual array_ref* get_int(int count, const int* subscripts) = 0;              // 27
  virtual array_ref* get_const_char(const char* field, int count,
                                    const int* subscripts) = 0;                  // 28
  virtual array_ref* getV_int(int count, va_list subscripts) = 0;                // 29
  virtual array_ref* getV_const_char(const char* field, int count,
                                     va_list subscripts) = 0;                    // 30
  virtual int set(array_ref* value) = 0;          // 31
  virtual array_ref* real() = 0;                  // 32
  virtual array_ref* imag() = 0;                  // 33
  virtual int get_numeric_kxDouble(kxDouble* buffer, int count) = 0;   // 34
  virtual int get_numeric_kxSingle(kxSingle* buffer, int count) = 0;   // 35
  virtual int get_numeric_kxInt8(kxInt8* buffer, int count) = 0;       // 36
  virtual int get_numeric_kxUint8(kxUint8* buffer, int count) = 0;     // 37
  virtual int get_numeric_kxInt16(kxInt16* buffer, int count) = 0;     // 38
  virtual int get_numeric_kxUint16(kxUint16* buffer, int count) = 0;   // 39
  virtual int get_numeric_kxInt32(kxInt32* buffer, int count) = 0;     // 40
  virtual int get_numeric_kxUint32(kxUint32* buffer, int count) = 0;   // 41
  virtual int get_numeric_kxInt64(kxInt64* buffer, int count) = 0;     // 42
  virtual int get_numeric_kxUint64(kxUint64* buffer, int count) = 0;   // 43
  virtual int get_char(kxChar* buffer, int count) = 0;                 // 44
  virtual int get_logical(kxLogical* buffer, int count) = 0;           // 45
  virtual int set_numeric_kxDouble(const kxDouble* buffer, int count) = 0;   // 46
  virtual int set_numeric_kxSingle(const kxSingle* buffer, int count) = 0;   // 47
  virtual int set_numeric_kxInt8(const kxInt8* buffer, int count) = 0;       // 48
  virtual int set_numeric_kxUint8(const kxUint8* buffer, int count) = 0;     // 49
  virtual int set_numeric_kxInt16(const kxInt16* buffer, int count) = 0;     // 50
  virtual int set_numeric_kxUint16(const kxUint16* buffer, int count) = 0;   // 51
  virtual int set_numeric_kxInt32(const kxInt32* buffer, int count) = 0;     // 52
  virtual int set_numeric_kxUint32(const kxUint32* buffer, int count) = 0;   // 53
  virtual int set_numeric_kxInt64(const kxInt64* buffer, int count) = 0;     // 54
  virtual int set_numeric_kxUint64(const kxUint64* buffer, int count) = 0;   // 55
  virtual int set_char(const kxChar* buffer, int count) = 0;                 // 56
  virtual int set_logical(const kxLogical* buffer, int count) = 0;           // 57
};
