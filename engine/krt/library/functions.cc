#include "krt/library/functions.h"

#include "krt/library/builtins.h"

namespace krt::library {
namespace {

namespace b = builtin;

const lang::IntrinsicEntry kTextConversions[] = {
    {"sprintf", b::sprintf, "Formats data as text, cycling the format over the data."},
    {"num2str", b::num2str, "A number or matrix as text; with a precision or a format."},
    {"int2str", b::int2str, "Rounded numbers as text."},
    {"str2double", b::str2double, "Text read as a double; NaN when it is not a number."},
    {nullptr, nullptr}};

const lang::IntrinsicEntry kSizes[] = {
    {"isempty", b::isempty, "True for an array with no elements."},
    {"numel", b::numel, "The number of elements."},
    {"length", b::length,
     "The largest dimension (0 for an empty array); a containers.Map's number of keys."},
    {"size", b::size, "The dimensions, one dimension, or one per output."},
    {"ndims", b::ndims, "The number of dimensions (at least 2)."},
    {"isscalar", b::isscalar, "True for a 1x1 array."},
    {"isvector", b::isvector, "True for a 1xN or Nx1 array."},
    {nullptr, nullptr}};

const lang::IntrinsicEntry kClasses[] = {
    {"class", b::class_, "The class name of a value."},
    {"isa", b::isa, "Whether a value is of a class or a category ('numeric', 'float', 'integer')."},
    {"ischar", b::ischar, "True for a char array."},
    {"isnumeric", b::isnumeric, "True for a numeric array (not logical or char)."},
    {"islogical", b::islogical, "True for a logical array."},
    {"iscell", b::iscell, "True for a cell array."},
    {"isstruct", b::isstruct, "True for a struct array."},
    {"isobject", b::isobject, "True for an object (containers.Map and other classes)."},
    {"isreal", b::isreal, "True for an array with no imaginary part stored."},
    {"isfield", b::isfield, "Whether a struct has a field, or each of a cell of names."},
    {"isequal", b::isequal, "True when all arguments have the same size and values (NaN differs)."},
    {nullptr, nullptr}};

const lang::IntrinsicEntry kTextFunctions[] = {
    {"strcmp", b::strcmp, "True where two texts (or cells of texts) are equal."},
    {"strcmpi", b::strcmpi, "As strcmp, ignoring case."},
    {"strcat", b::strcat, "Texts joined; trailing blanks of char arguments removed."},
    {"upper", b::upper, "Text in upper case."},
    {"lower", b::lower, "Text in lower case."},
    {"strtrim", b::strtrim, "Text without leading and trailing white space."},
    {nullptr, nullptr}};

const lang::IntrinsicEntry kConstruction[] = {
    {"zeros", b::zeros, "An array of zeros of the given size and class."},
    {"ones", b::ones, "An array of ones of the given size and class."},
    {"true", b::true_, "Logical true, or an array of it: true(n), true(m, n, ...), true([m n])."},
    {"false", b::false_, "Logical false, or an array of it: false(n), false(m, n, ...), false([m n])."},
    {"Inf", b::inf, "Infinity, or an array of it of the given size; 'double' or 'single'."},
    {"inf", b::inf_lower, "The same as Inf."},
    {"NaN", b::nan, "Not-a-number, or an array of it of the given size; 'double' or 'single'."},
    {"nan", b::nan_lower, "The same as NaN."},
    {"cell", b::cell, "A cell array of empty elements of the given size."},
    {"struct", b::struct_, "A struct from field names and values (a cell value makes an array)."},
    {"fieldnames", b::fieldnames, "The field names of a struct as a column cell."},
    {nullptr, nullptr}};

const lang::IntrinsicEntry kClassConversions[] = {
    {"double", b::double_, "Conversion to double."},
    {"single", b::single, "Conversion to single."},
    {"int8", b::int8, "Conversion to int8, rounding and saturating."},
    {"int16", b::int16, "Conversion to int16, rounding and saturating."},
    {"int32", b::int32, "Conversion to int32, rounding and saturating."},
    {"int64", b::int64, "Conversion to int64, rounding and saturating."},
    {"uint8", b::uint8, "Conversion to uint8, rounding and saturating."},
    {"uint16", b::uint16, "Conversion to uint16, rounding and saturating."},
    {"uint32", b::uint32, "Conversion to uint32, rounding and saturating."},
    {"uint64", b::uint64, "Conversion to uint64, rounding and saturating."},
    {"logical", b::logical, "Conversion to logical (NaN is an error)."},
    {"char", b::char_, "Conversion to char; several texts become padded rows."},
    {nullptr, nullptr}};

const lang::IntrinsicEntry kArithmetic[] = {
    {"abs", b::abs, "Absolute value (magnitude of complex values)."},
    {"floor", b::floor, "Rounding toward minus infinity."},
    {"ceil", b::ceil, "Rounding toward plus infinity."},
    {"round", b::round, "Rounding to the nearest integer, halves away from zero."},
    {"fix", b::fix, "Rounding toward zero."},
    {"sqrt", b::sqrt, "Square root."},
    {"mod", b::mod, "Remainder after division, with the sign of the divisor."},
    {"rem", b::rem, "Remainder after division, with the sign of the dividend."},
    {nullptr, nullptr}};

const lang::IntrinsicEntry kReductions[] = {
    {"sum", b::sum, "Sum along a dimension."},
    {"prod", b::prod, "Product along a dimension."},
    {"any", b::any, "True where any element along a dimension is non-zero."},
    {"all", b::all, "True where all elements along a dimension are non-zero."},
    {"max", b::max, "Largest elements along a dimension, or of two arrays; with indices."},
    {"min", b::min, "Smallest elements along a dimension, or of two arrays; with indices."},
    {"find", b::find, "Positions of non-zero elements."},
    {nullptr, nullptr}};

const lang::IntrinsicGroup kGroups[] = {
    {"Sizes and shapes", kSizes},
    {"Classes and kinds", kClasses},
    {"Making arrays", kConstruction},
    {"Class conversions", kClassConversions},
    {"Elementary math", kArithmetic},
    {"Reductions and searching", kReductions},
    {"Text", kTextFunctions},
    {"Numbers and text", kTextConversions},
};

}  // namespace

std::span<const lang::IntrinsicGroup> function_groups() { return kGroups; }

}  // namespace krt::library
