#include "kclkrt/array/char_buffer.h"

#include <cstring>

#include "kclkrt/array/array_boundary.h"
#include "kclkrt/array/array_exceptions.h"

namespace kcl {

int CharBuffer::size() {
  return locked_call(-1, [&] { return static_cast<int>(text_.size()); });
}

const char* CharBuffer::get_buffer() {
  return locked_call<const char*>(nullptr, [&] { return text_.c_str(); });
}

int CharBuffer::set_buffer(const char* text) {
  return locked_call(-1, [&] {
    text_.assign(text ? text : "");
    return 0;
  });
}

int CharBuffer::compare_to(char_buffer* other) {
  return locked_call(-1, [&] {
    if (!other) throw NullPointerException("Invalid input");
    const char* theirs = other->get_buffer();
    if (!theirs) throw NullPointerException("Invalid input");
    int order = std::strcmp(text_.c_str(), theirs);
    return (order > 0) - (order < 0);
  });
}

}  // namespace kcl
