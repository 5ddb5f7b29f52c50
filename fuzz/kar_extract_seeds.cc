// Writes the seed corpus of kar_extract into the given directory: archives of small trees
// made by this build's own kar::write_archive, stored and deflated, and a few hand-made
// ZIPs whose entries extraction must refuse, so that the fuzzer starts next to
// the paths that matter.
#include <sys/stat.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "kar/error.h"
#include "kar/writer.h"
#include "support/zip_builder.h"

namespace {

namespace fs = std::filesystem;

// --- Trees archived by kar::write_archive --------------------------------------------

void write_text(const fs::path& path, const std::string& text) {
  std::ofstream out(path, std::ios::binary);
  if (!out.write(text.data(), static_cast<std::streamsize>(text.size())) || !out.flush())
    throw std::runtime_error("cannot write " + path.string());
}

// Builds each tree below `base`; returns their names.
std::vector<std::string> make_trees(const fs::path& base) {
  fs::create_directories(base / "nested/a/b/c");
  fs::create_directories(base / "nested/empty_dir");
  write_text(base / "nested/a/b/c/deep.txt", "deep\n");
  write_text(base / "nested/a/empty_file", "");
  std::string repeated;
  for (int i = 0; i < 64; ++i) repeated += "a line that deflates well, " + std::to_string(i) + "\n";
  write_text(base / "nested/a/repeated.txt", repeated);
  write_text(base / "nested/top.bin", std::string("\x00\x01\x02\xff\xfe", 5));

  fs::create_directories(base / "one_file");
  write_text(base / "one_file/readme", "one file\n");

  fs::create_directories(base / "nothing");
  return {"nested", "one_file", "nothing"};
}

// --- Hand-made ZIPs ------------------------------------------------------------------

using Entry = korel::test::ZipEntry;

std::vector<std::pair<std::string, std::vector<Entry>>> hand_made() {
  const uint32_t file = S_IFREG | 0644, dir = S_IFDIR | 0755, link = S_IFLNK | 0777;
  return {
      {"plain", {{"dir/", "", dir}, {"dir/file", "inside\n", file}, {"top", "top\n", file}}},
      {"dotdot", {{"../x", "escaped\n", file}}},
      {"dotdot_inner", {{"d/", "", dir}, {"d/../../x", "escaped\n", file}}},
      {"absolute", {{"/abs", "absolute\n", file}}},
      {"symlink", {{"link", "../../sentinel", link}}},
      {"through_symlink", {{"link", "..", link}, {"link/x", "through\n", file}}},
      // libarchive's ZIP reader gives this one as a regular file; mutations may not.
      {"fifo", {{"fifo", "", S_IFIFO | 0644}}},
      {"file_then_dir", {{"same", "file\n", file}, {"same/", "", dir}}},
  };
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s corpus-directory\n", argv[0]);
    return 2;
  }
  const std::string corpus = argv[1];
  int status = 0;

  const char* tmp = std::getenv("TMPDIR");
  std::string pattern = std::string(tmp && *tmp ? tmp : "/tmp") + "/kar_extract_seeds.XXXXXX";
  if (!::mkdtemp(pattern.data())) {
    std::perror("cannot create a temporary directory");
    return 1;
  }
  const fs::path base = pattern;
  try {
    for (const std::string& tree : make_trees(base)) {
      for (bool compress : {false, true}) {
        std::string path = corpus + "/seed_" + tree + (compress ? "_deflated" : "_stored");
        kar::write_archive((base / tree).string(), path, kar::WriteOptions{.compress = compress});
      }
    }
  } catch (const kar::Error& error) {
    std::fprintf(stderr, "%s\n", kar::describe("cannot write a seed", error).c_str());
    status = 1;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "cannot make the seed trees: %s\n", error.what());
    status = 1;
  }
  std::error_code ignored;
  fs::remove_all(base, ignored);

  for (const auto& [name, entries] : hand_made()) {
    std::string path = corpus + "/seed_" + name;
    korel::test::ZipBuilder builder;
    for (const Entry& entry : entries) builder.add(entry);
    std::string bytes = builder.bytes();
    std::FILE* f = std::fopen(path.c_str(), "wb");
    if (!f || std::fwrite(bytes.data(), 1, bytes.size(), f) != bytes.size()) {
      std::fprintf(stderr, "cannot write the seed %s\n", path.c_str());
      status = 1;
    }
    if (f && std::fclose(f) != 0) status = 1;
  }
  return status;
}
