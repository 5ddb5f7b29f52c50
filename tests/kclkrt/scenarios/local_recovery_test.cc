// Local extractions in whatever state other processes, users or cleaners left them:
// the next start recovers, however many start at once, and computes correctly.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <set>

#include "scenario.h"

namespace fs = std::filesystem;
using korel::scenario::Component;
using korel::scenario::Scenario;
using korel::test::BackgroundProcess;
using korel::test::ProcessResult;
using korel::test::run_program;

namespace {

constexpr uid_t kNobody = 65534;

fs::path beside(const Component& component) { return fs::path(component.archive).parent_path(); }
fs::path extraction_of(const Component& component) { return beside(component) / (component.name + "_krt"); }

std::set<std::string> names_in(const fs::path& directory) {
  std::set<std::string> names;
  for (const auto& entry : fs::directory_iterator(directory)) names.insert(entry.path().filename());
  return names;
}

// What a start that went right says.
void expect_ok(const ProcessResult& run, const Component& component) {
  EXPECT_EQ(run.exit_code, 0) << run.out << run.err;
  EXPECT_EQ(run.out, "0 " + component.name + " ok\n");
  EXPECT_EQ(run.err, "");
}

// Deletes the regular files below `directory`, as an age-based cleaner does, keeping
// the directories.
void delete_files(const fs::path& directory) {
  for (const auto& entry : fs::recursive_directory_iterator(directory))
    if (entry.is_regular_file()) fs::remove(entry.path());
}

}  // namespace

TEST(LocalRecovery, SimultaneousStartsWithoutTheLockAllSucceed) {
  constexpr int kProcesses = 16;
  constexpr int kRounds = 10;
  Scenario s;
  const auto references = s.references();
  ASSERT_EQ(references.problem, "");
  const Component& component = s.components[2];
  auto env = s.environment();
  env["KRT_INHIBIT_KAR_LOCK"] = "1";
  for (int round = 0; round < kRounds; ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    // A cold start, or one where the extraction of an earlier build is in the way.
    fs::remove_all(extraction_of(component));
    if (round % 2 == 1) {
      fs::create_directories(extraction_of(component) / "scen_native_old_key");
      std::ofstream(extraction_of(component) / "scen_native_old_key" / "scen_native.k") << "function";
    }
    std::vector<std::unique_ptr<BackgroundProcess>> starts;
    for (int i = 0; i < kProcesses; ++i) {
      const std::string log = s.dir() + "/p" + std::to_string(i);
      starts.push_back(std::make_unique<BackgroundProcess>(s.client({"--local"}, {component}), env,
                                                           log + ".out", log + ".err"));
    }
    for (auto& start : starts) expect_ok(start->wait(), component);
    EXPECT_EQ(korel::scenario::tree_difference(references.trees.at(component.key), extraction_of(component)), "");
    EXPECT_EQ(names_in(beside(component)), (std::set<std::string>{component.name + ".kar", component.name + "_krt"}));
  }
}

