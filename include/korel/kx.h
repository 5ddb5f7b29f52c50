/*
 * The Korel array library: the native array that Korel values are made of, for the
 * engine and for authors of native functions. Usable from C and C++.
 *
 * Storage. Elements are column-major: a linear position runs fastest over the first
 * dimension. Every array keeps at least two dimensions; trailing dimensions of 1 beyond
 * the second are dropped. A complex numeric array keeps its real and imaginary parts in
 * two blocks of equal length. Char elements are 16-bit code units; logical elements are
 * one byte holding 0 or 1. A sparse array (double or logical, always two-dimensional) is
 * stored by compressed columns: row indices (ir), column starts (jc, n + 1 of them) and
 * values, with room for nzmax values.
 *
 * Ownership. Every creator returns an array owned by the caller, to be destroyed with
 * kxDestroyArray. An array stored into a cell or a struct field belongs to its
 * container from then on; kxGetCell and kxGetField lend the contained array.
 *
 * Errors. Calls report bad arguments, sizes that cannot be held and malformed input by
 * returning NULL (or 0, or false, as documented) and recording an identifier and a
 * message that kxGetLastErrIdAndMsg returns. Only kxErrMsgIdAndTxt raises.
 *
 * Threads. The library is not thread-safe; the engine serialises its use. Destroying
 * arrays on different threads is safe.
 */
#ifndef KOREL_KX_H
#define KOREL_KX_H

#include <stddef.h>
#include <stdint.h>

#ifndef __cplusplus
#include <stdbool.h>
#endif

#include "korel/export.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct kxArray_tag kxArray;

/* Class identifiers. 5 is reserved and has no name of its own. */
typedef enum {
  kxUNKNOWN_CLASS = 0,
  kxCELL_CLASS = 1,
  kxSTRUCT_CLASS = 2,
  kxLOGICAL_CLASS = 3,
  kxCHAR_CLASS = 4,
  kxVOID_CLASS = 5,
  kxDOUBLE_CLASS = 6,
  kxSINGLE_CLASS = 7,
  kxINT8_CLASS = 8,
  kxUINT8_CLASS = 9,
  kxINT16_CLASS = 10,
  kxUINT16_CLASS = 11,
  kxINT32_CLASS = 12,
  kxUINT32_CLASS = 13,
  kxINT64_CLASS = 14,
  kxUINT64_CLASS = 15,
  kxFUNCTION_CLASS = 16,
  kxOPAQUE_CLASS = 17,
  kxOBJECT_CLASS = 18
} kxClassID;

typedef enum { kxREAL = 0, kxCOMPLEX = 1 } kxComplexity;

typedef size_t kxSize;  /* dimensions and element counts */
typedef size_t kxIndex; /* sparse row indices and column starts */

/* Element types of the classes 6 to 15, char and logical. */
typedef double kxDouble;
typedef float kxSingle;
typedef int8_t kxInt8;
typedef uint8_t kxUint8;
typedef int16_t kxInt16;
typedef uint16_t kxUint16;
typedef int32_t kxInt32;
typedef uint32_t kxUint32;
typedef int64_t kxInt64;
typedef uint64_t kxUint64;
typedef uint16_t kxChar;
typedef uint8_t kxLogical;

/* A native Korel function: fills up to nlhs outputs from nrhs inputs. */
typedef void (*kxNativeFunction)(int nlhs, kxArray* plhs[], int nrhs, kxArray* prhs[]);

/* The entry point that a native function file (<name>.klf, a shared object) defines.
 * Declared here so that it is exported whatever visibility the file is compiled with. */
KOREL_EXPORT void klfFunction(int nlhs, kxArray* plhs[], int nrhs, kxArray* prhs[]);

/* ---- Creation and destruction ------------------------------------------------- */

/* Numeric arrays (classes 6 to 15), zero-filled; complex ones get a zeroed imaginary
 * block too. */
