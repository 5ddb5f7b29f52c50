#include "krt/lang/access_nodes.h"

#include <cmath>

#include "krt/array/operations.h"
#include "krt/lang/handle_object.h"
#include "krt/lang/interpreter.h"
#include "krt/lang/scalar_subscripts.h"
#include "krt/lang/symbols.h"
#include "kx/array.h"
#include "kx/error.h"

namespace krt::lang {
namespace {

// Makes `end` refer to an array for the life of a scope.
class EndScope {
 public:
  EndScope(Interpreter& interpreter, EndContext context) : interpreter_(interpreter) {
    interpreter_.push_end(context);
  }
  ~EndScope() { interpreter_.pop_end(); }
  EndScope(const EndScope&) = delete;
  EndScope& operator=(const EndScope&) = delete;

 private:
  Interpreter& interpreter_;
};

std::vector<const kxArray*> pointers_of(const ValueList& values) {
  std::vector<const kxArray*> pointers;
  pointers.reserve(values.size());
  for (const Value& v : values) pointers.push_back(v.get());
  return pointers;
}

// A real double array held by a value, dense and not complex; null otherwise.
const kxArray* plain_doubles(const Value& v) {
  const kxArray* a = v.boxed();
  if (!a || a->cls != kxDOUBLE_CLASS || a->sparse || a->data->complex) return nullptr;
  return a;
}

}  // namespace

void eval_subscripts(Frame& f, const Step& step, const kxArray* target, ValueList& subs) {
  const std::size_t count = step.args.size();
  for (std::size_t i = 0; i < count; ++i) {
    const ExprNode& arg = *step.args[i];
    if (arg.uses_end) {
      EndScope scope(f.interpreter, EndContext{target, i, count});
      arg.eval_list(f, subs);
    } else {
      arg.eval_list(f, subs);
    }
  }
}

std::string step_field_name(Frame& f, const Step& step) {
  if (step.kind == Access::Kind::Field) return step.field;
  Value v = step.dynamic_field->eval(f);
  if (!kxIsChar(v.get())) kx::raise("Korel:dynamicFieldName", "Dynamic field names must be text.");
  char* s = kxArrayToString(v.get());
  std::string name = s ? s : "";
  kxFree(s);
  return name;
}

void eval_arguments(Frame& f, const std::vector<ExprNodePtr>& args, ValueList& out) {
  for (const ExprNodePtr& arg : args) arg->eval_list(f, out);
}

// ---- Call sites -------------------------------------------------------------------------

void CallSite::call(Frame& caller, int nargout, ValueList& outputs, ValueList& inputs) const {
  Interpreter& interpreter = caller.interpreter;
  if (caller.program) {
    if (!local_checked_ || program_ != caller.program) {
      program_ = caller.program;
      const Function* local = caller.program->find(symbol_);
      local_ = local ? &interpreter.compiled(*caller.program, *local) : nullptr;
      local_checked_ = true;
    }
    if (local_) return interpreter.invoke(*caller.program, *local_, nargout, outputs, inputs);
  }
  Host& host = interpreter.host();
  const uint64_t generation = host.resolution_generation();
  if (generation != generation_ || !target_) {
    target_ = host.resolve(symbol_);
    generation_ = target_ ? generation : 0;
  }
  interpreter.call_target(target_, symbol_, caller, nargout, outputs, inputs);
}

bool CallSite::resolves(Frame& caller) const {
  if (caller.program && caller.program->find(symbol_)) return true;
  Host& host = caller.interpreter.host();
  const uint64_t generation = host.resolution_generation();
  if (generation != generation_ || !target_) {
    target_ = host.resolve(symbol_);
    generation_ = target_ ? generation : 0;
  }
  return static_cast<bool>(target_);
}

// ---- Accesses -----------------------------------------------------------------------------

AccessNode::AccessNode(Base base, int slot, int symbol, std::vector<Step> steps)
    : base_(base), slot_(slot), site_(symbol), steps_(std::move(steps)), name_(symbol_name(symbol)) {
  // An `end` in the arguments refers to an outer array when this turns out to be a call;
  // saying so is harmless when it indexes (the index then gives `end` its own array).
  if (base_ != Base::Slot && !steps_.empty() && steps_[0].kind == Access::Kind::Field)
    dotted_ = std::make_unique<CallSite>(intern(name_ + "." + steps_[0].field));
  for (const Step& s : steps_) {
    for (const ExprNodePtr& arg : s.args) uses_end = uses_end || arg->uses_end;
    if (s.dynamic_field) uses_end = uses_end || s.dynamic_field->uses_end;
  }
}

bool AccessNode::fast_element(Frame& f, const Value& base, Value& out) const {
  const Step& step = steps_[0];
  if (steps_.size() != 1 || step.kind != Access::Kind::Paren) return false;
  const std::size_t count = step.args.size();
  if (count != 1 && count != 2) return false;
  const kxArray* a = plain_doubles(base);
  if (!a) return false;
  // Subscripts evaluate with `end` referring to the array, as on the general path; an
  // index that is not a whole number in range falls back with the values made.
  ValueList subs;
  eval_subscripts(f, step, a, subs);
  const long long k = position_of(a, subs);
  if (k < 0) return out = ops::index(a, pointers_of(subs)), true;
  out = Value::number(kxGetPr(a)[k]);
  return true;
}

void AccessNode::evaluate(Frame& f, int nargout, ValueList& out) const {
  const Value* variable = nullptr;
  if (base_ == Base::Slot) {
    Value& v = f.workspace.at(slot_);
    if (v) variable = &v;
  } else if (base_ == Base::Named || f.workspace.has_added()) {
    variable = f.workspace.value_of(site_.symbol());
  }

  if (variable) {
    if (steps_.empty()) return out.push_back(variable->share());
    if (Value element; fast_element(f, *variable, element)) return out.push_back(std::move(element));
    // The chain may run code that reassigns the variable: work on a holder of its own.
    return apply(f, variable->share(), 0, nargout, out);
  }

  if (dotted_ && dotted_->resolves(f)) return call_dotted(f, nargout, out);

  // A call: the first () holds the arguments.
  ValueList args;
  std::size_t next = 0;
  if (!steps_.empty() && steps_[0].kind == Access::Kind::Paren) {
    eval_arguments(f, steps_[0].args, args);
    next = 1;
  }
  if (next == steps_.size()) return site_.call(f, nargout, out, args);
  ValueList results;
  site_.call(f, 1, results, args);
  if (results.empty() || !results[0])
    kx::raise("Korel:noValue", "'" + name_ + "' returned no value to index into.");
  apply(f, std::move(results[0]), next, nargout, out);
}

void AccessNode::call_dotted(Frame& f, int nargout, ValueList& out) const {
  ValueList args;
  std::size_t next = 1;
  if (steps_.size() > 1 && steps_[1].kind == Access::Kind::Paren) {
    eval_arguments(f, steps_[1].args, args);
    next = 2;
  }
  if (next == steps_.size()) return dotted_->call(f, nargout, out, args);
  ValueList results;
  dotted_->call(f, 1, results, args);
  if (results.empty() || !results[0])
    kx::raise("Korel:noValue", "'" + symbol_name(dotted_->symbol()) + "' returned no value to index into.");
  apply(f, std::move(results[0]), next, nargout, out);
}

void AccessNode::apply(Frame& f, Value current, std::size_t from, int nargout,
                       ValueList& out) const {
  for (std::size_t k = from; k < steps_.size(); ++k) {
    const Step& step = steps_[k];
    bool last = k + 1 == steps_.size();
    int wanted = last ? nargout : 1;
    ValueList many;
    if (const HandleObject* object = handle_object_of(current.boxed())) {
      // The object answers for itself; a member followed by () is a method call.
      CallContext context{f.interpreter, f};
      if (step.kind == Access::Kind::Paren || step.kind == Access::Kind::Brace) {
        ValueList subs;
        eval_subscripts(f, step, current.get(), subs);
        object->index(context, subs, wanted, many);
      } else {
        const std::string name = step_field_name(f, step);
        if (!last && steps_[k + 1].kind == Access::Kind::Paren) {
          ValueList args;
          eval_arguments(f, steps_[++k].args, args);
          last = k + 1 == steps_.size();
          wanted = last ? nargout : 1;
          object->member(context, name, &args, wanted, many);
        } else {
          object->member(context, name, nullptr, wanted, many);
        }
      }
    } else if (step.kind == Access::Kind::Field || step.kind == Access::Kind::DynamicField) {
      for (Value& v : ops::field(current.get(), step_field_name(f, step))) many.push_back(std::move(v));
    } else if (step.kind == Access::Kind::Paren && kxIsFunctionHandle(current.get())) {
      ValueList args;
      eval_arguments(f, step.args, args);
      f.interpreter.call_handle(current.get(), f, wanted < 0 ? 1 : wanted, many, args);
    } else {
      ValueList subs;
      eval_subscripts(f, step, current.get(), subs);
      std::vector<const kxArray*> pointers = pointers_of(subs);
      if (step.kind == Access::Kind::Paren)
        many.push_back(ops::index(current.get(), pointers));
      else
        for (Value& v : ops::brace_index(current.get(), pointers)) many.push_back(std::move(v));
    }
    if (last) {
      for (Value& v : many) out.push_back(std::move(v));
      return;
    }
    if (many.size() != 1)
      kx::raise("Korel:badIndexChain", "Intermediate indexing must give exactly one value, not " +
                                           std::to_string(many.size()) + ".");
    current = std::move(many[0]);
  }
  out.push_back(std::move(current));
}

Value AccessNode::eval(Frame& f) const {
  ValueList out;
  evaluate(f, 1, out);
  if (out.empty() || !out[0])
    kx::raise("Korel:noValue", "The expression '" + name_ + "' has no value to use here.");
  return std::move(out[0]);  // of a cs-list, the first
}

void AccessNode::eval_list(Frame& f, ValueList& out) const { evaluate(f, 1, out); }

void AccessNode::eval_outputs(Frame& f, int nargout, ValueList& out) const {
  evaluate(f, nargout, out);
}

}  // namespace krt::lang
