#include "krt/lang/anonymous.h"

#include "kx/payload.h"

namespace krt::lang {

AnonymousFunctionNode::AnonymousFunctionNode(std::shared_ptr<const AnonymousCode> code,
                                             std::vector<int> enclosing_slots)
    : code_(std::move(code)), enclosing_slots_(std::move(enclosing_slots)) {
  may_call = false;
}

Value AnonymousFunctionNode::eval(Frame& f) const {
  auto closure = std::make_shared<Closure>();
  closure->code = code_;
  closure->captured.resize(code_->free_symbols.size());
  for (std::size_t k = 0; k < code_->free_symbols.size(); ++k) {
    const Value* v = nullptr;
    if (int slot = enclosing_slots_[k]; slot >= 0) {
      const Value& held = f.workspace.at(slot);
      if (held) v = &held;
    } else {
      v = f.workspace.value_of(code_->free_symbols[k]);
    }
    if (v) closure->captured[k] = v->share();
  }
  if (f.program) closure->program = f.program->weak_from_this().lock();
  return checked(kx::create_handle_with_payload(code_->text.c_str(), std::move(closure)));
}

const Closure* closure_of(const kxArray* handle) {
  if (!handle || !kxIsFunctionHandle(handle)) return nullptr;
  return dynamic_cast<const Closure*>(kx::payload_of(handle));
}

}  // namespace krt::lang