KOREL_EXPORT kxArray* kxCreateNumericMatrix(kxSize m, kxSize n, kxClassID cls, kxComplexity cx);
KOREL_EXPORT kxArray* kxCreateNumericArray(kxSize ndim, const kxSize* dims, kxClassID cls,
                                           kxComplexity cx);
KOREL_EXPORT kxArray* kxCreateDoubleMatrix(kxSize m, kxSize n, kxComplexity cx);
KOREL_EXPORT kxArray* kxCreateDoubleScalar(double value);

KOREL_EXPORT kxArray* kxCreateLogicalMatrix(kxSize m, kxSize n);
KOREL_EXPORT kxArray* kxCreateLogicalArray(kxSize ndim, const kxSize* dims);
/* Any non-zero value is stored as 1. */
KOREL_EXPORT kxArray* kxCreateLogicalScalar(kxLogical value);

/* Char arrays, zero-filled. */
KOREL_EXPORT kxArray* kxCreateCharMatrix(kxSize m, kxSize n);
KOREL_EXPORT kxArray* kxCreateCharArray(kxSize ndim, const kxSize* dims);
/* 1-by-N text from UTF-8. Bytes that are not valid UTF-8 are kept as the code units
 * 0xDC80 to 0xDCFF, which kxGetString turns back into the same bytes, so any byte string
 * survives the round trip. A null text gives NULL. */
KOREL_EXPORT kxArray* kxCreateString(const char* text);
KOREL_EXPORT kxArray* kxCreateStringFromNChars(const char* bytes, size_t count);
/* One row per string, shorter rows padded with blanks on the right. */
KOREL_EXPORT kxArray* kxCreateCharMatrixFromStrings(kxSize count, const char** strings);

/* Cell arrays; every element starts empty (NULL). */
KOREL_EXPORT kxArray* kxCreateCellMatrix(kxSize m, kxSize n);
KOREL_EXPORT kxArray* kxCreateCellArray(kxSize ndim, const kxSize* dims);

/* Struct arrays with the given fields (names unique, non-empty); values start empty. */
KOREL_EXPORT kxArray* kxCreateStructMatrix(kxSize m, kxSize n, int nfields, const char** names);
KOREL_EXPORT kxArray* kxCreateStructArray(kxSize ndim, const kxSize* dims, int nfields,
                                          const char** names);

/* Objects of a named class: struct arrays that carry their class name. */
KOREL_EXPORT kxArray* kxCreateObjectArray(const char* class_name, kxSize ndim, const kxSize* dims,
                                          int nfields, const char** names);

/* Sparse m-by-n arrays with room for nzmax values (at least 1) and no value stored. */
KOREL_EXPORT kxArray* kxCreateSparse(kxSize m, kxSize n, kxSize nzmax, kxComplexity cx);
KOREL_EXPORT kxArray* kxCreateSparseLogicalMatrix(kxSize m, kxSize n, kxSize nzmax);
/* A sparse double (cls 6) or logical (cls 3) m-by-n array from `count` triples with
 * zero-based rows and columns. Values at the same place add up (logical: any non-zero
 * gives 1); places whose value ends up zero are not stored. `imag` may be NULL, and
 * must be for logical. Room is kept for max(nzmax, stored values, 1) values. A row or
 * column outside the array gives NULL. */
KOREL_EXPORT kxArray* kxCreateSparseFromTriples(kxClassID cls, kxSize m, kxSize n, kxSize count,
                                                const kxIndex* rows, const kxIndex* cols,
                                                const void* real, const void* imag,
                                                kxSize nzmax);

/* A 1-by-1 handle to the function of that name. */
KOREL_EXPORT kxArray* kxCreateFunctionHandle(const char* name);
/* A 1-by-1 handle that calls `fn` directly; `name` is what it displays as. */
KOREL_EXPORT kxArray* kxCreateNativeFunctionHandle(const char* name, kxNativeFunction fn);

