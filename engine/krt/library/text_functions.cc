// Text functions: strcmp strcmpi strcat upper lower strtrim.
#include <algorithm>
#include <string>
#include <vector>

#include "krt/library/arguments.h"
#include "krt/library/builtins.h"
#include "krt/library/elements.h"
#include "krt/library/shape.h"
#include "krt/library/text.h"

namespace krt::library::builtin {
namespace {

// ---- Comparison ------------------------------------------------------------------

// Two char arrays of the same size with the same characters (ignoring case).
bool same_text(const kxArray* a, const kxArray* b, bool ignore_case) {
  if (!kxIsChar(a) || !kxIsChar(b) || shape_of(a) != shape_of(b)) return false;
  std::u16string x = units_of(a), y = units_of(b);
  if (!ignore_case) return x == y;
  return std::equal(x.begin(), x.end(), y.begin(),
                    [](char16_t p, char16_t q) { return lower_case(p) == lower_case(q); });
}

// Texts compare with texts; a cell compares element by element with a text or with a
// cell of the same size (or of one element); anything else is not equal.
Value compare_texts(const Call& call, bool ignore_case) {
  const kxArray* a = call.input(0);
  const kxArray* b = call.input(1);
  if (!kxIsCell(a) && !kxIsCell(b)) return make_logical(same_text(a, b, ignore_case));
  bool both = kxIsCell(a) && kxIsCell(b);
  if (both && shape_of(a) != shape_of(b) && !kxIsScalar(a) && !kxIsScalar(b))
    call.fail("sizeMismatch", "Cell arrays compared by " + std::string(call.name()) +
                                  " must be the same size or have one element; they are " +
                                  describe(a) + " and " + describe(b) + ".");
  const kxArray* shaper = kxIsCell(a) && !(both && kxIsScalar(a)) ? a : b;
  Value result = checked(
      kxCreateLogicalArray(kxGetNumberOfDimensions(shaper), kxGetDimensions(shaper)));
  kxLogical* out = kxGetLogicals(result.get());
  auto element = [](const kxArray* x, kxSize i) -> const kxArray* {
    if (!kxIsCell(x)) return x;
    return kxGetCell(x, kxIsScalar(x) ? 0 : i);
  };
  for (kxSize i = 0; i < kxGetNumberOfElements(shaper); ++i)
    out[i] = same_text(element(a, i), element(b, i), ignore_case);
  return result;
}

// ---- Changing text ---------------------------------------------------------------

// The char array `a` with `change` applied to every character, shape kept.
Value map_characters(const kxArray* a, char16_t (*change)(char16_t)) {
  Value out = checked(kxDuplicateArray(a));
  kxChar* chars = kxGetChars(out.get());
  for (kxSize i = 0; i < kxGetNumberOfElements(a); ++i)
    chars[i] = change(static_cast<char16_t>(chars[i]));
  return out;
}

// Applies `change` to a char array, or to every element of a cell of char arrays.
Value map_text_or_cell(const Call& call, Value (*change)(const Call&, const kxArray*)) {
  const kxArray* a = call.input(0);
  if (kxIsChar(a)) return change(call, a);
  if (!kxIsCell(a))
    call.fail("badType", std::string(call.name()) +
                             " takes text or a cell array of texts, not a " + describe(a) + ".");
  Value out = checked(kxCreateCellArray(kxGetNumberOfDimensions(a), kxGetDimensions(a)));
  for (kxSize i = 0; i < kxGetNumberOfElements(a); ++i) {
    const kxArray* element = kxGetCell(a, i);
    if (!element) continue;
    if (!kxIsChar(element))
      call.fail("badType", "Every element of a cell given to " + std::string(call.name()) +
                               " must be text; element " + std::to_string(i + 1) + " is a " +
                               describe(element) + ".");
    put_cell(out.get(), i, change(call, element));
  }
  return out;
}

bool is_trimmed_blank(char16_t c) { return is_whitespace(c) || c == u'\0'; }

// Leading and trailing columns in which every row is blank are removed.
Value trim_columns(const Call&, const kxArray* a) {
  std::vector<std::u16string> rows = rows_of(a);
  std::size_t width = kxGetN(a);
  auto blank_column = [&](std::size_t c) {
    return std::all_of(rows.begin(), rows.end(),
                       [&](const std::u16string& row) { return is_trimmed_blank(row[c]); });
  };
  std::size_t first = 0, last = width;
  while (first < last && blank_column(first)) ++first;
  while (last > first && blank_column(last - 1)) --last;
  for (auto& row : rows) row = row.substr(first, last - first);
  if (rows.empty()) return checked(kxCreateCharMatrix(0, 0));
  return make_char_rows(rows);
}

Value to_upper(const Call&, const kxArray* a) { return map_characters(a, upper_case); }
Value to_lower(const Call&, const kxArray* a) { return map_characters(a, lower_case); }

// ---- Joining ---------------------------------------------------------------------

// Char arguments: trailing blank columns go, then the rows are joined side by side.
Value join_char_arrays(const Call& call) {
  std::vector<std::u16string> joined;
  bool have_rows = false;
  for (int k = 0; k < call.input_count(); ++k) {
    const kxArray* a = call.input(k);
    if (kxIsEmpty(a) && kxGetClassID(a) != kxCELL_CLASS && kxGetClassID(a) != kxSTRUCT_CLASS)
      continue;
    if (!kxIsChar(a))
      call.fail("badType", "strcat joins texts or cell arrays of texts; the " + ordinal(k) +
                               " input is a " + describe(a) + ".");
    std::vector<std::u16string> rows = rows_of(a);
    std::size_t width = kxGetN(a);
    while (width > 0 && std::all_of(rows.begin(), rows.end(), [&](const std::u16string& row) {
             return is_whitespace(row[width - 1]);
           }))
      --width;
    if (!have_rows) {
      joined.assign(rows.size(), u"");
      have_rows = true;
    } else if (rows.size() != joined.size()) {
      call.fail("sizeMismatch", "Texts joined by strcat must have the same number of rows.");
    }
    for (std::size_t r = 0; r < rows.size(); ++r) joined[r] += rows[r].substr(0, width);
  }
  if (!have_rows) return checked(kxCreateCharMatrix(0, 0));
  return make_char_rows(joined);
}

// With a cell argument: the texts are joined element by element into a cell; text
// arguments and cells of one element join with every element.
Value join_cells(const Call& call) {
  const kxArray* shaper = nullptr;
  for (const kxArray* a : call.inputs()) {
    if (!kxIsCell(a) || kxIsScalar(a)) continue;
    if (shaper && shape_of(shaper) != shape_of(a))
      call.fail("sizeMismatch", "Cell arrays joined by strcat must be the same size or have "
                                "one element.");
    shaper = a;
  }
  Shape dims = shaper ? shape_of(shaper) : Shape{1, 1};
  kxSize count = element_count(dims);
  std::vector<std::u16string> texts(count);
  for (int k = 0; k < call.input_count(); ++k) {
    const kxArray* a = call.input(k);
    for (kxSize i = 0; i < count; ++i) {
      const kxArray* part = kxIsCell(a) ? kxGetCell(a, kxIsScalar(a) ? 0 : i) : a;
      if (!part) continue;
      if (!is_text(part))
        call.fail("badType", "strcat joins texts (char row vectors); the " + ordinal(k) +
                                 " input has a " + describe(part) + ".");
      texts[i] += units_of(part);
    }
  }
  Value out = checked(kxCreateCellArray(dims.size(), dims.data()));
  for (kxSize i = 0; i < count; ++i) put_cell(out.get(), i, make_text(texts[i]));
  return out;
}

}  // namespace

void strcmp(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  run("strcmp", {2, 2, 1}, context, nargout, outputs, inputs,
      [](Call& call) { call.set_output(0, compare_texts(call, false)); });
}

void strcmpi(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  run("strcmpi", {2, 2, 1}, context, nargout, outputs, inputs,
      [](Call& call) { call.set_output(0, compare_texts(call, true)); });
}

void strcat(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  run("strcat", {1, kUnlimited, 1}, context, nargout, outputs, inputs, [](Call& call) {
    auto inputs = call.inputs();
    bool any_cell = std::any_of(inputs.begin(), inputs.end(), kxIsCell);
    call.set_output(0, any_cell ? join_cells(call) : join_char_arrays(call));
  });
}

void upper(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  run("upper", {1, 1, 1}, context, nargout, outputs, inputs,
      [](Call& call) { call.set_output(0, map_text_or_cell(call, to_upper)); });
}

void lower(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  run("lower", {1, 1, 1}, context, nargout, outputs, inputs,
      [](Call& call) { call.set_output(0, map_text_or_cell(call, to_lower)); });
}

void strtrim(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  run("strtrim", {1, 1, 1}, context, nargout, outputs, inputs,
      [](Call& call) { call.set_output(0, map_text_or_cell(call, trim_columns)); });
}

}  // namespace krt::library::builtin
