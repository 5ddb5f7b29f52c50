#include "krt/function_registry.h"

#include <atomic>
#include <mutex>
#include <vector>

#include "krt/builtins/intrinsics.h"
#include "krt/lang/symbols.h"
#include "krt/library/functions.h"

namespace krt {
namespace {

struct Registry {
  std::mutex mutex;
  std::vector<lang::Target> by_symbol;
  std::atomic<uint64_t> generation{1};

  void add(int symbol, lang::Target target) {
    if (by_symbol.size() <= static_cast<std::size_t>(symbol)) by_symbol.resize(symbol + 1);
    if (!by_symbol[symbol]) by_symbol[symbol] = std::move(target);
  }
  void add_table(const krtFunctionTableEntry* table) {
    for (; table && table->name; ++table) {
      if (!table->function) continue;
      lang::Target t;
      t.kind = lang::Target::Kind::Gateway;
      t.gateway = table->function;
      add(lang::intern(table->name), std::move(t));
    }
    ++generation;
  }
};

Registry& registry() {
  static Registry* r = [] {
    auto* made = new Registry;  // lives as long as the process may call
    for (const lang::IntrinsicGroup& group : builtin_groups())
      for (const lang::IntrinsicEntry* e = group.entries; e->name; ++e) {
        lang::Target t;
        t.kind = lang::Target::Kind::Intrinsic;
        t.intrinsic = e->function;
        made->add(lang::intern(e->name), std::move(t));
      }
    ++made->generation;
    return made;
  }();
  return *r;
}

}  // namespace

std::vector<lang::IntrinsicGroup> builtin_groups() {
  std::vector<lang::IntrinsicGroup> groups(std::begin(builtins::kIntrinsicGroups),
                                           std::end(builtins::kIntrinsicGroups));
  for (const lang::IntrinsicGroup& g : library::function_groups()) groups.push_back(g);
  return groups;
}

lang::Target find_builtin(int symbol) {
  Registry& r = registry();
  std::lock_guard lock(r.mutex);
  if (symbol < 0 || static_cast<std::size_t>(symbol) >= r.by_symbol.size()) return {};
  const lang::Target& t = r.by_symbol[symbol];
  lang::Target copy;
  copy.kind = t.kind;
  copy.intrinsic = t.intrinsic;
  copy.gateway = t.gateway;
  return copy;
}

uint64_t builtin_generation() { return registry().generation.load(); }

}  // namespace krt

void krt_register_function_table(const krtFunctionTableEntry* table) {
  krt::Registry& r = krt::registry();
  std::lock_guard lock(r.mutex);
  r.add_table(table);
}

bool krt_register_extension(const krtFunctionTable* table) {
  if (!table || !table->entries || table->magic != kKrtFunctionTableMagic ||
      table->version != kKrtFunctionTableVersion)
    return false;
  uint32_t count = 0;
  for (const krtFunctionTableEntry* e = table->entries; e->name; ++e) ++count;
  if (count != table->count) return false;
  krt_register_function_table(table->entries);
  return true;
}
