// Display text of arrays: what kxArrayToDisplayText returns and what the C++ API's
// to_string shows. Callers compare these texts, so the format below is a contract;
// change it only together with its tests.
//
// Name. With a name N (neither NULL nor empty) a one-line value prints as
// "N = value\n" and a block as "N =\n" followed by the block. Without a name only the
// value line or the block is printed. Dimensions print as "2x3x4". A NULL array
// prints as "[]".
//
// Numbers (dense numeric and logical arrays). All elements of an array share one form:
//   - integer classes and logical: the exact integer ("-128", "1");
//   - double and single, judged on all finite real and imaginary parts together:
//     integers when all are integral and below 1e9 in magnitude ("3", "-12"); else
//     4 decimals when all are below 1e5 and none that is non-zero is below 1e-3
//     ("3.1416", "0.0010"); else exponent form with 4 decimals ("1.0000e+10",
//     "-2.5000e-07");
//   - NaN, Inf and -Inf print as such in every form; -0 prints as 0.
//   A complex element prints as "a + bi" or "a - bi" ("1 + 2i", "1.5000 - 0.2500i").
//   A scalar is a one-line value ("x = 3.1416"); an empty array is "[](0x3)". Other
//   arrays are a block of rows, every element right-aligned in one width for the whole
//   array: the widest element plus 3, so columns stay at least 3 blanks apart. The
//   rows end with a blank line. N-D arrays print one 2-D page after another, each
//   headed "N(:,:,2) =" ("(:,:,2) =" without a name) and ending with its blank line.
//
// Sparse (double, logical). No value stored: "All zero sparse: 3x3". Otherwise a block
//   with one line per stored value in column order: the 1-based "(row,col)"
//   right-aligned in the widest such width plus 2, then the value right-aligned in the
//   widest value width plus 4 (values formatted together, as for a dense array); a
//   blank line ends the list. Index blocks that do not form a valid structure print
//   "<invalid sparse structure>".
//
// Char. A 1xN array is one line 'text'; 1x0 and 0x0 give ''; other empty arrays
//   ''(0x3). Other arrays are a block: each row quoted on its own line, indented by 2,
//   pages as for numbers, each ending with a blank line. Text is UTF-8; a zero code
//   unit shows as a blank, so that the returned text never ends early.
//
// Summaries describe cell elements and struct fields and never look deeper:
//   - an empty place or a 0x0 double: []
//   - a dense numeric or logical scalar: its value as above ("3.1416", "1 + 2i");
//   - a 1xN char array of at most 20 code units, none a control character: 'text'
//     (1x0 and 0x0 give '');
//   - a function handle: @name, or an anonymous function's text;
//   - anything else: size and class, "2x2 double", "3x3 sparse double", "2x2 logical",
//     "1x1 struct", "1x1 Point" (an object's class), "1x2 cell".
//   As a struct field, size and class are in brackets, "[2x2 double]", or in braces for
//   a cell, "{1x2 cell}". In a cell every element is in braces and a value in brackets
//   inside them: {[1]} {'ab'} {@f} {[]} {2x2 double} {1x2 cell}.
//
// Cell. Empty: "{}(0x3)". Otherwise the block "  1x3 cell array\n" then, for each row,
//   the elements indented by 4 and left-aligned, each column as wide as its widest
//   element (in characters) and 4 blanks from the next, no trailing blanks. N-D cells
//   put a line "  (:,:,2) =" before each page's rows.
//
// Struct. 1x1: "  struct with fields:\n\n" then a line per field, the names
//   right-aligned so that the colons sit 4 columns past the longest name ("    a: 1").
//   Any other size: "  2x1 struct array with fields:\n" then each field name indented
//   by 4. Without fields: "  struct with no fields.\n", "  2x1 struct array with no
//   fields.\n".
// Object. As a struct, with "Point object" (its class name) for "struct" and
//   "properties" for "fields": "  Point object with properties:\n\n    x: 1\n".
//   An object the engine attaches data to shows the block that data describes
//   (containers.Map: "  containers.Map with properties:\n\n        Count: 2\n..."),
//   unless it describes nothing.
// Function handle: "@name"; an anonymous function as written ("@(x) x + 1"). Opaque: "<opaque Type, 16 bytes>" ("1 byte" for one).
//   Anything else (classes 0 and 5, empty handle or opaque arrays): "<class 0x0>".
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "korel/kx.h"
#include "kx/array.h"
#include "kx/error.h"
#include "kx/payload.h"
#include "kx/text.h"

