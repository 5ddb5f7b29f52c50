// libFuzzer target for the Korel lexer and parser; nothing is evaluated. Each input is
// taken as source text:
//  - the lexer alone must reach the end of the text, or throw SyntaxError, in at most a
//    couple of tokens per byte;
//  - the parser must give a tree or throw SyntaxError, each at a place inside the text;
//  - a tree is printed back as Korel text, with only the brackets its operators need and
//    no blanks inside expressions, and that text must parse to the same tree;
//  - an anonymous function keeps a piece of the text that begins with '@'.
// Anything else aborts and is reported.
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "krt/lang/ast.h"
#include "krt/lang/lexer.h"
#include "krt/lang/parser.h"

namespace krt::lang {
namespace {

std::string visible(std::string_view text) {
  std::string out;
  for (unsigned char c : text) {
    if (c >= ' ' && c < 127 && c != '\\') {
      out += static_cast<char>(c);
    } else if (c == '\n') {
      out += "\\n";
    } else {
      char hex[8];
      std::snprintf(hex, sizeof hex, "\\x%02X", c);
      out += hex;
    }
  }
  return out;
}

[[noreturn]] void fail(const std::string& what, std::string_view text) {
  std::fprintf(stderr, "korel_parse: %s\n  text: %s\n", what.c_str(), visible(text).c_str());
  std::abort();
}

// --- Places inside the text ------------------------------------------------------------

class Places {
 public:
  explicit Places(std::string_view text) : text_(text) {
    std::size_t start = 0;
    for (;;) {
      std::size_t end = text.find('\n', start);
      if (end == std::string_view::npos) {
        lengths_.push_back(text.size() - start);
        break;
      }
      lengths_.push_back(end - start);
      start = end + 1;
    }
  }

  // A line that exists, and a column at most one past its end.
  void check(int line, int column, const char* what) const {
    check_line(line, what);
    if (column < 1 || static_cast<std::size_t>(column) > lengths_[line - 1] + 1)
      fail(std::string(what) + " at column " + std::to_string(column) + " of line " +
               std::to_string(line),
           text_);
  }
  // Text a node says it was written as.
  void check_source(const std::string& piece, const char* what) const {
    if (piece.empty() || piece[0] != '@' || text_.find(piece) == std::string_view::npos)
      fail(std::string(what) + " keeps text not in the source: " + visible(piece), text_);
  }
  void check_line(int line, const char* what) const {
    if (line < 1 || static_cast<std::size_t>(line) > lengths_.size())
      fail(std::string(what) + " at line " + std::to_string(line), text_);
  }

 private:
  std::string_view text_;
  std::vector<std::size_t> lengths_;
};

// --- The tree back to text -------------------------------------------------------------

// How tightly a node binds, as the parser ranks it: an anonymous function's body reaches
// as far as it can (0), || 1 … * / \ 8, prefix operators 9, ^ and the transposes 10,
// names, literals and brackets 11.
constexpr int kAnonymous = 0;
constexpr int kRange = 6;
constexpr int kPrefix = 9;
constexpr int kPower = 10;
constexpr int kAtom = 11;

int precedence(BinaryOp op) {
  switch (op) {
    case BinaryOp::OrOr: return 1;
    case BinaryOp::AndAnd: return 2;
    case BinaryOp::ElemOr: return 3;
    case BinaryOp::ElemAnd: return 4;
    case BinaryOp::Eq:
    case BinaryOp::Ne:
    case BinaryOp::Lt:
    case BinaryOp::Le:
    case BinaryOp::Gt:
    case BinaryOp::Ge: return 5;
    case BinaryOp::Add:
    case BinaryOp::Sub: return 7;
    case BinaryOp::MatMul:
    case BinaryOp::MatDiv:
    case BinaryOp::ElemMul:
    case BinaryOp::ElemDiv:
    case BinaryOp::LeftDiv:
    case BinaryOp::ElemLeftDiv: return 8;
    case BinaryOp::MatPow:
    case BinaryOp::ElemPow: return kPower;
  }
  return 0;
}

bool is_prefix(UnaryOp op) {
  return op == UnaryOp::Negate || op == UnaryOp::Plus || op == UnaryOp::Not;
}

int precedence(const Expr& e) {
  switch (e.kind) {
    case Expr::Kind::Binary: return precedence(e.binary_op);
    case Expr::Kind::Range: return kRange;
    case Expr::Kind::Unary: return is_prefix(e.unary_op) ? kPrefix : kPower;
    case Expr::Kind::AnonymousFunction: return kAnonymous;
    default: return kAtom;
  }
}

class Printer {
 public:
  explicit Printer(std::string_view source) : source_(source) {}

