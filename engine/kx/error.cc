#include "kx/error.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <vector>

#include "korel/kx.h"

namespace kx {
namespace {

struct LastError {
  bool set = false;
  std::string identifier;
  std::string message;
};

thread_local LastError last_error;
std::atomic<int> error_mode{0};

}  // namespace

std::string vformat_text(const char* format, va_list args) {
  if (!format) return {};
  va_list measure;
  va_copy(measure, args);
  int length = std::vsnprintf(nullptr, 0, format, measure);
  va_end(measure);
  if (length <= 0) return {};
  std::vector<char> text(static_cast<std::size_t>(length) + 1);
  std::vsnprintf(text.data(), text.size(), format, args);
  return std::string(text.data(), static_cast<std::size_t>(length));
}

std::string format_text(const char* format, ...) {
  va_list args;
  va_start(args, format);
  std::string text = vformat_text(format, args);
  va_end(args);
  return text;
}

KorelError::KorelError(std::string identifier, const std::string& message)
    : std::runtime_error(message), identifier_(std::move(identifier)) {}

void record_error(const std::string& identifier, const std::string& message) {
  last_error.set = true;
  last_error.identifier = identifier;
  last_error.message = message;
}

void raise(const std::string& identifier, const std::string& message) {
  record_error(identifier, message);
  throw KorelError(identifier, message);
}

}  // namespace kx

extern "C" {

void kxErrMsgIdAndTxt(const char* id, const char* format, ...) {
  va_list args;
  va_start(args, format);
  std::string message = kx::vformat_text(format, args);
  va_end(args);
  kx::raise(id ? id : "", message);
}

int kxGetLastErrIdAndMsg(const char** id, const char** msg) {
  if (id) *id = kx::last_error.identifier.c_str();
  if (msg) *msg = kx::last_error.message.c_str();
  return kx::last_error.set ? 1 : 0;
}

int kxGetErrorMode(void) { return kx::error_mode.load(); }

int kxSetErrorMode(int mode) { return kx::error_mode.exchange(mode); }

}  // extern "C"
