// Whatever the text, parsing gives a tree or a SyntaxError at a place inside the text.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "engine/krt/lang/ast_dump.h"
#include "krt/lang/parser.h"

namespace krt::lang {
namespace {

const char* const kPrograms[] = {
    "if (exist('startup','file') == 2) ||...\n   (exist('startup','file') == 6)\n  startup\nend\n",
    "findobj(allchild(0), 'flat', 'Type', 'figure', 'visible', 'off');",
    "x = [1, 2; 3, 4]';\ny = {1, 'two'; [3 4], {5}};\n[m n] = size(x);\n",
    "function varargout = f(varargin)\n%{\nblock\n%}\n  if nargin < 2 && ~isempty(varargin)\n"
    "    varargout{1} = varargin{end}(2:end-1)';\n  elseif nargout > 1, [~, i] = max(v);\n"
    "  else\n    s.('dyn').a{3}(end+1) = -2^-1;\n  end\nend\nfunction g\n  hold on\n",
    "for k = 1:2:n, x(k) = k .^ 2; end\nwhile true\n  try\n    a = b;\n  catch err\n"
    "    disp(err.message); break\n  end\nend\n",
    "switch lower(s)\n  case {'a', \"b\"}\n    warning off all\n  otherwise\n    c{end} = @sin;\n"
    "end\nglobal A B\nformat long, z = [a' 'x' -1 (2) x(3)] % done\n",
    "function r = g(c)\n  persistent n\n  f = {@(x) x +1, @(~, varargin) @() A\\b .\\ 2i};\n"
    "  r = c{numel(c{end})}(floor(end/2)); if r, end\nend\n",
};

// Pieces that make texts close to the language, so mutations reach deep into the parser.
const char* const kFragments[] = {
    "x",      "y1",        "end", "if ",    "elseif ",   "else",    "for ",    "while ", "switch ",
    "case ",  "otherwise", "try", "catch ", "function ", "global ", "break",   "return", "=",
    "==",     "(",         ")",   "[",      "]",         "{",       "}",       "'",      "\"",
    ".'",     ".",         ",",   ";",      "\n",        " ",       "...",     "%",      "%{\n",
    "\n%}\n", "@",         "@(",  ":",      "+",         "-",       "*",       "^",      "~",
    "!",      "&&",        "|",   "1",      "2.5e3",     ".5",      "hold on", "'str'",  "\r\n",
    "\t",     "a.b",       "f(",  "c{",     "@(x) ",     "@() ",    "\\",      ".\\",     "3i",
    "persistent ",
};

std::string visible(const std::string& text) {
  std::string out;
  for (unsigned char c : text) {
    if (c >= ' ' && c < 127) {
      out += static_cast<char>(c);
    } else {
      static const char kHex[] = "0123456789ABCDEF";
      out += std::string("\\x") + kHex[c >> 4] + kHex[c & 15];
    }
  }
  return out;
}

// Parses `text`; returns false when it is rejected. Anything but SyntaxError fails.
bool parses(const std::string& text) {
  try {
    std::unique_ptr<Program> program = parse_program(text, "fuzz");
    test::dump(*program);  // visits every node; a missing operand would crash here
    return true;
  } catch (const SyntaxError& e) {
    // The position names a place in the text: a line that exists, at most one past its end.
    int lines = 1 + static_cast<int>(std::count(text.begin(), text.end(), '\n'));
    EXPECT_GE(e.line(), 1) << visible(text);
    EXPECT_LE(e.line(), lines) << visible(text);
    std::size_t start = 0;
    for (int line = 1; line < e.line() && start != std::string::npos; ++line)
      start = text.find('\n', start) + 1;
    std::size_t end = std::min(text.find('\n', start), text.size());
    EXPECT_GE(e.column(), 1) << visible(text);
    EXPECT_LE(e.column(), static_cast<int>(end - start) + 1) << visible(text);
    EXPECT_STRNE(e.what(), "") << visible(text);
  } catch (const std::exception& e) {
    ADD_FAILURE() << "unexpected exception '" << e.what() << "' for " << visible(text);
  }
  return false;
}

TEST(KrtParserRobustness, SamplesParse) {
  for (const char* program : kPrograms) EXPECT_TRUE(parses(program)) << program;
}

TEST(KrtParserRobustness, RandomBytesGiveATreeOrASyntaxError) {
  std::mt19937 random(20240611);
  std::uniform_int_distribution<int> byte(0, 255);
  std::uniform_int_distribution<int> length(0, 120);
  for (int i = 0; i < 2000; ++i) {
    std::string text;
    for (int n = length(random); n > 0; --n) text += static_cast<char>(byte(random));
    parses(text);
  }
}

TEST(KrtParserRobustness, RandomFragmentsGiveATreeOrASyntaxError) {
  std::mt19937 random(7);
  std::uniform_int_distribution<std::size_t> fragment(0, std::size(kFragments) - 1);
  std::uniform_int_distribution<int> count(1, 40);
  int accepted = 0;
  for (int i = 0; i < 3000; ++i) {
    std::string text;
    for (int n = count(random); n > 0; --n) text += kFragments[fragment(random)];
    accepted += parses(text);
  }
  EXPECT_GT(accepted, 0);  // the fragments do make valid texts, so trees get walked too
}

TEST(KrtParserRobustness, MutatedProgramsGiveATreeOrASyntaxError) {
  std::mt19937 random(99);
  auto pick = [&](std::size_t bound) {
    return std::uniform_int_distribution<std::size_t>(0, bound)(random);
  };
  int accepted = 0;
  for (int i = 0; i < 4000; ++i) {
    std::string text = kPrograms[pick(std::size(kPrograms) - 1)];
    for (std::size_t n = 1 + pick(3); n > 0; --n) {
      std::size_t at = pick(text.size());
      switch (pick(4)) {
        case 0: text.erase(at, 1 + pick(8)); break;
        case 1: text.insert(at, kFragments[pick(std::size(kFragments) - 1)]); break;
        case 2: text.insert(at, 1, static_cast<char>(pick(255))); break;
        case 3: text.insert(at, text.substr(pick(text.size()), pick(30))); break;
        default:
          if (at < text.size()) text[at] = static_cast<char>(pick(255));
      }
    }
    accepted += parses(text);
  }
  EXPECT_GT(accepted, 0);
}

TEST(KrtParserRobustness, LargeTextsParse) {
  std::string matrix = "[";
  for (int i = 0; i < 60000; ++i) matrix += i % 1000 == 999 ? "1\n" : "1 -2 ";
  matrix += "]";
  auto program = parse_program(matrix, "big");
  ASSERT_EQ(program->statements.size(), 1u);
  EXPECT_EQ(program->statements[0]->expr->rows.size(), 60u);

  std::string many;
  for (int i = 0; i < 20000; ++i) many += "[a, b{i}] = f(x(i, :));\n";
  EXPECT_EQ(parse_program(many, "many")->statements.size(), 20000u);

  std::string text = "s = '" + std::string(1 << 20, 'x') + "';";
  EXPECT_EQ(parse_program(text, "long")->statements[0]->expr->text.size(), 1u << 20);
}

}  // namespace
}  // namespace krt::lang
