// Instances, calls by name, native functions, errors and the dispatcher.
#include <gtest/gtest.h>

#include <thread>

#include "engine_test_support.h"
#include "krt/classes.h"
#include "krt/function_registry.h"
#include "krt/process.h"
#include "kx/scope.h"

using namespace krttest;

TEST(Engine, CallsKorelFunctionsWithSeveralInputsAndOutputs) {
  auto k = make_instance();
  Owned a = number(2), b = number(3), c = number(4);
  auto r = call(*k, "add3", 2, {a.get(), b.get(), c.get()});
  ASSERT_EQ(r.size(), 2u);
  EXPECT_EQ(kxGetScalar(r[0].get()), 9);
  EXPECT_EQ(kxGetScalar(r[1].get()), 24);

  // Fewer inputs: nargin tells the function; one output: nargout skips the product.
  r = call(*k, "add3", 1, {a.get()});
  ASSERT_EQ(r.size(), 1u);
  EXPECT_EQ(kxGetScalar(r[0].get()), 2);

  // No output wanted: the first result still comes back, as ans would.
  r = call(*k, "add3", 0, {a.get(), b.get()});
  ASSERT_EQ(r.size(), 1u);
  EXPECT_EQ(kxGetScalar(r[0].get()), 5);

  // Inputs are the caller's: a function writing to its argument does not change them.
  Owned v(kxCreateDoubleMatrix(1, 3, kxREAL));
  r = call(*k, "modify_input", 1, {v.get()});
  ASSERT_EQ(r.size(), 1u);
  EXPECT_EQ(numbers_of(r[0].get()), (std::vector<double>{99, 0, 0}));
  EXPECT_EQ(numbers_of(v.get()), (std::vector<double>{0, 0, 0}));

  EXPECT_TRUE(call(*k, "add3", 3, {a.get()}).empty());
  EXPECT_EQ(k->GetErrorState().identifier, "Korel:TooManyOutputs");
  EXPECT_TRUE(call(*k, "add3", 1, {a.get(), a.get(), a.get(), a.get()}).empty());
  EXPECT_EQ(k->GetErrorState().identifier, "Korel:TooManyInputs");
  EXPECT_TRUE(call(*k, "no_such_function", 1, {}).empty());
  EXPECT_EQ(k->GetErrorState().identifier, "Korel:UndefinedFunction");
  EXPECT_EQ(Captured::take_printed() + Captured::take_errors(), "");
}

TEST(Engine, ErrorsRecordIdentifierMessageFileAndLineAndPrintNothing) {
  auto k = make_instance();
  Owned x = number(-3);
  EXPECT_TRUE(call(*k, "fails", 0, {x.get()}).empty());
  const krt::ErrorState& e = k->GetErrorState();
  EXPECT_EQ(e.identifier, "Test:fails:negative");
  EXPECT_EQ(e.message, "Negative input -3 is not allowed.");
  ASSERT_EQ(e.stack.size(), 1u);
  EXPECT_EQ(e.stack[0].file, kComponent + "/fails.k");
  EXPECT_EQ(e.stack[0].name, "fails");
  EXPECT_EQ(e.stack[0].line, 5);
  EXPECT_STREQ(k->GetLastError(), "Negative input -3 is not allowed.\nError in fails (line 5)");
  EXPECT_EQ(Captured::take_printed() + Captured::take_errors(), "");

  // The stack as a struct array: file, name and line per frame.
  Owned stack(krt::make_stack_array(e.stack));
  ASSERT_TRUE(kxIsStruct(stack.get()));
  EXPECT_EQ(kxGetNumberOfElements(stack.get()), 1u);
  EXPECT_STREQ(kxGetFieldNameByNumber(stack.get(), 0), "file");
  EXPECT_EQ(kxGetScalar(kxGetField(stack.get(), 0, "line")), 5);

  // A later success keeps the last error; a host can set one itself.
  Owned ok = number(1);
  EXPECT_EQ(call(*k, "fails", 0, {ok.get()}).size(), 1u);
  EXPECT_EQ(k->GetErrorState().identifier, "Test:fails:negative");
  k->SetLastErrIdAndMsg("Host:said", "so");
  EXPECT_STREQ(k->GetLastError(), "so");
}

