#include "krt/array/value.h"

#include <cstring>
#include <string>

#include "kx/error.h"

namespace krt {

Value::Value(kxArray* a) noexcept {
  if (!a) return;
  kxSetArrayScope(a, kxPERSISTENT_SCOPE);
  bits_.a = a;
  kind_ = kBoxed;
}

void Value::destroy() noexcept { kxDestroyArray(bits_.a); }

kxClassID Value::class_id() const noexcept {
  if (kind_ == kBoxed) return kxGetClassID(bits_.a);
  return static_cast<kxClassID>(kind_);
}

bool Value::real_scalar(double& out) const noexcept {
  switch (kind_) {
    case kNone: return false;
    case kBoxed: {
      const kxArray* a = bits_.a;
      const bool value_class = kxIsNumeric(a) || kxIsLogical(a) || kxIsChar(a);
      if (!value_class || kxIsSparse(a) || kxIsComplex(a) || kxGetNumberOfDimensions(a) != 2 ||
          kxGetM(a) != 1 || kxGetN(a) != 1)
        return false;
      out = kxGetScalar(a);
      return true;
    }
    case kxDOUBLE_CLASS: out = bits_.d; return true;
    case kxSINGLE_CLASS: out = bits_.f; return true;
    case kxLOGICAL_CLASS:
    case kxCHAR_CLASS:
    case kxUINT8_CLASS:
    case kxUINT16_CLASS:
    case kxUINT32_CLASS:
    case kxUINT64_CLASS: out = static_cast<double>(bits_.u); return true;
    default: out = static_cast<double>(bits_.i); return true;
  }
}

void Value::box() const {
  const auto cls = static_cast<kxClassID>(kind_);
  static constexpr kxSize kOneByOne[] = {1, 1};
  kxArray* a = cls == kxLOGICAL_CLASS ? kxCreateLogicalMatrix(1, 1)
               : cls == kxCHAR_CLASS  ? kxCreateCharArray(2, kOneByOne)
                                      : kxCreateNumericMatrix(1, 1, cls, kxREAL);
  if (!a) (void)checked(nullptr);
  void* data = kxGetData(a);
  switch (cls) {
    case kxDOUBLE_CLASS: std::memcpy(data, &bits_.d, sizeof(double)); break;
    case kxSINGLE_CLASS: std::memcpy(data, &bits_.f, sizeof(float)); break;
    case kxLOGICAL_CLASS: *static_cast<bool*>(data) = bits_.u != 0; break;
    case kxCHAR_CLASS: *static_cast<kxChar*>(data) = static_cast<kxChar>(bits_.u); break;
    default:
      // The integer's low bytes hold its value in the class's width (little-endian).
      std::memcpy(data, &bits_.u, kxGetElementSize(a));
      break;
  }
  kxSetArrayScope(a, kxPERSISTENT_SCOPE);
  bits_.a = a;
  kind_ = kBoxed;
}

kxArray* Value::get() const {
  if (kind_ == kNone) return nullptr;
  if (kind_ != kBoxed) box();
  return bits_.a;
}

kxArray* Value::release() {
  kxArray* a = get();
  kind_ = kNone;
  return a;
}

Value Value::share() const {
  if (kind_ == kBoxed) return share(bits_.a);
  Value copy;
  copy.bits_ = bits_;
  copy.kind_ = kind_;
  return copy;
}

Value Value::share(const kxArray* a) {
  if (!a) return Value();
  return checked(kxCreateSharedDataCopy(a));
}

bool storage_is_shared(const kxArray* a) noexcept { return kxIsDataShared(a); }

void Value::make_writable() {
  if (kind_ != kBoxed || !storage_is_shared(bits_.a)) return;
  Value own = checked(kxDuplicateArray(bits_.a));
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

Value make_string(std::string_view utf8) {
  return checked(kxCreateStringFromNChars(utf8.data(), utf8.size()));
}
Value make_empty_double() { return checked(kxCreateDoubleMatrix(0, 0, kxREAL)); }

}  // namespace krt
