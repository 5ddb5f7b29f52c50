// What a host's Java side reaches: the class loader it hands in, System.out and
// System.err, and array conversion without a Java virtual machine.
#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "korel/kclkrt.h"
#include "korel/ref_count_obj.h"
#include "krt/instance.h"
#include "krt/java_bridge.h"
#include "krt/options.h"
#include "support/captured_output.h"
#include "support/owned_array.h"

using korel::test::Captured;

namespace {

// Takes the calling thread's pending error and returns its message ("" for none).
std::string take_last_error() {
  void* err = nullptr;
  EXPECT_EQ(kclcppGetLastError(&err), 0);
  if (!err) return "";
  auto* info = static_cast<error_info*>(err);
  const char* message = error_info_get_message(info);
  std::string text = message ? message : "";
  EXPECT_EQ(ref_count_obj_release(info), 0);
  return text;
}

}  // namespace

TEST(JavaBridge, ClassLoaderIsRecordedWithTheEngine) {
  int loader = 0;
  EXPECT_TRUE(kclSetStandaloneClassLoader(&loader));
  EXPECT_EQ(krt::standalone_class_loader(), &loader);
  EXPECT_TRUE(kclSetStandaloneClassLoader(nullptr));
  EXPECT_EQ(krt::standalone_class_loader(), nullptr);
}

TEST(JavaBridge, SystemStreamsFollowTheCurrentInstanceThenTheDefaults) {
  EXPECT_EQ(kclGetJavaSystemPrintHandler(false), &kclJavaSystemOutPrint);
  EXPECT_EQ(kclGetJavaSystemPrintHandler(true), &kclJavaSystemErrPrint);

  // The current instance's own handlers, each stream to its own, null as empty text.
  krtOptions options;
  options.print_handler = &Captured::print;
  options.error_handler = &Captured::error;
  krtInstance handled(options);
  handled.PushActivation();
  EXPECT_EQ(kclJavaSystemOutPrint("out\n"), 0);
  EXPECT_EQ(kclJavaSystemErrPrint("err\n"), 0);
  EXPECT_EQ(kclJavaSystemOutPrint(nullptr), 0);
  EXPECT_EQ(Captured::take_printed(), "out\n");
  EXPECT_EQ(Captured::take_errors(), "err\n");

  // An instance without handlers of its own uses the process defaults, whose result
  // is passed back.
  static std::string default_out, default_err;
  krt::set_default_print_handlers(
      [](const char* t, void*) { return default_out += t, 11; }, nullptr,
      [](const char* t, void*) { return default_err += t, 22; }, nullptr);
  handled.SetPrintHandler(nullptr);
  handled.SetErrorHandler(nullptr);
  EXPECT_EQ(kclJavaSystemOutPrint("a"), 11);
  EXPECT_EQ(kclJavaSystemErrPrint("b"), 22);
  EXPECT_EQ(default_out, "a");
  EXPECT_EQ(default_err, "b");

  // A thread with no current instance reaches the defaults too.
  std::thread([] { EXPECT_EQ(kclJavaSystemOutPrint("c"), 11); }).join();
  EXPECT_EQ(default_out, "ac");
  krt::set_default_print_handlers(nullptr, nullptr, nullptr, nullptr);

  // With no handler anywhere, the standard streams, and the count written.
  std::thread([] {
    testing::internal::CaptureStdout();
    int out = kclJavaSystemOutPrint("to stdout");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "to stdout");
    EXPECT_EQ(out, 9);
    testing::internal::CaptureStderr();
    int err = kclJavaSystemErrPrint("to stderr!");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "to stderr!");
    EXPECT_EQ(err, 10);
  }).join();
  EXPECT_TRUE(handled.PopActivation());
}

TEST(JavaBridge, ConversionsFailWithTheReasonAsLastError) {
  korel::test::Owned array(kxCreateDoubleScalar(1));
  EXPECT_EQ(kclArrayToJavaObject(array.get()), nullptr);
  EXPECT_EQ(take_last_error(), "No Java virtual machine is available in this process.");
  int object = 0;
  EXPECT_EQ(kclJavaObjectToArray(&object), nullptr);
  EXPECT_EQ(take_last_error(), "No Java virtual machine is available in this process.");

  EXPECT_EQ(kclArrayToJavaObject(nullptr), nullptr);
  EXPECT_EQ(take_last_error(), "No array to convert to a Java object.");
  EXPECT_EQ(kclJavaObjectToArray(nullptr), nullptr);
  EXPECT_EQ(take_last_error(), "No Java object to convert to an array.");
  EXPECT_FALSE(kclcppErrorCheck());
}
