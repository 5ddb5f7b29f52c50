#include "krt/error_state.h"

namespace krt {
namespace {

// Every line of `text` but the blank ones moved right by four blanks.
std::string indented(const std::string& text) {
  std::string out;
  bool line_start = true;
  for (char ch : text) {
    if (line_start && ch != '\n') out += "    ";
    out += ch;
    line_start = ch == '\n';
  }
  return out;
}

}  // namespace

ErrorDetails details_of(const kx::KorelError& error, std::vector<StackFrame> where) {
  if (auto* e = dynamic_cast<const Error*>(&error)) {
    ErrorDetails d = e->details();
    if (d.stack.empty()) d.stack = std::move(where);
    return d;
  }
  return {error.identifier(), error.what(), std::move(where), {}};
}

std::string report_of(const ErrorDetails& error) {
  std::string report = error.message;
  if (!error.stack.empty() && error.stack.front().line > 0)
    report += "\nError in " + error.stack.front().name + " (line " +
              std::to_string(error.stack.front().line) + ")";
  if (!error.causes.empty()) {
    report += "\n\nCaused by:";
    for (const ErrorDetails& cause : error.causes) report += "\n" + indented(report_of(cause));
  }
  return report;
}

void ErrorState::record(const std::string& id, const std::string& text,
                        std::vector<StackFrame> frames, std::vector<ErrorDetails> why) {
  record(ErrorDetails{id, text, std::move(frames), std::move(why)});
}

void ErrorState::record(ErrorDetails error) {
  set = true;
  report = report_of(error);
  identifier = std::move(error.identifier);
  message = std::move(error.message);
  stack = std::move(error.stack);
  causes = std::move(error.causes);
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
