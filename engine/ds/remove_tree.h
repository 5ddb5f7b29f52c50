// Removing a directory tree.
#pragma once

#include <functional>
#include <string>

#include "korel/export.h"

enum class dsRemoveProblem {
  cannot_remove,          // an entry could not be removed; the walk goes on
  cannot_stat,            // an entry's status could not be read; the walk stops
  cannot_open_directory,  // a directory could not be opened; the walk stops
};

// Told of each problem, with the path concerned and the errno value.
using dsRemoveReporter =
    std::function<void(dsRemoveProblem problem, const std::string& path, int error)>;

// Removes `path` and, when it is a directory, everything below it, contents before their
// directory. Symbolic links are removed, never followed, and the walk never leaves the
// tree, even when the tree is changed while it runs. A path that does not exist is
// already removed (true). Returns true when everything is gone.
KOREL_EXPORT bool dsRemoveTree(const std::string& path, const dsRemoveReporter& report = {});

// As dsRemoveTree for the entry `name` of the directory open at `parent`, so that no
// link on the way to it is followed either; `name` is one path element. Problems name
// `display_path` (the entry's path as the caller knows it) and what is below it.
KOREL_EXPORT bool dsRemoveTreeAt(int parent, const std::string& name,
                                 const std::string& display_path,
                                 const dsRemoveReporter& report = {});
