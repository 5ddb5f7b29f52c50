// The marker of a complete component, .created.ts in its directory, and the other file
// an archive must not bring with it.
#pragma once

#include <string>

namespace kcl {

// The component directory open at `component` holds its marker: a regular file, not a
// link to one.
bool has_creation_marker(int component);
// Writes the marker afresh; false when it could not be made.
bool write_creation_marker(int component);
// Removes the marker (a missing one counts as removed).
bool remove_creation_marker(int component);

// Takes out of a fresh extraction, open at `staging`, the files only the cache may write:
// the marker of completeness and the recorded size (.bytes_used). An archive holding
// either would otherwise vouch for itself. False when either could not be removed.
bool remove_archive_markers(int staging, const std::string& display_path);

}  // namespace kcl
