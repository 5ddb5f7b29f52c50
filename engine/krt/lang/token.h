// The tokens of Korel text, as the lexer hands them to the parser.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace krt::lang {

enum class TokenKind {
  EndOfText,
  Newline,
  Comma,  // also put by the lexer between blank-separated elements inside [ ] and { }
  Semicolon,
  Identifier,
  Number,
  String,
  Command,  // a whole statement in command syntax: `hold on`
  LeftParen, RightParen, LeftBracket, RightBracket, LeftBrace, RightBrace,
  Dot, At, Assign, Colon,
  Plus, Minus, Star, Slash, Backslash, DotStar, DotSlash, DotBackslash, Caret, DotCaret,
  Transpose, DotTranspose, Not,
  Equal, NotEqual, Less, LessEqual, Greater, GreaterEqual,
  And, Or, AndAnd, OrOr,
  // Keywords.
  If, Elseif, Else, End, For, While, Switch, Case, Otherwise,
  Break, Continue, Return, Function, Try, Catch, Global, Persistent,
};

struct Token {
  TokenKind kind = TokenKind::EndOfText;
  int line = 1;    // from 1
  int column = 1;  // from 1, in bytes
  // Where the token's spelling lies in the text, as byte offsets [begin, end); an
  // inserted Comma is empty.
  std::size_t begin = 0;
  std::size_t end = 0;
  bool space_before = false;  // blanks, a comment or a continuation precede it
  bool inserted = false;      // a Comma that stands for blanks between elements
  // Identifier and Command: the name; String: the bytes without quotes; others: the
  // spelling in the text.
  std::string text;
  double number = 0;               // Number
  bool imaginary = false;          // Number: written with an i or j suffix, as in 3i
  std::vector<std::string> words;  // Command: its arguments
};

// How a token is named in messages: "')'", "'x'", "string", "end of line".
std::string describe(const Token& token);

}  // namespace krt::lang
