#include "kar/archive_input.h"

#include <archive.h>
#include <archive_entry.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <istream>
#include <vector>

#include "kar/central_directory.h"
#include "kar/error.h"
#include "ut/unique_fd.h"

namespace kar {

// What libarchive reads from: a regular file, or the window [base, end) of a stream.
struct InputSource {
  ut::UniqueFd fd;
  std::istream* stream = nullptr;
  std::streamoff base = 0;
  std::streamoff end = 0;
  std::vector<char> buffer;
};

namespace {

constexpr std::size_t kBlockSize = std::size_t{1} << 18;

la_ssize_t read_stream(archive* a, void* data, const void** block) {
  auto* source = static_cast<InputSource*>(data);
  std::istream& in = *source->stream;
  in.read(source->buffer.data(), static_cast<std::streamsize>(source->buffer.size()));
  std::streamsize got = in.gcount();
  if (got == 0 && in.bad()) {
    archive_set_error(a, EIO, "read error on the archive stream");
    return ARCHIVE_FATAL;
  }
  // A short read leaves eof set; clear it so that later seeks work.
  in.clear();
  *block = source->buffer.data();
  return got;
}

la_int64_t seek_stream(archive* a, void* data, la_int64_t offset, int whence) {
  auto* source = static_cast<InputSource*>(data);
  std::istream& in = *source->stream;
  in.clear();
  std::streamoff current = in.tellg();
  std::streamoff target = 0;
  switch (whence) {
    case SEEK_SET: target = source->base + offset; break;
    case SEEK_CUR: target = current + offset; break;
    case SEEK_END: target = source->end + offset; break;
    default: return ARCHIVE_FATAL;
  }
  if (target < source->base || target > source->end || !in.seekg(target)) {
    archive_set_error(a, EINVAL, "seek outside the archive stream");
    return ARCHIVE_FATAL;
  }
  return target - source->base;
}

// The bytes [0, 22) of the source and its length.
bool read_head(InputSource& source, char (&head)[22], int64_t& length) {
  if (source.stream) {
    std::istream& in = *source.stream;
    length = source.end - source.base;
    in.clear();
    if (length < 22 || !in.seekg(source.base) || !in.read(head, 22)) return false;
    in.clear();
    return true;
  }
  struct stat st;
  if (::fstat(source.fd.get(), &st) != 0) return false;
  length = st.st_size;
  return length >= 22 && ::pread(source.fd.get(), head, 22, 0) == 22;
}

// An archive of no entries is its end record alone: signature, zero counts, an empty
// central directory, and a comment filling the rest.
bool is_empty_zip(InputSource& source) {
  char head[22];
  int64_t length = 0;
  if (!read_head(source, head, length)) return false;
  auto u16 = [&](int at) { return static_cast<unsigned>(static_cast<unsigned char>(head[at])) |
                                  static_cast<unsigned>(static_cast<unsigned char>(head[at + 1])) << 8; };
  bool counts_zero = u16(8) == 0 && u16(10) == 0 && u16(12) == 0 && u16(14) == 0;
  return std::memcmp(head, "PK\5\6", 4) == 0 && counts_zero && length == 22 + u16(20);
}

la_int64_t skip_stream(archive* a, void* data, la_int64_t request) {
  auto* source = static_cast<InputSource*>(data);
  std::istream& in = *source->stream;
  in.clear();
  std::streamoff current = in.tellg();
  std::streamoff target = std::min<std::streamoff>(current + request, source->end);
  if (current < 0 || !in.seekg(target)) return 0;
  return target - current;
}

}  // namespace

ArchiveInput::ArchiveInput(std::unique_ptr<InputSource> source)
    : source_(std::move(source)), archive_(archive_read_new()) {
  if (!archive_) throw std::bad_alloc();
  archive_read_support_format_zip_seekable(archive_);
}

ArchiveInput::~ArchiveInput() { archive_read_free(archive_); }

std::string ArchiveInput::error_text() const {
  const char* text = archive_error_string(archive_);
  return text ? text : "unknown archive error";
}

void ArchiveInput::find_special_entries() {
  InputSource& source = *source_;
  uint64_t size = 0;
  ReadAt read_at;
  if (source.stream) {
    size = static_cast<uint64_t>(source.end - source.base);
    read_at = [&source](uint64_t offset, char* into, std::size_t n) {
      std::istream& in = *source.stream;
      in.clear();
      return static_cast<bool>(in.seekg(source.base + static_cast<std::streamoff>(offset)) &&
                               in.read(into, static_cast<std::streamsize>(n)));
    };
  } else {
    struct stat st;
    if (::fstat(source.fd.get(), &st) != 0) return;
    size = static_cast<uint64_t>(st.st_size);
    read_at = [&source](uint64_t offset, char* into, std::size_t n) {
      while (n > 0) {
        ssize_t got = ::pread(source.fd.get(), into, n, static_cast<off_t>(offset));
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return false;
        into += got, n -= static_cast<std::size_t>(got), offset += static_cast<uint64_t>(got);
      }
      return true;
    };
  }
  visit_unix_types(read_at, size, [this](const std::string& name, uint32_t type) {
    if (type != 0 && type != S_IFREG && type != S_IFDIR) special_entries_.push_back({name, type});
  });
  if (source.stream) {
    source.stream->clear();
    source.stream->seekg(source.base);
  }
}

void ArchiveInput::accept_if_empty(int open_status) {
  if (open_status == ARCHIVE_OK) return;
  if (!is_empty_zip(*source_)) throw Error("", "not a readable KAR archive (" + error_text() + ")");
  empty_ = true;
}

std::unique_ptr<ArchiveInput> ArchiveInput::open_file(const std::string& path) {
  auto source = std::make_unique<InputSource>();
  // Opened without waiting, so a fifo or a device of that name cannot block the caller;
  // only a regular file is read, and that blocking again.
  source->fd.reset(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  if (!source->fd) throw Error("", with_errno("cannot open the archive", errno));
  struct stat st;
  if (::fstat(source->fd.get(), &st) != 0 || !S_ISREG(st.st_mode))
    throw Error("", "the archive is not a regular file");
  const int flags = ::fcntl(source->fd.get(), F_GETFL);
  if (flags < 0 || ::fcntl(source->fd.get(), F_SETFL, flags & ~O_NONBLOCK) != 0)
    throw Error("", with_errno("cannot read the archive", errno));
  std::unique_ptr<ArchiveInput> input(new ArchiveInput(std::move(source)));
  input->find_special_entries();
  Utf8Names::Scope utf8(input->utf8_names_);
  input->accept_if_empty(archive_read_open_fd(input->archive_, input->source_->fd.get(), kBlockSize));
  return input;
}

std::unique_ptr<ArchiveInput> ArchiveInput::open_stream(std::istream& in) {
  auto source = std::make_unique<InputSource>();
  source->stream = &in;
  source->base = in.tellg();
  if (source->base < 0 || !in.seekg(0, std::ios::end))
    throw Error("", "the archive stream cannot seek");
  source->end = in.tellg();
  if (source->end < source->base || !in.seekg(source->base))
    throw Error("", "the archive stream cannot seek");
  source->buffer.resize(kBlockSize);

  std::unique_ptr<ArchiveInput> input(new ArchiveInput(std::move(source)));
  input->find_special_entries();
  archive* a = input->archive_;
  InputSource* data = input->source_.get();
  archive_read_set_callback_data(a, data);
  archive_read_set_read_callback(a, read_stream);
  archive_read_set_seek_callback(a, seek_stream);
  archive_read_set_skip_callback(a, skip_stream);
  Utf8Names::Scope utf8(input->utf8_names_);
  input->accept_if_empty(archive_read_open1(a));
  return input;
}

archive_entry* ArchiveInput::next_entry() {
  if (empty_) return nullptr;
  archive_entry* entry = nullptr;
  Utf8Names::Scope utf8(utf8_names_);
  int status = archive_read_next_header(archive_, &entry);
  if (status == ARCHIVE_EOF) return nullptr;
  // A warning here (a damaged header, an unreadable name) is as fatal as an error.
  if (status != ARCHIVE_OK)
    throw Error(entry ? entry_name(entry) : "", "damaged entry header (" + error_text() + ")");
  return entry;
}

std::string ArchiveInput::entry_name(archive_entry* entry) const {
  Utf8Names::Scope utf8(utf8_names_);
  const char* name = archive_entry_pathname(entry);
  return name ? name : "";
}

}  // namespace kar
