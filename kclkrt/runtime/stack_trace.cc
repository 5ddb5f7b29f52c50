// The stack of an instance's last error as text lines for hosts.
#include <cstdio>
#include <string>
#include <vector>

#include "kclkrt/errors/boundary.h"
#include "kclkrt/platform/owned_array.h"
#include "korel/kclkrt.h"
#include "krt/error_state.h"
#include "krt/instance.h"
#include "ut/memory.h"

namespace {

// A field as it reads in a line: text as it is, a number as "at N".
std::string field_text(const kxArray* value) {
  if (!value) return "";
  if (kxIsChar(value)) {
    char* text = kxArrayToString(value);
    std::string result = text ? text : "";
    kxFree(text);
    return result;
  }
  char number[64];
  std::snprintf(number, sizeof number, "at %.0f", kxGetScalar(value));
  return number;
}

// One line per frame, each field as its name and its value, blank-separated.
std::vector<std::string> frame_lines(const kxArray* stack) {
  std::vector<std::string> lines;
  const int fields = kxGetNumberOfFields(stack);
  const kxSize frames = kxGetNumberOfElements(stack);
  for (kxSize frame = 0; frame < frames; ++frame) {
    std::string line;
    for (int field = 0; field < fields; ++field) {
      if (!line.empty()) line += ' ';
      line += kxGetFieldNameByNumber(stack, field);
      line += ' ';
      line += field_text(kxGetFieldByNumber(stack, frame, field));
    }
    lines.push_back(std::move(line));
  }
  return lines;
}

void free_lines(char** lines, int count) {
  if (!lines) return;
  for (int i = 0; i < count; ++i) utFree(lines[i]);
  utFree(lines);
}

}  // namespace

int kclGetStackTrace(krtInstance* instance, char*** lines) {
  if (!instance || !lines) return 0;
  return kcl::guarded_call(0, [&] {
    const krt::ErrorState& state = instance->GetErrorState();
    if (!state.set || state.stack.empty()) return 0;
    kcl::OwnedArray stack(krt::make_stack_array(state.stack));
    if (!stack) return 0;
    std::vector<std::string> texts = frame_lines(stack.get());
    const int count = static_cast<int>(texts.size());
    auto copies = static_cast<char**>(utCalloc(texts.size(), sizeof(char*)));
    try {
      for (int i = 0; i < count; ++i) copies[i] = utStrdup(texts[i].c_str());
    } catch (...) {
      free_lines(copies, count);  // the places not yet filled are null
      throw;
    }
    *lines = copies;
    return count;
  });
}

int kclFreeStackTrace(char*** lines, int count) {
  if (!lines) return 0;
  free_lines(*lines, count);
  *lines = nullptr;
  return 1;
}
