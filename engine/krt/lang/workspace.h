// The variables of one function call, a script's caller or the base workspace.
#pragma once

#include <deque>
#include <memory>
#include <vector>

#include "krt/array/value.h"

namespace krt::lang {

// Which symbol each slot of a compiled function holds. The compiler gives every name a
// function uses as a variable a slot, so compiled code reaches variables by position.
class Scope {
 public:
  // The slot of `symbol`, or -1.
  int find(int symbol) const {
    for (std::size_t k = 0; k < symbols_.size(); ++k)
      if (symbols_[k] == symbol) return static_cast<int>(k);
    return -1;
  }
  // The slot of `symbol`, added when new.
  int add(int symbol) {
    int k = find(symbol);
    if (k >= 0) return k;
    symbols_.push_back(symbol);
    return static_cast<int>(symbols_.size()) - 1;
  }
  int size() const { return static_cast<int>(symbols_.size()); }
  int symbol_at(int slot) const { return symbols_[static_cast<std::size_t>(slot)]; }

 private:
  std::vector<int> symbols_;
};

// Values by slot: first the slots of the scope the workspace was made for, then slots
// added by name at run time (by eval text, a script, or the base workspace's statements).
// A slot may be linked to a value that lives elsewhere (a global or a persistent
// variable); reading or writing it then reaches that value.
//
// Slots never move: a reference to one stays valid while the workspace lives, even when
// names are added.
class Workspace {
 public:
  // A workspace with the slots of `scope` (none when null), all unset.
  explicit Workspace(const Scope* scope = nullptr);
  ~Workspace();
  Workspace(const Workspace&) = delete;
  Workspace& operator=(const Workspace&) = delete;

  // The storage of a slot, linked or not.
  Value& at(int slot) {
    if (links_) [[unlikely]]
      if (Value* linked = (*links_)[static_cast<std::size_t>(slot)]) return *linked;
    return raw(slot);
  }
  // The workspace's own storage of a slot, ignoring links.
  Value& raw(int slot) {
    return slot < static_count_ ? statics_[slot] : (*added_)[static_cast<std::size_t>(slot - static_count_)];
  }

  // The slot of `symbol`, or -1.
  int find(int symbol) const;
  // The slot of `symbol`, added when new.
  int add(int symbol);
  // The set value of `symbol`, or null.
  Value* value_of(int symbol) {
    int k = find(symbol);
    if (k < 0) return nullptr;
    Value& v = at(k);
    return v ? &v : nullptr;
  }
  // Whether names were added at run time: only then may a name the compiler took for a
  // function be a variable.
  bool has_added() const { return !added_symbols_.empty(); }

  // Links a slot to `target` (a global or persistent variable), or unlinks it (null).
  void link(int slot, Value* target);
  bool is_linked(int slot) const {
    return links_ && (*links_)[static_cast<std::size_t>(slot)] != nullptr;
  }

  // Every slot, in order, with its symbol: for clear, who and exist.
  int slot_count() const { return static_count_ + static_cast<int>(added_symbols_.size()); }
  int symbol_at(int slot) const;
  // Unsets a slot and removes its link.
  void clear(int slot);

 private:
  static constexpr int kInlineSlots = 8;

  const Scope* scope_;
  int static_count_;
  // The first slots live here, made only as many as the scope has: a call of a small
  // function allocates nothing.
  alignas(Value) unsigned char inline_[kInlineSlots * sizeof(Value)];
  std::unique_ptr<Value[]> heap_;
  Value* statics_;
  std::vector<int> added_symbols_;
  std::unique_ptr<std::deque<Value>> added_;  // made on first use: most calls add nothing
  std::unique_ptr<std::vector<Value*>> links_;
};

}  // namespace krt::lang