namespace kx {
namespace {

// Longest number text: "-9223372036854775808", "-1.7977e+308".
constexpr std::size_t kNumberChars = 32;
// Longest element text: two numbers, " + " and "i".
constexpr std::size_t kElementChars = 2 * kNumberChars + 8;

// Summaries show a char row inline up to this many code units.
constexpr std::size_t kInlineTextUnits = 20;

// "@name" for a handle by name; an anonymous function's name is its text, "@" included.
std::string handle_text(const kxArray* handle) {
  const char* name = kxGetFunctionName(handle);
  return name[0] == '@' ? std::string(name) : std::string("@") + name;
}

std::string dims_text(const kxArray* a) {
  std::string out;
  const kxSize* dims = kxGetDimensions(a);
  kxSize ndim = kxGetNumberOfDimensions(a);
  for (kxSize k = 0; k < ndim; ++k) {
    if (k > 0) out += 'x';
    out += std::to_string(dims[k]);
  }
  return out;
}

// Columns a text takes: its code points, which is what alignment needs short of
// knowing glyph widths.
std::size_t columns(std::string_view text) {
  return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char c) {
    return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
  }));
}

void line(std::string& out, const char* name, std::string_view value) {
  if (name) {
    out += name;
    out += " = ";
  }
  out += value;
  out += '\n';
}

void block_header(std::string& out, const char* name) {
  if (name) {
    out += name;
    out += " =\n";
  }
}

// "name(:,:,2,1) =" for the zero-based page of an N-D array.
void page_label(std::string& out, const char* name, const kxSize* dims, kxSize ndim,
                kxSize page) {
  if (name) out += name;
  out += "(:,:";
  for (kxSize k = 2; k < ndim; ++k) {
    out += ',';
    out += std::to_string(page % dims[k] + 1);
    page /= dims[k];
  }
  out += ") =\n";
}

// ---- Numbers ------------------------------------------------------------------

enum class Style { kInteger, kFixed, kExponent };

std::size_t put(char* buf, std::string_view text) {
  std::memcpy(buf, text.data(), text.size());
  return text.size();
}

template <class T>
std::size_t format_real(T value, Style style, char* buf) {
  char* end = buf + kNumberChars;
  if constexpr (std::is_floating_point_v<T>) {
    double v = value;
    if (std::isnan(v)) return put(buf, "NaN");
    if (std::isinf(v)) return put(buf, v < 0 ? "-Inf" : "Inf");
    if (v == 0) v = 0;  // no "-0"
    std::to_chars_result r;
    switch (style) {
      case Style::kInteger: r = std::to_chars(buf, end, v, std::chars_format::fixed, 0); break;
      case Style::kFixed: r = std::to_chars(buf, end, v, std::chars_format::fixed, 4); break;
      default: r = std::to_chars(buf, end, v, std::chars_format::scientific, 4); break;
    }
    return static_cast<std::size_t>(r.ptr - buf);
  } else if constexpr (std::is_signed_v<T>) {
    return static_cast<std::size_t>(
        std::to_chars(buf, end, static_cast<long long>(value)).ptr - buf);
  } else {
    return static_cast<std::size_t>(
        std::to_chars(buf, end, static_cast<unsigned long long>(value)).ptr - buf);
  }
}

