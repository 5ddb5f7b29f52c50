// Numbers to text and back: sprintf num2str int2str str2double.
#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "krt/library/arguments.h"
#include "krt/library/builtins.h"
#include "krt/library/elements.h"
#include "krt/library/format.h"
#include "krt/library/number_text.h"
#include "krt/library/shape.h"
#include "krt/library/text.h"

namespace krt::library::builtin {
namespace {

// ---- Numbers to text -------------------------------------------------------------

// Every digit of an integer value.
std::string integer_text(Wide v) {
  if (v < 0) return printf_text("%lld", static_cast<long long>(v));
  return printf_text("%llu", static_cast<unsigned long long>(v));
}

// How num2str writes each element (of a real part or an imaginary part).
struct NumberStyle {
  enum Kind { kInteger, kSignificant } kind = kInteger;
  int digits = 0;  // significant digits for kSignificant

  std::string text(Wide v, bool exact_integer) const {
    if (!std::isfinite(v)) return non_finite_text(static_cast<double>(v));
    if (kind == kSignificant)
      return printf_text("%." + std::to_string(digits) + "g", static_cast<double>(v));
    if (exact_integer || std::fabs(v) < 1e15L) return integer_text(v);
    return shortest_text(static_cast<double>(v));
  }
};

// Integers when every finite part is one; otherwise enough significant digits for the
// largest magnitude to show four decimals: max(ceil(log10(|x|)), 1) + 4, at most 17.
NumberStyle default_style(const ElementReader& r) {
  NumberStyle style;
  if (is_integer_class(r.class_id()) || r.class_id() == kxLOGICAL_CLASS) return style;
  Wide largest = 0;
  bool integers = true;
  for (kxSize i = 0; i < r.size(); ++i) {
    for (Wide v : {r.real(i), r.imag(i)}) {
      if (!std::isfinite(v)) continue;
      integers = integers && v == std::floor(v);
      largest = std::max(largest, std::fabs(v));
    }
  }
  if (integers) return style;
  style.kind = NumberStyle::kSignificant;
  int magnitude = static_cast<int>(std::ceil(std::log10(static_cast<double>(largest))));
  style.digits = std::min(std::max(magnitude, 1) + 4, 17);
  return style;
}

std::string element_text(const ElementReader& r, kxSize i, const NumberStyle& style) {
  kxClassID cls = r.class_id();
  bool exact = cls == kxINT64_CLASS || cls == kxUINT64_CLASS;
  std::string text = style.text(r.real(i), exact);
  if (!r.complex()) return text;
  Wide im = r.imag(i);
  text += std::signbit(im) ? '-' : '+';
  return text + style.text(std::isnan(im) ? im : std::fabs(im), exact) + "i";
}

// The elements of an m-row matrix as a char matrix: every element right-aligned in the
// width of the widest, columns two blanks apart, blank columns on the left removed.
Value aligned_columns(const std::vector<std::string>& texts, kxSize m) {
  std::size_t width = 0;
  for (const auto& text : texts) width = std::max(width, text.size());
  kxSize columns = m ? texts.size() / m : 0;
  std::vector<std::u16string> rows(m);
  for (kxSize c = 0; c < columns; ++c) {
    for (kxSize r = 0; r < m; ++r) {
      const std::string& text = texts[c * m + r];
      if (c) rows[r] += u"  ";
      rows[r].append(width - text.size(), u' ');
      for (char ch : text) rows[r] += static_cast<char16_t>(ch);
    }
  }
  std::size_t lead = width;
  for (const auto& row : rows)
    lead = std::min(lead, static_cast<std::size_t>(row.find_first_not_of(u' ')));
  for (auto& row : rows) row.erase(0, std::min(lead, row.size()));
  return make_char_rows(rows);
}

Value styled_matrix(const kxArray* a, const NumberStyle& style, const ElementReader& r) {
  std::vector<std::string> texts;
  texts.reserve(r.size());
  for (kxSize i = 0; i < r.size(); ++i) texts.push_back(element_text(r, i, style));
  return aligned_columns(texts, kxGetM(a));
}

// num2str(x, format): the format applied to each row, rows padded with blanks.
Value formatted_rows(const kxArray* a, const kxArray* dense, const std::string& pattern) {
  kxSize m = kxGetM(a), columns = m ? kxGetNumberOfElements(a) / m : 0;
  kxClassID cls = kxGetClassID(a);
  bool complex = kxIsComplex(dense);
  std::size_t size = element_size(cls);
  std::vector<std::u16string> rows;
  for (kxSize r = 0; r < m; ++r) {
    Value row = make_numeric(cls, Shape{1, columns}, complex);
    for (kxSize c = 0; c < columns; ++c) {
      std::memcpy(static_cast<char*>(kxGetData(row.get())) + c * size,
                  static_cast<const char*>(kxGetData(dense)) + (c * m + r) * size, size);
    }
    const kxArray* args[] = {row.get()};
    Value text = make_string(format(pattern, args));
    rows.push_back(units_of(text.get()));
  }
  return make_char_rows(rows);
}

Value number_to_text(const Call& call) {
  const kxArray* a = call.input(0);
  if (kxIsChar(a)) return Value::share(a);
  require_values(call, 0);
  if (kxIsEmpty(a)) return checked(kxCreateCharMatrix(0, 0));
  Value dense = full(a);
  ElementReader r(dense.get());
  if (call.input_count() == 1) return styled_matrix(a, default_style(r), r);
  const kxArray* option = call.input(1);
  if (kxIsChar(option))
    return formatted_rows(a, dense.get(), text_argument(call, 1, "The format"));
  double digits = scalar_argument(call, 1, "The precision");
  if (!(digits >= 1 && digits <= 1000) || digits != std::floor(digits))
    call.fail("badPrecision", "The precision of num2str must be an integer from 1 to 1000.");
  NumberStyle style{NumberStyle::kSignificant, static_cast<int>(digits)};
  return styled_matrix(a, style, r);
}

// int2str(x): x rounded to integers (halves away from zero), written as num2str does.
Value integer_to_text(const Call& call) {
  require_real_values(call, 0);
  const kxArray* a = call.input(0);
  if (kxIsEmpty(a)) return checked(kxCreateCharMatrix(0, 0));
  Value dense = full(a);
  ElementReader r(dense.get());
  bool exact = r.class_id() == kxINT64_CLASS || r.class_id() == kxUINT64_CLASS;
  std::vector<std::string> texts;
  for (kxSize i = 0; i < r.size(); ++i)
    texts.push_back(NumberStyle{}.text(std::round(r.real(i)), exact));
  return aligned_columns(texts, kxGetM(a));
}

// ---- Text to numbers -------------------------------------------------------------

bool equals_ignoring_case(std::string_view text, std::string_view word) {
  return text.size() == word.size() &&
         std::equal(text.begin(), text.end(), word.begin(), [](char x, char y) {
           return std::tolower(static_cast<unsigned char>(x)) == y;
         });
}

// A decimal number: sign, digits (commas allowed between them), a point, an exponent
// (e, E, d or D); or Inf, Infinity or NaN in any case; blanks around it. NaN otherwise.
double parse_number(std::string_view text) {
  constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
  while (!text.empty() && std::isspace(static_cast<unsigned char>(text.front())))
    text.remove_prefix(1);
  while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back())))
    text.remove_suffix(1);
  bool negative = false;
  if (!text.empty() && (text[0] == '+' || text[0] == '-')) {
    negative = text[0] == '-';
    text.remove_prefix(1);
  }
  double sign = negative ? -1 : 1;
  if (equals_ignoring_case(text, "inf") || equals_ignoring_case(text, "infinity"))
    return sign * std::numeric_limits<double>::infinity();
  if (equals_ignoring_case(text, "nan")) return kNaN;
  std::string clean;
  std::size_t i = 0, digits = 0;
  auto read_digits = [&](bool commas) {
    while (i < text.size()) {
      char c = text[i];
      if (std::isdigit(static_cast<unsigned char>(c))) {
        clean += c;
        ++digits;
      } else if (!(commas && c == ',' && digits > 0 && i + 1 < text.size() &&
                   std::isdigit(static_cast<unsigned char>(text[i + 1])))) {
        break;
      }
      ++i;
    }
  };
  read_digits(true);
  if (i < text.size() && text[i] == '.') {
    clean += text[i++];
    read_digits(false);
  }
  if (digits == 0) return kNaN;
  if (i < text.size() && std::strchr("eEdD", text[i])) {
    clean += 'e';
    ++i;
    if (i < text.size() && (text[i] == '+' || text[i] == '-')) clean += text[i++];
    std::size_t before = i;
    while (i < text.size() && std::isdigit(static_cast<unsigned char>(text[i]))) clean += text[i++];
    if (i == before) return kNaN;
  }
  if (i != text.size()) return kNaN;
  double value = 0;
  auto [end, error] = std::from_chars(clean.data(), clean.data() + clean.size(), value);
  if (error == std::errc::result_out_of_range) {
    // Too large or too small for a double: the exponent's sign tells which.
    std::size_t e = clean.find('e');
    bool huge = e != std::string::npos && clean[e + 1] != '-';
    if (e == std::string::npos) huge = true;  // only a long run of digits overflows
    value = huge ? std::numeric_limits<double>::infinity() : 0.0;
  } else if (error != std::errc() || end != clean.data() + clean.size()) {
    return kNaN;
  }
  return sign * value;
}

