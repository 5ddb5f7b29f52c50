// Functions callable from Korel by name that are implemented natively.
#pragma once

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
