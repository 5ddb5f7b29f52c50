#include "kar/error.h"

#include <cstring>

namespace kar {

std::string describe(const std::string& what, const Error& error) {
  if (error.entry().empty()) return what + ": " + error.what();
  return what + ": entry '" + error.entry() + "': " + error.what();
}

std::string with_errno(const std::string& text, int errnum) {
  return text + ": " + std::strerror(errnum);
}

}  // namespace kar
