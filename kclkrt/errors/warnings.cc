#include "kclkrt/errors/warnings.h"

#include <cctype>
#include <cstdarg>
#include <cstring>
#include <mutex>

#include "kclkrt/errors/message_catalog.h"
#include "korel/kclkrt.h"
#include "krt/instance.h"
#include "krt/mutex.h"
#include "ut/warning.h"

namespace kcl {
namespace {

// The library brings a warning manager when the process has none, and takes it away
// again on unload unless someone else has replaced it meanwhile.
class WarningManagerOwner {
 public:
  WarningManagerOwner() {
    if (utGetCurrentWarningManager() == nullptr) {
      owned_ = utNewWarningManager(utGetMemoryContext());
      utSetCurrentWarningManager(owned_);
    }
  }
  ~WarningManagerOwner() {
    if (owned_ == nullptr) return;
    if (utGetCurrentWarningManager() == owned_) utSetCurrentWarningManager(nullptr);
    utDeleteWarningManager(owned_);
  }
  WarningManagerOwner(const WarningManagerOwner&) = delete;
  WarningManagerOwner& operator=(const WarningManagerOwner&) = delete;

 private:
  utWarningManager* owned_ = nullptr;
};

WarningManagerOwner warning_manager_owner;

void set_warning(const char* id, bool enabled) {
  if (id == nullptr) return;
  ensure_catalog_registered();
  ut_set_warning_status_id(utGetWarningContext(), id, enabled);
}

bool starts_with(const char* text, const char* prefix) {
  return std::strncmp(text, prefix, std::strlen(prefix)) == 0;
}

}  // namespace

void apply_warning_states(const char** items, int count) {
  if (items == nullptr) return;
  for (int i = 0; i < count; ++i) {
    const char* item = items[i];
    if (item == nullptr) continue;
    const char* colon = std::strchr(item, ':');
    if (colon == nullptr) {
      kclPrintErrorMsg(KCLKRT_MALFORMED_WARNING_STATUS_STRING, item);
      continue;
    }
    const char* id = colon + 1;
    while (std::isspace(static_cast<unsigned char>(*id))) ++id;
    if (starts_with(item, "on"))
      set_warning(id, true);
    else if (starts_with(item, "off"))
      set_warning(id, false);
    else
      kclPrintErrorMsg(KCLKRT_INVALID_WARNING_STATE, id, item);
  }
}

TextHandler current_print_handler() {
  krtInstance* current = krtInstance::GetKRT();
  return current ? current->GetPrintHandler() : nullptr;
}

int print_warning_message(TextHandler handler, const char* id, uint32_t code, ...) {
  if (!ut_is_warning_enabled(id)) return 0;
  va_list args;
  va_start(args, code);
  int length;
  if (handler) {
    // The shared message buffer is the runtime's, so printers take turns.
    std::lock_guard<std::recursive_mutex> lock(krt::global_mutex());
    length = format_message(code, args);
    if (length > 0) handler(message_buffer());
  } else {
    length = kclPrintErrorMsgV(static_cast<int>(code), args);
  }
  va_end(args);
  return length > 0 ? length : 0;
}

}  // namespace kcl

void kclEnableWarning(const char* id) { kcl::set_warning(id, true); }
void kclDisableWarning(const char* id) { kcl::set_warning(id, false); }