TEST(LocalRecovery, AStagingDirectoryBeingMadeIsNotTakenForAbandoned) {
  Scenario s;
  const Component& component = s.components[0];
  const std::string prefix = (beside(component) / ("." + component.name + "_krt.extract-")).string();
  // A start between making its staging directory and locking it holds the lock file
  // it made first; one killed before making the directory left only an unlocked lock file.
  fs::create_directories(prefix + "Making");
  const int held = ::open((prefix + "Making.lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  ASSERT_GE(held, 0);
  struct flock lock = {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  ASSERT_EQ(::fcntl(held, F_OFD_SETLK, &lock), 0);
  std::ofstream(prefix + "Killed.lock") << "";

  expect_ok(run_program(s.client({"--local"}, {component}), s.environment()), component);
  ::close(held);
  EXPECT_TRUE(fs::is_directory(prefix + "Making"));
  EXPECT_TRUE(fs::exists(prefix + "Making.lock"));
  EXPECT_FALSE(fs::exists(prefix + "Killed.lock"));
}

TEST(LocalRecovery, WhateverStandsWhereTheExtractionBelongsIsReplacedNotFollowed) {
  Scenario s;
  const auto references = s.references();
  ASSERT_EQ(references.problem, "");
  const Component& component = s.components[2];
  const fs::path extraction = extraction_of(component);
  const fs::path elsewhere = fs::path(s.dir()) / "elsewhere";
  const std::string reference = references.trees.at(component.key);
  struct Case {
    const char* what;
    std::function<void()> plant;
  };
  const Case cases[] = {
      {"a link to an empty directory",
       [&] {
         fs::create_directories(elsewhere / "empty");
         fs::create_directory_symlink(elsewhere / "empty", extraction);
       }},
      {"a dangling link", [&] { fs::create_directory_symlink(elsewhere / "missing", extraction); }},
      {"a link to a current extraction",
       [&] {
         fs::copy(reference, elsewhere / "copy", fs::copy_options::recursive);
         fs::create_directory_symlink(elsewhere / "copy", extraction);
       }},
      {"a file", [&] { std::ofstream(extraction) << "not a directory"; }},
      {"a fifo", [&] { ASSERT_EQ(::mkfifo(extraction.c_str(), 0600), 0); }},
      {"an empty directory", [&] { fs::create_directory(extraction); }},
      {"an empty directory nobody may write",
       [&] {
         fs::create_directory(extraction);
         fs::permissions(extraction, fs::perms::owner_read | fs::perms::owner_exec);
       }},
      {"a key directory that is a link",
       [&] {
         fs::copy(reference, elsewhere / "copy", fs::copy_options::recursive);
         fs::create_directory(extraction);
         fs::create_directory_symlink(elsewhere / "copy" / component.key, extraction / component.key);
       }},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    fs::remove_all(extraction);
    fs::remove_all(elsewhere);
    fs::create_directories(elsewhere);
    c.plant();
    const std::set<std::string> left_elsewhere = names_in(elsewhere);
    for (int start = 0; start < 2; ++start) expect_ok(run_program(s.client({"--local"}, {component}), s.environment()), component);
    EXPECT_TRUE(fs::is_directory(fs::symlink_status(extraction)));
    EXPECT_EQ(korel::scenario::tree_difference(reference, extraction), "");
    // Nothing was made, locked or removed where a link led.
    EXPECT_EQ(names_in(elsewhere), left_elsewhere);
    if (fs::exists(elsewhere / "empty")) {
      EXPECT_TRUE(fs::is_empty(elsewhere / "empty"));
    }
    if (fs::exists(elsewhere / "copy")) {
      EXPECT_EQ(korel::scenario::tree_difference(reference, elsewhere / "copy"), "");
    }
    EXPECT_EQ(names_in(beside(component)), (std::set<std::string>{component.name + ".kar", component.name + "_krt",
                                                                "." + component.name + "_krt.lock"}));
  }
}

TEST(LocalRecovery, ACurrentExtractionNobodyMayWriteStillStarts) {
  Scenario s;
  const Component& component = s.components[2];
  expect_ok(run_program(s.client({"--local"}, {component}), s.environment()), component);
  // Permission bits do not hold root back: as root the client runs as nobody, in a
  // scenario directory that nobody owns.
  const bool as_root = ::geteuid() == 0;
  if (as_root) {
    ASSERT_EQ(::lchown(s.dir().c_str(), kNobody, kNobody), 0);
    for (const auto& entry : fs::recursive_directory_iterator(s.dir()))
      ASSERT_EQ(::lchown(entry.path().c_str(), kNobody, kNobody), 0) << entry.path();
  }
  const auto read_only = fs::perms::owner_read | fs::perms::owner_exec;
  for (const auto& entry : fs::recursive_directory_iterator(extraction_of(component)))
    if (entry.is_directory()) fs::permissions(entry.path(), read_only);
  fs::permissions(extraction_of(component), read_only);
  fs::permissions(beside(component), read_only);
  const std::set<std::string> before = names_in(beside(component));
  auto run = run_program(s.client({"--local"}, {component}), s.environment(), [&] {
    return !as_root || (::setgroups(0, nullptr) == 0 && ::setgid(kNobody) == 0 && ::setuid(kNobody) == 0);
  });
  fs::permissions(beside(component), fs::perms::owner_all);
  for (const auto& entry : fs::recursive_directory_iterator(extraction_of(component)))
    if (entry.is_directory()) fs::permissions(entry.path(), fs::perms::owner_all);
  fs::permissions(extraction_of(component), fs::perms::owner_all);
  expect_ok(run, component);
  EXPECT_EQ(names_in(beside(component)), before);
}

TEST(LocalRecovery, AnExtractionACleanerDamagedIsExtractedAgain) {
  Scenario s;
  const auto references = s.references();
  ASSERT_EQ(references.problem, "");
  const Component& component = s.components[2];
  const fs::path extraction = extraction_of(component);
  const std::string reference = references.trees.at(component.key);
  struct Case {
    const char* what;
    std::function<void()> damage;
  };
  const Case cases[] = {
      {"the function files deleted", [&] { delete_files(extraction / component.key); }},
      {"every file deleted", [&] { delete_files(extraction); }},
      {"every file and the emptied preferences template deleted",
       [&] {
         delete_files(extraction);
         fs::remove(extraction / ".korel");
       }},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    fs::remove_all(extraction);
    expect_ok(run_program(s.client({"--local"}, {component}), s.environment()), component);
    c.damage();
    ASSERT_TRUE(fs::is_directory(extraction / component.key));  // the marker survived
    expect_ok(run_program(s.client({"--local"}, {component}), s.environment()), component);
    EXPECT_EQ(korel::scenario::tree_difference(reference, extraction), "");
  }
}

// The same through the cache: a complete entry whose files a cleaner took is extracted
// again, however the index and the marker say it is complete.
TEST(LocalRecovery, ACachedComponentACleanerDamagedIsExtractedAgain) {
  Scenario s;
  const auto references = s.references();
  ASSERT_EQ(references.problem, "");
  const Component& component = s.components[2];
  const fs::path entry = fs::path(s.cache_dir()) / component.key;
  expect_ok(run_program(s.client({}, {component}), s.environment()), component);
  ASSERT_TRUE(fs::exists(entry / ".created.ts"));
  delete_files(entry / component.key);
  expect_ok(run_program(s.client({}, {component}), s.environment()), component);
  EXPECT_TRUE(fs::exists(entry / ".created.ts"));
  EXPECT_EQ(korel::scenario::cache_problems(s.cache_dir(), references.trees),
            std::vector<std::string>{});
}
