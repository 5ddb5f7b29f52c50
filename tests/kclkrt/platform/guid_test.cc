// GUIDs in registry text form, random GUIDs, and registration, which has nothing to do
// on this platform.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "korel/kclkrt.h"

namespace {

bool same(const kclGUID& a, const kclGUID& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

const kclGUID kSample = {0x0123ABCDu, 0x4567u, 0x89EFu, {0xFE, 0xDC, 0x01, 0x23, 0x45, 0x67, 0x89, 0xAB}};

}  // namespace

TEST(GUID, TextRoundTripInEitherCaseWithOrWithoutBraces) {
  char text[39];
  ASSERT_TRUE(kclGUIDToString(&kSample, text, sizeof text));
  EXPECT_STREQ(text, "{0123ABCD-4567-89EF-FEDC-0123456789AB}");
  kclGUID back{};
  ASSERT_TRUE(kclStringToGUID(text, &back));
  EXPECT_TRUE(same(back, kSample));

  for (const char* form : {"0123abcd-4567-89ef-fedc-0123456789ab", "{0123abCD-4567-89eF-FEdc-0123456789aB}"}) {
    kclGUID parsed{};
    EXPECT_TRUE(kclStringToGUID(form, &parsed)) << form;
    EXPECT_TRUE(same(parsed, kSample)) << form;
  }

  // Too small a buffer is left as it was.
  char small[38];
  std::memset(small, 'x', sizeof small);
  EXPECT_FALSE(kclGUIDToString(&kSample, small, sizeof small));
  EXPECT_EQ(small[0], 'x');
}

TEST(GUID, MalformedTextIsRefusedAndLeavesTheGUIDAlone) {
  const char* const malformed[] = {
      "",
      "{0123ABCD-4567-89EF-FEDC-0123456789AB",    // open brace only
      "{0123ABCD-4567-89EF-FEDC-0123456789A}",    // one digit short
      "0123ABCD-4567-89EF-FEDC-0123456789ABC",    // one digit long
      "{0123ABCD-4567-89EF-FEDC-0123456789AB}x",  // trailing text
      "0123ABCG-4567-89EF-FEDC-0123456789AB",     // not hex
      "0123ABC-D4567-89EF-FEDC-0123456789AB",     // dash moved
      "0123ABCD+4567-89EF-FEDC-0123456789AB",     // no dash
      "0123ABCD-4567-89EF-FE-C-0123456789AB",     // dash for a digit
  };
  for (const char* text : malformed) {
    kclGUID guid = kSample;
    EXPECT_FALSE(kclStringToGUID(text, &guid)) << text;
    EXPECT_TRUE(same(guid, kSample)) << text;
  }
}

TEST(GUID, CreatedGUIDsAreRandomVersion4) {
  EXPECT_FALSE(kclCreateGUID(nullptr));
  kclGUID a, b;
  ASSERT_TRUE(kclCreateGUID(&a));
  ASSERT_TRUE(kclCreateGUID(&b));
  EXPECT_FALSE(same(a, b));
  for (const kclGUID& g : {a, b}) {
    EXPECT_EQ(g.data3 >> 12, 4);
    EXPECT_EQ(g.data4[0] & 0xC0, 0x80);
    char text[39];
    ASSERT_TRUE(kclGUIDToString(&g, text, sizeof text));
    EXPECT_EQ(text[15], '4');  // the version digit, as the text shows it
    kclGUID back{};
    ASSERT_TRUE(kclStringToGUID(text, &back));
    EXPECT_TRUE(same(back, g));
  }
}

TEST(Registration, SucceedsWithoutARegistry) {
  EXPECT_EQ(kclRegisterServer("/opt/app/libapp.so", &kSample, "App", "App.Class", "App.Class.1", "Both"), 0);
  EXPECT_EQ(kclUnregisterServer(&kSample, "App.Class", "App.Class.1"), 0);
  EXPECT_EQ(kclRegisterKorelCOMComponent("/opt/app/libapp.so", &kSample, &kSample, 1, 0, "App", "App.Class.1"), 0);
  EXPECT_EQ(kclUnregisterKorelCOMComponent(&kSample, &kSample, 1, 0, "App.Class.1"), 0);
}
