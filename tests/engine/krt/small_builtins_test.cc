// The language's smaller built-ins: timing, names, argument checks, sizes, deletion,
// session commands and formats without data.
#include <gtest/gtest.h>

#include <regex>

#include "support/korel_cases.h"

using korel::test::expect_cases;
using korel::test::KorelCase;
using korel::test::run_korel;

TEST(SmallBuiltins, TicTocMeasureFromTheirStart) {
  const KorelCase cases[] = {
      {"tic; x = toc; fprintf('%d %s\\n', x >= 0 && x < 60, class(x))", "1 double\n"},
      {"t = tic; e = toc(t); fprintf('%s %d\\n', class(t), e >= 0 && e < 60)", "uint64 1\n"},
      {"toc",
       "error Korel:toc:callTicFirst: You must call tic without an output argument before "
       "calling toc without an input argument.\n"},
      {"t = tic; toc(double(t))",
       "error Korel:toc:badId: The input of toc must be an id that tic returned.\n"},
      {"tic(1)", "error Korel:tic:tooManyInputs: Too many input arguments.\n"},
  };
  expect_cases(cases);
  EXPECT_TRUE(std::regex_match(run_korel("tic; toc"),
                               std::regex("Elapsed time is [0-9]+\\.[0-9]{6} seconds\\.\n")));
}

TEST(SmallBuiltins, NamesAndArgumentCounts) {
  const KorelCase cases[] = {
      {"fprintf('%d', isvarname('a1_b'), isvarname('1a'), isvarname('for'), isvarname(''), "
       "isvarname(3), isvarname(char(97 * ones(1, 64))))",
       "100000"},
      {"fprintf('%d', isvarname('x'), isvarname('end_'), isvarname('a b'))", "110"},
      {"a = 1; fprintf('%d %d %d\\n', exist('a'), exist('a', 'var'), exist('zeros'))", "1 1 5\n"},
      {"fprintf('%d %d\\n', exist('add3'), exist('no_such_name'))", "2 0\n"},
      {"checked_args(1); checked_args(1, 2, 3); [p, q] = checked_args(1); fprintf('%d %d\\n', p, q)",
       "1 2\n"},
      {"checked_args()", "error Korel:narginchk:notEnoughInputs: Not enough input arguments.\n"},
      {"checked_args(1, 2, 3, 4)",
       "error Korel:narginchk:tooManyInputs: Too many input arguments.\n"},
      {"[p, q, r] = checked_args(1)",
       "error Korel:nargoutchk:tooManyOutputs: Too many output arguments.\n"},
      {"narginchk(0, 1)",
       "error Korel:narginchk:notInFunction: 'narginchk' is only valid inside a function.\n"},
      {"narginchk(0.5, 1)",
       "error Korel:narginchk:badBound: The bounds given to narginchk must be whole numbers.\n"},
  };
  expect_cases(cases, KRT_TEST_COMPONENT);
}

TEST(SmallBuiltins, SizeTakingConstructorsAgree) {
  const KorelCase cases[] = {
      {"x = true(2); fprintf('%s %dx%d %d\\n', class(x), size(x), all(x(:)))", "logical 2x2 1\n"},
      {"x = false(2, 3); fprintf('%s %dx%d %d\\n', class(x), size(x), any(x(:)))",
       "logical 2x3 0\n"},
      {"x = true([1 4]); fprintf('%dx%d %d\\n', size(x), sum(x))", "1x4 4\n"},
      {"x = false(2, 1, 3); fprintf('%d ', size(x))", "2 1 3 "},
      {"fprintf('%d %d\\n', true, false)", "1 0\n"},
      {"x = zeros(3); y = zeros(3, 3); z = zeros([3 3]); fprintf('%d', isequal(x, y, z))", "1"},
      {"x = ones(2, 3, 'int8'); fprintf('%s %dx%d\\n', class(x), size(x))", "int8 2x3\n"},
      {"c = cell(2); d = cell([1 3]); fprintf('%dx%d %dx%d\\n', size(c), size(d))", "2x2 1x3\n"},
      {"x = NaN(2, 'single'); fprintf('%s %dx%d\\n', class(x), size(x))", "single 2x2\n"},
      {"NaN(2, 'int8')", "error Korel:NaN:badClass: NaN makes double or single arrays, not int8.\n"},
      {"true(2.5)", "error Korel:true:nonInteger: Size arguments of true must be integers.\n"},
      {"false('a')",
       "error Korel:false:badSize: Size arguments of false must be real numbers or one vector "
       "of them, not a 1x1 char.\n"},
  };
  expect_cases(cases);
}

// Printed through the formatter's long double path (see scripts/test-valgrind).
TEST(SmallBuiltins, NonFiniteConstantsOfAnySizePrintByName) {
  const KorelCase cases[] = {
      {"x = NaN(1, 2); y = Inf([2 1]); fprintf('%g ', x, y)", "NaN NaN Inf Inf "},
  };
  expect_cases(cases);
}

