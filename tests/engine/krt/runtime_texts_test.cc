// The texts the runtime itself evaluates in an instance, run as they stand.
#include <gtest/gtest.h>

#include "engine_test_support.h"

using namespace krttest;

namespace {
const char* kStartupCheck =
    "if (exist('startup','file') == 2) ||...\n   (exist('startup','file') == 6)\n  startup\nend\n";
}

TEST(RuntimeTexts, StartupCheckRunsAStartupScriptFoundOnThePath) {
  // startup.k lives in the component directory; the instance starts elsewhere and has
  // that directory on its path.
  auto k = make_instance({kComponent}, "/");
  ASSERT_TRUE(k->Evaluate(kStartupCheck)) << k->GetLastError();
  EXPECT_EQ(number_of(*k, "startup_local"), 42);
  Owned g(k->GetGlobal("started_by"));
  ASSERT_TRUE(g);
  EXPECT_EQ(text_of(g.get()), "startup");

  // Without one, the check does nothing.
  auto bare = make_instance({}, "/");
  ASSERT_TRUE(bare->Evaluate(kStartupCheck)) << bare->GetLastError();
  EXPECT_EQ(bare->GetGlobal("started_by"), nullptr);
}

TEST(RuntimeTexts, FigureQueriesCountVisibleAndInvisibleFigures) {
  auto k = make_instance();
  auto count = [&](const char* visible) {
    std::string query = std::string("findobj(allchild(0), 'flat', 'Type', 'figure', 'visible', '") +
                        visible + "');";
    Owned v = value_of(*k, query);
    return v ? static_cast<long>(kxGetNumberOfElements(v.get())) : -1L;
  };
  EXPECT_EQ(count("off"), 0);
  EXPECT_EQ(count("on"), 0);
  ASSERT_TRUE(k->Evaluate("figure; figure; figure('Visible', 'off');"));
  EXPECT_EQ(count("on"), 2);
  EXPECT_EQ(count("off"), 1);
  ASSERT_TRUE(k->Evaluate("close all"));
  EXPECT_EQ(count("on"), 0);
  EXPECT_EQ(count("off"), 0);
}

TEST(RuntimeTexts, WarningQueryOffRestoreAndJavaClassPath) {
  auto k = make_instance();
  const char* id = "Korel:javaclasspath:jarAlreadySpecified";
  Owned query = text("query"), off = text("off"), name = text(id);
  auto state = call(*k, "warning", 1, {query.get(), name.get()});
  ASSERT_EQ(state.size(), 1u);
  EXPECT_EQ(text_of(kxGetField(state[0].get(), 0, "state")), "on");
  EXPECT_EQ(call(*k, "warning", 0, {off.get(), name.get()}).size(), 1u);

  // Adding a jar twice warns, unless that warning is off, as it is now.
  const char* jars[] = {"/opt/app/a.jar", "/opt/app/b.jar"};
  Owned cell(kxCreateCellMatrix(1, 2));
  for (int i = 0; i < 2; ++i) kxSetCell(cell.get(), i, kxCreateString(jars[i]));
  Owned end = text("-end");
  Captured::take_errors();
  ASSERT_EQ(call(*k, "javaaddpath", 0, {cell.get(), end.get()}).size(), 1u);
  ASSERT_EQ(call(*k, "javaaddpath", 0, {cell.get(), end.get()}).size(), 1u);
  EXPECT_EQ(Captured::take_errors(), "");
  EXPECT_EQ(number_of(*k, "numel(javaclasspath)"), 2);

  // Restoring the queried state switches the warning back on.
  ASSERT_EQ(call(*k, "warning", 0, {state[0].get()}).size(), 1u);
  ASSERT_EQ(call(*k, "javaaddpath", 0, {cell.get(), end.get()}).size(), 1u);
  EXPECT_NE(Captured::take_errors().find("a.jar"), std::string::npos);

  // which finds files, built-ins and variables.
  Owned fib = text("fib");
  auto w = call(*k, "which", 1, {fib.get()});
  ASSERT_EQ(w.size(), 1u);
  EXPECT_EQ(text_of(w[0].get()), kComponent + "/fib.k");
  EXPECT_EQ(text_of(value_of(*k, "which('disp')").get()), "built-in (disp)");
  Captured::take_printed();
  ASSERT_TRUE(k->Evaluate("which nowhere_to_be_found"));
  EXPECT_EQ(Captured::take_printed(), "'nowhere_to_be_found' not found.\n");
}
