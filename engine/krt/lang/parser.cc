// Recursive descent over the lexer's tokens. Recursion only happens where the text nests
// (brackets and blocks), which is bounded by kMaxNesting; operator chains are loops.
//
// Positions: an operator node (Binary, Unary, Range) carries the position of its
// operator, any other node that of its first token.
#include "krt/lang/parser.h"

#include <algorithm>
#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

#include "krt/lang/lexer.h"

namespace krt::lang {
namespace {

// Deepest expression tree accepted. Operator chains (`a + b + ...`, `- - x`) deepen the
// tree without nesting; whatever walks it recursively needs a bound.
constexpr int kMaxExpressionDepth = 1024;

// Lowest to highest: || && | & comparisons : (+ -) (* / .* ./), then unary operators,
// then ^ .^ and the transposes.
constexpr int kComparisonPrecedence = 5;
constexpr int kRangePrecedence = 6;
constexpr int kAdditivePrecedence = 7;

struct BinaryInfo {
  BinaryOp op;
  int precedence;
};

std::optional<BinaryInfo> binary_info(TokenKind kind) {
  switch (kind) {
    case TokenKind::OrOr: return BinaryInfo{BinaryOp::OrOr, 1};
    case TokenKind::AndAnd: return BinaryInfo{BinaryOp::AndAnd, 2};
    case TokenKind::Or: return BinaryInfo{BinaryOp::ElemOr, 3};
    case TokenKind::And: return BinaryInfo{BinaryOp::ElemAnd, 4};
    case TokenKind::Equal: return BinaryInfo{BinaryOp::Eq, kComparisonPrecedence};
    case TokenKind::NotEqual: return BinaryInfo{BinaryOp::Ne, kComparisonPrecedence};
    case TokenKind::Less: return BinaryInfo{BinaryOp::Lt, kComparisonPrecedence};
    case TokenKind::LessEqual: return BinaryInfo{BinaryOp::Le, kComparisonPrecedence};
    case TokenKind::Greater: return BinaryInfo{BinaryOp::Gt, kComparisonPrecedence};
    case TokenKind::GreaterEqual: return BinaryInfo{BinaryOp::Ge, kComparisonPrecedence};
    case TokenKind::Plus: return BinaryInfo{BinaryOp::Add, kAdditivePrecedence};
    case TokenKind::Minus: return BinaryInfo{BinaryOp::Sub, kAdditivePrecedence};
    case TokenKind::Star: return BinaryInfo{BinaryOp::MatMul, kAdditivePrecedence + 1};
    case TokenKind::Slash: return BinaryInfo{BinaryOp::MatDiv, kAdditivePrecedence + 1};
    case TokenKind::DotStar: return BinaryInfo{BinaryOp::ElemMul, kAdditivePrecedence + 1};
    case TokenKind::DotSlash: return BinaryInfo{BinaryOp::ElemDiv, kAdditivePrecedence + 1};
    case TokenKind::Backslash: return BinaryInfo{BinaryOp::LeftDiv, kAdditivePrecedence + 1};
    case TokenKind::DotBackslash:
      return BinaryInfo{BinaryOp::ElemLeftDiv, kAdditivePrecedence + 1};
    default: return std::nullopt;
  }
}

std::optional<UnaryOp> prefix_op(TokenKind kind) {
  switch (kind) {
    case TokenKind::Minus: return UnaryOp::Negate;
    case TokenKind::Plus: return UnaryOp::Plus;
    case TokenKind::Not: return UnaryOp::Not;
    default: return std::nullopt;
  }
}

bool is_separator(TokenKind kind) {
  return kind == TokenKind::Newline || kind == TokenKind::Comma || kind == TokenKind::Semicolon;
}

// Keywords that end the block before them.
bool closes_block(TokenKind kind) {
  switch (kind) {
    case TokenKind::End:
    case TokenKind::Else:
    case TokenKind::Elseif:
    case TokenKind::Case:
    case TokenKind::Otherwise:
    case TokenKind::Catch: return true;
    default: return false;
  }
}

bool ends_line(TokenKind kind) {
  return kind == TokenKind::Newline || kind == TokenKind::EndOfText;
}

// Where a token was: all that nodes and messages need, and light to keep on the stack
// while nested parts are parsed.
struct Place {
  int line;
  int column;
};

Place place_of(const Token& token) { return {token.line, token.column}; }

class Parser {
 public:
  Parser(std::string_view text, std::string file)
      : lexer_(text, file), text_(text), file_(std::move(file)) {}

