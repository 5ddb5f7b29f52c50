// Text in char arrays: 16-bit code units to and from UTF-8.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "korel/export.h"
#include "korel/kx.h"

namespace kx {

// UTF-8 to code units. A byte that does not start a valid sequence becomes the lone
// surrogate 0xDC00 + byte, so encoding gives the same bytes back.
KOREL_EXPORT std::vector<kxChar> decode_utf8(std::string_view bytes);
// Code units to UTF-8; a lone surrogate 0xDC80 to 0xDCFF becomes its byte again.
KOREL_EXPORT std::string encode_utf8(const kxChar* units, std::size_t count);

// A copy of `text` that the caller frees with kxFree; throws std::bad_alloc.
char* copy_for_caller(const std::string& text);

}  // namespace kx
