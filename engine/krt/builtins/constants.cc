// pi and eps.
#include <cmath>
#include <limits>

#include "krt/builtins/arguments.h"
#include "krt/builtins/intrinsics.h"

namespace krt::builtins {
namespace {

using lang::CallContext;
using lang::ValueList;

void pi(CallContext&, int, ValueList& out, ValueList& in) {
  check_inputs(in, 0, 0, "pi");
  out.push_back(make_double(M_PI));
}

void eps(CallContext&, int, ValueList& out, ValueList& in) {
  check_inputs(in, 0, 0, "eps");
  out.push_back(make_double(std::numeric_limits<double>::epsilon()));
}

}  // namespace

// Scalars only: none of them takes a size yet.
const lang::IntrinsicEntry kConstantFunctions[] = {
    {"pi", pi, "The double nearest to pi."},
    {"eps", eps, "The spacing of doubles at 1 (2^-52)."},
    {nullptr, nullptr}};

}  // namespace krt::builtins
