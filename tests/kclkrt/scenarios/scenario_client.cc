// A host of kcc-built components for the fault and load scenarios: it starts, calls and
// ends component instances through the exported interface only, as generated code does.
//
//   scenario_client [--local] [--rounds N] [--first I] NAME:KEY:ARCHIVE...
//
// Round r starts component (I + r) mod count: through the per-user component cache, or
// with --local into NAME_krt beside its archive. It calls the entry function NAME(n),
// which every scenario component defines as the sum of the squares of 1..n, checks the
// result and ends the instance. Each round prints one line, "R NAME ok" or what went
// wrong; the runtime's own messages go to standard error. Exit code 0 when every round
// was ok, 1 otherwise, 2 for bad usage.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "korel/kclkrt.h"

namespace {

struct Component {
  std::string name, key, archive, directory;
};

bool parse_component(const std::string& text, Component& component) {
  const auto first = text.find(':'), second = text.find(':', first + 1);
  if (first == std::string::npos || second == std::string::npos) return false;
  component.name = text.substr(0, first);
  component.key = text.substr(first + 1, second - first - 1);
  component.archive = text.substr(second + 1);
  const auto slash = component.archive.rfind('/');
  if (slash == std::string::npos) return false;
  component.directory = component.archive.substr(0, slash);
  return !component.name.empty() && !component.key.empty();
}

// One start, call and end; empty when all went right, else what did not.
std::string round_trip(const Component& component, bool local, int n) {
  const char* path[] = {component.key.c_str()};
  // Progress messages would only clutter the error output the scenarios compare.
  const char* warnings[] = {"off:KRT:Extract"};
  kclComponentData* data = kclCreateComponentData(
      component.name.c_str(), nullptr, path, 1, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0,
      component.key.c_str(), component.directory.c_str(), warnings, 1);
  if (!data) return "has no component data";
  krtInstance* instance = nullptr;
  const unsigned started =
      local ? kclInitializeComponentInstance(&instance, data, false, 0, KCL_TARGET_STANDALONE,
                                             nullptr, nullptr)
            : kclInitializeComponentInstanceWithKarFile(&instance, data, false, 0,
                                                        KCL_TARGET_STANDALONE, nullptr, nullptr,
                                                        true, false, nullptr,
                                                        component.archive.c_str());
  std::string problem;
  if (!started || !instance) {
    problem = "did not start";
  } else {
    kxArray* input[1] = {kxCreateDoubleScalar(n)};
    kxArray* output[1] = {nullptr};
    const double expected = n * (n + 1.0) * (2.0 * n + 1.0) / 6.0;
    if (!kclFeval(instance, component.name.c_str(), 1, output, 1, input)) {
      const char* message = kclGetLastErrorMessage(instance);
      problem = std::string("call failed: ") + (message ? message : "(no message)");
    } else if (!output[0] || !kxIsDouble(output[0]) || kxGetScalar(output[0]) != expected) {
      problem = "returned " + (output[0] ? std::to_string(kxGetScalar(output[0])) : "nothing") +
                " for " + std::to_string(n) + ", not " + std::to_string(expected);
    }
    kclFreeArrayList(1, output);
    kclFreeArrayList(1, input);
    if (!kclTerminateInstance(&instance) && problem.empty()) problem = "did not end";
  }
  kclDestroyComponentData(data);
  return problem;
}

}  // namespace

int main(int argc, char** argv) {
  bool local = false;
  int rounds = 1, first = 0;
  std::vector<Component> components;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg == "--local") {
      local = true;
    } else if (arg == "--rounds" && i + 1 < argc) {
      rounds = std::atoi(argv[++i]);
    } else if (arg == "--first" && i + 1 < argc) {
      first = std::atoi(argv[++i]);
    } else if (Component component; parse_component(arg, component)) {
      components.push_back(component);
    } else {
      std::fprintf(stderr, "scenario_client: bad argument '%s'\n", argv[i]);
      return 2;
    }
  }
  if (components.empty() || rounds < 1 || first < 0) {
    std::fprintf(stderr, "usage: scenario_client [--local] [--rounds N] [--first I] NAME:KEY:ARCHIVE...\n");
    return 2;
  }
  alarm(300);  // a scenario that hangs fails instead of stalling the suite
  if (!kclInitializeApplication(nullptr, 0)) {
    std::printf("the application did not start\n");
    return 1;
  }
  int failures = 0;
  for (int round = 0; round < rounds; ++round) {
    const Component& component = components[static_cast<size_t>(first + round) % components.size()];
    const int n = 1 + static_cast<int>((static_cast<unsigned>(::getpid()) + round) % 40);
    const std::string problem = round_trip(component, local, n);
    std::printf("%d %s %s\n", round, component.name.c_str(), problem.empty() ? "ok" : problem.c_str());
    std::fflush(stdout);
    if (!problem.empty()) ++failures;
  }
  if (!kclTerminateApplication()) {
    std::printf("the application did not stop\n");
    ++failures;
  }
  return failures == 0 ? 0 : 1;
}
