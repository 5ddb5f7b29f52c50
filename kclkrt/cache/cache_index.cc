#include "kclkrt/cache/cache_index.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <boost/date_time/posix_time/posix_time.hpp>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <locale>
#include <memory>
#include <sstream>

#include "ds/tree_size.h"
#include "kclkrt/cache/bytes_used.h"
#include "kclkrt/cache/cache_file.h"
#include "kclkrt/cache/cache_log.h"
#include "kclkrt/cache/component_name.h"
#include "ut/unique_fd.h"

namespace pt = boost::posix_time;

namespace {

constexpr const char* kTimeFormat = "%Y-%b-%d %H:%M:%S%F %z";

using format_error = kclComponentCacheIndex::format_error;

uint64_t parse_size(const std::string& line) {
  uint64_t value = 0;
  auto [end, error] = std::from_chars(line.data(), line.data() + line.size(), value);
  if (line.empty() || error != std::errc() || end != line.data() + line.size())
    throw format_error("malformed size: " + line);
  return value;
}

// A directory of its own, not a link to one elsewhere: only those are components.
bool is_real_directory(const std::string& path) {
  struct stat st;
  return ::lstat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

}  // namespace

// Streams made once with the time format: building a locale with a facet for every time
// would cost more than the rest of reading and writing the index together.
class kclComponentCacheIndex::TimeText {
 public:
  TimeText() {
    out_.imbue(std::locale(std::locale::classic(), new pt::time_facet(kTimeFormat)));
    in_.imbue(std::locale(std::locale::classic(), new pt::time_input_facet(kTimeFormat)));
  }

  std::string format(const pt::ptime& time) {
    out_.str("");
    out_ << time;
    return out_.str();
  }

  // Only what format writes is taken back: anything else (an hour of 25, trailing
  // text) is a damaged file, not a time.
  pt::ptime parse(const std::string& line) {
    in_.clear();
    in_.str(line);
    in_.exceptions(std::ios::failbit | std::ios::badbit);
    pt::ptime time;
    std::string written;
    try {
      in_ >> time;
      // A time past the last day a date can hold (9999-Dec-31 24:00:00) reads, but
      // writing it back throws.
      if (!time.is_special()) written = format(time);
    } catch (const std::exception& e) {
      in_.exceptions(std::ios::goodbit);
      throw format_error(e.what());
    }
    in_.exceptions(std::ios::goodbit);
    if (time.is_special() || written != line)
      throw format_error("malformed last-used time: " + line);
    return time;
  }

