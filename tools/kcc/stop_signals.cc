#include "stop_signals.h"

#include <sys/wait.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "error.h"

namespace kcc {

namespace {

// The stop signals, and SIGCHLD, which wakes the wait for a tool.
sigset_t held_signals() {
  sigset_t set;
  sigemptyset(&set);
  for (int signal : {SIGINT, SIGTERM}) {
    struct sigaction action;
    // An ignored stop signal stays ignored: a blocked signal would be kept pending.
    if (::sigaction(signal, nullptr, &action) == 0 && action.sa_handler != SIG_IGN)
      sigaddset(&set, signal);
  }
  sigaddset(&set, SIGCHLD);
  return set;
}

sigset_t stop_signals() {
  sigset_t set = held_signals();
  sigdelset(&set, SIGCHLD);
  return set;
}

}  // namespace

StopSignals::StopSignals() {
  // A child's end must be signalled to be waited for, whatever this process inherited.
  struct sigaction child_action {};
  child_action.sa_handler = SIG_DFL;
  sigemptyset(&child_action.sa_mask);
  ::sigaction(SIGCHLD, &child_action, &previous_child_action_);
  const sigset_t held = held_signals();
  ::sigprocmask(SIG_BLOCK, &held, &previous_mask_);
}

StopSignals::~StopSignals() {
  ::sigprocmask(SIG_SETMASK, &previous_mask_, nullptr);
  ::sigaction(SIGCHLD, &previous_child_action_, nullptr);
}

void StopSignals::die_by(int signal) {
  struct sigaction action {};
  action.sa_handler = SIG_DFL;
  sigemptyset(&action.sa_mask);
  ::sigaction(signal, &action, nullptr);
  ::raise(signal);
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, signal);
  ::sigprocmask(SIG_UNBLOCK, &set, nullptr);
  ::_exit(128 + signal);
}

void stop_if_asked() {
  const sigset_t set = stop_signals();
  const timespec now{0, 0};
  int signal;
  while ((signal = ::sigtimedwait(&set, nullptr, &now)) < 0 && errno == EINTR) {
  }
  if (signal > 0) throw Stopped(signal);
}

int wait_for_child(pid_t pid) {
  const sigset_t wake = held_signals();
  for (;;) {
    int status = 0;
    const pid_t done = ::waitpid(pid, &status, WNOHANG);
    if (done == pid) return status;
    if (done < 0 && errno != EINTR)
      throw Error("cannot wait for a tool: " + std::string(std::strerror(errno)));
    // SIGCHLD or a stop signal ends the wait at once; the timeout is only a safeguard.
    const timespec tick{0, 100'000'000};
    const int signal = ::sigtimedwait(&wake, nullptr, &tick);
    if (signal == SIGINT || signal == SIGTERM) {
      ::kill(pid, signal);
      while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
      }
      throw Stopped(signal);
    }
  }
}

sigset_t child_signal_mask() {
  sigset_t mask;
  ::sigprocmask(SIG_BLOCK, nullptr, &mask);
  for (int signal : {SIGINT, SIGTERM, SIGCHLD}) sigdelset(&mask, signal);
  return mask;
}

}  // namespace kcc