TEST(SmallBuiltins, ColonAndDeletionOnEveryClass) {
  const KorelCase cases[] = {
      {"x = {1, 2; 3, 4}; y = x(:); fprintf('%dx%d: ', size(y)); fprintf('%d ', y{:})",
       "4x1: 1 3 2 4 "},
      {"s = struct('a', {1, 2, 3}); y = s(:); fprintf('%dx%d %d\\n', size(y), y(3).a)",
       "3x1 3\n"},
      {"x = ['ab'; 'cd']; y = x(:)'; fprintf('%s %s\\n', class(y), y)", "char acbd\n"},
      {"x = int8([1 2; 3 4]); y = x(:); fprintf('%s %dx%d: ', class(y), size(y)); "
       "fprintf('%d ', y)",
       "int8 4x1: 1 3 2 4 "},
      {"x = [true false; false true]; y = x(:); fprintf('%s ', class(y)); fprintf('%d', y)",
       "logical 1001"},
      {"x = {1, 2, 3}; x(2) = []; fprintf('%dx%d: %d %d\\n', size(x), x{:})", "1x2: 1 3\n"},
      {"x = 'abcd'; x([1 3]) = []; disp(x)", "bd\n"},
      {"s = struct('a', {1, 2, 3}); s(2) = []; fprintf('%dx%d: %d %d\\n', size(s), s.a)",
       "1x2: 1 3\n"},
      {"x = int16([1 2 3]); x(logical([1 0 1])) = []; fprintf('%s %d\\n', class(x), x)",
       "int16 2\n"},
      {"x = [true false true]; x(1) = []; fprintf('%s %d%d\\n', class(x), x)", "logical 01\n"},
      {"x = uint8([1 2; 3 4]); x(:, 1) = []; fprintf('%dx%d: %d %d\\n', size(x), x)",
       "2x1: 2 4\n"},
      {"x = {1, 2; 3, 4}; x(1, :) = []; fprintf('%dx%d: %d %d\\n', size(x), x{:})",
       "1x2: 3 4\n"},
  };
  expect_cases(cases);
}

TEST(SmallBuiltins, SessionCommands) {
  const KorelCase cases[] = {
      {"x = 1; y = 2; clear x; fprintf('%d %d\\n', exist('x'), exist('y'))", "0 1\n"},
      {"x = 1; y = 2; clear; fprintf('%d %d\\n', exist('x'), exist('y'))", "0 0\n"},
      {"ab = 1; ac = 2; b = 3; clear a*; fprintf('%d%d%d\\n', exist('ab'), exist('ac'), exist('b'))",
       "001\n"},
      {"x = 1; clear all; fprintf('%d\\n', exist('x'))", "0\n"},
      {"x = 1; clear variables; clear('x'); fprintf('%d\\n', exist('x'))", "0\n"},
      {"counter(); counter(); fprintf('%d\\n', counter())", "3\n"},
      {"counter(); counter(); x = 1; clear functions; fprintf('%d %d\\n', counter(), x)", "1 1\n"},
      {"counter(); clear all; fprintf('%d\\n', counter())", "1\n"},
      {"clear x-y", "error Korel:clear:badName: 'x-y' is not a variable name or pattern.\n"},
      {"clear global",
       "error Korel:clear:notDeployable: clear global is not supported in deployed components: "
       "only variables, functions and all can be cleared.\n"},
      {"format short; format; more off; close all; disp('ok')", "ok\n"},
      {"format long",
       "error Korel:format:notDeployable: format long is not supported in deployed components: "
       "values display in the short format only.\n"},
      {"hold on",
       "error Korel:hold:notDeployable: hold is not supported in deployed components: figures "
       "are headless and have no axes to hold plots.\n"},
      {"more on",
       "error Korel:more:notDeployable: more on is not supported in deployed components: output "
       "is handed to the host and never pages.\n"},
      {"clc",
       "error Korel:clc:notDeployable: clc is not supported in deployed components: output goes "
       "to the host, which has no command window to clear.\n"},
  };
  expect_cases(cases, KRT_TEST_COMPONENT);
}

TEST(SmallBuiltins, FormatsWithoutDataPrintTheirTextOnce) {
  const KorelCase cases[] = {
      {"fprintf('[%s]\\n', '')", "[]\n"},
      {"fprintf('D[%d]x\\n')", "D[]x\n"},
      {"fprintf('a%db%sc\\n', [], '')", "abc\n"},
      {"fprintf('%5.2f|%*d|\\n', zeros(1, 0))", "||\n"},
      {"s = sprintf('none %d'); fprintf('[%s] %d\\n', s, numel(s))", "[none ] 5\n"},
      {"fprintf('%d,%d;', [1 2 3]); fprintf('\\n')", "1,2;3,\n"},
  };
  expect_cases(cases);
}
