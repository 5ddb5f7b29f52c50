// Korel errors as the engine sees them, and the array library's failure reporting.
#pragma once

#include <cstdarg>
#include <stdexcept>
#include <string>

#include "korel/export.h"

namespace kx {

// A Korel error raised by native code (kxErrMsgIdAndTxt) or by the engine. It unwinds to
// the engine's call boundary, which records it; what() is the message.
class KOREL_EXPORT KorelError : public std::runtime_error {
 public:
  KorelError(std::string identifier, const std::string& message);
  const std::string& identifier() const noexcept { return identifier_; }

 private:
  std::string identifier_;
};

// printf-style formatting into a string of whatever length it needs.
std::string format_text(const char* format, ...) __attribute__((format(printf, 1, 2)));
std::string vformat_text(const char* format, va_list args);

// Records the calling thread's last error without raising it.
KOREL_EXPORT void record_error(const std::string& identifier, const std::string& message);

// Records the error and raises it.
[[noreturn]] KOREL_EXPORT void raise(const std::string& identifier, const std::string& message);

// Runs the body of a C entry point: a failure inside becomes `failure` as the result,
// with the reason recorded (KorelError records itself when raised).
template <class Body, class Result>
Result guarded(Body&& body, Result failure) noexcept {
  try {
    return body();
  } catch (const KorelError&) {
  } catch (const std::bad_alloc&) {
    record_error("Korel:kx:OutOfMemory", "Out of memory: the array could not be allocated.");
  } catch (const std::exception& e) {
    record_error("Korel:kx:Internal", e.what());
  } catch (...) {
    record_error("Korel:kx:Internal", "Unexpected error in the array library.");
  }
  return failure;
}

}  // namespace kx
