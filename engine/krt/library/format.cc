// printf-style formatting over arrays.
//
// Conversions: d i u o x X f e E g G c s, with the flags - + blank 0 #, a width and a
// precision (either may be * to take it from the data), and the length modifiers l and h
// (accepted and ignored). Elements are taken from the arguments in order; the format is
// applied again while elements remain, and output stops at the first conversion that
// finds no element left. Without any element (no data, or only empty arrays) the format
// is printed once with every conversion empty.
//
// How elements meet conversions:
//   - an integer conversion (d i u o x X) given a value it cannot print as an integer
//     (a fraction, or a negative value for u o x X) prints it with %e and the same flags,
//     width and precision;
//   - Inf, -Inf and NaN print as such under every numeric conversion, padded to the width;
//   - %s takes the rest of a char argument as one text; given a number it prints the
//     shortest text that reads back as the number (or %.<precision>g);
//   - %c takes one char, or prints the character whose code a number is;
//   - numeric conversions given a char print its code;
//   - complex arguments give their real parts.
// Widths and precisions count characters, and are limited to a million.
#include "krt/library/format.h"

#include <cmath>
#include <optional>
#include <vector>

#include "krt/library/arguments.h"
#include "krt/library/elements.h"
#include "krt/library/number_text.h"
#include "krt/library/text.h"
#include "kx/error.h"