  std::unique_ptr<Program> program();

 private:
  // One level of nesting (a bracket or a block) for as long as it lives.
  class Nested {
   public:
    Nested(Parser& parser, Place at) : parser_(parser) {
      if (parser_.nesting_ >= kMaxNesting) parser_.fail(at, "too deeply nested");
      ++parser_.nesting_;
    }
    ~Nested() { --parser_.nesting_; }
    Nested(const Nested&) = delete;
    Nested& operator=(const Nested&) = delete;

   private:
    Parser& parser_;
  };

  // Inside ( ) or { } subscripts, where `end` and a lone ':' mean something.
  class InSubscript {
   public:
    explicit InSubscript(Parser& parser) : parser_(parser) { ++parser_.subscript_depth_; }
    ~InSubscript() { --parser_.subscript_depth_; }
    InSubscript(const InSubscript&) = delete;
    InSubscript& operator=(const InSubscript&) = delete;

   private:
    Parser& parser_;
  };

  // The body of an anonymous function runs later, on its own: no enclosing subscript
  // gives its `end` a meaning.
  class OutsideSubscripts {
   public:
    explicit OutsideSubscripts(Parser& parser)
        : parser_(parser), saved_(std::exchange(parser.subscript_depth_, 0)) {}
    ~OutsideSubscripts() { parser_.subscript_depth_ = saved_; }
    OutsideSubscripts(const OutsideSubscripts&) = delete;
    OutsideSubscripts& operator=(const OutsideSubscripts&) = delete;

   private:
    Parser& parser_;
    int saved_;
  };

  struct Prefix {
    UnaryOp op;
    Place at;
  };

  // Statements.
  std::unique_ptr<Function> function(bool& closed_by_end);
  Block block();
  StmtPtr statement();
  StmtPtr if_statement();
  StmtPtr for_statement();
  StmtPtr while_statement();
  StmtPtr switch_statement();
  StmtPtr try_statement();
  StmtPtr declaration_statement();
  StmtPtr jump_statement();
  StmtPtr command_statement();
  StmtPtr expression_statement();
  StmtPtr multiple_assignment();
  LValue lvalue();
  LValue to_lvalue(ExprPtr target);
  void close_block(Place opener, const char* keyword);
  void end_simple_statement(Stmt& statement);
  void end_compound_statement();
  void skip_separators();

  // Expressions.
  ExprPtr expression() { return binary(1); }
  ExprPtr binary(int min_precedence);
  ExprPtr range();
  ExprPtr unary();
  ExprPtr power();
  ExprPtr postfix();
  ExprPtr primary();
  ExprPtr matrix();
  ExprPtr function_handle();
  ExprPtr anonymous_function(Place at, std::size_t begin);
  std::vector<std::string> parameters();
  std::vector<Access> access_chain();
  std::vector<ExprPtr> subscripts(bool paren);
  void collect_prefixes(std::vector<Prefix>& prefixes);
  ExprPtr apply_prefixes(const std::vector<Prefix>& prefixes, ExprPtr operand);
  void expect_closer(TokenKind closer, const char* spelling, const char* expected);

  // Nodes.
  static ExprPtr node(Expr::Kind kind, Place at);
  static StmtPtr statement_node(Stmt::Kind kind, Place at);
  ExprPtr binary_node(BinaryOp op, Place at, ExprPtr lhs, ExprPtr rhs);
  ExprPtr unary_node(UnaryOp op, Place at, ExprPtr operand);
  ExprPtr sealed(ExprPtr expr);
  int depth_of(const ExprPtr& expr) const;

  const Token& peek(std::size_t ahead = 0) { return lexer_.peek(ahead); }
  Token take() {
    Token token = lexer_.take();
    taken_end_ = token.end;
    return token;
  }
  Place take_place() { return place_of(take()); }
  Token expect(TokenKind kind, const std::string& expected);
  [[noreturn]] void fail(const Token& at, const std::string& reason) const {
    lexer_.fail(at, reason);
  }
  [[noreturn]] void fail(Place at, const std::string& reason) const {
    lexer_.fail(at.line, at.column, reason);
  }
  [[noreturn]] void unexpected(const Token& at) const { fail(at, "unexpected " + describe(at)); }

