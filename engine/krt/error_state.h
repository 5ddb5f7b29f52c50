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

// Everything a Korel error carries: what a KException holds, causes included.
struct ErrorDetails {
  std::string identifier;
  std::string message;
  std::vector<StackFrame> stack;     // innermost frame first
  std::vector<ErrorDetails> causes;  // the errors that led to this one, in order
};

// A Korel error with the call stack where it was raised, innermost frame first.
class Error : public kx::KorelError {
 public:
  Error(std::string identifier, const std::string& message, std::vector<StackFrame> stack = {},
        std::vector<ErrorDetails> causes = {})
      : kx::KorelError(std::move(identifier), message),
        stack_(std::move(stack)),
        causes_(std::move(causes)) {}
  explicit Error(ErrorDetails details)
      : Error(std::move(details.identifier), details.message, std::move(details.stack),
              std::move(details.causes)) {}
  const std::vector<StackFrame>& stack() const noexcept { return stack_; }
  const std::vector<ErrorDetails>& causes() const noexcept { return causes_; }
  ErrorDetails details() const { return {identifier(), what(), stack_, causes_}; }

 private:
  std::vector<StackFrame> stack_;
  std::vector<ErrorDetails> causes_;
};

// The details of any error the engine raised: an Error's own, or the message of a plain
// one with `where` as its stack.
ErrorDetails details_of(const kx::KorelError& error, std::vector<StackFrame> where);

// The text a host shows for an error: the message, the innermost function and line
// where it was raised, then each cause's report, indented, after "Caused by:".
std::string report_of(const ErrorDetails& error);

struct ErrorState {
  bool set = false;
  std::string identifier;
  std::string message;
  std::vector<StackFrame> stack;
  std::vector<ErrorDetails> causes;
  std::string report;  // message plus where: what a host shows the user

  void clear() { *this = ErrorState(); }
  void record(const std::string& id, const std::string& text, std::vector<StackFrame> frames,
              std::vector<ErrorDetails> why = {});
  void record(ErrorDetails error);
};

// The last warning issued and not switched off: what lastwarn answers.
struct LastWarning {
  std::string identifier;
  std::string message;
};

// The stack as a struct array with fields file, name and line, one element per frame
// (a 0x1 struct array for none); null when it cannot be made.
KOREL_EXPORT kxArray* make_stack_array(const std::vector<StackFrame>& stack);

}  // namespace krt
