// Running code in another process and capturing what it writes: the runtime's
// process-wide state is final once stopped, so such scenarios each get a process.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace korel::test {

// Changes to the environment of a program: a value sets a variable, nullopt removes it.
using Environment = std::map<std::string, std::optional<std::string>>;

struct ProcessResult {
  int exit_code = -1;  // -1 when the process did not exit normally
  std::string out;
  std::string err;
};

// Runs `body` in a forked child; its return value is the exit code. In AddressSanitizer
// builds the child checks for leaks before it exits: a leak is exit code 97, with the
// report on its standard error.
ProcessResult run_in_child(const std::function<int()>& body);

// Runs a program with its environment changed by `env`.
ProcessResult run_program(const std::vector<std::string>& argv, const Environment& env = {});

// As above, with `prepare` run in the child before the program replaces it (to change
// the child's credentials, limits or mounts); when it returns false the child exits
// with code 125 instead.
ProcessResult run_program(const std::vector<std::string>& argv, const Environment& env,
                          const std::function<bool()>& prepare);

// A program started in the background, its standard output and error going to files,
// killed and reaped if still running when the object goes.
class BackgroundProcess {
 public:
  BackgroundProcess(const std::vector<std::string>& argv, const Environment& env,
                    std::string out_path, std::string err_path);
  ~BackgroundProcess();
  BackgroundProcess(const BackgroundProcess&) = delete;
  BackgroundProcess& operator=(const BackgroundProcess&) = delete;

  void kill(int signal);
  // Waits for the process to end; its exit code and output (-1 when it did not exit).
  ProcessResult wait();

 private:
  int pid_ = -1;
  std::string out_path_, err_path_;
};

// Polls `condition` until it holds or `seconds` have passed; whether it held.
bool wait_until(const std::function<bool()>& condition, double seconds);

// A file's contents, or "" when it cannot be read.
std::string read_file(const std::string& path);

// The build directory the tests run in.
std::string binary_dir();

// A fresh directory under the system temporary directory, removed on destruction.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

}  // namespace korel::test
