// Assignment through access chains: `a(i).f{j} = v`, in place wherever the value being
// written into is held by nobody else.
#pragma once

#include <string>
#include <vector>

#include "krt/lang/access_nodes.h"

namespace krt::lang {

// target(steps...) = rhs. `target` may be unset (it is then made from rhs).
//
// All Korel code of the chain (subscripts, dynamic field names) runs first, while the
// target is intact, so `s.x(numel(s.x) + 1) = v` sees s.x as it was. Only then is the
// target written: each step takes the element it selects out of its container, writes
// into it and puts it back, so nothing is copied that nobody else holds.
void assign_path(Frame& f, Value& target, const std::vector<Step>& steps, Value rhs);

// target(subs) = rhs for subscripts already evaluated: in place when a scalar goes into
// an array of its class held alone (growing a vector at its end), else by the array
// operations; `[]` deletes. A handle object assigns for itself.
void assign_elements(Frame& f, Value& target, ValueList& subs, Value rhs);

// Stores an inline scalar as element k of an array of its class.
void store_scalar(void* data, kxSize k, const Value& v);

}  // namespace krt::lang
