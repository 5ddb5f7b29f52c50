// Caches a start cannot use: read-only, full, or not the user's own. A cached start
// fails with the catalogued message and leaves the cache as it was; a start that
// extracts beside its archive does not need the cache and still works.
#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <set>
#include <sstream>

#include "private_mounts.h"
#include "scenario.h"

namespace fs = std::filesystem;
using korel::scenario::Component;
using korel::scenario::Scenario;
using korel::test::ProcessResult;
using korel::test::read_file;
using korel::test::run_in_child;
using korel::test::run_program;

namespace {

constexpr uid_t kNobody = 65534;
const std::string kCacheAccessError = "Could not access the KRT component cache.\n";

bool become_nobody() {
  return ::setgroups(0, nullptr) == 0 && ::setgid(kNobody) == 0 && ::setuid(kNobody) == 0;
}

void chown_tree(const std::string& dir, uid_t owner) {
  ASSERT_EQ(::lchown(dir.c_str(), owner, owner), 0) << dir;
  for (const auto& entry : fs::recursive_directory_iterator(dir))
    ASSERT_EQ(::lchown(entry.path().c_str(), owner, owner), 0) << entry.path();
}

// Everything below `dir` as it stands: names, kinds, modes, owners, sizes, modification
// times and contents.
std::string snapshot(const std::string& dir) {
  std::set<std::string> lines;
  for (const auto& entry : fs::recursive_directory_iterator(dir)) {
    struct stat st {};
    ::lstat(entry.path().c_str(), &st);
    std::ostringstream line;
    line << fs::relative(entry.path(), dir).string() << " " << std::oct << st.st_mode << std::dec
         << " " << st.st_uid << ":" << st.st_gid << " " << st.st_size << " " << st.st_mtim.tv_sec
         << "." << st.st_mtim.tv_nsec;
    if (S_ISREG(st.st_mode)) line << " [" << read_file(entry.path()) << "]";
    lines.insert(line.str());
  }
  std::string text;
  for (const std::string& line : lines) text += line + "\n";
  return text;
}

// The names below `dir`'s top that are not hidden: what would be component directories.
std::set<std::string> visible_entries(const std::string& dir) {
  std::set<std::string> names;
  std::error_code ignored;
  for (const auto& entry : fs::directory_iterator(dir, ignored))
    if (entry.path().filename().string()[0] != '.') names.insert(entry.path().filename());
  return names;
}

bool write_text(const std::string& path, const std::string& text) {
  std::ofstream out(path);
  out << text;
  out.close();
  return static_cast<bool>(out);
}

// A small tmpfs on `dir`, filled to its last block.
bool mount_full_tmpfs(const std::string& dir) {
  if (::mount("scenario", dir.c_str(), "tmpfs", MS_NOSUID | MS_NODEV, "size=64k,mode=0700") != 0)
    return false;
  int fd = ::open((dir + "/filler").c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (fd < 0) return false;
  const std::string block(4096, 'x');
  while (::write(fd, block.data(), block.size()) > 0) {
  }
  const bool full = errno == ENOSPC;
  ::close(fd);
  return full;
}

// Runs `argv` in a mount namespace of its own in which the cache root is a full tmpfs;
// `left` receives the visible entries of the cache directory afterwards. Exit code 125
// when no such namespace can be had here.
ProcessResult run_with_full_tmpfs(const Scenario& s, const std::vector<std::string>& argv,
                                  std::set<std::string>& left) {
  const std::string out = s.dir() + "/full.out", err = s.dir() + "/full.err";
  ProcessResult outer = run_in_child([&] {
    if (!korel::scenario::enter_private_mounts() || !mount_full_tmpfs(s.cache_root())) return 125;
    ProcessResult result = run_program(argv, s.environment());
    write_text(out, result.out);
    write_text(err, result.err);
    for (const std::string& name : visible_entries(s.cache_dir())) std::cout << name << "\n";
    return result.exit_code;
  });
  std::istringstream names(outer.out);
  for (std::string name; std::getline(names, name);) left.insert(name);
  return {outer.exit_code, read_file(out), read_file(err)};
}

}  // namespace

TEST(BrokenCache, ReadOnlyCacheRefusesCachedStartsClearlyWhileLocalStartsWork) {
  Scenario s;
  const Component &a = s.components[0], &b = s.components[1], &c = s.components[2];
  // Permission bits do not hold root back: as root the clients run as nobody, in a
  // scenario directory that nobody owns.
  const bool as_root = ::geteuid() == 0;
  if (as_root) chown_tree(s.dir(), kNobody);
  auto run = [&](const std::vector<std::string>& options, const Component& component) {
    return run_program(s.client(options, {component}), s.environment(),
                       [&] { return !as_root || become_nobody(); });
  };
  const auto read_only = fs::perms::owner_read | fs::perms::owner_exec;
  struct Writable {  // so that the scenario directory can be removed, whatever failed
    const Scenario& s;
    ~Writable() {
      std::error_code ignored;
      for (const std::string& dir : {s.cache_root(), s.cache_dir()})
        fs::permissions(dir, fs::perms::owner_all, ignored);
    }
  } writable{s};

  // A root nobody may write into: no cache can be made.
  fs::permissions(s.cache_root(), read_only);
  auto cached = run({}, a);
  EXPECT_EQ(cached.exit_code, 1);
  EXPECT_EQ(cached.out, "0 scen_loop did not start\n");
  EXPECT_EQ(cached.err, kCacheAccessError);
  EXPECT_FALSE(fs::exists(s.cache_dir()));
  auto local = run({"--local"}, a);
  EXPECT_EQ(local.exit_code, 0) << local.out << local.err;
  EXPECT_EQ(local.out, "0 scen_loop ok\n");
  EXPECT_EQ(local.err, "");

  // A cache made while it could be written, then made read-only: it gains nothing.
  fs::permissions(s.cache_root(), fs::perms::owner_all);
  ASSERT_EQ(run({}, b).exit_code, 0);
  fs::permissions(s.cache_dir(), read_only);
  fs::permissions(s.cache_root(), read_only);
  const std::string before = snapshot(s.cache_dir());
  cached = run({}, c);
  EXPECT_EQ(cached.exit_code, 1);
  EXPECT_EQ(cached.out, "0 scen_native did not start\n");
  EXPECT_EQ(cached.err, kCacheAccessError);
  EXPECT_EQ(snapshot(s.cache_dir()), before);
  local = run({"--local"}, c);
  EXPECT_EQ(local.exit_code, 0) << local.out << local.err;
  EXPECT_EQ(local.out, "0 scen_native ok\n");
}

TEST(BrokenCache, FullCacheRefusesCachedStartsClearlyWhileLocalStartsWork) {
  Scenario s;
  const Component& a = s.components[2];
  std::set<std::string> left;
  ProcessResult cached = run_with_full_tmpfs(s, s.client({}, {a}), left);
  ProcessResult local;
  if (cached.exit_code == 125) {
    std::cout << "no mount namespace here: a file size limit stands in for a full disk" << std::endl;
    const auto no_room = [] {
      const rlimit none{0, 0};
      return ::signal(SIGXFSZ, SIG_IGN) != SIG_ERR && ::setrlimit(RLIMIT_FSIZE, &none) == 0;
    };
    cached = run_program(s.client({}, {a}), s.environment(), no_room);
    left = visible_entries(s.cache_dir());
    // The limit would stop the local extraction too; the cache root is the same.
    local = run_program(s.client({"--local"}, {a}), s.environment());
  } else {
    std::set<std::string> untouched;
    local = run_with_full_tmpfs(s, s.client({"--local"}, {a}), untouched);
  }
  EXPECT_EQ(cached.exit_code, 1);
  EXPECT_EQ(cached.out, "0 scen_native did not start\n");
  // The archive reader tells what failed first; the start's own report comes last.
  ASSERT_GE(cached.err.size(), kCacheAccessError.size());
  EXPECT_EQ(cached.err.substr(cached.err.size() - kCacheAccessError.size()), kCacheAccessError)
      << cached.err;
  // The half-extracted component went with the failure.
  EXPECT_EQ(left, std::set<std::string>{});
  EXPECT_EQ(local.exit_code, 0) << local.out << local.err;
  EXPECT_EQ(local.out, "0 scen_native ok\n");
  EXPECT_EQ(local.err, "");
}

TEST(BrokenCache, ACacheDirectoryOfAnotherUserIsRefusedUntouched) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can give a directory to another user";
  Scenario s;
  const Component &a = s.components[0], &b = s.components[1];
  ASSERT_EQ(run_program(s.client({}, {a}), s.environment()).exit_code, 0);
  ASSERT_EQ(::chown(s.cache_dir().c_str(), kNobody, kNobody), 0);
  const std::string before = snapshot(s.cache_dir());
  for (const Component* component : {&a, &b}) {
    auto refused = run_program(s.client({}, {*component}), s.environment());
    EXPECT_EQ(refused.exit_code, 1);
    EXPECT_EQ(refused.out, "0 " + component->name + " did not start\n");
    EXPECT_EQ(refused.err, kCacheAccessError);
  }
  EXPECT_EQ(snapshot(s.cache_dir()), before);

