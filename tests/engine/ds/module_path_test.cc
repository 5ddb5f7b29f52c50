#include "ds/module_path.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <climits>
#include <string>

#include "ut/thread.h"

namespace {

std::string find(const char* name, const char* symbol, std::size_t size = PATH_MAX) {
  char out[PATH_MAX];
  return dsGetLoadedModuleFullPath(out, size, name, symbol) ? out : "<none>";
}

std::string moduleOf(const void* address) {
  char out[PATH_MAX];
  return dsGetCurrentModulePath(out, sizeof out, address) ? out : "<none>";
}

TEST(ModulePath, FindsLoadedModulesByNameAndSymbol) {
  const std::string ut = moduleOf(reinterpret_cast<const void*>(&ut_thread_self));
  ASSERT_TRUE(ut.ends_with("/libkorel_ut.so") && ut.find("/../") == std::string::npos) << ut;
  // The engine's functions have C++ linkage, so they are exported under mangled names.
  EXPECT_EQ(find("korel_ut", "_Z14ut_thread_selfv"), ut);
  EXPECT_EQ(find("libkorel_ut.so", nullptr, ut.size() + 1), ut);
  EXPECT_EQ(find("korel_ut", nullptr, ut.size()), "<none>");
  EXPECT_EQ(find("korel_ut", "ut_thread_self"), "<none>");
  EXPECT_TRUE(find("c", "malloc").ends_with("/libc.so.6"));
  // libstdc++ depends on libc, so a lookup through its handle alone would find malloc.
  EXPECT_EQ(find("stdc++", "malloc"), "<none>");
  for (const char* name : {"korel", "korel_u", "", static_cast<const char*>(nullptr)})
    EXPECT_EQ(find(name, nullptr), "<none>");
}

TEST(ModulePath, TheExecutableAndAddressesOutsideModules) {
  char self[PATH_MAX];
  ssize_t n = readlink("/proc/self/exe", self, sizeof self - 1);
  ASSERT_GT(n, 0);
  self[n] = '\0';
  EXPECT_EQ(find("ds_tests", nullptr), self);
  EXPECT_EQ(moduleOf(reinterpret_cast<const void*>(&moduleOf)), self);
  EXPECT_EQ(moduleOf(nullptr), "<none>");
  EXPECT_EQ(moduleOf(reinterpret_cast<const void*>(16)), "<none>");
}

}  // namespace
