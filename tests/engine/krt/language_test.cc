// The Korel language as programs use it: files, scripts, eval text and display.
#include <gtest/gtest.h>

#include "engine_test_support.h"

using namespace krttest;

namespace {

const kxArray* field(const kxArray* s, const char* name) {
  const kxArray* f = kxGetField(s, 0, name);
  EXPECT_NE(f, nullptr) << name;
  return f;
}

}  // namespace

TEST(Language, ProgramOfControlFlowIndexingContainersAndCalls) {
  auto k = make_instance();
  auto r = call(*k, "language", 2, {});
  ASSERT_EQ(r.size(), 2u) << k->GetLastError();
  const kxArray* s = r[0].get();
  EXPECT_EQ(kxGetScalar(field(s, "odd_sum")), 16);
  EXPECT_EQ(kxGetScalar(field(s, "while_count")), 5);
  EXPECT_EQ(numbers_of(field(s, "vector")), (std::vector<double>{10, 30, 40, 50}));
  EXPECT_EQ(numbers_of(field(s, "middle")), (std::vector<double>{30, 40}));
  EXPECT_EQ(numbers_of(field(s, "transposed")), (std::vector<double>{1, 2, 3, 4}));
  EXPECT_EQ(kxGetM(field(s, "transposed")), 2u);
  EXPECT_EQ(numbers_of(field(s, "product")), (std::vector<double>{17, 39}));
  EXPECT_EQ(numbers_of(field(s, "scaled")), (std::vector<double>{1, 2, 4}));
  EXPECT_EQ(kxGetScalar(field(s, "cell_inner")), 6);
  EXPECT_EQ(kxGetScalar(field(s, "area")), 18);
  EXPECT_EQ(text_of(field(s, "dynamic")), "widget");
  EXPECT_EQ(kxGetScalar(field(s, "struct_count")), 3);
  EXPECT_EQ(kxGetScalar(field(s, "switched")), 1);
  EXPECT_EQ(text_of(field(s, "caught")), "Test:language:thrown");
  EXPECT_EQ(text_of(field(s, "text")), "it's 4-x");
  EXPECT_EQ(kxGetScalar(field(s, "max_index")), 2);
  EXPECT_EQ(numbers_of(field(s, "pair")), (std::vector<double>{5, 6}));
  EXPECT_EQ(kxGetScalar(field(s, "count")), 3);
  const kxArray* logic = field(s, "logic");
  ASSERT_TRUE(kxIsLogical(logic));
  EXPECT_EQ(std::vector<int>(kxGetLogicals(logic), kxGetLogicals(logic) + 5),
            (std::vector<int>{0, 1, 0, 0, 1}));
  ASSERT_TRUE(kxIsCell(r[1].get()));
  EXPECT_EQ(text_of(kxGetCell(r[1].get(), 0)), "thrown here");

  Owned n = number(15);
  auto f = call(*k, "fib", 1, {n.get()});
  ASSERT_EQ(f.size(), 1u);
  EXPECT_EQ(kxGetScalar(f[0].get()), 610);
}

TEST(Language, UnsuppressedResultsAreDisplayedThroughThePrintHandler) {
  auto k = make_instance();
  Captured::take_printed();
  ASSERT_TRUE(k->Evaluate("x = 3\ny = 'hi';\n1 + 1\nx"));
  EXPECT_EQ(Captured::take_printed(), "x = 3\nans = 2\nx = 3\n");
  ASSERT_TRUE(k->Evaluate("disp('plain'); fprintf('%d|%s\\n', 7, 'seven');"));
  EXPECT_EQ(Captured::take_printed(), "plain\n7|seven\n");
  ASSERT_TRUE(k->Evaluate("fprintf(2, 'to errors\\n');"));
  EXPECT_EQ(Captured::take_errors(), "to errors\n");
}

