// The variables of one function call, a script's caller or the base workspace.
#pragma once

#include <deque>
#include <string>

#include "krt/array/value.h"
#include "krt/lang/symbols.h"

namespace krt::lang {

class Workspace {
 public:
  struct Entry {
    int symbol;
    Value value;          // unused when global
    bool global = false;  // the name refers to the instance's global of that name
  };

  // The entry of `symbol`, or null. Functions have few variables: a linear scan over
  // small integers beats hashing. Entries never move, so a statement may hold one while
  // evaluating expressions that add variables.
  Entry* find(int symbol) {
    for (Entry& e : entries_)
      if (e.symbol == symbol) return &e;
    return nullptr;
  }
  Entry& get_or_add(int symbol) {
    if (Entry* e = find(symbol)) return *e;
    return entries_.push_back(Entry{symbol, Value(), false}), entries_.back();
  }
  const std::deque<Entry>& entries() const { return entries_; }

 private:
  std::deque<Entry> entries_;
};

}  // namespace krt::lang
