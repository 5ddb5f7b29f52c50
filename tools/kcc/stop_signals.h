// SIGINT and SIGTERM stop kcc without leaving its scratch directory behind. While kcc
// builds they are held back and taken only where it can stop: while a tool runs (the
// tool is stopped with the same signal and waited for) and between steps. Stopping
// throws Stopped, the unwinding removes what the build made, and kcc then dies by the
// signal it got, so whoever started it sees why it ended.
#pragma once

#include <signal.h>
#include <sys/types.h>

#include <exception>

namespace kcc {

class Stopped : public std::exception {
 public:
  explicit Stopped(int signal) : signal_(signal) {}
  int signal() const { return signal_; }
  const char* what() const noexcept override { return "stopped by a signal"; }

 private:
  int signal_;
};

class StopSignals {
 public:
  // Holds back the stop signals the process does not ignore, and lets children be
  // waited for the same way.
  StopSignals();
  // Lets the signals through again; one still waiting then takes its usual effect.
  ~StopSignals();
  StopSignals(const StopSignals&) = delete;
  StopSignals& operator=(const StopSignals&) = delete;

  // Ends the process by `signal`, as it would have without being held back.
  [[noreturn]] static void die_by(int signal);

 private:
  sigset_t previous_mask_;
  struct sigaction previous_child_action_;
};

// Throws Stopped when a stop signal is waiting.
void stop_if_asked();

// Waits for the child `pid` and returns its wait status. A stop signal meanwhile is
// passed on to the child, which is waited for, and then throws Stopped.
int wait_for_child(pid_t pid);

// The signal mask a child should start with: the stop signals and SIGCHLD let through.
sigset_t child_signal_mask();

}  // namespace kcc
