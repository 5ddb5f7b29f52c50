// The evaluator's value: a real scalar held inline, or an owning handle to a native array
// with copy-on-write.
#pragma once

#include <cstdint>
#include <string_view>
#include <utility>

#include "korel/kx.h"

namespace krt {

// A value is empty, an inline real scalar of a value class (double, single, logical,
// char, the integer classes), or a native array it owns. Scalars are what loops compute
// on, so they live inside the value and cost no allocation; get() turns an inline scalar
// into an array the first time array code needs one (the value keeps that array).
//
// Arrays the engine keeps are persistent: a native call's temporary scope never sweeps
// them. Copies share storage (kxCreateSharedDataCopy); whoever is about to write calls
// make_writable() first, so the other holders never see the write.
//
// Values are not shared between threads: the engine runs one Korel call at a time.
class Value {
 public:
  Value() noexcept = default;
  // Takes ownership of `a` (which may be null) and makes it persistent.
  explicit Value(kxArray* a) noexcept;
  ~Value() {
    if (kind_ == kBoxed) destroy();
  }
  Value(Value&& other) noexcept : bits_(other.bits_), kind_(std::exchange(other.kind_, kNone)) {}
  Value& operator=(Value&& other) noexcept {
    if (this != &other) {
      if (kind_ == kBoxed) destroy();
      bits_ = other.bits_;
      kind_ = std::exchange(other.kind_, kNone);
    }
    return *this;
  }
  Value(const Value&) = delete;
  Value& operator=(const Value&) = delete;

  // ---- Inline scalars ----
  static Value number(double v) noexcept { return Value(kxDOUBLE_CLASS, Bits{.d = v}); }
  static Value boolean(bool v) noexcept { return Value(kxLOGICAL_CLASS, Bits{.u = v ? 1u : 0u}); }
  static Value character(uint16_t c) noexcept { return Value(kxCHAR_CLASS, Bits{.u = c}); }
  static Value single(float v) noexcept {
    Bits b{.u = 0};
    b.f = v;
    return Value(kxSINGLE_CLASS, b);
  }
  // An integer scalar of class `cls` (int8 to uint64); `v` must be in the class's range.
  static Value integer(kxClassID cls, int64_t v) noexcept { return Value(cls, Bits{.i = v}); }
  static Value unsigned_integer(kxClassID cls, uint64_t v) noexcept {
    return Value(cls, Bits{.u = v});
  }

  bool is_inline() const noexcept { return kind_ != kNone && kind_ != kBoxed; }
  // The class of an inline scalar.
  kxClassID inline_class() const noexcept { return static_cast<kxClassID>(kind_); }
  // An inline real double.
  bool is_number() const noexcept { return kind_ == kxDOUBLE_CLASS; }
  double number_value() const noexcept { return bits_.d; }
  // The payload of an inline scalar by its class.
  bool boolean_value() const noexcept { return bits_.u != 0; }
  float single_value() const noexcept { return bits_.f; }
  int64_t signed_value() const noexcept { return bits_.i; }
  uint64_t unsigned_value() const noexcept { return bits_.u; }

  // The class of the value, inline or not (kxUNKNOWN_CLASS when empty).
  kxClassID class_id() const noexcept;
  // A real scalar of a numeric, logical or char class, inline or a real dense 1x1
  // array, as a double (64-bit integers may round).
  bool real_scalar(double& out) const noexcept;

  // ---- The array ----
  // The native array; an inline scalar becomes one (and stays one). Null when empty.
  kxArray* get() const;
  kxArray* operator->() const { return get(); }
  explicit operator bool() const noexcept { return kind_ != kNone; }
  // Gives up ownership; the caller owns the array.
  kxArray* release();
  void reset() noexcept {
    if (kind_ == kBoxed) destroy();
    kind_ = kNone;
  }
  // Whether an array is held (rather than an inline scalar or nothing).
  bool is_boxed() const noexcept { return kind_ == kBoxed; }
  // The array held, without boxing; null for an inline scalar.
  kxArray* boxed() const noexcept { return kind_ == kBoxed ? bits_.a : nullptr; }

  // A new holder of the same data.
  Value share() const;
  static Value share(const kxArray* a);
  // Gives this holder its own storage if anyone else shares it, so a write through it
  // is seen by nobody else. A shared container is copied with everything in it.
  void make_writable();

 private:
  union Bits {
    double d;
    float f;
    int64_t i;
    uint64_t u;
    kxArray* a;
  };
  static constexpr uint8_t kNone = kxUNKNOWN_CLASS;
  static constexpr uint8_t kBoxed = 0xff;

  Value(kxClassID cls, Bits bits) noexcept : bits_(bits), kind_(static_cast<uint8_t>(cls)) {}
  void destroy() noexcept;
  void box() const;

  mutable Bits bits_{.u = 0};
  mutable uint8_t kind_ = kNone;
};

// Takes a result of the array library: raises its recorded error when `a` is null.
Value checked(kxArray* a);

// Common constructors; each raises on failure.
inline Value make_double(double v) { return Value::number(v); }
inline Value make_logical(bool v) { return Value::boolean(v); }
Value make_string(std::string_view utf8);
Value make_empty_double();  // 0-by-0

// Whether a shared-data copy or another holder shares `a`'s storage.
bool storage_is_shared(const kxArray* a) noexcept;

}  // namespace krt
