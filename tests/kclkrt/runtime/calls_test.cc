// Calling Korel and native functions through the exported interface, as a host that
// sees only the public headers does.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "kclkrt/runtime/host_support.h"

using hosttest::Captured;
using hosttest::kFunctions;
using hosttest::number;
using hosttest::Owned;
using hosttest::text;
using hosttest::text_of;

namespace {

class Calls : public hosttest::RuntimeHost {};

// Reports the array library's error mode as the called code sees it.
void report_error_mode(int, kxArray* plhs[], int, kxArray*[]) { plhs[0] = kxCreateDoubleScalar(kxGetErrorMode()); }

// Doubles its one input; registered by the host under a name a file also has.
void host_doubles(int, kxArray* plhs[], int nrhs, kxArray* prhs[]) {
  plhs[0] = kxCreateDoubleScalar(nrhs > 0 ? 2 * kxGetScalar(prhs[0]) : 0);
}

Owned cell_row(std::initializer_list<double> values, bool as_column = false) {
  Owned cell(as_column ? kxCreateCellMatrix(values.size(), 1) : kxCreateCellMatrix(1, values.size()));
  kxSize i = 0;
  for (double v : values) kxSetCell(cell.get(), i++, kxCreateDoubleScalar(v));
  return cell;
}

}  // namespace

TEST_F(Calls, FevalDeliversOrDiscardsResultsAndGuardsTheErrorMode) {
  Owned x = number(7);
  kxArray* in[1] = {x.get()};

  // One output asked for: the caller's slot gets it.
  kxArray* out[3] = {nullptr, nullptr, nullptr};
  ASSERT_TRUE(kclFeval(k_, "three_results", 3, out, 1, in));
  EXPECT_EQ(kxGetScalar(out[0]), 7);
  EXPECT_EQ(kxGetScalar(out[1]), 14);
  EXPECT_EQ(kxGetScalar(out[2]), 21);
  kclFreeArrayList(3, out);
  EXPECT_EQ(out[0], nullptr);

  // None asked for: what the function returns anyway is discarded, not put in the
  // caller's slot (the caller may not even have one).
  kxArray* untouched = number(1).release();
  kxArray* slot[1] = {untouched};
  ASSERT_TRUE(kclFeval(k_, "answer", 0, slot, 0, nullptr));
  EXPECT_EQ(slot[0], untouched);
  EXPECT_TRUE(kclFeval(k_, "answer", 0, nullptr, 0, nullptr));
  kxDestroyArray(untouched);
  // The internal call hands it over instead.
  kxArray* left[1] = {nullptr};
  ASSERT_TRUE(kclInternalFeval(k_, "answer", 0, left, 0, nullptr));
  Owned answer(left[0]);
  ASSERT_NE(answer, nullptr);
  EXPECT_EQ(kxGetScalar(answer.get()), 42);

  // The calls through kclFeval run with the error mode set, unless a caller further
  // out set it already; it is restored afterwards.
  ASSERT_TRUE(kclRegisterExternalFunction(k_, "report_error_mode", report_error_mode));
  EXPECT_EQ(scalar_result("report_error_mode", {}), -1);
  EXPECT_EQ(kxGetErrorMode(), 0);
  kxArray* mode[1] = {nullptr};
  ASSERT_TRUE(kclInternalFeval(k_, "report_error_mode", 1, mode, 0, nullptr));
  EXPECT_EQ(kxGetScalar(mode[0]), 0);
  kclFreeArrayList(1, mode);
  kxSetErrorMode(5);
  EXPECT_EQ(scalar_result("report_error_mode", {}), 5);
  EXPECT_EQ(kxGetErrorMode(), 5);
  kxSetErrorMode(0);

  // The input list is the caller's: kclKexFeval works on its own copy.
  Owned a = number(2), b = number(3);
  kxArray* pair[2] = {a.get(), b.get()};
  kxArray* sum[1] = {nullptr};
  ASSERT_TRUE(kclKexFeval(k_, "sum_inputs", 1, sum, 2, pair));
  EXPECT_EQ(kxGetScalar(sum[0]), 5);
  EXPECT_EQ(pair[0], a.get());
  EXPECT_EQ(pair[1], b.get());
  kclFreeArrayList(1, sum);

  // A null handle means the current instance; with none current the call fails.
  EXPECT_EQ(kclGetActiveKRT(), k_);
  EXPECT_EQ(kclGetActiveID(), kclGetID(k_));
  kxArray* via_current[1] = {nullptr};
  ASSERT_TRUE(kclInternalFeval(nullptr, "sum_inputs", 1, via_current, 1, in));
  EXPECT_EQ(kxGetScalar(via_current[0]), 7);
  kclFreeArrayList(1, via_current);
  ASSERT_TRUE(kclPopActivation(k_));
  EXPECT_EQ(kclGetActiveID(), 0u);
  EXPECT_FALSE(kclInternalFeval(nullptr, "sum_inputs", 1, via_current, 1, in));
  EXPECT_TRUE(kclPushActivation(k_));
}

