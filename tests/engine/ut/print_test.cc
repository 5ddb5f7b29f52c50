#include "ut/print.h"

#include <gtest/gtest.h>

TEST(Print, RedirectsNestAndNeverGoNegative) {
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  EXPECT_EQ(utPrintf("out %d,", 1), 6);
  {
    utRedirectOutToErr outer;
    {
      utRedirectOutToErr inner;
      utPrintf("inner,");
    }
    utPrintf("outer,");
  }
  utPrintf("out 2,");
  // An extra undo must not make the next redirect ineffective.
  utStreamUtilities::undoRedirectOutToErr();
  {
    utRedirectOutToErr once;
    utPrintf("again,");
  }
  EXPECT_FALSE(utStreamUtilities::isOutRedirectedToErr());
  std::string err = testing::internal::GetCapturedStderr();
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "out 1,out 2,");
  EXPECT_EQ(err, "inner,outer,again,");
}
