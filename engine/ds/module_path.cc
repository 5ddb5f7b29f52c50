#include "ds/module_path.h"

#include <dlfcn.h>
#include <link.h>
#include <unistd.h>

#include <cctype>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "ds/path.h"

namespace {

// A loaded module as the dynamic loader lists it.
struct Module {
  std::string path;         // canonical absolute file path
  std::string loader_name;  // the name the loader knows it by, for dlopen
  bool executable;          // the program itself rather than a shared object
};

std::string executablePath() {
  std::string buffer(256, '\0');
  for (;;) {
    ssize_t n = readlink("/proc/self/exe", buffer.data(), buffer.size());
    if (n < 0) return {};
    if (static_cast<std::size_t>(n) < buffer.size()) return buffer.substr(0, n);
    buffer.resize(buffer.size() * 2);
  }
}

// The loader's name for a module as a canonical absolute path: search paths such as
// $ORIGIN/../lib leave ".." in it. A name without a separator is not a file (the
// kernel's vDSO), so it gives "".
std::string canonicalPath(const char* name) {
  if (!name || !std::strchr(name, '/')) return {};
  std::string out(std::strlen(name) + 4096, '\0');
  if (!dsCanonicalizePath(out.data(), out.size(), name, std::strlen(name))) return {};
  return out.c_str();
}

int collectModule(struct dl_phdr_info* info, size_t, void* data) {
  auto* modules = static_cast<std::vector<Module>*>(data);
  // The program itself comes first and has an empty name.
  bool executable = modules->empty() && info->dlpi_name && info->dlpi_name[0] == '\0';
  std::string path = executable ? executablePath() : canonicalPath(info->dlpi_name);
  if (!path.empty()) modules->push_back({std::move(path), info->dlpi_name, executable});
  return 0;
}

// Copied out first: the loader is not re-entered from inside dl_iterate_phdr.
std::vector<Module> loadedModules() {
  std::vector<Module> modules;
  dl_iterate_phdr(collectModule, &modules);
  return modules;
}

// True for "" or a version such as ".1" or ".1.2.3".
bool isVersionSuffix(std::string_view s) {
  if (s.empty()) return true;
  if (s.size() < 2 || s[0] != '.' || !std::isdigit(static_cast<unsigned char>(s[1]))) return false;
  for (char c : s)
    if (c != '.' && !std::isdigit(static_cast<unsigned char>(c))) return false;
  return true;
}

// `file` is exactly `stem` followed by ".so" and an optional version.
bool matchesSharedObject(std::string_view file, std::string_view stem) {
  std::string so = std::string(stem) + ".so";
  return file.starts_with(so) && isVersionSuffix(file.substr(so.size()));
}

bool nameMatches(const Module& module, std::string_view name) {
  std::string_view file(module.path);
  file.remove_prefix(file.rfind('/') + 1);
  if (file == name) return true;
  if (module.executable) return false;
  return matchesSharedObject(file, std::string("lib") + std::string(name)) ||
         matchesSharedObject(file, name);
}

// A reference to a loaded module, released on scope exit.
class DlHandle {
 public:
  explicit DlHandle(void* handle) : handle_(handle) {}
  ~DlHandle() {
    if (handle_) dlclose(handle_);
  }
  DlHandle(const DlHandle&) = delete;
  DlHandle& operator=(const DlHandle&) = delete;

  void* get() const { return handle_; }

  struct link_map* linkMap() const {
    struct link_map* map = nullptr;
    return handle_ && dlinfo(handle_, RTLD_DI_LINKMAP, &map) == 0 ? map : nullptr;
  }

 private:
  void* handle_;
};

// The loader's record of the module holding `address`, or null.
struct link_map* linkMapAt(const void* address) {
  Dl_info info;
  struct link_map* map = nullptr;
  if (!dladdr1(address, &info, reinterpret_cast<void**>(&map), RTLD_DL_LINKMAP)) return nullptr;
  return map;
}

// dlsym on a handle also searches the module's dependencies, so the definition found
// must be checked to lie in the module itself.
bool exportsSymbol(const Module& module, const char* symbol) {
  DlHandle handle(module.executable ? dlopen(nullptr, RTLD_LAZY)
                                    : dlopen(module.loader_name.c_str(), RTLD_LAZY | RTLD_NOLOAD));
  if (!handle.get()) return false;
  void* address = dlsym(handle.get(), symbol);
  struct link_map* owner = address ? linkMapAt(address) : nullptr;
  return owner && owner == handle.linkMap();
}

bool copyOut(char* out, std::size_t out_size, const std::string& path) {
  if (!out || path.empty() || path.size() + 1 > out_size) return false;
  std::memcpy(out, path.c_str(), path.size() + 1);
  return true;
}

}  // namespace

bool dsGetLoadedModuleFullPath(char* out, std::size_t out_size, const char* name,
                               const char* symbol) {
  if (!out || !name || !*name) return false;
  for (const Module& module : loadedModules()) {
    if (nameMatches(module, name) && (!symbol || exportsSymbol(module, symbol)))
      return copyOut(out, out_size, module.path);
  }
  return false;
}

bool dsGetCurrentModulePath(char* out, std::size_t out_size, const void* address) {
  if (!out || !address) return false;
  struct link_map* map = linkMapAt(address);
  if (!map) return false;
  // The loader names the program itself "" (or as it was started); the kernel knows its file.
  bool executable = map == DlHandle(dlopen(nullptr, RTLD_LAZY)).linkMap();
  std::string path = executable ? executablePath() : canonicalPath(map->l_name);
  return copyOut(out, out_size, path);
}
