#include "krt/lang/statement_nodes.h"

#include <cmath>

#include "krt/array/operations.h"
#include "krt/kexception.h"
#include "krt/lang/assignment.h"
#include "krt/lang/interpreter.h"
#include "krt/lang/symbols.h"
#include "kx/error.h"

namespace krt::lang {
namespace {

std::string text_of(const kxArray* a) {
  char* s = kxArrayToString(a);
  std::string text = s ? s : "";
  kxFree(s);
  return text;
}

bool switch_matches(const kxArray* subject, const kxArray* label) {
  if (kxIsCell(label)) {
    for (kxSize i = 0, n = kxGetNumberOfElements(label); i < n; ++i)
      if (const kxArray* e = kxGetCell(label, i); e && switch_matches(subject, e)) return true;
    return false;
  }
  if (kxIsChar(subject) || kxIsChar(label))
    return kxIsChar(subject) && kxIsChar(label) && text_of(subject) == text_of(label);
  if (kxGetNumberOfElements(subject) != 1 || kxGetNumberOfElements(label) != 1) return false;
  auto is_number = [](const kxArray* a) { return kxIsNumeric(a) || kxIsLogical(a); };
  if (!is_number(subject) || !is_number(label)) return false;
  return kxGetScalar(subject) == kxGetScalar(label);
}

// Runs a loop body once; a value means the loop ends with it.
inline bool loop_ends(Flow flow, Flow& result) {
  if (flow == Flow::Break) return result = Flow::Normal, true;
  if (flow == Flow::Return) return result = Flow::Return, true;
  return false;
}

void show(Frame& f, const AssignTarget& target) {
  if (Value* v = f.workspace.value_of(target.symbol)) f.interpreter.display(*v, target.name);
}

}  // namespace

bool truth(const Value& v) {
  if (v.is_number()) {
    double x = v.number_value();
    if (!std::isnan(x)) return x != 0;
  } else if (v.is_inline() && v.inline_class() == kxLOGICAL_CLASS) {
    return v.boolean_value();
  }
  return ops::is_true(v.get());
}

Value& variable_of(Frame& f, const AssignTarget& target) {
  if (target.slot >= 0) return f.workspace.at(target.slot);
  return f.workspace.at(f.workspace.add(target.symbol));
}

void store(Frame& f, const AssignTarget& target, Value value) {
  if (target.symbol < 0) return;  // ~
  Value& variable = variable_of(f, target);
  if (target.steps.empty()) {
    variable = std::move(value);
    return;
  }
  assign_path(f, variable, target.steps, std::move(value));
}

// ---- Expressions and assignments --------------------------------------------------------

Flow ExpressionStatement::exec(Frame& f) const {
  if (is_variable_) {
    if (Value* v = f.workspace.value_of(intern(name_))) {
      if (print_) f.interpreter.display(*v, name_);
      return Flow::Normal;
    }
  }
  ValueList out;
  expr_->eval_outputs(f, 0, out);
  for (Value& v : out) {
    if (!v) continue;
    if (print_) f.interpreter.display(v, "ans");
    f.interpreter.set_variable(f, f.interpreter.ans_symbol(), std::move(v));
  }
  return Flow::Normal;
}

Flow AssignStatement::exec(Frame& f) const {
  Value value = expr_->eval(f);
  const std::vector<Step>& steps = target_.steps;
  if (steps.size() == 1 && steps[0].kind == Access::Kind::Paren) {
    // name(subs) = value: the commonest indexed write, without the chain machinery.
    Value& variable = variable_of(f, target_);
    ValueList subs;
    eval_subscripts(f, steps[0], variable ? variable.get() : nullptr, subs);
    assign_elements(f, variable, subs, std::move(value));
  } else {
    store(f, target_, std::move(value));
  }
  if (print_) show(f, target_);
  return Flow::Normal;
}

Flow MultipleAssignStatement::exec(Frame& f) const {
  const int n = static_cast<int>(targets_.size());
  ValueList values;
  expr_->eval_outputs(f, n, values);
  for (int i = 0; i < n; ++i) {
    const AssignTarget& target = targets_[static_cast<std::size_t>(i)];
    if (target.symbol < 0) continue;  // ~
    if (static_cast<std::size_t>(i) >= values.size() || !values[static_cast<std::size_t>(i)])
      kx::raise("Korel:TooManyOutputs", "Too many output arguments.");
    store(f, target, std::move(values[static_cast<std::size_t>(i)]));
    if (print_) show(f, target);
  }
  return Flow::Normal;
}

Flow CommandStatement::exec(Frame& f) const {
  ValueList in, out;
  for (const std::string& word : words_) in.push_back(make_string(word));
  site_.call(f, 0, out, in);
  if (!out.empty() && out[0]) {
    if (print_) f.interpreter.display(out[0], "ans");
    f.interpreter.set_variable(f, f.interpreter.ans_symbol(), std::move(out[0]));
  }
  return Flow::Normal;
}

// ---- Control flow -------------------------------------------------------------------------

Flow IfStatement::exec(Frame& f) const {
  for (const Clause& clause : clauses) {
    f.line = clause.line;
    if (clause.condition->test(f)) return clause.body.exec(f);
  }
  return else_body.exec(f);
}

Flow WhileStatement::exec(Frame& f) const {
  for (;;) {
    f.line = line;
    if (!condition->test(f)) return Flow::Normal;
    Flow result;
    if (loop_ends(body.exec(f), result)) return result;
  }
}

namespace {

// The loop variable takes each column of `all` in turn.
Flow iterate_columns(Frame& f, const AssignTarget& variable, const Value& all, const BlockNode& body) {
  const kxArray* a = all.get();
  kxSize rows = kxGetM(a);
  kxSize columns = rows ? kxGetNumberOfElements(a) / rows : 0;
  if (kxIsEmpty(a)) columns = 0;
  const bool plain_row = rows == 1 && kxGetClassID(a) == kxDOUBLE_CLASS && !kxIsComplex(a) &&
                         !kxIsSparse(a);
  for (kxSize k = 0; k < columns; ++k) {
    Value element;
    if (plain_row) {
      element = Value::number(kxGetPr(a)[k]);
    } else {
      Value index = Value::number(static_cast<double>(k + 1));
      const kxArray* subs[] = {nullptr, index.get()};
      element = ops::index(a, subs);
    }
    store(f, variable, std::move(element));
    Flow result;
    if (loop_ends(body.exec(f), result)) return result;
  }
  return Flow::Normal;
}

bool whole_number(double x) { return std::isfinite(x) && x == std::floor(x) && std::fabs(x) < 9e15; }

}  // namespace

Flow ForRangeStatement::exec(Frame& f) const {
  Value first = start->eval(f);
  Value increment = step ? step->eval(f) : Value::number(1);
  Value last = stop->eval(f);
  double a, s, b;
  // Whole-number starts and steps count exactly; everything else is the range array,
  // whose elements the range operation decides.
  const bool counted = first.class_id() == kxDOUBLE_CLASS &&
                       increment.class_id() == kxDOUBLE_CLASS &&
                       last.class_id() == kxDOUBLE_CLASS && first.real_scalar(a) &&
                       increment.real_scalar(s) && last.real_scalar(b) && whole_number(a) &&
                       whole_number(s);
  if (!counted)
    return iterate_columns(f, variable, ops::range(first.get(), step ? increment.get() : nullptr, last.get()),
                           body);
  if (s == 0 || std::isnan(b) || (s > 0 && a > b) || (s < 0 && a < b)) return Flow::Normal;
  const double count = std::isinf(b) ? 9e15 : std::floor((b - a) / s) + 1;
  for (double k = 0; k < count; ++k) {
    variable_of(f, variable) = Value::number(a + k * s);
    Flow result;
    if (loop_ends(body.exec(f), result)) return result;
  }
  return Flow::Normal;
}

Flow ForStatement::exec(Frame& f) const { return iterate_columns(f, variable, values->eval(f), body); }

Flow SwitchStatement::exec(Frame& f) const {
  Value value = subject->eval(f);
  for (const Case& c : cases) {
    Value label = c.label->eval(f);
    if (switch_matches(value.get(), label.get())) return c.body.exec(f);
  }
  return otherwise.exec(f);
}

Flow TryStatement::exec(Frame& f) const {
  ErrorDetails caught;
  try {
    return body.exec(f);
  } catch (const kx::KorelError& e) {
    caught = details_of(e, f.interpreter.stack());
  } catch (const std::bad_alloc&) {
    caught = {"Korel:nomem", "Out of memory.", f.interpreter.stack(), {}};
  }
  f.interpreter.host().error_caught(caught);
  if (error_variable.symbol >= 0) store(f, error_variable, make_kexception(caught));
  return handler.exec(f);
}

Flow GlobalStatement::exec(Frame& f) const {
  for (const AssignTarget& name : names) {
    Value& global = f.interpreter.host().global(name.symbol);
    if (!global) global = make_empty_double();
    int slot = name.slot >= 0 ? name.slot : f.workspace.add(name.symbol);
    f.workspace.link(slot, &global);
  }
  return Flow::Normal;
}

Flow PersistentStatement::exec(Frame& f) const {
  if (!f.function)
    kx::raise("Korel:persistentOutsideFunction",
              "Persistent variables can only be declared in functions.");
  auto& store = f.function->persistents;
  for (const AssignTarget& name : names) {
    auto slot = static_cast<std::size_t>(name.slot);
    if (store.size() <= slot) store.resize(slot + 1);
    if (!store[slot]) {
      store[slot] = std::make_unique<Value>(make_empty_double());
    }
    f.workspace.link(name.slot, store[slot].get());
  }
  return Flow::Normal;
}

}  // namespace krt::lang