 private:
  std::ostringstream out_;
  std::istringstream in_;
};

void kclComponentCacheIndex::write_record(std::ostream& out, const component_info& info) {
  out << info.name << '\n'
      << info.directory_name << '\n'
      << info.bytes_used << '\n'
      << time_text_->format(info.last_used) << '\n';
}

std::ostream& operator<<(std::ostream& out, const kclComponentCacheIndex::component_info& info) {
  kclComponentCacheIndex::TimeText text;
  return out << info.name << '\n'
             << info.directory_name << '\n'
             << info.bytes_used << '\n'
             << text.format(info.last_used) << '\n';
}

kclComponentCacheIndex::kclComponentCacheIndex(std::string cache_directory)
    : cache_directory_(std::move(cache_directory)),
      path_(cache_directory_ + "/.krt_cache_index"),
      time_text_(std::make_unique<TimeText>()) {
  read();
  reconcile();
  write_if_needed();
}

kclComponentCacheIndex::~kclComponentCacheIndex() {
  try {
    write_if_needed();
  } catch (...) {
  }
}

pt::ptime kclComponentCacheIndex::now() { return pt::microsec_clock::universal_time(); }

void kclComponentCacheIndex::read() {
  kcl::cache_log("Reading cache index file... ");
  std::optional<std::string> text = kcl::read_cache_file(AT_FDCWD, path_);
  if (!text) {
    kcl::cache_log("File open failed for ", path_);
  } else {
    std::istringstream in(*text);
    try {
      read_records(in);
    } catch (const format_error& e) {
      // A partly read index is not trusted at all: the directories tell the truth.
      kcl::cache_log("Corrupt index file detected; clearing index and regenerating... ");
      records_.clear();
      write_needed_ = true;
    }
  }
  kcl::cache_log("Finished reading cache index file.");
}

void kclComponentCacheIndex::read_records(std::istream& in) {
  std::string name;
  while (std::getline(in, name)) {
    std::string directory, size, time;
    if (!std::getline(in, directory) || !std::getline(in, size) || !std::getline(in, time))
      throw format_error("truncated record for " + name);
    // A record naming a path outside the cache directory would have maintenance delete
    // whatever it names.
    if (!kcl::is_cache_component_name(name) || !kcl::is_cache_component_name(directory))
      throw format_error("bad component name in record: " + name);
    component_info info{name, directory, parse_size(size), time_text_->parse(time)};
    kcl::cache_log("Read cache index entry: ", info);
    if (!records_.insert(info).second) throw format_error("duplicate record: " + name);
  }
}

void kclComponentCacheIndex::reconcile() {
  auto& names = records_.get<by_name>();
  for (auto it = names.begin(); it != names.end();) {
    if (is_real_directory(cache_directory_ + "/" + it->directory_name)) {
      ++it;
      continue;
    }
    kcl::cache_log("Found an entry in the index that no longer exists in the cache.");
    kcl::cache_log("Removing obsolete component entry: ", it->name);
    it = names.erase(it);
    write_needed_ = true;
  }

  std::unique_ptr<DIR, int (*)(DIR*)> dir(::opendir(cache_directory_.c_str()), ::closedir);
  if (!dir) return;
  const auto& directories = records_.get<by_directory>();
  while (const dirent* entry = ::readdir(dir.get())) {
    std::string name = entry->d_name;
    if (kcl::parse_cache_leftover(name)) leftovers_.push_back(name);
    if (!kcl::is_cache_component_name(name) || directories.count(name) != 0) continue;
    std::string path = cache_directory_ + "/" + name;
    ut::UniqueFd component(
        ::openat(dirfd(dir.get()), name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!component) continue;  // not a directory of its own, not a component
    kcl::cache_log("Found a component that is not in the index.  Adding...");
    std::optional<uint64_t> bytes = kcl::component_bytes_used(component.get(), path);
    if (!bytes) {
      bytes = 0;
      dsTreeSizeAt(component.get(), *bytes);
    }
    component_info info{name, name, *bytes, now()};
    if (!records_.insert(info).second) continue;  // a record of that name claims another directory
    kcl::cache_log("Reconstructed component entry added to index: ", info);
    write_needed_ = true;
  }
}

const kclComponentCacheIndex::component_info& kclComponentCacheIndex::find(
    const std::string& name) const {
  const auto& names = records_.get<by_name>();
  auto it = names.find(name);
  if (it == names.end()) throw component_not_found(name);
  return *it;
}

bool kclComponentCacheIndex::contains(const std::string& name) const {
  return records_.get<by_name>().count(name) != 0;
}

void kclComponentCacheIndex::add(const component_info& info) {
  auto& names = records_.get<by_name>();
  names.erase(info.name);
  // Another name claiming the same directory loses its claim to the newer record.
  records_.get<by_directory>().erase(info.directory_name);
  records_.insert(info);
  write_needed_ = true;
}

void kclComponentCacheIndex::remove(const std::string& name) {
  if (records_.get<by_name>().erase(name) != 0) write_needed_ = true;
}

void kclComponentCacheIndex::update_last_used(const std::string& name) {
  kcl::cache_log("Updating last used time for ", name);
  auto& names = records_.get<by_name>();
  auto it = names.find(name);
  if (it == names.end()) throw component_not_found(name);
  pt::ptime time = now();
  names.modify(it, [&](component_info& info) { info.last_used = time; });
  kcl::cache_log("new last_used time is ", time_text_->format(time));
  write_needed_ = true;
}

uint64_t kclComponentCacheIndex::total_bytes_used() const {
  uint64_t total = 0;
  for (const component_info& info : records_) total += info.bytes_used;
  return total;
}

std::vector<kclComponentCacheIndex::component_info> kclComponentCacheIndex::by_last_used() const {
  const auto& times = records_.get<by_last_used_time>();
  return {times.begin(), times.end()};
}

void kclComponentCacheIndex::write_if_needed() {
  kcl::cache_log("Checking whether index file ", path_, " needs to be written...");
  if (!write_needed_) {
    kcl::cache_log("No write needed.");
    return;
  }
  kcl::cache_log("Write is needed.");
  kcl::cache_log("Writing cache index file: ", path_);
  // Written aside and renamed over the old file, so that a crash in the middle leaves
  // the previous index rather than half of the new one.
  const std::string temporary = path_ + ".new";
  std::ostringstream out;
  for (const component_info& info : records_) {
    kcl::cache_log("Writing cache index entry: ", info);
    write_record(out, info);
  }
  if (!kcl::write_cache_file(AT_FDCWD, temporary, out.str())) {
    kcl::cache_log("Could not write index file ", temporary, ": ", std::strerror(errno));
    return;
  }
  if (std::rename(temporary.c_str(), path_.c_str()) != 0) {
    kcl::cache_log("Could not write index file ", path_, ": ", std::strerror(errno));
    std::remove(temporary.c_str());
    return;
  }
  write_needed_ = false;
}