TEST(Engine, NestedCallsAcrossKorelAndNativeFunctions) {
  auto k = make_instance();
  Owned v(kxCreateDoubleMatrix(1, 3, kxREAL));
  double* p = kxGetPr(v.get());
  p[0] = 1, p[1] = 2, p[2] = 3;
  auto r = call(*k, "outer", 1, {v.get()});
  ASSERT_EQ(r.size(), 1u);
  EXPECT_EQ(kxGetScalar(r[0].get()), 19);  // sum(3 * [1 2 3]) + 1
  EXPECT_EQ(numbers_of(v.get()), (std::vector<double>{1, 2, 3}));

  // A native error inside Korel: its identifier, and the Korel frame that called it.
  EXPECT_TRUE(call(*k, "native_fails_inside", 0, {}).empty());
  const krt::ErrorState& e = k->GetErrorState();
  EXPECT_EQ(e.identifier, "Test:fail_native:always");
  EXPECT_EQ(e.message, "fail_native failed after making 4 arrays.");
  ASSERT_FALSE(e.stack.empty());
  EXPECT_EQ(e.stack[0].name, "native_fails_inside");
  EXPECT_EQ(e.stack[0].line, 4);

  // Called directly, its temporaries go too (AddressSanitizer checks the leak), also
  // from inside an outer temporary scope, whose own arrays stay.
  kx::TemporaryScope outer;
  kxArray* mine = kxCreateDoubleScalar(7);
  EXPECT_TRUE(call(*k, "fail_native", 1, {}).empty());
  EXPECT_EQ(outer.size(), 1u);
  EXPECT_EQ(kxGetScalar(mine), 7);
}

TEST(Engine, NativeResultsAreOwnedOnceAndKlfComesBeforeK) {
  auto k = make_instance();
  Owned x = number(4);
  auto r = call(*k, "identity", 1, {x.get()});
  ASSERT_EQ(r.size(), 1u);
  EXPECT_NE(r[0].get(), x.get());  // a copy, so each owner destroys its own
  EXPECT_EQ(kxGetScalar(r[0].get()), 4);

  r = call(*k, "shadowed", 1, {});
  ASSERT_EQ(r.size(), 1u);
  EXPECT_EQ(text_of(r[0].get()), "native");
  Owned which = value_of(*k, "which('shadowed')");
  EXPECT_EQ(text_of(which.get()), kComponent + "/shadowed.klf");
  EXPECT_EQ(number_of(*k, "exist('shadowed')"), 3);
  EXPECT_EQ(number_of(*k, "exist('fib', 'file')"), 2);
  EXPECT_EQ(number_of(*k, "exist('sum')"), 5);
  EXPECT_EQ(number_of(*k, "exist('first', 'dir')"), 7);
  EXPECT_EQ(number_of(*k, "exist('nothing_here')"), 0);
}

TEST(Engine, InstancesKeepTheirOwnPathsGlobalsAndActivations) {
  auto one = make_instance({kComponent + "/first"});
  auto two = make_instance({kComponent + "/second"});
  EXPECT_NE(one->GetID(), two->GetID());
  EXPECT_EQ(*reinterpret_cast<const uint32_t*>(one.get()), one->GetID());
  EXPECT_EQ(krt_get_krt(two->GetID()), two.get());

  auto r1 = call(*one, "which_one", 1, {});
  auto r2 = call(*two, "which_one", 1, {});
  ASSERT_EQ(r1.size(), 1u);
  ASSERT_EQ(r2.size(), 1u);
  EXPECT_EQ(text_of(r1[0].get()), "first");
  EXPECT_EQ(text_of(r2[0].get()), "second");

  // The path changes what a name means at once.
  EXPECT_TRUE(one->RemovePath((kComponent + "/first").c_str()));
  EXPECT_TRUE(one->AddPath((kComponent + "/second").c_str(), true));
  r1 = call(*one, "which_one", 1, {});
  ASSERT_EQ(r1.size(), 1u);
  EXPECT_EQ(text_of(r1[0].get()), "second");
  EXPECT_FALSE(one->AddPath((kComponent + "/missing").c_str(), true));
  EXPECT_FALSE(one->ChangeDirectory("/no/such/dir"));

  Owned g = number(5);
  EXPECT_TRUE(one->SetGlobal("shared_value", g.get()));
  Owned back(one->GetGlobal("shared_value"));
  ASSERT_TRUE(back);
  EXPECT_EQ(kxGetScalar(back.get()), 5);
  EXPECT_EQ(two->GetGlobal("shared_value"), nullptr);

  EXPECT_EQ(krtInstance::GetKRT(), nullptr);
  one->PushActivation();
  two->PushActivation();
  EXPECT_EQ(krtInstance::GetKRT(), two.get());
  EXPECT_TRUE(two->PopActivation());
  EXPECT_EQ(krtInstance::GetKRT(), one.get());
  std::thread([&] { EXPECT_EQ(krtInstance::GetKRT(), nullptr); }).join();
  uint32_t id = one->GetID();
  one->Detach();
  EXPECT_EQ(krtInstance::GetKRT(), nullptr);
  EXPECT_EQ(krt_get_krt(id), nullptr);
  EXPECT_TRUE(call(*one, "which_one", 1, {}).empty());
  EXPECT_FALSE(two->PopActivation());
}

