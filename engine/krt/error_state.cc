#include "krt/error_state.h"

namespace krt {

void ErrorState::record(const std::string& id, const std::string& text,
                        std::vector<StackFrame> frames) {
  set = true;
  identifier = id;
  message = text;
  stack = std::move(frames);
  report = message;
  if (!stack.empty() && stack.front().line > 0)
    report += "\nError in " + stack.front().name + " (line " +
              std::to_string(stack.front().line) + ")";
}

kxArray* make_stack_array(const std::vector<StackFrame>& stack) {
  const char* fields[] = {"file", "name", "line"};
  kxArray* a = kxCreateStructMatrix(stack.size(), 1, 3, fields);
  if (!a) return nullptr;
  for (std::size_t i = 0; i < stack.size(); ++i) {
    kxArray* file = kxCreateString(stack[i].file.c_str());
    kxArray* name = kxCreateString(stack[i].name.c_str());
    kxArray* line = kxCreateDoubleScalar(stack[i].line);
    if (!file || !name || !line) {
      kxDestroyArray(file), kxDestroyArray(name), kxDestroyArray(line), kxDestroyArray(a);
      return nullptr;
    }
    kxSetFieldByNumber(a, i, 0, file);
    kxSetFieldByNumber(a, i, 1, name);
    kxSetFieldByNumber(a, i, 2, line);
  }
  return a;
}

}  // namespace krt
