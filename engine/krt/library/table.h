// Functions callable from Korel by name that are implemented natively.
#pragma once

#include <cstdint>

#include "korel/kx.h"

// One entry of a function table; a table ends with an entry whose name is null.
// The gateway is the native function convention: plhs has room for max(nlhs, 1)
// arrays, all null on entry; a function may fill plhs[0] even when nlhs is 0 (the
// value then becomes `ans`). Inputs are borrowed. Arrays a function creates are
// temporary and swept after the call unless returned. Errors are raised with
// kx::raise or kxErrMsgIdAndTxt.
struct krtFunctionTableEntry {
  const char* name;
  kxNativeFunction function;
};

// How an extension library describes its table to the engine. The two identification
// words say which layout of table the library was built against; the engine refuses a
// table whose words it does not know.
struct krtFunctionTable {
  const krtFunctionTableEntry* entries;  // null-terminated
  uint32_t magic;                        // kKrtFunctionTableMagic
  uint32_t version;                      // kKrtFunctionTableVersion
  uint32_t count;                        // entries before the terminating one
};

inline constexpr uint32_t kKrtFunctionTableMagic = 0x4B4C4654;  // "KLFT"
inline constexpr uint32_t kKrtFunctionTableVersion = 1;
