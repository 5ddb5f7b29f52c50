#include "kclkrt/errors/message_catalog.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "korel/kclkrt.h"
#include "support/subprocess.h"
#include "ut/message.h"

namespace {

std::string captured;
int capture(const char* text) {
  captured += text;
  return static_cast<int>(std::strlen(text));
}

}  // namespace

TEST(MessageCatalog, RegistersOnFirstUseAndOnlyOnce) {
  auto r = korel::test::run_in_child([] {
    utMessageContext* ctx = utGetMessageContext();
    if (ut_get_message(ctx, kcl::KCLKRT_APP_TERMINATED) != nullptr) return 1;  // not yet registered
    kclSetInternalErrorHandler(&capture);
    kclPrintErrorMsg(kcl::KCLKRT_FILE_EMPTY);
    if (captured != "File is empty\n") return 2;

    // A table put in the catalog's place stays: neither printing nor a full start and
    // stop registers the catalog again.
    static const char* const ids[] = {"X_ONE"};
    static const char* const texts[] = {"replaced %s"};
    static const utMessageTable other = {1, kcl::kMessageTableNumber, "\1", ids, texts, "", {0, 0}};
    ut_mem_add_primary_message_table(utGetMemoryContext(), &other);
    setenv("KRTROOT", "/opt/k", 1);
    if (!kclInitializeApplication(nullptr, 0) || !kclTerminateApplication()) return 3;
    captured.clear();
    kclPrintErrorMsg(0x3C0001, "x");
    return captured == "replaced x\n" ? 0 : 4;
  });
  EXPECT_EQ(r.exit_code, 0) << r.err;
}

TEST(MessageCatalog, CodesIdentifiersAndTexts) {
  utMessageContext* ctx = utGetMessageContext();
  kcl::ensure_catalog_registered();
  int listed = 0;
  for (uint32_t code = 0x3C0001; code <= 0x3C0063; ++code)
    if (ut_get_message_id(ctx, code) != nullptr) ++listed;
  EXPECT_EQ(listed, 82);  // the other 17 positions are reserved

  EXPECT_STREQ(ut_get_message_id(ctx, 0x3C0001), "KCLKRT_WRONG_USER_DATA_KEY_TYPE");
  EXPECT_STREQ(ut_get_message_id(ctx, 0x3C005E), "KCLKRT_CLEAR_CLASSES_ERROR");
  EXPECT_EQ(ut_get_message_id(ctx, 0x3C0009), nullptr);
  EXPECT_EQ(ut_get_message_id(ctx, 0x3C0063), nullptr);
  // Reserved positions and codes of other tables give no text of the catalog's.
  EXPECT_STREQ(kcl::message_text(0x3C0013), "");
  EXPECT_EQ(kcl::message_text(0x3D0001), nullptr);

  // Texts are kept exactly: embedded quotes, doubled blanks, newlines.
  EXPECT_STREQ(kcl::message_text(kcl::KCLKRT_COMPONENT_ROOT_EXIST), "Component Root Exists.  Skipping KAR extraction...");
  EXPECT_STREQ(kcl::message_text(kcl::KCLKRT_UNKNOWN_TARGET),
               "Internal error: the component '%s' has a \"Target Type\" which the KRT\n cannot recognize. Try "
               "recompiling your application, or contacting the\n vendor from whom you obtained the application.\n "
               "Component name: '%s'");
  EXPECT_STREQ(kcl::message_text(kcl::KCLKRT_VISIBLE_FIGURES_AT_EXIT),
               "Warning: %d visible figure(s) exist at KRT termination.\n");
  EXPECT_STREQ(kcl::message_text(kcl::KCLKRT_SET_DISPATCHER_CWD), "Unable to set dispatcher current directory to: \n%s\n%s\n");
  const std::string kex = kcl::message_text(kcl::KCLKRT_NO_KEX_TARGET);
  EXPECT_EQ(kex.substr(kex.size() - 22), "\n Component name: '%s'");
}

TEST(MessageCatalog, PrintingFormatsAddsANewlineAndReportsTheLength) {
  captured.clear();
  kclSetInternalErrorHandler(&capture);
  EXPECT_EQ(kclPrintErrorMsg(kcl::KCLKRT_FILE_COPY_FAILED, "a", "b", 10, 7),
            static_cast<int>(std::strlen("Failed copying 'a' to 'b'. Should have written 10 bytes to destination "
                                         "file, but actually wrote 7 bytes\n")));
  EXPECT_EQ(captured,
            "Failed copying 'a' to 'b'. Should have written 10 bytes to destination file, but actually wrote 7 "
            "bytes\n");

  // A text longer than the shared buffer is cut, and still ends in a newline.
  captured.clear();
  std::string huge(5000, 'x');
  int length = kclPrintErrorMsg(kcl::KCLKRT_COULD_NOT_CREATE_DIR, huge.c_str());
  EXPECT_EQ(length, 2047);
  EXPECT_EQ(captured.size(), 2047u);
  EXPECT_EQ(captured.back(), '\n');
  EXPECT_EQ(captured.compare(0, 29, "Could not create directory: '"), 0);

  // Nothing is printed for a code the catalog does not have.
  captured.clear();
  EXPECT_EQ(kclPrintErrorMsg(0x3C0063), 0);
  EXPECT_LT(kclPrintErrorMsg(0x120001), 1);
  EXPECT_EQ(captured, "");
  kclSetInternalErrorHandler(nullptr);
}
