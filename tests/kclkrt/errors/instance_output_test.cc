// Catalogued messages sent to an instance's handlers, and raised as Korel errors.
#include <gtest/gtest.h>

#include <string>

#include "kclkrt/errors/instance_output.h"
#include "kclkrt/errors/message_catalog.h"
#include "korel/kclkrt.h"
#include "krt/instance.h"
#include "kx/error.h"

namespace {

std::string internal_text, print_text, error_text;
int to_internal(const char* t) { return internal_text += t, 0; }
int to_print(const char* t) { return print_text += t, 0; }
int to_error(const char* t) { return error_text += t, 0; }

}  // namespace

TEST(InstanceOutput, HandlersOrTheInternalErrorOutput) {
  kclSetInternalErrorHandler(&to_internal);
  krtOptions options;
  krtInstance quiet(options);
  options.print_handler = &to_print;
  options.error_handler = &to_error;
  krtInstance handled(options);

  const std::string dir_text = "Could not create directory: '/d'\n";
  EXPECT_EQ(kcl::print_to_print_handler(&handled, kcl::KCLKRT_COULD_NOT_CREATE_DIR, "/d"),
            static_cast<int>(dir_text.size()));
  EXPECT_EQ(print_text, dir_text);
  EXPECT_EQ(kcl::print_to_error_handler(&handled, kcl::KCLKRT_COULD_NOT_CREATE_DIR, "/d"),
            static_cast<int>(dir_text.size()));
  EXPECT_EQ(error_text, dir_text);
  EXPECT_EQ(internal_text, "");

  // Without handlers, or without an instance, both go to the internal error output:
  // never to standard output.
  kcl::print_to_print_handler(&quiet, kcl::KCLKRT_COULD_NOT_CREATE_DIR, "/p");
  kcl::print_to_error_handler(nullptr, kcl::KCLKRT_COULD_NOT_CREATE_DIR, "/e");
  EXPECT_EQ(internal_text, "Could not create directory: '/p'\nCould not create directory: '/e'\n");

  // A code outside the catalog prints nothing.
  EXPECT_LT(kcl::print_to_print_handler(&handled, 0x3D0001), 1);
  EXPECT_EQ(print_text, dir_text);
  kclSetInternalErrorHandler(nullptr);
}

TEST(InstanceOutput, RaisedErrorsCarryIdentifierAndMessage) {
  try {
    kcl::raise_catalogued_error("Korel:getkrtuserdata:BadKeyType", kcl::KCLKRT_WRONG_USER_DATA_KEY_TYPE, "cell");
    FAIL() << "raise returned";
  } catch (const kx::KorelError& e) {
    EXPECT_EQ(e.identifier(), "Korel:getkrtuserdata:BadKeyType");
    EXPECT_STREQ(e.what(),
                 "Wrong type of data used as KRT user data key. Keys must be strings. \n Actual key type: 'cell'.");
  }
}
