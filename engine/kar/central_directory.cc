#include "kar/central_directory.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstring>
#include <vector>

namespace kar {

namespace {

constexpr std::size_t kEndRecordSize = 22;
constexpr std::size_t kMaxComment = 65535;
constexpr std::size_t kRecordSize = 46;
constexpr unsigned kUnix = 3;

uint64_t le(const char* p, int bytes) {
  uint64_t value = 0;
  for (int i = bytes - 1; i >= 0; --i) value = value << 8 | static_cast<unsigned char>(p[i]);
  return value;
}

// Reads the directory through a window of a megabyte, so a hostile size claim costs no
// memory; one record (at most 46 + 3 * 65535 bytes) always fits.
class Window {
 public:
  Window(const ReadAt& read_at, uint64_t start, uint64_t size)
      : read_at_(read_at), start_(start), size_(size) {}

  // The bytes [at, at + n) of the directory, or null when they are not there.
  const char* get(uint64_t at, std::size_t n) {
    if (at + n > size_) return nullptr;
    if (at < loaded_at_ || at + n > loaded_at_ + buffer_.size()) {
      std::size_t length = static_cast<std::size_t>(std::min<uint64_t>(kWindow, size_ - at));
      buffer_.resize(length);
      if (!read_at_(start_ + at, buffer_.data(), length)) return nullptr;
      loaded_at_ = at;
    }
    return buffer_.data() + (at - loaded_at_);
  }

 private:
  static constexpr std::size_t kWindow = std::size_t{1} << 20;
  const ReadAt& read_at_;
  uint64_t start_, size_;
  uint64_t loaded_at_ = 0;
  std::vector<char> buffer_;
};

}  // namespace

void visit_unix_types(const ReadAt& read_at, uint64_t archive_size,
                      const std::function<void(const std::string&, uint32_t)>& visit) {
  if (archive_size < kEndRecordSize) return;
  std::size_t tail_size = static_cast<std::size_t>(std::min<uint64_t>(archive_size, kEndRecordSize + kMaxComment));
  std::vector<char> tail(tail_size);
  uint64_t tail_start = archive_size - tail_size;
  if (!read_at(tail_start, tail.data(), tail_size)) return;

  // The end record is the last signature whose comment reaches exactly to the end.
  std::size_t end = std::string::npos;
  for (std::size_t i = tail_size - kEndRecordSize + 1; i-- > 0;) {
    if (std::memcmp(&tail[i], "PK\5\6", 4) == 0 && i + kEndRecordSize + le(&tail[i + 20], 2) == tail_size) {
      end = i;
      break;
    }
  }
  if (end == std::string::npos) return;
  uint64_t end_offset = tail_start + end;
  uint64_t directory_size = le(&tail[end + 12], 4);
  if (directory_size == 0xffffffff && end >= 20 && std::memcmp(&tail[end - 20], "PK\6\7", 4) == 0) {
    char record[56];
    uint64_t record_offset = le(&tail[end - 20 + 8], 8);
    if (record_offset >= end_offset || !read_at(record_offset, record, sizeof record) ||
        std::memcmp(record, "PK\6\6", 4) != 0)
      return;
    directory_size = le(record + 40, 8);
    end_offset = record_offset;
  }
  // Counted back from the end record, so data in front of the archive does not matter.
  if (directory_size > end_offset) return;
  Window directory(read_at, end_offset - directory_size, directory_size);
  for (uint64_t at = 0;;) {
    const char* header = directory.get(at, kRecordSize);
    if (!header || std::memcmp(header, "PK\1\2", 4) != 0) return;
    std::size_t name_size = le(header + 28, 2);
    std::size_t record_size = kRecordSize + name_size + le(header + 30, 2) + le(header + 32, 2);
    unsigned system = static_cast<unsigned char>(header[5]);
    uint32_t type = system == kUnix ? static_cast<uint32_t>(le(header + 38, 4) >> 16) & S_IFMT : 0;
    const char* record = directory.get(at, record_size);
    if (!record) return;
    visit(std::string(record + kRecordSize, name_size), type);
    at += record_size;
  }
}

}  // namespace kar
