// Running code in another process and capturing what it writes: the runtime's
// process-wide state is final once stopped, so such scenarios each get a process.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace korel::test {

struct ProcessResult {
  int exit_code = -1;  // -1 when the process did not exit normally
  std::string out;
  std::string err;
};

// Runs `body` in a forked child; its return value is the exit code. In AddressSanitizer
// builds the child checks for leaks before it exits: a leak is exit code 97, with the
// report on its standard error.
ProcessResult run_in_child(const std::function<int()>& body);

// Runs a program. `env` changes the environment: a value sets a variable, nullopt
// removes it.
ProcessResult run_program(const std::vector<std::string>& argv,
                          const std::map<std::string, std::optional<std::string>>& env = {});

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
