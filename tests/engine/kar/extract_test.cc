#include <gtest/gtest.h>
#include <locale.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>

#include "engine/kar/tree_snapshot.h"
#include "kar/archive_input.h"
#include "kar/error.h"
#include "kar/extract.h"
#include "kar/kar.h"
#include "kar/listing.h"
#include "kar/writer.h"
#include "support/python_zip.h"
#include "support/subprocess.h"
#include "support/zip_builder.h"

namespace fs = std::filesystem;
using korel::test::snapshot;
using korel::test::TempDir;

namespace {

void write_file(const std::string& path, const std::string& data) {
  fs::create_directories(fs::path(path).parent_path());
  std::ofstream(path, std::ios::binary) << data;
}

// A component-like tree: nested and empty directories, a dot directory, empty, binary
// and executable files.
void make_tree(const std::string& root) {
  write_file(root + "/key1/a/b/c/deep.k", "function y = deep(x)\n  y = x;\nend\n");
  write_file(root + "/key1/a/empty.k", "");
  write_file(root + "/.korel/krt.prf", "prefs\n");
  fs::create_directories(root + "/empty_dir/inner_empty");
  std::string binary(300000, '\0');
  std::mt19937 random(7);
  for (char& c : binary) c = static_cast<char>(random());
  write_file(root + "/key1/data.bin", binary);
  write_file(root + "/run.sh", "#!/bin/sh\n");
  fs::permissions(root + "/run.sh", fs::perms(0755));
  // Old, as the files of an archive built long ago.
  for (const auto& entry : fs::recursive_directory_iterator(root))
    fs::last_write_time(entry.path(), fs::file_time_type::clock::now() - std::chrono::hours(24 * 400));
}

// Names below `root` whose modification time is before `since`.
std::vector<std::string> older_than(const std::string& root, fs::file_time_type since) {
  std::vector<std::string> old;
  for (const auto& entry : fs::recursive_directory_iterator(root))
    if (entry.last_write_time() < since) old.push_back(fs::relative(entry.path(), root));
  return old;
}

std::string captured_errors;
int capture_error(const char* text) {
  captured_errors += text;
  return 0;
}

}  // namespace

TEST(KarExtract, RoundTripsTreesFromTheWriterAndTheZipTool) {
  TempDir dir;
  const std::string source = dir.path() + "/source";
  make_tree(source);
  const auto expected = snapshot(source);

  kar::write_archive(source, dir.path() + "/deflated.kar", {.compress = true});
  kar::write_archive(source, dir.path() + "/stored.kar", {.compress = false});
  auto zipped = korel::test::run_program(
      {"/bin/sh", "-c", "cd '" + source + "' && zip -qry '" + dir.path() + "/zipped.kar' ."});
  ASSERT_EQ(zipped.exit_code, 0) << zipped.err;

  for (const char* name : {"deflated", "stored", "zipped"}) {
    SCOPED_TRACE(name);
    const std::string archive = dir.path() + "/" + name + ".kar";
    // A second's slack: file times come from a coarser clock.
    const auto before = fs::file_time_type::clock::now() - std::chrono::seconds(1);
    ASSERT_TRUE(karrtExtractKar(archive.c_str()));
    const std::string target = dir.path() + "/" + name + "_krt";
    EXPECT_EQ(snapshot(target), expected);
    struct stat extracted;
    ASSERT_EQ(stat((target + "/run.sh").c_str(), &extracted), 0);
    EXPECT_TRUE(extracted.st_mode & S_IXUSR) << "the executable bit was lost";
    // The time of extraction, so that a cleaner of old files leaves a live extraction be.
    EXPECT_EQ(older_than(target, before), std::vector<std::string>{});
  }

  // Extracting again over an existing extraction replaces its files.
  write_file(dir.path() + "/deflated_krt/key1/a/empty.k", "stale");
  ASSERT_TRUE(karrtExtractKar((dir.path() + "/deflated.kar").c_str()));
  EXPECT_EQ(snapshot(dir.path() + "/deflated_krt"), expected);

  auto input = kar::ArchiveInput::open_file(dir.path() + "/deflated.kar");
  auto entries = kar::list_entries(*input);
  auto data = std::find_if(entries.begin(), entries.end(),
                           [](const kar::EntryInfo& e) { return e.name == "key1/data.bin"; });
  ASSERT_NE(data, entries.end());
  EXPECT_EQ(data->size, 300000u);
}

