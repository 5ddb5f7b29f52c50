#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <thread>
#include <utility>

#include "ds/directory_exclusive_lock.h"
#include "ds/directory_read_write_lock.h"
#include "ds/errors.h"
#include "support/subprocess.h"

namespace {

namespace fs = std::filesystem;
using Tenbrook::System::kWaitForever;
using ReadLock = dsDirectoryReadWriteLock::ReadLock;
using WriteLock = dsDirectoryReadWriteLock::WriteLock;
using Clock = std::chrono::steady_clock;
constexpr Tenbrook::System::TimeUnit kMs = Tenbrook::System::TimeUnit::sMilliseconds();

std::shared_ptr<dsDirectoryReadWriteLock::Impl> rwLock(const std::string& dir) {
  return std::make_shared<dsDirectoryReadWriteLock::Impl>(dir);
}

void send(int fd, char c) { (void)!write(fd, &c, 1); }
// The next byte, or 0 when none came within `ms`.
char receive(int fd, int ms = 10'000) {
  pollfd p{fd, POLLIN, 0};
  char c = 0;
  return poll(&p, 1, ms) == 1 && read(fd, &c, 1) == 1 ? c : 0;
}

// A forked process that reports its steps one byte at a time over a socket. The test
// process holds no lock when it forks: the child would share its open file.
struct Child {
  explicit Child(const std::function<void(int)>& body) {
    int sv[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sv) != 0) throw std::runtime_error("socketpair");
    if ((pid = fork()) == 0) {
      alarm(30);  // whatever goes wrong, the child does not outlive the test by much
      close(sv[0]);
      try {
        body(sv[1]);
      } catch (...) {
        _exit(3);
      }
      _exit(0);
    }
    fd = sv[0];
    close(sv[1]);
  }
  ~Child() {
    if (pid > 0) kill(pid, SIGKILL), wait();
    close(fd);
  }
  int wait() {
    int status = -1;
    waitpid(std::exchange(pid, -1), &status, 0);
    return status;
  }
  pid_t pid;
  int fd;
};

