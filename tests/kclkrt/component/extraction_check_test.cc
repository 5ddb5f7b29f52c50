// The cheap checks of an extraction: what counts as intact, and where native functions
// could not be loaded.
#include "kclkrt/component/extraction_check.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>

#include "support/subprocess.h"

namespace {

namespace fs = std::filesystem;

struct DataDeleter {
  void operator()(kclComponentData* data) const { kclDestroyComponentData(data); }
};
using Data = std::unique_ptr<kclComponentData, DataDeleter>;

Data data_with_path(std::vector<const char*> path) {
  return Data(kclCreateComponentData("c", nullptr, path.data(), static_cast<uint32_t>(path.size()), nullptr, 0,
                                     nullptr, 0, nullptr, 0, nullptr, 0, "key", "", nullptr, 0));
}

void write(const fs::path& path) {
  fs::create_directories(path.parent_path());
  std::ofstream(path) << "x";
}

}  // namespace

TEST(ExtractionCheck, IntactWhenEveryOwnPathDirectoryThereHoldsAFile) {
  korel::test::TempDir dir;
  const fs::path extraction = fs::path(dir.path()) / "c_krt";
  struct Case {
    const char* what;
    std::vector<const char*> path;
    std::function<void()> make;
    bool intact;
  };
  const std::vector<const char*> own = {"key", "key/sub", "$TOOLBOXKORELDIR/elmat"};
  const Case cases[] = {
      {"as extracted", own, [&] {
         write(extraction / "key/f.k");
         write(extraction / "key/sub/g.k");
       }, true},
      {"a listed directory the archive lacks", own, [&] { write(extraction / "key/f.k"); }, true},
      {"files deleted, directories kept", own,
       [&] {
         fs::create_directories(extraction / "key/sub");
         write(extraction / "key/sub/g.k");
       }, false},
      {"only a subdirectory left", {"key"}, [&] { fs::create_directories(extraction / "key/deeper"); }, false},
      {"no own directory left", own, [&] { fs::create_directories(extraction / ".korel"); }, false},
      {"no own path entries", {"$TOOLBOXKORELDIR/elmat"}, [&] { fs::create_directories(extraction); }, true},
      {"a path directory that is a link", {"key"},
       [&] {
         write(fs::path(dir.path()) / "elsewhere/f.k");
         fs::create_directories(extraction);
         fs::create_directory_symlink(fs::path(dir.path()) / "elsewhere", extraction / "key");
       },
       false},
      {"a function file that is a link", {"key"},
       [&] {
         write(fs::path(dir.path()) / "elsewhere/f.k");
         fs::create_directories(extraction / "key");
         fs::create_symlink(fs::path(dir.path()) / "elsewhere/f.k", extraction / "key/f.k");
       },
       false},
      {"a path directory that is a file", {"key"}, [&] { write(extraction / "key"); }, false},
      {"an entry leading out of the extraction", {"key", "../outside"},
       [&] {
         write(extraction / "key/f.k");
         write(fs::path(dir.path()) / "outside/f.k");
       }, true},
      {"no extraction at all", own, [] {}, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    fs::remove_all(dir.path());
    fs::create_directories(dir.path());
    c.make();
    EXPECT_EQ(kcl::extraction_intact(extraction.string(), *data_with_path(c.path)), c.intact);
  }

  // The extraction itself may not be a link either.
  fs::remove_all(dir.path());
  write(fs::path(dir.path()) / "real/key/f.k");
  fs::create_directory_symlink(fs::path(dir.path()) / "real", extraction);
  EXPECT_TRUE(kcl::extraction_intact((fs::path(dir.path()) / "real").string(), *data_with_path({"key"})));
  EXPECT_FALSE(kcl::extraction_intact(extraction.string(), *data_with_path({"key"})));
  // Native functions on a file system that runs programs are no problem.
  write(fs::path(dir.path()) / "real/key/f.klf");
  EXPECT_FALSE(kcl::native_functions_blocked((fs::path(dir.path()) / "real").string(), *data_with_path({"key"})));
}
