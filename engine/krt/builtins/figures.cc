// figure, close, allchild, findobj: headless figures. The root object is handle 0.
#include <algorithm>
#include <cmath>

#include "krt/builtins/arguments.h"
#include "krt/builtins/intrinsics.h"
#include "krt/instance_impl.h"
#include "krt/library/format.h"

namespace krt::builtins {
namespace {

using lang::CallContext;
using lang::ValueList;

Figures& figures_of(CallContext& c) { return instance_of(c).figures; }

Value column_of(const std::vector<double>& handles) {
  Value v = checked(kxCreateDoubleMatrix(handles.size(), 1, kxREAL));
  std::copy(handles.begin(), handles.end(), kxGetPr(v.get()));
  return v;
}

std::vector<double> numbers_of(const kxArray* a, const char* function) {
  if (!kxIsNumeric(a) || kxIsComplex(a) || kxIsSparse(a))
    kx::raise(std::string("Korel:") + function + ":badHandle",
              std::string("The handles given to ") + function + " must be numbers.");
  std::vector<double> values(kxGetNumberOfElements(a));
  if (!values.empty() &&
      !kxConvertBufferToType(values.data(), kxDOUBLE_CLASS, kxGetData(a), kxGetClassID(a),
                             values.size()))
    kx::raise(std::string("Korel:") + function + ":badHandle", "Unreadable handles.");
  return values;
}

int figure_number(double h) {
  return h >= 1 && h == std::floor(h) && h < 2147483647.0 ? static_cast<int>(h) : 0;
}

// 'on'/'off' of a property value.
bool on_off(const kxArray* value, const char* function) {
  const std::string id = std::string("Korel:") + function + ":badValue";
  if (!is_text(value)) kx::raise(id, "Expected 'on' or 'off'.");
  std::string v = library::text_of(value, id.c_str());
  if (same_text(v, "on")) return true;
  if (same_text(v, "off")) return false;
  kx::raise(id, "Expected 'on' or 'off', not '" + v + "'.");
}

void figure(CallContext& c, int nargout, ValueList& out, ValueList& in) {
  std::size_t next = 0;
  int handle = 0;
  if (!in.empty() && kxIsNumeric(in[0].get())) {
    std::vector<double> n = numbers_of(in[0].get(), "figure");
    if (n.size() != 1 || !(handle = figure_number(n[0])))
      kx::raise("Korel:figure:badHandle", "A figure number must be a positive whole number.");
    next = 1;
  }
  if ((in.size() - next) % 2)
    kx::raise("Korel:figure:badArguments", "Figure properties come in name/value pairs.");
  bool visible = true;
  for (std::size_t i = next; i < in.size(); i += 2) {
    std::string property = text_argument(in, i, "figure");
    if (same_text(property, "Visible")) visible = on_off(in[i + 1].get(), "figure");
  }
  Figures& figures = figures_of(c);
  bool existed = false;
  for (const Figures::Figure& f : figures.list()) existed |= f.handle == handle;
  int opened = figures.open(handle, visible);
  if (existed && next < in.size()) figures.set_visible(opened, visible);
  if (nargout > 0) out.push_back(make_double(opened));
}

void close(CallContext& c, int nargout, ValueList& out, ValueList& in) {
  check_inputs(in, 0, 1, "close");
  Figures& figures = figures_of(c);
  if (in.empty()) {
    if (int current = figures.current()) figures.close(current);
  } else if (is_text(in[0].get())) {
    std::string what = text_argument(in, 0, "close");
    if (!same_text(what, "all"))
      kx::raise("Korel:close:badArgument", "close takes figure handles or 'all'.");
    figures.close_all();
  } else {
    for (double h : numbers_of(in[0].get(), "close"))
      if (!figures.close(figure_number(h)))
        kx::raise("Korel:close:badHandle", "Invalid figure handle.");
  }
  if (nargout > 0) out.push_back(make_logical(true));
}

// Handles of every figure, the most recent first, as the root lists its children.
std::vector<double> children_of_root(Figures& figures) {
  std::vector<double> handles;
  for (const Figures::Figure& f : figures.list()) handles.insert(handles.begin(), f.handle);
  return handles;
}

void allchild(CallContext& c, int, ValueList& out, ValueList& in) {
  check_inputs(in, 1, 1, "allchild");
  std::vector<double> handles = numbers_of(in[0].get(), "allchild");
  std::vector<double> children;
  for (double h : handles)
    if (h == 0) {
      std::vector<double> all = children_of_root(figures_of(c));
      children.insert(children.end(), all.begin(), all.end());
    }
  out.push_back(column_of(children));
}

void findobj(CallContext& c, int, ValueList& out, ValueList& in) {
  Figures& figures = figures_of(c);
  std::size_t next = 0;
  std::vector<double> handles;
  if (!in.empty() && !is_text(in[0].get())) {
    handles = numbers_of(in[0].get(), "findobj");
    next = 1;
  } else {
    handles = {0};
  }
  bool flat = false;
  if (next < in.size() && is_text(in[next].get()) &&
      same_text(text_argument(in, next, "findobj"), "flat")) {
    flat = true;
    ++next;
  }
  // Without 'flat' the search covers the objects and everything below them.
  std::vector<double> candidates = handles;
  if (!flat)
    for (double h : handles)
      if (h == 0)
        for (double child : children_of_root(figures)) candidates.push_back(child);
  if ((in.size() - next) % 2)
    kx::raise("Korel:findobj:badArguments", "Properties come in name/value pairs.");
  std::vector<Figures::Figure> open = figures.list();
  std::vector<double> found;
  for (double h : candidates) {
    auto figure = std::find_if(open.begin(), open.end(),
                               [&](const Figures::Figure& f) { return f.handle == h; });
    const bool is_root = h == 0;
    if (!is_root && figure == open.end()) continue;  // not an object (any more)
    bool matches = true;
    for (std::size_t i = next; i < in.size() && matches; i += 2) {
      std::string property = text_argument(in, i, "findobj");
      std::string value = is_text(in[i + 1].get()) ? text_argument(in, i + 1, "findobj") : "";
      if (same_text(property, "Type"))
        matches = same_text(value, is_root ? "root" : "figure");
      else if (same_text(property, "Visible"))
        matches = same_text(value, is_root || figure->visible ? "on" : "off");
      else
        matches = false;  // a property these objects do not have
    }
    if (matches) found.push_back(h);
  }
  out.push_back(column_of(found));
}

}  // namespace

// Figures are recorded, never drawn: there are no axes or plotting functions.
const lang::IntrinsicEntry kFigureFunctions[] = {
    {"figure", figure,
     "Opens a figure, or makes figure N current, and gives its handle; only 'Visible' of its "
     "properties is kept. Nothing is drawn."},
    {"close", close, "Closes the current figure, the figures of some handles, or 'all'."},
    {"allchild", allchild, "allchild(0): the handles of the open figures, the most recent first."},
    {"findobj", findobj,
     "Handles of the root (0) and figures whose 'Type' and 'Visible' match; 'flat' leaves out "
     "the figures under the root."},
    {nullptr, nullptr}};

}  // namespace krt::builtins
