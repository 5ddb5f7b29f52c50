// Moving arrays between array objects, native arrays, serialized bytes and text, and
// the creators of the interface's other objects.
#include "kclkrt/array/array_buffer.h"
#include "kclkrt/array/array_factories.h"
#include "kclkrt/array/array_object.h"
#include "kclkrt/array/char_buffer.h"
#include "kclkrt/array/construction.h"
#include "korel/array_api.h"

using namespace kcl;

int kclDeserializeArray(array_ref** out, array_ref* bytes) {
  return create_into(out, [&] {
    array_data_ref& data = data_part(*require_input(bytes));
    int cls = data.class_id();
    if (cls != kxUINT8_CLASS) throw type_mismatch(kxUINT8_CLASS, cls);
    ArrayAccess native = data.native_access();
    kxArray* array = kxDeserialize(kxGetData(native.get()), kxGetNumberOfElements(native.get()));
    if (!array) {
      // The array library says what is wrong with the bytes.
      const char* reason = nullptr;
      kxGetLastErrIdAndMsg(nullptr, &reason);
      throw ArrayConvertException(reason && *reason ? reason : "Array conversion error");
    }
    return wrap_native(array);
  });
}

int kclkxArray2ArrayHandle(array_ref** out, kxArray* array) {
  return create_into(out, [&] { return wrap_native(require_input(array)); });
}

int kclArrayHandle2kxArray(kxArray** out, array_ref* array) {
  return create_into(out, [&] {
    kxArray* native = data_part(*require_input(array)).native_access().take_or_share();
    array->release();  // the call consumes the caller's reference
    return native;
  });
}

int kclCreateCharBuffer(char_buffer** out, const char* text) {
  return create_into(out, [&] { return static_cast<char_buffer*>(new CharBuffer(text)); });
}

int kclcppGetArrayBuffer(array_buffer** out, int capacity) {
  return create_into(out, [&] { return static_cast<array_buffer*>(new ArrayBuffer(capacity)); });
}

int kclcppArrayToString(array_ref* array, char** out) {
  return create_into(out, [&] {
    ArrayAccess native = data_part(*require_input(array)).native_access();
    char* text = kxArrayToDisplayText(native.get(), nullptr);
    if (!text) throw MemoryException("Memory allocation error");
    return text;
  });
}

void kclcppFreeString(char* text) { kxFree(text); }
