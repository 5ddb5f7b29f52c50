// The extractKAR program as a user meets it: its output, its messages, its exit codes.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <fstream>

#include "kar/writer.h"
#include "support/python_zip.h"
#include "support/subprocess.h"
#include "support/zip_builder.h"

using korel::test::run_program;
using korel::test::TempDir;

namespace {

// Runs extractKAR in the C locale, under a time limit, so that a hang fails the test
// rather than stalling it (timeout exits with 124).
korel::test::ProcessResult run_in_c_locale(std::vector<std::string> argv) {
  argv.insert(argv.begin(), {"/usr/bin/timeout", "30"});
  return run_program(argv, {{"LC_ALL", "C"}, {"LC_CTYPE", std::nullopt}, {"LANG", std::nullopt}});
}

}  // namespace

TEST(ExtractKarTool, ListsExtractsAndFailsClearly) {
  TempDir dir;
  const std::string d = dir.path();
  std::filesystem::create_directories(d + "/tree/key/sub");
  std::ofstream(d + "/tree/key/sub/f.k") << "y = 2;\n";
  kar::write_archive(d + "/tree", d + "/comp.kar");

  auto listed = run_program({EXTRACTKAR, "--list", d + "/comp.kar"});
  EXPECT_EQ(listed.exit_code, 0) << listed.err;
  EXPECT_EQ(listed.out, "           0  key/\n           0  key/sub/\n           7  key/sub/f.k\n");

  // Default target beside the archive; verbose names each entry.
  auto extracted = run_program({EXTRACTKAR, "-v", d + "/comp.kar"});
  EXPECT_EQ(extracted.exit_code, 0) << extracted.err;
  EXPECT_EQ(extracted.out, "key/\nkey/sub/\nkey/sub/f.k\n");
  EXPECT_TRUE(std::filesystem::is_regular_file(d + "/comp_krt/key/sub/f.k"));

  auto limited = run_program({EXTRACTKAR, "--max-size", "3", d + "/comp.kar", d + "/small"});
  EXPECT_EQ(limited.exit_code, 1);
  EXPECT_EQ(limited.err, "extractKAR: Cannot extract '" + d + "/comp.kar' into '" + d +
                             "/small': entry 'key/sub/f.k': the extraction would pass its limit of 3 "
                             "bytes; the archive is refused\n");

  korel::test::ZipBuilder().file("../evil", "x").write(d + "/evil.kar");
  auto evil = run_program({EXTRACTKAR, d + "/evil.kar", d + "/out"});
  EXPECT_EQ(evil.exit_code, 1);
  EXPECT_NE(evil.err.find("entry '../evil': an entry name with a '..' element is refused"),
            std::string::npos) << evil.err;
  EXPECT_FALSE(std::filesystem::exists(d + "/evil"));

  auto missing = run_program({EXTRACTKAR, "--list", d + "/missing.kar"});
  EXPECT_EQ(missing.exit_code, 1);
  EXPECT_EQ(missing.err, "extractKAR: Cannot list '" + d +
                             "/missing.kar': cannot open the archive: No such file or directory\n");

  for (std::vector<std::string> bad : std::vector<std::vector<std::string>>{
           {EXTRACTKAR}, {EXTRACTKAR, "--bogus", "a.kar"}, {EXTRACTKAR, "--max-size", "-1", "a.kar"},
           {EXTRACTKAR, "--max-size", "12k", "a.kar"}, {EXTRACTKAR, "--list", "a.kar", "dir"},
           {EXTRACTKAR, "a.kar", "dir", "extra"}}) {
    auto usage = run_program(bad);
    EXPECT_EQ(usage.exit_code, 2) << bad.back();
    EXPECT_FALSE(usage.err.empty());
  }
  EXPECT_EQ(run_program({EXTRACTKAR, "--help"}).exit_code, 0);
}

TEST(ExtractKarTool, RefusesWhatIsNoRegularFileAtOnce) {
  TempDir dir;
  const std::string d = dir.path();
  ASSERT_EQ(::mkfifo((d + "/fifo.kar").c_str(), 0600), 0);
  std::filesystem::create_directories(d + "/directory.kar");
  for (const std::string archive : {d + "/fifo.kar", d + "/directory.kar", std::string("/dev/null")}) {
    SCOPED_TRACE(archive);
    auto listed = run_in_c_locale({EXTRACTKAR, "--list", archive});
    EXPECT_EQ(listed.exit_code, 1);
    EXPECT_EQ(listed.err,
              "extractKAR: Cannot list '" + archive + "': the archive is not a regular file\n");
    auto extracted = run_in_c_locale({EXTRACTKAR, archive, d + "/out"});
    EXPECT_EQ(extracted.exit_code, 1);
    EXPECT_EQ(extracted.err, "extractKAR: Cannot extract '" + archive + "' into '" + d +
                                 "/out': the archive is not a regular file\n");
    EXPECT_FALSE(std::filesystem::exists(d + "/out")) << "a target was made for nothing";
  }
}

TEST(ExtractKarTool, ExtractsNamesFlaggedUtf8InTheCLocaleWithTheTimeOfExtraction) {
  TempDir dir;
  const std::string d = dir.path();
  // "données/café.k" and "naïve.txt", spelled in UTF-8 bytes.
  const std::string directory = "donn\xc3\xa9" "es", file = "caf\xc3\xa9.k", other = "na\xc3\xafve.txt";
  ASSERT_EQ(korel::test::write_zip_with_python(
                d + "/names.kar", {{directory + "/" + file, "x = 1;\n"}, {other, "plain\n"}}),
            "");
  auto listed = run_in_c_locale({EXTRACTKAR, "--list", d + "/names.kar"});
  EXPECT_EQ(listed.exit_code, 0) << listed.err;
  EXPECT_EQ(listed.out, "           7  " + directory + "/" + file + "\n           6  " + other + "\n");

  const auto before = std::filesystem::file_time_type::clock::now() - std::chrono::seconds(2);
  auto extracted = run_in_c_locale({EXTRACTKAR, d + "/names.kar", d + "/out"});
  EXPECT_EQ(extracted.exit_code, 0) << extracted.err;
  EXPECT_EQ(korel::test::read_file(d + "/out/" + directory + "/" + file), "x = 1;\n");
  EXPECT_EQ(korel::test::read_file(d + "/out/" + other), "plain\n");
  for (const std::string name : {directory, directory + "/" + file, other}) {
    std::error_code ec;
    EXPECT_GE(std::filesystem::last_write_time(d + "/out/" + name, ec), before) << name;
    EXPECT_FALSE(ec) << name;
  }
}
