// Functions as values: handles, their text and counts, and applying them over arrays.
#include <gtest/gtest.h>

#include "support/korel_cases.h"

using korel::test::expect_cases;
using korel::test::KorelCase;

namespace {

const std::string kComponent = KRT_TEST_COMPONENT;

}  // namespace

TEST(Functions, HandlesShowTheirTextClassAndCounts) {
  const KorelCase cases[] = {
      {"f = @(x) x+1", "f = @(x) x+1\n"},
      {"g = @sin", "g = @sin\n"},
      {"c = {@(a, b) a*b}", "c =\n  1x1 cell array\n    {@(a, b) a*b}\n"},
      {"f = @(x, y) x + y; disp(func2str(f)); disp(func2str(@zeros))", "@(x, y) x + y\nzeros\n"},
      {"f = @(x) x; fprintf('%s %d\\n', class(f), isa(f, 'function_handle'))",
       "function_handle 1\n"},
      {"g = str2func('@(x) x.^2'); fprintf('%d %s\\n', g(3), func2str(g))", "9 @(x) x.^2\n"},
      {"g = str2func('numel'); fprintf('%d %s\\n', g([1 2 3]), func2str(g))", "3 numel\n"},
      // Text made into a function captures nothing of the caller.
      {"a = 5; g = str2func('@(x) x + a'); g(1)",
       "error Korel:UndefinedFunction: Undefined function or variable 'a'.\n"},
      {"str2func('@(x) x +')", "error Korel:str2func:badText: "},
      {"str2func('1abc')",
       "error Korel:str2func:badName: '1abc' is neither a function name nor an anonymous "
       "function.\n"},
      {"s = functions(@(x) x); fprintf('%s|%s|%d\\n', s.function, s.type, isempty(s.file))",
       "@(x) x|anonymous|1\n"},
      {"s = functions(@zeros); fprintf('%s|%s|%d\\n', s.function, s.type, isempty(s.file))",
       "zeros|simple|1\n"},
      {"fprintf('%d %d %d\\n', nargin(@(a, b) 1), nargin(@(a, varargin) 1), nargin(@() 1))",
       "2 -2 0\n"},
      {"fprintf('%d %d\\n', nargout(@(x) x + 1), nargout(@(x) max(x)))", "1 -1\n"},
      {"nargin(3)", "error Korel:nargin:badType: Expected text (a char row vector), not a 1x1 double.\n"},
      {"nargin('no_such_function')",
       "error Korel:nargin:undefinedFunction: Undefined function 'no_such_function'.\n"},
      {"fprintf('%d\\n', feval(@(x) x * 2, 3))", "6\n"},
      {"f = @(x) x; f(1, 2)", "error Korel:TooManyInputs: Too many input arguments.\n"},
      {"feval(5)",
       "error Korel:feval:badFunction: The function given to feval must be a function handle "
       "or a function name.\n"},
  };
  for (const KorelCase& c : cases) {
    std::string got = korel::test::run_korel(c.source);
    // A syntax error's reason is the parser's: only its start is fixed here.
    if (std::string_view(c.expected).ends_with(": "))
      EXPECT_EQ(got.rfind(c.expected, 0), 0u) << c.source << "\n" << got;
    else
      EXPECT_EQ(got, c.expected) << "source:\n" << c.source;
  }
}

TEST(Functions, CountsOfFunctionsInFiles) {
  const KorelCase cases[] = {
      {"fprintf('%d %d\\n', nargin('add3'), nargout('add3'))", "3 2\n"},
      {"fprintf('%d %d\\n', nargin(@checked_args), nargout(@checked_args))", "-3 -1\n"},
      {"s = functions(@add3); fprintf('%s %s\\n', s.type, s.file)",
       "simple " KRT_TEST_COMPONENT "/add3.k\n"},
      {"nargin('startup')",
       "error Korel:nargin:script: 'startup' is a script, which takes no arguments.\n"},
      {"fprintf('%d\\n', feval('add3', 1, 2, 3))", "6\n"},
  };
  expect_cases(cases, kComponent);
}