TEST_F(Calls, CompiledFunctionConventionsPackAndSpreadArguments) {
  Owned first = number(10);
  auto count_of = [&](kxArray* last, int nin, double* last_value = nullptr) {
    kxArray* n = nullptr;
    kxArray* tail = nullptr;
    kxArray* args[4] = {reinterpret_cast<kxArray*>(&n), reinterpret_cast<kxArray*>(&tail), first.get(), last};
    EXPECT_TRUE(kclKlfVFeval(k_, "count_inputs", 2, 2, nin, args)) << kclGetLastErrorMessage(k_);
    Owned owned_n(n), owned_tail(tail);
    if (last_value && tail) *last_value = kxGetScalar(tail);
    return n ? kxGetScalar(n) : -1.0;
  };

  // A trailing row cell spreads into further inputs; a null one is dropped; a column
  // gives only its first element; any other array stays one input.
  Owned row = cell_row({1, 2, 3});
  double last = 0;
  EXPECT_EQ(count_of(row.get(), -2, &last), 4);
  EXPECT_EQ(last, 3);
  EXPECT_EQ(count_of(nullptr, -2, &last), 1);
  EXPECT_EQ(last, 10);
  Owned column = cell_row({5, 6, 7}, /*as_column=*/true);
  EXPECT_EQ(count_of(column.get(), -2, &last), 2);
  EXPECT_EQ(last, 5);
  Owned plain = number(8);
  EXPECT_EQ(count_of(plain.get(), -2, &last), 2);
  EXPECT_EQ(last, 8);
  // Without the list flag a cell is one input like any other.
  EXPECT_EQ(count_of(row.get(), 2), 2);
  // The cell's own elements are untouched by the call.
  EXPECT_EQ(kxGetScalar(kxGetCell(row.get(), 0)), 1);

  // A negative output count packs the surplus into the last slot.
  Owned x = number(1);
  kxArray* all = nullptr;
  kxArray* args1[2] = {reinterpret_cast<kxArray*>(&all), x.get()};
  ASSERT_TRUE(kclKlfVFeval(k_, "three_results", 3, -1, 1, args1));
  Owned packed(all);
  ASSERT_TRUE(kxIsCell(all));
  ASSERT_EQ(kxGetNumberOfElements(all), 3u);
  EXPECT_EQ(kxGetScalar(kxGetCell(all, 2)), 3);

  kxArray* a = nullptr;
  kxArray* rest = nullptr;
  ASSERT_TRUE(kclKlfFeval(k_, "three_results", 3, -2, 1, &a, &rest, x.get()));
  Owned owned_a(a), owned_rest(rest);
  EXPECT_EQ(kxGetScalar(a), 1);
  ASSERT_EQ(kxGetNumberOfElements(rest), 2u);
  EXPECT_EQ(kxGetScalar(kxGetCell(rest, 0)), 2);
  EXPECT_EQ(kxGetScalar(kxGetCell(rest, 1)), 3);

  // A slot that holds an array has it destroyed before the new result goes in (the
  // sanitizer run sees a leak otherwise); results past the slots are freed.
  kxArray* occupied = kxCreateString("old");
  ASSERT_TRUE(kclKlfFeval(k_, "three_results", 3, 1, 1, &occupied, x.get()));
  Owned refilled(occupied);
  EXPECT_EQ(kxGetScalar(occupied), 1);

  // A failed call delivers nothing: the slots keep what they held.
  Owned negative = number(-1);
  kxArray* kept = kxCreateString("kept");
  Owned owned_kept(kept);
  EXPECT_FALSE(kclKlfFeval(k_, "fails_deep", 1, 1, 1, &kept, negative.get()));
  EXPECT_EQ(kept, owned_kept.get());
  // With no output wanted, nothing is delivered even into a slot.
  kxArray* spare = nullptr;
  ASSERT_TRUE(kclKlfFeval(k_, "answer", 0, 1, 0, &spare));
  EXPECT_EQ(spare, nullptr);

  // Native functions take the same conventions.
  kxArray* total = nullptr;
  kxArray* count = nullptr;
  Owned spread = cell_row({1, 2, 3, 4});
  ASSERT_TRUE(kclKlfFeval(k_, "sum_inputs", 2, 2, -2, &total, &count, x.get(), spread.get()));
  Owned owned_total(total), owned_count(count);
  EXPECT_EQ(kxGetScalar(total), 11);
  EXPECT_EQ(kxGetScalar(count), 5);
}

