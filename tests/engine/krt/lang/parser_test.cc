#include "krt/lang/parser.h"

#include <gtest/gtest.h>

#include "engine/krt/lang/ast_dump.h"

namespace krt::lang {
namespace {

using test::dump;
using test::dump_expression;
using test::dump_script;

// One row per case: a text and the tree of its statements.
struct Case {
  const char* text;
  const char* tree;
};

void expect_trees(std::initializer_list<Case> cases) {
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(dump_script(c.text), c.tree);
  }
}

TEST(KrtParser, OperatorPrecedenceAndAssociativity) {
  EXPECT_EQ(dump_expression("1 + 2 * 3"), "(+ 1 (* 2 3))");
  EXPECT_EQ(dump_expression("a || b && c | d & e == f"), "(|| a (&& b (| c (& d (== e f)))))");
  EXPECT_EQ(dump_expression("a < b <= c > d >= e ~= f ~= g"),
            "(~= (~= (>= (> (<= (< a b) c) d) e) f) g)");
  EXPECT_EQ(dump_expression("a - b - c"), "(- (- a b) c)");
  EXPECT_EQ(dump_expression("a ./ b .* c / d * e"), "(* (/ (.* (./ a b) c) d) e)");
  EXPECT_EQ(dump_expression("1:n+1"), "(: 1 (+ n 1))");
  EXPECT_EQ(dump_expression("a:s:b"), "(: a s b)");
  EXPECT_EQ(dump_expression("x == 1:3"), "(== x (: 1 3))");
  EXPECT_EQ(dump_expression("-2^2"), "(- (^ 2 2))");
  EXPECT_EQ(dump_expression("2^-1"), "(^ 2 (- 1))");
  EXPECT_EQ(dump_expression("a^b.^c"), "(.^ (^ a b) c)");
  EXPECT_EQ(dump_expression("a^b'"), "(' (^ a b))");
  EXPECT_EQ(dump_expression("-a'"), "(- (' a))");
  EXPECT_EQ(dump_expression("-a * b"), "(* (- a) b)");
  EXPECT_EQ(dump_expression("a * -b"), "(* a (- b))");
  EXPECT_EQ(dump_expression("~a == ~b"), "(== (~ a) (~ b))");
  EXPECT_EQ(dump_expression("a \\ b .\\ c * d"), "(* (.\\ (\\ a b) c) d)");
  EXPECT_EQ(dump_expression("a + b \\ c'"), "(+ a (\\ b (' c)))");
  EXPECT_EQ(dump_expression("-a\\b^2"), "(\\ (- a) (^ b 2))");
  EXPECT_EQ(dump_expression("[a \\b 5.\\x]"), "[(\\ a b) (.\\ 5 x)]");
  EXPECT_EQ(dump_expression("+-x"), "(+ (- x))");
  EXPECT_EQ(dump_expression("(1 + 2) * 3"), "(* (+ 1 2) 3)");
  EXPECT_EQ(dump_expression("x.'' + a(1)'"), "(+ (' (.' x)) (' (ref a (1))))");
  EXPECT_EQ(dump_expression("'a' == \"a\""), "(== 'a' 'a')");
}

TEST(KrtParser, AccessChains) {
  EXPECT_EQ(dump_expression("s.a(2).b{3}"), "(ref s .a (2) .b {3})");
  EXPECT_EQ(dump_expression("f()"), "(ref f ())");
  EXPECT_EQ(dump_expression("x (2, :)"), "(ref x (2 :))");
  EXPECT_EQ(dump_expression("a(2:end-1)"), "(ref a ((: 2 (- end 1))))");
  EXPECT_EQ(dump_expression("c{end}.f(3)"), "(ref c {end} .f (3))");
  EXPECT_EQ(dump_expression("s.('dyn').end"), "(ref s .('dyn') .end)");
  EXPECT_EQ(dump_expression("x(y(end), [1 end], (end))"), "(ref x ((ref y (end)) [1 end] end))");
  EXPECT_EQ(dump_expression("x(:)'"), "(' (ref x (:)))");
  EXPECT_EQ(dump_expression("{@sin, @cos}"), "{@sin @cos}");
}

TEST(KrtParser, MatricesAndCells) {
  EXPECT_EQ(dump_expression("[1, 2; 3, 4]'"), "(' [1 2; 3 4])");
  EXPECT_EQ(dump_expression("{1, 'two'; [3 4], {5}}"), "{1 'two'; [3 4] {5}}");
  EXPECT_EQ(dump_expression("[1 -2]"), "[1 (- 2)]");
  EXPECT_EQ(dump_expression("[1 - 2]"), "[(- 1 2)]");
  EXPECT_EQ(dump_expression("[a -  b, c - d]"), "[(- a b) (- c d)]");
  EXPECT_EQ(dump_expression("[a (1)]"), "[a 1]");
  EXPECT_EQ(dump_expression("[a' 'x']"), "[(' a) 'x']");
  EXPECT_EQ(dump_expression("[x ~y, x ~= y]"), "[x (~ y) (~= x y)]");
  EXPECT_EQ(dump_expression("{a {1} b{2}}"), "{a {1} (ref b {2})}");
  EXPECT_EQ(dump_expression("[]"), "[]");
  EXPECT_EQ(dump_expression("{}"), "{}");
  EXPECT_EQ(dump_expression("[;;1 2;;\n\n3 4,;]"), "[1 2; 3 4]");
  EXPECT_EQ(dump_expression("[1 2 % first row\n 3 ...\n 4]"), "[1 2; 3 4]");
  EXPECT_EQ(dump_expression("[1:3]"), "[(: 1 3)]");
}

TEST(KrtParser, StatementsAndAssignments) {
  EXPECT_EQ(dump_script("x = 3\ny = 4;\nx, y;  z"), "(= x 3) (= y 4); x y; z");
  EXPECT_EQ(dump_script(";;,\n x = 1;;"), "(= x 1);");
  EXPECT_EQ(dump_script("x(2,:) = 5;"), "(= (ref x (2 :)) 5);");
  EXPECT_EQ(dump_script("s.a{3}.b = 1"), "(= (ref s .a {3} .b) 1)");
  EXPECT_EQ(dump_script("x(end+1) = 3;"), "(= (ref x ((+ end 1))) 3);");
  EXPECT_EQ(dump_script("c{end}.f(3) = 1;"), "(= (ref c {end} .f (3)) 1);");
  EXPECT_EQ(dump_script("s.('dyn') = 2;"), "(= (ref s .('dyn')) 2);");
  EXPECT_EQ(dump_script("varargout{1} = x;"), "(= (ref varargout {1}) x);");
  EXPECT_EQ(dump_script("[~, i] = max(v);"), "(= [~ i] (ref max (v)));");
  EXPECT_EQ(dump_script("[m n] = size(A)"), "(= [m n] (ref size (A)))");
  EXPECT_EQ(dump_script("[~ i, s.x] = f"), "(= [~ i (ref s .x)] f)");
  EXPECT_EQ(dump_script("x == 3"), "(== x 3)");
  EXPECT_EQ(dump_script("[a b] + 1\n[a b] == c"), "(+ [a b] 1) (== [a b] c)");
  EXPECT_EQ(dump_script("x = [1, 2; 3, 4]';"), "(= x (' [1 2; 3 4]));");
  EXPECT_EQ(dump_script("y = {1, 'two'; [3 4], {5}};"), "(= y {1 'two'; [3 4] {5}});");
  EXPECT_EQ(dump_script("f = @sin;"), "(= f @sin);");
  EXPECT_EQ(dump_script("global a b c\nglobal d;"), "(global a b c) (global d)");
}

TEST(KrtParser, CommandSyntaxStatements) {
  expect_trees({
      {"format long", "(cmd format 'long')"},
      {"clear all; more off", "(cmd clear 'all'); (cmd more 'off')"},
      {"x -1", "(- x 1)"},
      {"disp -x", "(cmd disp '-x')"},
      {"disp -5", "(- disp 5)"},
  });
  EXPECT_EQ(dump_script("hold on; format long\nwarning off all"),
            "(cmd hold 'on'); (cmd format 'long') (cmd warning 'off' 'all')");
  EXPECT_EQ(dump_script("disp hello, close all"), "(cmd disp 'hello') (cmd close 'all')");
  EXPECT_EQ(dump_script("if x, hold on, end"), "(if (x (cmd hold 'on')))");
  EXPECT_EQ(dump_script("if x\nhold on\nelse hold off\nend"),
            "(if (x (cmd hold 'on')) (else (cmd hold 'off')))");
  EXPECT_EQ(dump_script("a -b\na - b\nx = a -b"), "(cmd a '-b') (- a b) (= x (- a b))");
}

TEST(KrtParser, AnonymousFunctions) {
  expect_trees({
      {"f = @(x) x + 1;", "(= f (@ (x) (+ x 1)));"},
      {"g = @(a,b) [a b];", "(= g (@ (a b) [a b]));"},
      {"h = @() disp('hi')", "(= h (@ () (ref disp ('hi'))))"},
      {"cellfun(@(s) numel(s), c)", "(ref cellfun ((@ (s) (ref numel (s))) c))"},
      {"k = @(x) @(y) x + y;", "(= k (@ (x) (@ (y) (+ x y))));"},
      {"f = @(~, varargin) x' * 2 > 1 | y", "(= f (@ (~ varargin) (| (> (* (' x) 2) 1) y)))"},
      {"c = {@(x) x, @(x) 2*x};", "(= c {(@ (x) x) (@ (x) (* 2 x))});"},
      {"c = {@(x) x + 1};", "(= c {(@ (x) (+ x 1))});"},
      {"c = {@(x) x+1 @(x) x +1};", "(= c {(@ (x) (+ x 1)) (@ (x) x) (+ 1)});"},
      {"c = {@(x)  'a' @() -1 @()   {x}};", "(= c {(@ (x) 'a') (@ () (- 1)) (@ () {x})});"},
      {"s.f = @(t) t(end).^2;", "(= (ref s .f) (@ (t) (.^ (ref t (end)) 2)));"},
      {"x(arrayfun(@(k) k, 1:end))", "(ref x ((ref arrayfun ((@ (k) k) (: 1 end)))))"},
      {"f = @(x) ...\n  x;", "(= f (@ (x) x));"},
      {"h = @containers.Map; g = @sin", "(= h @containers.Map); (= g @sin)"},
  });

  auto program =
      parse_program("f = @(x)  x + 1 ;% c\nc = {@(a,b) a.*b, @() @(y) ...\n y};", "t");
  const Expr& single = *program->statements[0]->expr;
  EXPECT_EQ(single.text, "@(x)  x + 1");
  EXPECT_EQ(single.column, 5);
  const Expr& cell = *program->statements[1]->expr;
  EXPECT_EQ(cell.rows[0][0]->text, "@(a,b) a.*b");
  EXPECT_EQ(cell.rows[0][1]->text, "@() @(y) ...\n y");
  EXPECT_EQ(cell.rows[0][1]->lhs->text, "@(y) ...\n y");
}

TEST(KrtParser, CommentsAndContinuationsInEveryContext) {
  expect_trees({
      {"x = f(1, ...\n 2);", "(= x (ref f (1 2)));"},
      {"x = [1 2 ... more\n 3];", "(= x [1 2 3]);"},
      {"c = {'a', ... comment\n 'b'};", "(= c {'a' 'b'});"},
      {"y = a ...\n * b + ...\n c;", "(= y (+ (* a b) c));"},
      {"[a, ...\n b] = f(x);", "(= [a b] (ref f (x)));"},
      {"if x > ...\n 1, y = 1; end", "(if ((> x 1) (= y 1);))"},
      {"for k = 1: ...\n 3, end", "(for k (: 1 3))"},
      {"hold on ...\n off", "(cmd hold 'on' 'off')"},
      {"function [a, ...\n b] = f(x, ...\n y)\nend", "(function f (in x y) (out a b))"},
      {"%{\nx = (\n%}\ny = 2;", "(= y 2);"},
      {"x = 1;\n  %{  \n  [ anything\n  %{\n nested\n  %}\n still\n\t%}\t\ny = 2;",
       "(= x 1); (= y 2);"},
      {"x = [1 2\n%{\nhidden row\n%}\n3 4];", "(= x [1 2; 3 4]);"},
      {"function f\n%{\nbody\n%}\nend", "(function f (in ) (out ))"},
      {"%{ not alone\nx", "x"},
  });
}

TEST(KrtParser, EmptyStatementsAndBodies) {
  expect_trees({
      {";", ""},
      {",,", ""},
      {"if x, end", "(if (x))"},
      {"if x, elseif y, else, end", "(if (x) (y))"},
      {"for k=1:3, end", "(for k (: 1 3))"},
      {"while false end", "(while false)"},
      {"try, catch, end", "(try (catch))"},
      {"switch x, end", "(switch x)"},
      {"function f\nend", "(function f (in ) (out ))"},
      {"function f()\nend\nfunction g, end", "(function f (in ) (out )) (function g (in ) (out ))"},
      {"if x disp(1), end", "(if (x (ref disp (1))))"},
      {"if x\nelseif y z = 1; end", "(if (x) (y (= z 1);))"},
      {"while x disp(1), end", "(while x (ref disp (1)))"},
      {"if a, b end", "(if (a b))"},
      {"try x end", "(try x (catch))"},
  });
}

TEST(KrtParser, EndInsideCallsInsideSubscripts) {
  expect_trees({
      {"x(floor(end/2))", "(ref x ((ref floor ((/ end 2)))))"},
      {"x(min(end, 9))", "(ref x ((ref min (end 9))))"},
      {"c{numel(c{end})}", "(ref c {(ref numel ((ref c {end})))})"},
      {"a(end, end-1)", "(ref a (end (- end 1)))"},
      {"s.f(end)", "(ref s .f (end))"},
      {"x(end)' + x(end').'", "(+ (' (ref x (end))) (.' (ref x ((' end)))))"},
  });
}

TEST(KrtParser, DeclarationsLiteralsAndTransposes) {
  expect_trees({
      {"function f\n persistent a b c\n persistent d;\n global e f\nend",
       "(function f (in ) (out ) (persistent a b c) (persistent d) (global e f))"},
      {"x = 1;\nfunction g\npersistent n", "(= x 1); (function g (in ) (out ) (persistent n))"},
      {"z = [3i 2.5j 1e3i 4I 5J] + 1 - 2i'", "(= z (- (+ [3i 2.5i 1000i 4i 5i] 1) (' 2i)))"},
      {"y = inf + nan", "(= y (+ inf nan))"},
      {"t = {a', [1 2]', {1}.', 3', a'', b.''}",
       "(= t {(' a) (' [1 2]) (.' {1}) (' 3) (' (' a)) (' (.' b))})"},
  });
}

TEST(KrtParser, ControlFlow) {
  EXPECT_EQ(dump_script("if a, b = 1; elseif c\n d\nelse e, end"),
            "(if (a (= b 1);) (c d) (else e))");
  EXPECT_EQ(dump_script("if a\n if b\n  c\n end\nend"), "(if (a (if (b c))))");
  EXPECT_EQ(dump_script("if x y = 1; end"), "(if (x (= y 1);))");
  EXPECT_EQ(dump_script("for i = 1:3, x(i) = i; end"), "(for i (: 1 3) (= (ref x (i)) i);)");
  EXPECT_EQ(dump_script("for (k = v) disp(k), end"), "(for k v (ref disp (k)))");
  EXPECT_EQ(dump_script("for k=1:n x(k)=k; end"), "(for k (: 1 n) (= (ref x (k)) k);)");
  EXPECT_EQ(dump_script("while x > 0\n x = x - 1;\n if x == 2, break, end\n continue\nend"),
            "(while (> x 0) (= x (- x 1)); (if ((== x 2) break)) continue)");
  EXPECT_EQ(dump_script("switch s\n case 'a'\n  x = 1;\n case {'b', 'c'}\n  x = 2;\n"
                        " otherwise\n  x = 3;\nend"),
            "(switch s (case 'a' (= x 1);) (case {'b' 'c'} (= x 2);) (otherwise (= x 3);))");
  EXPECT_EQ(dump_script("switch x, end"), "(switch x)");
  EXPECT_EQ(dump_script("try\n risky\ncatch err\n disp(err)\nend"),
            "(try risky (catch=err (ref disp (err))))");
  EXPECT_EQ(dump_script("try, a, catch\n b\nend"), "(try a (catch b))");
  EXPECT_EQ(dump_script("try a, catch disp(1), end"), "(try a (catch (ref disp (1))))");
  EXPECT_EQ(dump_script("try a, catch e disp(e), end"), "(try a (catch=e (ref disp (e))))");
  EXPECT_EQ(dump_script("if x, return, end"), "(if (x return))");
}

TEST(KrtParser, TextsTheRuntimeRuns) {
  EXPECT_EQ(dump_script("if (exist('startup','file') == 2) ||...\n"
                        "   (exist('startup','file') == 6)\n  startup\nend\n"),
            "(if ((|| (== (ref exist ('startup' 'file')) 2) (== (ref exist ('startup' 'file')) 6))"
            " startup))");
  EXPECT_EQ(dump_script("findobj(allchild(0), 'flat', 'Type', 'figure', 'visible', 'off');"),
            "(ref findobj ((ref allchild (0)) 'flat' 'Type' 'figure' 'visible' 'off'));");
  EXPECT_EQ(dump_script("warning('query', 'Korel:javaclasspath:jarAlreadySpecified')\n"
                        "javaaddpath({'a.jar', 'b.jar'}, '-end'), which('foo')"),
            "(ref warning ('query' 'Korel:javaclasspath:jarAlreadySpecified'))"
            " (ref javaaddpath ({'a.jar' 'b.jar'} '-end')) (ref which ('foo'))");

  auto program = parse_program(
      "x = helper(2);\n"
      "disp(x)\n"
      "function varargout = helper(v, varargin)\n"
      "  if nargin < 1, v = 0; end\n"
      "  if nargout > 1\n"
      "    error('too many outputs');\n"
      "  end\n"
      "  [~, i] = max(v);\n"
      "  varargout{1} = v(2:end-1) + i;\n"
      "end\n"
      "function r = other(~)\n"
      "  r = 1;\n"
      "end\n",
      "script.k");
  EXPECT_TRUE(program->script);
  EXPECT_EQ(program->file, "script.k");
  EXPECT_EQ(dump(program->statements), "(= x (ref helper (2))); (ref disp (x))");
  ASSERT_EQ(program->functions.size(), 2u);
  EXPECT_EQ(dump(*program),
            "(= x (ref helper (2))); (ref disp (x))"
            " (function helper (in v varargin) (out varargout)"
            " (if ((< nargin 1) (= v 0);)) (if ((> nargout 1) (ref error ('too many outputs'));))"
            " (= [~ i] (ref max (v))); (= (ref varargout {1}) (+ (ref v ((: 2 (- end 1)))) i));)"
            " (function other (in ~) (out r) (= r 1);)");
}

TEST(KrtParser, FunctionFilesAndHeaders) {
  auto file = parse_program(
      "% help text\n\n"
      "function y = f(x)\n  y = g(x) + 1;\nend\n\nfunction r = g(v)\n  r = v * 2;\nend\n",
      "f.k");
  EXPECT_FALSE(file->script);
  EXPECT_TRUE(file->statements.empty());
  EXPECT_EQ(dump(*file),
            "(function f (in x) (out y) (= y (+ (ref g (x)) 1));)"
            " (function g (in v) (out r) (= r (* v 2));)");

  // Bodies that end at the next function or at the end of the text, mixed with `end`.
  EXPECT_EQ(dump_script("function a\n x\nfunction b(p, q)\n if p, y, end\nfunction c\n z\nend"),
            "(function a (in ) (out ) x) (function b (in p q) (out ) (if (p y)))"
            " (function c (in ) (out ) z)");
  EXPECT_EQ(dump_script("function [a, b] = name(varargin)\nend\nfunction [c d] = two\n"
                        "function [] = none()"),
            "(function name (in varargin) (out a b)) (function two (in ) (out c d))"
            " (function none (in ) (out ))");
  EXPECT_EQ(dump_script("function f, x = 1, end"), "(function f (in ) (out ) (= x 1))");
}

TEST(KrtParser, NodesRecordTheirPositions) {
  auto program = parse_program(
      "x = a + b;\n"
      "\n"
      "if a\n"
      "  y = [1 ...\n"
      "     2];\n"
      "  s.f(3) = 1;\n"
      "end\n"
      "function f\n"
      "  z = -3;\n"
      "end\n",
      "t");
  const Stmt& assign = *program->statements[0];
  EXPECT_EQ(assign.line, 1);
  EXPECT_EQ(assign.targets[0].line, 1);
  EXPECT_EQ(assign.expr->column, 7);  // the operator
  EXPECT_EQ(assign.expr->lhs->column, 5);
  EXPECT_EQ(assign.expr->rhs->column, 9);

  const Stmt& if_stmt = *program->statements[1];
  EXPECT_EQ(if_stmt.line, 3);
  const Stmt& matrix_assign = *if_stmt.clauses[0].body[0];
  EXPECT_EQ(matrix_assign.line, 4);
  const Expr& matrix = *matrix_assign.expr;
  EXPECT_EQ(matrix.line, 4);
  EXPECT_EQ(matrix.column, 7);
  EXPECT_EQ(matrix.rows[0][1]->line, 5);
  EXPECT_EQ(matrix.rows[0][1]->column, 6);
  const Stmt& field_assign = *if_stmt.clauses[0].body[1];
  EXPECT_EQ(field_assign.line, 6);
  EXPECT_EQ(field_assign.targets[0].chain[1].line, 6);

  const Function& f = *program->functions[0];
  EXPECT_EQ(f.line, 8);
  EXPECT_EQ(f.body[0]->line, 9);
  EXPECT_EQ(f.body[0]->expr->line, 9);
  EXPECT_EQ(f.body[0]->expr->column, 7);
}

}  // namespace
}  // namespace krt::lang
