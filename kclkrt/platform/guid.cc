// GUIDs in their registry text form, and random ones for hosts that need a fresh id.
#include <fcntl.h>
#include <sys/random.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "korel/kclkrt.h"

namespace {

constexpr int kGUIDTextLength = 36;  // without the braces

int hex_value(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Reads `digits` hex digits of `text` from `at` on; false at the first non-hex one.
template <typename T>
bool read_hex(const char* text, int at, int digits, T& value) {
  T v = 0;
  for (int i = 0; i < digits; ++i) {
    int d = hex_value(text[at + i]);
    if (d < 0) return false;
    v = static_cast<T>((v << 4) | static_cast<T>(d));
  }
  value = v;
  return true;
}

// Reads with `source` until `length` bytes are in `out` or it stops giving; returns
// how many arrived. Interrupted reads are retried.
template <typename Source>
std::size_t fill(unsigned char* out, std::size_t length, std::size_t got, Source source) {
  while (got < length) {
    ssize_t n = source(out + got, length - got);
    if (n > 0)
      got += static_cast<std::size_t>(n);
    else if (!(n < 0 && errno == EINTR))
      break;
  }
  return got;
}

// All of `length` bytes from the kernel's generator; /dev/urandom where getrandom is
// missing or refuses.
bool random_bytes(unsigned char* out, std::size_t length) {
  std::size_t got = fill(out, length, 0, [](unsigned char* p, std::size_t n) { return getrandom(p, n, 0); });
  if (got == length) return true;
  int fd = ::open("/dev/urandom", O_RDONLY | O_CLOEXEC);
  if (fd < 0) return false;
  got = fill(out, length, got, [fd](unsigned char* p, std::size_t n) { return ::read(fd, p, n); });
  ::close(fd);
  return got == length;
}

}  // namespace

bool kclGUIDToString(const kclGUID* guid, char* buffer, int length) {
  if (!guid || !buffer || length < kGUIDTextLength + 3) return false;
  const uint8_t* d = guid->data4;
  std::snprintf(buffer, static_cast<std::size_t>(length),
                "{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}", static_cast<unsigned>(guid->data1),
                static_cast<unsigned>(guid->data2), static_cast<unsigned>(guid->data3), d[0], d[1], d[2], d[3],
                d[4], d[5], d[6], d[7]);
  return true;
}

bool kclStringToGUID(const char* text, kclGUID* guid) {
  if (!text || !guid) return false;
  std::size_t length = std::strlen(text);
  if (length == kGUIDTextLength + 2) {
    if (text[0] != '{' || text[length - 1] != '}') return false;
    ++text;
  } else if (length != kGUIDTextLength) {
    return false;
  }
  if (text[8] != '-' || text[13] != '-' || text[18] != '-' || text[23] != '-') return false;
  // Parsed into a copy: a malformed text leaves the caller's GUID as it was.
  kclGUID parsed{};
  if (!read_hex(text, 0, 8, parsed.data1) || !read_hex(text, 9, 4, parsed.data2) ||
      !read_hex(text, 14, 4, parsed.data3))
    return false;
  static constexpr int kByteAt[8] = {19, 21, 24, 26, 28, 30, 32, 34};
  for (int i = 0; i < 8; ++i)
    if (!read_hex(text, kByteAt[i], 2, parsed.data4[i])) return false;
  *guid = parsed;
  return true;
}

bool kclCreateGUID(kclGUID* guid) {
  if (!guid) return false;
  unsigned char bytes[16];
  if (!random_bytes(bytes, sizeof bytes)) return false;
  kclGUID made;
  std::memcpy(&made.data1, bytes, 4);
  std::memcpy(&made.data2, bytes + 4, 2);
  std::memcpy(&made.data3, bytes + 6, 2);
  std::memcpy(made.data4, bytes + 8, 8);
  made.data3 = static_cast<uint16_t>((made.data3 & 0x0FFF) | 0x4000);  // version 4: random
  made.data4[0] = static_cast<uint8_t>((made.data4[0] & 0x3F) | 0x80);  // variant 10xx
  *guid = made;
  return true;
}