  Lexer lexer_;
  std::string_view text_;
  std::string file_;
  int nesting_ = 0;
  int subscript_depth_ = 0;
  bool in_function_ = false;   // statements from here on belong to a function
  std::size_t taken_end_ = 0;  // where the last token taken ends in the text
  // Tree depth of the nodes of the current statement deeper than a leaf.
  std::unordered_map<const Expr*, int> depths_;
};

// --- Program and functions -------------------------------------------------------------

std::unique_ptr<Program> Parser::program() {
  auto program = std::make_unique<Program>();
  program->file = file_;
  skip_separators();
  if (peek().kind == TokenKind::Function) {
    program->script = false;
  } else {
    program->statements = block();
    if (peek().kind != TokenKind::EndOfText && peek().kind != TokenKind::Function)
      unexpected(peek());
  }
  bool some_left_open = false;  // a function that ended where the next one began
  while (peek().kind == TokenKind::Function) {
    bool closed_by_end = false;
    program->functions.push_back(function(closed_by_end));
    skip_separators();
    const Token& next = peek();
    // `function a ... function b ... end end` is b nested in a.
    if (closed_by_end && next.kind == TokenKind::End && some_left_open)
      fail(next, "functions cannot be nested; end each function before the next begins");
    if (closed_by_end && next.kind != TokenKind::EndOfText && next.kind != TokenKind::Function)
      fail(next, "only functions may follow the end of function '" +
                     program->functions.back()->name + "'");
    some_left_open = some_left_open || !closed_by_end;
  }
  return program;
}

// function name | function name(a, b) | function y = name(x) | function [a, b] = name(...)
// The body ends with `end`, or else at the next `function` or the end of the text.
std::unique_ptr<Function> Parser::function(bool& closed_by_end) {
  auto fn = std::make_unique<Function>();
  fn->line = take().line;
  in_function_ = true;
  if (peek().kind == TokenKind::LeftBracket) {
    take();
    if (peek().kind != TokenKind::RightBracket) {
      for (;;) {
        if (!fn->outputs.empty() && fn->outputs.back() == "varargout")
          fail(peek(), "'varargout' must be the last output");
        fn->outputs.push_back(expect(TokenKind::Identifier, "an output name").text);
        if (peek().kind != TokenKind::Comma) break;
        take();
      }
    }
    if (peek().kind != TokenKind::RightBracket)
      fail(peek(), "expected ',' or ']', found " + describe(peek()));
    take();
    expect(TokenKind::Assign, "'='");
    fn->name = expect(TokenKind::Identifier, "a function name").text;
  } else {
    Token first = expect(TokenKind::Identifier, "a function name");
    if (peek().kind == TokenKind::Assign) {
      take();
      fn->outputs.push_back(first.text);
      fn->name = expect(TokenKind::Identifier, "a function name").text;
    } else {
      fn->name = first.text;
    }
  }
  if (peek().kind == TokenKind::LeftParen) {
    take();
    if (peek().kind != TokenKind::RightParen) {
      for (;;) {
        if (!fn->inputs.empty() && fn->inputs.back() == "varargin")
          fail(peek(), "'varargin' must be the last input");
        if (peek().kind == TokenKind::Not) {
          take();
          fn->inputs.push_back("~");  // an input that is ignored
        } else {
          fn->inputs.push_back(expect(TokenKind::Identifier, "an input name").text);
        }
        if (peek().kind != TokenKind::Comma) break;
        take();
      }
    }
    expect_closer(TokenKind::RightParen, "')'", "',' or ')'");
  }
  if (!is_separator(peek().kind) && peek().kind != TokenKind::EndOfText) unexpected(peek());
  fn->body = block();
  closed_by_end = peek().kind == TokenKind::End;
  if (closed_by_end) {
    take();
    end_compound_statement();
  } else if (closes_block(peek().kind)) {
    unexpected(peek());
  }
  return fn;
}

// --- Statements ------------------------------------------------------------------------

// Statements up to the end of the text, a `function`, or a keyword that closes a block;
// the caller decides whether what stopped it is right.
Block Parser::block() {
  Block statements;
  for (;;) {
    skip_separators();
    TokenKind kind = peek().kind;
    if (kind == TokenKind::EndOfText || kind == TokenKind::Function || closes_block(kind))
      return statements;
    statements.push_back(statement());
  }
}

StmtPtr Parser::statement() {
  // The trees of enclosing statements are complete by now.
  depths_.clear();
  switch (peek().kind) {
    case TokenKind::If: return if_statement();
    case TokenKind::For: return for_statement();
    case TokenKind::While: return while_statement();
    case TokenKind::Switch: return switch_statement();
    case TokenKind::Try: return try_statement();
    case TokenKind::Global:
    case TokenKind::Persistent: return declaration_statement();
    case TokenKind::Break:
    case TokenKind::Continue:
    case TokenKind::Return: return jump_statement();
    case TokenKind::Command: return command_statement();
    default: return expression_statement();
  }
}

StmtPtr Parser::if_statement() {
  Place opener = take_place();
  Nested nested(*this, opener);
  auto stmt = statement_node(Stmt::Kind::If, opener);
  for (;;) {
    Stmt::Clause clause;
    clause.condition = expression();
    clause.body = block();
    stmt->clauses.push_back(std::move(clause));
    if (peek().kind != TokenKind::Elseif) break;
    take();
  }
  if (peek().kind == TokenKind::Else) {
    take();
    stmt->else_body = block();
  }
  close_block(opener, "if");
  return stmt;
}

// for v = expr ... end, also for (v = expr) ... end
StmtPtr Parser::for_statement() {
  Place opener = take_place();
  Nested nested(*this, opener);
  auto stmt = statement_node(Stmt::Kind::For, opener);
  bool parenthesized = peek().kind == TokenKind::LeftParen;
  if (parenthesized) take();
  LValue target;
  target.line = peek().line;
  target.name = expect(TokenKind::Identifier, "a loop variable").text;
  stmt->targets.push_back(std::move(target));
  expect(TokenKind::Assign, "'='");
  stmt->expr = expression();
  if (parenthesized) expect_closer(TokenKind::RightParen, "')'", "')'");
  stmt->body = block();
  close_block(opener, "for");
  return stmt;
}

StmtPtr Parser::while_statement() {
  Place opener = take_place();
  Nested nested(*this, opener);
  auto stmt = statement_node(Stmt::Kind::While, opener);
  stmt->expr = expression();
  stmt->body = block();
  close_block(opener, "while");
  return stmt;
}

StmtPtr Parser::switch_statement() {
  Place opener = take_place();
  Nested nested(*this, opener);
  auto stmt = statement_node(Stmt::Kind::Switch, opener);
  stmt->expr = expression();
  bool otherwise = false;
  for (;;) {
    skip_separators();
    TokenKind kind = peek().kind;
    if (kind == TokenKind::Case && !otherwise) {
      take();
      Stmt::Clause clause;
      clause.condition = expression();
      clause.body = block();
      stmt->clauses.push_back(std::move(clause));
    } else if (kind == TokenKind::Otherwise && !otherwise) {
      take();
      otherwise = true;
      stmt->else_body = block();
    } else {
      break;
    }
  }
  TokenKind kind = peek().kind;
  if (stmt->clauses.empty() && !otherwise && !closes_block(kind) && kind != TokenKind::EndOfText &&
      kind != TokenKind::Function)
    fail(peek(), "expected 'case', 'otherwise' or 'end', found " + describe(peek()));
  close_block(opener, "switch");
  return stmt;
}

// try ... catch [identifier] ... end. The identifier is the first thing on the catch
// line, unless what follows it shows it begins a statement (`catch disp(x)`).
StmtPtr Parser::try_statement() {
  Place opener = take_place();
  Nested nested(*this, opener);
  auto stmt = statement_node(Stmt::Kind::Try, opener);
  stmt->body = block();
  if (peek().kind == TokenKind::Catch) {
    take();
    if (peek().kind == TokenKind::Identifier) {
      TokenKind after = peek(1).kind;
      bool continues = binary_info(after) || after == TokenKind::LeftParen ||
                       after == TokenKind::LeftBrace || after == TokenKind::Dot ||
                       after == TokenKind::Assign || after == TokenKind::Colon ||
                       after == TokenKind::Transpose || after == TokenKind::DotTranspose ||
                       after == TokenKind::Caret || after == TokenKind::DotCaret;
      if (!continues) stmt->name = take().text;
    }
    stmt->else_body = block();
  }
  close_block(opener, "try");
  return stmt;
}

// global a b c | persistent a b c
StmtPtr Parser::declaration_statement() {
  Token opener = take();
  bool global = opener.kind == TokenKind::Global;
  if (!global && !in_function_)
    fail(opener, "persistent declarations are only allowed in functions");
  auto stmt = statement_node(global ? Stmt::Kind::Global : Stmt::Kind::Persistent,
                             place_of(opener));
  while (peek().kind == TokenKind::Identifier) stmt->words.push_back(take().text);
  if (stmt->words.empty())
    fail(peek(), "expected a variable name after '" + opener.text + "', found " +
                     describe(peek()));
  end_simple_statement(*stmt);
  return stmt;
}

StmtPtr Parser::jump_statement() {
  Token keyword = take();
  Stmt::Kind kind = keyword.kind == TokenKind::Break      ? Stmt::Kind::Break
                    : keyword.kind == TokenKind::Continue ? Stmt::Kind::Continue
                                                          : Stmt::Kind::Return;
  auto stmt = statement_node(kind, place_of(keyword));
  end_simple_statement(*stmt);
  return stmt;
}

StmtPtr Parser::command_statement() {
  Token command = take();
  auto stmt = statement_node(Stmt::Kind::Command, place_of(command));
  stmt->name = std::move(command.text);
  stmt->words = std::move(command.words);
  end_simple_statement(*stmt);
  return stmt;
}

// An expression, or `target = expr` where the target was read as an expression first:
// a name with an optional access chain is the only expression that may be assigned to.
StmtPtr Parser::expression_statement() {
  const Token& first = peek();
  if (first.kind == TokenKind::LeftBracket && lexer_.bracket_followed_by_assign())
    return multiple_assignment();
  bool parenthesized = first.kind == TokenKind::LeftParen;
  auto stmt = statement_node(Stmt::Kind::Expression, place_of(first));
  ExprPtr value = expression();
  if (peek().kind == TokenKind::Assign) {
    if (parenthesized ||
        (value->kind != Expr::Kind::Identifier && value->kind != Expr::Kind::Postfix))
      fail(peek(), "'=' cannot follow an expression");
    take();
    stmt->kind = Stmt::Kind::Assign;
    stmt->targets.push_back(to_lvalue(std::move(value)));
    value = expression();
  }
  stmt->expr = std::move(value);
  end_simple_statement(*stmt);
  return stmt;
}

// [a, ~, c] = expr; commas between targets are optional.
StmtPtr Parser::multiple_assignment() {
  Place open = take_place();
  Nested nested(*this, open);
  auto stmt = statement_node(Stmt::Kind::Assign, open);
  for (;;) {
    const Token& t = peek();
    if (t.kind == TokenKind::Not) {
      LValue ignored;
      ignored.line = t.line;
      take();
      stmt->targets.push_back(std::move(ignored));
    } else if (t.kind == TokenKind::Identifier) {
      stmt->targets.push_back(lvalue());
    } else {
      fail(t, "expected a variable name or '~', found " + describe(t));
    }
    const Token& next = peek();
    if (next.kind == TokenKind::RightBracket) break;
    if (next.kind == TokenKind::Comma) {
      take();
    } else if (!next.space_before) {
      unexpected(next);
    }
  }
  take();
  expect(TokenKind::Assign, "'='");
  stmt->expr = expression();
  end_simple_statement(*stmt);
  return stmt;
}

LValue Parser::lvalue() {
  LValue target;
  target.line = peek().line;
  target.name = take().text;
  target.chain = access_chain();
  return target;
}

LValue Parser::to_lvalue(ExprPtr target) {
  LValue lvalue;
  lvalue.name = std::move(target->text);
  lvalue.chain = std::move(target->chain);
  lvalue.line = target->line;
  depths_.erase(target.get());  // its address may be reused by the nodes that follow
  return lvalue;
}

void Parser::close_block(Place opener, const char* keyword) {
  const Token& t = peek();
  if (t.kind == TokenKind::End) {
    take();
    end_compound_statement();
    return;
  }
  if (t.kind == TokenKind::EndOfText || t.kind == TokenKind::Function)
    fail(t, std::string("missing 'end' for '") + keyword + "' opened at line " +
                std::to_string(opener.line));
  unexpected(t);
}

// ';' suppresses the result; ',' a line end or the end of the text shows it. A keyword
// that closes the block may follow directly: `if x, y = 1 end`.
void Parser::end_simple_statement(Stmt& statement) {
  TokenKind kind = peek().kind;
  statement.print = kind != TokenKind::Semicolon;
  if (is_separator(kind)) {
    take();
  } else if (kind != TokenKind::EndOfText && !closes_block(kind)) {
    unexpected(peek());
  }
}

void Parser::end_compound_statement() {
  TokenKind kind = peek().kind;
  if (is_separator(kind)) {
    take();
  } else if (kind != TokenKind::EndOfText && !closes_block(kind)) {
    unexpected(peek());
  }
}

void Parser::skip_separators() {
  while (is_separator(peek().kind)) take();
}

// --- Expressions -----------------------------------------------------------------------

// Binary operators from `min_precedence` up, left associative. Ranges sit between the
// comparisons and the additive operators.
ExprPtr Parser::binary(int min_precedence) {
  ExprPtr lhs = min_precedence <= kRangePrecedence ? range() : unary();
  for (;;) {
    std::optional<BinaryInfo> info = binary_info(peek().kind);
    if (!info || info->precedence < min_precedence) return lhs;
    Place op = take_place();
    ExprPtr rhs = binary(info->precedence + 1);
    lhs = binary_node(info->op, op, std::move(lhs), std::move(rhs));
  }
}

// start:stop or start:step:stop; ranges do not chain.
ExprPtr Parser::range() {
  ExprPtr start = binary(kAdditivePrecedence);
  if (peek().kind != TokenKind::Colon) return start;
  ExprPtr range = node(Expr::Kind::Range, take_place());
  ExprPtr second = binary(kAdditivePrecedence);
  if (peek().kind == TokenKind::Colon) {
    take();
    range->step = std::move(second);
    range->rhs = binary(kAdditivePrecedence);
  } else {
    range->rhs = std::move(second);
  }
  range->lhs = std::move(start);
  if (peek().kind == TokenKind::Colon) unexpected(peek());
  return sealed(std::move(range));
}

// Prefix operators bind looser than ^, so -2^2 is -(2^2).
ExprPtr Parser::unary() {
  std::vector<Prefix> prefixes;
  collect_prefixes(prefixes);
  return apply_prefixes(prefixes, power());
}

void Parser::collect_prefixes(std::vector<Prefix>& prefixes) {
  while (std::optional<UnaryOp> op = prefix_op(peek().kind)) {
    if (prefixes.size() >= static_cast<std::size_t>(kMaxExpressionDepth))
      fail(peek(), "expression too deeply nested");
    prefixes.push_back({*op, take_place()});
  }
}

ExprPtr Parser::apply_prefixes(const std::vector<Prefix>& prefixes, ExprPtr operand) {
  for (auto it = prefixes.rbegin(); it != prefixes.rend(); ++it)
    operand = unary_node(it->op, it->at, std::move(operand));
  return operand;
}

// ^ .^ and the transposes, left to right: a^b' is (a^b)'. The exponent may carry
// prefix operators of its own: 2^-1.
ExprPtr Parser::power() {
  ExprPtr base = postfix();
  for (;;) {
    TokenKind kind = peek().kind;
    if (kind == TokenKind::Transpose || kind == TokenKind::DotTranspose) {
      Place at = take_place();
      UnaryOp op = kind == TokenKind::Transpose ? UnaryOp::Transpose : UnaryOp::DotTranspose;
      base = unary_node(op, at, std::move(base));
    } else if (kind == TokenKind::Caret || kind == TokenKind::DotCaret) {
      Place at = take_place();
      std::vector<Prefix> prefixes;
      collect_prefixes(prefixes);
      ExprPtr exponent = apply_prefixes(prefixes, postfix());
      BinaryOp op = kind == TokenKind::Caret ? BinaryOp::MatPow : BinaryOp::ElemPow;
      base = binary_node(op, at, std::move(base), std::move(exponent));
    } else {
      return base;
    }
  }
}

// A name with its access chain, or any other primary, which may not be indexed.
ExprPtr Parser::postfix() {
  if (peek().kind == TokenKind::Identifier) {
    ExprPtr expr = node(Expr::Kind::Identifier, place_of(peek()));
    expr->text = take().text;
    expr->chain = access_chain();
    if (!expr->chain.empty()) expr->kind = Expr::Kind::Postfix;
    return sealed(std::move(expr));
  }
  ExprPtr expr = primary();
  TokenKind kind = peek().kind;
  if (kind == TokenKind::LeftParen || kind == TokenKind::LeftBrace || kind == TokenKind::Dot)
    fail(peek(), "only a name can be indexed or called");
  return expr;
}

std::vector<Access> Parser::access_chain() {
  std::vector<Access> chain;
  for (;;) {
    TokenKind kind = peek().kind;
    Access access;
    if (kind == TokenKind::LeftParen || kind == TokenKind::LeftBrace) {
      access.kind = kind == TokenKind::LeftParen ? Access::Kind::Paren : Access::Kind::Brace;
      access.line = peek().line;
      access.args = subscripts(kind == TokenKind::LeftParen);
    } else if (kind == TokenKind::Dot) {
      access.line = take().line;
      if (peek().kind == TokenKind::Identifier) {
        access.kind = Access::Kind::Field;
        access.field = take().text;
      } else if (peek().kind == TokenKind::LeftParen) {
        Nested nested(*this, take_place());
        access.kind = Access::Kind::DynamicField;
        access.dynamic_field = expression();
        expect_closer(TokenKind::RightParen, "')'", "')'");
      } else {
        fail(peek(), "expected a field name after '.', found " + describe(peek()));
      }
    } else {
      return chain;
    }
    chain.push_back(std::move(access));
  }
}

// The arguments of ( ) or { } after a name, separated by commas. A lone ':' is Colon.
std::vector<ExprPtr> Parser::subscripts(bool paren) {
  Nested nested(*this, take_place());
  InSubscript in_subscript(*this);
  TokenKind closer = paren ? TokenKind::RightParen : TokenKind::RightBrace;
  std::vector<ExprPtr> args;
  if (peek().kind == closer) {
    take();
    return args;
  }
  for (;;) {
    TokenKind after = peek(1).kind;
    if (peek().kind == TokenKind::Colon && (after == TokenKind::Comma || after == closer)) {
      args.push_back(node(Expr::Kind::Colon, take_place()));
    } else {
      args.push_back(expression());
    }
    if (peek().kind != TokenKind::Comma) break;
    take();
  }
  expect_closer(closer, paren ? "')'" : "'}'", paren ? "',' or ')'" : "',' or '}'");
  return args;
}

void Parser::expect_closer(TokenKind closer, const char* spelling, const char* expected) {
  const Token& t = peek();
  if (t.kind == closer) {
    take();
    return;
  }
  if (ends_line(t.kind)) fail(t, std::string("missing ") + spelling);
  fail(t, std::string("expected ") + expected + ", found " + describe(t));
}

ExprPtr Parser::primary() {
  const Token& t = peek();
  switch (t.kind) {
    case TokenKind::Number: {
      ExprPtr expr = node(Expr::Kind::Number, place_of(t));
      expr->imaginary = t.imaginary;
      expr->number = take().number;
      return expr;
    }
    case TokenKind::String: {
      ExprPtr expr = node(Expr::Kind::String, place_of(t));
      expr->text = take().text;
      return expr;
    }
    case TokenKind::LeftParen: {
      Nested nested(*this, take_place());
      ExprPtr inner = expression();
      expect_closer(TokenKind::RightParen, "')'", "')'");
      return inner;
    }
    case TokenKind::LeftBracket:
    case TokenKind::LeftBrace: return matrix();
    case TokenKind::At: return function_handle();
    case TokenKind::End:
      if (subscript_depth_ == 0) fail(t, "invalid use of 'end'");
      return node(Expr::Kind::End, take_place());
    default: unexpected(t);
  }
}

// [ ] and { }: elements separated by commas (the lexer turns separating blanks into
// commas), rows by ';' or line ends; empty rows are dropped.
ExprPtr Parser::matrix() {
  bool cell = peek().kind == TokenKind::LeftBrace;
  Place open = take_place();
  Nested nested(*this, open);
  TokenKind closer = cell ? TokenKind::RightBrace : TokenKind::RightBracket;
  auto unclosed = [&](const Token& at) {
    fail(at, std::string(cell ? "missing '}' for '{'" : "missing ']' for '['") +
                 " opened at line " + std::to_string(open.line));
  };
  ExprPtr expr = node(cell ? Expr::Kind::Cell : Expr::Kind::Matrix, open);
  std::vector<ExprPtr> row;
  auto end_row = [&] {
    if (!row.empty()) expr->rows.push_back(std::move(row));
    row.clear();  // a moved-from vector is valid but unspecified
  };
  bool after_element = false;
  bool after_line_end = false;
  for (;;) {
    const Token& t = peek();
    if (t.kind == closer) {
      take();
      end_row();
      return sealed(std::move(expr));
    }
    switch (t.kind) {
      case TokenKind::Semicolon:
      case TokenKind::Newline:
        after_line_end = t.kind == TokenKind::Newline;
        take();
        end_row();
        after_element = false;
        continue;
      case TokenKind::Comma:
        if (!after_element) unexpected(t);
        take();
        after_element = false;
        continue;
      case TokenKind::EndOfText: unclosed(t);
      default: break;
    }
    // A block keyword at the start of a line means the bracket was never closed.
    bool subscript_end = t.kind == TokenKind::End && subscript_depth_ > 0;
    if (after_line_end && (closes_block(t.kind) || t.kind == TokenKind::Function) && !subscript_end)
      unclosed(t);
    if (after_element) unexpected(t);
    row.push_back(expression());
    after_element = true;
    after_line_end = false;
  }
}

// @name, @pkg.name or @(params) body.
ExprPtr Parser::function_handle() {
  std::size_t begin = peek().begin;
  Place at = take_place();
  if (peek().kind == TokenKind::LeftParen) return anonymous_function(at, begin);
  if (peek().kind != TokenKind::Identifier)
    fail(peek(), "expected a function name after '@', found " + describe(peek()));
  ExprPtr handle = node(Expr::Kind::FunctionHandle, at);
  handle->text = take().text;
  while (peek().kind == TokenKind::Dot) {
    take();
    if (peek().kind != TokenKind::Identifier)
      fail(peek(), "expected a name after '.', found " + describe(peek()));
    handle->text += "." + take().text;
  }
  return handle;
}

// The body is one expression reaching as far right as an expression can: `@(x) x + 1`
// is never `(@(x) x) + 1`.
ExprPtr Parser::anonymous_function(Place at, std::size_t begin) {
  Nested nested(*this, at);
  ExprPtr fn = node(Expr::Kind::AnonymousFunction, at);
  fn->params = parameters();
  {
    OutsideSubscripts outside(*this);
    fn->lhs = expression();
  }
  fn->text = std::string(text_.substr(begin, taken_end_ - begin));
  return sealed(std::move(fn));
}

// (a, ~, varargin) after '@'.
std::vector<std::string> Parser::parameters() {
  take();
  std::vector<std::string> names;
  if (peek().kind != TokenKind::RightParen) {
    for (;;) {
      if (!names.empty() && names.back() == "varargin")
        fail(peek(), "'varargin' must be the last parameter");
      if (peek().kind == TokenKind::Not) {
        take();
        names.push_back("~");
      } else {
        names.push_back(expect(TokenKind::Identifier, "a parameter name").text);
      }
      if (peek().kind != TokenKind::Comma) break;
      take();
    }
  }
  expect_closer(TokenKind::RightParen, "')'", "',' or ')'");
  return names;
}

Token Parser::expect(TokenKind kind, const std::string& expected) {
  if (peek().kind != kind) fail(peek(), "expected " + expected + ", found " + describe(peek()));
  return take();
}

// --- Nodes -----------------------------------------------------------------------------

ExprPtr Parser::node(Expr::Kind kind, Place at) {
  auto expr = std::make_unique<Expr>(kind);
  expr->line = at.line;
  expr->column = at.column;
  return expr;
}

StmtPtr Parser::statement_node(Stmt::Kind kind, Place at) {
  auto stmt = std::make_unique<Stmt>(kind);
  stmt->line = at.line;
  return stmt;
}

ExprPtr Parser::binary_node(BinaryOp op, Place at, ExprPtr lhs, ExprPtr rhs) {
  ExprPtr expr = node(Expr::Kind::Binary, at);
  expr->binary_op = op;
  expr->lhs = std::move(lhs);
  expr->rhs = std::move(rhs);
  return sealed(std::move(expr));
}

ExprPtr Parser::unary_node(UnaryOp op, Place at, ExprPtr operand) {
  ExprPtr expr = node(Expr::Kind::Unary, at);
  expr->unary_op = op;
  expr->lhs = std::move(operand);
  return sealed(std::move(expr));
}

int Parser::depth_of(const ExprPtr& expr) const {
  if (!expr) return 0;
  auto found = depths_.find(expr.get());
  return found == depths_.end() ? 1 : found->second;
}

// Records the depth of a finished node from its children's, refusing too deep a tree.
ExprPtr Parser::sealed(ExprPtr expr) {
  int deepest = std::max({depth_of(expr->lhs), depth_of(expr->rhs), depth_of(expr->step)});
  for (const Access& access : expr->chain) {
    deepest = std::max(deepest, depth_of(access.dynamic_field));
    for (const ExprPtr& arg : access.args) deepest = std::max(deepest, depth_of(arg));
  }
  for (const auto& row : expr->rows)
    for (const ExprPtr& element : row) deepest = std::max(deepest, depth_of(element));
  if (deepest >= kMaxExpressionDepth)
    fail(Place{expr->line, expr->column}, "expression too deeply nested");
  if (deepest > 0) depths_[expr.get()] = deepest + 1;
  return expr;
}

}  // namespace

std::unique_ptr<Program> parse_program(std::string_view text, std::string file) {
  return Parser(text, std::move(file)).program();
}

}  // namespace krt::lang
