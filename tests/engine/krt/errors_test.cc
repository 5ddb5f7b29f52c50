// Errors as values: KException, error, throw, rethrow, getReport, lasterr, assert,
// warnings, and what a host sees of an uncaught error.
#include <gtest/gtest.h>

#include "engine_test_support.h"
#include "krt/error_state.h"
#include "support/korel_cases.h"

using namespace krttest;
using korel::test::expect_cases;
using korel::test::KorelCase;

namespace {

TEST(Errors, KExceptionValuesHoldIdentifierMessageStackAndCauses) {
  const KorelCase cases[] = {
      {"e = KException('A:b', 'n=%d s=%s', 3, 'x'); fprintf('%s|%s|%s\\n', class(e), e.identifier, e.message);",
       "KException|A:b|n=3 s=x\n"},
      {"e = KException('A:b', 'm'); fprintf('%d %d|%d %d|%s\\n', size(e.stack), size(e.cause), class(e.cause));",
       "0 1|0 1|cell\n"},
      {"e = KException('', 'no id %d', 1); disp(['[' e.identifier '] ' e.message]);",
       "[] no id 1\n"},
      {"fprintf('%d\\n', isa(KException('A:b', 'm'), 'KException'));", "1\n"},
      {"e = addCause(KException('A:top', 'Top.'), KException('A:low', 'Low.'));\n"
       "e = addCause(e, KException('A:two', 'Two.'));\n"
       "fprintf('%d %d %s %s %s\\n', size(e.cause), e.cause{1}.identifier, e.cause{2}.message, e.message);",
       "2 1 A:low Two. Top.\n"},
      {"KException('A:b')", "error Korel:KException:notEnoughInputs: Not enough input arguments.\n"},
      {"KException('not an id', 'm')",
       "error Korel:KException:badIdentifier: The identifier 'not an id' is not of the form "
       "'component:reason'.\n"},
      {"addCause(KException('A:b', 'm'), 5)",
       "error Korel:addCause:badType: The argument of addCause must be a KException.\n"},
      {"getReport(struct('message', 'x'))",
       "error Korel:getReport:badType: The argument of getReport must be a KException.\n"},
  };
  expect_cases(cases);
}

TEST(Errors, CatchBindsAKExceptionForEveryKindOfError) {
  const KorelCase cases[] = {
      {"try, error('A:b', 'x %d', 4); catch e, fprintf('%s|%s|%s|%d\\n', class(e), e.identifier, e.message, numel(e.stack)); end",
       "KException|A:b|x 4|0\n"},
      {"try, no_such_function(1); catch e, fprintf('%s|%s\\n', class(e), e.identifier); end",
       "KException|Korel:UndefinedFunction\n"},
      {"try, error_chain('error'); catch e\n"
       "  fprintf('%s|%s|%s|%d|%s|%d\\n', e.identifier, e.message, e.stack(1).name, e.stack(1).line, e.stack(2).name, e.stack(2).line);\n"
       "end",
       "Chain:inner|Inner failure 7.|error_chain>inner|9|error_chain|3\n"},
      {"try, error_chain('index'); catch e, fprintf('%s %s %d %d\\n', class(e), e.stack(1).name, e.stack(1).line, numel(e.stack)); end",
       "KException error_chain>inner 12 2\n"},
      {"try, error('x'); catch, disp('handled'); end", "handled\n"},
      {"try\n  try, error('In:ner', 'a'); catch e1, error('Out:er', 'b %s', e1.message); end\n"
       "catch e2\n  fprintf('%s %s\\n', e2.identifier, e2.message);\nend",
       "Out:er b a\n"},
  };
  expect_cases(cases, kComponent);
}

TEST(Errors, ErrorTakesLiteralTextFormatsStructsAndKExceptions) {
  const KorelCase cases[] = {
      {"try, error('50% done'); catch e, disp(['[' e.identifier '][' e.message ']']); end", "[][50% done]\n"},
      {"try, error('Pkg:id'); catch e, disp(['[' e.identifier '][' e.message ']']); end", "[][Pkg:id]\n"},
      {"try, error('Pkg:id', 'Value %d of %d', 2, 5); catch e, disp(['[' e.identifier '][' e.message ']']); end",
       "[Pkg:id][Value 2 of 5]\n"},
      {"try, error('Pkg:id', 'tab\\there'); catch e, disp(['[' e.identifier '][' e.message ']']); end",
       "[Pkg:id][tab\there]\n"},
      {"try, error('Not an id: %d', 3); catch e, disp(['[' e.identifier '][' e.message ']']); end",
       "[][Not an id: 3]\n"},
      {"s.message = 'From struct'; s.identifier = 'S:t';\n"
       "try, error(s); catch e, disp(['[' e.identifier '][' e.message ']']); end",
       "[S:t][From struct]\n"},
      {"try, error(KException('K:e', 'made %d', 1)); catch e, disp(['[' e.identifier '][' e.message ']']); end",
       "[K:e][made 1]\n"},
      {"s.message = ''; s.identifier = 'S:t'; error(s); error(''); error('Pkg:id', ''); disp('no error')",
       "no error\n"},
      {"disp('before'); error('Top:level', 'Stopped %s.', 'here'); disp('after')",
       "before\nerror Top:level: Stopped here.\n"},
      {"error()", "error Korel:error:notEnoughInputs: Not enough input arguments.\n"},
      {"error(42)", "error Korel:error:badType: Expected text (a char row vector), not a 1x1 double.\n"},
      {"error(struct('message', 5))", "error Korel:error:badType: The message of an error must be text.\n"},
      {"error(KException('a:b', 'm'), 2)", "error Korel:error:tooManyInputs: Too many input arguments.\n"},
  };
  expect_cases(cases);
}

TEST(Errors, ThrowStartsAStackRethrowKeepsIt) {
  const KorelCase cases[] = {
      {"try, error_chain('wrapped'); catch e, fprintf('%s %s %d\\n', e.identifier, e.stack(1).name, e.stack(1).line); end",
       "Chain:high error_chain>inner 18\n"},
      {"try, error_chain('rethrown'); catch e, fprintf('%s %d %d\\n', e.identifier, e.stack(1).line, numel(e.stack)); end",
       "Chain:kept 22 2\n"},
      {"s = struct('message', 'Old style', 'identifier', 'Old:style');\n"
       "try, rethrow(s); catch e, fprintf('%s %s %s\\n', class(e), e.identifier, e.message); end",
       "KException Old:style Old style\n"},
      {"throw(KException('U:c', 'Uncaught %d', 9))", "error U:c: Uncaught 9\n"},
      {"rethrow(5)",
       "error Korel:rethrow:badType: rethrow needs a KException or an error struct with a message field.\n"},
      {"throw(struct('message', 'x'))", "error Korel:throw:badType: The argument of throw must be a KException.\n"},
  };
  expect_cases(cases, kComponent);
}

TEST(Errors, GetReportShowsWhereAndEveryCause) {
  const KorelCase cases[] = {
      {"try, error_chain('wrapped'); catch e\n"
       "  fprintf('%s\\n---\\n', getReport(e));\n"
       "  fprintf('%d %s %s %d\\n', numel(e.cause), e.cause{1}.identifier, e.cause{1}.stack(1).name, e.cause{1}.stack(1).line);\n"
       "end",
       "High level.\nError in error_chain>inner (line 18)\n\nCaused by:\n    Low level.\n"
       "    Error in error_chain>inner (line 15)\n---\n1 Chain:low error_chain>inner 15\n"},
      {"fprintf('%s\\n', getReport(KException('A:b', 'Plain.')))", "Plain.\n"},
      {"e = addCause(KException('A:a', 'One.'), addCause(KException('A:b', 'Two.'), KException('A:c', 'Three.')));\n"
       "fprintf('%s\\n', getReport(e))",
       "One.\n\nCaused by:\n    Two.\n\n    Caused by:\n        Three.\n"},
      {"e = KException('A:a', 'Deep.');\nfor k = 1:70, e = addCause(KException('A:a', 'Deep.'), e); end",
       "error Korel:addCause:causesTooDeep: Causes nest deeper than 64 levels.\n"},
  };
  expect_cases(cases, kComponent);
}

TEST(Errors, LasterrIsTheLastErrorCaughtOrSet) {
  const KorelCase cases[] = {
      {"disp(['[' lasterr ']'])", "[]\n"},
      {"try, error('L:e', 'Caught one.'); catch, end; [m, id] = lasterr; fprintf('%s|%s\\n', m, id)",
       "Caught one.|L:e\n"},
      {"lasterr('Set by hand'); fprintf('%s\\n', lasterr)", "Set by hand\n"},
      {"lasterr('x', 'A:b'); lasterr(''); [m, id] = lasterr; disp(['[' m '][' id ']'])", "[][]\n"},
      {"lasterr('x'); old = lasterr('y'); fprintf('%s %s\\n', old, lasterr)", "x y\n"},
      {"lasterr(1)", "error Korel:lasterr:badType: Expected text (a char row vector), not a 1x1 double.\n"},
      {"[a, b, c] = lasterr", "error Korel:lasterr:tooManyOutputs: Too many output arguments.\n"},
  };
  expect_cases(cases);
}

TEST(Errors, AssertRaisesUnlessItsScalarConditionHolds) {
  const KorelCase cases[] = {
      {"assert(true); assert(1); assert(int8(3)); assert(2 > 1, 'never %d', 1); disp('passed')", "passed\n"},
      {"assert(false)", "error Korel:assert:failed: Assertion failed.\n"},
      {"assert(1 == 2, 'Literal 100%')", "error : Literal 100%\n"},
      {"assert(0, 'A:b', 'Got %d, want %d', 1, 2)", "error A:b: Got 1, want 2\n"},
      {"assert(0, 'Fmt %d', 3)", "error : Fmt 3\n"},
      {"try, error_chain('assert'); catch e, fprintf('%s|%s|%d\\n', e.identifier, e.message, e.stack(1).line); end",
       "Chain:assert|Expected more.|27\n"},
      {"assert([1 1])",
       "error Korel:assert:notLogicalScalar: The condition of assert must be a real logical or numeric scalar.\n"},
      {"assert('a')",
       "error Korel:assert:notLogicalScalar: The condition of assert must be a real logical or numeric scalar.\n"},
      {"assert(sqrt(-1))",
       "error Korel:assert:notLogicalScalar: The condition of assert must be a real logical or numeric scalar.\n"},
      {"assert(NaN)", "error Korel:assert:nanCondition: The condition of assert is NaN.\n"},
      {"assert()", "error Korel:assert:notEnoughInputs: Not enough input arguments.\n"},
  };
  expect_cases(cases, kComponent);
}

// Warnings go to the error output: this runner keeps it in line with the printed text.
// Warning states belong to the process, so every case ends with all of them on again.
std::string run_with_warnings(const char* source) {
  krtOptions options;
  options.print_handler = Captured::print;
  options.error_handler = Captured::print;
  options.deployed = true;
  krtInstance instance(options);
  Captured::take_printed();
  std::string out;
  if (!instance.Evaluate(source)) {
    out = Captured::take_printed();
    const krt::ErrorState& e = instance.GetErrorState();
    out += "error " + e.identifier + ": " + e.message + "\n";
  }
  out = Captured::take_printed() + out;
  EXPECT_TRUE(instance.Evaluate("warning('on', 'all');"));
  Captured::take_printed();
  return out;
}

TEST(Errors, WarningsPrintSwitchAndRememberTheLastOne) {
  const KorelCase cases[] = {
      {"warning('Plain %d% text')", "Warning: Plain %d% text\n"},
      {"warning('W:id', 'Value %d', 5)", "Warning: Value 5\n"},
      {"warning('off', 'W:id'); warning('W:id', 'hidden'); warning('W:other', 'shown');\n"
       "[m, id] = lastwarn; fprintf('%s|%s\\n', m, id)",
       "Warning: shown\nshown|W:other\n"},
      {"warning('off', 'W:id'); lastwarn(''); warning('W:id', 'hidden %d', 1);\n"
       "[m, id] = lastwarn; fprintf('%s|%s\\n', m, id)",
       "hidden 1|W:id\n"},
      {"warning('off', 'all'); warning('anything'); warning('on', 'W:id');\n"
       "warning('W:id', 'this one'); warning('W:x', 'not this')",
       "Warning: this one\n"},
      {"warning('off', 'W:id'); warning('on', 'all'); warning('W:id', 'back')", "Warning: back\n"},
      {"warning('off', 'W:q'); warning('query', 'W:q'); s = warning('query', 'W:q');\n"
       "fprintf('%s %s\\n', s.identifier, s.state)",
       "The state of warning 'W:q' is 'off'.\nW:q off\n"},
      {"warning('off', 'W:s'); s = warning('off', 'all'); warning('gone'); warning(s);\n"
       "warning('back'); warning('W:s', 'still off')",
       "Warning: back\n"},
      {"s = warning('off', 'W:r'); fprintf('%s\\n', s.state); warning('W:r', 'x'); warning(s); warning('W:r', 'y')",
       "on\nWarning: y\n"},
      {"s = warning; fprintf('%s %s\\n', s(1).identifier, s(1).state)", "all on\n"},
      {"warning('W:a', 'x'); lastwarn(''); [m, id] = lastwarn; disp(['[' m '][' id ']'])",
       "Warning: x\n[][]\n"},
      {"lastwarn('Set', 'W:set'); [m, id] = lastwarn; fprintf('%s %s\\n', m, id)", "Set W:set\n"},
      {"warning(5)", "error Korel:warning:badType: Expected text (a char row vector), not a 1x1 double.\n"},
      {"warning('off', 'a:b', 'c')", "error Korel:warning:tooManyInputs: Too many input arguments.\n"},
      {"warning(struct('identifier', 'all', 'state', 'maybe'))",
       "error Korel:warning:badState: A warning state is 'on' or 'off', not 'maybe'.\n"},
  };
  for (const KorelCase& c : cases)
    EXPECT_EQ(run_with_warnings(c.source), c.expected) << "source:\n" << c.source;
}

TEST(Errors, HostSeesReportIdentifierAndCausesOfAnUncaughtError) {
  auto k = make_instance();
  Owned kind = text("wrapped");
  EXPECT_TRUE(call(*k, "error_chain", 0, {kind.get()}).empty());
  EXPECT_STREQ(k->GetLastError(),
               "High level.\nError in error_chain>inner (line 18)\n\nCaused by:\n"
               "    Low level.\n    Error in error_chain>inner (line 15)");
  const krt::ErrorState& e = k->GetErrorState();
  EXPECT_EQ(e.identifier, "Chain:high");
  ASSERT_EQ(e.stack.size(), 2u);
  EXPECT_EQ(e.stack[1].name, "error_chain");
  EXPECT_EQ(e.stack[1].line, 3);
  ASSERT_EQ(e.causes.size(), 1u);
  EXPECT_EQ(e.causes[0].identifier, "Chain:low");
  EXPECT_EQ(e.causes[0].message, "Low level.");
  ASSERT_EQ(e.causes[0].stack.size(), 2u);
  EXPECT_EQ(e.causes[0].stack[0].line, 15);

  // An error a catch handled is the last error too, though the call succeeds.
  EXPECT_TRUE(k->Evaluate("try, error('C:d', 'handled'); catch, end"));
  EXPECT_EQ(k->GetErrorState().identifier, "C:d");
  EXPECT_STREQ(k->GetLastError(), "handled");
  EXPECT_EQ(Captured::take_printed() + Captured::take_errors(), "");
}

}  // namespace