double text_to_number(const kxArray* a) {
  if (!is_text(a)) return std::numeric_limits<double>::quiet_NaN();
  return parse_number(utf8_of(units_of(a)));
}

}  // namespace

// sprintf(format, values...): the formatted text (see format.cc for the rules).
void sprintf(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  run("sprintf", {1, kUnlimited, 1}, context, nargout, outputs, inputs, [](Call& call) {
    std::string pattern = text_argument(call, 0, "The format");
    for (int k = 1; k < call.input_count(); ++k) require_values(call, k);
    call.set_output(0, make_string(format(pattern, call.inputs_from(1))));
  });
}

// num2str(x), num2str(x, precision), num2str(x, format).
void num2str(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  run("num2str", {1, 2, 1}, context, nargout, outputs, inputs,
      [](Call& call) { call.set_output(0, number_to_text(call)); });
}

void int2str(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  run("int2str", {1, 1, 1}, context, nargout, outputs, inputs,
      [](Call& call) { call.set_output(0, integer_to_text(call)); });
}

// str2double(text): the number, or NaN; a cell of texts gives an array of its size;
// anything else gives NaN.
void str2double(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  run("str2double", {1, 1, 1}, context, nargout, outputs, inputs, [](Call& call) {
    const kxArray* a = call.input(0);
    if (!kxIsCell(a)) return call.set_output(0, make_double(text_to_number(a)));
    Value numbers = make_numeric(kxDOUBLE_CLASS, shape_of(a));
    double* out = kxGetPr(numbers.get());
    for (kxSize i = 0; i < kxGetNumberOfElements(a); ++i) out[i] = text_to_number(kxGetCell(a, i));
    call.set_output(0, std::move(numbers));
  });
}

}  // namespace krt::library::builtin
