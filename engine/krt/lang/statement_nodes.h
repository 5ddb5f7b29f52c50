// Compiled statements.
#pragma once

#include <string>
#include <vector>

#include "krt/lang/access_nodes.h"
#include "krt/lang/expression_nodes.h"
#include "krt/lang/nodes.h"

namespace krt::lang {

// The truth of a condition: non-empty and every element non-zero.
bool truth(const Value& v);

// An expression as a statement: its value becomes `ans` (a bare variable only shows).
class ExpressionStatement final : public StmtNode {
 public:
  ExpressionStatement(ExprNodePtr expr, bool print, bool is_variable, std::string name)
      : expr_(std::move(expr)), print_(print), is_variable_(is_variable), name_(std::move(name)) {}
  Flow exec(Frame& f) const override;

 private:
  ExprNodePtr expr_;
  bool print_;
  bool is_variable_;  // a bare name that may be a variable: shown under its own name
  std::string name_;
};

// Where an assignment stores: a slot, a name looked up when it runs, or nothing (`~`).
struct AssignTarget {
  int slot = -1;      // the function's variable, or -1
  int symbol = -1;    // its name; -1 for ~
  std::vector<Step> steps;
  std::string name;   // for display
};

// name = expr, or name(...)... = expr.
class AssignStatement final : public StmtNode {
 public:
  AssignStatement(AssignTarget target, ExprNodePtr expr, bool print)
      : target_(std::move(target)), expr_(std::move(expr)), print_(print) {}
  Flow exec(Frame& f) const override;

 private:
  AssignTarget target_;
  ExprNodePtr expr_;
  bool print_;
};

// [a, b, ~] = expr.
class MultipleAssignStatement final : public StmtNode {
 public:
  MultipleAssignStatement(std::vector<AssignTarget> targets, ExprNodePtr expr, bool print)
      : targets_(std::move(targets)), expr_(std::move(expr)), print_(print) {}
  Flow exec(Frame& f) const override;

 private:
  std::vector<AssignTarget> targets_;
  ExprNodePtr expr_;
  bool print_;
};

// name word word ...: a call with text arguments.
class CommandStatement final : public StmtNode {
 public:
  CommandStatement(int symbol, std::vector<std::string> words, bool print)
      : site_(symbol), words_(std::move(words)), print_(print) {}
  Flow exec(Frame& f) const override;

 private:
  CallSite site_;
  std::vector<std::string> words_;
  bool print_;
};

class IfStatement final : public StmtNode {
 public:
  struct Clause {
    ExprNodePtr condition;
    BlockNode body;
    int line = 0;
  };
  Flow exec(Frame& f) const override;
  std::vector<Clause> clauses;
  BlockNode else_body;
};

class WhileStatement final : public StmtNode {
 public:
  Flow exec(Frame& f) const override;
  ExprNodePtr condition;
  BlockNode body;
};

// for v = start:step:stop without making the range, when its ends are real scalars.
class ForRangeStatement final : public StmtNode {
 public:
  Flow exec(Frame& f) const override;
  AssignTarget variable;
  ExprNodePtr start, step, stop;  // step may be null
  BlockNode body;
};

// for v = expr: v takes each column in turn.
class ForStatement final : public StmtNode {
 public:
  Flow exec(Frame& f) const override;
  AssignTarget variable;
  ExprNodePtr values;
  BlockNode body;
};

class SwitchStatement final : public StmtNode {
 public:
  struct Case {
    ExprNodePtr label;
    BlockNode body;
  };
  Flow exec(Frame& f) const override;
  ExprNodePtr subject;
  std::vector<Case> cases;
  BlockNode otherwise;
};

class TryStatement final : public StmtNode {
 public:
  Flow exec(Frame& f) const override;
  BlockNode body;
  AssignTarget error_variable;  // symbol -1 when the catch names none
  BlockNode handler;
};

class JumpStatement final : public StmtNode {
 public:
  explicit JumpStatement(Flow flow) : flow_(flow) {}
  Flow exec(Frame&) const override { return flow_; }

 private:
  Flow flow_;
};

// global a b: each name refers to the host's global of that name.
class GlobalStatement final : public StmtNode {
 public:
  Flow exec(Frame& f) const override;
  std::vector<AssignTarget> names;
};

// persistent a b: each name refers to the function's own lasting variable.
class PersistentStatement final : public StmtNode {
 public:
  Flow exec(Frame& f) const override;
  std::vector<AssignTarget> names;
};

// Stores `value` where `target` names, in the frame's workspace.
void store(Frame& f, const AssignTarget& target, Value value);
// The storage of a target's variable, made in the workspace when new.
Value& variable_of(Frame& f, const AssignTarget& target);

}  // namespace krt::lang