  std::string program(const Program& p) {
    std::string out;
    if (p.script) out += block(p.statements);
    for (const auto& fn : p.functions) out += function(*need(fn.get(), "function"));
    return out;
  }

 private:
  template <typename T>
  const T* need(const T* node, const char* what) const {
    if (!node) fail(std::string("the tree lacks ") + what, source_);
    return node;
  }

  static std::string quoted(const std::string& text) {
    std::string out = "'";
    for (char c : text) out += c == '\'' ? std::string("''") : std::string(1, c);
    return out + "'";
  }

  // Enough digits to give the same double back; infinity as a literal that overflows.
  static std::string number(double value) {
    if (std::isinf(value)) return "1e999";
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%.17g", value);
    return buffer;
  }

  std::string operand(const ExprPtr& e, int min) {
    const Expr& x = *need(e.get(), "an operand");
    std::string text = expr(x);
    return precedence(x) < min ? "(" + text + ")" : text;
  }

  // The exponent of ^ is prefix operators applied to a name, literal or bracket.
  std::string exponent(const ExprPtr& e) {
    const Expr& x = *need(e.get(), "an exponent");
    if (x.kind == Expr::Kind::Unary && is_prefix(x.unary_op))
      return symbol_of(x.unary_op) + exponent(x.lhs);
    return precedence(x) == kAtom ? expr(x) : "(" + expr(x) + ")";
  }

  // Whether the text printed for `e` ends with a string: a string, or a power whose
  // exponent, prefix operators aside, is one.
  static bool ends_with_string(const Expr& e) {
    if (e.kind == Expr::Kind::String) return true;
    if (e.kind == Expr::Kind::Binary && precedence(e.binary_op) == kPower && e.rhs) {
      const Expr* x = e.rhs.get();
      while (x->kind == Expr::Kind::Unary && is_prefix(x->unary_op) && x->lhs) x = x->lhs.get();
      return x->kind == Expr::Kind::String;
    }
    return false;
  }

  std::string list(const std::vector<ExprPtr>& items) {
    std::string out;
    for (std::size_t i = 0; i < items.size(); ++i)
      out += (i ? "," : "") + expr(*need(items[i].get(), "an element"));
    return out;
  }

  std::string chain(const std::vector<Access>& accesses) {
    std::string out;
    for (const Access& a : accesses) {
      switch (a.kind) {
        case Access::Kind::Paren: out += "(" + list(a.args) + ")"; break;
        case Access::Kind::Brace: out += "{" + list(a.args) + "}"; break;
        case Access::Kind::Field:
          if (a.field.empty()) fail("a field access without a name", source_);
          out += "." + a.field;
          break;
        case Access::Kind::DynamicField:
          out += ".(" + expr(*need(a.dynamic_field.get(), "a dynamic field")) + ")";
          break;
      }
    }
    return out;
  }

  std::string rows(const Expr& e, const char* open, const char* close) {
    std::string out = open;
    for (std::size_t r = 0; r < e.rows.size(); ++r) {
      if (e.rows[r].empty()) fail("a bracket keeps an empty row", source_);
      out += (r ? ";" : "") + list(e.rows[r]);
    }
    return out + close;
  }

