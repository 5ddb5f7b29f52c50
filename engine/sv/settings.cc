#include "sv/settings.h"

#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "ds/module_path.h"

namespace {

constexpr const char* kArchName = "linux-x86_64";

// This library's own file; the root is found from where it sits, not from the
// environment, so a moved root keeps working. The loader could not have opened a
// longer path than PATH_MAX.
std::string thisLibraryPath() {
  char buffer[PATH_MAX];
  const void* self = reinterpret_cast<const void*>(&svKorelRoot);
  return dsGetCurrentModulePath(buffer, sizeof buffer, self) ? buffer : "";
}

std::string passwordDatabaseHome() {
  long hint = sysconf(_SC_GETPW_R_SIZE_MAX);
  std::vector<char> buffer(hint > 0 ? static_cast<std::size_t>(hint) : 1024);
  struct passwd entry;
  struct passwd* result = nullptr;
  // The hint may be too small for a large entry; grow on ERANGE, within reason.
  while (getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &result) == ERANGE &&
         buffer.size() < (1u << 20))
    buffer.resize(buffer.size() * 2);
  return result && result->pw_dir ? result->pw_dir : "";
}

}  // namespace

std::string svKorelRoot() {
  std::string library = thisLibraryPath();
  std::size_t slash = library.rfind('/');
  if (slash == std::string::npos) return {};
  std::string_view dir = std::string_view(library).substr(0, slash);
  std::string suffix = std::string("/bin/") + kArchName;
  if (!dir.ends_with(suffix)) return {};
  dir.remove_suffix(suffix.size());
  return dir.empty() ? "/" : std::string(dir);
}

const char* svGetArchName() { return kArchName; }

std::string svGetBinArchDir() {
  std::string root = svKorelRoot();
  if (root.empty()) return {};
  if (root.back() != '/') root += '/';
  return root + "bin/" + kArchName;
}

bool svIsStandaloneMode() { return true; }

bool svJavaUseJVM() { return false; }

bool svIsJavaEnabled() { return true; }

std::string svGetDefaultPrefDirPrefix() {
  const char* env = std::getenv("HOME");
  std::string home = env && *env ? env : passwordDatabaseHome();
  if (home.empty()) return {};
  // "/" or "/home/u/" as home must not give a doubled separator.
  while (!home.empty() && home.back() == '/') home.pop_back();
  return home + "/.korel";
}
