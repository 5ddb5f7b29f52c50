// A counted byte string that crosses the array interface: field names, display texts.
#pragma once

#include <string>

#include "kclkrt/array/ref_count.h"
#include "kclkrt/platform/small_object_allocator.h"
#include "korel/array_ref.h"

namespace kcl {

class CharBuffer final : public char_buffer, public SmallObject {
 public:
  // A null text is the empty string.
  explicit CharBuffer(const char* text) : text_(text ? text : "") {}

  int addref() override { return count_.increment(); }
  int release() override { return release_reference(this, count_); }

  int size() override;
  const char* get_buffer() override;
  int set_buffer(const char* text) override;
  int compare_to(char_buffer* other) override;

 private:
  std::string text_;
  RefCount count_;
};

}  // namespace kcl