/* A 1-by-1 opaque value: a type name and a copy of `size` bytes. */
KOREL_EXPORT kxArray* kxCreateOpaque(const char* type_name, const void* bytes, size_t size);

/* A 0-by-0 array of any class id 0 to 18 (structs and objects with no fields). */
KOREL_EXPORT kxArray* kxCreateEmptyArray(kxClassID cls);

/* Destroys an array and everything it contains. NULL is ignored; so is an array that
 * belongs to a container (the container destroys it). */
KOREL_EXPORT void kxDestroyArray(kxArray* a);

/* A deep copy: nothing is shared with the original. */
KOREL_EXPORT kxArray* kxDuplicateArray(const kxArray* a);
/* A new array over the same data: a write through either one is seen through the
 * other. The two have their own dimensions (see kxSetDimensions) and lifetimes; the data
 * lives until the last of them is destroyed. */
KOREL_EXPORT kxArray* kxCreateSharedDataCopy(const kxArray* a);
/* Whether another array shares `a`'s data (a shared data copy made of it, or it of
 * another, still alive). A writer that wants nobody else to see its write duplicates a
 * shared array first. */
KOREL_EXPORT bool kxIsDataShared(const kxArray* a);

/* ---- Class, shape, predicates ------------------------------------------------- */

KOREL_EXPORT kxClassID kxGetClassID(const kxArray* a);
/* "double", "cell", ...; "unknown" for 0, 5 and ids past 18. */
KOREL_EXPORT const char* kxGetClassName(const kxArray* a);
KOREL_EXPORT const char* kxGetClassNameFromID(int cls);

KOREL_EXPORT kxSize kxGetNumberOfDimensions(const kxArray* a);
KOREL_EXPORT const kxSize* kxGetDimensions(const kxArray* a);
/* Reshapes; the number of elements must stay the same (sparse: two dimensions).
 * Returns 1 on success, 0 otherwise. */
KOREL_EXPORT int kxSetDimensions(kxArray* a, kxSize ndim, const kxSize* dims);
KOREL_EXPORT kxSize kxGetM(const kxArray* a);
/* The product of every dimension after the first. */
KOREL_EXPORT kxSize kxGetN(const kxArray* a);
KOREL_EXPORT kxSize kxGetNumberOfElements(const kxArray* a);
/* Bytes per element: 8 for double, 2 for char, the pointer size for cells, structs and
 * objects, 0 for classes without elements of their own (function, opaque, unknown). */
KOREL_EXPORT size_t kxGetElementSize(const kxArray* a);

KOREL_EXPORT bool kxIsEmpty(const kxArray* a);
KOREL_EXPORT bool kxIsScalar(const kxArray* a);
KOREL_EXPORT bool kxIsSparse(const kxArray* a);
KOREL_EXPORT bool kxIsNumeric(const kxArray* a);
KOREL_EXPORT bool kxIsComplex(const kxArray* a);
KOREL_EXPORT bool kxIsDouble(const kxArray* a);
KOREL_EXPORT bool kxIsChar(const kxArray* a);
KOREL_EXPORT bool kxIsLogical(const kxArray* a);
KOREL_EXPORT bool kxIsCell(const kxArray* a);
KOREL_EXPORT bool kxIsStruct(const kxArray* a);
KOREL_EXPORT bool kxIsFunctionHandle(const kxArray* a);
KOREL_EXPORT bool kxIsOpaque(const kxArray* a);
KOREL_EXPORT bool kxIsObject(const kxArray* a);

/* Gives a numeric array a zeroed imaginary block; one already complex stays as it is.
 * Returns 1 on success, 0 for a class that cannot be complex. */
KOREL_EXPORT int kxMakeComplex(kxArray* a);

/* ---- Data --------------------------------------------------------------------- */

/* The real (or only) block of a numeric, char or logical array; sparse: the values.
 * NULL for other classes and for arrays with no elements. */
