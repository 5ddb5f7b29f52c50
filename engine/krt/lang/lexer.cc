#include "krt/lang/lexer.h"

#include <charconv>
#include <cstdio>
#include <limits>
#include <optional>
#include <system_error>
#include <utility>

#include "krt/lang/parser.h"

namespace krt::lang {
namespace {

// '\r' counts as a blank so that texts with CR LF line ends read like the others.
bool is_blank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\f' || c == '\v'; }
bool is_letter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool is_digit(char c) { return c >= '0' && c <= '9'; }
bool is_word_char(char c) { return is_letter(c) || is_digit(c) || c == '_'; }

struct Keyword {
  std::string_view spelling;
  TokenKind kind;
};

constexpr Keyword kKeywords[] = {
    {"if", TokenKind::If},
    {"elseif", TokenKind::Elseif},
    {"else", TokenKind::Else},
    {"end", TokenKind::End},
    {"for", TokenKind::For},
    {"while", TokenKind::While},
    {"switch", TokenKind::Switch},
    {"case", TokenKind::Case},
    {"otherwise", TokenKind::Otherwise},
    {"break", TokenKind::Break},
    {"continue", TokenKind::Continue},
    {"return", TokenKind::Return},
    {"function", TokenKind::Function},
    {"try", TokenKind::Try},
    {"catch", TokenKind::Catch},
    {"global", TokenKind::Global},
    {"persistent", TokenKind::Persistent},
};

std::optional<TokenKind> keyword(std::string_view word) {
  for (const Keyword& k : kKeywords)
    if (k.spelling == word) return k.kind;
  return std::nullopt;
}

// Keywords that end the block before them, so that `if a, b end` does not read as the
// command b('end').
bool closes_block(std::string_view word) {
  auto kind = keyword(word);
  return kind && (*kind == TokenKind::End || *kind == TokenKind::Else ||
                  *kind == TokenKind::Elseif || *kind == TokenKind::Case ||
                  *kind == TokenKind::Otherwise || *kind == TokenKind::Catch);
}

bool is_imaginary_unit(char c) { return c == 'i' || c == 'j' || c == 'I' || c == 'J'; }

std::string_view trimmed(std::string_view s) {
  while (!s.empty() && is_blank(s.front())) s.remove_prefix(1);
  while (!s.empty() && is_blank(s.back())) s.remove_suffix(1);
  return s;
}

// Whether a number that from_chars found out of range is too large (rather than too
// small): the sign of the decimal exponent of its first significant digit decides.
bool overflows(std::string_view spelling) {
  long exponent = 0;
  bool significant = false;
  bool fraction = false;
  std::size_t i = 0;
  for (; i < spelling.size() && spelling[i] != 'e' && spelling[i] != 'E'; ++i) {
    char c = spelling[i];
    if (c == '.') {
      fraction = true;
      continue;
    }
    if (!significant && c == '0') {
      if (fraction) --exponent;
      continue;
    }
    if (!significant) {
      significant = true;
      if (fraction) --exponent;
    } else if (!fraction) {
      ++exponent;
    }
  }
  if (i < spelling.size()) {
    ++i;
    bool negative = spelling[i] == '-';
    if (spelling[i] == '-' || spelling[i] == '+') ++i;
    long written = 0;
    for (; i < spelling.size(); ++i)
      written = std::min(written * 10 + (spelling[i] - '0'), 1L << 40);
    exponent += negative ? -written : written;
  }
  return exponent >= 0;
}

double number_value(std::string_view spelling) {
  double value = 0;
  auto result = std::from_chars(spelling.data(), spelling.data() + spelling.size(), value);
  if (result.ec == std::errc::result_out_of_range)
    return overflows(spelling) ? std::numeric_limits<double>::infinity() : 0.0;
  return value;
}

std::string byte_name(char c) {
  if (c > ' ' && c < 127) return std::string("'") + c + "'";
  char hex[16];
  std::snprintf(hex, sizeof hex, "0x%02X", static_cast<unsigned char>(c));
  return std::string("byte ") + hex;
}

}  // namespace

std::string describe(const Token& token) {
  switch (token.kind) {
    case TokenKind::EndOfText: return "end of text";
    case TokenKind::Newline: return "end of line";
    case TokenKind::String: return "string";
    default: return "'" + token.text + "'";
  }
}

Lexer::Lexer(std::string_view text, std::string file) : text_(text), file_(std::move(file)) {}

const Token& Lexer::peek(std::size_t ahead) {
  while (ahead_.size() <= ahead) ahead_.push_back(lex());
  return ahead_[ahead];
}

Token Lexer::take() {
  peek();
  Token token = std::move(ahead_.front());
  ahead_.pop_front();
  return token;
}

bool Lexer::bracket_followed_by_assign() const {
  Lexer probe(*this);
  try {
    int depth = 0;
    for (;;) {
      Token token = probe.take();
      switch (token.kind) {
        case TokenKind::LeftParen:
        case TokenKind::LeftBracket:
        case TokenKind::LeftBrace:
          // Deeper than any text may nest: the parser reports it.
          if (++depth > kMaxNesting) return false;
          break;
        case TokenKind::RightParen:
        case TokenKind::RightBracket:
        case TokenKind::RightBrace:
          if (--depth <= 0) return probe.peek().kind == TokenKind::Assign;
          break;
        case TokenKind::EndOfText: return false;
        default: break;
      }
    }
  } catch (const SyntaxError&) {
    return false;
  }
}

void Lexer::fail(int line, int column, const std::string& reason) const {
  throw SyntaxError(file_, line, column, reason);
}

Token Lexer::lex() {
  bool spaced = skip_blanks_and_comments();
  spaced = std::exchange(pending_space_, false) || spaced;
  Token token;
  token.line = line_;
  token.column = column(pos_);
  token.begin = pos_;
  token.space_before = spaced;
  if (spaced && in_element_list() && previous_ends_value_ && starts_element_here()) {
    token.kind = TokenKind::Comma;
    token.text = ",";
    token.inserted = true;
    pending_space_ = true;  // the element after it was preceded by blanks too
  } else if (at_end(pos_)) {
    token.kind = TokenKind::EndOfText;
  } else if (text_[pos_] == '\n') {
    token.kind = TokenKind::Newline;
    token.text = "\n";
    ++pos_;
    new_line_at(pos_);
  } else if (is_letter(text_[pos_])) {
    token = lex_word(std::move(token));
  } else if (is_digit(text_[pos_]) || (text_[pos_] == '.' && is_digit(at(pos_ + 1)))) {
    token = lex_number(std::move(token));
  } else if (text_[pos_] == '"') {
    token = lex_string(std::move(token), '"');
  } else if (text_[pos_] == '\'') {
    if (previous_allows_transpose_ && !(spaced && in_element_list())) {
      token.kind = TokenKind::Transpose;
      token.text = "'";
      ++pos_;
    } else {
      token = lex_string(std::move(token), '\'');
    }
  } else {
    token = lex_operator(std::move(token));
  }
  token.end = pos_;
  note(token);
  return token;
}

bool Lexer::skip_blanks_and_comments() {
  bool skipped = false;
  for (;;) {
    if (pos_ == line_start_ && block_comment_starts_here()) {
      skip_block_comment();
    } else if (at_end(pos_)) {
      return skipped;
    } else if (is_blank(text_[pos_])) {
      ++pos_;
    } else if (text_[pos_] == '%') {
      while (!at_line_end(pos_)) ++pos_;
    } else if (continuation_at(pos_)) {
      skip_to_next_line();
    } else {
      return skipped;
    }
    skipped = true;
  }
}

// The rest of the line is a comment, and the line break is not one.
void Lexer::skip_to_next_line() {
  while (!at_line_end(pos_)) ++pos_;
  if (!at_end(pos_)) {
    ++pos_;
    new_line_at(pos_);
  }
}

bool Lexer::block_comment_starts_here() const {
  std::size_t end = pos_;
  while (!at_line_end(end)) ++end;
  return trimmed(text_.substr(pos_, end - pos_)) == "%{";
}

// From a line holding only "%{" to the matching line holding only "%}"; they nest.
// Leaves the position at the end of that line, so its line break is still a token.
void Lexer::skip_block_comment() {
  int open_line = line_;
  int open_column = column(text_.find('%', pos_));
  int depth = 0;
  std::size_t start = pos_;
  for (;;) {
    std::size_t end = start;
    while (!at_line_end(end)) ++end;
    std::string_view line = trimmed(text_.substr(start, end - start));
    if (line == "%{") {
      ++depth;
    } else if (line == "%}" && --depth == 0) {
      pos_ = end;
      return;
    }
    if (at_end(end)) fail(open_line, open_column, "unterminated block comment");
    start = end + 1;
    new_line_at(start);
  }
}

bool Lexer::in_element_list() const {
  return !brackets_.empty() &&
         (brackets_.back() == Bracket::Matrix || brackets_.back() == Bracket::Cell);
}

// After blanks inside [ ] or { }: whether what follows begins a new element rather than
// continuing the previous one with a binary operator. `[1 -2]` is two elements while
// `[1 - 2]` is one; `[a (1)]` and `[a 'x']` are two.
bool Lexer::starts_element_here() const {
  if (at_end(pos_)) return false;
  char c = text_[pos_];
  char next = at(pos_ + 1);
  if (is_letter(c) || is_digit(c)) return true;
  switch (c) {
    case '\'':
    case '"':
    case '(':
    case '[':
    case '{':
    case '@': return true;
    case '.': return is_digit(next);
    case '+':
    case '-': return !is_blank(next) && !at_line_end(pos_ + 1);
    case '~': return next != '=';
    default: return false;
  }
}

bool Lexer::at_statement_start() const {
  if (!brackets_.empty()) return false;
  switch (previous_) {
    case TokenKind::Newline:
    case TokenKind::Comma:
    case TokenKind::Semicolon:
    case TokenKind::Else:
    case TokenKind::Try:
    case TokenKind::Otherwise: return true;
    default: return false;
  }
}

Token Lexer::lex_word(Token token) {
  std::size_t start = pos_;
  while (is_word_char(at(pos_))) ++pos_;
  std::string_view word = text_.substr(start, pos_ - start);
  token.text = std::string(word);
  token.kind = TokenKind::Identifier;
  if (previous_ == TokenKind::Dot) return token;  // a field name may be spelled like a keyword
  if (auto kind = keyword(word)) {
    token.kind = *kind;
  } else if (at_statement_start() && command_follows(pos_)) {
    token.kind = TokenKind::Command;
    lex_command_words(token);
  }
  return token;
}

// Command syntax: the statement's first word is a name followed by blanks and then a
// word, that is a letter, a digit, '-' and a letter (`warning -off`), or a quoted text
// (`disp 'a b'`). Anything else after the blanks ('=', '(', an operator followed by a
// blank, a comment) leaves an expression. So does an '=' anywhere before the end of the
// statement: `a -b` is the command a('-b'), but `a -b = 1` is an (invalid) assignment.
bool Lexer::command_follows(std::size_t after_name) const {
  std::size_t pos = after_name;
  if (!is_blank(at(pos))) return false;
  while (is_blank(at(pos))) ++pos;
  if (at_end(pos)) return false;
  char c = text_[pos];
  bool word = is_letter(c) || is_digit(c) || (c == '-' && is_letter(at(pos + 1))) ||
              (c == '\'' && quote_closes_on_line(pos));
  if (is_letter(c)) {
    std::size_t end = pos;
    while (is_word_char(at(end))) ++end;
    if (closes_block(text_.substr(pos, end - pos))) return false;
  }
  return word && !assignment_follows(pos);
}

// Whether an '=' that is not part of a comparison comes before the statement ends,
// quoted parts of words aside.
bool Lexer::assignment_follows(std::size_t pos) const {
  for (; !at_line_end(pos); ++pos) {
    char c = text_[pos];
    if (c == ',' || c == ';' || c == '%') return false;
    if (c == '\'') {
      for (++pos; !at_line_end(pos); ++pos) {
        if (text_[pos] != '\'') continue;
        if (at(pos + 1) != '\'') break;
        ++pos;
      }
      if (at_line_end(pos)) return false;
    } else if (c == '=') {
      if (at(pos + 1) == '=') {
        ++pos;
        continue;
      }
      char before = text_[pos - 1];
      if (before != '~' && before != '<' && before != '>') return true;
    }
  }
  return false;
}

bool Lexer::quote_closes_on_line(std::size_t quote) const {
  for (std::size_t pos = quote + 1; !at_line_end(pos); ++pos) {
    if (text_[pos] != '\'') continue;
    if (at(pos + 1) != '\'') return true;
    ++pos;
  }
  return false;
}

// Words end at blanks and at the end of the statement (',', ';', line end, or a '%'
// that begins a word). A quoted part may hold blanks; its quotes are dropped.
void Lexer::lex_command_words(Token& token) {
  for (;;) {
    while (is_blank(at(pos_))) ++pos_;
    if (at_line_end(pos_)) return;
    char c = text_[pos_];
    if (c == ',' || c == ';' || c == '%') return;
    if (continuation_at(pos_)) {
      skip_to_next_line();
      continue;
    }
    std::string word;
    while (!at_line_end(pos_)) {
      c = text_[pos_];
      if (is_blank(c) || c == ',' || c == ';') break;
      ++pos_;
      if (c != '\'') {
        word += c;
        continue;
      }
      int quote_column = column(pos_ - 1);
      for (;;) {
        if (at_line_end(pos_)) fail(line_, quote_column, "unterminated string");
        char q = text_[pos_++];
        if (q == '\'') {
          if (at(pos_) != '\'') break;
          ++pos_;
        }
        word += q;
      }
    }
    token.words.push_back(std::move(word));
  }
}

// 3  3.5  .5  5.  1e3  1.5E-3, and imaginary 3i 2.5j 1e3i. A dot followed by an operator
// character stays an operator: `5.*x`, `5.'`, and `5...` (a continuation).
Token Lexer::lex_number(Token token) {
  std::size_t start = pos_;
  while (is_digit(at(pos_))) ++pos_;
  if (at(pos_) == '.') {
    char next = at(pos_ + 1);
    bool operator_follows = next == '*' || next == '/' || next == '\\' || next == '^' ||
                            next == '\'' || continuation_at(pos_);
    if (!operator_follows) {
      ++pos_;
      while (is_digit(at(pos_))) ++pos_;
    }
  }
  if (at(pos_) == 'e' || at(pos_) == 'E') {
    std::size_t digits = pos_ + 1;
    if (at(digits) == '+' || at(digits) == '-') ++digits;
    if (is_digit(at(digits))) {
      pos_ = digits;
      while (is_digit(at(pos_))) ++pos_;
    }
  }
  std::string_view value = text_.substr(start, pos_ - start);
  if (is_imaginary_unit(at(pos_)) && !is_word_char(at(pos_ + 1))) {
    token.imaginary = true;
    ++pos_;
  }
  if (is_word_char(at(pos_))) fail(token, "malformed number");
  token.kind = TokenKind::Number;
  token.text = std::string(text_.substr(start, pos_ - start));
  token.number = number_value(value);
  return token;
}

// 'text' or "text"; the quote written twice stands for itself. Bytes are kept as they are.
Token Lexer::lex_string(Token token, char quote) {
  std::string bytes;
  for (++pos_;;) {
    if (at_line_end(pos_)) fail(token, "unterminated string");
    char c = text_[pos_++];
    if (c == quote) {
      if (at(pos_) != quote) break;
      ++pos_;
    }
    bytes += c;
  }
  token.kind = TokenKind::String;
  token.text = std::move(bytes);
  return token;
}

Token Lexer::lex_operator(Token token) {
  char c = text_[pos_];
  char next = at(pos_ + 1);
  auto make = [&](TokenKind kind, std::size_t length) {
    token.kind = kind;
    token.text = std::string(text_.substr(pos_, length));
    pos_ += length;
    return token;
  };
  auto two = [&](char second, TokenKind pair, TokenKind single) {
    return next == second ? make(pair, 2) : make(single, 1);
  };
  switch (c) {
    case '(':
      // `@(` opens the parameters of an anonymous function.
      brackets_.push_back(previous_ == TokenKind::At ? Bracket::Parameters : Bracket::Paren);
      return make(TokenKind::LeftParen, 1);
    case '[': brackets_.push_back(Bracket::Matrix); return make(TokenKind::LeftBracket, 1);
    case '{':
      // Right after a value (an inserted Comma has already split `[a {1}]`) it indexes.
      brackets_.push_back(previous_ends_value_ ? Bracket::BraceIndex : Bracket::Cell);
      return make(TokenKind::LeftBrace, 1);
    case ')':
    case ']':
    case '}': {
      // A mismatched closer is the parser's to report; popping keeps the depth right.
      if (!brackets_.empty()) {
        closes_parameters_ = brackets_.back() == Bracket::Parameters;
        brackets_.pop_back();
      }
      TokenKind kind = c == ')'   ? TokenKind::RightParen
                       : c == ']' ? TokenKind::RightBracket
                                  : TokenKind::RightBrace;
      return make(kind, 1);
    }
    case ',': return make(TokenKind::Comma, 1);
    case ';': return make(TokenKind::Semicolon, 1);
    case '+': return make(TokenKind::Plus, 1);
    case '-': return make(TokenKind::Minus, 1);
    case '*': return make(TokenKind::Star, 1);
    case '/': return make(TokenKind::Slash, 1);
    case '\\': return make(TokenKind::Backslash, 1);
    case '^': return make(TokenKind::Caret, 1);
    case ':': return make(TokenKind::Colon, 1);
    case '@': return make(TokenKind::At, 1);
    case '.':
      switch (next) {
        case '*': return make(TokenKind::DotStar, 2);
        case '/': return make(TokenKind::DotSlash, 2);
        case '^': return make(TokenKind::DotCaret, 2);
        case '\'': return make(TokenKind::DotTranspose, 2);
        case '\\': return make(TokenKind::DotBackslash, 2);
        default: return make(TokenKind::Dot, 1);
      }
    case '~': return two('=', TokenKind::NotEqual, TokenKind::Not);
    case '!':
      fail(token, next == '=' ? "'!=' is not a Korel operator; use '~=' for not equal"
                              : "'!' is not a Korel operator; use '~' for not");
    case '=': return two('=', TokenKind::Equal, TokenKind::Assign);
    case '<': return two('=', TokenKind::LessEqual, TokenKind::Less);
    case '>': return two('=', TokenKind::GreaterEqual, TokenKind::Greater);
    case '&': return two('&', TokenKind::AndAnd, TokenKind::And);
    case '|': return two('|', TokenKind::OrOr, TokenKind::Or);
    default: fail(token, "unexpected character " + byte_name(c));
  }
}

void Lexer::note(const Token& token) {
  previous_ = token.kind;
  // The body of an anonymous function follows its parameters: `{@(x) x+1}` is one element.
  if (std::exchange(closes_parameters_, false)) {
    previous_ends_value_ = previous_allows_transpose_ = false;
    return;
  }
  switch (token.kind) {
    case TokenKind::Identifier:
    case TokenKind::Number:
    case TokenKind::RightParen:
    case TokenKind::RightBracket:
    case TokenKind::RightBrace:
    case TokenKind::Transpose:
    case TokenKind::DotTranspose: previous_ends_value_ = previous_allows_transpose_ = true; break;
    case TokenKind::String:
      previous_ends_value_ = true;
      previous_allows_transpose_ = false;
      break;
    case TokenKind::End:  // a value only inside a subscript, where brackets are open
      previous_ends_value_ = previous_allows_transpose_ = !brackets_.empty();
      break;
    default: previous_ends_value_ = previous_allows_transpose_ = false;
  }
}

}  // namespace krt::lang
