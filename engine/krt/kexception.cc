#include "krt/kexception.h"

#include <cstring>

#include "korel/kx.h"
#include "kx/error.h"

namespace krt {
namespace {


// Text of a char row, or nothing when `a` is anything else.
std::string text_or_empty(const kxArray* a) {
  if (!a || !kxIsChar(a) || kxIsEmpty(a)) return "";
  char* text = kxArrayToString(a);
  std::string result = text ? text : "";
  kxFree(text);
  return result;
}

// Causes nest no deeper than this, so reading, building and reporting them cannot
// exhaust the stack.
constexpr int kMaxCauseDepth = 64;

ErrorDetails details_at(const kxArray* exception, const char* function, int depth) {
  ErrorDetails error;
  error.identifier = text_or_empty(kxGetField(exception, 0, "identifier"));
  error.message = text_or_empty(kxGetField(exception, 0, "message"));
  error.stack = stack_field(exception);
  const kxArray* causes = kxGetField(exception, 0, "cause");
  if (!causes || kxIsEmpty(causes)) return error;
  const std::string prefix = std::string("Korel:") + function;
  if (!kxIsCell(causes))
    kx::raise(prefix + ":badCause", "The cause of a KException must be a cell array of KException.");
  if (depth >= kMaxCauseDepth)
    kx::raise(prefix + ":causesTooDeep",
              "Causes nest deeper than " + std::to_string(kMaxCauseDepth) + " levels.");
  for (kxSize i = 0, n = kxGetNumberOfElements(causes); i < n; ++i) {
    const kxArray* cause = kxGetCell(causes, i);
    if (!is_kexception(cause))
      kx::raise(prefix + ":badCause", "The cause of a KException must be a cell array of KException.");
    error.causes.push_back(details_at(cause, function, depth + 1));
  }
  return error;
}

}  // namespace

bool is_kexception(const kxArray* a) {
  if (!a || !kxIsObject(a)) return false;
  const char* name = kxGetObjectClassName(a);
  return name && std::strcmp(name, kKExceptionClass) == 0;
}

Value make_kexception(const ErrorDetails& error) {
  const kxSize one[] = {1, 1};
  const char* fields[] = {"identifier", "message", "stack", "cause"};
  Value object = checked(kxCreateObjectArray(kKExceptionClass, 2, one, 4, fields));
  Value causes = checked(kxCreateCellMatrix(error.causes.size(), 1));
  for (std::size_t i = 0; i < error.causes.size(); ++i)
    kxSetCell(causes.get(), i, make_kexception(error.causes[i]).release());
  kxSetFieldByNumber(object.get(), 0, 0, make_string(error.identifier).release());
  kxSetFieldByNumber(object.get(), 0, 1, make_string(error.message).release());
  kxSetFieldByNumber(object.get(), 0, 2, checked(make_stack_array(error.stack)).release());
  kxSetFieldByNumber(object.get(), 0, 3, causes.release());
  return object;
}

std::vector<StackFrame> stack_field(const kxArray* error) {
  std::vector<StackFrame> frames;
  const kxArray* stack = kxGetField(error, 0, "stack");
  if (!stack || !kxIsStruct(stack)) return frames;
  for (kxSize i = 0, n = kxGetNumberOfElements(stack); i < n; ++i) {
    StackFrame f;
    f.file = text_or_empty(kxGetField(stack, i, "file"));
    f.name = text_or_empty(kxGetField(stack, i, "name"));
    const kxArray* line = kxGetField(stack, i, "line");
    if (line && kxIsNumeric(line) && !kxIsEmpty(line)) f.line = static_cast<int>(kxGetScalar(line));
    frames.push_back(std::move(f));
  }
  return frames;
}

ErrorDetails kexception_details(const kxArray* exception, const char* function) {
  return details_at(exception, function, 0);
}

}  // namespace krt
