// A stand-alone program's entry: the Korel entry function called with the command
// line, its outcome as the exit code and, on failure, its message on standard error.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kclkrt/runtime/application.h"
#include "korel/kclkrt.h"
#include "support/subprocess.h"

namespace {

const std::string kFunctions = KCLKRT_TEST_FUNCTIONS;

// Runs kclMain in a fresh process over the test functions and prints what it returned
// and what exit code it recorded.
korel::test::ProcessResult run_main(std::vector<const char*> argv, const char* name, int nlhs) {
  return korel::test::run_in_child([&] {
    krtInstance* k = nullptr;
    if (!kclInitializeApplication(nullptr, 0) || !kclInitializeInstance(&k) || !kclAddPath(k, kFunctions.c_str()))
      return 10;
    kclSetExitCode(99);
    int result = kclMain(k, static_cast<int>(argv.size()), argv.data(), name, nlhs);
    std::printf("result=%d recorded=%d\n", result, kcl::exit_code());
    return 0;
  });
}

}  // namespace

TEST(MainEntry, ExitCodeMessageAndInputs) {
  // Arguments after the program's name arrive as text inputs, in order.
  auto ok = run_main({"program", "alpha", "beta gamma"}, "main_entry", 0);
  ASSERT_EQ(ok.exit_code, 0) << ok.err;
  EXPECT_EQ(ok.out, "alpha\nbeta gamma\nresult=0 recorded=0\n");
  EXPECT_EQ(ok.err, "");

  // The program's name alone: no inputs at all.
  auto bare = run_main({"program"}, "main_entry", 0);
  EXPECT_EQ(bare.exit_code, 0) << bare.err;
  EXPECT_EQ(bare.out, "result=0 recorded=0\n");

  // A result nobody asked for is freed (the sanitizer run would see it leak).
  auto unasked = run_main({"program"}, "answer", 0);
  EXPECT_EQ(unasked.exit_code, 0) << unasked.err;
  EXPECT_EQ(unasked.out, "result=0 recorded=0\n");

  // A failure: -1, recorded, and the message once on standard error, not on output.
  auto failed = run_main({"program", "fail", "x"}, "main_entry", 0);
  ASSERT_EQ(failed.exit_code, 0) << failed.err;
  EXPECT_EQ(failed.out, "result=-1 recorded=-1\n");
  EXPECT_EQ(failed.err, "Asked to fail after 2 arguments.\nError in main_entry (line 4)\n");

  // An entry function that does not exist, or a negative output count, fails alike.
  auto missing = run_main({"program"}, "no_such_entry", 1);
  EXPECT_EQ(missing.exit_code, 0) << missing.err;
  EXPECT_EQ(missing.out, "result=-1 recorded=-1\n");
  EXPECT_NE(missing.err.find("no_such_entry"), std::string::npos);
  auto negative = run_main({"program"}, "answer", -1);
  EXPECT_EQ(negative.exit_code, 0) << negative.err;
  EXPECT_EQ(negative.out, "result=-1 recorded=-1\n");
  EXPECT_NE(negative.err, "");
}

TEST(MainEntry, RunMainHandsBackTheHostsResult) {
  static int seen_argc = 0;
  const char* argv[] = {"program", "one"};
  int result = kclRunMain(
      [](int argc, const char**) {
        seen_argc = argc;
        return 7;
      },
      2, argv);
  EXPECT_EQ(result, 7);
  EXPECT_EQ(seen_argc, 2);
}
