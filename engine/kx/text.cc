#include "kx/text.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "kx/array.h"
#include "kx/error.h"

namespace kx {
namespace {

// Length of the valid sequence at `p`, or 0; stores its code point.
std::size_t decode_one(const unsigned char* p, std::size_t left, char32_t& cp) {
  unsigned char b = p[0];
  if (b < 0x80) {
    cp = b;
    return 1;
  }
  std::size_t length;
  char32_t minimum;
  if ((b & 0xE0) == 0xC0) {
    length = 2, cp = b & 0x1F, minimum = 0x80;
  } else if ((b & 0xF0) == 0xE0) {
    length = 3, cp = b & 0x0F, minimum = 0x800;
  } else if ((b & 0xF8) == 0xF0) {
    length = 4, cp = b & 0x07, minimum = 0x10000;
  } else {
    return 0;
  }
  if (left < length) return 0;
  for (std::size_t k = 1; k < length; ++k) {
    if ((p[k] & 0xC0) != 0x80) return 0;
    cp = (cp << 6) | (p[k] & 0x3F);
  }
  // Overlong forms, encoded surrogates and values past Unicode are not valid.
  if (cp < minimum || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return 0;
  return length;
}

void append_utf8(std::string& out, char32_t cp) {
  if (cp < 0x80) {
    out += static_cast<char>(cp);
  } else if (cp < 0x800) {
    out += static_cast<char>(0xC0 | (cp >> 6));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else if (cp < 0x10000) {
    out += static_cast<char>(0xE0 | (cp >> 12));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (cp >> 18));
    out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  }
}

ArrayPtr make_text(std::string_view bytes) {
  std::vector<kxChar> units = decode_utf8(bytes);
  ArrayPtr a = make_dense(kxCHAR_CLASS, {1, units.size()}, kxREAL, false);
  if (!units.empty()) std::memcpy(a->data->real.data(), units.data(), units.size() * sizeof(kxChar));
  return a;
}

}  // namespace

std::vector<kxChar> decode_utf8(std::string_view bytes) {
  std::vector<kxChar> units;
  units.reserve(bytes.size());
  const auto* p = reinterpret_cast<const unsigned char*>(bytes.data());
  std::size_t i = 0;
  while (i < bytes.size()) {
    char32_t cp;
    std::size_t length = decode_one(p + i, bytes.size() - i, cp);
    if (length == 0) {
      units.push_back(static_cast<kxChar>(0xDC00 + p[i]));
      ++i;
      continue;
    }
    if (cp >= 0x10000) {
      cp -= 0x10000;
      units.push_back(static_cast<kxChar>(0xD800 + (cp >> 10)));
      units.push_back(static_cast<kxChar>(0xDC00 + (cp & 0x3FF)));
    } else {
      units.push_back(static_cast<kxChar>(cp));
    }
    i += length;
  }
  return units;
}

std::string encode_utf8(const kxChar* units, std::size_t count) {
  std::string out;
  out.reserve(count);
  for (std::size_t i = 0; i < count; ++i) {
    char32_t u = units[i];
    if (u >= 0xD800 && u <= 0xDBFF && i + 1 < count && units[i + 1] >= 0xDC00 &&
        units[i + 1] <= 0xDFFF) {
      append_utf8(out, 0x10000 + ((u - 0xD800) << 10) + (units[i + 1] - 0xDC00));
      ++i;
    } else if (u >= 0xDC80 && u <= 0xDCFF) {
      out += static_cast<char>(u - 0xDC00);
    } else {
      append_utf8(out, u);
    }
  }
  return out;
}

char* copy_for_caller(const std::string& text) {
  char* out = static_cast<char*>(std::malloc(text.size() + 1));
  if (!out) throw std::bad_alloc();
  std::memcpy(out, text.c_str(), text.size() + 1);
  return out;
}

}  // namespace kx

using kx::guarded;

extern "C" {

kxArray* kxCreateString(const char* text) {
  if (!text) return nullptr;
  return kxCreateStringFromNChars(text, std::strlen(text));
}

kxArray* kxCreateStringFromNChars(const char* bytes, size_t count) {
  if (!bytes && count > 0) return nullptr;
  return guarded([&] { return kx::publish(kx::make_text({bytes ? bytes : "", count})); },
                 static_cast<kxArray*>(nullptr));
}

kxArray* kxCreateCharMatrixFromStrings(kxSize count, const char** strings) {
  if (count > 0 && !strings) return nullptr;
  return guarded(
      [&] {
        std::vector<std::vector<kxChar>> rows;
        std::size_t width = 0;
        for (kxSize r = 0; r < count; ++r) {
          rows.push_back(kx::decode_utf8(strings[r] ? strings[r] : ""));
          width = std::max(width, rows.back().size());
        }
        kx::ArrayPtr a = kx::make_dense(kxCHAR_CLASS, {count, width}, kxREAL, false);
        kxChar* out = a->data->real.as<kxChar>();
        for (kxSize r = 0; r < count; ++r)
          for (std::size_t c = 0; c < width; ++c)
            out[c * count + r] = c < rows[r].size() ? rows[r][c] : u' ';
        return kx::publish(std::move(a));
      },
      static_cast<kxArray*>(nullptr));
}

char* kxArrayToString(const kxArray* a) {
  if (!kxIsChar(a)) return nullptr;
  return guarded(
      [&] {
        return kx::copy_for_caller(kx::encode_utf8(kxGetChars(a), kxGetNumberOfElements(a)));
      },
      static_cast<char*>(nullptr));
}

int kxGetString(const kxArray* a, char* buf, size_t buflen) {
  if (!buf || buflen == 0 || !kxIsChar(a)) return 1;
  return guarded(
      [&] {
        std::string text = kx::encode_utf8(kxGetChars(a), kxGetNumberOfElements(a));
        std::size_t n = std::min(text.size(), buflen - 1);
        // Never end inside a multi-byte sequence.
        if (n < text.size())
          while (n > 0 && (static_cast<unsigned char>(text[n]) & 0xC0) == 0x80) --n;
        std::memcpy(buf, text.data(), n);
        buf[n] = '\0';
        return n == text.size() ? 0 : 1;
      },
      1);
}

void kxFree(void* p) { std::free(p); }

}  // extern "C"
