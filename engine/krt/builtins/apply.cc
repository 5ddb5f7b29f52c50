// cellfun, arrayfun, structfun: a function applied to each element, its results
// gathered into arrays (uniform output) or cells.
#include <algorithm>
#include <cmath>
#include <functional>
#include <optional>

#include "krt/array/operations.h"
#include "krt/builtins/arguments.h"
#include "krt/builtins/handles.h"
#include "krt/builtins/intrinsics.h"
#include "krt/library/elements.h"
#include "krt/library/shape.h"
#include "kx/error.h"

namespace krt::builtins {
namespace {

using lang::CallContext;
using lang::ValueList;
using library::Shape;

std::string id(const char* function, const char* reason) {
  return std::string("Korel:") + function + ":" + reason;
}

// The trailing 'UniformOutput' and 'ErrorHandler' pairs, taken off the inputs.
struct Options {
  bool uniform = true;
  Value error_handler;
};

Options take_options(ValueList& in, std::size_t first_data, const char* function) {
  Options options;
  while (in.size() >= first_data + 3 && is_text(in[in.size() - 2].get())) {
    std::string name = text_argument(in, in.size() - 2, function);
    Value value = std::move(in.back());
    if (same_text(name, "UniformOutput")) {
      const kxArray* v = value.get();
      if ((!kxIsNumeric(v) && !kxIsLogical(v)) || kxGetNumberOfElements(v) != 1)
        kx::raise(id(function, "badOption"), "'UniformOutput' must be true or false.");
      options.uniform = kxGetScalar(v) != 0;
    } else if (same_text(name, "ErrorHandler")) {
      options.error_handler = callable(value, function);
    } else {
      break;
    }
    in.pop_back();
    in.pop_back();
  }
  return options;
}

// One application: `count` calls of `function`, the arguments of call i made by
// `arguments_of`; the k-th results of every call in order.
class Application {
 public:
  Application(CallContext& c, const char* name, int nargout, Value function, Options options)
      : c_(c), name_(name), nargout_(nargout), function_(std::move(function)),
        options_(std::move(options)), results_(static_cast<std::size_t>(std::max(nargout, 1))) {}

  void run(std::size_t count, const std::function<void(std::size_t, ValueList&)>& arguments_of) {
    for (std::size_t i = 0; i < count; ++i) {
      ValueList args, out;
      arguments_of(i, args);
      call(i, args, out);
      keep(i, out);
    }
  }

  // Whether calls gave nothing at all (allowed only when no output is asked for).
  bool silent() const { return silent_; }
  std::vector<Value>& results(std::size_t k) { return results_[k]; }
  bool uniform() const { return options_.uniform; }
  std::size_t outputs() const { return results_.size(); }

 private:
  void call(std::size_t i, ValueList& args, ValueList& out) {
    if (!options_.error_handler) return apply(function_, args, out);
    ValueList kept;
    for (const Value& a : args) kept.push_back(a.share());
    try {
      apply(function_, args, out);
    } catch (const kx::KorelError& e) {
      const char* fields[] = {"message", "identifier", "index"};
      Value report = checked(kxCreateStructMatrix(1, 1, 3, fields));
      kxSetField(report.get(), 0, "message", make_string(e.what()).release());
      kxSetField(report.get(), 0, "identifier", make_string(e.identifier()).release());
      kxSetField(report.get(), 0, "index", make_double(static_cast<double>(i + 1)).release());
      kept.insert(kept.begin(), std::move(report));
      out.clear();
      apply(options_.error_handler, kept, out);
    }
  }

  void apply(const Value& function, ValueList& args, ValueList& out) {
    c_.interpreter.call_handle(function.get(), c_.caller, nargout_, out, args);
  }

  void keep(std::size_t i, ValueList& out) {
    const std::size_t wanted = results_.size();
    if (out.empty() && nargout_ == 0) {
      if (i > 0 && !silent_)
        kx::raise(id(name_, "noOutput"),
                  "The function gave no value at index " + std::to_string(i + 1) +
                      " where it gave one before.");
      silent_ = true;
      return;
    }
    if (silent_)
      kx::raise(id(name_, "noOutput"), "The function gave a value at index " +
                                           std::to_string(i + 1) + " but none before.");
    for (std::size_t k = 0; k < wanted; ++k) {
      if (k >= out.size() || !out[k])
        kx::raise("Korel:TooManyOutputs", "Too many output arguments.");
      if (options_.uniform) check_uniform(i, k, out[k]);
      results_[k].push_back(std::move(out[k]));
    }
  }