  std::string expr(const Expr& e) {
    switch (e.kind) {
      case Expr::Kind::Number: return number(e.number) + (e.imaginary ? "i" : "");
      case Expr::Kind::String: return quoted(e.text);
      case Expr::Kind::Identifier: return e.text;
      case Expr::Kind::Colon: return ":";
      case Expr::Kind::End: return "end";
      case Expr::Kind::FunctionHandle: return "@" + e.text;
      case Expr::Kind::AnonymousFunction:
        return "@(" + names(e.params) + ")" + expr(*need(e.lhs.get(), "a body"));
      case Expr::Kind::Postfix:
        if (e.chain.empty()) fail("a reference without an access chain", source_);
        return e.text + chain(e.chain);
      case Expr::Kind::Matrix: return rows(e, "[", "]");
      case Expr::Kind::Cell: return rows(e, "{", "}");
      case Expr::Kind::Range: {
        std::string out = operand(e.lhs, kRange + 1) + ":";
        if (e.step) out += operand(e.step, kRange + 1) + ":";
        return out + operand(e.rhs, kRange + 1);
      }
      case Expr::Kind::Binary: {
        int p = precedence(e.binary_op);
        if (p == kPower)
          return operand(e.lhs, kPower) + symbol_of(e.binary_op) + exponent(e.rhs);
        return operand(e.lhs, p) + symbol_of(e.binary_op) + operand(e.rhs, p + 1);
      }
      case Expr::Kind::Unary: {
        if (is_prefix(e.unary_op)) return symbol_of(e.unary_op) + operand(e.lhs, kPrefix);
        const Expr& x = *need(e.lhs.get(), "a transposed operand");
        // After a string a quote opens another string.
        bool bracket = precedence(x) < kPower ||
                       (e.unary_op == UnaryOp::Transpose && ends_with_string(x));
        return (bracket ? "(" + expr(x) + ")" : expr(x)) + symbol_of(e.unary_op);
      }
    }
    fail("an expression of unknown kind", source_);
  }

  std::string target(const LValue& t) { return (t.name.empty() ? "~" : t.name) + chain(t.chain); }

  static std::string end_of(const Stmt& s) { return s.print ? "\n" : ";\n"; }

  std::string statement(const Stmt& s) {
    switch (s.kind) {
      case Stmt::Kind::Expression:
        return expr(*need(s.expr.get(), "a statement's value")) + end_of(s);
      case Stmt::Kind::Assign: {
        if (s.targets.empty()) fail("an assignment without targets", source_);
        std::string lhs;
        if (s.targets.size() == 1 && !s.targets[0].name.empty()) {
          lhs = target(s.targets[0]);
        } else {
          for (std::size_t i = 0; i < s.targets.size(); ++i)
            lhs += (i ? "," : "") + target(s.targets[i]);
          lhs = "[" + lhs + "]";
        }
        return lhs + "=" + expr(*need(s.expr.get(), "an assigned value")) + end_of(s);
      }
      case Stmt::Kind::Command: {
        std::string out = s.name;
        for (const std::string& word : s.words) out += " " + quoted(word);
        return out + end_of(s);
      }
      case Stmt::Kind::If: {
        std::string out;
        for (std::size_t i = 0; i < s.clauses.size(); ++i)
          out += (i ? "elseif " : "if ") +
                 expr(*need(s.clauses[i].condition.get(), "a condition")) + "\n" +
                 block(s.clauses[i].body);
        if (!s.else_body.empty()) out += "else\n" + block(s.else_body);
        return out + "end\n";
      }
      case Stmt::Kind::For:
        if (s.targets.size() != 1) fail("a loop without one variable", source_);
        return "for " + target(s.targets[0]) + "=" + expr(*need(s.expr.get(), "a loop range")) +
               "\n" + block(s.body) + "end\n";
      case Stmt::Kind::While:
        return "while " + expr(*need(s.expr.get(), "a loop condition")) + "\n" + block(s.body) +
               "end\n";
      case Stmt::Kind::Switch: {
        std::string out = "switch " + expr(*need(s.expr.get(), "a switch value")) + "\n";
        for (const Stmt::Clause& c : s.clauses)
          out += "case " + expr(*need(c.condition.get(), "a case value")) + "\n" + block(c.body);
        if (!s.else_body.empty()) out += "otherwise\n" + block(s.else_body);
        return out + "end\n";
      }
      case Stmt::Kind::Try:
        return "try\n" + block(s.body) + "catch" + (s.name.empty() ? "" : " " + s.name) + "\n" +
               block(s.else_body) + "end\n";
      case Stmt::Kind::Global:
      case Stmt::Kind::Persistent: {
        std::string out = s.kind == Stmt::Kind::Global ? "global" : "persistent";
        for (const std::string& name : s.words) out += " " + name;
        return out + end_of(s);
      }
      case Stmt::Kind::Break: return "break" + end_of(s);
      case Stmt::Kind::Continue: return "continue" + end_of(s);
      case Stmt::Kind::Return: return "return" + end_of(s);
    }
    fail("a statement of unknown kind", source_);
  }

