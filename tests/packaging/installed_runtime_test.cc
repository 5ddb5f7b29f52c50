// Installs this build's runtime root into a temporary prefix and builds against it the
// way another project would: the example host with find_package(KorelRuntime) and its
// korel_add_component, and a C host with pkg-config. Nothing of the build tree is used
// by what is built, and no root is named in the environment when it runs.
#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "support/elf_search_path.h"
#include "support/subprocess.h"

namespace {

namespace fs = std::filesystem;
using korel::test::Environment;
using korel::test::ProcessResult;
using korel::test::run_program;

const std::string kSanitize = KOREL_SANITIZE_FLAGS;

// Where the runtime may be found other than by its own location.
Environment without_root() {
  Environment env;
  for (const char* name : {"KRTROOT", "KOREL", "TBE_INSTALL", "TOOLBOXKORELDIR", "TOOLBOXDEPLOYDIR",
                           "LD_LIBRARY_PATH"})
    env[name] = std::nullopt;
  return env;
}

// Compilers of the build under test; kcc uses them too, so that in sanitizer builds
// what links the instrumented runtime is instrumented as well.
Environment compilers() {
  Environment env;
  if (!kSanitize.empty()) {
    env["KCC_CC"] = std::string(KOREL_C_COMPILER) + " " + kSanitize;
    env["KCC_CXX"] = std::string(KOREL_CXX_COMPILER) + " " + kSanitize;
  }
  return env;
}

std::vector<std::string> words(const std::string& text) {
  std::istringstream in(text);
  std::vector<std::string> out;
  for (std::string word; in >> word;) out.push_back(word);
  return out;
}

::testing::AssertionResult succeeded(const ProcessResult& r) {
  if (r.exit_code == 0) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "exit " << r.exit_code << "\n" << r.out << r.err;
}

TEST(InstalledRuntime, HostsBuildAgainstTheInstalledRootAlone) {
  korel::test::TempDir work;
  const std::string root = fs::canonical(work.path()).string() + "/krt";
  ASSERT_TRUE(succeeded(run_program(
      {KOREL_CMAKE, "--install", korel::test::binary_dir(), "--prefix", root})));
  for (const char* file :
       {"bin/linux-x86_64/libkclkrt.so", "bin/linux-x86_64/libkorel_krt.so", "bin/linux-x86_64/kcc",
        "bin/linux-x86_64/extractKAR", "include/korel/kclkrt.h", "include/korel/array.hpp",
        "toolbox/korel/datafun/mean.k", "toolbox/korel/elmat/linspace.k",
        "lib/cmake/KorelRuntime/KorelRuntimeConfig.cmake", "lib/pkgconfig/kclkrt.pc"})
    EXPECT_TRUE(fs::is_regular_file(root + "/" + file)) << file;
  // Libraries and tools look for libraries beside themselves only, never in the
  // working directory.
  for (const auto& entry : fs::directory_iterator(root + "/bin/linux-x86_64"))
    EXPECT_EQ(korel::test::search_path_problems(entry.path(), {"$ORIGIN"}), std::vector<std::string>{});

  // The example host: its component is built by the installed kcc and calls the
  // installed Korel library functions.
  const std::string host = work.path() + "/host";
  std::vector<std::string> configure{KOREL_CMAKE, "-S", std::string(KOREL_SOURCE_DIR) + "/examples/installed_host",
                                     "-B", host, "-DCMAKE_PREFIX_PATH=" + root,
                                     std::string("-DCMAKE_C_COMPILER=") + KOREL_C_COMPILER,
                                     std::string("-DCMAKE_CXX_COMPILER=") + KOREL_CXX_COMPILER};
  if (!kSanitize.empty()) {
    configure.push_back("-DCMAKE_CXX_FLAGS=" + kSanitize);
    configure.push_back("-DCMAKE_EXE_LINKER_FLAGS=" + kSanitize);
  }
  ASSERT_TRUE(succeeded(run_program(configure, compilers())));
  ASSERT_TRUE(succeeded(run_program({KOREL_CMAKE, "--build", host}, compilers())));
  ProcessResult run = run_program({host + "/descriptive_host"}, without_root());
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(run.out, "mean 4.4, std 1.816590\nramp: 1 0.75 0.5 0.25 0\n");
  EXPECT_NE(run.err.find("call failed: var needs a vector."), std::string::npos) << run.err;

  // A C host compiled with what pkg-config says finds the root from the library's
  // own location, and with it the Korel library functions.
  ProcessResult flags = run_program({"/usr/bin/env", "pkg-config", "--cflags", "--libs", "kclkrt"},
                                    {{"PKG_CONFIG_PATH", root + "/lib/pkgconfig"}});
  ASSERT_TRUE(succeeded(flags));
  std::vector<std::string> compile{KOREL_C_COMPILER};
  for (std::string& flag : words(kSanitize)) compile.push_back(flag);
  compile.insert(compile.end(), {std::string(KOREL_SOURCE_DIR) + "/examples/start_stop/main.c", "-o",
                                 work.path() + "/start_stop"});
  for (std::string& flag : words(flags.out)) compile.push_back(flag);
  ASSERT_TRUE(succeeded(run_program(compile)));
  ProcessResult started = run_program({work.path() + "/start_stop"}, without_root());
  ASSERT_TRUE(succeeded(started));
  EXPECT_NE(started.out.find("$RUNTIMELIBDIR     " + root + "/bin/linux-x86_64\n"), std::string::npos)
      << started.out;
  EXPECT_NE(started.out.find("$TOOLBOXKORELDIR   " + root + "/toolbox/korel\n"), std::string::npos)
      << started.out;
}

}  // namespace
