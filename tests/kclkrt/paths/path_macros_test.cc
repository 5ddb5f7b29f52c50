#include "kclkrt/paths/path_macros.h"

#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <optional>
#include <sstream>
#include <string>

#include "korel/kclkrt.h"
#include "support/subprocess.h"

TEST(PathMacros, LookupIgnoresCaseOfWholeNamesButTheSubstringTestDoesNot) {
  kclPathMacros m;
  EXPECT_FALSE(m.needs_expanding("/x/$KRTROOT/y"));  // empty table
  m.add("$KRTROOT", "/opt/k");
  EXPECT_TRUE(m.needs_expanding("/x/$KRTROOT/y"));
  EXPECT_FALSE(m.needs_expanding("/x/$krtroot/y"));
  EXPECT_STREQ(m.get("$krtroot"), "/opt/k");
  EXPECT_STREQ(m.expand_macro("$KRTROOT/bin", 8), "/opt/k");
  EXPECT_STREQ(m.expand_macro(std::string("$KrtRoot")), "/opt/k");
  EXPECT_EQ(m.get("$KRTROOTX"), nullptr);
  EXPECT_EQ(m.get("$KRT"), nullptr);
  EXPECT_EQ(m.expand_macro("$KRTROOT", 0), nullptr);

  m.add("$krtroot", "/new");  // same macro, new value
  EXPECT_STREQ(m.get("$KRTROOT"), "/new");
  m.remove("$KRTROOT");
  m.remove("$NOTHERE");
  EXPECT_EQ(m.get("$KRTROOT"), nullptr);
  EXPECT_TRUE(m.empty());
}

TEST(PathMacros, ExpansionReplacesWholeElements) {
  kclPathMacros m;
  m.add("$KRTROOT", "/opt/k");
  m.add("$ARCH", "linux-x86_64");

  dsPathString_ p("$KRTROOT/bin/$arch/$KRTROOTX");
  EXPECT_EQ(m.expand_path_macros(p).str(), "/opt/k/bin/linux-x86_64/$KRTROOTX");

  char buffer[64] = "/data/$KRTROOT/x";
  m.expand_path_macros(buffer, sizeof buffer);
  EXPECT_STREQ(buffer, "/data//opt/k/x");  // separators are kept as they stand

  char small[12] = "$KRTROOT/ab";
  m.expand_path_macros(small, sizeof small);  // "/opt/k/ab" fits with its terminator
  EXPECT_STREQ(small, "/opt/k/ab");
  char tight[16] = "$ARCH/x";
  m.expand_path_macros(tight, 8);  // too long for the stated capacity: left alone
  EXPECT_STREQ(tight, "$ARCH/x");
}

TEST(PathMacros, Write) {
  kclPathMacros m;
  std::ostringstream empty;
  m.write(empty);
  EXPECT_EQ(empty.str(), "\nDefined Macros:\n");
  m.add("$B", "/b");
  m.add("$a", "/a");  // table order ignores case
  std::ostringstream two;
  m.write(two);
  EXPECT_EQ(two.str(), "\nDefined Macros:\n{$a, /a}\n{$B, /b}\n");
}

namespace {

using Env = std::map<std::string, std::optional<std::string>>;

// The runtime table as filled from `env` in a fresh process, written out.
std::string runtime_table(const Env& env) {
  auto r = korel::test::run_in_child([&] {
    for (const char* name : {"KRTROOT", "KOREL", "TBE_INSTALL", "TOOLBOXKORELDIR", "TOOLBOXDEPLOYDIR"})
      unsetenv(name);
    for (const auto& [name, value] : env)
      if (value) setenv(name.c_str(), value->c_str(), 1);
    std::ostringstream out;
    kclRuntimePathMacros::getInstance().write(out);
    std::fputs(out.str().c_str(), stdout);
    return 0;
  });
  return r.out;
}

}  // namespace

TEST(RuntimePathMacros, FilledFromTheEnvironment) {
  EXPECT_EQ(runtime_table({}), "\nDefined Macros:\n");
  EXPECT_EQ(runtime_table({{"TOOLBOXKORELDIR", "/a/b/korel"}}),
            "\nDefined Macros:\n{$TOOLBOXDEPLOYDIR, /a/b/compiler}\n{$TOOLBOXKORELDIR, /a/b/korel}\n");
  EXPECT_EQ(runtime_table({{"KRTROOT", "/opt/k"}, {"TOOLBOXDEPLOYDIR", "/d"}}),
            "\nDefined Macros:\n{$KRTROOT, /opt/k}\n{$TOOLBOXDEPLOYDIR, /d}\n"
            "{$TOOLBOXKORELDIR, /opt/k/toolbox/korel}\n{$TOOLBOXPREFIX, /opt/k/toolbox}\n");
  EXPECT_EQ(runtime_table({{"KOREL", "/k/./x/.."}, {"TBE_INSTALL", "/t"}}),
            "\nDefined Macros:\n{$KRTROOT, /k}\n{$TOOLBOXDEPLOYDIR, /k/toolbox/compiler}\n"
            "{$TOOLBOXKORELDIR, /k/toolbox/korel}\n{$TOOLBOXPREFIX, /k/toolbox}\n");
  EXPECT_EQ(runtime_table({{"TBE_INSTALL", "/t"}, {"KRTROOT", ""}}),
            "\nDefined Macros:\n{$KRTROOT, /t}\n{$TOOLBOXDEPLOYDIR, /t/toolbox/compiler/krt/compiler}\n"
            "{$TOOLBOXKORELDIR, /t/toolbox/compiler/krt/korel}\n{$TOOLBOXPREFIX, /t/toolbox/compiler/krt}\n");
}

TEST(RuntimePathMacros, ExportedCallsWorkOnTheProcessTable) {
  auto r = korel::test::run_in_child([] {
    kclAddPathMacro("$MINE", "/m");
    kclAddCanonicalPathMacro("$CANON", "/c/d/../e//");
    bool ok = std::strcmp(kclGetPathMacro("$mine"), "/m") == 0 && std::strcmp(kclGetPathMacro("$CANON"), "/c/e") == 0;
    kclRemovePathMacro("$MINE");
    ok = ok && kclGetPathMacro("$MINE") == nullptr && kclGetPathMacro(nullptr) == nullptr;
    kclAddPathMacro(nullptr, "/x");
    return ok ? 0 : 1;
  });
  EXPECT_EQ(r.exit_code, 0);
}
