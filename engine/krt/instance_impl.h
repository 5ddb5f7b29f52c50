// What a runtime instance holds; the engine's side of krtInstance.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "krt/array/value.h"
#include "krt/dispatcher.h"
#include "krt/error_state.h"
#include "krt/figures.h"
#include "krt/function_registry.h"
#include "krt/instance.h"
#include "krt/lang/host.h"
#include "krt/lang/interpreter.h"

namespace krt {

class Instance final : public lang::Host {
 public:
  Instance(krtInstance& handle, const krtOptions& options,
           std::unique_ptr<krtSourceReader> reader);

  krtInstance& handle;
  krtOptions options;
  std::unique_ptr<krtSourceReader> reader;
  Dispatcher dispatcher;
  ErrorState error;
  LastWarning last_warning;
  Figures figures;
  std::vector<std::string> java_class_path;  // dynamic entries, in order
  std::unordered_map<int, Value> globals;      // by symbol
  std::optional<uint64_t> stopwatch;           // what the last tic without output started
  bool detached = false;
  lang::Interpreter interpreter;  // last: it refers to the members above

  // What `symbol` names outside any file: a global function handle, a built-in, then
  // a file in the current directory or on the path. Cached until the path changes.
  lang::Target resolve(int symbol) override;
  // Changes with the path, the current directory, the built-in tables and the globals
  // that register functions.
  uint64_t resolution_generation() const override {
    return dispatcher.generation() + krt::builtin_generation() + global_registrations;
  }
  Value& global(int symbol) override { return globals[symbol]; }
  void print_text(const std::string& text) override { print(text); }
  void error_caught(const ErrorDetails& caught) override { error.record(caught); }
  uint64_t global_registrations = 0;  // host-made globals, which may name functions
  // The same without looking at globals.
  lang::Target resolve_unbound(int symbol);

  // Output through the instance's handlers, else the process defaults, else the
  // standard streams.
  int print(const std::string& text) const;
  int print_error(const std::string& text) const;

  // Records a failure of a call from the host.
  void record(const kx::KorelError& error);

 private:
  struct Resolution {
    uint64_t dispatcher_generation = 0;
    uint64_t builtin_generation = 0;
    lang::Target target;
  };
  std::vector<Resolution> resolved_;  // by symbol
};

// The instance of a handle.
inline Instance& impl(krtInstance& handle) { return handle.impl(); }

}  // namespace krt
