#include "kclkrt/runtime/application.h"

#include <signal.h>

#include <atomic>
#include <boost/numeric/conversion/cast.hpp>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "kclkrt/errors/boundary.h"
#include "kclkrt/errors/error_output.h"
#include "kclkrt/errors/message_catalog.h"
#include "kclkrt/paths/path_macros.h"
#include "kclkrt/platform/environment.h"
#include "korel/kclkrt.h"
#include "krt/application.h"
#include "krt/mutex.h"
#include "krt/options.h"
#include "sv/settings.h"

namespace kcl {
namespace {

using Lock = std::lock_guard<std::recursive_mutex>;

struct ApplicationState {
  int32_t initialization_count = 0;
  bool terminated = false;
  // Tested before the mutex is taken when uninhibiting, so it is atomic.
  std::atomic<int32_t> inhibit_count{0};
  int32_t exit_code = 0;
  int32_t component_instances = 0;
  std::unique_ptr<fl::app::init> initializer;
  // Initialisers replaced by a later start (after a start that failed for want of a
  // root, or a stop refused while shutdown was inhibited): kept alive, so the engine
  // stays up, until the real shutdown.
  std::vector<std::unique_ptr<fl::app::init>> superseded;
  std::unique_ptr<UserDataStore> user_data;
};

ApplicationState state;

// Defines $RUNTIMELIBDIR from the install root unless it is defined already; false
// when no root can be found.
bool ensure_runtime_lib_dir(kclRuntimePathMacros& macros) {
  const char* lib_dir = macros.get("$RUNTIMELIBDIR");
  if (lib_dir != nullptr && *lib_dir != '\0') return true;

  std::string root;
  if (const char* defined = macros.get("$KRTROOT")) {
    root = defined;
  } else {
    const char* from_env = env_value("KRTROOT");
    if (!from_env) from_env = env_value("KOREL");
    if (!from_env) from_env = env_value("TBE_INSTALL");
    root = from_env ? std::string(from_env) : svKorelRoot();
    if (!root.empty()) macros.add("$KRTROOT", root.c_str());
  }
  if (root.empty()) return false;
  macros.add("$RUNTIMELIBDIR", (root + "/bin/" + svGetArchName()).c_str());
  return true;
}

// Components list the Korel library functions by $TOOLBOXKORELDIR. When the environment
// named neither the toolbox directory nor a root, the root found at start holds them.
void ensure_toolbox_dirs(kclRuntimePathMacros& macros) {
  const char* root = macros.get("$KRTROOT");
  if (root && !macros.get("$TOOLBOXKORELDIR"))
    macros.define_toolbox_macros(dsPathString_(root) / "toolbox");
}

void ignore_terminal_stop_signals() {
  struct sigaction ignore {};
  ignore.sa_handler = SIG_IGN;
  sigemptyset(&ignore.sa_mask);
  sigaction(SIGTTOU, &ignore, nullptr);
  sigaction(SIGTTIN, &ignore, nullptr);
}

bool initialize(const char** options, size_t count) {
  Lock lock(krt::global_mutex());
  // A background process that touches its terminal must not be stopped.
  ignore_terminal_stop_signals();

  if (state.terminated) {
    kclPrintErrorMsg(KCLKRT_APP_TERMINATED);
    return false;
  }

  bool result = false;
  if (state.initialization_count != 0) {
    // Counted all the same: every start that got this far is matched by one stop.
    kclPrintErrorMsg(KCLKRT_CAN_INIT_APP_ONLY_ONCE);
  } else {
    try {
      int argc = boost::numeric_cast<int32_t>(count);
      auto initializer = std::make_unique<fl::app::init>(argc, options, nullptr);
      if (state.initializer) state.superseded.push_back(std::move(state.initializer));
      state.initializer = std::move(initializer);
    } catch (const std::exception& e) {
      internal_error_output(e.what());
      return false;
    }
    krt::set_event_driven(true);
    krt::set_runtime_variant(3);
    kclRuntimePathMacros& macros = kclRuntimePathMacros::getInstance();
    if (!ensure_runtime_lib_dir(macros)) {
      kclPrintErrorMsg(KCLKRT_CANNOT_FIND_KRT_ROOT);
      return false;
    }
    ensure_toolbox_dirs(macros);
    krt::set_jmi_support_level(5);
    krt::set_toolboxcache_disabled(true);
    if (options != nullptr && count != 0) krt::apply_commandline_args(static_cast<int>(count), options);
    krt::set_use_jit(true);
    krt::set_use_accel(true);
    result = true;
  }

  if (!state.user_data) state.user_data = std::make_unique<UserDataStore>();
  ++state.initialization_count;
  return result;
}

bool terminate() {
  Lock lock(krt::global_mutex());
  if (state.initialization_count == 0) return true;
  if (state.initialization_count-- != 1) return true;
  if (state.inhibit_count.load() != 0) {
    internal_error_output("Attempt to terminate while inhibit-shutdown is active\n");
    return false;
  }
  state.terminated = true;
  state.user_data.reset();
  state.initializer.reset();  // the engine shuts down with its initialiser
  state.superseded.clear();
  return true;
}

}  // namespace

bool initialize_application_if_needed() {
  Lock lock(krt::global_mutex());
  if (state.initialization_count > 0) return true;
  return kclInitializeApplication(nullptr, 0);
}

UserDataStore* user_data_store() { return state.user_data.get(); }

void component_instance_started() {
  Lock lock(krt::global_mutex());
  ++state.component_instances;
}

void component_instance_terminated() {
  Lock lock(krt::global_mutex());
  --state.component_instances;
}

int component_instance_count() {
  Lock lock(krt::global_mutex());
  return state.component_instances;
}

int exit_code() {
  Lock lock(krt::global_mutex());
  return state.exit_code;
}

}  // namespace kcl

bool kclInitializeApplication(const char** options, size_t count) {
  return kcl::guarded_call(false, [&] { return kcl::initialize(options, count); });
}

bool kclTerminateApplication(void) {
  return kcl::guarded_call(false, [] { return kcl::terminate(); });
}

void kclInhibitShutdown(void) {
  kcl::guarded_call(false, [] {
    kcl::Lock lock(krt::global_mutex());
    if (kcl::state.inhibit_count.load() == 0) krt_inhibit_shutdown();
    ++kcl::state.inhibit_count;
    return true;
  });
}

void kclUninhibitShutdown(void) {
  if (kcl::state.inhibit_count.load() == 0) {
    kcl::internal_error_output("Attempt to uninhibit shutdown when shutdown is not inhibited\n");
    return;
  }
  kcl::guarded_call(false, [] {
    kcl::Lock lock(krt::global_mutex());
    // Another thread may have taken the last inhibit since the test above.
    if (kcl::state.inhibit_count.load() == 0) {
      kcl::internal_error_output("Attempt to uninhibit shutdown when shutdown is not inhibited\n");
      return false;
    }
    if (--kcl::state.inhibit_count == 0) krt_uninhibit_shutdown();
    return true;
  });
}

void kclSetExitCode(int code) {
  kcl::Lock lock(krt::global_mutex());
  kcl::state.exit_code = code;
}

bool kclIsKcc(void) { return krt_is_kcc(); }

bool kclkrtInitialize(void) { return true; }

void kclAcquireMutex(void) { krt_acquire_mutex(); }
void kclReleaseMutex(void) { krt_release_mutex(); }
