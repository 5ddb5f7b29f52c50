// What a start and a stop do to the engine, seen from inside the library.
#include <gtest/gtest.h>

#include <signal.h>

#include <string>
#include <vector>

#include "kclkrt/runtime/application.h"
#include "korel/kclkrt.h"
#include "krt/application.h"
#include "krt/options.h"
#include "support/subprocess.h"

namespace {

bool ignored(int signal) {
  struct sigaction current {};
  sigaction(signal, nullptr, &current);
  return current.sa_handler == SIG_IGN;
}

}  // namespace

TEST(ApplicationEngine, StartSetsEngineOptionsAndStopShutsTheEngineDown) {
  auto r = korel::test::run_in_child([] {
    setenv("KRTROOT", "/opt/k", 1);
    const char* options[] = {"-nodisplay", "-krtuserdata", "k:v"};
    if (kcl::user_data_store() != nullptr) return 1;
    if (!kclInitializeApplication(options, 3)) return 2;
    krt::Settings s = krt::settings();
    if (!s.event_driven || s.runtime_variant != 3 || s.jmi_support_level != 5 || !s.toolboxcache_disabled ||
        !s.use_jit || !s.use_accel)
      return 3;
    if (s.commandline_args != std::vector<std::string>{"-nodisplay", "-krtuserdata", "k:v"}) return 4;
    if (!ignored(SIGTTOU) || !ignored(SIGTTIN)) return 5;
    if (fl::app::live_initializers() != 1 || kcl::user_data_store() == nullptr) return 6;
    // Already started: nothing more happens.
    if (!kcl::initialize_application_if_needed() || fl::app::starts() != 1) return 7;
    if (!kclTerminateApplication()) return 8;
    if (fl::app::live_initializers() != 0 || kcl::user_data_store() != nullptr) return 9;
    return 0;
  });
  EXPECT_EQ(r.exit_code, 0) << r.err;
  EXPECT_EQ(r.err, "");
}

TEST(ApplicationEngine, StartIfNeededStartsOnceAndReplacedInitializersLiveToShutdown) {
  auto r = korel::test::run_in_child([] {
    setenv("KRTROOT", "/opt/k", 1);
    if (!kcl::initialize_application_if_needed() || fl::app::starts() != 1) return 1;
    // A stop refused under inhibition keeps the engine up; the next start brings a
    // second initialiser and the engine stops only with the real shutdown.
    kclInhibitShutdown();
    if (krt_shutdown_inhibit_depth() != 1) return 2;
    if (kclTerminateApplication()) return 3;
    kclUninhibitShutdown();
    if (krt_shutdown_inhibit_depth() != 0) return 4;
    if (!kcl::initialize_application_if_needed() || fl::app::starts() != 2) return 5;
    if (fl::app::live_initializers() != 2) return 6;
    if (!kclTerminateApplication() || fl::app::live_initializers() != 0) return 7;
    return 0;
  });
  EXPECT_EQ(r.exit_code, 0) << r.err;
}