  std::string block(const Block& b) {
    std::string out;
    for (const StmtPtr& s : b) out += statement(*need(s.get(), "a statement"));
    return out;
  }

  static std::string names(const std::vector<std::string>& list) {
    std::string out;
    for (std::size_t i = 0; i < list.size(); ++i) out += (i ? "," : "") + list[i];
    return out;
  }

  std::string function(const Function& fn) {
    std::string out = "function ";
    if (fn.outputs.size() == 1) out += fn.outputs[0] + "=";
    if (fn.outputs.size() > 1) out += "[" + names(fn.outputs) + "]=";
    out += fn.name;
    if (!fn.inputs.empty()) out += "(" + names(fn.inputs) + ")";
    return out + "\n" + block(fn.body) + "end\n";
  }

  std::string_view source_;
};

// --- Comparing trees, positions aside --------------------------------------------------

bool same(const ExprPtr& a, const ExprPtr& b);

bool same(const std::vector<ExprPtr>& a, const std::vector<ExprPtr>& b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i)
    if (!same(a[i], b[i])) return false;
  return true;
}

bool same(const std::vector<Access>& a, const std::vector<Access>& b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i)
    if (a[i].kind != b[i].kind || a[i].field != b[i].field || !same(a[i].args, b[i].args) ||
        !same(a[i].dynamic_field, b[i].dynamic_field))
      return false;
  return true;
}

// An anonymous function's text is its spelling in the source, which printing changes.
bool same(const ExprPtr& a, const ExprPtr& b) {
  if (!a || !b) return !a && !b;
  bool same_text = a->text == b->text || a->kind == Expr::Kind::AnonymousFunction;
  if (a->kind != b->kind || !same_text || a->params != b->params ||
      a->imaginary != b->imaginary || std::memcmp(&a->number, &b->number, sizeof(double)) != 0 ||
      a->binary_op != b->binary_op || a->unary_op != b->unary_op || !same(a->lhs, b->lhs) ||
      !same(a->rhs, b->rhs) || !same(a->step, b->step) || !same(a->chain, b->chain) ||
      a->rows.size() != b->rows.size())
    return false;
  for (std::size_t r = 0; r < a->rows.size(); ++r)
    if (!same(a->rows[r], b->rows[r])) return false;
  return true;
}

bool same(const Block& a, const Block& b);

bool same(const Stmt& a, const Stmt& b) {
  if (a.kind != b.kind || a.print != b.print || !same(a.expr, b.expr) || a.name != b.name ||
      a.words != b.words || a.targets.size() != b.targets.size() ||
      a.clauses.size() != b.clauses.size() || !same(a.body, b.body) ||
      !same(a.else_body, b.else_body))
    return false;
  for (std::size_t i = 0; i < a.targets.size(); ++i)
    if (a.targets[i].name != b.targets[i].name || !same(a.targets[i].chain, b.targets[i].chain))
      return false;
  for (std::size_t i = 0; i < a.clauses.size(); ++i)
    if (!same(a.clauses[i].condition, b.clauses[i].condition) ||
        !same(a.clauses[i].body, b.clauses[i].body))
      return false;
  return true;
}

bool same(const Block& a, const Block& b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i)
    if (!same(*a[i], *b[i])) return false;
  return true;
}

