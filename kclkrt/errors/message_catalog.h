// The runtime's numbered message catalog, registered with the engine's message service
// on first use.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>

namespace kcl {

// Every catalogued message by identifier; the value is its code.
enum MessageCode : uint32_t {
#define KCLKRT_MESSAGE(code, identifier, text) identifier = code,
#include "kclkrt/errors/messages.def"
#undef KCLKRT_MESSAGE
};

constexpr int kMessageTableNumber = 60;
constexpr int kMessageCount = 99;
constexpr std::size_t kMessageBufferSize = 2048;

// Registers the catalog unless this load of the library already has.
void ensure_catalog_registered();

// The unformatted text of `code`, or null when the code is not the catalog's.
const char* message_text(uint32_t code);

// Formats `code` with `args` into the shared message buffer and appends a newline.
// Returns the length including the newline, or the formatter's result when it is below
// 1 (the buffer then holds nothing to print). Callers hold the engine's mutex.
int format_message(uint32_t code, va_list args);
const char* message_buffer();

}  // namespace kcl