KOREL_EXPORT void* kxGetData(const kxArray* a);
/* The imaginary block; NULL for a real array. */
KOREL_EXPORT void* kxGetImagData(const kxArray* a);
/* The blocks of a double array, NULL for other classes. */
KOREL_EXPORT double* kxGetPr(const kxArray* a);
KOREL_EXPORT double* kxGetPi(const kxArray* a);
KOREL_EXPORT kxChar* kxGetChars(const kxArray* a);
KOREL_EXPORT kxLogical* kxGetLogicals(const kxArray* a);
/* The first real element converted to double; 0 when there is none. */
KOREL_EXPORT double kxGetScalar(const kxArray* a);

/* Sparse blocks: nzmax row indices, n + 1 column starts; jc[n] values are stored. */
KOREL_EXPORT kxIndex* kxGetIr(const kxArray* a);
KOREL_EXPORT kxIndex* kxGetJc(const kxArray* a);
KOREL_EXPORT kxSize kxGetNzmax(const kxArray* a);
/* Stored values of a sparse array; the number of elements otherwise. */
KOREL_EXPORT kxSize kxGetNumberOfNonzeros(const kxArray* a);

/* Text of a char array as UTF-8 in `buf` (NUL-terminated, at most buflen bytes with the
 * NUL). Returns 0 when it all fit, 1 when it was cut short, for a non-char array or a
 * missing buffer (then buf holds what fit, or is untouched). */
KOREL_EXPORT int kxGetString(const kxArray* a, char* buf, size_t buflen);
/* The text as a new UTF-8 string to be freed with kxFree; NULL for a non-char array. */
KOREL_EXPORT char* kxArrayToString(const kxArray* a);
KOREL_EXPORT void kxFree(void* p);

/* ---- Cells and fields --------------------------------------------------------- */

/* Lends the element at a zero-based linear position; NULL when empty or out of range. */
KOREL_EXPORT kxArray* kxGetCell(const kxArray* a, kxSize index);
/* Stores `value` (which the container takes over; NULL empties the place) and destroys
 * the element it replaces. Returns 1, or 0 for a non-cell, a position out of range, or a
 * value that already belongs to a container. */
KOREL_EXPORT int kxSetCell(kxArray* a, kxSize index, kxArray* value);

KOREL_EXPORT int kxGetNumberOfFields(const kxArray* a);
/* Zero-based field numbers; -1 / NULL when absent. */
KOREL_EXPORT int kxGetFieldNumber(const kxArray* a, const char* name);
KOREL_EXPORT const char* kxGetFieldNameByNumber(const kxArray* a, int field);
KOREL_EXPORT kxArray* kxGetField(const kxArray* a, kxSize index, const char* name);
KOREL_EXPORT kxArray* kxGetFieldByNumber(const kxArray* a, kxSize index, int field);
/* As kxSetCell, for the field of the element at `index`. */
KOREL_EXPORT int kxSetField(kxArray* a, kxSize index, const char* name, kxArray* value);
KOREL_EXPORT int kxSetFieldByNumber(kxArray* a, kxSize index, int field, kxArray* value);
/* Adds a field (empty in every element) and returns its number; an existing field
 * returns its number unchanged; -1 for a bad name or a non-struct. */
KOREL_EXPORT int kxAddField(kxArray* a, const char* name);
/* Removes a field and destroys its values. Returns 1, or 0 when there is no such field. */
KOREL_EXPORT int kxRemoveField(kxArray* a, int field);

/* ---- Function handles, opaque values, objects --------------------------------- */

/* The function's name; NULL for other classes or an empty handle array. */
KOREL_EXPORT const char* kxGetFunctionName(const kxArray* a);
/* The native function a handle calls directly; NULL for a handle by name. */
KOREL_EXPORT kxNativeFunction kxGetNativeFunction(const kxArray* a);
KOREL_EXPORT const char* kxGetOpaqueTypeName(const kxArray* a);
/* The opaque bytes and their count (through `size`, which may be NULL). */
KOREL_EXPORT const void* kxGetOpaqueData(const kxArray* a, size_t* size);
KOREL_EXPORT const char* kxGetObjectClassName(const kxArray* a);

