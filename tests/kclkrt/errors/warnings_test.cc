#include "kclkrt/errors/warnings.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "kclkrt/errors/error_output.h"
#include "korel/kclkrt.h"
#include "support/subprocess.h"
#include "ut/warning.h"

namespace {

std::string captured;
int capture(const char* text) {
  captured += text;
  return 0;
}

bool enabled(const char* id) { return ut_get_warning_status_id(utGetWarningContext(), id); }

}  // namespace

TEST(Warnings, TheLibraryBringsAWarningManager) {
  EXPECT_NE(utGetCurrentWarningManager(), nullptr);
  kclDisableWarning("KRT:Extract");
  EXPECT_FALSE(ut_is_warning_enabled("KRT:Extract"));
  kclEnableWarning("KRT:Extract");
  EXPECT_TRUE(ut_is_warning_enabled("KRT:Extract"));
  kclDisableWarning(nullptr);  // ignored
}

TEST(Warnings, StatusItemsAreAppliedInOrderAndBadOnesReported) {
  captured.clear();
  kclSetInternalErrorHandler(&capture);
  kclEnableWarning("Test:B");
  const char* items[] = {"off:Test:A", "off TestZ", "maybe: Test:C", "on:  Test:B", "off:\tTest:B", "on:Test:D"};
  kcl::apply_warning_states(items, 6);
  kclSetInternalErrorHandler(nullptr);

  EXPECT_FALSE(enabled("Test:A"));
  EXPECT_TRUE(enabled("TestZ"));  // an item without a colon changes nothing
  EXPECT_TRUE(enabled("Test:C"));
  EXPECT_FALSE(enabled("Test:B"));  // identifiers lose their leading blanks; last item wins
  EXPECT_TRUE(enabled("Test:D"));
  EXPECT_EQ(captured,
            "The warning status string 'off TestZ' is incorrectly formatted. Warning status\n strings have "
            "this format: \n\n on | off <warning id>\n\n For example:\n\n off KRT:Extract\n"
            "Could not set warning 'Test:C' to state 'maybe: Test:C'. Valid states are: 'on' and 'off'.\n");
}

TEST(ErrorOutput, GoesToTheHandlerOrStraightToStandardError) {
  // The child leaves with _exit, which flushes nothing: only text already flushed arrives.
  auto r = korel::test::run_in_child([] {
    captured.clear();  // earlier tests in this process may have left text
    kcl::internal_error_output("first\n");
    kcl::internal_error_output(nullptr);
    kclSetInternalErrorHandler(&capture);
    kcl::internal_error_output("to handler\n");
    kclSetInternalErrorHandler(nullptr);
    kcl::internal_error_output(captured.c_str());
    _exit(0);
    return 0;
  });
  EXPECT_EQ(r.err, "first\nto handler\n");
  EXPECT_EQ(r.exit_code, 0);
  EXPECT_EQ(kclSetInternalErrorHandler(&capture), &capture);
  kclSetInternalErrorHandler(nullptr);
}
