#include "krt/lang/interpreter.h"

#include <cmath>
#include <optional>

#include "krt/array/operations.h"
#include "krt/gateway.h"
#include "krt/instance_impl.h"
#include "krt/lang/parser.h"
#include "krt/lang/symbols.h"
#include "kx/error.h"

namespace krt::lang {
namespace {

// Deeper Korel recursion than this is an error rather than a crash of the host's stack.
constexpr std::size_t kMaxCallDepth = 256;

int symbol_of(const Expr& e) {
  if (e.symbol < 0) e.symbol = intern(e.text);
  return e.symbol;
}

int symbol_of(const LValue& lv) {
  if (lv.symbol < 0) lv.symbol = intern(lv.name);
  return lv.symbol;
}

[[noreturn]] void undefined(const std::string& name) {
  kx::raise("Korel:UndefinedFunction", "Undefined function or variable '" + name + "'.");
}

// Pushes for the life of a scope, whatever way it ends.
template <class Stack, class Item>
class Pushed {
 public:
  Pushed(Stack& stack, Item item) : stack_(stack) { stack_.push_back(std::move(item)); }
  ~Pushed() { stack_.pop_back(); }
  Pushed(const Pushed&) = delete;
  Pushed& operator=(const Pushed&) = delete;

 private:
  Stack& stack_;
};

bool is_empty_double(const kxArray* a) {
  return kxGetClassID(a) == kxDOUBLE_CLASS && kxGetM(a) == 0 && kxGetN(a) == 0 &&
         kxGetNumberOfDimensions(a) == 2 && !kxIsSparse(a);
}

std::string text_of(const kxArray* a) {
  char* s = kxArrayToString(a);
  std::string text = s ? s : "";
  kxFree(s);
  return text;
}

Value cell_of(ValueList& values, std::size_t from) {
  std::size_t n = values.size() > from ? values.size() - from : 0;
  Value cell = checked(kxCreateCellMatrix(1, n));
  for (std::size_t i = 0; i < n; ++i)
    if (values[from + i]) kxSetCell(cell.get(), i, values[from + i].share().release());
  return cell;
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

}  // namespace

Interpreter::Interpreter(Instance& instance) : instance_(instance), ans_symbol_(intern("ans")) {
  base_.workspace = &base_workspace_;
}

// ---- Variables and output ---------------------------------------------------------

Value* Interpreter::find_variable(Frame& frame, int symbol) {
  Workspace::Entry* e = frame.workspace->find(symbol);
  if (!e) return nullptr;
  if (e->global) {
    auto it = instance_.globals.find(symbol);
    return it == instance_.globals.end() || !it->second ? nullptr : &it->second;
  }
  return e->value ? &e->value : nullptr;
}

void Interpreter::set_variable(Frame& frame, int symbol, Value value) {
  Workspace::Entry& e = frame.workspace->get_or_add(symbol);
  if (e.global)
    instance_.globals[symbol] = std::move(value);
  else
    e.value = std::move(value);
}

void Interpreter::display(const kxArray* value, const std::string& name) {
  char* text = kxArrayToDisplayText(value, name.c_str());
  if (!text) return;
  std::string copy = text;
  kxFree(text);
  instance_.print(copy);
}

std::vector<StackFrame> Interpreter::stack() const {
  std::vector<StackFrame> out;
  for (auto it = frames_.rbegin(); it != frames_.rend(); ++it)
    out.push_back(StackFrame{(*it)->program ? (*it)->program->path : "", (*it)->name,
                             (*it)->line});
  return out;
}

void Interpreter::rethrow_with_stack(const kx::KorelError& error) {
  if (auto* e = dynamic_cast<const Error*>(&error); e && !e->stack().empty()) throw *e;
  throw Error(error.identifier(), error.what(), stack());
}

// ---- Statements -------------------------------------------------------------------

Interpreter::Flow Interpreter::exec_block(const Block& block, Frame& frame) {
  for (const StmtPtr& stmt : block) {
    Flow flow = exec(*stmt, frame);
    if (flow != Flow::Normal) return flow;
  }
  return Flow::Normal;
}

Interpreter::Flow Interpreter::exec(const Stmt& stmt, Frame& frame) {
  frame.line = stmt.line;
  switch (stmt.kind) {
    case Stmt::Kind::Expression: exec_expression(stmt, frame); return Flow::Normal;
    case Stmt::Kind::Assign: exec_assign(stmt, frame); return Flow::Normal;
    case Stmt::Kind::Command: exec_command(stmt, frame); return Flow::Normal;
    case Stmt::Kind::If:
      for (const Stmt::Clause& clause : stmt.clauses) {
        frame.line = clause.condition ? clause.condition->line : stmt.line;
        Value condition = eval(*clause.condition, frame);
        if (ops::is_true(condition.get())) return exec_block(clause.body, frame);
      }
      return exec_block(stmt.else_body, frame);
    case Stmt::Kind::For: return exec_for(stmt, frame);
    case Stmt::Kind::While:
      while (true) {
        frame.line = stmt.line;
        Value condition = eval(*stmt.expr, frame);
        if (!ops::is_true(condition.get())) return Flow::Normal;
        Flow flow = exec_block(stmt.body, frame);
        if (flow == Flow::Break) return Flow::Normal;
        if (flow == Flow::Return) return flow;
      }
    case Stmt::Kind::Switch: return exec_switch(stmt, frame);
    case Stmt::Kind::Break: return Flow::Break;
    case Stmt::Kind::Continue: return Flow::Continue;
    case Stmt::Kind::Return: return Flow::Return;
    case Stmt::Kind::Try: return exec_try(stmt, frame);
    case Stmt::Kind::Global:
      for (const std::string& name : stmt.words) {
        int symbol = intern(name);
        Workspace::Entry& e = frame.workspace->get_or_add(symbol);
        e.global = true;
        e.value.reset();
        if (auto it = instance_.globals.find(symbol); it == instance_.globals.end() || !it->second)
          instance_.globals[symbol] = make_empty_double();
      }
      return Flow::Normal;
  }
  return Flow::Normal;
}

void Interpreter::exec_expression(const Stmt& stmt, Frame& frame) {
  const Expr& e = *stmt.expr;
  if (e.kind == Expr::Kind::Identifier || e.kind == Expr::Kind::Postfix) {
    // A bare variable shows under its own name; anything else becomes ans.
    if (e.kind == Expr::Kind::Identifier)
      if (Value* v = find_variable(frame, symbol_of(e))) {
        if (stmt.print) display(v->get(), e.text);
        return;
      }
    ValueList out;
    eval_postfix(e, frame, 0, out);
    for (Value& v : out) {
      if (!v) continue;
      if (stmt.print) display(v.get(), "ans");
      set_variable(frame, ans_symbol_, std::move(v));
    }
    return;
  }
  Value v = eval(e, frame);
  if (stmt.print) display(v.get(), "ans");
  set_variable(frame, ans_symbol_, std::move(v));
}

void Interpreter::exec_command(const Stmt& stmt, Frame& frame) {
  ValueList in;
  for (const std::string& word : stmt.words) in.push_back(make_string(word));
  ValueList out;
  call_named(intern(stmt.name), frame, 0, out, in);
  if (!out.empty() && out[0]) {
    if (stmt.print) display(out[0].get(), "ans");
    set_variable(frame, ans_symbol_, std::move(out[0]));
  }
}

void Interpreter::exec_assign(const Stmt& stmt, Frame& frame) {
  const std::size_t n = stmt.targets.size();
  if (n == 1 && stmt.targets[0].chain.empty() && !stmt.targets[0].name.empty()) {
    const LValue& lv = stmt.targets[0];
    if (double result; scalar_value(*stmt.expr, frame, result)) {
      set_scalar(frame, symbol_of(lv), result);
      if (stmt.print) display(find_variable(frame, symbol_of(lv))->get(), lv.name);
      return;
    }
  }
  ValueList values;
  if (n == 1) {
    values.push_back(eval(*stmt.expr, frame));
  } else {
    const Expr& e = *stmt.expr;
    if (e.kind == Expr::Kind::Identifier || e.kind == Expr::Kind::Postfix)
      eval_postfix(e, frame, static_cast<int>(n), values);
    else
      values.push_back(eval(e, frame));
  }
  for (std::size_t i = 0; i < n; ++i) {
    const LValue& lv = stmt.targets[i];
    if (lv.name.empty()) continue;  // ~
    if (i >= values.size() || !values[i])
      kx::raise("Korel:TooManyOutputs", "Too many output arguments.");
    int symbol = symbol_of(lv);
    if (lv.chain.empty()) {
      set_variable(frame, symbol, std::move(values[i]));
    } else {
      Value* existing = find_variable(frame, symbol);
      if (!existing) {
        Workspace::Entry& e = frame.workspace->get_or_add(symbol);
        existing = e.global ? &instance_.globals[symbol] : &e.value;
      }
      assign_into(*existing, lv, 0, std::move(values[i]), frame);
    }
    if (stmt.print)
      if (Value* v = find_variable(frame, symbol)) display(v->get(), lv.name);
  }
}

std::string Interpreter::field_name(const Access& step, Frame& frame) {
  if (step.kind == Access::Kind::Field) return step.field;
  Value v = eval(*step.dynamic_field, frame);
  if (!kxIsChar(v.get())) kx::raise("Korel:dynamicFieldName", "Dynamic field names must be text.");
  return text_of(v.get());
}

void Interpreter::assign_into(Value& target, const LValue& lv, std::size_t from, Value rhs,
                              Frame& frame) {
  const Access& step = lv.chain[from];
  const bool last = from + 1 == lv.chain.size();
  if (step.kind == Access::Kind::Field || step.kind == Access::Kind::DynamicField) {
    const std::string name = field_name(step, frame);
    if (last) return ops::assign_field(target, name, rhs.get());
    Value inner;
    if (target && (kxIsStruct(target.get()) || kxIsObject(target.get())) &&
        kxGetFieldNumber(target.get(), name.c_str()) >= 0) {
      ValueList current = ops::field(target.get(), name);
      if (current.size() == 1) inner = std::move(current[0]);
    }
    assign_into(inner, lv, from + 1, std::move(rhs), frame);
    return ops::assign_field(target, name, inner.get());
  }

  ValueList subs;
  std::vector<const kxArray*> pointers;
  eval_subscripts(step, target.get(), frame, subs, pointers);
  if (step.kind == Access::Kind::Paren) {
    if (last) {
      if (is_empty_double(rhs.get()) && target) return ops::delete_elements(target, pointers);
      return ops::assign_index(target, pointers, rhs.get());
    }
    Value inner;
    if (target) {
      try {
        inner = ops::index(target.get(), pointers);
      } catch (const kx::KorelError& e) {
        if (e.identifier() != "Korel:badsubscript") throw;  // growing: starts empty
      }
    }
    assign_into(inner, lv, from + 1, std::move(rhs), frame);
    return ops::assign_index(target, pointers, inner.get());
  }
  // Brace.
  if (last) return ops::assign_brace(target, pointers, rhs.get());
  Value inner;
  if (target && kxIsCell(target.get())) {
    try {
      ValueList current = ops::brace_index(target.get(), pointers);
      if (current.size() == 1) inner = std::move(current[0]);
    } catch (const kx::KorelError& e) {
      if (e.identifier() != "Korel:badsubscript") throw;
    }
  }
  if (inner && is_empty_double(inner.get()) && from + 1 < lv.chain.size()) inner.reset();
  assign_into(inner, lv, from + 1, std::move(rhs), frame);
  ops::assign_brace(target, pointers, inner.get());
}

Interpreter::Flow Interpreter::exec_for(const Stmt& stmt, Frame& frame) {
  const int symbol = symbol_of(stmt.targets.at(0));
  const Expr& e = *stmt.expr;
  // Runs the body once with the loop variable set; a value means the loop ends so.
  auto run_body = [&](Value element) -> std::optional<Flow> {
    set_variable(frame, symbol, std::move(element));
    Flow flow = exec_block(stmt.body, frame);
    if (flow == Flow::Break) return Flow::Normal;
    if (flow == Flow::Return) return flow;
    return std::nullopt;
  };

  Value values;
  if (e.kind == Expr::Kind::Range) {
    Value start = eval(*e.lhs, frame);
    Value step = e.step ? eval(*e.step, frame) : Value();
    Value stop = eval(*e.rhs, frame);
    auto whole_scalar = [](const Value& v) {
      if (!v || kxGetClassID(v.get()) != kxDOUBLE_CLASS || kxIsComplex(v.get()) ||
          kxGetNumberOfElements(v.get()) != 1)
        return false;
      double x = kxGetScalar(v.get());
      return std::isfinite(x) && x == std::floor(x) && std::fabs(x) < 9e15;
    };
    // Whole-number ranges iterate without making the vector.
    if (whole_scalar(start) && (!step || whole_scalar(step)) &&
        kxGetClassID(stop.get()) == kxDOUBLE_CLASS && kxGetNumberOfElements(stop.get()) == 1 &&
        !kxIsComplex(stop.get())) {
      double a = kxGetScalar(start.get()), s = step ? kxGetScalar(step.get()) : 1;
      double b = kxGetScalar(stop.get());
      if (s == 0 || std::isnan(b) || (s > 0 && a > b) || (s < 0 && a < b)) return Flow::Normal;
      double count = std::isinf(b) ? 9e15 : std::floor((b - a) / s) + 1;
      for (double k = 0; k < count; ++k) {
        set_scalar(frame, symbol, a + k * s);
        Flow flow = exec_block(stmt.body, frame);
        if (flow == Flow::Break) return Flow::Normal;
        if (flow == Flow::Return) return flow;
      }
      return Flow::Normal;
    }
    values = ops::range(start.get(), step.get(), stop.get());
  } else {
    values = eval(e, frame);
  }

  // Otherwise the variable takes each column in turn.
  const kxArray* a = values.get();
  kxSize rows = kxGetM(a);
  kxSize columns = rows ? kxGetNumberOfElements(a) / rows : 0;
  if (kxIsEmpty(a)) columns = 0;
  const bool plain_row = rows == 1 && kxGetClassID(a) == kxDOUBLE_CLASS && !kxIsComplex(a) &&
                         !kxIsSparse(a);
  for (kxSize k = 0; k < columns; ++k) {
    Value element;
    if (plain_row) {
      element = make_double(kxGetPr(a)[k]);
    } else {
      Value index = make_double(static_cast<double>(k + 1));
      const kxArray* subs[] = {nullptr, index.get()};
      element = ops::index(a, subs);
    }
    if (auto flow = run_body(std::move(element))) return *flow;
  }
  return Flow::Normal;
}

Interpreter::Flow Interpreter::exec_switch(const Stmt& stmt, Frame& frame) {
  Value subject = eval(*stmt.expr, frame);
  for (const Stmt::Clause& clause : stmt.clauses) {
    Value label = eval(*clause.condition, frame);
    if (switch_matches(subject.get(), label.get())) return exec_block(clause.body, frame);
  }
  return exec_block(stmt.else_body, frame);
}

Interpreter::Flow Interpreter::exec_try(const Stmt& stmt, Frame& frame) {
  std::string identifier, message;
  std::vector<StackFrame> where;
  try {
    return exec_block(stmt.body, frame);
  } catch (const Error& e) {
    identifier = e.identifier(), message = e.what(), where = e.stack();
  } catch (const kx::KorelError& e) {
    identifier = e.identifier(), message = e.what(), where = stack();
  } catch (const std::bad_alloc&) {
    identifier = "Korel:nomem", message = "Out of memory.", where = stack();
  }
  if (!stmt.name.empty()) {
    const char* fields[] = {"message", "identifier", "stack"};
    Value err = checked(kxCreateStructMatrix(1, 1, 3, fields));
    kxSetField(err.get(), 0, "message", make_string(message).release());
    kxSetField(err.get(), 0, "identifier", make_string(identifier).release());
    kxSetField(err.get(), 0, "stack", checked(make_stack_array(where)).release());
    set_variable(frame, intern(stmt.name), std::move(err));
  }
  return exec_block(stmt.else_body, frame);
}

// ---- Expressions ------------------------------------------------------------------

Value Interpreter::eval(const Expr& e, Frame& frame) {
  switch (e.kind) {
    case Expr::Kind::Number: return make_double(e.number);
    case Expr::Kind::String: return make_string(e.text);
    case Expr::Kind::Identifier:
      if (Value* v = find_variable(frame, symbol_of(e))) return v->share();
      [[fallthrough]];
    case Expr::Kind::Postfix: {
      ValueList out;
      eval_postfix(e, frame, 1, out);
      if (out.empty() || !out[0])
        kx::raise("Korel:noValue", "The expression '" + e.text + "' has no value to use here.");
      return std::move(out[0]);
    }
    case Expr::Kind::Colon: return make_string(":");
    case Expr::Kind::End: {
      if (ends_.empty()) kx::raise("Korel:misplacedEnd", "'end' is only valid inside an index.");
      const EndContext& c = ends_.back();
      if (!c.array) kx::raise("Korel:misplacedEnd", "'end' has no array to refer to here.");
      return make_double(static_cast<double>(ops::end_of(c.array, c.position, c.count)));
    }
    case Expr::Kind::Range: {
      Value start = eval(*e.lhs, frame);
      Value step = e.step ? eval(*e.step, frame) : Value();
      Value stop = eval(*e.rhs, frame);
      return ops::range(start.get(), step.get(), stop.get());
    }
    case Expr::Kind::Binary: return eval_binary(e, frame);
    case Expr::Kind::Unary: {
      Value operand = eval(*e.lhs, frame);
      return ops::unary(e.unary_op, operand.get());
    }
    case Expr::Kind::Matrix: return eval_matrix(e, frame, false);
    case Expr::Kind::Cell: return eval_matrix(e, frame, true);
    case Expr::Kind::FunctionHandle: return checked(kxCreateFunctionHandle(e.text.c_str()));
  }
  kx::raise("Korel:internal", "Unknown expression.");
}

bool Interpreter::scalar_value(const Expr& e, Frame& frame, double& result) {
  switch (e.kind) {
    case Expr::Kind::Number: result = e.number; return true;
    case Expr::Kind::Identifier: {
      const Value* v = find_variable(frame, symbol_of(e));
      if (!v) return false;
      const kxArray* a = v->get();
      if (kxGetClassID(a) != kxDOUBLE_CLASS || kxIsComplex(a) || kxIsSparse(a) ||
          kxGetNumberOfElements(a) != 1)
        return false;
      result = kxGetPr(a)[0];
      return true;
    }
    case Expr::Kind::Unary:
      if (e.unary_op != UnaryOp::Negate && e.unary_op != UnaryOp::Plus) return false;
      if (!scalar_value(*e.lhs, frame, result)) return false;
      if (e.unary_op == UnaryOp::Negate) result = -result;
      return true;
    case Expr::Kind::Binary: {
      const BinaryOp op = e.binary_op;
      if (op != BinaryOp::Add && op != BinaryOp::Sub && op != BinaryOp::MatMul &&
          op != BinaryOp::ElemMul && op != BinaryOp::MatDiv && op != BinaryOp::ElemDiv)
        return false;
      double a, b;
      if (!scalar_value(*e.lhs, frame, a) || !scalar_value(*e.rhs, frame, b)) return false;
      switch (op) {
        case BinaryOp::Add: result = a + b; break;
        case BinaryOp::Sub: result = a - b; break;
        case BinaryOp::MatMul: case BinaryOp::ElemMul: result = a * b; break;
        default: result = a / b; break;
      }
      return true;
    }
    default: return false;
  }
}

void Interpreter::set_scalar(Frame& frame, int symbol, double value) {
  Workspace::Entry& e = frame.workspace->get_or_add(symbol);
  Value& slot = e.global ? instance_.globals[symbol] : e.value;
  kxArray* a = slot.get();
  if (a && kxGetClassID(a) == kxDOUBLE_CLASS && !kxIsComplex(a) && !kxIsSparse(a) &&
      kxGetNumberOfElements(a) == 1 && kxGetNumberOfDimensions(a) == 2 && !storage_is_shared(a)) {
    kxGetPr(a)[0] = value;
    return;
  }
  slot = make_double(value);
}

Value Interpreter::eval_binary(const Expr& e, Frame& frame) {
  if (double result; scalar_value(e, frame, result)) return make_double(result);
  if (e.binary_op == BinaryOp::AndAnd || e.binary_op == BinaryOp::OrOr) {
    const bool is_and = e.binary_op == BinaryOp::AndAnd;
    Value lhs = eval(*e.lhs, frame);
    bool left = ops::is_true(lhs.get());
    if (left != is_and) return make_logical(left);
    Value rhs = eval(*e.rhs, frame);
    return make_logical(ops::is_true(rhs.get()));
  }
  // A variable operand is read in place when the other operand cannot change it.
  auto pure = [](const Expr& x) {
    return x.kind == Expr::Kind::Identifier || x.kind == Expr::Kind::Number ||
           x.kind == Expr::Kind::String;
  };
  Value lhs_holder, rhs_holder;
  auto operand = [&](const Expr& x, const Expr& other, Value& holder) -> const kxArray* {
    if (x.kind == Expr::Kind::Identifier && pure(other))
      if (Value* v = find_variable(frame, symbol_of(x))) return v->get();
    holder = eval(x, frame);
    return holder.get();
  };
  const kxArray* a = operand(*e.lhs, *e.rhs, lhs_holder);
  const kxArray* b = operand(*e.rhs, *e.lhs, rhs_holder);
  return ops::binary(e.binary_op, a, b);
}

void Interpreter::eval_list(const Expr& e, Frame& frame, ValueList& out) {
  if (e.kind == Expr::Kind::Postfix) {
    const Access& last = e.chain.back();
    if (last.kind == Access::Kind::Brace || last.kind == Access::Kind::Field ||
        last.kind == Access::Kind::DynamicField)
      if (find_variable(frame, symbol_of(e))) return eval_postfix(e, frame, 1, out);
  }
  out.push_back(eval(e, frame));
}

Value Interpreter::eval_matrix(const Expr& e, Frame& frame, bool cell) {
  if (e.rows.empty())
    return cell ? checked(kxCreateCellMatrix(0, 0)) : make_empty_double();
  ValueList rows;
  for (const auto& row : e.rows) {
    ValueList parts;
    for (const ExprPtr& element : row) {
      std::size_t before = parts.size();
      eval_list(*element, frame, parts);
      if (cell)
        for (std::size_t i = before; i < parts.size(); ++i) {
          Value wrapped = checked(kxCreateCellMatrix(1, 1));
          kxSetCell(wrapped.get(), 0, parts[i].release());
          parts[i] = std::move(wrapped);
        }
    }
    if (parts.size() == 1) {
      rows.push_back(std::move(parts[0]));
      continue;
    }
    std::vector<const kxArray*> pointers;
    for (const Value& v : parts) pointers.push_back(v.get());
    rows.push_back(ops::horzcat(pointers));
  }
  if (rows.size() == 1) return std::move(rows[0]);
  std::vector<const kxArray*> pointers;
  for (const Value& v : rows) pointers.push_back(v.get());
  return ops::vertcat(pointers);
}

void Interpreter::eval_subscripts(const Access& access, const kxArray* target, Frame& frame,
                                  ValueList& subs, std::vector<const kxArray*>& pointers) {
  const std::size_t count = access.args.size();
  for (std::size_t i = 0; i < count; ++i) {
    const Expr& arg = *access.args[i];
    if (arg.kind == Expr::Kind::Colon) {
      subs.emplace_back();
      continue;
    }
    Pushed<std::vector<EndContext>, EndContext> end(ends_, EndContext{target, i, count});
    eval_list(arg, frame, subs);
  }
  pointers.clear();
  for (const Value& v : subs) pointers.push_back(v.get());
}

void Interpreter::eval_postfix(const Expr& e, Frame& frame, int nargout, ValueList& out) {
  const int symbol = symbol_of(e);
  static const std::vector<Access> kNoChain;
  const std::vector<Access>& chain = e.kind == Expr::Kind::Postfix ? e.chain : kNoChain;

  if (Value* v = find_variable(frame, symbol)) {
    if (chain.empty()) return out.push_back(v->share());
    if (kxIsFunctionHandle(v->get()) && chain[0].kind == Access::Kind::Paren) {
      Value handle = v->share();
      ValueList args;
      for (const ExprPtr& arg : chain[0].args) eval_list(*arg, frame, args);
      ValueList results;
      call_handle(handle.get(), frame, chain.size() == 1 ? nargout : 1, results, args);
      if (chain.size() == 1) {
        for (Value& r : results) out.push_back(std::move(r));
        return;
      }
      if (results.empty()) kx::raise("Korel:noValue", "The function returned no value.");
      return apply_chain(std::move(results[0]), chain, 1, frame, nargout, out);
    }
    return apply_chain(v->share(), chain, 0, frame, nargout, out);
  }

  // Not a variable: a function call, its () holding the arguments.
  ValueList args;
  std::size_t next = 0;
  if (!chain.empty() && chain[0].kind == Access::Kind::Paren) {
    Pushed<std::vector<EndContext>, EndContext> no_end(ends_, EndContext{nullptr, 0, 0});
    for (const ExprPtr& arg : chain[0].args) eval_list(*arg, frame, args);
    next = 1;
  }
  ValueList results;
  call_named(symbol, frame, next < chain.size() ? 1 : nargout, results, args);
  if (next == chain.size()) {
    for (Value& r : results) out.push_back(std::move(r));
    return;
  }
  if (results.empty() || !results[0])
    kx::raise("Korel:noValue", "'" + e.text + "' returned no value to index into.");
  apply_chain(std::move(results[0]), chain, next, frame, nargout, out);
}

void Interpreter::apply_chain(Value base, const std::vector<Access>& chain, std::size_t from,
                              Frame& frame, int nargout, ValueList& out) {
  Value current = std::move(base);
  for (std::size_t k = from; k < chain.size(); ++k) {
    const Access& step = chain[k];
    const bool last = k + 1 == chain.size();
    ValueList many;
    if (step.kind == Access::Kind::Field || step.kind == Access::Kind::DynamicField) {
      many = ops::field(current.get(), field_name(step, frame));
    } else {
      if (step.kind == Access::Kind::Paren && kxIsFunctionHandle(current.get())) {
        ValueList args;
        for (const ExprPtr& arg : step.args) eval_list(*arg, frame, args);
        call_handle(current.get(), frame, last ? nargout : 1, many, args);
      } else {
        ValueList subs;
        std::vector<const kxArray*> pointers;
        eval_subscripts(step, current.get(), frame, subs, pointers);
        if (step.kind == Access::Kind::Paren)
          many.push_back(ops::index(current.get(), pointers));
        else
          many = ops::brace_index(current.get(), pointers);
      }
    }
    if (last) {
      for (Value& v : many) out.push_back(std::move(v));
      return;
    }
    if (many.size() != 1)
      kx::raise("Korel:badIndexChain",
                "Intermediate indexing must give exactly one value, not " +
                    std::to_string(many.size()) + ".");
    current = std::move(many[0]);
  }
  out.push_back(std::move(current));
}

// ---- Calls ------------------------------------------------------------------------

void Interpreter::call_named(int symbol, Frame& caller, int nargout, ValueList& outputs,
                             ValueList& inputs) {
  if (caller.program)
    if (const Function* f = caller.program->find(symbol))
      return call_function(*caller.program, *f, nargout, outputs, inputs);
  Target target = instance_.resolve(symbol);
  if (!target) undefined(symbol_name(symbol));
  call_target(target, symbol, caller, nargout, outputs, inputs);
}

void Interpreter::call_target(const Target& target, int symbol, Frame& caller, int nargout,
                              ValueList& outputs, ValueList& inputs) {
  switch (target.kind) {
    case Target::Kind::None: undefined(symbol_name(symbol));
    case Target::Kind::Intrinsic: {
      CallContext context{*this, caller};
      return target.intrinsic(context, nargout, outputs, inputs);
    }
    case Target::Kind::Gateway:
      return call_gateway(target.gateway, symbol_name(symbol), nargout, outputs, inputs);
    case Target::Kind::Program: {
      const LoadedProgram& program = *target.program;
      if (program.program->script) {
        if (!inputs.empty() || nargout > 0)
          kx::raise("Korel:scriptAsFunction",
                    "Attempt to execute the script '" + program.name + "' as a function.");
        return run_script(program, caller);
      }
      return call_function(program, *program.primary(), nargout, outputs, inputs);
    }
  }
}

void Interpreter::call_handle(const kxArray* handle, Frame& caller, int nargout,
                              ValueList& outputs, ValueList& inputs) {
  const char* name = kxGetFunctionName(handle);
  if (kxNativeFunction fn = kxGetNativeFunction(handle))
    return call_gateway(fn, name ? name : "", nargout, outputs, inputs);
  if (!name || !*name) kx::raise("Korel:badHandle", "The function handle names no function.");
  call_named(intern(name), caller, nargout, outputs, inputs);
}

void Interpreter::call_gateway(kxNativeFunction fn, const std::string& name, int nargout,
                               ValueList& outputs, ValueList& inputs) {
  std::vector<kxArray*> in(inputs.size());
  for (std::size_t i = 0; i < inputs.size(); ++i) in[i] = inputs[i].get();
  const int slots = std::max(nargout, 1);
  std::vector<kxArray*> out(slots, nullptr);
  call_native(fn, name, nargout, out.data(), static_cast<int>(in.size()), in.data());
  ValueList owned;
  owned.reserve(slots);
  for (kxArray* a : out) owned.emplace_back(a);  // owns them all before anything can throw
  for (Value& v : owned)
    if (v) outputs.push_back(std::move(v));
}

void Interpreter::call_function(const LoadedProgram& program, const Function& function,
                                int nargout, ValueList& outputs, ValueList& inputs) {
  if (frames_.size() >= kMaxCallDepth)
    kx::raise("Korel:recursionLimit", "Maximum recursion limit of " +
                                          std::to_string(kMaxCallDepth) + " reached.");
  const auto& params = function.inputs;
  const bool varargin = !params.empty() && params.back() == "varargin";
  const std::size_t fixed_in = params.size() - (varargin ? 1 : 0);
  if (!varargin && inputs.size() > params.size())
    kx::raise("Korel:TooManyInputs", "Too many input arguments.");
  const auto& results = function.outputs;
  const bool varargout = !results.empty() && results.back() == "varargout";
  const std::size_t fixed_out = results.size() - (varargout ? 1 : 0);
  if (!varargout && static_cast<std::size_t>(nargout) > results.size())
    kx::raise("Korel:TooManyOutputs", "Too many output arguments.");

  Workspace workspace;
  Frame frame;
  frame.workspace = &workspace;
  frame.program = &program;
  frame.function = &function;
  frame.name = &function == program.primary() ? program.name : program.name + ">" + function.name;
  frame.line = function.line;
  frame.nargin = static_cast<int>(inputs.size());
  frame.nargout = nargout;
  for (std::size_t i = 0; i < inputs.size() && i < fixed_in; ++i)
    workspace.get_or_add(intern(params[i])).value = std::move(inputs[i]);
  if (varargin) workspace.get_or_add(intern("varargin")).value = cell_of(inputs, fixed_in);

  {
    Pushed<std::vector<Frame*>, Frame*> active(frames_, &frame);
    try {
      exec_block(function.body, frame);
    } catch (const kx::KorelError& e) {
      rethrow_with_stack(e);
    } catch (const std::bad_alloc&) {
      throw Error("Korel:nomem", "Out of memory.", stack());
    }
  }

  const std::size_t wanted = std::max(nargout, 1);
  for (std::size_t i = 0; i < wanted; ++i) {
    if (i < fixed_out) {
      Value* v = find_variable(frame, intern(results[i]));
      if (!v) {
        if (nargout == 0) return;
        kx::raise("Korel:unassignedOutputs",
                  "Output argument '" + results[i] + "' (and possibly others) not assigned a "
                  "value in the execution with '" + frame.name + "' function.");
      }
      outputs.push_back(v->share());
      continue;
    }
    if (!varargout) return;
    Value* rest = find_variable(frame, intern("varargout"));
    std::size_t k = i - fixed_out;
    if (!rest || !kxIsCell(rest->get()) || k >= kxGetNumberOfElements(rest->get())) {
      if (nargout == 0) return;
      kx::raise("Korel:unassignedOutputs",
                "Output argument 'varargout' has too few values in the execution with '" +
                    frame.name + "' function.");
    }
    const kxArray* element = kxGetCell(rest->get(), k);
    outputs.push_back(element ? Value::share(element) : make_empty_double());
  }
}

void Interpreter::run_script(const LoadedProgram& program, Frame& caller) {
  if (frames_.size() >= kMaxCallDepth)
    kx::raise("Korel:recursionLimit", "Maximum recursion limit of " +
                                          std::to_string(kMaxCallDepth) + " reached.");
  Frame frame = caller;
  frame.program = &program;
  frame.function = nullptr;
  frame.name = program.name;
  Pushed<std::vector<Frame*>, Frame*> active(frames_, &frame);
  try {
    exec_block(program.program->statements, frame);
  } catch (const kx::KorelError& e) {
    rethrow_with_stack(e);
  } catch (const std::bad_alloc&) {
    throw Error("Korel:nomem", "Out of memory.", stack());
  }
}

void Interpreter::evaluate_text(std::string_view text, Frame& frame, int nargout,
                                ValueList& outputs) {
  std::unique_ptr<Program> program;
  try {
    program = parse_program(text, "");
  } catch (const SyntaxError& e) {
    kx::raise("Korel:syntaxError", "Invalid Korel text at line " + std::to_string(e.line()) +
                                       ", column " + std::to_string(e.column()) + ": " +
                                       e.what() + ".");
  }
  if (!program->script || !program->functions.empty())
    kx::raise("Korel:eval:functionDefinition",
              "Function definitions are not allowed in eval text.");
  const int line = frame.line;
  if (nargout > 0) {
    const Block& statements = program->statements;
    if (statements.size() != 1 || statements[0]->kind != Stmt::Kind::Expression)
      kx::raise("Korel:eval:notExpression",
                "Text evaluated for a value must be a single expression.");
    const Expr& e = *statements[0]->expr;
    if (e.kind == Expr::Kind::Identifier || e.kind == Expr::Kind::Postfix)
      eval_postfix(e, frame, nargout, outputs);
    else
      outputs.push_back(eval(e, frame));
  } else {
    exec_block(program->statements, frame);
  }
  frame.line = line;
}

}  // namespace krt::lang
