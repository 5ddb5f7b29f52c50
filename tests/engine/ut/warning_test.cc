#include "ut/warning.h"

#include <gtest/gtest.h>

TEST(Warning, ManagersAndTheCurrentContext) {
  utWarningManager* m = utNewWarningManager(utGetMemoryContext());
  ut_set_warning_status_id(m, "korel:b", false);
  ut_set_warning_status_id(m, "korel:a", false);
  ut_set_warning_status_id(m, "korel:a", true);
  EXPECT_EQ(ut_get_warning_states(m),
            (std::vector<std::pair<std::string, bool>>{{"korel:a", true}, {"korel:b", false}}));

  ASSERT_EQ(utGetCurrentWarningManager(), nullptr);
  utWarningManager* fallback = utGetWarningContext();
  ASSERT_NE(fallback, nullptr);
  EXPECT_TRUE(ut_is_warning_enabled("korel:b"));
  utSetCurrentWarningManager(m);
  EXPECT_FALSE(ut_is_warning_enabled("korel:b"));
  EXPECT_TRUE(ut_is_warning_enabled("korel:never:set"));

  // Deleting the current manager must not leave warnings pointing at freed memory,
  // and the built-in default survives an attempt to delete it.
  utDeleteWarningManager(m);
  utDeleteWarningManager(fallback);
  EXPECT_EQ(utGetWarningContext(), fallback);
  EXPECT_TRUE(ut_is_warning_enabled("korel:b"));
}
