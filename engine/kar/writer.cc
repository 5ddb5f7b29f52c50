#include "kar/writer.h"

#include <archive.h>
#include <archive_entry.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <vector>

#include "kar/error.h"
#include "ut/unique_fd.h"

namespace kar {

namespace {

namespace fs = std::filesystem;

struct SourceEntry {
  std::string name;  // relative to the source, '/'-separated
  fs::path path;
  bool directory;
};

std::vector<SourceEntry> collect(const std::string& source) {
  std::error_code ec;
  if (!fs::is_directory(source, ec)) throw Error("", "'" + source + "' is not a directory");
  std::vector<SourceEntry> entries;
  fs::recursive_directory_iterator it(source, fs::directory_options::none, ec);
  for (; !ec && it != fs::recursive_directory_iterator(); it.increment(ec)) {
    fs::file_status status = it->symlink_status(ec);
    if (ec) break;
    std::string name = it->path().lexically_relative(source).generic_string();
    if (fs::is_directory(status))
      entries.push_back({name, it->path(), true});
    else if (fs::is_regular_file(status))
      entries.push_back({name, it->path(), false});
    else
      throw Error(name, "only regular files and directories can be archived");
  }
  if (ec) throw Error("", "cannot read the tree '" + source + "': " + ec.message());
  std::sort(entries.begin(), entries.end(),
            [](const SourceEntry& a, const SourceEntry& b) { return a.name < b.name; });
  return entries;
}

struct ArchiveWriteDeleter {
  void operator()(archive* a) const { archive_write_free(a); }
};
struct EntryDeleter {
  void operator()(archive_entry* e) const { archive_entry_free(e); }
};

// The temporary file the archive is written to; removed unless renamed into place.
class TemporaryFile {
 public:
  explicit TemporaryFile(const std::string& final_name) : name_(final_name + ".XXXXXX") {
    fd_.reset(::mkstemp(name_.data()));
    if (!fd_) throw Error("", with_errno("cannot create '" + name_ + "'", errno));
    ::fchmod(fd_.get(), 0644);
  }
  ~TemporaryFile() {
    if (!name_.empty()) ::unlink(name_.c_str());
  }
  int fd() const { return fd_.get(); }
  void rename_to(const std::string& final_name) {
    if (fd_.close() != 0) throw Error("", with_errno("cannot write '" + final_name + "'", errno));
    if (std::rename(name_.c_str(), final_name.c_str()) != 0)
      throw Error("", with_errno("cannot rename into '" + final_name + "'", errno));
    name_.clear();
  }

 private:
  std::string name_;
  ut::UniqueFd fd_;
};

void check(archive* a, int status, const std::string& entry) {
  if (status < ARCHIVE_WARN) {
    const char* text = archive_error_string(a);
    throw Error(entry, text ? text : "archive write error");
  }
}

void write_entry(archive* a, const SourceEntry& source, std::vector<char>& buffer) {
  ut::UniqueFd file;
  struct stat st;
  if (source.directory) {
    if (::stat(source.path.c_str(), &st) != 0) throw Error(source.name, with_errno("cannot stat", errno));
  } else {
    file.reset(::open(source.path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    if (!file || ::fstat(file.get(), &st) != 0) throw Error(source.name, with_errno("cannot read", errno));
    if (!S_ISREG(st.st_mode)) throw Error(source.name, "only regular files can be archived");
  }
  std::unique_ptr<archive_entry, EntryDeleter> entry(archive_entry_new());
  archive_entry_set_pathname(entry.get(), source.name.c_str());
  archive_entry_set_filetype(entry.get(), source.directory ? AE_IFDIR : AE_IFREG);
  archive_entry_set_perm(entry.get(), st.st_mode & 0755);
  archive_entry_set_mtime(entry.get(), st.st_mtim.tv_sec, st.st_mtim.tv_nsec);
  archive_entry_set_size(entry.get(), source.directory ? 0 : st.st_size);
  check(a, archive_write_header(a, entry.get()), source.name);
  if (source.directory) return;

  int64_t remaining = st.st_size;
  while (remaining > 0) {
    ssize_t got = ::read(file.get(), buffer.data(), buffer.size());
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) throw Error(source.name, got < 0 ? with_errno("cannot read", errno) : "the file shrank while archived");
    if (archive_write_data(a, buffer.data(), static_cast<size_t>(got)) != got) check(a, ARCHIVE_FATAL, source.name);
    remaining -= got;
  }
  check(a, archive_write_finish_entry(a), source.name);
}

}  // namespace

void write_archive(const std::string& source, const std::string& archive_path,
                   const WriteOptions& options) {
  std::vector<SourceEntry> entries = collect(source);
  TemporaryFile output(archive_path);
  std::unique_ptr<archive, ArchiveWriteDeleter> writer(archive_write_new());
  if (!writer) throw std::bad_alloc();
  archive* a = writer.get();
  check(a, archive_write_set_format_zip(a), "");
  check(a, options.compress ? archive_write_zip_set_compression_deflate(a)
                            : archive_write_zip_set_compression_store(a), "");
  check(a, archive_write_open_fd(a, output.fd()), "");
  std::vector<char> buffer(std::size_t{1} << 20);
  for (const SourceEntry& entry : entries) write_entry(a, entry, buffer);
  check(a, archive_write_close(a), "");
  output.rename_to(archive_path);
}

}  // namespace kar
