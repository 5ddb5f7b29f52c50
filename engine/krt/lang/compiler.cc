#include "krt/lang/compiler.h"

#include <algorithm>
#include <string>

#include "krt/lang/access_nodes.h"
#include "krt/lang/anonymous.h"
#include "krt/lang/expression_nodes.h"
#include "krt/lang/statement_nodes.h"
#include "krt/lang/symbols.h"
#include "kx/error.h"

namespace krt::lang {
namespace {

// Every name a block assigns or declares, in the order met.
void collect_variables(const Block& block, Scope& scope) {
  for (const StmtPtr& s : block) {
    switch (s->kind) {
      case Stmt::Kind::Assign:
        for (const LValue& lv : s->targets)
          if (!lv.name.empty()) scope.add(intern(lv.name));
        break;
      case Stmt::Kind::For:
        for (const LValue& lv : s->targets)
          if (!lv.name.empty()) scope.add(intern(lv.name));
        break;
      case Stmt::Kind::Global:
      case Stmt::Kind::Persistent:
        for (const std::string& name : s->words) scope.add(intern(name));
        break;
      case Stmt::Kind::Try:
        if (!s->name.empty()) scope.add(intern(s->name));
        break;
      default: break;
    }
    for (const Stmt::Clause& c : s->clauses) collect_variables(c.body, scope);
    collect_variables(s->body, scope);
    collect_variables(s->else_body, scope);
  }
}

// The names an expression uses that `bound` does not hold, each once, in order met.
void collect_free(const Expr& e, std::vector<int>& bound, std::vector<int>& out) {
  auto note = [&](const std::string& name) {
    int symbol = intern(name);
    if (std::find(bound.begin(), bound.end(), symbol) != bound.end()) return;
    if (std::find(out.begin(), out.end(), symbol) == out.end()) out.push_back(symbol);
  };
  switch (e.kind) {
    case Expr::Kind::Identifier: note(e.text); return;
    case Expr::Kind::Postfix:
      note(e.text);
      for (const Access& a : e.chain) {
        for (const ExprPtr& arg : a.args) collect_free(*arg, bound, out);
        if (a.dynamic_field) collect_free(*a.dynamic_field, bound, out);
      }
      return;
    case Expr::Kind::AnonymousFunction: {
      std::size_t before = bound.size();
      for (const std::string& p : e.params) bound.push_back(intern(p));
      collect_free(*e.lhs, bound, out);
      bound.resize(before);
      return;
    }
    default: break;
  }
  if (e.lhs) collect_free(*e.lhs, bound, out);
  if (e.step) collect_free(*e.step, bound, out);
  if (e.rhs) collect_free(*e.rhs, bound, out);
  for (const auto& row : e.rows)
    for (const ExprPtr& element : row) collect_free(*element, bound, out);
}

class Compiler {
 public:
  // `scope` null: names are looked up when the code runs.
  explicit Compiler(const Scope* scope) : scope_(scope) {}

  ExprNodePtr expression(const Expr& e);
  std::unique_ptr<StmtNode> statement(const Stmt& s);
  void block(const Block& statements, BlockNode& out);

 private:
  template <class Node>
  std::unique_ptr<Node> at(std::unique_ptr<Node> node, const Expr& e) {
    node->line = e.line;
    node->column = e.column;
    return node;
  }
  int slot_of(const std::string& name) const { return scope_ ? scope_->find(intern(name)) : -1; }
  Step step(const Access& a);
  std::vector<Step> steps(const std::vector<Access>& chain);
  ExprNodePtr access(const Expr& e, const std::vector<Access>& chain);
  AssignTarget target(const LValue& lv);
  ExprNodePtr anonymous(const Expr& e);
  AssignTarget named_target(const std::string& name);