  void check_uniform(std::size_t i, std::size_t k, const Value& v) {
    const kxArray* a = v.get();
    const std::string where =
        "at index " + std::to_string(i + 1) + " (output " + std::to_string(k + 1) + ")";
    if (!library::is_value_class(kxGetClassID(a)) || kxIsSparse(a) ||
        kxGetNumberOfElements(a) != 1)
      kx::raise(id(name_, "notScalarOutput"),
                "A uniform output must be one logical, numeric or char value, not a " +
                    std::to_string(kxGetM(a)) + "x" + std::to_string(kxGetN(a)) + " " +
                    kxGetClassName(a) + " " + where + ". Set 'UniformOutput' to false.");
    if (!results_[k].empty() && kxGetClassID(results_[k].front().get()) != kxGetClassID(a))
      kx::raise(id(name_, "mismatchedOutput"),
                std::string("Mismatch in type of outputs ") + where + ": " + kxGetClassName(a) +
                    " after " + kxGetClassName(results_[k].front().get()) +
                    ". Set 'UniformOutput' to false.");
  }

  CallContext& c_;
  const char* name_;
  int nargout_;
  Value function_;
  Options options_;
  std::vector<std::vector<Value>> results_;
  bool silent_ = false;
};

// Scalars of one class gathered into an array of `dims` (an empty double when none).
Value uniform_array(std::vector<Value>& values, const Shape& dims) {
  if (values.empty()) return checked(kxCreateNumericArray(dims.size(), dims.data(), kxDOUBLE_CLASS, kxREAL));
  const kxClassID cls = kxGetClassID(values.front().get());
  bool complex = false;
  for (const Value& v : values) complex = complex || kxIsComplex(v.get());
  Value out = library::make_numeric(cls, dims, complex);
  void* real = kxGetData(out.get());
  void* imag = complex ? kxGetImagData(out.get()) : nullptr;
  for (kxSize i = 0; i < values.size(); ++i) {
    library::ElementReader r(values[i].get());
    library::store_wide(real, cls, i, r.real(0));
    if (imag) library::store_wide(imag, cls, i, r.imag(0));
  }
  return out;
}

Value cell_of(std::vector<Value>& values, const Shape& dims) {
  Value out = checked(kxCreateCellArray(dims.size(), dims.data()));
  for (kxSize i = 0; i < values.size(); ++i) library::put_cell(out.get(), i, std::move(values[i]));
  return out;
}

// The results as the caller takes them: per output, an array or a cell of `dims`.
void hand_over(Application& app, const Shape& dims, ValueList& out) {
  if (app.silent()) return;
  for (std::size_t k = 0; k < app.outputs(); ++k)
    out.push_back(app.uniform() ? uniform_array(app.results(k), dims)
                                : cell_of(app.results(k), dims));
}

// The data inputs (all after the function): arrays of one size, cells for cellfun.
Shape common_shape(const ValueList& in, const char* function, bool cells) {
  if (in.size() < 2)
    kx::raise(id(function, "notEnoughInputs"), "Not enough input arguments.");
  Shape dims = library::shape_of(in[1].get());
  for (std::size_t k = 1; k < in.size(); ++k) {
    const kxArray* a = in[k].get();
    if (cells && !kxIsCell(a))
      kx::raise(id(function, "notCell"), "Input " + std::to_string(k + 1) +
                                             " must be a cell array, not a " +
                                             kxGetClassName(a) + ".");
    if (library::shape_of(a) != dims)
      kx::raise(id(function, "sizeMismatch"),
                "All of the input arguments must be of the same size and shape.");
  }
  return dims;
}

// Element i of a cell, an empty place read as [].
Value cell_element(const kxArray* cell, std::size_t i) {
  const kxArray* e = kxGetCell(cell, i);
  return e ? Value::share(e) : make_empty_double();
}

// cellfun('name', C) of the names older code uses: answered without calling anything.
bool legacy_cellfun(ValueList& out, ValueList& in) {
  if (!is_text(in[0].get()) || in.size() < 2 || !kxIsCell(in[1].get())) return false;
  const std::string name = text_argument(in, 0, "cellfun");
  const kxArray* cell = in[1].get();
  std::function<double(const kxArray*)> measure;
  bool logical = true;
  if (name == "isempty" && in.size() == 2) {
    measure = [](const kxArray* e) { return kxIsEmpty(e) ? 1.0 : 0.0; };
  } else if (name == "isreal" && in.size() == 2) {
    measure = [](const kxArray* e) {
      return library::is_value_class(kxGetClassID(e)) && !kxIsComplex(e) ? 1.0 : 0.0;
    };
  } else if (name == "islogical" && in.size() == 2) {
    measure = [](const kxArray* e) { return kxIsLogical(e) ? 1.0 : 0.0; };
  } else if (name == "isclass" && in.size() == 3) {
    const std::string cls = text_argument(in, 2, "cellfun");
    measure = [cls](const kxArray* e) { return cls == kxGetClassName(e) ? 1.0 : 0.0; };
  } else if ((name == "length" || name == "ndims" || name == "prodofsize") && in.size() == 2) {
    logical = false;
    measure = [name](const kxArray* e) -> double {
      if (name == "ndims") return static_cast<double>(kxGetNumberOfDimensions(e));
      if (name == "prodofsize") return static_cast<double>(kxGetNumberOfElements(e));
      if (kxIsEmpty(e)) return 0;
      const kxSize* dims = kxGetDimensions(e);
      kxSize longest = 0;
      for (kxSize k = 0; k < kxGetNumberOfDimensions(e); ++k) longest = std::max(longest, dims[k]);
      return static_cast<double>(longest);
    };
  } else if (name == "size" && in.size() == 3) {
    logical = false;
    const kxArray* d = in[2].get();
    if (!kxIsNumeric(d) || kxGetNumberOfElements(d) != 1 || kxGetScalar(d) < 1 ||
        kxGetScalar(d) != std::floor(kxGetScalar(d)))
      kx::raise("Korel:cellfun:badDimension", "The dimension of cellfun('size', C, k) must be a "
                                              "positive whole number.");
    const auto k = static_cast<kxSize>(kxGetScalar(d));
    measure = [k](const kxArray* e) {
      return k <= kxGetNumberOfDimensions(e) ? static_cast<double>(kxGetDimensions(e)[k - 1]) : 1.0;
    };
  } else {
    return false;
  }
  const Shape dims = library::shape_of(cell);
  Value result = library::make_numeric(logical ? kxLOGICAL_CLASS : kxDOUBLE_CLASS, dims);
  for (kxSize i = 0, n = kxGetNumberOfElements(cell); i < n; ++i) {
    Value e = cell_element(cell, i);
    library::store_wide(kxGetData(result.get()), kxGetClassID(result.get()), i, measure(e.get()));
  }
  out.push_back(std::move(result));
  return true;
}

void cellfun(CallContext& c, int nargout, ValueList& out, ValueList& in) {
  check_inputs(in, 2, SIZE_MAX, "cellfun");
  if (legacy_cellfun(out, in)) return;
  Options options = take_options(in, 1, "cellfun");
  const Shape dims = common_shape(in, "cellfun", true);
  Application app(c, "cellfun", nargout, callable(in[0], "cellfun"), std::move(options));
  app.run(kxGetNumberOfElements(in[1].get()), [&](std::size_t i, ValueList& args) {
    for (std::size_t k = 1; k < in.size(); ++k) args.push_back(cell_element(in[k].get(), i));
  });
  hand_over(app, dims, out);
}

void arrayfun(CallContext& c, int nargout, ValueList& out, ValueList& in) {
  check_inputs(in, 2, SIZE_MAX, "arrayfun");
  Options options = take_options(in, 1, "arrayfun");
  const Shape dims = common_shape(in, "arrayfun", false);
  Application app(c, "arrayfun", nargout, callable(in[0], "arrayfun"), std::move(options));
  app.run(kxGetNumberOfElements(in[1].get()), [&](std::size_t i, ValueList& args) {
    Value position = make_double(static_cast<double>(i + 1));
    const kxArray* subscript[] = {position.get()};
    for (std::size_t k = 1; k < in.size(); ++k) args.push_back(ops::index(in[k].get(), subscript));
  });
  hand_over(app, dims, out);
}

// structfun(f, s): f of each field of a scalar struct; a column of results, or with
// 'UniformOutput' false a struct of them under the same names.
void structfun(CallContext& c, int nargout, ValueList& out, ValueList& in) {
  check_inputs(in, 2, SIZE_MAX, "structfun");
  Options options = take_options(in, 1, "structfun");
  check_inputs(in, 2, 2, "structfun");
  const kxArray* s = in[1].get();
  if (!kxIsStruct(s) || kxGetNumberOfElements(s) != 1)
    kx::raise("Korel:structfun:notScalarStruct", "structfun takes a 1x1 struct.");
  const auto fields = static_cast<std::size_t>(kxGetNumberOfFields(s));
  Application app(c, "structfun", nargout, callable(in[0], "structfun"), std::move(options));
  app.run(fields, [&](std::size_t i, ValueList& args) {
    const kxArray* v = kxGetFieldByNumber(s, 0, static_cast<int>(i));
    args.push_back(v ? Value::share(v) : make_empty_double());
  });
  if (app.silent()) return;
  if (app.uniform()) return hand_over(app, Shape{fields, 1}, out);
  std::vector<const char*> names;
  for (std::size_t f = 0; f < fields; ++f) names.push_back(kxGetFieldNameByNumber(s, static_cast<int>(f)));
  for (std::size_t k = 0; k < app.outputs(); ++k) {
    Value result = checked(kxCreateStructMatrix(1, 1, static_cast<int>(fields), names.data()));
    for (std::size_t f = 0; f < fields; ++f)
      library::put_field(result.get(), 0, static_cast<int>(f), std::move(app.results(k)[f]));
    out.push_back(std::move(result));
  }
}

}  // namespace

const lang::IntrinsicEntry kApplyFunctions[] = {
    {"cellfun", cellfun,
     "A function of each cell's elements; 'UniformOutput', 'ErrorHandler', legacy names "
     "('isempty', 'length', ...)."},
    {"arrayfun", arrayfun,
     "A function of each element of arrays of one size; 'UniformOutput' and 'ErrorHandler'."},
    {"structfun", structfun,
     "A function of each field of a 1x1 struct: a column, or a struct when not uniform."},
    {nullptr, nullptr}};

}  // namespace krt::builtins
