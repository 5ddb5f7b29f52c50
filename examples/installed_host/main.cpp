// Calls the descriptive component through the library kcc made of it, with arrays
// built and read through korel::Array. Prints what it gets; exits 1 on any failure.
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <vector>

#include "descriptive.h"
#include "korel/array.hpp"

namespace {

// Calls one function of the component; the results come back as Arrays.
template <class Function>
std::vector<korel::Array> call(Function function, int nargout, const std::vector<korel::Array>& inputs) {
  std::vector<kxArray*> in;
  for (const korel::Array& input : inputs) in.push_back(input.to_native());
  std::vector<kxArray*> out(static_cast<std::size_t>(nargout > 0 ? nargout : 1), nullptr);
  bool ok = function(nargout, out.data(), static_cast<int>(in.size()), in.data());
  kclFreeArrayList(static_cast<int>(in.size()), in.data());
  std::vector<korel::Array> results;
  for (kxArray* result : out)
    if (result) results.push_back(korel::Array::from_native(result));
  if (!ok) {
    const char* why = descriptiveGetLastErrorMessage();
    std::fprintf(stderr, "call failed: %s\n", why ? why : "(no message)");
    throw std::runtime_error("call failed");
  }
  return results;
}

int run() {
  korel::Array samples = korel::Array::matrix(1, 5);
  const double values[] = {2, 4, 4, 5, 7};
  samples.write(values, 5);

  std::vector<korel::Array> moments = call(descriptive_moments, 2, {samples});
  std::printf("mean %g, std %.6f\n", double(moments[0](1)), double(moments[1](1)));

  std::vector<korel::Array> ramp = call(descriptive_ramp, 1, {korel::Array(5.0)});
  std::printf("ramp:");
  for (double v : ramp[0].values<double>()) std::printf(" %g", v);
  std::printf("\n");

  // A failing call reports the Korel error.
  try {
    call(descriptive_moments, 2, {korel::Array::matrix(2, 2)});
    return 1;
  } catch (const std::runtime_error&) {
  }
  return 0;
}

}  // namespace

int main() {
  if (!kclInitializeApplication(nullptr, 0)) return 1;
  int code = 1;
  if (descriptiveInitialize()) {
    try {
      code = run();
    } catch (const std::exception& e) {
      std::fprintf(stderr, "%s\n", e.what());
    }
    descriptiveTerminate();
  }
  kclTerminateApplication();
  return code;
}
