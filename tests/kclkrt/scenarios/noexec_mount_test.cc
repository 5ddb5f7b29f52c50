// Extractions on a file system mounted noexec: a component with native functions is
// refused at its start, saying what is wrong and how to move it; one without them
// starts as usual.
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "private_mounts.h"
#include "scenario.h"

namespace fs = std::filesystem;
using korel::scenario::Component;
using korel::scenario::Scenario;
using korel::test::ProcessResult;
using korel::test::run_program;

namespace {

// In a mount namespace of the calling process's own, a noexec tmpfs on `directory`
// holding copies of the `archives`.
bool mount_noexec(const std::string& directory, const std::vector<std::string>& archives) {
  if (!korel::scenario::enter_private_mounts() ||
      ::mount("scenario", directory.c_str(), "tmpfs", MS_NOEXEC | MS_NOSUID | MS_NODEV, "size=16m,mode=0755") != 0)
    return false;
  std::error_code error;
  for (const std::string& archive : archives)
    if (!fs::copy_file(archive, directory + "/" + fs::path(archive).filename().string(), error)) return false;
  return true;
}

bool says(const std::string& text, const std::vector<std::string>& parts) {
  for (const std::string& part : parts)
    if (text.find(part) == std::string::npos) return false;
  return true;
}

}  // namespace

TEST(NoexecMount, NativeFunctionsThereAreRefusedAtTheStartWithTheWayOut) {
  if (::geteuid() != 0) GTEST_SKIP() << "mounting a noexec file system takes root";
  Scenario s;
  const std::string mounted = s.dir() + "/noexec";
  fs::create_directories(mounted);
  const Component& native = s.components[2];
  const Component& plain = s.components[0];
  // The same components, with their archives on the noexec mount.
  auto moved = [&](Component c) {
    c.archive = mounted + "/" + c.name + ".kar";
    return c;
  };
  const std::vector<std::string> archives = {native.archive, plain.archive};
  auto run = [&](const std::vector<std::string>& options, const Component& component, bool cache_there) {
    auto env = s.environment();
    if (cache_there) env["KRT_CACHE_ROOT"] = mounted;
    return run_program(s.client(options, {component}), env, [&] { return mount_noexec(mounted, archives); });
  };

  ProcessResult local = run({"--local"}, moved(native), false);
  if (local.exit_code == 125) GTEST_SKIP() << "no mount namespace here";
  EXPECT_EQ(local.exit_code, 1);
  EXPECT_EQ(local.out, "0 scen_native did not start\n");
  EXPECT_TRUE(says(local.err, {"'" + mounted + "/scen_native_krt'", "noexec", "kcc --cache"})) << local.err;

  ProcessResult cached = run({}, native, true);
  EXPECT_EQ(cached.exit_code, 1);
  EXPECT_EQ(cached.out, "0 scen_native did not start\n");
  EXPECT_TRUE(says(cached.err, {"'" + mounted + "/.krtCache1.0/", "noexec", "KRT_CACHE_ROOT"})) << cached.err;

  for (bool cache_there : {false, true}) {
    ProcessResult started = run(cache_there ? std::vector<std::string>{} : std::vector<std::string>{"--local"},
                                cache_there ? plain : moved(plain), cache_there);
    EXPECT_EQ(started.exit_code, 0) << started.out << started.err;
    EXPECT_EQ(started.out, "0 scen_loop ok\n");
    EXPECT_EQ(started.err, "");
  }
}
