// Runtime instances: one Korel context each, with its own path, current directory,
// globals, error state and output handlers.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "korel/export.h"
#include "korel/kx.h"
#include "krt/error_state.h"

// A host's output handler: receives one text, returns what a print call returns.
using krtSimpleHandler = int (*)(const char* text);

// Everything an instance is created with.
struct krtOptions {
  std::string current_directory;        // empty: the process's current directory
  std::vector<std::string> path;        // search path, in order
  bool replace_path = false;            // `path` replaces the default path (else appended)
  std::string toolbox_prefix;
  std::string preferences_directory;
  std::vector<std::string> x11_arguments;
  std::vector<std::string> warning_states;  // "on:ID" / "off:ID", applied at creation
  krtSimpleHandler print_handler = nullptr;
  krtSimpleHandler error_handler = nullptr;
  bool deployed = false;                // what isdeployed answers
  bool delete_on_detach = false;        // Detach() also deletes the instance
  std::string java_location;            // where the Java virtual machine was found
};

// Reads Korel source files for an instance.
class KOREL_EXPORT krtSourceReader {
 public:
  virtual ~krtSourceReader();
  // The text of `path`; false when it cannot be read.
  virtual bool read(const std::string& path, std::string& text) const;
};

namespace krt {
class Instance;
}

// The handle hosts hold. Its first 32-bit word is the instance's identifier.
class KOREL_EXPORT krtInstance {
 public:
  explicit krtInstance(const krtOptions& options,
                       std::unique_ptr<krtSourceReader> reader = nullptr);
  ~krtInstance();
  krtInstance(const krtInstance&) = delete;
  krtInstance& operator=(const krtInstance&) = delete;

  uint32_t GetID() const { return id_; }

  // The calling thread's current instance: the innermost activation, or null.
  static krtInstance* GetKRT();
  void PushActivation();
  // Undoes this instance's innermost activation on the calling thread; false if none.
  bool PopActivation();

  // Calls a function by name. On failure the reason is the instance's last error, the
  // output slots are left null, nothing is printed, and the result is false. Outputs
  // belong to the caller. `outputs` has room for max(nargout, 1) arrays.
  bool CallKorelFunction(const char* name, int nargout, kxArray** outputs, int nargin,
                         kxArray** inputs);

  // Evaluates Korel text in the base workspace, as eval does.
  bool Evaluate(const char* text);

  // Globals. Set stores a shared copy; Get returns a shared copy (caller owns) or null.
  bool SetGlobal(const char* name, const kxArray* value);
  kxArray* GetGlobal(const char* name) const;

  // The search path and current directory.
  bool AddPath(const char* dir, bool at_end);
  bool RemovePath(const char* dir);
  bool ChangeDirectory(const char* dir);
  // The path's entries joined by ':', and the current directory; each reference stays
  // valid until the path or the directory changes.
  const std::string& GetPath() const;
  std::vector<std::string> GetPathEntries() const;
  const std::string& GetCurrentDirectory() const;

  // Handlers; null means the process default.
  void SetPrintHandler(krtSimpleHandler fn);
  void SetErrorHandler(krtSimpleHandler fn);
  krtSimpleHandler GetPrintHandler() const;
  krtSimpleHandler GetErrorHandler() const;

  // The last error: identifier, message, stack.
  const krt::ErrorState& GetErrorState() const;
  void SetLastErrIdAndMsg(const char* id, const char* message);
  // The last error message with where it happened, or null when there is none.
  const char* GetLastError() const;

  const krtOptions& GetOptions() const;

  // Ends the instance: closes its figures, leaves the registry and every activation
  // of this thread. With delete_on_detach set it is also deleted (do not use it after).
  void Detach();
  bool IsDetached() const;

  krt::Instance& impl() { return *impl_; }

 private:
  uint32_t id_;  // first member: hosts read the identifier from the handle's first word
  std::unique_ptr<krt::Instance> impl_;
};

// The live instance with this identifier, or null.
KOREL_EXPORT krtInstance* krt_get_krt(uint32_t id);
