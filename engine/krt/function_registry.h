// The process's built-in functions: the engine's own and registered extension tables.
#pragma once

#include <cstdint>
#include <vector>

#include "korel/export.h"
#include "krt/lang/call.h"
#include "krt/library/table.h"

namespace krt {

// The built-in that `symbol` names, or a target of kind None. The first registration
// of a name wins, so the engine's own built-ins cannot be replaced by a table.
lang::Target find_builtin(int symbol);

// The engine's own built-ins by area, as the language reference lists them.
KOREL_EXPORT std::vector<lang::IntrinsicGroup> builtin_groups();

// Changes whenever a table is registered, so cached resolutions can be dropped.
uint64_t builtin_generation();

}  // namespace krt

// Adds a null-terminated table of native functions callable from Korel by name. The
// table must outlive the process's use of it. Names already known are skipped.
KOREL_EXPORT void krt_register_function_table(const krtFunctionTableEntry* table);

// Registers an extension library's described table. False, registering nothing, for a
// null table, identification words of another layout, or a count that does not match
// the entries.
KOREL_EXPORT bool krt_register_extension(const krtFunctionTable* table);
