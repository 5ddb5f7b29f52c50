// The message service: numbered message tables and printf-style formatting by code.
//
// A message code is (table number << 16) + position in the table counted from 1.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>

#include "korel/export.h"
#include "ut/memory.h"

// Registration record of one message table. The service keeps the pointer, so the
// record and the strings it points to must outlive the process's use of the table.
struct utMessageTable {
  int32_t count;                   // entries in identifiers and texts
  int32_t table_number;            // high 16 bits of every code in the table
  const char* marker;              // one-character tag of the table's owner
  const char* const* identifiers;  // symbolic identifier per position (null: reserved)
  const char* const* texts;        // printf-style text per position (null: reserved)
  const char* default_text;        // used for a reserved or out-of-range position
  int32_t reserved[2];
};

struct utMessageContext;

KOREL_EXPORT utMessageContext* utGetMessageContext();

// Registers `table` as the primary table for its table number, replacing any earlier
// table of that number. Returns 0.
KOREL_EXPORT int ut_mem_add_primary_message_table(utMemoryContext* ctx, const utMessageTable* table);

// The unformatted text of `code`: the table's default text for a reserved or
// out-of-range position, null when no table of that number is registered.
KOREL_EXPORT const char* ut_get_message(utMessageContext* ctx, uint32_t code);
// The identifier registered for `code`, or null.
KOREL_EXPORT const char* ut_get_message_id(utMessageContext* ctx, uint32_t code);

// Formats the text of `code` with `args` into `buffer` (never more than `size` bytes,
// terminator included). Returns the number of characters stored, excluding the
// terminator, or -1 when the code's table is not registered or `size` is 0.
KOREL_EXPORT int ut_vsprintm(utMessageContext* ctx, char* buffer, std::size_t size, uint32_t code,
                             va_list args);
KOREL_EXPORT int ut_sprintm(utMessageContext* ctx, char* buffer, std::size_t size, uint32_t code, ...);
