#include "krt/array/value.h"

#include <string>

#include "kx/array.h"
#include "kx/error.h"

namespace krt {

Value::Value(kxArray* a) noexcept : array_(a) {
  if (a) kxSetArrayScope(a, kxPERSISTENT_SCOPE);
}

Value& Value::operator=(Value&& other) noexcept {
  if (this != &other) {
    reset();
    array_ = std::exchange(other.array_, nullptr);
  }
  return *this;
}

void Value::reset() noexcept {
  if (array_) kxDestroyArray(std::exchange(array_, nullptr));
}

Value Value::share() const { return share(array_); }

Value Value::share(const kxArray* a) {
  if (!a) return Value();
  return checked(kxCreateSharedDataCopy(a));
}

bool storage_is_shared(const kxArray* a) noexcept { return kxIsDataShared(a); }

void Value::make_writable() {
  if (!storage_is_shared(array_)) return;
  Value own = checked(kxDuplicateArray(array_));
  *this = std::move(own);
}

Value checked(kxArray* a) {
  if (a) return Value(a);
  const char* id = nullptr;
  const char* message = nullptr;
  kxGetLastErrIdAndMsg(&id, &message);
  throw kx::KorelError(id && *id ? id : "Korel:kx:OutOfMemory",
                       message && *message ? message : "Out of memory.");
}

Value make_double(double v) { return checked(kxCreateDoubleScalar(v)); }
Value make_logical(bool v) { return checked(kxCreateLogicalScalar(v)); }
Value make_string(std::string_view utf8) {
  return checked(kxCreateStringFromNChars(utf8.data(), utf8.size()));
}
Value make_empty_double() { return checked(kxCreateDoubleMatrix(0, 0, kxREAL)); }

}  // namespace krt