TEST(KarExtract, ReadsAnArchiveAppendedToAModuleThroughAStream) {
  TempDir dir;
  make_tree(dir.path() + "/source");
  kar::write_archive(dir.path() + "/source", dir.path() + "/c.kar");
  std::ifstream archive(dir.path() + "/c.kar", std::ios::binary);
  const std::string module_bytes(100000, '\x7f');
  {
    std::ofstream module(dir.path() + "/module", std::ios::binary);
    module << module_bytes << archive.rdbuf();
  }
  std::ifstream module(dir.path() + "/module", std::ios::binary);
  module.seekg(static_cast<std::streamoff>(module_bytes.size()));
  ASSERT_TRUE(karrtExtractKar(&module, (dir.path() + "/out").c_str()));
  EXPECT_EQ(snapshot(dir.path() + "/out"), snapshot(dir.path() + "/source"));

  // A stream at its end holds no archive.
  captured_errors.clear();
  auto previous = set_karrt_error_handler(capture_error);
  module.clear();
  module.seekg(0, std::ios::end);
  EXPECT_FALSE(karrtExtractKar(&module, (dir.path() + "/out2").c_str()));
  set_karrt_error_handler(previous);
  EXPECT_NE(captured_errors.find("Cannot extract the archive stream into '" + dir.path() + "/out2'"),
            std::string::npos) << captured_errors;
}

TEST(KarExtract, EmptyArchiveAndDirectoryCreation) {
  TempDir dir;
  korel::test::ZipBuilder().write(dir.path() + "/empty.kar");
  ASSERT_TRUE(karrtExtractKar((dir.path() + "/empty.kar").c_str(), (dir.path() + "/a/b/t").c_str()));
  EXPECT_TRUE(fs::is_empty(dir.path() + "/a/b/t"));

  captured_errors.clear();
  auto previous = set_karrt_error_handler(capture_error);
  EXPECT_EQ(karMakeDir((dir.path() + "/x/y/z").c_str()), 1);
  EXPECT_EQ(karMakeDir((dir.path() + "/x/y/z").c_str()), 1) << "an existing directory is success";
  EXPECT_TRUE(captured_errors.empty()) << captured_errors;
  write_file(dir.path() + "/file", "x");
  EXPECT_EQ(karMakeDir((dir.path() + "/file").c_str()), 0);
  EXPECT_EQ(karMakeDir((dir.path() + "/file/sub").c_str()), 0);
  EXPECT_EQ(karMakeDir(nullptr), 0);
  EXPECT_FALSE(karrtExtractKar(static_cast<const char*>(nullptr)));
  EXPECT_FALSE(karrtExtractKar((dir.path() + "/missing.kar").c_str(), (dir.path() + "/m").c_str()));
  set_karrt_error_handler(previous);
  EXPECT_NE(captured_errors.find("Cannot create directory '" + dir.path() + "/file'"), std::string::npos)
      << captured_errors;
  EXPECT_NE(captured_errors.find("Cannot extract '" + dir.path() +
                                 "/missing.kar' into '" + dir.path() +
                                 "/m': cannot open the archive: No such file or directory\n"),
            std::string::npos)
      << captured_errors;
}

TEST(KarExtract, NamesFlaggedUtf8AreReadAsUtf8InTheCLocaleWhichStaysAsItWas) {
  TempDir dir;
  const std::string name = "donn\xc3\xa9" "es/caf\xc3\xa9.k";  // données/café.k in UTF-8
  ASSERT_EQ(korel::test::write_zip_with_python(dir.path() + "/names.kar", {{name, "x = 1;\n"}}), "");
  ASSERT_STREQ(std::setlocale(LC_ALL, nullptr), "C");

  auto input = kar::ArchiveInput::open_file(dir.path() + "/names.kar");
  const auto entries = kar::list_entries(*input);
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_EQ(entries[0].name, name);
  ASSERT_TRUE(karrtExtractKar((dir.path() + "/names.kar").c_str(), (dir.path() + "/out").c_str()));
  EXPECT_EQ(snapshot(dir.path() + "/out"),
            (std::map<std::string, std::string>{{"donn\xc3\xa9" "es", "<dir>"}, {name, "x = 1;\n"}}));
  // Neither the process's locale nor this thread's was changed for good.
  EXPECT_STREQ(std::setlocale(LC_ALL, nullptr), "C");
  EXPECT_EQ(::uselocale(nullptr), LC_GLOBAL_LOCALE);
}

TEST(KarWriter, RefusesLinksAndLeavesNoPartialArchive) {
  TempDir dir;
  write_file(dir.path() + "/source/a.txt", "a");
  fs::create_symlink("/etc/passwd", dir.path() + "/source/link");
  try {
    kar::write_archive(dir.path() + "/source", dir.path() + "/out.kar");
    FAIL() << "a tree with a link was archived";
  } catch (const kar::Error& error) {
    EXPECT_EQ(error.entry(), "link");
  }
  EXPECT_EQ(snapshot(dir.path()).count("out.kar"), 0u);
  EXPECT_EQ(snapshot(dir.path()).size(), 3u) << "a temporary file was left behind";
  EXPECT_THROW(kar::write_archive(dir.path() + "/missing", dir.path() + "/out.kar"), kar::Error);
}