TEST_F(Calls, GlobalsAndHostFunctions) {
  Owned value = number(3.5);
  ASSERT_TRUE(kclSetGlobal(k_, "shared_value", value.get()));
  kxArray* read = nullptr;
  ASSERT_TRUE(kclGetGlobal(k_, "shared_value", &read));
  Owned owned_read(read);
  EXPECT_EQ(kxGetScalar(read), 3.5);

  kxArray* missing = value.get();  // must be overwritten with null
  EXPECT_FALSE(kclGetGlobal(k_, "never_set", &missing));
  EXPECT_EQ(missing, nullptr);
  EXPECT_FALSE(kclSetGlobal(k_, "x", nullptr));
  EXPECT_FALSE(kclGetGlobal(k_, nullptr, &read));

  // A host function comes before a file of the same name, by name and from Korel code.
  ASSERT_TRUE(kclRegisterExternalFunction(k_, "answer", host_doubles));
  Owned twenty_one = number(21);
  EXPECT_EQ(scalar_result("answer", {twenty_one.get()}), 42);
  Owned call_text = text("answer(5) + 1");
  EXPECT_EQ(scalar_result("eval", {call_text.get()}), 11);
  EXPECT_FALSE(kclRegisterExternalFunction(k_, "answer", nullptr));
}

TEST_F(Calls, FailuresLeaveTheMessageAndStack) {
  Owned negative = number(-4);
  kxArray* in[1] = {negative.get()};
  EXPECT_FALSE(kclFeval(k_, "fails_deep", 0, nullptr, 1, in));
  // Nothing is printed on the way: the host decides what to show.
  EXPECT_EQ(Captured::take_errors(), "");
  EXPECT_EQ(Captured::take_internal(), "");

  const std::string message = kclGetLastErrorMessage(k_);
  EXPECT_EQ(message, "Input -4 is negative.\nError in fails_deep>check (line 8)");
  EXPECT_EQ(std::string(kclGetLastErrorCode(k_)), message);
  const char* id = nullptr;
  const char* text_of_last = nullptr;
  EXPECT_EQ(kclGetLastErrIdAndMsg(&id, &text_of_last), 1);
  EXPECT_STREQ(id, "Test:failsDeep:negative");
  EXPECT_STREQ(text_of_last, "Input -4 is negative.");

  char** lines = nullptr;
  ASSERT_EQ(kclGetStackTrace(k_, &lines), 2);
  const std::string file = kFunctions + "/fails_deep.k";
  EXPECT_EQ(std::string(lines[0]), "file " + file + " name fails_deep>check line at 8");
  EXPECT_EQ(std::string(lines[1]), "file " + file + " name fails_deep line at 3");
  EXPECT_EQ(kclFreeStackTrace(&lines, 2), 1);
  EXPECT_EQ(lines, nullptr);
  EXPECT_EQ(kclFreeStackTrace(nullptr, 2), 0);

  // An error raised by the host has no stack.
  kclSetLastErrIdAndMsg(k_, "Host:set", "Set by the host.");
  EXPECT_STREQ(kclGetLastErrorMessage(k_), "Set by the host.");
  EXPECT_EQ(kclGetStackTrace(k_, &lines), 0);
  EXPECT_EQ(lines, nullptr);

  // A function that does not exist fails the same way.
  kxArray* none[1] = {nullptr};
  EXPECT_FALSE(kclFeval(k_, "no_such_function", 1, none, 0, nullptr));
  EXPECT_NE(std::string(kclGetLastErrorMessage(k_)).find("no_such_function"), std::string::npos);
}

