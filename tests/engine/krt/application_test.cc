#include "krt/application.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>


TEST(KrtApplication, InitialisersNestAndKeepTheirArguments) {
  EXPECT_THROW(fl::app::init(-1, nullptr, nullptr), std::invalid_argument);
  int before = fl::app::starts();
  {
    const char* args[] = {"-a", nullptr, "-b"};
    fl::app::init first(3, args, "test");
    EXPECT_EQ(first.arguments(), (std::vector<std::string>{"-a", "-b"}));
    {
      fl::app::init second(5, nullptr, nullptr);  // a null list is no options
      EXPECT_TRUE(second.arguments().empty());
      EXPECT_EQ(fl::app::live_initializers(), 2);
    }
    EXPECT_EQ(fl::app::live_initializers(), 1);
  }
  EXPECT_EQ(fl::app::live_initializers(), 0);
  EXPECT_EQ(fl::app::starts(), before + 2);
}

TEST(KrtApplication, ShutdownInhibitionNestsAndNeverGoesNegative) {
  krt_uninhibit_shutdown();
  EXPECT_EQ(krt_shutdown_inhibit_depth(), 0);
  krt_inhibit_shutdown();
  krt_inhibit_shutdown();
  krt_uninhibit_shutdown();
  EXPECT_EQ(krt_shutdown_inhibit_depth(), 1);
  krt_uninhibit_shutdown();
  EXPECT_EQ(krt_shutdown_inhibit_depth(), 0);
  EXPECT_FALSE(krt_is_kcc());
}
