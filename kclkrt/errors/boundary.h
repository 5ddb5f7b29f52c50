// The boundary of the exported calls: no exception reaches the host's C frames.
#pragma once

#include <exception>

#include "kclkrt/errors/error_output.h"
#include "kclkrt/errors/message_catalog.h"

namespace kcl {

// Runs `body`; an exception is handed to `report` (null for one of no standard type)
// and the result is `failure`. Every exported boundary is built on this.
template <typename Result, typename Body, typename Report>
Result catch_failure(Result failure, Body&& body, Report&& report) noexcept {
  try {
    return body();
  } catch (const std::exception& e) {
    report(&e);
  } catch (...) {
    report(nullptr);
  }
  return failure;
}

// An exception becomes its text on the internal error output (or the catalogued
// "unexpected error" when it has none).
template <typename Result, typename Body>
Result guarded_call(Result failure, Body&& body) noexcept {
  return catch_failure(failure, body, [](const std::exception* e) {
    if (e)
      internal_error_output(e->what());
    else
      kclPrintErrorMsg(KCLKRT_UNEXPECTED_ERROR);
  });
}

}  // namespace kcl
