// The boundary of the exported calls: no exception reaches the host's C frames.
#pragma once

#include <exception>

#include "kclkrt/errors/error_output.h"
#include "kclkrt/errors/message_catalog.h"

namespace kcl {

// Runs `body`; an exception becomes its text on the internal error output (or the
// catalogued "unexpected error" when it has none) and the result `failure`.
template <typename Result, typename Body>
Result guarded_call(Result failure, Body&& body) noexcept {
  try {
    return body();
  } catch (const std::exception& e) {
    internal_error_output(e.what());
  } catch (...) {
    kclPrintErrorMsg(KCLKRT_UNEXPECTED_ERROR);
  }
  return failure;
}

}  // namespace kcl
