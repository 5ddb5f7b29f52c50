#include "krt/lang/workspace.h"

#include <new>

namespace krt::lang {

Workspace::Workspace(const Scope* scope)
    : scope_(scope), static_count_(scope ? scope->size() : 0) {
  if (static_count_ > kInlineSlots) {
    heap_ = std::make_unique<Value[]>(static_cast<std::size_t>(static_count_));
    statics_ = heap_.get();
  } else {
    statics_ = reinterpret_cast<Value*>(inline_);
    for (int k = 0; k < static_count_; ++k) new (statics_ + k) Value();
  }
}

Workspace::~Workspace() {
  if (!heap_)
    for (int k = 0; k < static_count_; ++k) statics_[k].~Value();
}

int Workspace::find(int symbol) const {
  if (scope_)
    if (int k = scope_->find(symbol); k >= 0) return k;
  for (std::size_t k = 0; k < added_symbols_.size(); ++k)
    if (added_symbols_[k] == symbol) return static_count_ + static_cast<int>(k);
  return -1;
}

int Workspace::add(int symbol) {
  if (int k = find(symbol); k >= 0) return k;
  added_symbols_.push_back(symbol);
  if (!added_) added_ = std::make_unique<std::deque<Value>>();
  added_->emplace_back();
  if (links_) links_->push_back(nullptr);
  return slot_count() - 1;
}

int Workspace::symbol_at(int slot) const {
  if (slot < static_count_) return scope_->symbol_at(slot);
  return added_symbols_[static_cast<std::size_t>(slot - static_count_)];
}

void Workspace::link(int slot, Value* target) {
  if (!links_) {
    if (!target) return;
    links_ = std::make_unique<std::vector<Value*>>(static_cast<std::size_t>(slot_count()), nullptr);
  }
  (*links_)[static_cast<std::size_t>(slot)] = target;
  if (target) raw(slot).reset();
}

void Workspace::clear(int slot) {
  if (links_) (*links_)[static_cast<std::size_t>(slot)] = nullptr;
  raw(slot).reset();
}

}  // namespace krt::lang
