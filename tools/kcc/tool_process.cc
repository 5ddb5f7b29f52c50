#include "tool_process.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "error.h"

extern char** environ;

namespace kcc {

std::string command_text(const std::vector<std::string>& argv) {
  std::string text;
  for (const std::string& arg : argv) {
    if (!text.empty()) text += ' ';
    if (!arg.empty() && arg.find_first_of(" \t\n'\"\\$`*?[]#;&|<>()") == std::string::npos) {
      text += arg;
      continue;
    }
    text += '\'';
    for (char c : arg) text += c == '\'' ? std::string("'\\''") : std::string(1, c);
    text += '\'';
  }
  return text;
}

bool run_tool(const std::vector<std::string>& argv, bool verbose) {
  if (verbose) std::fprintf(stderr, "kcc: %s\n", command_text(argv).c_str());
  std::fflush(stderr);
  std::vector<char*> args;
  for (const std::string& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
  args.push_back(nullptr);

  // The tool's standard output goes to standard error too: kcc's own output stays
  // what kcc says, and a compiler's diagnostics all land in one place.
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, STDERR_FILENO, STDOUT_FILENO);
  pid_t pid = 0;
  const int spawned = posix_spawnp(&pid, args[0], &actions, nullptr, args.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (spawned != 0)
    throw Error("cannot run '" + argv[0] + "': " + std::strerror(spawned));

  int status = 0;
  while (waitpid(pid, &status, 0) < 0)
    if (errno != EINTR) throw Error("cannot wait for '" + argv[0] + "': " + std::strerror(errno));
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace kcc