template <class T>
Style choose_style(const T* re, const T* im, std::size_t count) {
  if constexpr (!std::is_floating_point_v<T>) {
    return Style::kInteger;
  } else {
    bool integral = true;
    double largest = 0;
    double smallest = std::numeric_limits<double>::infinity();  // of the non-zero ones
    auto see = [&](double v) {
      if (!std::isfinite(v)) return;
      double magnitude = std::fabs(v);
      if (magnitude != std::trunc(magnitude)) integral = false;
      largest = std::max(largest, magnitude);
      if (magnitude != 0) smallest = std::min(smallest, magnitude);
    };
    for (std::size_t i = 0; i < count; ++i) {
      see(re[i]);
      if (im) see(im[i]);
    }
    if (integral && largest < 1e9) return Style::kInteger;
    if (largest < 1e5 && smallest >= 1e-3) return Style::kFixed;
    return Style::kExponent;
  }
}

// The elements of one array (or the stored values of a sparse one) in their common form.
template <class T>
class Numbers {
 public:
  Numbers(const void* re, const void* im, std::size_t count)
      : re_(static_cast<const T*>(re)),
        im_(static_cast<const T*>(im)),
        style_(choose_style(re_, im_, count)) {}

  // Element i into buf (kElementChars long); returns its length.
  std::size_t format(std::size_t i, char* buf) const {
    std::size_t n = format_real(re_[i], style_, buf);
    if (!im_) return n;
    char part[kNumberChars];
    std::size_t m = format_real(im_[i], style_, part);
    bool negative = part[0] == '-';
    n += put(buf + n, negative ? " - " : " + ");
    n += put(buf + n, std::string_view(part + negative, m - negative));
    buf[n++] = 'i';
    return n;
  }

 private:
  const T* re_;
  const T* im_;
  Style style_;
};

// Calls f with a null pointer of the element type of a numeric or logical class.
template <class F>
void with_number_type(kxClassID cls, F&& f) {
  switch (cls) {
    case kxDOUBLE_CLASS: return f(static_cast<kxDouble*>(nullptr));
    case kxSINGLE_CLASS: return f(static_cast<kxSingle*>(nullptr));
    case kxINT8_CLASS: return f(static_cast<kxInt8*>(nullptr));
    case kxUINT8_CLASS: return f(static_cast<kxUint8*>(nullptr));
    case kxINT16_CLASS: return f(static_cast<kxInt16*>(nullptr));
    case kxUINT16_CLASS: return f(static_cast<kxUint16*>(nullptr));
    case kxINT32_CLASS: return f(static_cast<kxInt32*>(nullptr));
    case kxUINT32_CLASS: return f(static_cast<kxUint32*>(nullptr));
    case kxINT64_CLASS: return f(static_cast<kxInt64*>(nullptr));
    case kxUINT64_CLASS: return f(static_cast<kxUint64*>(nullptr));
    default: return f(static_cast<kxLogical*>(nullptr));
  }
}

std::string scalar_text(const kxArray* a) {
  std::string text;
  with_number_type(kxGetClassID(a), [&](auto* tag) {
    using T = std::remove_pointer_t<decltype(tag)>;
    char buf[kElementChars];
    Numbers<T> numbers(kxGetData(a), kxGetImagData(a), 1);
    text.assign(buf, numbers.format(0, buf));
  });
  return text;
}

template <class T>
void number_grid(std::string& out, const kxArray* a, const char* name) {
  kxSize count = kxGetNumberOfElements(a);
  Numbers<T> numbers(kxGetData(a), kxGetImagData(a), count);
  char buf[kElementChars];
  std::size_t widest = 0;
  for (kxSize i = 0; i < count; ++i) widest = std::max(widest, numbers.format(i, buf));
  const std::size_t width = widest + 3;

  const kxSize* dims = kxGetDimensions(a);
  kxSize ndim = kxGetNumberOfDimensions(a);
  kxSize m = dims[0], n = dims[1], page_size = m * n, pages = count / page_size;
  std::size_t label = ndim > 2 ? (name ? std::strlen(name) : 0) + 8 + 4 * ndim : 0;
  out.reserve(out.size() + 64 + pages * (label + m * (n * width + 1) + 1));
  if (ndim == 2) block_header(out, name);
  for (kxSize p = 0; p < pages; ++p) {
    if (ndim > 2) page_label(out, name, dims, ndim, p);
    for (kxSize r = 0; r < m; ++r) {
      for (kxSize c = 0; c < n; ++c) {
        std::size_t length = numbers.format(p * page_size + c * m + r, buf);
        out.append(width - length, ' ');
        out.append(buf, length);
      }
      out += '\n';
    }
    out += '\n';
  }
}

