#include "krt/library/text.h"

#include <algorithm>

#include "kx/text.h"

namespace krt::library {

std::u16string units_of(const kxArray* a) {
  const kxChar* chars = kxGetChars(a);
  kxSize count = kxGetNumberOfElements(a);
  std::u16string units(count, u'\0');
  for (kxSize i = 0; i < count; ++i) units[i] = static_cast<char16_t>(chars[i]);
  return units;
}

std::vector<std::u16string> rows_of(const kxArray* a) {
  kxSize m = kxGetM(a), n = kxGetN(a);
  const kxChar* chars = kxGetChars(a);
  std::vector<std::u16string> rows(m, std::u16string(n, u' '));
  for (kxSize c = 0; c < n; ++c)
    for (kxSize r = 0; r < m; ++r) rows[r][c] = static_cast<char16_t>(chars[c * m + r]);
  return rows;
}

void append_code_point(std::string& out, char32_t cp) {
  kxChar units[2] = {static_cast<kxChar>(cp), 0};
  std::size_t count = 1;
  if (cp >= 0x10000) {
    cp -= 0x10000;
    units[0] = static_cast<kxChar>(0xD800 + (cp >> 10));
    units[1] = static_cast<kxChar>(0xDC00 + (cp & 0x3FF));
    count = 2;
  }
  out += kx::encode_utf8(units, count);
}

std::string utf8_of(std::u16string_view units) {
  static_assert(sizeof(char16_t) == sizeof(kxChar));
  return kx::encode_utf8(reinterpret_cast<const kxChar*>(units.data()), units.size());
}

Value make_text(std::u16string_view units) {
  Value text = checked(kxCreateCharMatrix(1, units.size()));
  kxChar* chars = kxGetChars(text.get());
  for (std::size_t i = 0; i < units.size(); ++i) chars[i] = units[i];
  return text;
}

Value make_char_rows(const std::vector<std::u16string>& rows) {
  std::size_t width = 0;
  for (const auto& row : rows) width = std::max(width, row.size());
  std::size_t m = rows.size();
  Value out = checked(kxCreateCharMatrix(m, m ? width : 0));
  kxChar* chars = kxGetChars(out.get());
  for (std::size_t r = 0; r < m; ++r)
    for (std::size_t c = 0; c < width; ++c)
      chars[c * m + r] = c < rows[r].size() ? rows[r][c] : u' ';
  return out;
}

bool is_whitespace(char16_t c) { return c == u' ' || (c >= u'\t' && c <= u'\r'); }

namespace {

// How far the small form of capital `c` is from it, or 0 when `c` is no such capital.
int lower_offset(char16_t c) {
  if (c >= u'A' && c <= u'Z') return 0x20;
  if (c >= 0xC0 && c <= 0xDE && c != 0xD7) return 0x20;
  if (c >= 0x391 && c <= 0x3AB && c != 0x3A2) return 0x20;
  if (c >= 0x410 && c <= 0x42F) return 0x20;
  if (c >= 0x400 && c <= 0x40F) return 0x50;
  return 0;
}

}  // namespace

char16_t lower_case(char16_t c) {
  if (c == 0x178) return 0xFF;
  return static_cast<char16_t>(c + lower_offset(c));
}

char16_t upper_case(char16_t c) {
  if (c == 0xFF) return 0x178;
  if (c >= 0x20 + 0x50 && lower_offset(static_cast<char16_t>(c - 0x50)) == 0x50)
    return static_cast<char16_t>(c - 0x50);
  if (c >= 0x20 && lower_offset(static_cast<char16_t>(c - 0x20)) == 0x20)
    return static_cast<char16_t>(c - 0x20);
  return c;
}

}  // namespace krt::library
