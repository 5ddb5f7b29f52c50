#include "engine/krt/lang/ast_dump.h"

#include <charconv>
#include <stdexcept>

#include "krt/lang/parser.h"

namespace krt::lang::test {
namespace {

std::string quoted(const std::string& text) {
  std::string out = "'";
  for (char c : text) out += c == '\'' ? std::string("''") : std::string(1, c);
  return out + "'";
}

std::string number(double value) {
  char buffer[64];
  auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
  return std::string(buffer, result.ptr);
}

std::string args(const std::vector<ExprPtr>& list, const char* open, const char* close) {
  std::string out = open;
  for (std::size_t i = 0; i < list.size(); ++i) out += (i ? " " : "") + dump(*list[i]);
  return out + close;
}

std::string reference(const std::string& name, const std::vector<Access>& chain) {
  if (chain.empty()) return name.empty() ? "~" : name;
  std::string out = "(ref " + name;
  for (const Access& access : chain) {
    switch (access.kind) {
      case Access::Kind::Paren: out += " " + args(access.args, "(", ")"); break;
      case Access::Kind::Brace: out += " " + args(access.args, "{", "}"); break;
      case Access::Kind::Field: out += " ." + access.field; break;
      case Access::Kind::DynamicField: out += " .(" + dump(*access.dynamic_field) + ")"; break;
    }
  }
  return out + ")";
}

std::string rows(const Expr& expr, const char* open, const char* close) {
  std::string out = open;
  for (std::size_t r = 0; r < expr.rows.size(); ++r) {
    if (r) out += "; ";
    for (std::size_t i = 0; i < expr.rows[r].size(); ++i)
      out += (i ? " " : "") + dump(*expr.rows[r][i]);
  }
  return out + close;
}

// " s1 s2": a block inside an enclosing list.
std::string body(const Block& block) {
  std::string out;
  for (const StmtPtr& stmt : block) out += " " + dump(*stmt);
  return out;
}

std::string names(const std::vector<std::string>& list) {
  std::string out;
  for (std::size_t i = 0; i < list.size(); ++i) out += (i ? " " : "") + list[i];
  return out;
}

std::string shown(const Stmt& stmt, std::string text) { return stmt.print ? text : text + ";"; }

}  // namespace

std::string dump(const Expr& expr) {
  switch (expr.kind) {
    case Expr::Kind::Number: return number(expr.number) + (expr.imaginary ? "i" : "");
    case Expr::Kind::String: return quoted(expr.text);
    case Expr::Kind::Identifier: return expr.text;
    case Expr::Kind::Colon: return ":";
    case Expr::Kind::End: return "end";
    case Expr::Kind::Range:
      return "(: " + dump(*expr.lhs) + (expr.step ? " " + dump(*expr.step) : "") + " " +
             dump(*expr.rhs) + ")";
    case Expr::Kind::Binary:
      return std::string("(") + symbol_of(expr.binary_op) + " " + dump(*expr.lhs) + " " +
             dump(*expr.rhs) + ")";
    case Expr::Kind::Unary:
      return std::string("(") + symbol_of(expr.unary_op) + " " + dump(*expr.lhs) + ")";
    case Expr::Kind::Postfix: return reference(expr.text, expr.chain);
    case Expr::Kind::Matrix: return rows(expr, "[", "]");
    case Expr::Kind::Cell: return rows(expr, "{", "}");
    case Expr::Kind::FunctionHandle: return "@" + expr.text;
    case Expr::Kind::AnonymousFunction:
      return "(@ (" + names(expr.params) + ") " + dump(*expr.lhs) + ")";
  }
  return "?";
}

std::string dump(const Stmt& stmt) {
  switch (stmt.kind) {
    case Stmt::Kind::Expression: return shown(stmt, dump(*stmt.expr));
    case Stmt::Kind::Assign: {
      std::string targets;
      for (const LValue& target : stmt.targets)
        targets += (targets.empty() ? "" : " ") + reference(target.name, target.chain);
      if (stmt.targets.size() > 1) targets = "[" + targets + "]";
      return shown(stmt, "(= " + targets + " " + dump(*stmt.expr) + ")");
    }
    case Stmt::Kind::Command: {
      std::string out = "(cmd " + stmt.name;
      for (const std::string& word : stmt.words) out += " " + quoted(word);
      return shown(stmt, out + ")");
    }
    case Stmt::Kind::If: {
      std::string out = "(if";
      for (const Stmt::Clause& clause : stmt.clauses)
        out += " (" + dump(*clause.condition) + body(clause.body) + ")";
      if (!stmt.else_body.empty()) out += " (else" + body(stmt.else_body) + ")";
      return out + ")";
    }
    case Stmt::Kind::For:
      return "(for " + stmt.targets[0].name + " " + dump(*stmt.expr) + body(stmt.body) + ")";
    case Stmt::Kind::While: return "(while " + dump(*stmt.expr) + body(stmt.body) + ")";
    case Stmt::Kind::Switch: {
      std::string out = "(switch " + dump(*stmt.expr);
      for (const Stmt::Clause& clause : stmt.clauses)
        out += " (case " + dump(*clause.condition) + body(clause.body) + ")";
      if (!stmt.else_body.empty()) out += " (otherwise" + body(stmt.else_body) + ")";
      return out + ")";
    }
    case Stmt::Kind::Break: return "break";
    case Stmt::Kind::Continue: return "continue";
    case Stmt::Kind::Return: return "return";
    case Stmt::Kind::Try:
      return "(try" + body(stmt.body) + " (catch" + (stmt.name.empty() ? "" : "=" + stmt.name) +
             body(stmt.else_body) + "))";
    case Stmt::Kind::Global: return "(global " + names(stmt.words) + ")";
    case Stmt::Kind::Persistent: return "(persistent " + names(stmt.words) + ")";
  }
  return "?";
}

std::string dump(const Block& block) {
  std::string out = body(block);
  return out.empty() ? out : out.substr(1);
}

std::string dump(const Program& program) {
  std::string out = dump(program.statements);
  for (const auto& fn : program.functions) {
    if (!out.empty()) out += " ";
    out += "(function " + fn->name + " (in " + names(fn->inputs) + ") (out " + names(fn->outputs) +
           ")" + body(fn->body) + ")";
  }
  return out;
}

std::string dump_expression(std::string_view text) {
  std::unique_ptr<Program> program = parse_program(text, "test");
  if (program->statements.size() != 1 || program->statements[0]->kind != Stmt::Kind::Expression)
    throw std::logic_error("not a single expression: " + std::string(text));
  return dump(*program->statements[0]->expr);
}

std::string dump_script(std::string_view text) { return dump(*parse_program(text, "test")); }

}  // namespace krt::lang::test
