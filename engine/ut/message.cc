#include "ut/message.h"

#include <cstdio>
#include <map>
#include <mutex>

// One registry serves the whole process: message codes are global names.
struct utMessageContext {
  std::mutex mutex;
  std::map<int32_t, const utMessageTable*> tables;
};

namespace {

// Never destroyed: other libraries may format messages from their own static
// destructors, after this library's statics would have gone.
utMessageContext& registry() {
  static utMessageContext* context = new utMessageContext;
  return *context;
}

const utMessageTable* findTable(uint32_t code) {
  utMessageContext& r = registry();
  std::lock_guard lock(r.mutex);
  auto it = r.tables.find(static_cast<int32_t>(code >> 16));
  return it == r.tables.end() ? nullptr : it->second;
}

// Index into the table's arrays, or -1 for an out-of-range position.
int32_t entryIndex(const utMessageTable* table, uint32_t code) {
  int32_t position = static_cast<int32_t>(code & 0xFFFF);
  if (position < 1 || position > table->count) return -1;
  return position - 1;
}

const char* entryText(const utMessageTable* table, uint32_t code) {
  int32_t i = entryIndex(table, code);
  const char* text = (i >= 0 && table->texts) ? table->texts[i] : nullptr;
  return text ? text : table->default_text;
}

}  // namespace

utMessageContext* utGetMessageContext() { return &registry(); }

// The context arguments are handles to the one registry, so they are not dereferenced:
// a stale or null handle cannot do harm.
int ut_mem_add_primary_message_table(utMemoryContext*, const utMessageTable* table) {
  if (!table || table->table_number < 0 || table->table_number > 0xFFFF || table->count < 0)
    return -1;
  utMessageContext& r = registry();
  std::lock_guard lock(r.mutex);
  r.tables[table->table_number] = table;
  return 0;
}

const char* ut_get_message(utMessageContext*, uint32_t code) {
  const utMessageTable* table = findTable(code);
  return table ? entryText(table, code) : nullptr;
}

const char* ut_get_message_id(utMessageContext*, uint32_t code) {
  const utMessageTable* table = findTable(code);
  if (!table || !table->identifiers) return nullptr;
  int32_t i = entryIndex(table, code);
  return i >= 0 ? table->identifiers[i] : nullptr;
}

int ut_vsprintm(utMessageContext*, char* buffer, std::size_t size, uint32_t code, va_list args) {
  if (!buffer || size == 0) return -1;
  buffer[0] = '\0';
  const utMessageTable* table = findTable(code);
  if (!table) return -1;
  const char* text = entryText(table, code);
  if (!text) return 0;
  int needed = std::vsnprintf(buffer, size, text, args);
  if (needed < 0) {
    // An encoding error may leave a partial result behind; report nothing stored.
    buffer[0] = '\0';
    return 0;
  }
  return static_cast<std::size_t>(needed) < size ? needed : static_cast<int>(size - 1);
}

int ut_sprintm(utMessageContext* ctx, char* buffer, std::size_t size, uint32_t code, ...) {
  va_list args;
  va_start(args, code);
  int n = ut_vsprintm(ctx, buffer, size, code, args);
  va_end(args);
  return n;
}
