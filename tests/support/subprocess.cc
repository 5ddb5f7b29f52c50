#include "support/subprocess.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <signal.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>
#include <stdexcept>

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
#endif

namespace korel::test {
namespace {

// What a child that leaked memory exits with, in sanitizer builds.
constexpr int kLeakedExitCode = 97;

struct Pipe {
  int fd[2] = {-1, -1};
  Pipe() {
    if (pipe2(fd, O_CLOEXEC) != 0) throw std::runtime_error("pipe failed");
  }
  ~Pipe() {
    for (int f : fd)
      if (f >= 0) close(f);
  }
  void close_end(int i) {
    close(fd[i]);
    fd[i] = -1;
  }
};

// Reads both pipes to their end without letting either fill up.
void drain(int out_fd, int err_fd, ProcessResult& result) {
  pollfd fds[2] = {{out_fd, POLLIN, 0}, {err_fd, POLLIN, 0}};
  std::string* sinks[2] = {&result.out, &result.err};
  int open_count = 2;
  char buffer[4096];
  while (open_count > 0) {
    if (poll(fds, 2, -1) < 0) break;
    for (int i = 0; i < 2; ++i) {
      if (fds[i].fd < 0 || fds[i].revents == 0) continue;
      ssize_t n = read(fds[i].fd, buffer, sizeof buffer);
      if (n > 0) {
        sinks[i]->append(buffer, static_cast<size_t>(n));
      } else {
        fds[i].fd = -1;
        --open_count;
      }
    }
  }
}

// In a forked child: changes the environment and becomes the program; returns only
// when that failed, with the shell's code for it.
int exec_program(const std::vector<std::string>& argv, const Environment& env) {
  for (const auto& [name, value] : env) {
    if (value)
      setenv(name.c_str(), value->c_str(), 1);
    else
      unsetenv(name.c_str());
  }
  std::vector<char*> args;
  for (const std::string& a : argv) args.push_back(const_cast<char*>(a.c_str()));
  args.push_back(nullptr);
  execv(args[0], args.data());
  std::perror(args[0]);
  return 127;
}

int exit_code_of(pid_t pid) {
  int status = 0;
  while (waitpid(pid, &status, 0) < 0) {
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace

ProcessResult run_in_child(const std::function<int()>& body) {
  Pipe out, err;
  std::fflush(nullptr);
  pid_t pid = fork();
  if (pid < 0) throw std::runtime_error("fork failed");
  if (pid == 0) {
    dup2(out.fd[1], STDOUT_FILENO);
    dup2(err.fd[1], STDERR_FILENO);
    int code = 99;
    try {
      code = body();
    } catch (...) {
    }
    std::fflush(nullptr);
#ifdef __SANITIZE_ADDRESS__
    // The child leaves through _exit, where the leak checker does not run by itself.
    if (__lsan_do_recoverable_leak_check() != 0) code = kLeakedExitCode;
#endif
    _exit(code);
  }
  out.close_end(1);
  err.close_end(1);
  ProcessResult result;
  drain(out.fd[0], err.fd[0], result);
  result.exit_code = exit_code_of(pid);
  return result;
}

ProcessResult run_program(const std::vector<std::string>& argv, const Environment& env) {
  return run_in_child([&] { return exec_program(argv, env); });
}

ProcessResult run_program(const std::vector<std::string>& argv, const Environment& env,
                          const std::function<bool()>& prepare) {
  return run_in_child([&] { return prepare() ? exec_program(argv, env) : 125; });
}

BackgroundProcess::BackgroundProcess(const std::vector<std::string>& argv, const Environment& env,
                                     std::string out_path, std::string err_path)
    : out_path_(std::move(out_path)), err_path_(std::move(err_path)) {
  std::fflush(nullptr);
  pid_t pid = fork();
  if (pid < 0) throw std::runtime_error("fork failed");
  if (pid == 0) {
    int out = open(out_path_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    int err = open(err_path_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (out < 0 || err < 0) _exit(126);
    dup2(out, STDOUT_FILENO);
    dup2(err, STDERR_FILENO);
    _exit(exec_program(argv, env));
  }
  pid_ = pid;
}

BackgroundProcess::~BackgroundProcess() {
  if (pid_ < 0) return;
  ::kill(pid_, SIGKILL);
  exit_code_of(pid_);
}

void BackgroundProcess::kill(int signal) {
  if (pid_ >= 0) ::kill(pid_, signal);
}

ProcessResult BackgroundProcess::wait() {
  ProcessResult result;
  if (pid_ >= 0) {
    result.exit_code = exit_code_of(pid_);
    pid_ = -1;
  }
  result.out = read_file(out_path_);
  result.err = read_file(err_path_);
  return result;
}

bool wait_until(const std::function<bool()>& condition, double seconds) {
  auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

std::string read_file(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream bytes;
  bytes << in.rdbuf();
  return bytes.str();
}

std::string binary_dir() {
  const char* dir = std::getenv("KOREL_TEST_BINARY_DIR");
  if (dir == nullptr || *dir == '\0') throw std::runtime_error("KOREL_TEST_BINARY_DIR is not set");
  return dir;
}

TempDir::TempDir() {
  std::string pattern = (std::filesystem::temp_directory_path() / "korel-test-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
  path_ = pattern;
}

TempDir::~TempDir() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

}  // namespace korel::test