namespace krt::library {
namespace {

constexpr long kMaxField = 1000000;

struct Conversion {
  std::string flags;  // of "-+ 0#"
  long width = -1;    // -1: none
  bool width_from_data = false;
  long precision = -1;  // -1: none
  bool precision_from_data = false;
  char type = 'd';
};

// Literal text (escapes already replaced) followed by a conversion, except possibly last.
struct Piece {
  std::string literal;
  std::optional<Conversion> conversion;
};

int hex_value(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Replaces the escape at format[i] (a backslash) and returns the index after it.
std::size_t read_escape(std::string_view format, std::size_t i, std::string& out) {
  if (i + 1 >= format.size()) {
    out += '\\';
    return i + 1;
  }
  char c = format[i + 1];
  switch (c) {
    case 'n': out += '\n'; return i + 2;
    case 't': out += '\t'; return i + 2;
    case 'r': out += '\r'; return i + 2;
    case 'a': out += '\a'; return i + 2;
    case 'b': out += '\b'; return i + 2;
    case 'f': out += '\f'; return i + 2;
    case 'v': out += '\v'; return i + 2;
    case '\\': out += '\\'; return i + 2;
    default: break;
  }
  if (c == 'x') {
    std::size_t j = i + 2;
    char32_t code = 0;
    while (j < format.size() && j < i + 4 && hex_value(format[j]) >= 0)
      code = code * 16 + static_cast<char32_t>(hex_value(format[j++]));
    if (j == i + 2) {  // no digits: the text stays as written
      out += "\\x";
      return j;
    }
    append_code_point(out, code);
    return j;
  }
  if (c >= '0' && c <= '7') {
    std::size_t j = i + 1;
    char32_t code = 0;
    while (j < format.size() && j < i + 4 && format[j] >= '0' && format[j] <= '7')
      code = code * 8 + static_cast<char32_t>(format[j++] - '0');
    append_code_point(out, code);
    return j;
  }
  // Not an escape: both characters are kept.
  out += '\\';
  out += c;
  return i + 2;
}

[[noreturn]] void bad_conversion(std::string_view written) {
  kx::raise("Korel:format:badConversion",
            "The format has an invalid conversion '" + std::string(written) + "'.");
}

long read_number(std::string_view format, std::size_t& j) {
  long value = 0;
  while (j < format.size() && format[j] >= '0' && format[j] <= '9') {
    value = value * 10 + (format[j++] - '0');
    if (value > kMaxField)
      kx::raise("Korel:format:tooWide", "A field width or precision in the format exceeds " +
                                            std::to_string(kMaxField) + ".");
  }
  return value;
}

// Reads the conversion that starts at format[i] (a '%' not followed by '%').
std::size_t read_conversion(std::string_view format, std::size_t i, Conversion& c) {
  std::size_t j = i + 1;
  while (j < format.size() && std::string_view("-+ 0#").find(format[j]) != std::string_view::npos)
    c.flags += format[j++];
  if (j < format.size() && format[j] == '*') {
    c.width_from_data = true;
    ++j;
  } else if (j < format.size() && format[j] >= '0' && format[j] <= '9') {
    c.width = read_number(format, j);
  }
  if (j < format.size() && format[j] == '.') {
    ++j;
    if (j < format.size() && format[j] == '*') {
      c.precision_from_data = true;
      ++j;
    } else {
      c.precision = read_number(format, j);
    }
  }
  while (j < format.size() && (format[j] == 'l' || format[j] == 'h')) ++j;
  if (j >= format.size()) bad_conversion(format.substr(i));
  c.type = format[j];
  if (std::string_view("diuoxXfeEgGcs").find(c.type) == std::string_view::npos)
    bad_conversion(format.substr(i, j + 1 - i));
  return j + 1;
}

std::vector<Piece> parse_format(std::string_view format) {
  std::vector<Piece> pieces(1);
  std::size_t i = 0;
  while (i < format.size()) {
    char c = format[i];
    if (c == '\\') {
      i = read_escape(format, i, pieces.back().literal);
    } else if (c == '%' && i + 1 < format.size() && format[i + 1] == '%') {
      pieces.back().literal += '%';
      i += 2;
    } else if (c == '%') {
      Conversion conversion;
      i = read_conversion(format, i, conversion);
      pieces.back().conversion = conversion;
      pieces.emplace_back();
    } else {
      pieces.back().literal += c;
      ++i;
    }
  }
  return pieces;
}

// One element of the data.
struct Element {
  Wide value = 0;
  bool exact_integer = false;  // from a 64-bit integer class: print every digit
};

// The elements of the arguments in order.
class ArgumentStream {
 public:
  explicit ArgumentStream(std::span<const kxArray* const> args) {
    for (std::size_t k = 0; k < args.size(); ++k) {
      const kxArray* a = args[k];
      if (!is_value_class(kxGetClassID(a)))
        kx::raise("Korel:format:badType",
                  "Values to format must be numeric, logical or char; argument " +
                      std::to_string(k + 1) + " is a " + describe(a) + ".");
      if (kxIsEmpty(a)) continue;
      sources_.push_back(full(a));
    }
  }

  bool empty() const { return source_ >= sources_.size(); }
  bool at_text() const { return !empty() && kxIsChar(sources_[source_].get()); }

  Element next() {
    const kxArray* a = sources_[source_].get();
    kxClassID cls = kxGetClassID(a);
    Element e;
    e.value = ElementReader(a).real(position_);
    e.exact_integer = cls == kxINT64_CLASS || cls == kxUINT64_CLASS;
    advance(1);
    return e;
  }

  // The rest of the current char argument.
  std::u16string rest_of_text() {
    std::u16string units = units_of(sources_[source_].get()).substr(position_);
    advance(units.size());
    return units;
  }

 private:
  void advance(std::size_t count) {
    position_ += count;
    if (position_ >= kxGetNumberOfElements(sources_[source_].get())) {
      ++source_;
      position_ = 0;
    }
  }

  std::vector<Value> sources_;
  std::size_t source_ = 0;
  std::size_t position_ = 0;
};

bool has_flag(const Conversion& c, char flag) { return c.flags.find(flag) != std::string::npos; }

// `body` padded with blanks to the width, counting characters rather than bytes.
void append_field(std::string& out, const Conversion& c, const std::string& body) {
  long characters = 0;
  for (unsigned char byte : body)
    if ((byte & 0xC0) != 0x80) ++characters;
  std::string padding(c.width > characters ? static_cast<std::size_t>(c.width - characters) : 0,
                      ' ');
  if (has_flag(c, '-')) {
    out += body;
    out += padding;
  } else {
    out += padding;
    out += body;
  }
}

// The printf conversion for `c` keeping only `kept_flags`, with the length modifier
// `length` and the conversion `type`.
std::string printf_conversion(const Conversion& c, std::string_view kept_flags, const char* length,
                   char type) {
  std::string conversion = "%";
  for (char flag : c.flags)
    if (kept_flags.find(flag) != std::string_view::npos) conversion += flag;
  if (c.width >= 0) conversion += std::to_string(c.width);
  if (c.precision >= 0) conversion += "." + std::to_string(c.precision);
  conversion += length;
  conversion += type;
  return conversion;
}

bool is_integer(Wide v) { return std::isfinite(v) && v == std::floor(v); }

constexpr Wide kInt64Min = -9223372036854775808.0L;
constexpr Wide kUint64Limit = 18446744073709551616.0L;  // 2^64

void append_exponent_form(std::string& out, const Conversion& c, Wide v) {
  out += printf_text(printf_conversion(c, "-+ 0#", "", 'e'), static_cast<double>(v));
}

void append_integer(std::string& out, const Conversion& c, Wide v) {
  bool is_signed = c.type == 'd' || c.type == 'i';
  if (!is_integer(v) || (!is_signed && v < 0)) return append_exponent_form(out, c, v);
  if (is_signed && v >= kInt64Min && v < -kInt64Min) {
    out += printf_text(printf_conversion(c, "-+ 0", "ll", 'd'), static_cast<long long>(v));
  } else if (v >= 0 && v < kUint64Limit) {
    char type = is_signed ? 'u' : c.type;
    std::string_view kept = is_signed || c.type == 'u' ? "-0" : "-0#";
    out += printf_text(printf_conversion(c, kept, "ll", type), static_cast<unsigned long long>(v));
  } else if (is_signed) {  // an integer-valued double past the 64-bit range
    Conversion whole = c;
    whole.precision = 0;
    out += printf_text(printf_conversion(whole, "-+ 0", "", 'f'), static_cast<double>(v));
  } else {
    append_exponent_form(out, c, v);
  }
}

std::string number_as_text(const Conversion& c, const Element& e) {
  if (e.exact_integer || (is_integer(e.value) && std::fabs(e.value) < 1e15L)) {
    if (e.value < 0) return printf_text("%lld", static_cast<long long>(e.value));
    return printf_text("%llu", static_cast<unsigned long long>(e.value));
  }
  double v = static_cast<double>(e.value);
  if (c.precision >= 0 && std::isfinite(v))
    return printf_text("%." + std::to_string(c.precision) + "g", v);
  return shortest_text(v);
}

void append_text(std::string& out, const Conversion& c, std::u16string units) {
  if (c.precision >= 0 && units.size() > static_cast<std::size_t>(c.precision))
    units.resize(static_cast<std::size_t>(c.precision));
  append_field(out, c, utf8_of(units));
}

void append_element(std::string& out, const Conversion& c, const Element& e) {
  if (!std::isfinite(e.value)) return append_field(out, c, non_finite_text(e.value));
  switch (c.type) {
    case 'd': case 'i': case 'u': case 'o': case 'x': case 'X':
      return append_integer(out, c, e.value);
    case 'f': case 'e': case 'E': case 'g': case 'G':
      out += printf_text(printf_conversion(c, "-+ 0#", "", c.type), static_cast<double>(e.value));
      return;
    case 'c':
      if (is_integer(e.value) && e.value >= 0 && e.value <= 0x10FFFF) {
        std::string character;
        append_code_point(character, static_cast<char32_t>(e.value));
        return append_field(out, c, character);
      }
      return append_exponent_form(out, c, e.value);
    default:  // 's'
      return append_field(out, c, number_as_text(c, e));
  }
}

// A width or precision taken from the data; false when none is left.
bool field_from_data(ArgumentStream& data, long& field, bool& left_justify) {
  if (data.empty()) return false;
  Wide v = data.next().value;
  if (!std::isfinite(v))
    kx::raise("Korel:format:badWidth", "A field width or precision from the data must be finite.");
  v = std::trunc(v);
  if (std::fabs(v) > kMaxField)
    kx::raise("Korel:format:tooWide", "A field width or precision in the data exceeds " +
                                          std::to_string(kMaxField) + ".");
  field = static_cast<long>(v);
  if (field < 0) {
    left_justify = true;
    field = -field;
  }
  return true;
}

// Prints one conversion; false when the data ran out before it.
bool convert(std::string& out, Conversion c, ArgumentStream& data) {
  if (c.width_from_data) {
    bool left = false;
    if (!field_from_data(data, c.width, left)) return false;
    if (left) c.flags += '-';
  }
  if (c.precision_from_data) {
    bool negative = false;
    if (!field_from_data(data, c.precision, negative)) return false;
    if (negative) c.precision = -1;  // as printf: a negative precision is none
  }
  if (data.empty()) return false;
  if (c.type == 's' && data.at_text()) {
    append_text(out, c, data.rest_of_text());
  } else if (c.type == 'c' && data.at_text()) {
    Conversion one_character = c;
    one_character.precision = -1;
    append_text(out, one_character, std::u16string(1, static_cast<char16_t>(data.next().value)));
  } else {
    append_element(out, c, data.next());
  }
  return true;
}

}  // namespace

std::string format(std::string_view format, std::span<const kxArray* const> args) {
  std::vector<Piece> pieces = parse_format(format);
  bool has_conversion = pieces.size() > 1;
  ArgumentStream data(args);
  std::string out;
  if (data.empty()) {
    // No data at all: the format's text is printed once, its conversions empty.
    for (const Piece& piece : pieces) out += piece.literal;
    return out;
  }
  do {
    for (const Piece& piece : pieces) {
      out += piece.literal;
      if (piece.conversion && !convert(out, *piece.conversion, data)) return out;
    }
  } while (has_conversion && !data.empty());
  return out;
}

std::string text_of(const kxArray* a, const char* identifier) {
  if (!is_text(a))
    kx::raise(identifier ? identifier : "",
              "Expected text (a char row vector), not a " + describe(a) + ".");
  return utf8_of(units_of(a));
}

}  // namespace krt::library