namespace {
void twice(int, kxArray* plhs[], int nrhs, kxArray* prhs[]) {
  plhs[0] = kxCreateDoubleScalar(nrhs ? 2 * kxGetScalar(prhs[0]) : 0);
}
void host_table_function(int, kxArray* plhs[], int, kxArray**) {
  plhs[0] = kxCreateString("from table");
}
const krtFunctionTableEntry kHostTable[] = {{"host_table_function", host_table_function},
                                            {"sum", host_table_function},
                                            {nullptr, nullptr}};
}  // namespace

TEST(Engine, GlobalHandlesAndRegisteredTablesResolveByName) {
  auto k = make_instance();
  kxArray* r_slot[1] = {nullptr};
  // A global holding a native handle comes before everything else, even a file.
  Owned handle(kxCreateNativeFunctionHandle("fib", twice));
  ASSERT_TRUE(k->SetGlobal("fib", handle.get()));
  Owned x = number(21);
  auto r = call(*k, "fib", 1, {x.get()});
  ASSERT_EQ(r.size(), 1u);
  EXPECT_EQ(kxGetScalar(r[0].get()), 42);

  // A described table of another layout, or whose count disagrees, is refused whole.
  krtFunctionTable wrong_version{kHostTable, kKrtFunctionTableMagic, kKrtFunctionTableVersion + 1, 2};
  krtFunctionTable wrong_count{kHostTable, kKrtFunctionTableMagic, kKrtFunctionTableVersion, 3};
  EXPECT_FALSE(krt_register_extension(&wrong_version));
  EXPECT_FALSE(krt_register_extension(&wrong_count));
  EXPECT_FALSE(krt_register_extension(nullptr));
  EXPECT_FALSE(k->CallKorelFunction("host_table_function", 1, r_slot, 0, nullptr));

  krtFunctionTable described{kHostTable, kKrtFunctionTableMagic, kKrtFunctionTableVersion, 2};
  EXPECT_TRUE(krt_register_extension(&described));
  r = call(*k, "host_table_function", 1, {});
  ASSERT_EQ(r.size(), 1u);
  EXPECT_EQ(text_of(r[0].get()), "from table");
  EXPECT_EQ(number_of(*k, "sum([1 2 3])"), 6);  // a table cannot replace a built-in
}

TEST(Engine, FiguresAreHeadlessAndWaitingEndsWhenTheyClose) {
  auto k = make_instance();
  krt_wait_for_figures_to_die(k.get());  // none open: returns at once
  ASSERT_TRUE(k->Evaluate("f = figure; g = figure('Visible', 'off');"));
  std::thread closer([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_TRUE(k->Evaluate("close(f);"));
  });
  krt_wait_for_figures_to_die(k.get());
  closer.join();
  EXPECT_EQ(number_of(*k, "numel(allchild(0))"), 1);  // the invisible one is left
}

TEST(Engine, ClassManagerCountsLiveObjects) {
  auto live = [](const std::string& name) {
    for (const auto& app : krt::class_applications())
      for (const auto& c : app.classes)
        if (c.name == name) return c.live_objects;
    return -1L;
  };
  const char* fields[] = {"value"};
  kxSize dims[] = {2, 3};
  Owned objects(kxCreateObjectArray("TestWidget", 2, dims, 1, fields));
  EXPECT_EQ(live("TestWidget"), 6);
  {
    Owned copy(kxDuplicateArray(objects.get()));
    Owned shared(kxCreateSharedDataCopy(objects.get()));
    EXPECT_EQ(live("TestWidget"), 12);  // a shared copy is the same objects
    Owned bytes(kxSerialize(objects.get()));
    ASSERT_TRUE(bytes);
    Owned back(kxDeserialize(kxGetData(bytes.get()), kxGetNumberOfElements(bytes.get())));
    EXPECT_EQ(live("TestWidget"), 18);
  }
  objects.reset();
  EXPECT_EQ(live("TestWidget"), 0);
}

namespace {
int main_like(int argc, const char** argv) { return argc * 10 + (argv[0][0] == 'p' ? 1 : 0); }
}  // namespace

TEST(Engine, ProcessCallsRunMainAndMarkTheCompiler) {
  const char* argv[] = {"prog", "x"};
  EXPECT_EQ(krt_run_main(main_like, false, 2, argv), 21);
  EXPECT_EQ(krt_run_main(main_like, true, 2, argv), 21);
  EXPECT_EQ(krt_run_main(nullptr, false, 0, nullptr), -1);
  EXPECT_FALSE(krt_java_is_initialized());

  // An instance that deletes itself on detach: the registry forgets it at once.
  krtOptions options;
  options.delete_on_detach = true;
  auto* k = new krtInstance(options);
  uint32_t id = k->GetID();
  EXPECT_EQ(krt_get_krt(id), k);
  k->Detach();  // deletes k; AddressSanitizer reports a leak otherwise
  EXPECT_EQ(krt_get_krt(id), nullptr);
}
