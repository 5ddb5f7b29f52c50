// The evaluator's owning handle to a native array, with copy-on-write.
#pragma once

#include <string_view>
#include <utility>

#include "korel/kx.h"

namespace krt {

// Owns one kxArray. Values the engine keeps are persistent: a native call's temporary
// scope never sweeps them. Copies share storage (kxCreateSharedDataCopy); whoever is
// about to write calls make_writable() first, so the other holders never see the write.
class Value {
 public:
  Value() noexcept = default;
  // Takes ownership of `a` (which may be null) and makes it persistent.
  explicit Value(kxArray* a) noexcept;
  ~Value() { reset(); }
  Value(Value&& other) noexcept : array_(std::exchange(other.array_, nullptr)) {}
  Value& operator=(Value&& other) noexcept;
  Value(const Value&) = delete;
  Value& operator=(const Value&) = delete;

  kxArray* get() const noexcept { return array_; }
  kxArray* operator->() const noexcept { return array_; }
  explicit operator bool() const noexcept { return array_ != nullptr; }
  // Gives up ownership; the caller owns the array.
  kxArray* release() noexcept { return std::exchange(array_, nullptr); }
  void reset() noexcept;

  // A new holder of the same data.
  Value share() const;
  static Value share(const kxArray* a);
  // Gives this holder its own storage if anyone else shares it, so a write through it
  // is seen by nobody else. A shared container is copied with everything in it.
  void make_writable();

 private:
  kxArray* array_ = nullptr;
};

// Takes a result of the array library: raises its recorded error when `a` is null.
Value checked(kxArray* a);

// Common constructors; each raises on failure.
Value make_double(double v);
Value make_logical(bool v);
Value make_string(std::string_view utf8);
Value make_empty_double();  // 0-by-0

// Whether a shared-data copy or another holder shares `a`'s storage.
bool storage_is_shared(const kxArray* a) noexcept;

}  // namespace krt
