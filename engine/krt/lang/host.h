// What the evaluator needs from the runtime instance that hosts it, and nothing more:
// the instance implements this, and the evaluator never sees the instance itself.
#pragma once

#include <cstdint>
#include <string>

#include "krt/array/value.h"
#include "krt/error_state.h"
#include "krt/lang/call.h"

namespace krt::lang {

class Host {
 public:
  // What `symbol` names outside any file: a global function handle, a built-in, then a
  // file in the current directory or on the path.
  virtual Target resolve(int symbol) = 0;
  // Changes whenever resolve may answer differently than before (the path, the current
  // directory, the function tables or a file on the path changed): call sites keep
  // what they resolved until it does.
  virtual uint64_t resolution_generation() const = 0;

  // The instance's global variable `symbol`, made (unset) when new; it stays where it
  // is for the instance's life.
  virtual Value& global(int symbol) = 0;

  // Output of displayed results, through the instance's print handler.
  virtual void print_text(const std::string& text) = 0;

  // An error a catch block handled: it is the last error all the same.
  virtual void error_caught(const ErrorDetails& error) = 0;

 protected:
  ~Host() = default;
};

}  // namespace krt::lang
