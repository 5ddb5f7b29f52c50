#include "tool_process.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "error.h"
#include "stop_signals.h"

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
  // The tool takes the stop signals as usual; kcc holds them back only for itself.
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  const sigset_t mask = child_signal_mask();
  posix_spawnattr_setsigmask(&attributes, &mask);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
  stop_if_asked();
  pid_t pid = 0;
  const int spawned = posix_spawnp(&pid, args[0], &actions, &attributes, args.data(), environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  if (spawned != 0)
    throw Error("cannot run '" + argv[0] + "': " + std::strerror(spawned));

  const int status = wait_for_child(pid);
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace kcc