bool same(const Program& a, const Program& b) {
  if (a.script != b.script || !same(a.statements, b.statements) ||
      a.functions.size() != b.functions.size())
    return false;
  for (std::size_t i = 0; i < a.functions.size(); ++i) {
    const Function& x = *a.functions[i];
    const Function& y = *b.functions[i];
    if (x.name != y.name || x.inputs != y.inputs || x.outputs != y.outputs || !same(x.body, y.body))
      return false;
  }
  return true;
}

// --- Positions of the nodes ------------------------------------------------------------

void check_places(const Places& places, const Expr& e);

void check_places(const Places& places, const std::vector<Access>& chain) {
  for (const Access& a : chain) {
    places.check_line(a.line, "an access");
    for (const ExprPtr& arg : a.args) check_places(places, *arg);
    if (a.dynamic_field) check_places(places, *a.dynamic_field);
  }
}

void check_places(const Places& places, const Expr& e) {
  places.check(e.line, e.column, "an expression");
  if (e.kind == Expr::Kind::AnonymousFunction) places.check_source(e.text, "an anonymous function");
  for (const ExprPtr* child : {&e.lhs, &e.rhs, &e.step})
    if (*child) check_places(places, **child);
  check_places(places, e.chain);
  for (const auto& row : e.rows)
    for (const ExprPtr& element : row) check_places(places, *element);
}

void check_places(const Places& places, const Block& block) {
  for (const StmtPtr& s : block) {
    places.check_line(s->line, "a statement");
    if (s->expr) check_places(places, *s->expr);
    for (const LValue& t : s->targets) {
      places.check_line(t.line, "an assignment target");
      check_places(places, t.chain);
    }
    for (const Stmt::Clause& c : s->clauses) {
      check_places(places, *c.condition);
      check_places(places, c.body);
    }
    check_places(places, s->body);
    check_places(places, s->else_body);
  }
}

void check_error(const Places& places, const SyntaxError& e, std::string_view text,
                 const char* who) {
  places.check(e.line(), e.column(), who);
  if (!*e.what()) fail(std::string(who) + " gives no reason", text);
  if (e.file() != "fuzz") fail(std::string(who) + " names another file", text);
}

// The lexer on its own, which reads past where the parser would stop. Each token but an
// inserted comma takes at least one byte, and a comma is never inserted twice in a row.
void lex_all(const Places& places, std::string_view text) {
  Lexer lexer(text, "fuzz");
  const std::size_t limit = 2 * text.size() + 2;
  try {
    for (std::size_t count = 0;; ++count) {
      if (count > limit) fail("the lexer does not get through the text", text);
      Token token = lexer.take();
      places.check(token.line, token.column, "a token");
      if (token.kind == TokenKind::EndOfText) return;
    }
  } catch (const SyntaxError& e) {
    check_error(places, e, text, "a lexer error");
  } catch (const std::exception& e) {
    fail(std::string("the lexer threw something else: ") + e.what(), text);
  }
}

}  // namespace
}  // namespace krt::lang

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace krt::lang;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const Places places(text);
  lex_all(places, text);

  std::unique_ptr<Program> tree;
  try {
    tree = parse_program(text, "fuzz");
  } catch (const SyntaxError& e) {
    check_error(places, e, text, "a syntax error");
    return 0;
  } catch (const std::exception& e) {
    fail(std::string("the parser threw something else: ") + e.what(), text);
  }
  check_places(places, tree->statements);
  for (const auto& fn : tree->functions) {
    places.check_line(fn->line, "a function");
    check_places(places, fn->body);
  }

  const std::string printed = Printer(text).program(*tree);
  std::unique_ptr<Program> again;
  try {
    again = parse_program(printed, "fuzz");
  } catch (const SyntaxError& e) {
    fail("the printed tree does not parse (" + std::string(e.what()) + " at line " +
             std::to_string(e.line()) + ", column " + std::to_string(e.column()) +
             "); printed: " + visible(printed),
         text);
  }
  if (!same(*tree, *again))
    fail("the printed tree parses to another tree; printed: " + visible(printed), text);
  return 0;
}
