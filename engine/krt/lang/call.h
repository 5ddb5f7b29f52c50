// What the evaluator calls: built-ins written against the engine, loaded Korel files,
// and the resolved target of a name.
#pragma once

#include <memory>

#include <boost/container/small_vector.hpp>
#include <string>
#include <vector>

#include "korel/kx.h"
#include "krt/array/value.h"
#include "krt/lang/ast.h"

namespace krt::lang {

class Interpreter;
struct Frame;

// Arguments and results: most calls have a few, which then need no allocation.
using ValueList = boost::container::small_vector<Value, 4>;

struct CompiledFunction;
class BlockNode;

// The caller of a built-in that needs the engine: its workspace, its instance.
struct CallContext {
  Interpreter& interpreter;
  Frame& caller;
};

// A built-in with engine access. Fills at most max(nargout, 1) outputs; may take the
// inputs' values. Raises Korel errors.
using Intrinsic = void (*)(CallContext& context, int nargout, ValueList& outputs,
                           ValueList& inputs);

struct IntrinsicEntry {
  const char* name;
  Intrinsic function;
  // One line for the language reference: what it does, and its limits where it has any.
  const char* summary = nullptr;
};

// A table of built-ins of one area (ended by an entry with a null name), as the
// language reference groups them.
struct IntrinsicGroup {
  const char* area;
  const IntrinsicEntry* entries;
};

// A parsed Korel file with its functions by symbol.
struct LoadedProgram : std::enable_shared_from_this<LoadedProgram> {
  std::string path;  // the file
  std::string name;  // its stem: the name it is called by
  std::unique_ptr<Program> program;
  std::vector<std::pair<int, const Function*>> functions;  // primary first
  // Compiled on first use, in the order of `functions`; a script's statements likewise.
  mutable std::vector<std::shared_ptr<const CompiledFunction>> compiled;
  mutable std::shared_ptr<const BlockNode> compiled_script;

  const Function* find(int symbol) const {
    for (const auto& [s, f] : functions)
      if (s == symbol) return f;
    return nullptr;
  }
  const Function* primary() const {
    return program->script || functions.empty() ? nullptr : functions.front().second;
  }
};

// What a name resolves to.
struct Target {
  enum class Kind { None, Intrinsic, Gateway, Program };
  Kind kind = Kind::None;
  Intrinsic intrinsic = nullptr;
  kxNativeFunction gateway = nullptr;
  std::shared_ptr<const LoadedProgram> program;
  std::string path;  // the .klf or .k file; empty for built-ins

  explicit operator bool() const { return kind != Kind::None; }
};

}  // namespace krt::lang
