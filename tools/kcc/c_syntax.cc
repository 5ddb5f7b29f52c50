#include "c_syntax.h"

#include <cstdio>

namespace kcc {

namespace {

bool is_letter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool is_digit(char c) { return c >= '0' && c <= '9'; }

bool is_word(std::string_view text) {
  for (char c : text)
    if (!is_letter(c) && !is_digit(c) && c != '_') return false;
  return true;
}

}  // namespace

bool is_c_identifier(std::string_view text) {
  return !text.empty() && (is_letter(text[0]) || text[0] == '_') && is_word(text);
}

bool is_korel_identifier(std::string_view text) {
  return !text.empty() && is_letter(text[0]) && is_word(text);
}

std::string c_string_literal(std::string_view text) {
  std::string out = "\"";
  for (unsigned char c : text) {
    if (c == '"' || c == '\\') {
      out += '\\';
      out += static_cast<char>(c);
    } else if (c < 0x20 || c >= 0x7f || c == '?') {
      // Octal escapes always take three digits, so a following digit cannot join them;
      // '?' is escaped to keep trigraphs out.
      char escaped[5];
      std::snprintf(escaped, sizeof escaped, "\\%03o", c);
      out += escaped;
    } else {
      out += static_cast<char>(c);
    }
  }
  return out + "\"";
}

}  // namespace kcc