TEST_F(Calls, PathDirectoryAndWhich) {
  const std::string path = kclGetInstancePath(k_);
  EXPECT_EQ(path.substr(path.size() - kFunctions.size()), kFunctions);

  char where[4353];
  ASSERT_TRUE(kclWhich(k_, "three_results", where, sizeof where));
  EXPECT_EQ(std::string(where), kFunctions + "/three_results.k");
  ASSERT_TRUE(kclWhich(k_, "sum_inputs", where, sizeof where));
  EXPECT_EQ(std::string(where), kFunctions + "/sum_inputs.klf");
  char small[6];
  ASSERT_TRUE(kclWhich(k_, "three_results", small, sizeof small));
  EXPECT_EQ(std::string(small), kFunctions.substr(0, 5));
  // No room is no failure: the call is made and nothing is copied.
  std::memcpy(small, "xxxxx", sizeof small);
  EXPECT_TRUE(kclWhich(k_, "three_results", small, 0));
  EXPECT_EQ(std::string(small), "xxxxx");
  EXPECT_FALSE(kclWhich(k_, "three_results", small, -1));

  // Off the path, the functions are found again once the current directory is theirs.
  ASSERT_TRUE(kclRemovePath(k_, kFunctions.c_str()));
  EXPECT_EQ(std::string(kclGetInstancePath(k_)).find(kFunctions), std::string::npos);
  EXPECT_FALSE(kclRemovePath(k_, kFunctions.c_str()));
  kxArray* out[1] = {nullptr};
  EXPECT_FALSE(kclFeval(k_, "answer", 1, out, 0, nullptr));
  ASSERT_TRUE(kclChangeDirectory(k_, kFunctions.c_str()));
  EXPECT_EQ(std::string(kclGetInstanceCWD(k_)), kFunctions);
  EXPECT_EQ(scalar_result("answer", {}), 42);
  EXPECT_FALSE(kclChangeDirectory(k_, (kFunctions + "/no_such_directory").c_str()));
  EXPECT_FALSE(kclAddPath(k_, (kFunctions + "/no_such_directory").c_str()));
  EXPECT_EQ(std::string(kclGetInstanceCWD(k_)), kFunctions);
}

TEST_F(Calls, HandlersReceiveTheInstancesOutput) {
  ASSERT_TRUE(kclFeval(k_, "speak", 0, nullptr, 0, nullptr));
  EXPECT_EQ(Captured::take_printed(), "hello from Korel\n");
  EXPECT_EQ(Captured::take_errors(), "Warning: Careful now.\n");

  // Handlers can be changed while the instance lives.
  kclSetPrintHandler(k_, &Captured::error);
  ASSERT_TRUE(kclFeval(k_, "speak", 0, nullptr, 0, nullptr));
  EXPECT_EQ(Captured::take_errors(), "hello from Korel\nWarning: Careful now.\n");
}

