#include "krt/options.h"

#include "krt/mutex.h"

namespace krt {
namespace {

Settings& current() {
  static Settings s;
  return s;
}

template <typename F>
void update(F&& change) {
  std::lock_guard<std::recursive_mutex> lock(global_mutex());
  change(current());
}

}  // namespace

void set_event_driven(bool on) { update([&](Settings& s) { s.event_driven = on; }); }
void set_runtime_variant(int variant) { update([&](Settings& s) { s.runtime_variant = variant; }); }
void set_jmi_support_level(int level) { update([&](Settings& s) { s.jmi_support_level = level; }); }
void set_toolboxcache_disabled(bool disabled) {
  update([&](Settings& s) { s.toolboxcache_disabled = disabled; });
}
void set_use_jit(bool on) { update([&](Settings& s) { s.use_jit = on; }); }
void set_use_accel(bool on) { update([&](Settings& s) { s.use_accel = on; }); }

void apply_commandline_args(int count, const char** args) {
  if (args == nullptr || count < 1) return;
  update([&](Settings& s) {
    for (int i = 0; i < count; ++i)
      if (args[i] != nullptr) s.commandline_args.emplace_back(args[i]);
  });
}

void set_default_print_handlers(print_handler print, void* print_context, print_handler error,
                                void* error_context) {
  update([&](Settings& s) {
    s.default_print = print;
    s.default_print_context = print_context;
    s.default_error = error;
    s.default_error_context = error_context;
  });
}

bool print_with_default(bool error, const char* text, int* result) {
  print_handler handler;
  void* context;
  {
    std::lock_guard<std::recursive_mutex> lock(global_mutex());
    handler = error ? current().default_error : current().default_print;
    context = error ? current().default_error_context : current().default_print_context;
  }
  if (!handler) return false;
  *result = handler(text, context);
  return true;
}

Settings settings() {
  std::lock_guard<std::recursive_mutex> lock(global_mutex());
  return current();
}

}  // namespace krt
