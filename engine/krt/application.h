// The engine's application lifecycle: start, stop and shutdown inhibition.
#pragma once

#include <string>
#include <vector>

#include "korel/export.h"

namespace fl::app {

// Owns the engine's start and stop: the engine runs while at least one initialiser
// lives. Throws std::invalid_argument for a negative argument count.
class KOREL_EXPORT init {
 public:
  init(int argc, const char** argv, const char* application_name);
  ~init();
  init(const init&) = delete;
  init& operator=(const init&) = delete;

  // The start options as given (null entries skipped).
  const std::vector<std::string>& arguments() const { return arguments_; }

 private:
  std::vector<std::string> arguments_;
};

// Initialisers alive now; the engine runs while this is above 0.
KOREL_EXPORT int live_initializers();
// Engine starts so far (initialisers ever constructed).
KOREL_EXPORT int starts();

}  // namespace fl::app

// Shutdown inhibition: nests; the engine must not shut down while the depth is above 0.
KOREL_EXPORT void krt_inhibit_shutdown();
KOREL_EXPORT void krt_uninhibit_shutdown();
KOREL_EXPORT int krt_shutdown_inhibit_depth();

// True when this process is the component compiler itself: its program is named kcc,
// or it said so with krt_set_kcc().
KOREL_EXPORT bool krt_is_kcc();
KOREL_EXPORT void krt_set_kcc();
