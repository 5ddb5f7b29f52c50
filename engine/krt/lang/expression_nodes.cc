#include "krt/lang/expression_nodes.h"

#include <cmath>

#include "krt/array/operations.h"
#include "krt/lang/interpreter.h"
#include "krt/lang/scalar_ops.h"
#include "krt/lang/statement_nodes.h"
#include "krt/lang/symbols.h"
#include "kx/error.h"

namespace krt::lang {
namespace {

// The one value a call by name gives where a value is needed.
Value call_for_value(Frame& f, int symbol) {
  ValueList in, out;
  f.interpreter.call_named(symbol, f, 1, out, in);
  if (out.empty() || !out[0])
    kx::raise("Korel:noValue",
              "The expression '" + symbol_name(symbol) + "' has no value to use here.");
  return std::move(out[0]);
}

// Real double scalars, inline or not: the operands the scalar forms take.
bool double_scalars(const Value& a, const Value& b, double& x, double& y) {
  if (a.is_number() && b.is_number()) {
    x = a.number_value();
    y = b.number_value();
    return true;
  }
  if (!a.is_number() && !(a.is_boxed() && a.class_id() == kxDOUBLE_CLASS)) return false;
  if (!b.is_number() && !(b.is_boxed() && b.class_id() == kxDOUBLE_CLASS)) return false;
  return a.real_scalar(x) && b.real_scalar(y);
}

template <BinaryOp Op>
class BinaryNode final : public ExprNode {
 public:
  BinaryNode(ExprNodePtr lhs, ExprNodePtr rhs) : lhs_(std::move(lhs)), rhs_(std::move(rhs)) {
    may_call = lhs_->may_call || rhs_->may_call;
    uses_end = lhs_->uses_end || rhs_->uses_end;
  }

  bool number(Frame& f, double& out) const override {
    if constexpr (is_logical_op(Op)) {
      return false;
    } else {
      double x, y;
      return lhs_->number(f, x) && rhs_->number(f, y) && scalar_numeric<Op>(x, y, out);
    }
  }

  bool test(Frame& f) const override {
    if constexpr (is_logical_op(Op) && Op != BinaryOp::ElemAnd && Op != BinaryOp::ElemOr) {
      double x, y;
      if (lhs_->number(f, x) && rhs_->number(f, y)) return scalar_logical<Op>(x, y);
    }
    return ExprNode::test(f);
  }

  Value eval(Frame& f) const override {
    double x, y;
    if (lhs_->number(f, x) && rhs_->number(f, y)) {
      if constexpr (is_logical_op(Op)) {
        if constexpr (Op != BinaryOp::ElemAnd && Op != BinaryOp::ElemOr)
          return Value::boolean(scalar_logical<Op>(x, y));
      } else {
        double r;
        if (scalar_numeric<Op>(x, y, r)) return Value::number(r);
      }
    }
    // The left operand is read in place unless the right one could change it.
    Value left_holder, right_holder;
    const Value& a = rhs_->may_call ? (left_holder = lhs_->eval(f), left_holder)
                                    : lhs_->ref(f, left_holder);
    const Value& b = rhs_->ref(f, right_holder);
    if (double_scalars(a, b, x, y)) {
      if constexpr (is_logical_op(Op)) {
        if constexpr (Op == BinaryOp::ElemAnd || Op == BinaryOp::ElemOr) {
          if (std::isnan(x) || std::isnan(y)) return ops::binary(Op, a.get(), b.get());
        }
        return Value::boolean(scalar_logical<Op>(x, y));
      } else {
        double r;
        if (scalar_numeric<Op>(x, y, r)) return Value::number(r);
      }
    }
    return ops::binary(Op, a.get(), b.get());
  }

