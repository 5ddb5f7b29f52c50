// A host of the runtime, as the host suites need it: the application started once per
// process, a fresh instance over the test functions per test, owned arrays, and the
// text the runtime writes to its handlers.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "korel/kclkrt.h"
#include "korel/kx.h"
#include "support/captured_output.h"
#include "support/owned_array.h"

namespace hosttest {

using korel::test::number;
using korel::test::Owned;
using korel::test::text;
using korel::test::text_of;

inline const std::string kFunctions = KCLKRT_TEST_FUNCTIONS;


using korel::test::Captured;

// The application runs for the whole process (it cannot start again once stopped);
// every test gets its own instance, made current, over the test functions.
class RuntimeHost : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    static const bool started = kclInitializeApplication(nullptr, 0);
    ASSERT_TRUE(started);
  }
  void SetUp() override {
    kclSetInternalErrorHandler(&Captured::internal);
    ASSERT_TRUE(kclInitializeInstance(&k_));
    ASSERT_TRUE(kclAddPath(k_, kFunctions.c_str()));
    kclSetPrintHandler(k_, &Captured::print);
    kclSetErrorHandler(k_, &Captured::error);
    Captured::take_internal();
  }
  void TearDown() override {
    kclPopActivation(k_);
    kclSetInternalErrorHandler(nullptr);
  }

  double scalar_result(const char* name, std::initializer_list<kxArray*> inputs) {
    kxArray* out[1] = {nullptr};
    kxArray* in[8] = {};
    int n = 0;
    for (kxArray* a : inputs) in[n++] = a;
    EXPECT_TRUE(kclFeval(k_, name, 1, out, n, in)) << kclGetLastErrorMessage(k_);
    Owned result(out[0]);
    return result ? kxGetScalar(result.get()) : -1;
  }

  krtInstance* k_ = nullptr;
};

}  // namespace hosttest
