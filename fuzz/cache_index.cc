// libFuzzer target for the component cache's index file. Each input becomes the
// .krt_cache_index of an otherwise empty cache directory, beside a directory for every
// directory line that can name one, and an index is made there. Reading must either take
// the file as it stands (the index then holds exactly its records and the file is left
// alone) or throw it away and rebuild the index from the directories. Either way no
// exception may escape, no record may name a path outside the cache, and what the index
// writes must read back as an equal index without being written again. Anything else
// aborts and is reported.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "kclkrt/cache/cache_index.h"
#include "kclkrt/cache/component_name.h"

namespace {

namespace fs = std::filesystem;
using Index = kclComponentCacheIndex;
using Record = kclComponentCacheIndex::component_info;

[[noreturn]] void fail(const std::string& what) {
  std::fprintf(stderr, "cache_index: %s\n", what.c_str());
  std::abort();
}

std::string read_text(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) fail("cannot read " + path);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void write_text(const std::string& path, const std::string& text) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  if (!out.write(text.data(), static_cast<std::streamsize>(text.size())) || !out.flush())
    fail("cannot write " + path);
}

ino_t inode_of(const std::string& path) {
  struct stat st;
  if (::stat(path.c_str(), &st) != 0) fail("cannot stat " + path + ": " + std::strerror(errno));
  return st.st_ino;
}

// The lines as std::getline hands them out: a last line without '\n' still counts.
std::vector<std::string> lines_of(std::string_view text) {
  std::vector<std::string> lines;
  std::size_t start = 0;
  while (start < text.size()) {
    std::size_t end = text.find('\n', start);
    if (end == std::string_view::npos) end = text.size();
    lines.emplace_back(text.substr(start, end - start));
    start = end + 1;
  }
  return lines;
}

// Decimal digits only, within 64 bits: what a size line may hold.
bool parse_size(const std::string& line, uint64_t& value) {
  if (line.empty()) return false;
  value = 0;
  for (char c : line) {
    if (c < '0' || c > '9') return false;
    uint64_t digit = static_cast<uint64_t>(c - '0');
    if (value > (UINT64_MAX - digit) / 10) return false;
    value = value * 10 + digit;
  }
  return true;
}

// Judged here independently of the reader: a name that is empty, hidden, or holds a
// path separator or a NUL could make maintenance touch something else than a component.
bool stays_inside(const std::string& name) {
  return !name.empty() && name.front() != '.' && name.find('/') == std::string::npos &&
         name.find('\0') == std::string::npos;
}

std::string visible(const std::string& text) {
  std::string out;
  for (unsigned char c : text) {
    if (c >= ' ' && c < 127 && c != '\\') {
      out += static_cast<char>(c);
    } else {
      char hex[8];
      std::snprintf(hex, sizeof hex, "\\x%02X", c);
      out += hex;
    }
  }
  return out;
}

// The record's four lines, as operator<< writes them.
std::vector<std::string> lines_of(const Record& record) {
  std::ostringstream out;
  out << record;
  return lines_of(out.str());
}

bool same(const Record& a, const Record& b) {
  return a.name == b.name && a.directory_name == b.directory_name &&
         a.bytes_used == b.bytes_used && a.last_used == b.last_used;
}

std::vector<Record> by_name(std::vector<Record> records) {
  std::sort(records.begin(), records.end(),
            [](const Record& a, const Record& b) { return a.name < b.name; });
  return records;
}

// The file the index writes for these records: one record after another, by name.
std::string written_form(const std::vector<Record>& records) {
  std::ostringstream out;
  for (const Record& record : by_name(records)) out << record;
  return out.str();
}

// <root>/cache, emptied and made again for every input.
class Scratch {
 public:
  Scratch() {
    // Memory rather than disk unless TMPDIR says otherwise: the index is renamed over
    // its old file at every input, and on disk that flushes it.
    const char* tmp = std::getenv("TMPDIR");
    std::string base = tmp && *tmp ? tmp : ::access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
    std::string pattern = base + "/cache_index_fuzz.XXXXXX";
    if (!::mkdtemp(pattern.data())) fail(std::string("cannot create a scratch directory: ") +
                                         std::strerror(errno));
    root_ = pattern;
    cache_ = root_ + "/cache";
    index_ = cache_ + "/.krt_cache_index";
  }

  const std::string& cache() const { return cache_; }
  const std::string& index() const { return index_; }

  void reset() const {
    std::error_code error;
    fs::remove_all(cache_, error);
    if (error || !fs::create_directory(cache_, error))
      fail("cannot make " + cache_ + " afresh: " + error.message());
  }