TEST_F(Calls, NullHandlesFailWithoutReachingTheEngine) {
  kxArray* out[1] = {nullptr};
  char buf[16];
  char** lines = nullptr;
  EXPECT_EQ(kclGetID(nullptr), 0u);
  EXPECT_FALSE(kclPushActivation(nullptr));
  EXPECT_FALSE(kclPopActivation(nullptr));
  EXPECT_FALSE(kclSetGlobal(nullptr, "x", out[0]));
  EXPECT_FALSE(kclGetGlobal(nullptr, "x", out));
  EXPECT_FALSE(kclRegisterExternalFunction(nullptr, "x", host_doubles));
  EXPECT_FALSE(kclWhich(nullptr, "x", buf, sizeof buf));
  EXPECT_FALSE(kclAddPath(nullptr, "/"));
  EXPECT_FALSE(kclRemovePath(nullptr, "/"));
  EXPECT_FALSE(kclChangeDirectory(nullptr, "/"));
  EXPECT_FALSE(kclAddPath(k_, nullptr));
  EXPECT_EQ(kclGetStackTrace(nullptr, &lines), 0);
  EXPECT_EQ(kclGetLastErrorMessage(nullptr), nullptr);
  EXPECT_EQ(kclGetLastErrorCode(nullptr), nullptr);
  kclSetPrintHandler(nullptr, &Captured::print);
  kclSetLastErrIdAndMsg(nullptr, "a:b", "c");
  kclWaitForFiguresToDie(nullptr);
  EXPECT_FALSE(kclGetKRTVersion(nullptr));
  EXPECT_EQ(Captured::take_internal(), "");

  // The two text queries say what went wrong.
  EXPECT_EQ(kclGetInstancePath(nullptr), nullptr);
  EXPECT_EQ(kclGetInstanceCWD(nullptr), nullptr);
  EXPECT_EQ(Captured::take_internal(),
            "Getting Instance Path: Invalid KRT handle\nGetting Instance CWD: Invalid KRT handle\n");

  unsigned version = 0;
  ASSERT_TRUE(kclGetKRTVersion(&version));
  EXPECT_EQ(version, 0x10000u);
  EXPECT_EQ(kclGetMaxPathLen(), 4353);
  EXPECT_EQ(kclGetKCCTargetType(true), 1);
  EXPECT_EQ(kclGetKCCTargetType(false), 0);
  EXPECT_TRUE(kclIsStandaloneMode());
}

// Several threads call at once, on one shared instance and on instances of their own:
// calls are serialised inside, each gets its own results, and each instance keeps its
// own last error. Run under ThreadSanitizer by `make test-tsan`.
TEST_F(Calls, ThreadsCallAtOnceAndKeepTheirResultsAndErrors) {
  constexpr int kThreads = 4, kRounds = 50;
  std::vector<std::string> problems(kThreads);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      krtInstance* mine = nullptr;
      if (!kclInitializeInstance(&mine) || !kclAddPath(mine, kFunctions.c_str())) {
        problems[t] = "no instance";
        return;
      }
      for (int round = 0; round < kRounds && problems[t].empty(); ++round) {
        const double x = t * 1000 + round;
        Owned input = number(x);
        kxArray* in[1] = {input.get()};
        kxArray* out[3] = {nullptr, nullptr, nullptr};
        if (!kclFeval(k_, "three_results", 3, out, 1, in) || kxGetScalar(out[1]) != 2 * x ||
            kxGetScalar(out[2]) != 3 * x)
          problems[t] = "shared instance, round " + std::to_string(round);
        kclFreeArrayList(3, out);

        Owned negative = number(-x - 1);
        kxArray* bad[1] = {negative.get()};
        const std::string expected = "Input " + std::to_string(static_cast<int>(-x - 1)) + " is negative.";
        const char* message = nullptr;
        if (kclFeval(mine, "fails_deep", 0, nullptr, 1, bad) ||
            !(message = kclGetLastErrorMessage(mine)) || std::string(message).rfind(expected, 0) != 0)
          problems[t] = "own instance, round " + std::to_string(round) + ": " + (message ? message : "");
      }
      kclPopActivation(mine);
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (int t = 0; t < kThreads; ++t) EXPECT_EQ(problems[t], "") << "thread " << t;
}
