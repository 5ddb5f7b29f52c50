// The entry of a stand-alone program: its main function under the runtime, and the
// call of its Korel entry function with the command line.
#include <cstring>

#include "kclkrt/errors/boundary.h"
#include "kclkrt/platform/owned_array_list.h"
#include "korel/kclkrt.h"
#include "krt/process.h"
#include "sv/settings.h"
#include "ut/print.h"

int kclRunMain(int (*run)(int, const char**), int argc, const char** argv) {
  return krt_run_main(run, false, argc, argv);
}

int kclMain(krtInstance* instance, int argc, const char** argv, const char* name, int nlhs) {
  const int exit_code = kcl::guarded_call(-1, [&] {
    // The program's own name is not an input.
    kcl::OwnedArrayList inputs(argc > 1 && argv ? static_cast<std::size_t>(argc - 1) : 0);
    int input_count = 0;
    for (int i = 1; i < argc && argv; ++i)
      if (argv[i]) inputs[input_count++] = kxCreateStringFromNChars(argv[i], std::strlen(argv[i]));
    kcl::OwnedArrayList outputs(nlhs > 1 ? static_cast<std::size_t>(nlhs) : 1);

    if (kclInternalFeval(instance, name, nlhs, outputs.data(), input_count, inputs.data())) return 0;
    // The called instance is the current one when the host gave none.
    if (const char* text = kclGetLastErrorCode(instance ? instance : kclGetActiveKRT())) {
      utRedirectOutToErr to_standard_error;
      utPrintf("%s\n", text);
    }
    return -1;
  });
  // No Java virtual machine runs in this engine, so no thread needs attaching for the
  // clean-up above.
  kclSetExitCode(exit_code);
  return exit_code;
}

bool kclIsStandaloneMode(void) { return svIsStandaloneMode(); }
