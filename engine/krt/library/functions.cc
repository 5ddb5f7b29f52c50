#include "krt/library/functions.h"

#include "krt/library/builtins.h"

namespace krt::library {

namespace b = builtin;

const krtFunctionTableEntry kFunctions[] = {
    // Numbers to text and back.
    {"sprintf", b::sprintf},
    {"num2str", b::num2str},
    {"int2str", b::int2str},
    {"str2double", b::str2double},
    // Sizes.
    {"isempty", b::isempty},
    {"numel", b::numel},
    {"length", b::length},
    {"size", b::size},
    {"ndims", b::ndims},
    {"isscalar", b::isscalar},
    {"isvector", b::isvector},
    // Classes and kinds.
    {"class", b::class_},
    {"isa", b::isa},
    {"ischar", b::ischar},
    {"isnumeric", b::isnumeric},
    {"islogical", b::islogical},
    {"iscell", b::iscell},
    {"isstruct", b::isstruct},
    {"isreal", b::isreal},
    {"isfield", b::isfield},
    {"isequal", b::isequal},
    // Text.
    {"strcmp", b::strcmp},
    {"strcmpi", b::strcmpi},
    {"strcat", b::strcat},
    {"upper", b::upper},
    {"lower", b::lower},
    {"strtrim", b::strtrim},
    // Making arrays.
    {"zeros", b::zeros},
    {"ones", b::ones},
    {"cell", b::cell},
    {"struct", b::struct_},
    {"fieldnames", b::fieldnames},
    // Class conversions.
    {"double", b::double_},
    {"single", b::single},
    {"int8", b::int8},
    {"int16", b::int16},
    {"int32", b::int32},
    {"int64", b::int64},
    {"uint8", b::uint8},
    {"uint16", b::uint16},
    {"uint32", b::uint32},
    {"uint64", b::uint64},
    {"logical", b::logical},
    {"char", b::char_},
    // Element-wise arithmetic.
    {"abs", b::abs},
    {"floor", b::floor},
    {"ceil", b::ceil},
    {"round", b::round},
    {"fix", b::fix},
    {"sqrt", b::sqrt},
    {"mod", b::mod},
    {"rem", b::rem},
    // Reductions.
    {"sum", b::sum},
    {"prod", b::prod},
    {"any", b::any},
    {"all", b::all},
    {"max", b::max},
    {"min", b::min},
    {"find", b::find},
    {nullptr, nullptr},
};

}  // namespace krt::library
