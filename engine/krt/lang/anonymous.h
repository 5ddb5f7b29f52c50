// Anonymous functions: `@(x) expr` values that carry the variables they use, captured
// when they are made.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "krt/lang/nodes.h"
#include "kx/payload.h"

namespace krt::lang {

// The compiled body of one @(...) expression, shared by every handle it makes.
struct AnonymousCode {
  std::string text;        // as written: what func2str and the display show
  Scope scope;             // the parameters, then every other name the body uses
  std::vector<int> params; // slots of the named parameters (varargin excluded)
  int varargin = -1;
  // The names the body may take from where it is made: their symbols, and their slots in
  // `scope`, in the same order as a closure's captured values.
  std::vector<int> free_symbols;
  std::vector<int> free_slots;
  ExprNodePtr body;
  int line = 0;
};

// What an anonymous function handle carries.
struct Closure final : kx::Payload {
  std::shared_ptr<const AnonymousCode> code;
  std::vector<Value> captured;                   // by free name; unset: not a variable then
  std::shared_ptr<const LoadedProgram> program;  // where it was made: its local functions
};

// Makes the handle: captures, from the frame it runs in, the value of each free name
// that is a variable there.
class AnonymousFunctionNode final : public ExprNode {
 public:
  // `enclosing_slots`: the slot of each free name in the enclosing function's scope, or
  // -1 when the name is looked up by name (or is not a variable there).
  AnonymousFunctionNode(std::shared_ptr<const AnonymousCode> code, std::vector<int> enclosing_slots);
  Value eval(Frame& f) const override;

 private:
  std::shared_ptr<const AnonymousCode> code_;
  std::vector<int> enclosing_slots_;
};

// A handle's closure, or null when it names a function instead.
const Closure* closure_of(const kxArray* handle);

}  // namespace krt::lang
