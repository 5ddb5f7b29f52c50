#include "component_key.h"

#include <xxhash.h>

#include <cstdint>
#include <cstdio>
#include <memory>

namespace kcc {

namespace {

// Each part goes in with its length first, so that moving bytes from one part to the
// next changes the hash.
void add_part(XXH64_state_t* state, const std::string& part) {
  const uint64_t size = part.size();
  XXH64_update(state, &size, sizeof size);
  XXH64_update(state, part.data(), part.size());
}

}  // namespace

std::string default_component_key(const std::string& name,
                                  const std::vector<FunctionSource>& sources) {
  std::unique_ptr<XXH64_state_t, decltype(&XXH64_freeState)> state(XXH64_createState(),
                                                                   &XXH64_freeState);
  XXH64_reset(state.get(), 0);
  add_part(state.get(), "kcc component 1");
  add_part(state.get(), name);
  for (const FunctionSource& source : sources) {
    add_part(state.get(), source.file);
    add_part(state.get(), source.contents);
  }
  char digits[17];
  std::snprintf(digits, sizeof digits, "%016llx",
                static_cast<unsigned long long>(XXH64_digest(state.get())));
  return name + "_" + digits;
}

std::string component_key_problem(const std::string& key) {
  if (key.empty()) return "it is empty";
  if (key[0] == '.') return "it starts with '.'";
  for (unsigned char c : key) {
    if (c == '/') return "it contains '/'";
    if (c <= 0x20 || c == 0x7f) return "it contains a space or a control character";
  }
  if (key.size() > 200) return "it is longer than 200 characters";
  return "";
}

}  // namespace kcc
