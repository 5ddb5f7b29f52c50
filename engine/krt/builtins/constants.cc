// true, false, pi, Inf, NaN, eps as scalars.
#include <cmath>
#include <limits>

#include "krt/builtins/arguments.h"
#include "krt/builtins/intrinsics.h"

namespace krt::builtins {
namespace {

using lang::CallContext;
using lang::ValueList;

template <bool kValue>
void logical_constant(CallContext&, int, ValueList& out, ValueList& in) {
  check_inputs(in, 0, 0, kValue ? "true" : "false");
  out.push_back(make_logical(kValue));
}

void pi(CallContext&, int, ValueList& out, ValueList& in) {
  check_inputs(in, 0, 0, "pi");
  out.push_back(make_double(M_PI));
}

void inf(CallContext&, int, ValueList& out, ValueList& in) {
  check_inputs(in, 0, 0, "Inf");
  out.push_back(make_double(std::numeric_limits<double>::infinity()));
}

void nan(CallContext&, int, ValueList& out, ValueList& in) {
  check_inputs(in, 0, 0, "NaN");
  out.push_back(make_double(std::numeric_limits<double>::quiet_NaN()));
}

void eps(CallContext&, int, ValueList& out, ValueList& in) {
  check_inputs(in, 0, 0, "eps");
  out.push_back(make_double(std::numeric_limits<double>::epsilon()));
}

}  // namespace

// Scalars only: none of them takes a size yet.
const lang::IntrinsicEntry kConstantFunctions[] = {
    {"true", logical_constant<true>, "Logical 1, a scalar (true(M, N) is not supported yet)."},
    {"false", logical_constant<false>, "Logical 0, a scalar (false(M, N) is not supported yet)."},
    {"pi", pi, "The double nearest to pi; a scalar."},
    {"Inf", inf, "Positive infinity; a scalar."},
    {"inf", inf, "Positive infinity, as Inf."},
    {"NaN", nan, "Not-a-number; a scalar."},
    {"nan", nan, "Not-a-number, as NaN."},
    {"eps", eps, "The spacing of doubles at 1 (2^-52); eps(X) is not supported."},
    {nullptr, nullptr}};

}  // namespace krt::builtins
