#include "krt/lang/lexer.h"

#include <gtest/gtest.h>

#include <charconv>
#include <string>

#include "krt/lang/parser.h"

namespace krt::lang {
namespace {

// The tokens of `text` in one line: numbers as #value, strings as s'bytes', inserted
// commas as _, line ends as NL, commands as cmd(name|word|...).
std::string tokens(std::string_view text) {
  Lexer lexer(text, "test");
  std::string out;
  for (Token t = lexer.take(); t.kind != TokenKind::EndOfText; t = lexer.take()) {
    if (!out.empty()) out += " ";
    switch (t.kind) {
      case TokenKind::Number: {
        char buffer[64];
        out += "#" + std::string(buffer, std::to_chars(buffer, buffer + 64, t.number).ptr);
        break;
      }
      case TokenKind::String: out += "s'" + t.text + "'"; break;
      case TokenKind::Newline: out += "NL"; break;
      case TokenKind::Command:
        out += "cmd(" + t.text;
        for (const std::string& word : t.words) out += "|" + word;
        out += ")";
        break;
      default: out += t.inserted ? "_" : t.text;
    }
  }
  return out;
}

// "line:column reason" of the error lexing `text` raises.
std::string lex_error(std::string_view text) {
  try {
    Lexer lexer(text, "test");
    while (lexer.take().kind != TokenKind::EndOfText) {
    }
  } catch (const SyntaxError& e) {
    return std::to_string(e.line()) + ":" + std::to_string(e.column()) + " " + e.what();
  }
  return "no error";
}

TEST(KrtLexer, QuoteIsTransposeAfterAValueAndStringElsewhere) {
  EXPECT_EQ(tokens("a' + b'"), "a ' + b '");
  EXPECT_EQ(tokens("x = 'it''s'"), "x = s'it's'");
  EXPECT_EQ(tokens("y = \"say \"\"hi\"\"\""), "y = s'say \"hi\"'");
  EXPECT_EQ(tokens("y = a '"), "y = a '");  // after blanks, outside brackets
  EXPECT_EQ(tokens("f(a ')"), "f ( a ' )");
  EXPECT_EQ(tokens("x(end')"), "x ( end ' )");
  EXPECT_EQ(tokens("c{1}' [1 2]'' a.' 5'"), "c { #1 } ' [ #1 _ #2 ] ' ' a .' #5 '");
  EXPECT_EQ(tokens("[a 'x']"), "[ a _ s'x' ]");
  EXPECT_EQ(tokens("[a' 'x']"), "[ a ' _ s'x' ]");
  EXPECT_EQ(tokens("case 'a'"), "case s'a'");
  EXPECT_EQ(tokens("x = 'caf\xC3\xA9'"), "x = s'caf\xC3\xA9'");
}

TEST(KrtLexer, BlanksSeparateElementsOnlyInsideBrackets) {
  EXPECT_EQ(tokens("[1 -2]"), "[ #1 _ - #2 ]");
  EXPECT_EQ(tokens("[1 - 2]"), "[ #1 - #2 ]");
  EXPECT_EQ(tokens("[a (1)]"), "[ a _ ( #1 ) ]");
  EXPECT_EQ(tokens("{a {1} b{2}}"), "{ a _ { #1 } _ b { #2 } }");
  EXPECT_EQ(tokens("[x ~y x ~= y]"), "[ x _ ~ y _ x ~= y ]");
  EXPECT_EQ(tokens("[1 .5 a .* b]"), "[ #1 _ #0.5 _ a .* b ]");
  EXPECT_EQ(tokens("[1, 2 ...\n 3]"), "[ #1 , #2 _ #3 ]");
  EXPECT_EQ(tokens("[f(1 -2) 3]"), "[ f ( #1 - #2 ) _ #3 ]");
  EXPECT_EQ(tokens("x(1 -2)"), "x ( #1 - #2 )");
  EXPECT_EQ(tokens("a -2"), "a - #2");
}

TEST(KrtLexer, Numbers) {
  EXPECT_EQ(tokens("3 3.5 .5 5. 1e3 1.5E-3 2e+2 007"), "#3 #3.5 #0.5 #5 #1000 #0.0015 #200 #7");
  EXPECT_EQ(tokens("1e999 1e-999 0.000e400 123456e-400"), "#inf #0 #0 #0");
  EXPECT_EQ(tokens("5.*x 5./2 5.^2 5.' 5...\n+1"), "#5 .* x #5 ./ #2 #5 .^ #2 #5 .' #5 + #1");
  EXPECT_EQ(lex_error("x = 1e"), "1:5 malformed number");
  EXPECT_EQ(tokens("3i 2.5j 1e3I .5J"), "#3 #2.5 #1000 #0.5");
  EXPECT_EQ(lex_error("3if"), "1:1 malformed number");
}

TEST(KrtLexer, CommentsAndContinuations) {
  EXPECT_EQ(tokens("x % note\ny"), "x NL y");
  EXPECT_EQ(tokens("%{\nhidden\n  %{\nnested\n  %}\nhidden\n%}\nz"), "NL z");
  EXPECT_EQ(tokens("%{ not alone\ny"), "NL y");
  EXPECT_EQ(tokens("a = 1 + ... rest is a comment\n 2"), "a = #1 + #2");
  EXPECT_EQ(tokens("s = 'a % b' % c"), "s = s'a % b'");
  EXPECT_EQ(lex_error("x\n %{\nnever closed\n"), "2:2 unterminated block comment");

  Lexer lexer("%{\nx\n%}\ny ...\n   + z\r\n  w", "test");
  Token newline = lexer.take();
  EXPECT_EQ(newline.line, 3);
  Token y = lexer.take();
  EXPECT_EQ(y.line, 4);
  EXPECT_EQ(lexer.take().kind, TokenKind::Plus);
  Token z = lexer.take();
  EXPECT_EQ(z.line, 5);
  EXPECT_EQ(z.column, 6);
  EXPECT_EQ(lexer.take().kind, TokenKind::Newline);
  Token w = lexer.take();
  EXPECT_EQ(w.line, 6);
  EXPECT_EQ(w.column, 3);
}

TEST(KrtLexer, CommandSyntax) {
  EXPECT_EQ(tokens("hold on"), "cmd(hold|on)");
  EXPECT_EQ(tokens("warning off all;"), "cmd(warning|off|all) ;");
  EXPECT_EQ(tokens("disp 'hello world' x"), "cmd(disp|hello world|x)");
  EXPECT_EQ(tokens("disp it''s 'a''b'"), "cmd(disp|its|a'b)");
  EXPECT_EQ(tokens("format long, x = 1"), "cmd(format|long) , x = #1");
  EXPECT_EQ(tokens("close all % comment\nhold on ...\n  off"),
            "cmd(close|all) NL cmd(hold|on|off)");
  EXPECT_EQ(tokens("if x, hold on, end"), "if x , cmd(hold|on) , end");
  EXPECT_EQ(tokens("try hold on\ncatch\nbeep 3\nend"),
            "try cmd(hold|on) NL catch NL cmd(beep|3) NL end");
  EXPECT_EQ(tokens("a -b"), "cmd(a|-b)");
  EXPECT_EQ(tokens("a -b = 1"), "a - b = #1");
  EXPECT_EQ(tokens("a - b"), "a - b");
  EXPECT_EQ(tokens("disp -5"), "disp - #5");
  EXPECT_EQ(tokens("x ==3"), "x == #3");
  EXPECT_EQ(tokens("x ~= y"), "x ~= y");
  EXPECT_EQ(tokens("disp (x)"), "disp ( x )");
  EXPECT_EQ(tokens("warning('off', 'a:b')"), "warning ( s'off' , s'a:b' )");
  EXPECT_EQ(tokens("startup\n"), "startup NL");
  EXPECT_EQ(tokens("global a b"), "global a b");
  EXPECT_EQ(tokens("x = f a"), "x = f a");  // only a statement's first word
  EXPECT_EQ(tokens("x '"), "x '");          // an unclosed quote is no quoted word
  EXPECT_EQ(lex_error("disp it's"), "1:8 unterminated string");
}

TEST(KrtLexer, LeftDivisionAndAnonymousFunctions) {
  EXPECT_EQ(tokens("a\\b .\\ c; s = 'x\\y'"), "a \\ b .\\ c ; s = s'x\\y'");
  EXPECT_EQ(tokens("{@(x) x +1 @() 'a'}"), "{ @ ( x ) x _ + #1 _ @ ( ) s'a' }");
  EXPECT_EQ(tokens("f = @(x) x'"), "f = @ ( x ) x '");
  EXPECT_EQ(tokens("[f(x) 'a']"), "[ f ( x ) _ s'a' ]");  // a call's ')' still ends a value
}

TEST(KrtLexer, TokensKnowWhereTheirSpellingLies) {
  const std::string text = "x = [a  3i]...\n+ 'q'";
  Lexer lexer(text, "test");
  std::string spellings;
  for (Token t = lexer.take(); t.kind != TokenKind::EndOfText; t = lexer.take())
    spellings += "<" + text.substr(t.begin, t.end - t.begin) + ">";
  EXPECT_EQ(spellings, "<x><=><[><a><><3i><]><+><'q'>");
}

TEST(KrtLexer, FieldNamesMayBeKeywords) {
  Lexer lexer("s.end.if", "test");
  lexer.take();
  lexer.take();
  EXPECT_EQ(lexer.take().kind, TokenKind::Identifier);
  lexer.take();
  EXPECT_EQ(lexer.take().kind, TokenKind::Identifier);
  Lexer plain("end if", "test");
  EXPECT_EQ(plain.take().kind, TokenKind::End);
  EXPECT_EQ(plain.take().kind, TokenKind::If);
}

TEST(KrtLexer, ErrorsCarryTheirPosition) {
  EXPECT_EQ(lex_error("x = 'abc"), "1:5 unterminated string");
  EXPECT_EQ(lex_error("y\nx = \"abc\nz\""), "2:5 unterminated string");
  EXPECT_EQ(lex_error("x = 1 $ 2"), "1:7 unexpected character '$'");
  EXPECT_EQ(lex_error("\n\n  \x01"), "3:3 unexpected character byte 0x01");
  EXPECT_EQ(lex_error("a ! b"), "1:3 '!' is not a Korel operator; use '~' for not");
}

TEST(KrtLexer, LooksAheadWithoutLosingItsPlace) {
  Lexer lexer("[a, b(1)] = f(x)\n[a b] + 1", "test");
  EXPECT_TRUE(lexer.bracket_followed_by_assign());
  EXPECT_EQ(lexer.peek(2).text, ",");
  EXPECT_EQ(lexer.take().kind, TokenKind::LeftBracket);
  while (lexer.take().kind != TokenKind::Newline) {
  }
  EXPECT_EQ(lexer.peek().kind, TokenKind::LeftBracket);
  EXPECT_FALSE(lexer.bracket_followed_by_assign());
  EXPECT_EQ(lexer.take().kind, TokenKind::LeftBracket);
  EXPECT_EQ(lexer.take().text, "a");
  EXPECT_TRUE(lexer.take().inserted);

  Lexer broken("[a, 'b] = 1", "test");
  EXPECT_FALSE(broken.bracket_followed_by_assign());
}

}  // namespace
}  // namespace krt::lang