TEST(Functions, CellfunAndArrayfunApplyToEachElement) {
  const KorelCase cases[] = {
      {"fprintf('%d ', cellfun(@(x) x * 2, {1, 2, 3}))", "2 4 6 "},
      {"r = cellfun(@numel, {1, [1 2], 'abc'; {}, 1, 2}); fprintf('%dx%d: ', size(r)); "
       "fprintf('%d ', r)",
       "2x3: 1 0 2 1 3 1 "},
      {"r = cellfun('isempty', {1, [], 'abc'}); fprintf('%s ', class(r)); fprintf('%d', r)",
       "logical 010"},
      {"fprintf('%d ', cellfun('length', {1, [], 'abc', zeros(4, 2)}))", "1 0 3 4 "},
      {"fprintf('%d ', cellfun('ndims', {1, zeros(2, 2, 2)}), cellfun('prodofsize', {[], 1:4}))",
       "2 3 0 4 "},
      {"fprintf('%d', cellfun('isclass', {1, 'a', true}, 'char'))", "010"},
      {"fprintf('%d ', cellfun('size', {zeros(2, 3), 1}, 2))", "3 1 "},
      {"r = cellfun('isempty', {1, []}, 'UniformOutput', false); fprintf('%d ', r{:})", "0 1 "},
      {"r = cellfun(@(x) [x x], {1, 2}, 'UniformOutput', false); disp(class(r)); "
       "fprintf('%d ', r{:})",
       "cell\n1 1 2 2 "},
      {"fprintf('%d ', cellfun(@(x, y) x + y, {1, 2}, {3, 4}))", "4 6 "},
      {"[a, b] = cellfun(@max, {[1 5 2], [7 3]}); fprintf('%d ', a, b)", "5 7 2 1 "},
      {"r = cellfun(@(x) x, {}); fprintf('%s %dx%d\\n', class(r), size(r))", "double 0x0\n"},
      {"r = cellfun(@(x) x, cell(0, 3)); fprintf('%dx%d\\n', size(r))", "0x3\n"},
      {"r = cellfun(@(x) x, cell(0, 3), 'UniformOutput', false); "
       "fprintf('%s %dx%d\\n', class(r), size(r))",
       "cell 0x3\n"},
      {"r = cellfun(@upper, {'a', 'b'}); fprintf('%s %s\\n', class(r), r)", "char AB\n"},
      {"cellfun(@disp, {1, 'x'})", "1\nx\n"},
      {"fprintf('%d ', cellfun('numel', {1:3, []}))", "3 0 "},
      {"r = arrayfun(@(x) x^2, [1 2; 3 4]); fprintf('%dx%d: ', size(r)); fprintf('%d ', r)",
       "2x2: 1 9 4 16 "},
      {"fprintf('%d ', arrayfun(@(s) s.a * 10, struct('a', {1, 2, 3})))", "10 20 30 "},
      {"fprintf('%d ', arrayfun(@(x, y) x * y, int8([2 3]), int8([4 5])))", "8 15 "},
      {"r = arrayfun(@(x) 1:x, 1:3, 'UniformOutput', false); fprintf('%d ', r{3})", "1 2 3 "},
      {"r = arrayfun(@(c) c + 0, 'ab'); fprintf('%d ', r)", "97 98 "},
  };
  expect_cases(cases);
}

TEST(Functions, StructfunAndErrorHandlers) {
  const KorelCase cases[] = {
      {"s.a = 1; s.b = 2; r = structfun(@(x) x * 3, s); fprintf('%dx%d: %d %d\\n', size(r), r)",
       "2x1: 3 6\n"},
      {"s.a = 1; s.b = 2; r = structfun(@(x) [x x], s, 'UniformOutput', false); "
       "fprintf('%d ', r.a, r.b)",
       "1 1 2 2 "},
      {"structfun(@(x) x, struct('a', {1, 2}))",
       "error Korel:structfun:notScalarStruct: structfun takes a 1x1 struct.\n"},
      {"r = cellfun(@(x) error('my:id', 'bad %d', x), {1, 2}, 'ErrorHandler', "
       "@(e, x) e.index * 10 + x); fprintf('%d ', r)",
       "11 22 "},
      {"h = @(e, x) {e.identifier, e.message}; "
       "r = arrayfun(@(x) error('my:id', 'bad %d', x), 7, 'ErrorHandler', h, "
       "'UniformOutput', false); fprintf('%s|%s\\n', r{1}{:})",
       "my:id|bad 7\n"},
      {"s.a = 1; r = structfun(@(x) x.missing, s, 'ErrorHandler', @(e, x) -e.index); disp(r)",
       "-1\n"},
  };
  expect_cases(cases);
}

TEST(Functions, ApplicationErrors) {
  const KorelCase cases[] = {
      {"cellfun(@(x) [x x], {1, 2})",
       "error Korel:cellfun:notScalarOutput: A uniform output must be one logical, numeric or "
       "char value, not a 1x2 double at index 1 (output 1). Set 'UniformOutput' to false.\n"},
      {"cellfun(@(x) {x}, {1})",
       "error Korel:cellfun:notScalarOutput: A uniform output must be one logical, numeric or "
       "char value, not a 1x1 cell at index 1 (output 1). Set 'UniformOutput' to false.\n"},
      {"cellfun(@(x) x, {1, true})",
       "error Korel:cellfun:mismatchedOutput: Mismatch in type of outputs at index 2 (output 1): "
       "logical after double. Set 'UniformOutput' to false.\n"},
      {"cellfun(@(x, y) x + y, {1, 2}, {3, 4, 5})",
       "error Korel:cellfun:sizeMismatch: All of the input arguments must be of the same size "
       "and shape.\n"},
      {"arrayfun(@(x, y) x + y, [1 2], [1; 2])",
       "error Korel:arrayfun:sizeMismatch: All of the input arguments must be of the same size "
       "and shape.\n"},
      {"cellfun(@(x) x, [1 2])",
       "error Korel:cellfun:notCell: Input 2 must be a cell array, not a double.\n"},
      {"cellfun(3, {1})",
       "error Korel:cellfun:badFunction: The function given to cellfun must be a function "
       "handle or a function name.\n"},
      {"cellfun(@(x) x, {1}, 'UniformOutput', 'no')",
       "error Korel:cellfun:badOption: 'UniformOutput' must be true or false.\n"},
      {"[a, b] = cellfun(@(x) x, {1})", "error Korel:TooManyOutputs: Too many output arguments.\n"},
      {"cellfun(@(x) error('my:id', 'inner'), {1})", "error my:id: inner\n"},
  };
  expect_cases(cases);
}