  // Nor may another user's link lead to a directory of this user's.
  ASSERT_EQ(::chown(s.cache_dir().c_str(), 0, 0), 0);
  fs::rename(s.cache_dir(), s.cache_root() + "/mine");
  fs::create_directory_symlink("mine", s.cache_dir());
  ASSERT_EQ(::lchown(s.cache_dir().c_str(), kNobody, kNobody), 0);
  auto refused = run_program(s.client({}, {a}), s.environment());
  EXPECT_EQ(refused.exit_code, 1);
  EXPECT_EQ(refused.err, kCacheAccessError);
  EXPECT_EQ(snapshot(s.cache_root() + "/mine"), before);
}

TEST(BrokenCache, ACacheDirectoryOthersMayWriteIsRefusedUntouched) {
  Scenario s;
  const Component& a = s.components[0];
  ASSERT_EQ(run_program(s.client({}, {a}), s.environment()).exit_code, 0);
  const std::string before = snapshot(s.cache_dir());
  for (auto mode : {fs::perms::owner_all | fs::perms::group_all,
                    fs::perms::owner_all | fs::perms::others_all | fs::perms::sticky_bit}) {
    fs::permissions(s.cache_dir(), mode);
    auto refused = run_program(s.client({}, {a}), s.environment());
    EXPECT_EQ(refused.exit_code, 1) << std::oct << static_cast<int>(mode);
    EXPECT_EQ(refused.out, "0 scen_loop did not start\n");
    EXPECT_EQ(refused.err, kCacheAccessError);
    EXPECT_EQ(snapshot(s.cache_dir()), before);
  }
  // The same cache, its user's alone again, serves the component.
  fs::permissions(s.cache_dir(), fs::perms::owner_all);
  auto served = run_program(s.client({}, {a}), s.environment());
  EXPECT_EQ(served.exit_code, 0) << served.out << served.err;
  EXPECT_EQ(served.out, "0 scen_loop ok\n");
}
