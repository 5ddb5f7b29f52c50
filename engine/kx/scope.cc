#include "kx/scope.h"

#include "kx/array.h"

namespace kx {
namespace {
thread_local TemporaryScope* innermost = nullptr;
}

TemporaryScope::TemporaryScope() : outer_(innermost) { innermost = this; }

TemporaryScope::~TemporaryScope() {
  innermost = outer_;
  // Destroying an array may not touch this list again: each leaves it first.
  while (!arrays_.empty()) {
    kxArray* a = arrays_.back();
    arrays_.pop_back();
    a->scope = nullptr;
    destroy_array(a);
  }
}

void adopt_into_scope(kxArray* a) {
  TemporaryScope* scope = innermost;
  if (!scope || a->scope) return;
  a->scope = scope;
  a->scope_slot = scope->arrays_.size();
  scope->arrays_.push_back(a);
}

void remove_from_scope(kxArray* a) {
  TemporaryScope* scope = a->scope;
  if (!scope) return;
  auto& arrays = scope->arrays_;
  kxArray* last = arrays.back();
  arrays[a->scope_slot] = last;
  last->scope_slot = a->scope_slot;
  arrays.pop_back();
  a->scope = nullptr;
}

}  // namespace kx

extern "C" {

void kxSetArrayScope(kxArray* a, int scope) {
  if (!a || a->contained) return;
  if (scope == kxPERSISTENT_SCOPE)
    kx::remove_from_scope(a);
  else
    kx::adopt_into_scope(a);
}

int kxGetArrayScope(const kxArray* a) {
  return a && a->scope ? kxTEMPORARY_SCOPE : kxPERSISTENT_SCOPE;
}

}  // extern "C"
