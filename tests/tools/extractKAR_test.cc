// The extractKAR program as a user meets it: its output, its messages, its exit codes.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "kar/writer.h"
#include "support/subprocess.h"
#include "support/zip_builder.h"

using korel::test::run_program;
using korel::test::TempDir;

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
