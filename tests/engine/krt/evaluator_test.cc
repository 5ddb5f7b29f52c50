// The compiled evaluator: anonymous functions, `end`, persistent variables, growth and
// writes in place, and what call sites remember.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>

#include "engine_test_support.h"
#include "support/korel_cases.h"

using korel::test::expect_cases;
using korel::test::KorelCase;
using korel::test::run_korel;

namespace {

TEST(Evaluator, AnonymousFunctionsCaptureWhenMadeAndCallLikeFunctions) {
  const KorelCase cases[] = {
      {"a = 10; f = @(x) x + a; a = 100; fprintf('%d\\n', f(5))", "15\n"},
      {"g = @(x, y) x * y + 1; fprintf('%d\\n', g(2, 3))", "7\n"},
      {"h = @() fprintf('hi\\n'); h()", "hi\n"},
      {"k = @(x) @(y) x + y; add3 = k(3); fprintf('%d\\n', add3(4))", "7\n"},
      {"c = {@(x) x.^2, @(x) -x}; fprintf('%d %d\\n', c{1}(4), c{2}(4))", "16 -4\n"},
      {"s.op = @(v) sum(v); fprintf('%d\\n', s.op([1 2 3]))", "6\n"},
      {"g = @(x) size(x); [m, n] = g(ones(2, 3)); fprintf('%d %d\\n', m, n)", "2 3\n"},
      {"v = [1 2 3]; f = @() v(2); v(2) = 20; fprintf('%d %d\\n', f(), v(2))", "2 20\n"},
      {"f = @(varargin) numel(varargin); fprintf('%d\\n', f(1, 'a', {}))", "3\n"},
      {"f = @(~, y) y; fprintf('%d\\n', f(1, 2))", "2\n"},
      {"f = @(x) x; f(1, 2)", "error Korel:TooManyInputs: Too many input arguments.\n"},
      {"f = @(x) x + nosuchvar; f(1)",
       "error Korel:UndefinedFunction: Undefined function or variable 'nosuchvar'.\n"},
      {"nosuchfunction(3)",
       "error Korel:UndefinedFunction: Undefined function or variable 'nosuchfunction'.\n"},
  };
  expect_cases(cases);
}

TEST(Evaluator, EndRefersToTheInnermostIndexedArray) {
  const KorelCase cases[] = {
      {"x = 1:10; fprintf('%d\\n', x(floor(end/2)))", "5\n"},
      {"x = 1:5; fprintf('%d\\n', x(min(end, 9)))", "5\n"},
      {"c = {1, [1 2 3], 'abcd'}; fprintf('%d\\n', numel(c{numel(c{end}) - 1}))", "4\n"},
      {"a = [1 2; 3 4]; fprintf('%d\\n', a(end, end - 1))", "3\n"},
      {"s.f = [4 5 6]; fprintf('%d\\n', s.f(end))", "6\n"},
      {"x = 1:4; x(end + 1) = 9; x(end) = x(end) + 1; fprintf('%d ', x); fprintf('\\n')",
       "1 2 3 4 10 \n"},
  };
  expect_cases(cases);
}

TEST(Evaluator, GrowthAndWritesInPlaceKeepValueSemantics) {
  const KorelCase cases[] = {
      {"v = []; for i = 1:5, v(end+1) = i; end; fprintf('%d ', v); fprintf('\\n')",
       "1 2 3 4 5 \n"},
      {"c = {}; for i = 1:3, c{end+1} = 2 * i; end; fprintf('%d ', c{:}); fprintf('\\n')",
       "2 4 6 \n"},
      {"t = 'ab'; t(end+1) = 'c'; fprintf('%s\\n', t)", "abc\n"},
      {"v = [1; 2]; v(end+1) = 3; fprintf('%d %d\\n', size(v))", "3 1\n"},
      {"v = int8([1 2]); v(end+1) = int8(100); fprintf('%s %d\\n', class(v), v(3))",
       "int8 100\n"},
      {"s.x = [1 2]; s.x(numel(s.x) + 1) = 7; fprintf('%d ', s.x); fprintf('\\n')",
       "1 2 7 \n"},
      {"a = [1 2 3]; b = a; b(1) = 0; fprintf('%d ', a, b); fprintf('\\n')",
       "1 2 3 0 2 3 \n"},
      {"s.a.b = {1, [5 6]}; t = s; t.a.b{2}(1) = 0; fprintf('%d ', s.a.b{2}, t.a.b{2}); "
       "fprintf('\\n')",
       "5 6 0 6 \n"},
      {"c = {1, 2}; d = c; d{1} = 9; fprintf('%d %d\\n', c{1}, d{1})", "1 9\n"},
      {"s(2).name = 'x'; s(1).name = 'y'; r = s; r(2).name = 'z'; "
       "fprintf('%s%s%s\\n', s(1).name, s(2).name, r(2).name)",
       "yxz\n"},
      {"c = {}; c{3}.f = 1; fprintf('%d %d\\n', numel(c), c{3}.f)", "3 1\n"},
      {"x = 5; x(3) = 1; fprintf('%d ', x); fprintf('\\n')", "5 0 1 \n"},
  };
  expect_cases(cases);
}

TEST(Evaluator, PersistentVariablesLastAcrossCallsOfTheirFunction) {
  const KorelCase cases[] = {
      {"counter(0); counter(); fprintf('%d\\n', counter())", "3\n"},
      {"counter(0); a = counter(); b = counter(); fprintf('%d %d\\n', a, b)", "2 3\n"},
      {"eval('persistent q')",
       "error Korel:syntaxError: Invalid Korel text at line 1, column 1: persistent "
       "declarations are only allowed in functions.\n"},
  };
  expect_cases(cases, krttest::kComponent);
}

TEST(Evaluator, AnonymousFunctionsSeeTheLocalFunctionsOfTheFileThatMadeThem) {
  const KorelCase cases[] = {
      {"f = make_adder(1); fprintf('%d\\n', f(5))", "11\n"},
  };
  expect_cases(cases, krttest::kComponent);
}

// A call site remembers the function its name resolved to until the path, the current
// directory or a directory's files change.
TEST(Evaluator, CallSitesNoticeNewFunctionFilesAndDirectories) {
  namespace fs = std::filesystem;
  const fs::path root = fs::temp_directory_path() / ("korel_callsite_" + std::to_string(::getpid()));
  fs::remove_all(root);
  fs::create_directories(root / "first");
  fs::create_directories(root / "second");
  auto write = [](const fs::path& file, const std::string& text) { std::ofstream(file) << text; };
  write(root / "caller.k", "function r = caller()\nr = which_one();\nend\n");
  write(root / "first" / "which_one.k", "function r = which_one()\nr = 1;\nend\n");
  write(root / "second" / "which_one.k", "function r = which_one()\nr = 2;\nend\n");

  auto k = krttest::make_instance({}, root.string());
  auto number = [&] { return krttest::number_of(*k, "caller()"); };
  EXPECT_EQ(number(), -12345.0) << "nothing named which_one yet";
  ASSERT_TRUE(k->AddPath((root / "second").c_str(), true));
  EXPECT_EQ(number(), 2);
  ASSERT_TRUE(k->AddPath((root / "first").c_str(), false));
  EXPECT_EQ(number(), 1) << "the path changed: the call site resolves again";
  // A file appearing in the current directory comes first from the next call on.
  write(root / "which_one.k", "function r = which_one()\nr = 3;\nend\n");
  EXPECT_EQ(number(), 3);
  ASSERT_TRUE(k->ChangeDirectory((root / "second").c_str()));
  EXPECT_EQ(krttest::number_of(*k, "which_one()"), 2);
  fs::remove_all(root);
}

}  // namespace
