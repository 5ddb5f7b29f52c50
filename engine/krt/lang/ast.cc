#include "krt/lang/ast.h"

namespace krt::lang {

const char* symbol_of(BinaryOp op) {
  switch (op) {
    case BinaryOp::Add: return "+";
    case BinaryOp::Sub: return "-";
    case BinaryOp::MatMul: return "*";
    case BinaryOp::MatDiv: return "/";
    case BinaryOp::ElemMul: return ".*";
    case BinaryOp::ElemDiv: return "./";
    case BinaryOp::LeftDiv: return "\\";
    case BinaryOp::ElemLeftDiv: return ".\\";
    case BinaryOp::MatPow: return "^";
    case BinaryOp::ElemPow: return ".^";
    case BinaryOp::Eq: return "==";
    case BinaryOp::Ne: return "~=";
    case BinaryOp::Lt: return "<";
    case BinaryOp::Le: return "<=";
    case BinaryOp::Gt: return ">";
    case BinaryOp::Ge: return ">=";
    case BinaryOp::ElemAnd: return "&";
    case BinaryOp::ElemOr: return "|";
    case BinaryOp::AndAnd: return "&&";
    case BinaryOp::OrOr: return "||";
  }
  return "?";
}

const char* symbol_of(UnaryOp op) {
  switch (op) {
    case UnaryOp::Negate: return "-";
    case UnaryOp::Plus: return "+";
    case UnaryOp::Not: return "~";
    case UnaryOp::Transpose: return "'";
    case UnaryOp::DotTranspose: return ".'";
  }
  return "?";
}

}  // namespace krt::lang
