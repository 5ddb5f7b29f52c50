// The application lifecycle as a C host sees it. Every scenario runs in its own
// process: once the runtime has shut down, a process cannot start it again.
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "support/subprocess.h"

namespace fs = std::filesystem;
using korel::test::ProcessResult;

namespace {

const char kOnlyOnce[] = "Error: kclInitializeApplication can only be called once per application.\n";
const char kTerminated[] =
    "Error: kclInitializeApplication may not be called once \n kclTerminateApplication has been called.\n";
const char kNoRoot[] = "Cannot find KRT root directory in environment variable KRTROOT.\n";

using Env = std::map<std::string, std::optional<std::string>>;

// No install root from the environment: the runtime must find it, or not, by itself.
Env without_root_variables() {
  return {{"KRTROOT", std::nullopt},         {"KOREL", std::nullopt},
          {"TBE_INSTALL", std::nullopt},     {"TOOLBOXKORELDIR", std::nullopt},
          {"TOOLBOXDEPLOYDIR", std::nullopt}};
}

std::string host() { return korel::test::binary_dir() + "/tests/lifecycle_host"; }

ProcessResult run_host(const std::vector<std::string>& commands, Env env = without_root_variables(),
                       const std::string& program = host()) {
  std::vector<std::string> argv{program};
  argv.insert(argv.end(), commands.begin(), commands.end());
  return korel::test::run_program(argv, env);
}

std::string staged_root() { return fs::canonical(korel::test::binary_dir() + "/krt").string(); }

}  // namespace

TEST(Lifecycle, SecondStartFailsButMustStillBeMatched) {
  // After a refused second start the first stop leaves the runtime up (a third start
  // is refused as "only once", not as "terminated"); the second stop shuts it down.
  ProcessResult r = run_host({"init", "init", "term", "init", "term", "term", "init"});
  ASSERT_EQ(r.exit_code, 0) << r.err;
  EXPECT_EQ(r.out, "init=1\ninit=0\nterm=1\ninit=0\nterm=1\nterm=1\ninit=0\n");
  EXPECT_EQ(r.err, std::string(kOnlyOnce) + kOnlyOnce + kTerminated);
}

TEST(Lifecycle, TerminateWithoutStartAndStartAfterShutdown) {
  ProcessResult r = run_host({"term", "init", "term", "init", "init"});
  ASSERT_EQ(r.exit_code, 0) << r.err;
  EXPECT_EQ(r.out, "term=1\ninit=1\nterm=1\ninit=0\ninit=0\n");
  EXPECT_EQ(r.err, std::string(kTerminated) + kTerminated);
}

TEST(Lifecycle, InhibitedShutdownIsRefusedAndLeavesTheRuntimeRestartable) {
  // The refused stop still lowers the count: the next stop has nothing to match, and a
  // later start runs in full rather than being "only once" or "terminated".
  ProcessResult r =
      run_host({"init", "inhibit", "inhibit", "term", "term", "uninhibit", "uninhibit", "init", "term", "init"});
  ASSERT_EQ(r.exit_code, 0) << r.err;
  EXPECT_EQ(r.out, "init=1\nterm=0\nterm=1\ninit=1\nterm=1\ninit=0\n");
  EXPECT_EQ(r.err, std::string("Attempt to terminate while inhibit-shutdown is active\n") + kTerminated);
}

TEST(Lifecycle, UninhibitWithoutInhibitLeavesTheCountAtZero) {
  // Were the count to go below zero, the inhibit/uninhibit pair would complain again,
  // and the stop would not be refused by the final inhibit.
  ProcessResult r = run_host({"uninhibit", "inhibit", "uninhibit", "init", "inhibit", "term"});
  ASSERT_EQ(r.exit_code, 0) << r.err;
  EXPECT_EQ(r.out, "init=1\nterm=0\n");
  EXPECT_EQ(r.err,
            "Attempt to uninhibit shutdown when shutdown is not inhibited\n"
            "Attempt to terminate while inhibit-shutdown is active\n");
}

TEST(Lifecycle, RuntimeLibDirFollowsTheInstallRoot) {
  ProcessResult found = run_host({"init", "macro", "$KRTROOT", "macro", "$RUNTIMELIBDIR", "term"});
  ASSERT_EQ(found.exit_code, 0) << found.err;
  EXPECT_EQ(found.out, "init=1\n$KRTROOT=" + staged_root() + "\n$RUNTIMELIBDIR=" + staged_root() +
                           "/bin/linux-x86_64\nterm=1\n");
  EXPECT_EQ(found.err, "");

  // The first root variable set wins; the toolbox directories follow from it.
  Env env = without_root_variables();
  env["KOREL"] = "/k2";
  env["TBE_INSTALL"] = "/t3";
  EXPECT_EQ(run_host({"init", "macro", "$runtimelibdir"}, env).out, "init=1\n$runtimelibdir=/k2/bin/linux-x86_64\n");
}

TEST(Lifecycle, MissingInstallRootFailsWithoutCountingTheStart) {
  // A copy of the runtime outside any install root finds none by itself.
  korel::test::TempDir dir;
  fs::path lib_dir = staged_root() + "/bin/linux-x86_64";
  for (const auto& entry : fs::directory_iterator(lib_dir))
    if (entry.path().extension() == ".so") fs::copy_file(entry.path(), dir.path() / entry.path().filename());
  fs::path program = fs::path(dir.path()) / "lifecycle_host";
  fs::copy_file(host(), program);

  Env env = without_root_variables();
  env["LD_LIBRARY_PATH"] = dir.path();
  // The failed start is not counted: the stop has nothing to match and the next start,
  // once a root is known, is a first start.
  ProcessResult r = run_host({"init", "term", "setenv", "KRTROOT", "/r", "init", "macro", "$RUNTIMELIBDIR", "term", "init"},
                             env, program.string());
  ASSERT_EQ(r.exit_code, 0) << r.err;
  EXPECT_EQ(r.out, "init=0\nterm=1\ninit=1\n$RUNTIMELIBDIR=/r/bin/linux-x86_64\nterm=1\ninit=0\n");
  EXPECT_EQ(r.err, std::string(kNoRoot) + kTerminated);
}

TEST(Lifecycle, OptionCountBeyondIntRangeIsRefused) {
  ProcessResult r = run_host({"init_count", "2147483648", "init_count", "18446744073709551615", "init", "term"});
  ASSERT_EQ(r.exit_code, 0) << r.err;
  EXPECT_EQ(r.out, "init=0\ninit=0\ninit=1\nterm=1\n");
  // Written as the conversion reports it, without a newline of its own.
  EXPECT_EQ(r.err, "bad numeric conversion: positive overflowbad numeric conversion: positive overflow");
}
