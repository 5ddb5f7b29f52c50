// The compiled form of Korel code: a tree of nodes, each of which knows how to evaluate
// itself. The compiler (compiler.h) makes it once per function from the syntax tree,
// resolving names to slots and choosing a node specialised for each construct, so
// evaluation never looks names up or re-dispatches on syntax.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "krt/array/value.h"
#include "krt/lang/call.h"
#include "krt/lang/workspace.h"

namespace krt::lang {

class Interpreter;
struct CompiledFunction;

// How a statement ends: normally, or by a jump the enclosing statements act on.
enum class Flow : uint8_t { Normal, Break, Continue, Return };

// One active function, script or text: where its variables are and where it is.
struct Frame {
  Interpreter& interpreter;
  Workspace& workspace;
  const LoadedProgram* program = nullptr;     // the file running: its local functions
  const CompiledFunction* function = nullptr; // null for scripts, text and the base
  std::string_view name;                      // for error reports ("" for the base)
  int line = 0;
  int nargin = 0;
  int nargout = 0;
};

class ExprNode {
 public:
  virtual ~ExprNode() = default;

  // Exactly one value.
  virtual Value eval(Frame& f) const = 0;
  // Every value the expression yields where a list is taken (inside [ ] and { }, and as
  // arguments): c{:} and s.f of a struct array give several, a call may give none.
  virtual void eval_list(Frame& f, ValueList& out) const { out.push_back(eval(f)); }
  // The first `nargout` values of a call or index, for [a, b] = ...: at least one unless
  // the call gives none.
  virtual void eval_outputs(Frame& f, int nargout, ValueList& out) const {
    out.push_back(eval(f));
  }
  // The value without a copy when the node reads a variable (valid until the variable
  // is next assigned); otherwise evaluates into `holder` and returns it.
  virtual const Value& ref(Frame& f, Value& holder) const {
    holder = eval(f);
    return holder;
  }

  // The value as a real double when the node computes one without side effects and
  // without making an array (constants, variables, arithmetic on them); false, having
  // done nothing, otherwise. What loops compute on, at the cost of no Value at all.
  virtual bool number(Frame&, double&) const { return false; }
  // The truth of the value as a condition (if, while, &&, ||).
  virtual bool test(Frame& f) const;

  int line = 0;
  int column = 0;
  // Whether evaluating may run other code (a call), which could change variables.
  bool may_call = true;
  // Whether an `end` inside refers to an array indexed outside the node.
  bool uses_end = false;
};

using ExprNodePtr = std::unique_ptr<ExprNode>;

class StmtNode {
 public:
  virtual ~StmtNode() = default;
  virtual Flow exec(Frame& f) const = 0;
  int line = 0;
};

using StmtNodePtr = std::unique_ptr<StmtNode>;

// Statements in order; line numbers tracked for error reports.
class BlockNode final : public StmtNode {
 public:
  Flow exec(Frame& f) const override {
    for (const StmtNodePtr& s : statements) {
      f.line = s->line;
      Flow flow = s->exec(f);
      if (flow != Flow::Normal) [[unlikely]]
        return flow;
    }
    return Flow::Normal;
  }
  std::vector<StmtNodePtr> statements;
};

// A function ready to run: its variables' layout and its compiled body.
struct CompiledFunction {
  std::string name;        // as written after `function`
  std::string frame_name;  // in stack traces: the file's name, then >name for a local one
  Scope scope;
  std::vector<int> inputs;   // slots of the named inputs (varargin excluded)
  std::vector<int> outputs;  // slots of the named outputs (varargout excluded)
  int varargin = -1;         // slot, or -1
  int varargout = -1;
  std::vector<std::string> input_names, output_names;  // for messages and nargin(f)
  BlockNode body;
  int line = 0;
  // Persistent variables, by slot of the scope; they live as long as the compiled
  // function (until the file is reloaded or the instance ends).
  mutable std::vector<std::unique_ptr<Value>> persistents;
};

}  // namespace krt::lang