// Holds the write lock of `dir`; on 'd' downgrades it, on 'r' gives it up shortly after,
// so that the other side is waiting by then.
void holdWriteLock(int fd, const std::string& dir) {
  WriteLock lock(rwLock(dir));
  send(fd, lock.acquire(0, kMs, false) ? 'L' : 'x');
  char command = receive(fd, 20'000);
  if (command == 'd') {
    send(fd, lock.downgrade(0, kMs) && lock.isAcquired() ? 'D' : 'x');
    command = receive(fd, 20'000);
  }
  if (command == 'r') std::this_thread::sleep_for(std::chrono::milliseconds(50));
  lock.release(0, kMs);
}

// Whether the kernel lists a process waiting for a lock on the file `path`.
bool someoneWaitsOn(const std::string& path) {
  struct stat st;
  if (stat(path.c_str(), &st) != 0) return false;
  std::ifstream locks("/proc/locks");
  const std::string inode = ":" + std::to_string(st.st_ino) + " ";
  for (std::string line; std::getline(locks, line);)
    if (line.find("->") != std::string::npos && line.find(inode) != std::string::npos) return true;
  return false;
}

struct DirectoryLockTest : ::testing::Test {
  korel::test::TempDir tmp;
  std::string dir = tmp.path() + "/d";
  void SetUp() override { fs::create_directory(dir); }
};

TEST_F(DirectoryLockTest, LockObjectsInOneThreadExcludeEachOther) {
  auto rw = rwLock(dir);
  WriteLock w(rw), w2(rw);
  ReadLock r(rw), r2(rw);
  ASSERT_TRUE(w.acquire(0, kMs, false));
  EXPECT_TRUE(w.acquire(0, kMs, false)) << "holding already";
  EXPECT_FALSE(r.acquire(0, kMs, false) || w2.acquire(0, kMs, false) || r.isAcquired());
  w.release(0, kMs);
  EXPECT_FALSE(w.isAcquired() || w.downgrade(0, kMs));

  EXPECT_TRUE(r.acquire(0, kMs, false) && r2.acquire(0, kMs, false));
  EXPECT_FALSE(w.acquire(0, kMs, false));
  r.release(0, kMs), r2.release(0, kMs);

  ASSERT_TRUE(w.acquire(0, kMs, false));
  EXPECT_TRUE(w.downgrade(0, kMs) && w.isAcquired());
  EXPECT_FALSE(w.downgrade(0, kMs)) << "a read lock is not downgraded";
  EXPECT_TRUE(r.acquire(0, kMs, false));
  EXPECT_FALSE(w2.acquire(0, kMs, false));
  w.release(0, kMs), r.release(0, kMs);
  ASSERT_TRUE(WriteLock(rw).acquire(0, kMs, false));
  EXPECT_TRUE(w2.acquire(0, kMs, false)) << "destruction did not release";

  dsDirectoryExclusiveLock a(dir, ""), b(dir, ""), other(dir, "other");
  EXPECT_TRUE(a.acquire(0, kMs, false)) << "not independent of the read/write lock";
  EXPECT_FALSE(b.acquire(0, kMs, false));
  EXPECT_TRUE(other.acquire(0, kMs, false)) << "another name is another lock";
  a.release(0, kMs);
  EXPECT_TRUE(b.acquire(0, kMs, false));
  EXPECT_THROW(dsDirectoryExclusiveLock(dir, "a/b"), std::invalid_argument);
}

TEST_F(DirectoryLockTest, LocksOfOtherProcessesHoldUntilReleasedOrDead) {
  WriteLock w(rwLock(dir));
  ReadLock r(rwLock(dir));
  {
    Child holder([&](int fd) { holdWriteLock(fd, dir); });
    ASSERT_EQ(receive(holder.fd), 'L');
    auto start = Clock::now();
    EXPECT_FALSE(r.acquire(0, kMs, false));
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(2));
    start = Clock::now();
    EXPECT_FALSE(w.acquire(200, kMs, false) || w.isAcquired());
    EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(200));
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(5));

    send(holder.fd, 'r');
    EXPECT_TRUE(r.acquire(20'000, kMs, false)) << "no lock after the holder let go";
    r.release(0, kMs);
  }
  Child killed([&](int fd) { holdWriteLock(fd, dir); });
  ASSERT_EQ(receive(killed.fd), 'L');
  ASSERT_FALSE(w.acquire(0, kMs, false));
  kill(killed.pid, SIGKILL);
  EXPECT_TRUE(WIFSIGNALED(killed.wait()));
  EXPECT_TRUE(w.acquire(0, kMs, false)) << "a dead process still holds the lock";
}

TEST_F(DirectoryLockTest, DowngradeLetsNoWaitingWriterIn) {
  Child holder([&](int fd) { holdWriteLock(fd, dir); });
  ASSERT_EQ(receive(holder.fd), 'L');
  Child writer([&](int fd) {
    if (WriteLock(rwLock(dir)).acquire(kWaitForever, kMs, false)) send(fd, 'A');
  });
  // Downgrading only proves something once the writer is queued in the kernel.
  const std::string lock_file = tmp.path() + "/.d.rwlock";
  for (auto start = Clock::now(); !someoneWaitsOn(lock_file);) {
    ASSERT_LT(Clock::now() - start, std::chrono::seconds(10)) << "the writer does not wait";
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  send(holder.fd, 'd');
  ASSERT_EQ(receive(holder.fd), 'D');
  EXPECT_TRUE(ReadLock(rwLock(dir)).acquire(0, kMs, false)) << "a reader was kept out";
  EXPECT_EQ(receive(writer.fd, 300), 0) << "the writer got in while a read lock was held";

  send(holder.fd, 'r');
  EXPECT_EQ(receive(writer.fd), 'A') << "the writer did not get in after the release";
  int status = writer.wait();
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

TEST_F(DirectoryLockTest, LockFileLivesBesideTheRealDirectoryAndIsNeverFollowed) {
  const std::string missing = tmp.path() + "/missing", file = tmp.path() + "/file";
  std::ofstream(file) << "x";
  for (const std::string& absent : {missing, file, file + "/sub"}) {
    EXPECT_THROW(ReadLock(rwLock(absent)).acquire(0, kMs, false), dsNoSuchDirectory);
    EXPECT_FALSE(dsDirectoryExclusiveLock(absent, "").acquire(kWaitForever, kMs, true));
  }
  EXPECT_THROW(dsDirectoryExclusiveLock("/", "").acquire(0, kMs, false), dsLockError);

  WriteLock w(rwLock(dir));
  ASSERT_TRUE(w.acquire(0, kMs, false));
  EXPECT_TRUE(fs::is_regular_file(tmp.path() + "/.d.rwlock") && fs::is_empty(dir));
  fs::remove(dir);
  fs::create_directory(dir);
  EXPECT_FALSE(ReadLock(rwLock(dir)).acquire(0, kMs, false)) << "a re-made directory lost its lock";
  fs::create_directory_symlink("d", tmp.path() + "/link");
  EXPECT_FALSE(ReadLock(rwLock(tmp.path() + "/link/")).acquire(0, kMs, false));
  EXPECT_FALSE(WriteLock(rwLock(dir + "/../d")).acquire(0, kMs, false));

  // Something other than a regular file where the lock file goes is refused.
  const std::string e = tmp.path() + "/e";
  fs::create_directory(e);
  fs::create_symlink(tmp.path() + "/target", tmp.path() + "/.e.rwlock");
  EXPECT_THROW(WriteLock(rwLock(e)).acquire(0, kMs, false), dsLockError);
  EXPECT_THROW(ReadLock(rwLock(e)).acquire(0, kMs, false), dsLockError);
  EXPECT_FALSE(fs::exists(fs::symlink_status(tmp.path() + "/target")));
  ASSERT_EQ(mkfifo((tmp.path() + "/.e.lock").c_str(), 0600), 0);
  EXPECT_THROW(dsDirectoryExclusiveLock(e, "").acquire(0, kMs, false), dsLockError);
}

TEST_F(DirectoryLockTest, ALockThatRefusesLinksTakesALinkForNoDirectory) {
  auto refusing = [](const std::string& d) {
    return std::make_shared<dsDirectoryReadWriteLock::Impl>(d, dsLinkPolicy::refuse);
  };
  const std::string link = tmp.path() + "/link", outside = tmp.path() + "/outside";
  fs::create_directories(outside + "/target");
  fs::create_directory_symlink(outside + "/target", link);
  EXPECT_FALSE(WriteLock(refusing(link)).acquire(0, kMs, true));
  EXPECT_THROW(ReadLock(refusing(link + "/")).acquire(0, kMs, false), dsNoSuchDirectory);
  // Nothing was made beside the link's target.
  EXPECT_EQ(std::distance(fs::directory_iterator(outside), fs::directory_iterator()), 1);

  // The same directory by its own name shares the lock of those who follow links.
  WriteLock w(rwLock(dir));
  ASSERT_TRUE(w.acquire(0, kMs, false));
  EXPECT_FALSE(ReadLock(refusing(dir)).acquire(0, kMs, false));
  EXPECT_FALSE(ReadLock(refusing(tmp.path() + "/./d/")).acquire(0, kMs, false));
  w.release(0, kMs);
  EXPECT_TRUE(ReadLock(refusing(dir)).acquire(0, kMs, false));
}

TEST_F(DirectoryLockTest, HeldByAnyoneSeesEveryHolderEvenOfADirectoryRenamedAway) {
  EXPECT_FALSE(dsDirectoryReadWriteLock::heldByAnyone(dir));  // no lock file yet
  ReadLock reader(rwLock(dir));
  ASSERT_TRUE(reader.acquire(0, kMs, false));
  EXPECT_TRUE(dsDirectoryReadWriteLock::heldByAnyone(dir));
  fs::rename(dir, tmp.path() + "/moved");
  EXPECT_TRUE(dsDirectoryReadWriteLock::heldByAnyone(dir));
  reader.release(0, kMs);
  EXPECT_FALSE(dsDirectoryReadWriteLock::heldByAnyone(dir));
  EXPECT_FALSE(dsDirectoryReadWriteLock::heldByAnyone(tmp.path() + "/missing/d"));
}

}  // namespace
