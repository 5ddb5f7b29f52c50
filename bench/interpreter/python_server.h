// One /usr/bin/python3 process that runs the interpreter benchmark's Python kernels on
// request (interpreter/kernels.py), so that each timed run costs no interpreter start.
// The process talks over a socket pair rather than pipes: a send to a process that has
// died fails with EPIPE instead of killing this one with SIGPIPE.
#pragma once

#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>

extern char** environ;

namespace korel::bench {

class PythonServer {
 public:
  struct Answer {
    double seconds;  // the kernel's own time, measured inside Python
    double check;    // the value the kernel returned
  };

  // Starts `python` (an absolute path) in isolated mode on `script`.
  PythonServer(const std::string& python, const std::string& script) {
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
      throw std::runtime_error(std::string("socketpair: ") + std::strerror(errno));
    socket_ = ends[0];
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    // dup2 onto 0 and 1 clears close-on-exec there; the child's end closes with exec.
    posix_spawn_file_actions_adddup2(&actions, ends[1], 0);
    posix_spawn_file_actions_adddup2(&actions, ends[1], 1);
    char* argv[] = {const_cast<char*>(python.c_str()), const_cast<char*>("-I"),
                    const_cast<char*>(script.c_str()), nullptr};
    int error = posix_spawn(&pid_, python.c_str(), &actions, nullptr, argv, environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(ends[1]);
    if (error != 0) {
      ::close(socket_);
      throw std::runtime_error("cannot start " + python + ": " + std::strerror(error));
    }
  }

  PythonServer(const PythonServer&) = delete;
  PythonServer& operator=(const PythonServer&) = delete;

  // End of input ends the script's loop; then the process is reaped.
  ~PythonServer() {
    ::close(socket_);
    int status;
    while (::waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
    }
  }

  // Runs `kernel` on `n` and returns its answer; throws when the process does not give one.
  Answer run(const std::string& kernel, long n) {
    send_line(kernel + " " + std::to_string(n) + "\n");
    std::string line = receive_line();
    const char* text = line.c_str();
    char* end = nullptr;
    Answer answer{};
    answer.seconds = std::strtod(text, &end);
    if (end != text && *end == ' ') {
      text = end + 1;
      answer.check = std::strtod(text, &end);
      if (end != text && *end == '\0') return answer;
    }
    throw std::runtime_error("python kernel " + kernel + ": " + line);
  }

 private:
  void send_line(const std::string& line) {
    for (size_t sent = 0; sent < line.size();) {
      ssize_t n = ::send(socket_, line.data() + sent, line.size() - sent, MSG_NOSIGNAL);
      if (n < 0 && errno == EINTR) continue;
      if (n < 0) throw std::runtime_error(std::string("python stopped listening: ") + std::strerror(errno));
      sent += static_cast<size_t>(n);
    }
  }

  std::string receive_line() {
    for (;;) {
      size_t newline = buffered_.find('\n');
      if (newline != std::string::npos) {
        std::string line = buffered_.substr(0, newline);
        buffered_.erase(0, newline + 1);
        return line;
      }
      char chunk[256];
      ssize_t n = ::recv(socket_, chunk, sizeof chunk, 0);
      if (n < 0 && errno == EINTR) continue;
      if (n <= 0) throw std::runtime_error("python ended without answering");
      buffered_.append(chunk, static_cast<size_t>(n));
    }
  }

  int socket_ = -1;
  pid_t pid_ = -1;
  std::string buffered_;
};

}  // namespace korel::bench