void number_display(std::string& out, const kxArray* a, const char* name) {
  kxSize count = kxGetNumberOfElements(a);
  if (count == 0) return line(out, name, "[](" + dims_text(a) + ")");
  if (count == 1) return line(out, name, scalar_text(a));
  with_number_type(kxGetClassID(a), [&](auto* tag) {
    number_grid<std::remove_pointer_t<decltype(tag)>>(out, a, name);
  });
}

// ---- Sparse -------------------------------------------------------------------

std::size_t index_text(kxSize row, kxSize col, char* buf) {
  char* end = buf + kElementChars;
  char* p = buf;
  *p++ = '(';
  p = std::to_chars(p, end, static_cast<unsigned long long>(row) + 1).ptr;
  *p++ = ',';
  p = std::to_chars(p, end, static_cast<unsigned long long>(col) + 1).ptr;
  *p++ = ')';
  return static_cast<std::size_t>(p - buf);
}

template <class T>
void sparse_list(std::string& out, const kxArray* a, const char* name) {
  kxSize n = kxGetDimensions(a)[1];
  const kxIndex* jc = kxGetJc(a);
  const kxIndex* ir = kxGetIr(a);
  kxSize stored = jc[n];
  Numbers<T> numbers(kxGetData(a), kxGetImagData(a), stored);
  char buf[kElementChars];
  std::size_t index_width = 0, value_width = 0;
  for (kxSize c = 0; c < n; ++c) {
    for (kxIndex k = jc[c]; k < jc[c + 1]; ++k) {
      index_width = std::max(index_width, index_text(ir[k], c, buf));
      value_width = std::max(value_width, numbers.format(k, buf));
    }
  }
  index_width += 2;
  value_width += 4;
  out.reserve(out.size() + 64 + stored * (index_width + value_width + 1));
  block_header(out, name);
  for (kxSize c = 0; c < n; ++c) {
    for (kxIndex k = jc[c]; k < jc[c + 1]; ++k) {
      std::size_t length = index_text(ir[k], c, buf);
      out.append(index_width - length, ' ');
      out.append(buf, length);
      length = numbers.format(k, buf);
      out.append(value_width - length, ' ');
      out.append(buf, length);
      out += '\n';
    }
  }
  out += '\n';
}

void sparse_display(std::string& out, const kxArray* a, const char* name) {
  // Callers can write the index blocks; never walk them before they check out.
  if (!sparse_structure_valid(*a)) return line(out, name, "<invalid sparse structure>");
  if (kxGetJc(a)[kxGetDimensions(a)[1]] == 0)
    return line(out, name, "All zero sparse: " + dims_text(a));
  if (kxIsLogical(a)) return sparse_list<kxLogical>(out, a, name);
  sparse_list<kxDouble>(out, a, name);
}

// ---- Char ---------------------------------------------------------------------

// UTF-8 of `count` code units `stride` apart.
std::string char_text(const kxChar* units, std::size_t count, std::size_t stride) {
  std::vector<kxChar> row(count);
  for (std::size_t k = 0; k < count; ++k) {
    kxChar u = units[k * stride];
    row[k] = u == 0 ? u' ' : u;
  }
  return encode_utf8(row.data(), count);
}

void char_display(std::string& out, const kxArray* a, const char* name) {
  const kxSize* dims = kxGetDimensions(a);
  kxSize ndim = kxGetNumberOfDimensions(a);
  kxSize count = kxGetNumberOfElements(a);
  if (count == 0) {
    bool plain = ndim == 2 && dims[0] <= 1 && dims[1] == 0;
    return line(out, name, plain ? std::string("''") : "''(" + dims_text(a) + ")");
  }
  const kxChar* units = kxGetChars(a);
  if (ndim == 2 && dims[0] == 1) return line(out, name, "'" + char_text(units, dims[1], 1) + "'");

  kxSize m = dims[0], n = dims[1], page_size = m * n, pages = count / page_size;
  out.reserve(out.size() + 64 + pages * (16 + m * (n + 4) + 1));
  if (ndim == 2) block_header(out, name);
  for (kxSize p = 0; p < pages; ++p) {
    if (ndim > 2) page_label(out, name, dims, ndim, p);
    for (kxSize r = 0; r < m; ++r) {
      out += "  '";
      out += char_text(units + p * page_size + r, n, m);
      out += "'\n";
    }
    out += '\n';
  }
}

