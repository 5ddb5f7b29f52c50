// Korel errors on their way out of the engine, and what an instance keeps of the last.
#pragma once

#include <string>
#include <vector>

#include "korel/export.h"
#include "korel/kx.h"
#include "kx/error.h"

namespace krt {

// One active function when an error was raised.
struct StackFrame {
  std::string file;
  std::string name;
  int line = 0;
};

// A Korel error with the call stack where it was raised, innermost frame first.
class Error : public kx::KorelError {
 public:
  Error(std::string identifier, const std::string& message, std::vector<StackFrame> stack = {})
      : kx::KorelError(std::move(identifier), message), stack_(std::move(stack)) {}
  const std::vector<StackFrame>& stack() const noexcept { return stack_; }

 private:
  std::vector<StackFrame> stack_;
};

struct ErrorState {
  bool set = false;
  std::string identifier;
  std::string message;
  std::vector<StackFrame> stack;
  std::string report;  // message plus where: what a host shows the user

  void clear() { *this = ErrorState(); }
  void record(const std::string& id, const std::string& text, std::vector<StackFrame> frames);
};

// The stack as a struct array with fields file, name and line, one element per frame
// (a 0x1 struct array for none); null when it cannot be made.
KOREL_EXPORT kxArray* make_stack_array(const std::vector<StackFrame>& stack);

}  // namespace krt
