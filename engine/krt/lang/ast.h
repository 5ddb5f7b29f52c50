// The syntax tree of Korel text: what the parser builds and the evaluator walks.
#pragma once

#include <memory>
#include <string>
#include <vector>

namespace krt::lang {

enum class BinaryOp {
  Add, Sub,            // + -
  MatMul, MatDiv,      // * /   (matrix product; right division by a scalar)
  ElemMul, ElemDiv,    // .* ./
  LeftDiv,             // \     (a \ b solves a * x = b)
  ElemLeftDiv,         // .\    (a .\ b is b ./ a)
  MatPow, ElemPow,     // ^ .^
  Eq, Ne, Lt, Le, Gt, Ge,
  ElemAnd, ElemOr,     // & |
  AndAnd, OrOr,        // && ||  (short-circuit; evaluated by the evaluator itself)
};

enum class UnaryOp {
  Negate,     // -x
  Plus,       // +x
  Not,        // ~x
  Transpose,  // x'   (conjugate transpose)
  DotTranspose,  // x.'
};

// How an operator is written in Korel text.
const char* symbol_of(BinaryOp op);
const char* symbol_of(UnaryOp op);

struct Expr;
using ExprPtr = std::unique_ptr<Expr>;

// One step of an access chain: a(…), a{…}, a.name or a.(expr).
struct Access {
  enum class Kind { Paren, Brace, Field, DynamicField };
  Kind kind = Kind::Paren;
  std::vector<ExprPtr> args;  // Paren, Brace: the subscripts (may hold Colon and End)
  std::string field;          // Field
  ExprPtr dynamic_field;      // DynamicField
  int line = 0;
};

struct Expr {
  enum class Kind {
    Number,        // value
    String,        // text
    Identifier,    // name, possibly followed by an access chain (see Postfix)
    Colon,         // a bare ':' used as a subscript
    End,           // 'end' inside a subscript
    Range,         // lhs : rhs, or lhs : step : rhs
    Binary,        // lhs op rhs
    Unary,         // op operand
    Postfix,       // name followed by a non-empty access chain: name(...).f{...}
    Matrix,        // [ rows ]
    Cell,          // { rows }
    FunctionHandle,  // @name, the name possibly dotted: @pkg.name
    AnonymousFunction,  // @(params) body
  };
  Kind kind;
  int line = 0;
  int column = 0;

  double number = 0;      // Number
  bool imaginary = false;  // Number: the value is number times the imaginary unit
  std::string text;   // String (bytes, quotes removed, '' undone); Identifier,
                      // Postfix and FunctionHandle: the name; AnonymousFunction: its
                      // whole source text from '@' to the end of the body, as written
  BinaryOp binary_op = BinaryOp::Add;  // Binary
  UnaryOp unary_op = UnaryOp::Negate;  // Unary
  ExprPtr lhs, rhs;   // Binary: both; Unary: lhs; Range: start (lhs) and stop (rhs);
                      // AnonymousFunction: the body (lhs)
  ExprPtr step;       // Range: the middle operand, null for start:stop
  std::vector<Access> chain;                  // Postfix
  std::vector<std::vector<ExprPtr>> rows;     // Matrix, Cell: elements row by row
  std::vector<std::string> params;  // AnonymousFunction: "~" for an ignored one; the
                                    // last may be "varargin"

  // Filled by the evaluator on first use: the interned symbol of `text`.
  mutable int symbol = -1;

  explicit Expr(Kind k) : kind(k) {}
};

// The target of an assignment: name followed by an access chain, or '~' in a list.
struct LValue {
  std::string name;  // empty for '~'
  std::vector<Access> chain;
  int line = 0;
  mutable int symbol = -1;
};

struct Stmt;
using StmtPtr = std::unique_ptr<Stmt>;
using Block = std::vector<StmtPtr>;

struct Stmt {
  enum class Kind {
    Expression,  // expr; `print` when the result is to be shown (as "ans")
    Assign,      // targets = expr; one target, or several from [a, ~, c] = expr
    Command,     // name word word …   (command syntax: each word is a text argument)
    If,          // clauses (condition, body) in order; else_body
    For,         // for targets[0] = expr; body
    While,       // while expr; body
    Switch,      // switch expr; clauses (case value, body); else_body is otherwise
    Break, Continue, Return,
    Try,         // try body; catch [identifier]; else_body is the catch block
    Global,      // global names…
    Persistent,  // persistent names…   (only inside a function)
  };
  Kind kind;
  int line = 0;
  bool print = false;  // Expression, Assign, Command: the statement's result is shown

  ExprPtr expr;
  std::vector<LValue> targets;
  std::string name;                // Command: function; Try: catch variable (may be empty)
  std::vector<std::string> words;  // Command: arguments; Global, Persistent: names
  struct Clause {
    ExprPtr condition;  // If: condition; Switch: case value (a cell literal lists several)
    Block body;
  };
  std::vector<Clause> clauses;
  Block body;       // For, While, Try
  Block else_body;  // If: else; Switch: otherwise; Try: catch block

  explicit Stmt(Kind k) : kind(k) {}
};

struct Function {
  std::string name;
  std::vector<std::string> inputs;   // the last may be "varargin"
  std::vector<std::string> outputs;  // the last may be "varargout"
  Block body;
  int line = 0;
};

// One parsed file or text. A file whose first statement is `function` holds functions
// only (the first is the primary one); otherwise it is a script: `statements`, then
// any local functions.
struct Program {
  std::string file;  // as given to the parser, for error reports
  Block statements;
  std::vector<std::unique_ptr<Function>> functions;
  bool script = true;  // false when the text begins with `function`
};

}  // namespace krt::lang