// ---- Summaries ----------------------------------------------------------------

struct Summary {
  enum Kind { kValue, kText, kSize, kCellSize } kind;
  std::string text;
};

bool inline_text(const kxArray* e) {
  const kxSize* dims = kxGetDimensions(e);
  if (kxGetNumberOfDimensions(e) != 2 || dims[0] != 1 || dims[1] > kInlineTextUnits) return false;
  const kxChar* units = kxGetChars(e);
  for (kxSize k = 0; k < dims[1]; ++k)
    if (units[k] < 0x20 || units[k] == 0x7F) return false;
  return true;
}

Summary summarize(const kxArray* e) {
  if (!e) return {Summary::kText, "[]"};
  kxClassID cls = kxGetClassID(e);
  const kxSize* dims = kxGetDimensions(e);
  bool sparse = kxIsSparse(e);
  if (!sparse && (kxIsNumeric(e) || cls == kxLOGICAL_CLASS)) {
    if (cls == kxDOUBLE_CLASS && kxGetNumberOfDimensions(e) == 2 && dims[0] == 0 && dims[1] == 0)
      return {Summary::kText, "[]"};
    if (kxGetNumberOfElements(e) == 1) return {Summary::kValue, scalar_text(e)};
  }
  if (cls == kxCHAR_CLASS && (kxGetNumberOfElements(e) == 0 ? kxGetNumberOfDimensions(e) == 2 &&
                                                                  dims[0] <= 1 && dims[1] == 0
                                                            : inline_text(e)))
    return {Summary::kText, "'" + char_text(kxGetChars(e), dims[1], 1) + "'"};
  if (cls == kxFUNCTION_CLASS && kxGetFunctionName(e))
    return {Summary::kText, handle_text(e)};
  std::string text = dims_text(e) + ' ';
  if (sparse) text += "sparse ";
  const char* object_class = kxGetObjectClassName(e);
  text += object_class && *object_class ? object_class : kxGetClassName(e);
  return {cls == kxCELL_CLASS ? Summary::kCellSize : Summary::kSize, std::move(text)};
}

std::string in_cell(const Summary& s) {
  return s.kind == Summary::kValue ? "{[" + s.text + "]}" : "{" + s.text + "}";
}

std::string in_field(const Summary& s) {
  switch (s.kind) {
    case Summary::kSize: return "[" + s.text + "]";
    case Summary::kCellSize: return "{" + s.text + "}";
    default: return s.text;
  }
}

// ---- Containers ---------------------------------------------------------------

void cell_display(std::string& out, const kxArray* a, const char* name) {
  kxSize count = kxGetNumberOfElements(a);
  if (count == 0) return line(out, name, "{}(" + dims_text(a) + ")");
  block_header(out, name);
  out += "  " + dims_text(a) + " cell array\n";

  const kxSize* dims = kxGetDimensions(a);
  kxSize ndim = kxGetNumberOfDimensions(a);
  kxSize m = dims[0], n = dims[1], page_size = m * n, pages = count / page_size;
  std::vector<std::string> texts(page_size);
  std::vector<std::size_t> widths(n);
  for (kxSize p = 0; p < pages; ++p) {
    if (ndim > 2) {
      out += "  ";
      page_label(out, nullptr, dims, ndim, p);
    }
    std::fill(widths.begin(), widths.end(), 0);
    std::size_t total = 0;
    for (kxSize i = 0; i < page_size; ++i) {
      texts[i] = in_cell(summarize(kxGetCell(a, p * page_size + i)));
      widths[i / m] = std::max(widths[i / m], columns(texts[i]));
      total += texts[i].size() + 4;
    }
    out.reserve(out.size() + total + m * (n * 4 + 5));
    for (kxSize r = 0; r < m; ++r) {
      out += "    ";
      for (kxSize c = 0; c < n; ++c) {
        const std::string& text = texts[c * m + r];
        out += text;
        if (c + 1 < n) out.append(widths[c] - columns(text) + 4, ' ');
      }
      out += '\n';
    }
  }
}