  void remove_all() const {
    std::error_code ignored;
    fs::remove_all(root_, ignored);
  }

 private:
  std::string root_, cache_, index_;
};

const Scratch& scratch() {
  static const Scratch* instance = [] {
    auto* made = new Scratch;
    std::atexit([] { scratch().remove_all(); });
    return made;
  }();
  return *instance;
}

// An accepted file: the index holds exactly its records, each as the file spells it
// (a size may carry leading zeros, a time has one spelling only).
void check_matches_file(const Index& index, const std::vector<std::string>& lines,
                        const std::string& input) {
  if (lines.size() % 4 != 0) fail("a file with a partial record was accepted: " + visible(input));
  if (index.size() != lines.size() / 4) fail("the index lost or gained records: " + visible(input));
  for (std::size_t i = 0; i < lines.size(); i += 4) {
    const std::string& name = lines[i];
    if (!index.contains(name)) fail("the record of " + visible(name) + " is missing");
    const Record& record = index.find(name);
    uint64_t size = 0;
    if (!parse_size(lines[i + 2], size))
      fail("a malformed size was accepted: " + visible(lines[i + 2]));
    std::vector<std::string> written = lines_of(record);
    if (written.size() != 4) fail("a record is not written as four lines: " + visible(name));
    if (record.directory_name != lines[i + 1] || record.bytes_used != size ||
        written[3] != lines[i + 3])
      fail("the record of " + visible(name) + " differs from the file: " + visible(input));
  }
}

// A refused file: the index is rebuilt from the directories alone, and each of them, all
// empty, is one record of its own name.
void check_rebuilt(const std::vector<Record>& records, const std::set<std::string>& directories,
                   const std::string& input) {
  std::set<std::string> names;
  for (const Record& record : records) {
    if (record.name != record.directory_name || record.bytes_used != 0)
      fail("a rebuilt record is not its directory's: " + visible(record.name));
    names.insert(record.name);
  }
  if (names != directories)
    fail("the rebuilt index does not hold the cache's directories: " + visible(input));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string input(reinterpret_cast<const char*>(data), size);
  const Scratch& s = scratch();
  s.reset();
  write_text(s.index(), input);

  // A directory for every directory line that can name one, so that an accepted file
  // survives reconciliation unchanged.
  const std::vector<std::string> lines = lines_of(input);
  std::set<std::string> directories;
  bool all_made = true;
  for (std::size_t i = 1; i < lines.size(); i += 4) {
    if (!kcl::is_cache_component_name(lines[i])) continue;
    if (::mkdir((s.cache() + "/" + lines[i]).c_str(), 0755) == 0 || errno == EEXIST)
      directories.insert(lines[i]);
    else
      all_made = false;  // too long a name, say: reconciliation drops its record
  }

  const ino_t before = inode_of(s.index());
  std::vector<Record> records;
  try {
    Index index(s.cache());
    records = index.by_last_used();
    for (const Record& record : records)
      if (!stays_inside(record.name) || !stays_inside(record.directory_name))
        fail("a record names a path outside the cache: " + visible(record.directory_name));
    if (index.write_needed()) fail("the index was not written: " + visible(input));
    const bool kept = inode_of(s.index()) == before && read_text(s.index()) == input;
    if (all_made) {
      if (kept)
        check_matches_file(index, lines, input);
      else
        check_rebuilt(records, directories, input);
    }
    if (kept && !records.empty()) {
      // Rewriting an unchanged record makes the index write the form of its own.
      index.add(records.front());
      index.write_if_needed();
      if (index.write_needed()) fail("the index could not be written");
    }
  } catch (const std::exception& e) {
    fail(std::string("making the index threw: ") + e.what() + "; file: " + visible(input));
  }

  // Whatever the index wrote, or kept, read back is the same index and is left as it is.
  const std::string written = read_text(s.index());
  if (written != written_form(records))
    fail("the index file is not the records one after another: " + visible(written));
  const ino_t after = inode_of(s.index());
  try {
    Index again(s.cache());
    std::vector<Record> reread = by_name(again.by_last_used());
    std::vector<Record> expected = by_name(records);
    if (reread.size() != expected.size() ||
        !std::equal(reread.begin(), reread.end(), expected.begin(), same))
      fail("the index read back differs from the one written: " + visible(written));
    if (again.write_needed() || inode_of(s.index()) != after)
      fail("an index the index wrote was written again: " + visible(written));
  } catch (const std::exception& e) {
    fail(std::string("reading back threw: ") + e.what() + "; file: " + visible(written));
  }
  return 0;
}
