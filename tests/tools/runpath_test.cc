// Where the binaries of the staged runtime root and the modules kcc builds look for
// libraries: the root's own beside themselves ($ORIGIN) and nowhere else, kcc's modules
// in the root that built them, compiled native functions nowhere. An empty element
// would be the working directory, any other one a place the README does not promise.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <set>

#include "support/elf_search_path.h"
#include "support/subprocess.h"

namespace {

namespace fs = std::filesystem;
using korel::test::search_path_problems;

std::vector<std::string> problems_in(const std::vector<std::string>& files,
                                     const std::set<std::string>& allowed) {
  std::vector<std::string> problems;
  for (const std::string& file : files)
    for (std::string& problem : search_path_problems(file, allowed)) problems.push_back(problem);
  return problems;
}

TEST(SearchPaths, TheStagedRootAndWhatKccBuildsLookOnlyWherePromised) {
  const std::string libs = fs::canonical(korel::test::binary_dir() + "/krt/bin/linux-x86_64");
  std::vector<std::string> staged;
  std::set<std::string> names;
  for (const auto& entry : fs::directory_iterator(libs)) {
    staged.push_back(entry.path());
    names.insert(entry.path().filename());
  }
  for (const char* name : {"libkclkrt.so", "libkorel_ut.so", "libkorel_kar.so", "kcc", "extractKAR"})
    EXPECT_TRUE(names.count(name)) << name << " is not staged";
  EXPECT_EQ(problems_in(staged, {"$ORIGIN"}), std::vector<std::string>{});

  korel::test::TempDir temp;
  const std::string dir = temp.path();
  std::ofstream(dir + "/app.k") << "function app(varargin)\ndisp(twice(2));\n";
  std::ofstream(dir + "/twice.c") << "#include \"korel/kx.h\"\n"
                                     "void klfFunction(int nlhs, kxArray* plhs[], int nrhs, kxArray* prhs[]) {\n"
                                     "  plhs[0] = kxCreateDoubleScalar(2 * kxGetScalar(prhs[0]));\n"
                                     "}\n";
  korel::test::Environment env;
  if (KCC_TEST_CC[0]) env["KCC_CC"] = KCC_TEST_CC;
  for (const std::string target : {"exe", "lib"}) {
    auto built = korel::test::run_program({KCC, "--name", "app", "--target", target, "--output",
                                           dir + "/" + target, dir + "/app.k", dir + "/twice.c"},
                                          env);
    ASSERT_EQ(built.exit_code, 0) << built.err;
  }
  auto extracted =
      korel::test::run_program({libs + "/extractKAR", dir + "/exe/app.kar", dir + "/extracted"});
  ASSERT_EQ(extracted.exit_code, 0) << extracted.err;
  std::vector<std::string> native;
  for (const auto& entry : fs::recursive_directory_iterator(dir + "/extracted"))
    if (entry.path().extension() == ".klf") native.push_back(entry.path());
  ASSERT_EQ(native.size(), 1u);

  EXPECT_EQ(problems_in({dir + "/exe/app", dir + "/lib/app.so"}, {libs}), std::vector<std::string>{});
  EXPECT_EQ(problems_in(native, {}), std::vector<std::string>{});
  // What the modules must find is there, so the check above is not vacuous.
  using Paths = std::optional<std::vector<std::string>>;
  EXPECT_EQ(korel::test::search_paths(dir + "/exe/app"), Paths({libs}));
  EXPECT_EQ(korel::test::search_paths(libs + "/libkclkrt.so"), Paths({"$ORIGIN"}));
}

}  // namespace