void struct_display(std::string& out, const kxArray* a, const char* name) {
  block_header(out, name);
  bool object = kxIsObject(a);
  std::string kind = "struct";
  if (object) {
    const char* cls = kxGetObjectClassName(a);
    kind = cls && *cls ? std::string(cls) + " object" : "object";
  }
  const char* members = object ? "properties" : "fields";
  bool single = kxGetNumberOfElements(a) == 1;
  int nfields = kxGetNumberOfFields(a);

  out += "  ";
  if (!single) out += dims_text(a) + ' ';
  out += kind;
  if (!single) out += " array";
  out += nfields == 0 ? " with no " : " with ";
  out += members;
  out += nfields == 0 ? ".\n" : ":\n";
  if (nfields == 0) return;

  if (!single) {
    for (int f = 0; f < nfields; ++f) {
      out += "    ";
      out += kxGetFieldNameByNumber(a, f);
      out += '\n';
    }
    return;
  }
  out += '\n';
  std::size_t widest = 0;
  for (int f = 0; f < nfields; ++f)
    widest = std::max(widest, columns(kxGetFieldNameByNumber(a, f)));
  for (int f = 0; f < nfields; ++f) {
    const char* field = kxGetFieldNameByNumber(a, f);
    out.append(widest + 4 - columns(field), ' ');
    out += field;
    out += ": ";
    out += in_field(summarize(kxGetFieldByNumber(a, 0, f)));
    out += '\n';
  }
}

// An object whose payload describes itself: its own block.
bool payload_display(std::string& out, const kxArray* a, const char* name) {
  const Payload* payload = payload_of(a);
  if (!payload) return false;
  std::string text = payload->describe();
  if (text.empty()) return false;
  block_header(out, name);
  out += text;
  return true;
}

// ---- Everything ---------------------------------------------------------------

std::string display_text(const kxArray* a, const char* name) {
  if (name && !*name) name = nullptr;
  std::string out;
  if (!a) {
    line(out, name, "[]");
    return out;
  }
  kxClassID cls = kxGetClassID(a);
  if (cls == kxOBJECT_CLASS && payload_display(out, a, name)) return out;
  if (kxIsSparse(a)) {
    sparse_display(out, a, name);
  } else if (cls == kxCHAR_CLASS) {
    char_display(out, a, name);
  } else if (kxIsNumeric(a) || cls == kxLOGICAL_CLASS) {
    number_display(out, a, name);
  } else if (cls == kxCELL_CLASS) {
    cell_display(out, a, name);
  } else if (cls == kxSTRUCT_CLASS || cls == kxOBJECT_CLASS) {
    struct_display(out, a, name);
  } else if (cls == kxFUNCTION_CLASS && kxGetFunctionName(a)) {
    line(out, name, handle_text(a));
  } else if (cls == kxOPAQUE_CLASS && kxGetNumberOfElements(a) == 1) {
    std::size_t size = 0;
    kxGetOpaqueData(a, &size);
    line(out, name, std::string("<opaque ") + kxGetOpaqueTypeName(a) + ", " +
                        std::to_string(size) + (size == 1 ? " byte>" : " bytes>"));
  } else {
    line(out, name, std::string("<") + kxGetClassName(a) + " " + dims_text(a) + ">");
  }
  return out;
}

}  // namespace
}  // namespace kx

extern "C" char* kxArrayToDisplayText(const kxArray* a, const char* name) {
  return kx::guarded(
      [&] { return kx::copy_for_caller(kx::display_text(a, name)); },
      static_cast<char*>(nullptr));
}
