#include "krt/application.h"

#include <atomic>
#include <errno.h>

#include <cstring>
#include <mutex>
#include <stdexcept>

#include "krt/mutex.h"

namespace fl::app {
namespace {

int live = 0;
int started = 0;
int inhibit_depth = 0;

}  // namespace

init::init(int argc, const char** argv, const char* /*application_name*/) {
  if (argc < 0) throw std::invalid_argument("fl::app::init: negative argument count");
  if (argv != nullptr)
    for (int i = 0; i < argc; ++i)
      if (argv[i] != nullptr) arguments_.emplace_back(argv[i]);
  std::lock_guard<std::recursive_mutex> lock(krt::global_mutex());
  ++live;
  ++started;
}

init::~init() {
  std::lock_guard<std::recursive_mutex> lock(krt::global_mutex());
  --live;
}

int live_initializers() {
  std::lock_guard<std::recursive_mutex> lock(krt::global_mutex());
  return live;
}

int starts() {
  std::lock_guard<std::recursive_mutex> lock(krt::global_mutex());
  return started;
}

}  // namespace fl::app

void krt_inhibit_shutdown() {
  std::lock_guard<std::recursive_mutex> lock(krt::global_mutex());
  ++fl::app::inhibit_depth;
}

void krt_uninhibit_shutdown() {
  std::lock_guard<std::recursive_mutex> lock(krt::global_mutex());
  if (fl::app::inhibit_depth > 0) --fl::app::inhibit_depth;
}

int krt_shutdown_inhibit_depth() {
  std::lock_guard<std::recursive_mutex> lock(krt::global_mutex());
  return fl::app::inhibit_depth;
}

namespace {
std::atomic<bool> marked_as_kcc{false};
}

void krt_set_kcc() { marked_as_kcc = true; }

bool krt_is_kcc() {
  return marked_as_kcc || std::strcmp(program_invocation_short_name, "kcc") == 0;
}
