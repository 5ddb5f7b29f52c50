// Running the compiler: another program, started directly (no shell, so no quoting
// problems with odd file names), its output shown on kcc's standard error.
#pragma once

#include <string>
#include <vector>

namespace kcc {

// Runs argv[0], searched on PATH, and waits for it. Returns true when it exited with 0.
// Throws Error when it cannot be started, Stopped when kcc is stopped before it ends.
// With `verbose` the command is shown first.
bool run_tool(const std::vector<std::string>& argv, bool verbose);

// The command as a shell would take it, for messages.
std::string command_text(const std::vector<std::string>& argv);

}  // namespace kcc
