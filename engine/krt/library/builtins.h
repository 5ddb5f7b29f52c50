// The built-in functions of this library, each with the native function signature.
// Names are the Korel names; a trailing underscore avoids a C++ keyword.
#pragma once

#include "korel/kx.h"
#include "krt/lang/call.h"

namespace krt::library::builtin {

#define KOREL_BUILTIN(name) \
  void name(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs)

// Numbers to text and back (number_text_functions.cc).
KOREL_BUILTIN(sprintf);
KOREL_BUILTIN(num2str);
KOREL_BUILTIN(int2str);
KOREL_BUILTIN(str2double);

// Sizes (size_functions.cc).
KOREL_BUILTIN(isempty);
KOREL_BUILTIN(numel);
KOREL_BUILTIN(length);
KOREL_BUILTIN(size);
KOREL_BUILTIN(ndims);
KOREL_BUILTIN(isscalar);
KOREL_BUILTIN(isvector);

// Classes and kinds (type_functions.cc).
KOREL_BUILTIN(class_);
KOREL_BUILTIN(isa);
KOREL_BUILTIN(ischar);
KOREL_BUILTIN(isnumeric);
KOREL_BUILTIN(islogical);
KOREL_BUILTIN(iscell);
KOREL_BUILTIN(isstruct);
KOREL_BUILTIN(isobject);
KOREL_BUILTIN(isreal);
KOREL_BUILTIN(isfield);

// Equality of values (equality_functions.cc).
KOREL_BUILTIN(isequal);

// Text (text_functions.cc).
KOREL_BUILTIN(strcmp);
KOREL_BUILTIN(strcmpi);
KOREL_BUILTIN(strcat);
KOREL_BUILTIN(upper);
KOREL_BUILTIN(lower);
KOREL_BUILTIN(strtrim);

// Making arrays (construct_functions.cc).
KOREL_BUILTIN(zeros);
KOREL_BUILTIN(ones);
KOREL_BUILTIN(cell);
KOREL_BUILTIN(true_);
KOREL_BUILTIN(false_);
KOREL_BUILTIN(inf);
KOREL_BUILTIN(inf_lower);
KOREL_BUILTIN(nan);
KOREL_BUILTIN(nan_lower);
KOREL_BUILTIN(struct_);
KOREL_BUILTIN(fieldnames);

// Class conversions (class_conversion_functions.cc).
KOREL_BUILTIN(double_);
KOREL_BUILTIN(single);
KOREL_BUILTIN(int8);
KOREL_BUILTIN(int16);
KOREL_BUILTIN(int32);
KOREL_BUILTIN(int64);
KOREL_BUILTIN(uint8);
KOREL_BUILTIN(uint16);
KOREL_BUILTIN(uint32);
KOREL_BUILTIN(uint64);
KOREL_BUILTIN(logical);
KOREL_BUILTIN(char_);

// Element-wise arithmetic (math_functions.cc).
KOREL_BUILTIN(abs);
KOREL_BUILTIN(floor);
KOREL_BUILTIN(ceil);
KOREL_BUILTIN(round);
KOREL_BUILTIN(fix);
KOREL_BUILTIN(sqrt);
KOREL_BUILTIN(mod);
KOREL_BUILTIN(rem);

// Reductions along a dimension (reduce_functions.cc, extremum_functions.cc).
KOREL_BUILTIN(sum);
KOREL_BUILTIN(prod);
KOREL_BUILTIN(any);
KOREL_BUILTIN(all);
KOREL_BUILTIN(max);
KOREL_BUILTIN(min);

// Positions of non-zero elements (find_function.cc).
KOREL_BUILTIN(find);

#undef KOREL_BUILTIN

}  // namespace krt::library::builtin
