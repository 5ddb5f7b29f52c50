// Korel text to tokens, on demand, with lookahead for the parser.
#pragma once

#include <cstddef>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "krt/lang/token.h"

namespace krt::lang {

// Deepest nesting of brackets and blocks a text may use.
inline constexpr int kMaxNesting = 256;

// The lexer decides everything that depends on blanks, so the parser never sees them:
//  - `'` right after a value is a transpose, otherwise it opens a string; after a blank
//    it is still a transpose, except inside [ ] and { } where blanks separate elements;
//  - inside [ ] and { } blanks between two elements become an inserted Comma; the
//    parameter list of `@(x) body` is no element, so blanks after it never split;
//  - a statement in command syntax (`hold on`) becomes a single Command token.
// It keeps track of brackets itself, so tokens do not depend on what the parser does
// and may be read ahead freely. Errors are thrown as SyntaxError.
class Lexer {
 public:
  Lexer(std::string_view text, std::string file);

  // The token `ahead` places after the current one (0: the current one). The reference
  // stays valid until that token is taken.
  const Token& peek(std::size_t ahead = 0);
  // Returns the current token and moves past it.
  Token take();

  // Whether the bracket that the current token opens is closed and then followed by
  // '=' (as in `[a, b] = f(x)`). Reads ahead on a copy; a text that does not lex there
  // answers false and is reported when it is read for real.
  bool bracket_followed_by_assign() const;

  [[noreturn]] void fail(int line, int column, const std::string& reason) const;
  [[noreturn]] void fail(const Token& at, const std::string& reason) const {
    fail(at.line, at.column, reason);
  }

 private:
  enum class Bracket { Paren, Parameters, Matrix, Cell, BraceIndex };

  Token lex();
  bool skip_blanks_and_comments();
  bool block_comment_starts_here() const;
  void skip_block_comment();
  void skip_to_next_line();
  bool in_element_list() const;
  bool starts_element_here() const;
  bool at_statement_start() const;

  Token lex_word(Token token);
  bool command_follows(std::size_t after_name) const;
  bool assignment_follows(std::size_t pos) const;
  bool quote_closes_on_line(std::size_t quote) const;
  void lex_command_words(Token& token);
  Token lex_number(Token token);
  Token lex_string(Token token, char quote);
  Token lex_operator(Token token);
  void note(const Token& token);

  char at(std::size_t pos) const { return pos < text_.size() ? text_[pos] : '\0'; }
  bool at_end(std::size_t pos) const { return pos >= text_.size(); }
  bool at_line_end(std::size_t pos) const { return at_end(pos) || text_[pos] == '\n'; }
  bool continuation_at(std::size_t pos) const {
    return at(pos) == '.' && at(pos + 1) == '.' && at(pos + 2) == '.';
  }
  int column(std::size_t pos) const { return static_cast<int>(pos - line_start_) + 1; }
  void new_line_at(std::size_t pos) {  // `pos` is just past a '\n'
    ++line_;
    line_start_ = pos;
  }

  std::string_view text_;
  std::string file_;
  std::size_t pos_ = 0;
  std::size_t line_start_ = 0;
  int line_ = 1;
  std::vector<Bracket> brackets_;
  TokenKind previous_ = TokenKind::Newline;  // the start of the text is a fresh line
  bool previous_ends_value_ = false;         // an element of [ ] can end after it
  bool previous_allows_transpose_ = false;
  bool pending_space_ = false;  // blanks skipped before an inserted Comma
  bool closes_parameters_ = false;  // the token being lexed ends `@(...)`
  std::deque<Token> ahead_;
};

}  // namespace krt::lang
