// Every program of examples/programs built with kcc and run as a user runs it; its output
// must be what tests/examples/expected_outputs.py worked out in Python.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "support/subprocess.h"

using korel::test::Environment;
using korel::test::run_program;
using korel::test::TempDir;

namespace {

namespace fs = std::filesystem;

std::string read(const fs::path& file) {
  std::ifstream in(file);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

TEST(ExamplePrograms, EachBuildsWithKccAndPrintsWhatPythonWorkedOut) {
  const char* programs[] = {"newton", "quadrature", "bisection", "sorting", "wordcount", "hanoi",
                            "validation", "grades", "sieve", "closures", "collatz", "memo"};
  TempDir temp;
  const Environment env = {
      {"KRT_CACHE_ROOT", temp.path() + "/cache"}, {"HOME", temp.path() + "/home"},
      {"KRTROOT", std::nullopt}, {"KOREL", std::nullopt}, {"TBE_INSTALL", std::nullopt},
      {"KCC_CC", KCC_TEST_CC[0] ? std::optional<std::string>(KCC_TEST_CC) : std::nullopt}};
  for (const char* name : programs) {
    SCOPED_TRACE(name);
    const fs::path source = fs::path(EXAMPLE_PROGRAMS) / name;
    const std::string out = temp.path() + "/" + name;
    std::vector<std::string> build = {KCC, "--name", name, "--output", out,
                                      "--warning", "off KRT:Extract"};
    for (const auto& entry : fs::directory_iterator(source))
      if (entry.path().extension() == ".k") build.push_back(entry.path());
    auto built = run_program(build, env);
    ASSERT_EQ(built.exit_code, 0) << built.out << built.err;
    auto run = run_program({out + "/" + name}, env);
    EXPECT_EQ(run.exit_code, 0) << run.err;
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(run.out, read(source / (std::string(name) + ".expected")));
  }
}

}  // namespace
