// Mounts of a process's own, for scenarios that need a file system to misbehave: a
// child process enters a mount namespace nobody else sees and changes mounts there.
#pragma once

#include <string>

namespace korel::scenario {

// Gives this process mounts of its own: as root directly, else in a user namespace that
// maps this user to itself. False where neither can be had.
bool enter_private_mounts();

// Makes `dir` a read-only view of itself (a bind mount, remounted read-only).
bool mount_read_only(const std::string& dir);

}  // namespace korel::scenario
