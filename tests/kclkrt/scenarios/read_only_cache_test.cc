// A cache its user can read but not write: one on a read-only mount, or (where no mount
// of one's own can be had) one whose directories and lock files deny writing. A complete
// component starts from it as it is; anything else fails with the usual message; the
// cache is left exactly as it was.
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <iostream>
#include <set>
#include <sstream>

#include "private_mounts.h"
#include "scenario.h"

namespace fs = std::filesystem;
using korel::scenario::Component;
using korel::scenario::Scenario;
using korel::test::Environment;
using korel::test::ProcessResult;
using korel::test::read_file;
using korel::test::run_program;

namespace {

constexpr uid_t kNobody = 65534;
const std::string kCacheAccessError = "Could not access the KRT component cache.\n";

// Everything below `dir`: names, kinds, modes, sizes, modification times, contents.
std::string snapshot(const std::string& dir) {
  std::set<std::string> lines;
  for (const auto& entry : fs::recursive_directory_iterator(dir)) {
    struct stat st {};
    ::lstat(entry.path().c_str(), &st);
    std::ostringstream line;
    line << fs::relative(entry.path(), dir).string() << " " << std::oct << st.st_mode << std::dec
         << " " << st.st_size << " " << st.st_mtim.tv_sec << "." << st.st_mtim.tv_nsec;
    if (S_ISREG(st.st_mode)) line << " [" << read_file(entry.path()) << "]";
    lines.insert(line.str());
  }
  std::string text;
  for (const std::string& line : lines) text += line + "\n";
  return text;
}

// Runs clients with the scenario's cache root unwritable, the one way or the other.
class ReadOnlyRoot {
 public:
  explicit ReadOnlyRoot(const Scenario& s) : s_(s) {
    const std::vector<std::string> probe{"/bin/true"};
    mounted_ = run_program(probe, {}, [&] { return prepare_mount(); }).exit_code == 0;
    if (mounted_) return;
    std::cout << "no mount namespace here: permissions make the cache read-only" << std::endl;
    // Root is not held back by permissions: the clients run as nobody then.
    as_nobody_ = ::geteuid() == 0;
    for (const auto& entry : fs::recursive_directory_iterator(s_.cache_root())) {
      if (as_nobody_) ::lchown(entry.path().c_str(), kNobody, kNobody);
      if (!entry.is_symlink()) fs::permissions(entry.path(), read_only(entry.is_directory()));
    }
    if (as_nobody_) ::lchown(s_.cache_root().c_str(), kNobody, kNobody);
    fs::permissions(s_.cache_root(), read_only(true));
    fs::permissions(s_.dir(), fs::perms::owner_all | fs::perms::others_exec, fs::perm_options::add);
  }
  ~ReadOnlyRoot() {
    if (mounted_) return;
    std::error_code ignored;
    fs::permissions(s_.cache_root(), fs::perms::owner_all, ignored);
    for (const auto& entry : fs::recursive_directory_iterator(s_.cache_root(), ignored))
      if (!entry.is_symlink()) fs::permissions(entry.path(), fs::perms::owner_all, ignored);
  }
  ReadOnlyRoot(const ReadOnlyRoot&) = delete;
  ReadOnlyRoot& operator=(const ReadOnlyRoot&) = delete;

  ProcessResult run(const std::vector<std::string>& argv, const Environment& env) const {
    return run_program(argv, env, [&] { return mounted_ ? prepare_mount() : become_nobody(); });
  }

 private:
  static fs::perms read_only(bool directory) {
    return directory ? fs::perms::owner_read | fs::perms::owner_exec : fs::perms::owner_read;
  }
  bool prepare_mount() const {
    return korel::scenario::enter_private_mounts() &&
           korel::scenario::mount_read_only(s_.cache_root());
  }
  bool become_nobody() const {
    return !as_nobody_ ||
           (::setgroups(0, nullptr) == 0 && ::setgid(kNobody) == 0 && ::setuid(kNobody) == 0);
  }

  const Scenario& s_;
  bool mounted_ = false;
  bool as_nobody_ = false;
};

}  // namespace

TEST(ReadOnlyCache, ACompleteComponentStartsFromItAndNothingElseDoes) {
  Scenario s;
  const Component &a = s.components[0], &b = s.components[1];
  auto made = run_program(s.client({}, {a}), s.environment());
  ASSERT_EQ(made.exit_code, 0) << made.out << made.err;

  ReadOnlyRoot read_only(s);
  const std::string before = snapshot(s.cache_root());
  // Started, called and ended twice: a release records nothing either.
  auto started = read_only.run(s.client({"--rounds", "2"}, {a}), s.environment());
  EXPECT_EQ(started.exit_code, 0) << started.out << started.err;
  EXPECT_EQ(started.out, "0 scen_loop ok\n1 scen_loop ok\n");
  EXPECT_EQ(started.err, "");

  // Only the verbose log says that the cache was used read-only.
  Environment verbose = s.environment();
  verbose["KRT_CACHE_VERBOSE"] = "1";
  auto logged = read_only.run(s.client({}, {a}), verbose);
  EXPECT_EQ(logged.exit_code, 0) << logged.out << logged.err;
  EXPECT_NE(logged.err.find("cannot be written: using scen_loop_key as it is there"),
            std::string::npos)
      << logged.err;

  // A component the cache does not hold cannot be added to it.
  auto refused = read_only.run(s.client({}, {b}), s.environment());
  EXPECT_EQ(refused.exit_code, 1);
  EXPECT_EQ(refused.out, "0 scen_vector did not start\n");
  EXPECT_EQ(refused.err, kCacheAccessError);

  EXPECT_EQ(snapshot(s.cache_root()), before);
}