 private:
  ExprNodePtr lhs_, rhs_;
};

}  // namespace

bool ExprNode::test(Frame& f) const {
  Value holder;
  return truth(ref(f, holder));
}

// ---- Variables ------------------------------------------------------------------------

Value VariableNode::eval(Frame& f) const {
  Value& v = f.workspace.at(slot_);
  if (v) [[likely]]
    return v.share();
  return call_for_value(f, symbol_);
}

const Value& VariableNode::ref(Frame& f, Value& holder) const {
  Value& v = f.workspace.at(slot_);
  if (v) [[likely]]
    return v;
  holder = call_for_value(f, symbol_);
  return holder;
}

void VariableNode::eval_outputs(Frame& f, int nargout, ValueList& out) const {
  Value& v = f.workspace.at(slot_);
  if (v) return out.push_back(v.share());
  ValueList in;
  f.interpreter.call_named(symbol_, f, nargout, out, in);
}

Value NamedNode::eval(Frame& f) const {
  if (Value* v = f.workspace.value_of(symbol_)) return v->share();
  return call_for_value(f, symbol_);
}

const Value& NamedNode::ref(Frame& f, Value& holder) const {
  if (Value* v = f.workspace.value_of(symbol_)) return *v;
  holder = call_for_value(f, symbol_);
  return holder;
}

void NamedNode::eval_list(Frame& f, ValueList& out) const {
  if (Value* v = f.workspace.value_of(symbol_)) return out.push_back(v->share());
  ValueList in;
  f.interpreter.call_named(symbol_, f, 1, out, in);
}

void NamedNode::eval_outputs(Frame& f, int nargout, ValueList& out) const {
  if (Value* v = f.workspace.value_of(symbol_)) return out.push_back(v->share());
  ValueList in;
  f.interpreter.call_named(symbol_, f, nargout, out, in);
}

// ---- Operators ------------------------------------------------------------------------

ExprNodePtr make_binary(BinaryOp op, ExprNodePtr lhs, ExprNodePtr rhs) {
  switch (op) {
#define KOREL_BINARY(name) \
  case BinaryOp::name: return std::make_unique<BinaryNode<BinaryOp::name>>(std::move(lhs), std::move(rhs));
    KOREL_BINARY(Add)
    KOREL_BINARY(Sub)
    KOREL_BINARY(MatMul)
    KOREL_BINARY(MatDiv)
    KOREL_BINARY(LeftDiv)
    KOREL_BINARY(ElemMul)
    KOREL_BINARY(ElemDiv)
    KOREL_BINARY(ElemLeftDiv)
    KOREL_BINARY(MatPow)
    KOREL_BINARY(ElemPow)
    KOREL_BINARY(Eq)
    KOREL_BINARY(Ne)
    KOREL_BINARY(Lt)
    KOREL_BINARY(Le)
    KOREL_BINARY(Gt)
    KOREL_BINARY(Ge)
    KOREL_BINARY(ElemAnd)
    KOREL_BINARY(ElemOr)
#undef KOREL_BINARY
    case BinaryOp::AndAnd:
      return std::make_unique<ShortCircuitNode>(true, std::move(lhs), std::move(rhs));
    case BinaryOp::OrOr:
      return std::make_unique<ShortCircuitNode>(false, std::move(lhs), std::move(rhs));
  }
  kx::raise("Korel:internal", "Unknown operator.");
}

ShortCircuitNode::ShortCircuitNode(bool is_and, ExprNodePtr lhs, ExprNodePtr rhs)
    : is_and_(is_and), lhs_(std::move(lhs)), rhs_(std::move(rhs)) {
  may_call = lhs_->may_call || rhs_->may_call;
  uses_end = lhs_->uses_end || rhs_->uses_end;
}

Value ShortCircuitNode::eval(Frame& f) const { return Value::boolean(test(f)); }

bool ShortCircuitNode::test(Frame& f) const {
  bool left = lhs_->test(f);
  if (left != is_and_) return left;
  return rhs_->test(f);
}

UnaryNode::UnaryNode(UnaryOp op, ExprNodePtr operand) : op_(op), operand_(std::move(operand)) {
  may_call = operand_->may_call;
  uses_end = operand_->uses_end;
}

bool UnaryNode::number(Frame& f, double& out) const {
  if (op_ == UnaryOp::Not || !operand_->number(f, out)) return false;
  if (op_ == UnaryOp::Negate) out = -out;
  return true;
}

Value UnaryNode::eval(Frame& f) const {
  Value holder;
  const Value& v = operand_->ref(f, holder);
  if (v.is_number()) {
    double x = v.number_value();
    switch (op_) {
      case UnaryOp::Negate: return Value::number(-x);
      case UnaryOp::Plus:
      case UnaryOp::Transpose:
      case UnaryOp::DotTranspose: return Value::number(x);
      case UnaryOp::Not:
        if (!std::isnan(x)) return Value::boolean(x == 0);
        break;
    }
  }
  return ops::unary(op_, v.get());
}

// ---- Ranges, matrices, end ------------------------------------------------------------

RangeNode::RangeNode(ExprNodePtr start, ExprNodePtr step, ExprNodePtr stop)
    : start_(std::move(start)), step_(std::move(step)), stop_(std::move(stop)) {
  may_call = start_->may_call || stop_->may_call || (step_ && step_->may_call);
  uses_end = start_->uses_end || stop_->uses_end || (step_ && step_->uses_end);
}

Value RangeNode::eval(Frame& f) const {
  Value start = start_->eval(f);
  Value step = step_ ? step_->eval(f) : Value();
  Value stop = stop_->eval(f);
  return ops::range(start.get(), step.get(), stop.get());
}

MatrixNode::MatrixNode(std::vector<std::vector<ExprNodePtr>> rows, bool cell)
    : rows_(std::move(rows)), cell_(cell) {
  may_call = false;
  for (const auto& row : rows_)
    for (const ExprNodePtr& e : row) {
      may_call = may_call || e->may_call;
      uses_end = uses_end || e->uses_end;
    }
}

Value MatrixNode::eval(Frame& f) const {
  if (rows_.empty()) return cell_ ? checked(kxCreateCellMatrix(0, 0)) : make_empty_double();
  ValueList rows;
  for (const auto& row : rows_) {
    ValueList parts;
    for (const ExprNodePtr& element : row) {
      std::size_t before = parts.size();
      element->eval_list(f, parts);
      if (cell_)
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
    pointers.reserve(parts.size());
    for (const Value& v : parts) pointers.push_back(v.get());
    rows.push_back(ops::horzcat(pointers));
  }
  if (rows.size() == 1) return std::move(rows[0]);
  std::vector<const kxArray*> pointers;
  pointers.reserve(rows.size());
  for (const Value& v : rows) pointers.push_back(v.get());
  return ops::vertcat(pointers);
}

Value EndNode::eval(Frame& f) const {
  const EndContext* c = f.interpreter.end_context();
  if (!c || !c->array)
    kx::raise("Korel:misplacedEnd", "'end' is only valid inside an index of an array.");
  return Value::number(static_cast<double>(ops::end_of(c->array, c->position, c->count)));
}

Value ColonNode::eval(Frame&) const { return make_string(":"); }

Value FunctionHandleNode::eval(Frame&) const {
  return checked(kxCreateFunctionHandle(name_.c_str()));
}

}  // namespace krt::lang
