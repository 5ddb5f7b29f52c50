// The boundary of every operation of the array interface: a failure inside becomes the
// calling thread's last error and the operation's failure value.
#pragma once

#include <exception>
#include <mutex>

#include "kclkrt/errors/boundary.h"
#include "korel/kclkrt.h"
#include "krt/mutex.h"

namespace kcl {

// Runs `body`; an exception stores its text (tbException and every standard exception)
// or "Unexpected error thrown" as the last error and gives `failure`.
template <typename Result, typename Body>
Result capture_failure(Result failure, Body&& body) noexcept {
  return catch_failure(failure, body, [](const std::exception* e) {
    kclcppSetLastError(e ? e->what() : "Unexpected error thrown");
  });
}

// As capture_failure, with the global mutex held: the array library is not thread-safe.
template <typename Result, typename Body>
Result locked_call(Result failure, Body&& body) noexcept {
  return capture_failure(failure, [&]() -> Result {
    std::lock_guard<std::recursive_mutex> lock(krt::global_mutex());
    return body();
  });
}

}  // namespace kcl
