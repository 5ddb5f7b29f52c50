// Archives built to escape the target, exhaust the disk or pass damage off as data. Each
// must be refused with the entry and the reason named, leave the target as it was and
// leave everything outside it untouched.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "engine/kar/tree_snapshot.h"
#include "kar/extract.h"
#include "kar/kar.h"
#include "support/subprocess.h"
#include "support/zip_builder.h"

namespace fs = std::filesystem;
using korel::test::snapshot;
using korel::test::TempDir;
using korel::test::ZipBuilder;
using korel::test::ZipEntry;

namespace {

std::string captured_errors;
int capture_error(const char* text) {
  captured_errors += text;
  return 0;
}

struct HostileCase {
  const char* label;
  std::string bytes;
  std::string expected_text;  // in the reported error
  kar::ExtractOptions options = {};
};

// Every archive begins with a harmless entry, so that a refusal must also undo it.
ZipBuilder starting_well() { return ZipBuilder().directory("ok/").file("ok/first.txt", "fine"); }

}  // namespace

TEST(KarHostile, RefusesAndLeavesEverythingOutsideTheTargetAlone) {
  TempDir dir;
  const std::string parent = dir.path() + "/parent", target = parent + "/target";
  const std::string sentinel = dir.path() + "/sentinel";

  // A central directory of more than a megabyte, its special entry last.
  ZipBuilder long_directory = starting_well();
  for (int i = 0; i < 3000; ++i) long_directory.file(std::string(380, 'n') + std::to_string(i), "");
  long_directory.add({"late_pipe", "", 010600});

  std::string valid = starting_well().file("ok/second.txt", std::string(5000, 'v')).bytes();
  std::vector<HostileCase> cases = {
      {"absolute name", starting_well().file(parent + "/abs", "x").bytes(),
       "entry '" + parent + "/abs': an absolute entry name is refused"},
      {"climbing name", starting_well().file("../escaped", "x").bytes(),
       "entry '../escaped': an entry name with a '..' element is refused"},
      {"climbing inside", starting_well().file("ok/../../escaped", "x").bytes(),
       "entry 'ok/../../escaped': an entry name with a '..' element is refused"},
      {"symbolic link", starting_well().add({"ln", "../../sentinel", 0120777}).file("ln", "pwned").bytes(),
       "entry 'ln': a symbolic link entry is refused"},
      {"fifo", starting_well().add({"pipe", "", 010644}).bytes(), "entry 'pipe': a fifo entry is refused"},
      {"fifo after a long directory", long_directory.bytes(),
       "entry 'late_pipe': a fifo entry is refused"},
      {"character device", starting_well().add({"tty", "", 020644}).bytes(),
       "entry 'tty': a character device entry is refused"},
      {"block device", starting_well().add({"disk", "", 060644}).bytes(),
       "entry 'disk': a block device entry is refused"},
      {"socket", starting_well().add({"sock", "", 0140644}).bytes(),
       "entry 'sock': a socket entry is refused"},
      {"declared bomb", starting_well().file("big", std::string(4096, 'b')).bytes(),
       "entry 'big': the extraction would pass its limit of 1000 bytes", {.max_total_bytes = 1000}},
      {"understated bomb",
       starting_well().add({.name = "zeros", .data = std::string(1 << 20, '\0'), .deflate = true,
                            .declared_size = 10}).bytes(),
       "entry 'zeros': the extraction would pass its limit of 65536 bytes", {.max_total_bytes = 65536}},
      {"too many entries", starting_well().file("third", "x").bytes(),
       "entry 'third': more than 2 entries", {.max_entries = 2}},
      {"bad CRC", starting_well().add({.name = "crc", .data = "payload", .corrupt_crc = true}).bytes(),
       "entry 'crc': bad data ("},
      {"bad deflate CRC",
       starting_well().add({.name = "crc", .data = std::string(3000, 'z'), .deflate = true, .corrupt_crc = true}).bytes(),
       "entry 'crc': bad data ("},
      {"truncated", valid.substr(0, valid.size() - 30), "not a readable KAR archive"},
      {"cut in the data", valid.substr(0, 200) + valid.substr(valid.size() - 150), "Cannot extract"},
      {"garbage", std::string(4096, '\x50'), "not a readable KAR archive"},
      {"empty file", "", "not a readable KAR archive"},
  };

  for (const HostileCase& c : cases) {
    SCOPED_TRACE(c.label);
    fs::remove_all(parent);
    fs::create_directories(target);
    std::ofstream(sentinel) << "keep me";
    const std::string archive = dir.path() + "/hostile.kar";
    std::ofstream(archive, std::ios::binary) << c.bytes;
    const auto outside_before = snapshot(dir.path());

    captured_errors.clear();
    auto previous = set_karrt_error_handler(capture_error);
    bool extracted = kar::extract_file(archive, target, c.options);
    set_karrt_error_handler(previous);

    EXPECT_FALSE(extracted);
    EXPECT_NE(captured_errors.find("Cannot extract '" + archive + "' into '" + target + "'"),
              std::string::npos) << captured_errors;
    EXPECT_NE(captured_errors.find(c.expected_text), std::string::npos) << captured_errors;
    EXPECT_EQ(snapshot(dir.path()), outside_before) << "the filesystem changed";
  }
}

TEST(KarHostile, NeverWritesThroughLinksOrSharedFilesAlreadyInTheTarget) {
  TempDir dir;
  const std::string outside = dir.path() + "/outside", target = dir.path() + "/target";
  fs::create_directories(outside);
  fs::create_directories(target);
  std::ofstream(outside + "/victim") << "original";
  fs::create_directory_symlink(outside, target + "/linked_dir");
  fs::create_symlink(outside + "/victim", target + "/linked_file");
  fs::create_hard_link(outside + "/victim", target + "/shared_file");
  const std::string archive = dir.path() + "/a.kar";

  // Through a linked directory: refused, nothing written.
  ZipBuilder().file("linked_dir/victim", "pwned").write(archive);
  captured_errors.clear();
  auto previous = set_karrt_error_handler(capture_error);
  EXPECT_FALSE(karrtExtractKar(archive.c_str(), target.c_str()));
  EXPECT_NE(captured_errors.find("entry 'linked_dir/victim': 'linked_dir' exists and is not a directory"),
            std::string::npos) << captured_errors;

  // Over a linked or shared file: the name is replaced by a new file.
  ZipBuilder().file("linked_file", "new1").file("shared_file", "new2").write(archive);
  EXPECT_TRUE(karrtExtractKar(archive.c_str(), target.c_str())) << captured_errors;
  set_karrt_error_handler(previous);

  auto tree = snapshot(target);
  EXPECT_EQ(tree["linked_file"], "new1");
  EXPECT_EQ(tree["shared_file"], "new2");
  EXPECT_EQ(snapshot(outside), (std::map<std::string, std::string>{{"victim", "original"}}));
}
