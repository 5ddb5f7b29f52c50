#include "kclkrt/errors/message_catalog.h"

#include <array>
#include <mutex>

#include "kclkrt/errors/error_output.h"
#include "korel/kclkrt.h"
#include "krt/mutex.h"
#include "ut/message.h"
#include "ut/print.h"

namespace kcl {
namespace {

struct Catalog {
  std::array<const char*, kMessageCount> identifiers{};
  std::array<const char*, kMessageCount> texts{};
};

constexpr uint32_t position(uint32_t code) { return code & 0xFFFFu; }

constexpr bool codes_in_order() {
  uint32_t previous = 0;
  bool ok = true;
#define KCLKRT_MESSAGE(code, identifier, text)                                  \
  ok = ok && (code >> 16) == kMessageTableNumber && position(code) > previous && \
       position(code) <= kMessageCount;                                          \
  previous = position(code);
#include "kclkrt/errors/messages.def"
#undef KCLKRT_MESSAGE
  return ok;
}
static_assert(codes_in_order(), "catalog codes must be of table 60, rising, within 99 positions");

constexpr Catalog make_catalog() {
  Catalog c;
#define KCLKRT_MESSAGE(code, identifier, text)         \
  c.identifiers[position(code) - 1] = #identifier; \
  c.texts[position(code) - 1] = text;
#include "kclkrt/errors/messages.def"
#undef KCLKRT_MESSAGE
  return c;
}

constexpr Catalog catalog = make_catalog();
constexpr char marker[] = {1, 0};

const utMessageTable registration_record = {
    kMessageCount, kMessageTableNumber, marker, catalog.identifiers.data(), catalog.texts.data(),
    "", {0, 0}};

int register_catalog() {
  ut_mem_add_primary_message_table(utGetMemoryContext(), &registration_record);
  return 0;
}

// Set at load; the flag makes registration happen once per load of the library.
int (*registration_hook)() = &register_catalog;
bool registered = false;
std::mutex registration_mutex;

char shared_buffer[kMessageBufferSize];

}  // namespace

void ensure_catalog_registered() {
  std::lock_guard<std::mutex> lock(registration_mutex);
  if (!registered && registration_hook != nullptr) {
    registration_hook();
    registered = true;
  }
}

const char* message_text(uint32_t code) {
  ensure_catalog_registered();
  if ((code >> 16) != kMessageTableNumber) return nullptr;
  return ut_get_message(utGetMessageContext(), code);
}

int format_message(uint32_t code, va_list args) {
  ensure_catalog_registered();
  int length = ut_vsprintm(utGetMessageContext(), shared_buffer, kMessageBufferSize, code, args);
  if (length < 1) return length;
  // A text that filled the buffer loses its last character to the newline.
  std::size_t end = static_cast<std::size_t>(length);
  if (end > kMessageBufferSize - 2) end = kMessageBufferSize - 2;
  shared_buffer[end] = '\n';
  shared_buffer[end + 1] = '\0';
  return static_cast<int>(end) + 1;
}

const char* message_buffer() { return shared_buffer; }

}  // namespace kcl

namespace {

int print_through_utprintf(const char* text) { return utPrintf("%s", text); }

}  // namespace

int kclPrintErrorMsgV(int code, va_list args) {
  try {
    // Inside the development environment the text belongs in its command window.
    if (!kclIsStandaloneMode()) kclSetInternalErrorHandler(&print_through_utprintf);
    // The shared buffer is the runtime's, so concurrent printers take turns.
    std::lock_guard<std::recursive_mutex> lock(krt::global_mutex());
    int length = kcl::format_message(static_cast<uint32_t>(code), args);
    if (length < 1) return length;
    kcl::internal_error_output(kcl::message_buffer());
    return length;
  } catch (...) {
    return -1;
  }
}

int kclPrintErrorMsg(int code, ...) {
  va_list args;
  va_start(args, code);
  int result = kclPrintErrorMsgV(code, args);
  va_end(args);
  return result;
}
