// Writing the files kcc makes.
#pragma once

#include <string>

namespace kcc {

// Creates or replaces `path` with `contents`; throws Error when it cannot.
void write_file(const std::string& path, const std::string& contents);

}  // namespace kcc
