#include "krt/lang/symbols.h"

#include <deque>
#include <mutex>
#include <shared_mutex>
#include <unordered_map>

namespace krt::lang {
namespace {

struct Table {
  std::shared_mutex mutex;
  std::deque<std::string> names;  // a deque keeps references stable as it grows
  std::unordered_map<std::string_view, int> symbols;
};

Table& table() {
  static Table* t = new Table;  // used until the process ends, by any thread
  return *t;
}

}  // namespace

int intern(std::string_view name) {
  Table& t = table();
  {
    std::shared_lock lock(t.mutex);
    if (auto it = t.symbols.find(name); it != t.symbols.end()) return it->second;
  }
  std::unique_lock lock(t.mutex);
  if (auto it = t.symbols.find(name); it != t.symbols.end()) return it->second;
  const std::string& stored = t.names.emplace_back(name);
  int symbol = static_cast<int>(t.names.size()) - 1;
  t.symbols.emplace(stored, symbol);
  return symbol;
}

const std::string& symbol_name(int symbol) {
  Table& t = table();
  std::shared_lock lock(t.mutex);
  return t.names.at(static_cast<std::size_t>(symbol));
}

int symbol_count() {
  Table& t = table();
  std::shared_lock lock(t.mutex);
  return static_cast<int>(t.names.size());
}

}  // namespace krt::lang
