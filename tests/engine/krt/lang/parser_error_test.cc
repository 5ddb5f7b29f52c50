#include <gtest/gtest.h>

#include <string>

#include "krt/lang/parser.h"

namespace krt::lang {
namespace {

// "line:column reason" of the error parsing `text` raises.
std::string error(std::string_view text) {
  try {
    parse_program(text, "bad.k");
  } catch (const SyntaxError& e) {
    EXPECT_EQ(e.file(), "bad.k");
    return std::to_string(e.line()) + ":" + std::to_string(e.column()) + " " + e.what();
  }
  return "no error";
}

std::string repeat(std::string_view piece, int times) {
  std::string out;
  for (int i = 0; i < times; ++i) out += piece;
  return out;
}

TEST(KrtParserErrors, ExpressionsReportTheOffendingToken) {
  EXPECT_EQ(error("x = )"), "1:5 unexpected ')'");
  EXPECT_EQ(error("x = 1 2"), "1:7 unexpected '2'");
  EXPECT_EQ(error("a = b +"), "1:8 unexpected end of text");
  EXPECT_EQ(error("a = b +\nc"), "1:8 unexpected end of line");
  EXPECT_EQ(error("x = (1 + 2"), "1:11 missing ')'");
  EXPECT_EQ(error("x = (1 2)"), "1:8 expected ')', found '2'");
  EXPECT_EQ(error("f(1 2)"), "1:5 expected ',' or ')', found '2'");
  EXPECT_EQ(error("x(1\n, 2)"), "1:4 missing ')'");
  EXPECT_EQ(error("x(1,\n2)"), "1:5 unexpected end of line");
  EXPECT_EQ(error("c{1 ]"), "1:5 expected ',' or '}', found ']'");
  EXPECT_EQ(error("x = [1 2"), "1:9 missing ']' for '[' opened at line 1");
  EXPECT_EQ(error("if a\n x = {1\nend"), "3:1 missing '}' for '{' opened at line 2");
  EXPECT_EQ(error("x = [1 2)"), "1:9 unexpected ')'");
  EXPECT_EQ(error("x = [,1]"), "1:6 unexpected ','");
  EXPECT_EQ(error("x = 1:2:3:4"), "1:10 unexpected ':'");
  EXPECT_EQ(error("x = end"), "1:5 invalid use of 'end'");
  EXPECT_EQ(error("x = [1 end]"), "1:8 invalid use of 'end'");
  EXPECT_EQ(error("x = :"), "1:5 unexpected ':'");
  EXPECT_EQ(error("(x)(2)"), "1:4 only a name can be indexed or called");
  EXPECT_EQ(error("y = [1 2](1)"), "1:10 only a name can be indexed or called");
  EXPECT_EQ(error("s. = 1"), "1:4 expected a field name after '.', found '='");
  EXPECT_EQ(error("f = @ 3"), "1:7 expected a function name after '@', found '3'");
  EXPECT_EQ(error("x = 'abc"), "1:5 unterminated string");
}

TEST(KrtParserErrors, NewSyntaxReportsItsMistakes) {
  struct Case {
    const char* text;
    const char* error;
  };
  const Case cases[] = {
      {"f = @(x y) x", "1:9 expected ',' or ')', found 'y'"},
      {"f = @(x", "1:8 missing ')'"},
      {"f = @(1) x", "1:7 expected a parameter name, found '1'"},
      {"f = @(varargin, x) x", "1:17 'varargin' must be the last parameter"},
      {"f = @(x)", "1:9 unexpected end of text"},
      {"f = @(x);", "1:9 unexpected ';'"},
      {"x(@() end)", "1:7 invalid use of 'end'"},
      {"y = (@(x) x)(3)", "1:13 only a name can be indexed or called"},
      {"f = @pkg.", "1:10 expected a name after '.', found end of text"},
      {"y = end + 1", "1:5 invalid use of 'end'"},
      {"persistent x", "1:1 persistent declarations are only allowed in functions"},
      {"x = 1;\npersistent y\nfunction f\nend", "2:1 persistent declarations are only allowed in functions"},
      {"function f\npersistent\nend", "2:11 expected a variable name after 'persistent', found end of line"},
      {"function a\n function b\n end\nend", "4:1 functions cannot be nested; end each function before the next begins"},
      {"y = !x", "1:5 '!' is not a Korel operator; use '~' for not"},
      {"if a != b, end", "1:6 '!=' is not a Korel operator; use '~=' for not equal"},
      {"x = 1 # 2", "1:7 unexpected character '#'"},
      {"z = 3ii", "1:5 malformed number"},
      {"z = 0x1F", "1:5 malformed number"},
      {"a \\", "1:4 unexpected end of text"},
  };
  for (const Case& c : cases) EXPECT_EQ(error(c.text), c.error) << c.text;
}

TEST(KrtParserErrors, AssignmentsNeedANameOnTheLeft) {
  EXPECT_EQ(error("f(x)+1 = 2"), "1:8 '=' cannot follow an expression");
  EXPECT_EQ(error("(x) = 3"), "1:5 '=' cannot follow an expression");
  EXPECT_EQ(error("x' = 3"), "1:4 '=' cannot follow an expression");
  EXPECT_EQ(error("a -b = 1"), "1:6 '=' cannot follow an expression");
  EXPECT_EQ(error("x = 1 = 2"), "1:7 unexpected '='");
  EXPECT_EQ(error("[a, 1] = f"), "1:5 expected a variable name or '~', found '1'");
  EXPECT_EQ(error("[a(1)b] = f"), "1:6 unexpected 'b'");
  EXPECT_EQ(error("for 1 = x, end"), "1:5 expected a loop variable, found '1'");
  EXPECT_EQ(error("for (i = 1:3 disp(i), end"), "1:14 expected ')', found 'disp'");
  EXPECT_EQ(error("global"), "1:7 expected a variable name after 'global', found end of text");
}

TEST(KrtParserErrors, BlocksMustCloseWhereTheyShould) {
  EXPECT_EQ(error("a\nif x\n y = 1\n"), "4:1 missing 'end' for 'if' opened at line 2");
  EXPECT_EQ(error("function f\n while 1\nfunction g\nend"),
            "3:1 missing 'end' for 'while' opened at line 2");
  EXPECT_EQ(error("end"), "1:1 unexpected 'end'");
  EXPECT_EQ(error("if x, end end"), "1:11 unexpected 'end'");
  EXPECT_EQ(error("if x\nelse\nelseif y\nend"), "3:1 unexpected 'elseif'");
  EXPECT_EQ(error("while x\n case 1\nend"), "2:2 unexpected 'case'");
  EXPECT_EQ(error("switch x\n y\ncase 1\nend"),
            "2:2 expected 'case', 'otherwise' or 'end', found 'y'");
  EXPECT_EQ(error("switch x\notherwise\ncase 1\nend"), "3:1 unexpected 'case'");
  EXPECT_EQ(error("try\ncatch\ncatch\nend"), "3:1 unexpected 'catch'");
  EXPECT_EQ(error("function f\nelse\n"), "2:1 unexpected 'else'");
  EXPECT_EQ(error("x = 1\nfunction f\nend\ny = 2"),
            "4:1 only functions may follow the end of function 'f'");
  EXPECT_EQ(error("function 3"), "1:10 expected a function name, found '3'");
  EXPECT_EQ(error("function f x"), "1:12 unexpected 'x'");
  EXPECT_EQ(error("function f(varargin, x)"), "1:22 'varargin' must be the last input");
  EXPECT_EQ(error("function [varargout, y] = f"), "1:22 'varargout' must be the last output");
}

TEST(KrtParserErrors, NestingIsBounded) {
  EXPECT_EQ(error("x = " + repeat("(", 256) + "1" + repeat(")", 256)), "no error");
  EXPECT_EQ(error("x = " + repeat("(", 257) + "1" + repeat(")", 257)), "1:261 too deeply nested");
  EXPECT_EQ(error("x = " + repeat("[", 100000)), "1:261 too deeply nested");
  EXPECT_EQ(error(repeat("[", 100000) + "] = 1"), "1:257 too deeply nested");
  EXPECT_EQ(error("x" + repeat("{1}(2).f", 1000) + " = 1"), "no error");
  EXPECT_EQ(error("x(" + repeat("c{", 300)), "1:514 too deeply nested");
  EXPECT_EQ(error(repeat("if x\n", 256) + repeat("end\n", 256)), "no error");
  EXPECT_EQ(error(repeat("if x\n", 257)), "257:1 too deeply nested");
  EXPECT_EQ(error(repeat("while x\n", 200) + "y = " + repeat("(", 57)), "201:61 too deeply nested");
  EXPECT_EQ(error("f = " + repeat("@()", 256) + "1"), "no error");
  EXPECT_EQ(error("f = " + repeat("@()", 300) + "1"), "1:773 too deeply nested");

  // Operator chains deepen the tree without nesting: they are bounded too.
  EXPECT_EQ(error("x = " + repeat("1 + ", 1000) + "1"), "no error");
  EXPECT_EQ(error("x = " + repeat("1 + ", 5000) + "1"), "1:4099 expression too deeply nested");
  EXPECT_EQ(error("x = " + repeat("-", 100000) + "1"), "1:1029 expression too deeply nested");
  EXPECT_EQ(error("x = 2" + repeat("^2'", 3000)), "1:1541 expression too deeply nested");
}

}  // namespace
}  // namespace krt::lang
