#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "kclkrt/errors/last_error.h"
#include "korel/kclkrt.h"
#include "korel/ref_count_obj.h"

namespace {

// Takes the calling thread's pending error, returning its message ("<none>" when there
// is none) and releasing it.
std::string take_message() {
  void* err = nullptr;
  EXPECT_EQ(kclcppGetLastError(&err), 0);
  if (err == nullptr) return "<none>";
  auto* info = static_cast<error_info*>(err);
  const char* text = error_info_get_message(info);
  std::string message = text ? text : "<null>";
  EXPECT_EQ(ref_count_obj_release(info), 0);
  return message;
}

}  // namespace

TEST(LastError, IsHandedOverOnceAndReplacedByTheNext) {
  EXPECT_EQ(kclcppGetLastError(nullptr), -1);
  EXPECT_FALSE(kclcppErrorCheck());
  EXPECT_EQ(take_message(), "<none>");

  kclcppSetLastError("first");
  EXPECT_TRUE(kclcppErrorCheck());
  // The second record replaces the first, which is released (the leak checker of the
  // sanitizer run would report it otherwise).
  kclcppSetLastError("second");
  EXPECT_EQ(take_message(), "second");
  EXPECT_FALSE(kclcppErrorCheck());
  EXPECT_EQ(take_message(), "<none>");

  kclcppSetLastError(nullptr);
  EXPECT_EQ(take_message(), "Unspecified error");
}

TEST(LastError, ThreadsKeepTheirOwnErrors) {
  kclcppSetLastError("main");
  const std::size_t pending = kcl::pending_error_count();
  std::string seen_by_other, other_own;
  std::thread other([&] {
    seen_by_other = take_message();  // main's error is not this thread's
    kclcppSetLastError("other");
    kclcppSetLastError("other again");
    other_own = take_message();
    kclcppSetLastError("left behind");
  });
  other.join();
  // Nobody can take the ended thread's error any more, so it went with the thread.
  EXPECT_EQ(kcl::pending_error_count(), pending);
  EXPECT_EQ(seen_by_other, "<none>");
  EXPECT_EQ(other_own, "other again");
  EXPECT_EQ(take_message(), "main");
}

TEST(LastError, StackTracesAreCopied) {
  std::string line0 = "at f (f.k:3)", line1 = "at g (g.k:9)";
  const char* lines[] = {line0.c_str(), line1.c_str()};
  kclcppSetLastErrorWithStackTrace("failed", lines, 2);
  line0.assign(line0.size(), '#');  // the record must not point into the caller's text

  void* err = nullptr;
  ASSERT_EQ(kclcppGetLastError(&err), 0);
  auto* info = static_cast<error_info*>(err);
  const char** trace = nullptr;
  ASSERT_EQ(error_info_get_stack_trace(info, &trace), 2);
  EXPECT_STREQ(trace[0], "at f (f.k:3)");
  EXPECT_STREQ(trace[1], "at g (g.k:9)");
  ref_count_obj_release(info);

  kclcppSetLastErrorWithStackTrace("no lines", lines, 0);
  ASSERT_EQ(kclcppGetLastError(&err), 0);
  info = static_cast<error_info*>(err);
  trace = lines;
  EXPECT_EQ(error_info_get_stack_trace(info, &trace), -1);
  EXPECT_EQ(trace, nullptr);
  ref_count_obj_release(info);
}

TEST(ErrorInfo, CreatedRecordsAndTheirCounts) {
  EXPECT_EQ(kclcppCreateError(nullptr, "x"), -1);

  void* err = nullptr;
  ASSERT_EQ(kclcppCreateError(&err, ""), 0);
  auto* empty = static_cast<error_info*>(err);
  EXPECT_EQ(error_info_get_message(empty), nullptr);
  const char* sentinel[] = {"not null"};
  const char** trace = sentinel;
  EXPECT_EQ(error_info_get_stack_trace(empty, &trace), -1);
  EXPECT_EQ(trace, nullptr);
  EXPECT_EQ(ref_count_obj_addref(empty), 2);
  EXPECT_EQ(ref_count_obj_release(empty), 1);
  EXPECT_EQ(ref_count_obj_release(empty), 0);

  ASSERT_EQ(kclcppCreateError(&err, nullptr), 0);
  auto* unspecified = static_cast<error_info*>(err);
  EXPECT_STREQ(error_info_get_message(unspecified), "Unspecified error");
  ref_count_obj_release(unspecified);
  // Creating a record leaves the thread's pending error alone.
  EXPECT_FALSE(kclcppErrorCheck());

}