/* ---- Conversion, comparison, serialization, display --------------------------- */

/* Converts `count` elements from `src` (class src_cls) into `dst` (class dst_cls), for
 * the classes 3, 4 and 6 to 15. Rules:
 *   - integer targets round to the nearest integer, halves away from zero
 *     (2.5 -> 3, -2.5 -> -3), and saturate at the target's limits
 *     (300 -> 127 for int8, -1 -> 0 for unsigned targets, Inf -> the maximum);
 *   - NaN becomes 0 in every integer, char and logical target;
 *   - logical targets take 1 for any other non-zero value, 0 for zero;
 *   - char is an unsigned 16-bit integer target (0 to 65535) and a plain number source;
 *   - floating targets take the nearest representable value (single overflows to Inf);
 *   - 64-bit integers convert exactly between each other within range and saturate
 *     outside it.
 * The two buffers must not overlap. Returns 1, or 0 (nothing written) for a class
 * outside that set or a missing buffer with a non-zero count. */
KOREL_EXPORT int kxConvertBufferToType(void* dst, kxClassID dst_cls, const void* src,
                                       kxClassID src_cls, size_t count);

/* Deep equality: class, dimensions, sparsity, complexity and data; cells, structs
 * (fields in order) and objects recursively. NaN equals NaN and 0 equals -0, so an
 * array is always identical to its duplicate. Two NULLs are identical. */
KOREL_EXPORT bool kxIsIdentical(const kxArray* a, const kxArray* b);

/* The array as a 1-by-N uint8 array in a versioned little-endian form; NULL (with the
 * reason recorded) for what cannot be serialized: a handle to a native function. */
KOREL_EXPORT kxArray* kxSerialize(const kxArray* a);
/* The array that `size` bytes of serialized form describe; NULL with the reason
 * recorded when the bytes are not such a form. Never reads past `size` bytes. */
KOREL_EXPORT kxArray* kxDeserialize(const void* bytes, size_t size);

/* The display text of an array ("x = 3\n" style when `name` is given, the value alone
 * when it is NULL), to be freed with kxFree. */
KOREL_EXPORT char* kxArrayToDisplayText(const kxArray* a, const char* name);

/* ---- Errors and scope --------------------------------------------------------- */

/* Raises a Korel error with an identifier ("component:reason", may be NULL or empty)
 * and a printf-style message. It does not return: control goes to the engine's call
 * boundary, which records the error. */
KOREL_EXPORT void kxErrMsgIdAndTxt(const char* id, const char* format, ...)
    __attribute__((noreturn, format(printf, 2, 3)));

/* The identifier and message of the calling thread's last error (raised or recorded);
 * empty texts when there is none. Either pointer may be NULL. Returns 1 when there is
 * a last error, 0 otherwise. The texts stay valid until the next error. */
KOREL_EXPORT int kxGetLastErrIdAndMsg(const char** id, const char** msg);

/* A process-wide mode word, 0 by default, that a caller sets for the length of a call
 * to tell native code nested inside it that errors go back to that caller. The engine
 * itself never prints the errors it catches, whatever the mode: it records them in the
 * instance. Set returns the old mode. */
KOREL_EXPORT int kxGetErrorMode(void);
KOREL_EXPORT int kxSetErrorMode(int mode);

/* Scope of an array. Arrays made while the engine runs a native function are temporary
 * and are destroyed when the call returns unless they are returned, stored into a
 * container or made persistent; arrays made elsewhere are persistent. Making an array
 * temporary puts it in the innermost running call's scope, and does nothing outside. */
enum { kxPERSISTENT_SCOPE = 0, kxTEMPORARY_SCOPE = 1 };
KOREL_EXPORT void kxSetArrayScope(kxArray* a, int scope);
KOREL_EXPORT int kxGetArrayScope(const kxArray* a);

#ifdef __cplusplus
}
#endif

#endif