  const Scope* scope_;
};

Step Compiler::step(const Access& a) {
  Step s;
  s.kind = a.kind;
  s.line = a.line;
  s.field = a.field;
  for (const ExprPtr& arg : a.args) {
    s.args.push_back(expression(*arg));
    s.args_use_end = s.args_use_end || s.args.back()->uses_end;
  }
  if (a.dynamic_field) s.dynamic_field = expression(*a.dynamic_field);
  return s;
}

std::vector<Step> Compiler::steps(const std::vector<Access>& chain) {
  std::vector<Step> out;
  out.reserve(chain.size());
  for (const Access& a : chain) out.push_back(step(a));
  return out;
}

ExprNodePtr Compiler::access(const Expr& e, const std::vector<Access>& chain) {
  const int symbol = intern(e.text);
  if (!scope_) return at(std::make_unique<AccessNode>(AccessNode::Base::Named, -1, symbol, steps(chain)), e);
  if (int slot = scope_->find(symbol); slot >= 0) {
    if (chain.empty()) return at(std::make_unique<VariableNode>(slot, symbol), e);
    return at(std::make_unique<AccessNode>(AccessNode::Base::Slot, slot, symbol, steps(chain)), e);
  }
  return at(std::make_unique<AccessNode>(AccessNode::Base::Function, -1, symbol, steps(chain)), e);
}

ExprNodePtr Compiler::expression(const Expr& e) {
  switch (e.kind) {
    case Expr::Kind::Number: {
      if (!e.imaginary) return at(std::make_unique<ConstantNode>(Value::number(e.number)), e);
      Value z = checked(kxCreateDoubleMatrix(1, 1, kxCOMPLEX));
      kxGetPr(z.get())[0] = 0;
      kxGetPi(z.get())[0] = e.number;
      return at(std::make_unique<ConstantNode>(std::move(z)), e);
    }
    case Expr::Kind::String: return at(std::make_unique<ConstantNode>(make_string(e.text)), e);
    case Expr::Kind::Identifier: return access(e, {});
    case Expr::Kind::Postfix: return access(e, e.chain);
    case Expr::Kind::Colon: return at(std::make_unique<ColonNode>(), e);
    case Expr::Kind::End: return at(std::make_unique<EndNode>(), e);
    case Expr::Kind::Range:
      return at(std::make_unique<RangeNode>(expression(*e.lhs), e.step ? expression(*e.step) : nullptr,
                                            expression(*e.rhs)),
                e);
    case Expr::Kind::Binary: {
      ExprNodePtr node = make_binary(e.binary_op, expression(*e.lhs), expression(*e.rhs));
      node->line = e.line;
      node->column = e.column;
      return node;
    }
    case Expr::Kind::Unary:
      return at(std::make_unique<UnaryNode>(e.unary_op, expression(*e.lhs)), e);
    case Expr::Kind::Matrix:
    case Expr::Kind::Cell: {
      std::vector<std::vector<ExprNodePtr>> rows;
      for (const auto& row : e.rows) {
        rows.emplace_back();
        for (const ExprPtr& element : row) rows.back().push_back(expression(*element));
      }
      return at(std::make_unique<MatrixNode>(std::move(rows), e.kind == Expr::Kind::Cell), e);
    }
    case Expr::Kind::FunctionHandle: return at(std::make_unique<FunctionHandleNode>(e.text), e);
    case Expr::Kind::AnonymousFunction: return anonymous(e);
    default: break;
  }
  kx::raise("Korel:internal", "This kind of expression cannot be evaluated yet.");
}

ExprNodePtr Compiler::anonymous(const Expr& e) {
  auto code = std::make_shared<AnonymousCode>();
  code->text = e.text;
  code->line = e.line;
  std::vector<int> bound;
  for (std::size_t k = 0; k < e.params.size(); ++k) {
    const std::string& p = e.params[k];
    // An ignored parameter still takes its place; it gets a slot no name reaches.
    int slot = code->scope.add(intern(p == "~" ? "~" + std::to_string(k) : p));
    if (p == "varargin" && k + 1 == e.params.size())
      code->varargin = slot;
    else
      code->params.push_back(slot);
    bound.push_back(intern(p));
  }
  std::vector<int> free;
  collect_free(*e.lhs, bound, free);
  std::vector<int> enclosing;
  for (int symbol : free) {
    code->free_symbols.push_back(symbol);
    code->free_slots.push_back(code->scope.add(symbol));
    enclosing.push_back(scope_ ? scope_->find(symbol) : -1);
  }
  code->body = Compiler(&code->scope).expression(*e.lhs);
  return at(std::make_unique<AnonymousFunctionNode>(std::move(code), std::move(enclosing)), e);
}

AssignTarget Compiler::named_target(const std::string& name) {
  AssignTarget t;
  t.name = name;
  if (name.empty() || name == "~") return t;
  t.symbol = intern(name);
  t.slot = slot_of(name);
  return t;
}

AssignTarget Compiler::target(const LValue& lv) {
  AssignTarget t = named_target(lv.name);
  t.steps = steps(lv.chain);
  return t;
}

void Compiler::block(const Block& statements, BlockNode& out) {
  for (const StmtPtr& s : statements) out.statements.push_back(statement(*s));
}

std::unique_ptr<StmtNode> Compiler::statement(const Stmt& s) {
  std::unique_ptr<StmtNode> node;
  switch (s.kind) {
    case Stmt::Kind::Expression: {
      const bool bare_name = s.expr->kind == Expr::Kind::Identifier;
      node = std::make_unique<ExpressionStatement>(expression(*s.expr), s.print, bare_name,
                                                   bare_name ? s.expr->text : std::string());
      break;
    }
    case Stmt::Kind::Assign:
      if (s.targets.size() == 1) {
        node = std::make_unique<AssignStatement>(target(s.targets[0]), expression(*s.expr), s.print);
      } else {
        std::vector<AssignTarget> targets;
        for (const LValue& lv : s.targets) targets.push_back(target(lv));
        node = std::make_unique<MultipleAssignStatement>(std::move(targets), expression(*s.expr), s.print);
      }
      break;
    case Stmt::Kind::Command:
      node = std::make_unique<CommandStatement>(intern(s.name), s.words, s.print);
      break;
    case Stmt::Kind::If: {
      auto n = std::make_unique<IfStatement>();
      for (const Stmt::Clause& c : s.clauses) {
        IfStatement::Clause clause;
        clause.condition = expression(*c.condition);
        clause.line = c.condition->line;
        block(c.body, clause.body);
        n->clauses.push_back(std::move(clause));
      }
      block(s.else_body, n->else_body);
      node = std::move(n);
      break;
    }
    case Stmt::Kind::While: {
      auto n = std::make_unique<WhileStatement>();
      n->condition = expression(*s.expr);
      block(s.body, n->body);
      node = std::move(n);
      break;
    }
    case Stmt::Kind::For: {
      const Expr& e = *s.expr;
      if (e.kind == Expr::Kind::Range) {
        auto n = std::make_unique<ForRangeStatement>();
        n->variable = target(s.targets.at(0));
        n->start = expression(*e.lhs);
        if (e.step) n->step = expression(*e.step);
        n->stop = expression(*e.rhs);
        block(s.body, n->body);
        node = std::move(n);
      } else {
        auto n = std::make_unique<ForStatement>();
        n->variable = target(s.targets.at(0));
        n->values = expression(e);
        block(s.body, n->body);
        node = std::move(n);
      }
      break;
    }
    case Stmt::Kind::Switch: {
      auto n = std::make_unique<SwitchStatement>();
      n->subject = expression(*s.expr);
      for (const Stmt::Clause& c : s.clauses) {
        SwitchStatement::Case one;
        one.label = expression(*c.condition);
        block(c.body, one.body);
        n->cases.push_back(std::move(one));
      }
      block(s.else_body, n->otherwise);
      node = std::move(n);
      break;
    }
    case Stmt::Kind::Break: node = std::make_unique<JumpStatement>(Flow::Break); break;
    case Stmt::Kind::Continue: node = std::make_unique<JumpStatement>(Flow::Continue); break;
    case Stmt::Kind::Return: node = std::make_unique<JumpStatement>(Flow::Return); break;
    case Stmt::Kind::Try: {
      auto n = std::make_unique<TryStatement>();
      block(s.body, n->body);
      n->error_variable = named_target(s.name);
      block(s.else_body, n->handler);
      node = std::move(n);
      break;
    }
    case Stmt::Kind::Global: {
      auto n = std::make_unique<GlobalStatement>();
      for (const std::string& name : s.words) n->names.push_back(named_target(name));
      node = std::move(n);
      break;
    }
    case Stmt::Kind::Persistent: {
      if (!scope_)
        kx::raise("Korel:persistentOutsideFunction",
                  "Persistent variables can only be declared in functions.");
      auto n = std::make_unique<PersistentStatement>();
      for (const std::string& name : s.words) n->names.push_back(named_target(name));
      node = std::move(n);
      break;
    }
    default:
      kx::raise("Korel:internal", "This kind of statement cannot be run yet.");
  }
  node->line = s.line;
  return node;
}

}  // namespace

std::unique_ptr<CompiledFunction> compile_function(const Function& function) {
  auto compiled = std::make_unique<CompiledFunction>();
  compiled->name = function.name;
  compiled->line = function.line;
  compiled->input_names = function.inputs;
  compiled->output_names = function.outputs;
  Scope& scope = compiled->scope;
  for (const std::string& name : function.inputs) {
    int slot = scope.add(intern(name));
    if (name == "varargin" && &name == &function.inputs.back())
      compiled->varargin = slot;
    else
      compiled->inputs.push_back(slot);
  }
  for (const std::string& name : function.outputs) {
    int slot = scope.add(intern(name));
    if (name == "varargout" && &name == &function.outputs.back())
      compiled->varargout = slot;
    else
      compiled->outputs.push_back(slot);
  }
  collect_variables(function.body, scope);
  Compiler(&scope).block(function.body, compiled->body);
  return compiled;
}

std::unique_ptr<BlockNode> compile_dynamic(const Block& statements) {
  auto block = std::make_unique<BlockNode>();
  Compiler(nullptr).block(statements, *block);
  return block;
}

ExprNodePtr compile_dynamic_expression(const Expr& expr) { return Compiler(nullptr).expression(expr); }

}  // namespace krt::lang
