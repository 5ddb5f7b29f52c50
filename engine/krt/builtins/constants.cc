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

const lang::IntrinsicEntry kConstantFunctions[] = {
    {"true", logical_constant<true>}, {"false", logical_constant<false>},
    {"pi", pi},   {"Inf", inf}, {"inf", inf}, {"NaN", nan}, {"nan", nan}, {"eps", eps},
    {nullptr, nullptr}};

}  // namespace krt::builtins
