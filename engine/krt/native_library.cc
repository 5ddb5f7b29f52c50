#include "krt/native_library.h"

#include <dlfcn.h>

#include <mutex>
#include <unordered_map>

#include "kx/error.h"

namespace krt {

kxNativeFunction load_native_function(const std::string& path) {
  static std::mutex mutex;
  static auto* loaded = new std::unordered_map<std::string, kxNativeFunction>;
  std::lock_guard lock(mutex);
  if (auto it = loaded->find(path); it != loaded->end()) return it->second;

  // RTLD_LOCAL: two components may each bring a function of the same name.
  void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!library) {
    const char* why = dlerror();
    kx::raise("Korel:klf:LoadFailed", "Cannot load the native function '" + path + "': " +
                                          (why ? why : "unknown reason") + ".");
  }
  auto fn = reinterpret_cast<kxNativeFunction>(dlsym(library, "klfFunction"));
  if (!fn) {
    dlclose(library);
    kx::raise("Korel:klf:NoEntryPoint",
              "The native function '" + path + "' does not export klfFunction.");
  }
  loaded->emplace(path, fn);
  return fn;
}

}  // namespace krt