TEST(Language, EvalTextErrorsAndScripts) {
  auto k = make_instance();
  // Syntax errors say where; runtime errors name the function and line.
  EXPECT_FALSE(k->Evaluate("x = (1 + ;"));
  EXPECT_EQ(k->GetErrorState().identifier, "Korel:syntaxError");
  EXPECT_NE(k->GetErrorState().message.find("line 1"), std::string::npos);
  EXPECT_FALSE(k->Evaluate("broken(1)"));
  EXPECT_EQ(k->GetErrorState().identifier, "Korel:syntaxError");
  EXPECT_EQ(k->GetErrorState().message.rfind("Invalid Korel text in '" + kComponent +
                                                 "/broken.k' at line 3, column ",
                                             0),
            0u);
  ASSERT_EQ(k->GetErrorState().stack.size(), 1u);
  EXPECT_EQ(k->GetErrorState().stack[0].line, 3);
  EXPECT_FALSE(k->Evaluate("y = undefined_thing + 1;"));
  EXPECT_EQ(k->GetErrorState().message, "Undefined function or variable 'undefined_thing'.");
  EXPECT_FALSE(k->Evaluate("z = [1 2] + [1 2 3];"));
  EXPECT_EQ(k->GetErrorState().identifier, "Korel:sizeMismatch");

  // eval with a value, eval(try, catch), feval by name and by handle.
  EXPECT_EQ(number_of(*k, "2 ^ 10"), 1024);
  ASSERT_TRUE(k->Evaluate("eval('error(''boom'')', 'recovered = 1;');"));
  EXPECT_EQ(number_of(*k, "recovered"), 1);
  EXPECT_EQ(number_of(*k, "feval('add3', 1, 2, 3)"), 6);
  EXPECT_EQ(number_of(*k, "feval(@add3, 4)"), 4);
  ASSERT_TRUE(k->Evaluate("h = @fib; v = h(10);"));
  EXPECT_EQ(number_of(*k, "v"), 55);

  // A script runs in its caller's workspace; globals are shared with functions.
  ASSERT_TRUE(k->Evaluate("startup"));
  EXPECT_EQ(number_of(*k, "startup_local"), 42);
  auto g = call(*k, "uses_global", 1, {});
  ASSERT_EQ(g.size(), 1u);
  EXPECT_EQ(text_of(g[0].get()), "startup");
  EXPECT_FALSE(k->Evaluate("startup(1)"));
  EXPECT_EQ(k->GetErrorState().identifier, "Korel:scriptAsFunction");

  // Deep recursion is an error, not a crash.
  EXPECT_FALSE(k->Evaluate("deep(1)"));
  EXPECT_EQ(k->GetErrorState().identifier, "Korel:recursionLimit");
  EXPECT_EQ(k->GetErrorState().stack.size(), 256u);
}

TEST(Language, ScalarUpdatesInPlaceNeverReachCopies) {
  auto k = make_instance();
  ASSERT_TRUE(k->Evaluate("a = 5; b = a; a = a + 1; c = {}; for i = 1:3, c{i} = i * 2; end"))
      << k->GetLastError();
  EXPECT_EQ(number_of(*k, "b"), 5);
  EXPECT_EQ(number_of(*k, "a"), 6);
  Owned c = value_of(*k, "[c{:}]");
  ASSERT_TRUE(c);
  EXPECT_EQ(numbers_of(c.get()), (std::vector<double>{2, 4, 6}));
  // A global updated in place is the same global everywhere.
  ASSERT_TRUE(k->Evaluate("global g; g = 1; g = g * 10;"));
  Owned g(k->GetGlobal("g"));
  EXPECT_EQ(kxGetScalar(g.get()), 10);
  // A host's shared copy of a global keeps its value when Korel updates the global.
  ASSERT_TRUE(k->Evaluate("g = g + 1;"));
  EXPECT_EQ(kxGetScalar(g.get()), 10);
  EXPECT_EQ(number_of(*k, "-a / 4 + 2 * 3"), 4.5);
  EXPECT_EQ(number_of(*k, "for j = 3:-1:1, last = j; end; last"), -12345.0);  // not an expression
  ASSERT_TRUE(k->Evaluate("for j = 3:-1:1, last = j; end"));
  EXPECT_EQ(number_of(*k, "last"), 1);
}
