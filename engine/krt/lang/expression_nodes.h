// Compiled expressions that are not accesses: constants, variables, operators, ranges,
// matrices and cells, `end`, and function handles.
#pragma once

#include <string>
#include <vector>

#include "krt/lang/ast.h"
#include "krt/lang/nodes.h"

namespace krt::lang {

// A number or text literal, made once.
class ConstantNode final : public ExprNode {
 public:
  explicit ConstantNode(Value v) : value_(std::move(v)) { may_call = false; }
  Value eval(Frame&) const override { return value_.share(); }
  const Value& ref(Frame&, Value&) const override { return value_; }
  bool number(Frame&, double& out) const override {
    if (!value_.is_number()) return false;
    out = value_.number_value();
    return true;
  }
  const Value& value() const { return value_; }

 private:
  Value value_;
};

// A variable of the function's scope, read by slot. An unset variable whose name is also
// a function's calls that function (a name assigned later in the function may still be
// called before), else raises "Undefined function or variable".
class VariableNode final : public ExprNode {
 public:
  VariableNode(int slot, int symbol) : slot_(slot), symbol_(symbol) { may_call = false; }
  Value eval(Frame& f) const override;
  const Value& ref(Frame& f, Value& holder) const override;
  void eval_outputs(Frame& f, int nargout, ValueList& out) const override;
  bool number(Frame& f, double& out) const override {
    const Value& v = f.workspace.at(slot_);
    if (!v.is_number()) return false;
    out = v.number_value();
    return true;
  }
  int slot() const { return slot_; }
  int symbol() const { return symbol_; }

 private:
  int slot_;
  int symbol_;
};

// A name looked up in the workspace when it runs: in scripts, eval text and the base
// workspace, whose variables are only known then. Not a variable: a call.
class NamedNode final : public ExprNode {
 public:
  explicit NamedNode(int symbol) : symbol_(symbol) {}
  Value eval(Frame& f) const override;
  const Value& ref(Frame& f, Value& holder) const override;
  void eval_list(Frame& f, ValueList& out) const override;
  void eval_outputs(Frame& f, int nargout, ValueList& out) const override;
  int symbol() const { return symbol_; }

 private:
  int symbol_;
};

// lhs op rhs for every operator but && and ||.
ExprNodePtr make_binary(BinaryOp op, ExprNodePtr lhs, ExprNodePtr rhs);

// && and ||: the right operand only when the left does not decide.
class ShortCircuitNode final : public ExprNode {
 public:
  ShortCircuitNode(bool is_and, ExprNodePtr lhs, ExprNodePtr rhs);
  Value eval(Frame& f) const override;
  bool test(Frame& f) const override;

 private:
  bool is_and_;
  ExprNodePtr lhs_, rhs_;
};

class UnaryNode final : public ExprNode {
 public:
  UnaryNode(UnaryOp op, ExprNodePtr operand);
  Value eval(Frame& f) const override;
  bool number(Frame& f, double& out) const override;

 private:
  UnaryOp op_;
  ExprNodePtr operand_;
};

// start:stop and start:step:stop as a row vector.
class RangeNode final : public ExprNode {
 public:
  RangeNode(ExprNodePtr start, ExprNodePtr step, ExprNodePtr stop);
  Value eval(Frame& f) const override;
  const ExprNode& start() const { return *start_; }
  const ExprNode* step() const { return step_.get(); }
  const ExprNode& stop() const { return *stop_; }

 private:
  ExprNodePtr start_, step_, stop_;
};

// [a, b; c, d] and {a, b; c, d}.
class MatrixNode final : public ExprNode {
 public:
  MatrixNode(std::vector<std::vector<ExprNodePtr>> rows, bool cell);
  Value eval(Frame& f) const override;

 private:
  std::vector<std::vector<ExprNodePtr>> rows_;
  bool cell_;
};

// `end` inside a subscript: the size of the innermost array being indexed along the
// subscript's dimension.
class EndNode final : public ExprNode {
 public:
  EndNode() {
    may_call = false;
    uses_end = true;
  }
  Value eval(Frame& f) const override;
};

// A bare ':' subscript.
class ColonNode final : public ExprNode {
 public:
  ColonNode() { may_call = false; }
  Value eval(Frame& f) const override;
};

// @name.
class FunctionHandleNode final : public ExprNode {
 public:
  explicit FunctionHandleNode(std::string name) : name_(std::move(name)) { may_call = false; }
  Value eval(Frame& f) const override;

 private:
  std::string name_;
};

}  // namespace krt::lang
