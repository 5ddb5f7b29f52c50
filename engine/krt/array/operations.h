// Operations on array values: arithmetic, comparison, concatenation, ranges, indexing.
//
// Every function takes borrowed arrays and returns a new Value; none changes its inputs
// except the assign_* and delete_* functions, which change `target` (after
// make_writable()). Failures raise kx::KorelError through kx::raise with an identifier
// of the form "Korel:<area>:<reason>".
#pragma once

#include <span>
#include <string>
#include <vector>

#include "korel/kx.h"
#include "krt/lang/ast.h"
#include "krt/array/value.h"

namespace krt::ops {

// ---- Arithmetic, comparison and logic --------------------------------------------
// Element-wise operations expand scalars; MatMul is the matrix product of 2-D operands
// (element-wise when one is a scalar); MatDiv divides by a scalar; MatPow raises a scalar
// to a scalar or a square matrix to a non-negative integer power. AndAnd and OrOr are
// not handled here (the evaluator short-circuits them).
Value binary(lang::BinaryOp op, const kxArray* a, const kxArray* b);
Value unary(lang::UnaryOp op, const kxArray* a);

// The truth of a condition (if, while, &&, ||): non-empty and every element non-zero.
bool is_true(const kxArray* a);

// start:stop or start:step:stop (step may be null) as a row vector.
Value range(const kxArray* start, const kxArray* step, const kxArray* stop);

// ---- Concatenation -----------------------------------------------------------------
// [a, b, ...] and [a; b; ...]; also the cell forms {a, b} which wrap non-cell elements.
Value horzcat(std::span<const kxArray* const> parts);
Value vertcat(std::span<const kxArray* const> parts);

// ---- Indexing ----------------------------------------------------------------------
// A subscript: an array of indices (numeric, 1-based; or logical), or null for ':'.
using Subscripts = std::span<const kxArray* const>;

// The value `end` stands for in subscript `position` (from 0) of `count` subscripts.
kxSize end_of(const kxArray* a, std::size_t position, std::size_t count);

// a(subs) for any class (a cell gives a cell, a struct array a struct array).
Value index(const kxArray* a, Subscripts subs);
// a{subs}: the selected cell elements, as shared copies, in storage order.
std::vector<Value> brace_index(const kxArray* a, Subscripts subs);
// a.name: the field of every element, in storage order (one value for a 1x1 struct).
std::vector<Value> field(const kxArray* a, const std::string& name);

// target(subs) = rhs. A null target is created from rhs's class; the target grows to
// fit; rhs must be a scalar or have as many elements as the selection.
void assign_index(Value& target, Subscripts subs, const kxArray* rhs);
// target{subs} = rhs: a null target becomes a cell; one element must be selected.
void assign_brace(Value& target, Subscripts subs, const kxArray* rhs);
// target.name = rhs: a null target becomes a 1x1 struct; the field is added when new.
// A struct array target sets the field of every element (only when it has one).
void assign_field(Value& target, const std::string& name, const kxArray* rhs);
// target(subs) = []: removes elements (one non-colon subscript, or linear indexing).
void delete_elements(Value& target, Subscripts subs);

}  // namespace krt::ops
