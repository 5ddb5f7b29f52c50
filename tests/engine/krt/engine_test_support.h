// What the engine suites share: instances over the test component, captured output,
// owned arrays and calls.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "korel/kx.h"
#include "support/captured_output.h"
#include "support/owned_array.h"
#include "krt/instance.h"

namespace krttest {

using korel::test::Destroy;
using korel::test::number;
using korel::test::Owned;
using korel::test::text;
using korel::test::text_of;

inline const std::string kComponent = KRT_TEST_COMPONENT;

using korel::test::Captured;

// An instance over the component directory (current directory) and `path`, output
// captured.
inline std::unique_ptr<krtInstance> make_instance(std::vector<std::string> path = {},
                                                  std::string cwd = kComponent) {
  krtOptions options;
  options.current_directory = std::move(cwd);
  options.path = std::move(path);
  options.print_handler = Captured::print;
  options.error_handler = Captured::error;
  options.deployed = true;
  return std::make_unique<krtInstance>(options);
}


// Calls `name` for `nargout` results; empty on failure.
inline std::vector<Owned> call(krtInstance& k, const char* name, int nargout,
                               std::vector<kxArray*> inputs) {
  std::vector<kxArray*> slots(std::max(nargout, 1), nullptr);
  std::vector<Owned> results;
  if (!k.CallKorelFunction(name, nargout, slots.data(), static_cast<int>(inputs.size()),
                           inputs.data()))
    return results;
  for (kxArray* a : slots) results.emplace_back(a);
  return results;
}

// The value of a Korel expression in the base workspace; null on failure.
inline Owned value_of(krtInstance& k, const std::string& expression) {
  Owned t = text(expression);
  auto r = call(k, "eval", 1, {t.get()});
  return r.empty() ? nullptr : std::move(r[0]);
}

inline double number_of(krtInstance& k, const std::string& expression) {
  Owned v = value_of(k, expression);
  return v ? kxGetScalar(v.get()) : -12345.0;
}

inline std::vector<double> numbers_of(const kxArray* a) {
  const double* p = kxGetPr(a);
  return p ? std::vector<double>(p, p + kxGetNumberOfElements(a)) : std::vector<double>{};
}

}  // namespace krttest
