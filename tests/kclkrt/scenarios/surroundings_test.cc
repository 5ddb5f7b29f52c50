// What a start meets around it that its builder did not put there: libraries planted in
// the working directory under the names of real dependencies, a fifo where the archive
// should be, entry names the C locale cannot spell. Every process runs under a time
// limit, so that a start that hangs fails the test instead of stalling it.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "scenario.h"
#include "support/python_zip.h"

namespace fs = std::filesystem;
using korel::scenario::Component;
using korel::scenario::Scenario;
using korel::test::Environment;
using korel::test::ProcessResult;
using korel::test::read_file;
using korel::test::run_program;

namespace {

const std::string kPlantedMarker = "planted-library-was-loaded";

// `argv` started from the working directory `cwd`; timeout's exit code 124 says it hung.
ProcessResult run_from(const std::string& cwd, const std::vector<std::string>& argv,
                       const Environment& env) {
  std::vector<std::string> command = {"/bin/sh", "-c", "cd \"$0\" && exec /usr/bin/timeout 60 \"$@\"",
                                      cwd};
  command.insert(command.end(), argv.begin(), argv.end());
  return run_program(command, env);
}

// A copy of the kcc-built program `program` (with its archive beside it, when it has
// one) in `dir`; the copy's path.
std::string copy_program(const std::string& program, const std::string& dir) {
  fs::create_directories(dir);
  const std::string name = fs::path(program).filename();
  fs::copy_file(program, dir + "/" + name);
  if (fs::exists(program + ".kar")) fs::copy_file(program + ".kar", dir + "/" + name + ".kar");
  return dir + "/" + name;
}

}  // namespace

TEST(Surroundings, LibrariesPlantedInTheWorkingDirectoryAreNotLoaded) {
  Scenario s;
  const std::string program =
      copy_program(std::string(KCLKRT_SCENARIO_COMPONENTS) + "/scen_loop", s.dir() + "/app");
  Environment env = s.environment();
  env["LD_LIBRARY_PATH"] = std::nullopt;
  // Dependencies of the runtime's libraries that the program itself does not load first.
  for (const std::string name : {"libxxhash.so.0", "libarchive.so.13", "libstdc++.so.6"}) {
    SCOPED_TRACE(name);
    const std::string cwd = s.dir() + "/cwd-" + name;
    fs::create_directories(cwd);
    fs::copy_file(KCLKRT_PLANTED_LIBRARY, cwd + "/" + name);
    const ProcessResult run = run_from(cwd, {program, "7"}, env);
    EXPECT_FALSE(fs::exists(cwd + "/" + kPlantedMarker)) << "the planted " << name << " was loaded";
    EXPECT_EQ(run.exit_code, 0) << run.out << run.err;
  }
  // The planted library leaves its marker when it is loaded, here on purpose.
  env["LD_LIBRARY_PATH"] = s.dir() + "/cwd-libxxhash.so.0";
  run_from(s.dir() + "/cwd-libxxhash.so.0", {program, "7"}, env);
  EXPECT_TRUE(fs::exists(s.dir() + "/cwd-libxxhash.so.0/" + kPlantedMarker));
}

TEST(Surroundings, AFifoInPlaceOfTheArchiveFailsACachedStartPromptly) {
  Scenario s;
  const Environment env = s.environment();
  // A program built with --cache, and the same start through a host.
  const std::string program = copy_program(
      std::string(KCLKRT_SCENARIO_COMPONENTS) + "/cached/scen_loop", s.dir() + "/cached");
  Component component = s.components[0];
  const std::vector<std::pair<std::string, std::vector<std::string>>> starts = {
      {program + ".kar", {program, "7"}},
      {component.archive, s.client({}, {component})},
  };
  for (const auto& [archive, argv] : starts) {
    SCOPED_TRACE(argv[0]);
    fs::remove(archive);
    ASSERT_EQ(::mkfifo(archive.c_str(), 0600), 0);
    const ProcessResult run = run_from(s.dir(), argv, env);
    EXPECT_EQ(run.exit_code, 1) << run.out << run.err;
    EXPECT_NE(run.err.find("Cannot extract '" + archive + "' into '" + s.cache_dir() + "/"),
              std::string::npos) << run.err;
    EXPECT_NE(run.err.find("': the archive is not a regular file\n"), std::string::npos) << run.err;
    EXPECT_NE(run.err.find("Could not access the KRT component cache.\n"), std::string::npos)
        << run.err;
  }
}

TEST(Surroundings, EntryNamesFlaggedUtf8AreExtractedAsUtf8InTheCLocale) {
  Scenario s;
  // A component whose data file has a name outside ASCII: données/café.txt in UTF-8.
  const std::string data = "donn\xc3\xa9" "es/caf\xc3\xa9.txt";
  const Component component{"scen_utf", "scen_utf_key", s.dir() + "/utf/scen_utf.kar"};
  fs::create_directories(s.dir() + "/utf");
  ASSERT_EQ(korel::test::write_zip_with_python(
                component.archive,
                {{".korel/", ""}, {".korel/korelrc", ""},
                 {component.key + "/scen_utf.k",
                  "function s = scen_utf(n)\ns = 0;\nfor i = 1:n\n  s = s + i * i;\nend\n"},
                 {component.key + "/" + data, "caf\xc3\xa9\n"}}),
            "");
  Environment env = s.environment();
  env["LC_ALL"] = "C";
  env["LC_CTYPE"] = std::nullopt;
  env["LANG"] = std::nullopt;
  const std::vector<std::pair<std::vector<std::string>, std::string>> routes = {
      {{"--local"}, s.dir() + "/utf/scen_utf_krt/" + component.key},
      {{}, s.cache_dir() + "/" + component.key + "/" + component.key},
  };
  for (const auto& [options, extraction] : routes) {
    SCOPED_TRACE(extraction);
    const ProcessResult run = run_from(s.dir(), s.client(options, {component}), env);
    EXPECT_EQ(run.exit_code, 0) << run.out << run.err;
    EXPECT_EQ(run.out, "0 scen_utf ok\n") << run.err;
    EXPECT_EQ(read_file(extraction + "/" + data), "caf\xc3\xa9\n");
  }
}
