/* identity(x): returns its input itself, which the engine must not hand out twice. */
#include "korel/kx.h"

void klfFunction(int nlhs, kxArray* plhs[], int nrhs, kxArray* prhs[]) {
  (void)nlhs;
  if (nrhs < 1) kxErrMsgIdAndTxt("Test:identity:args", "identity needs an input.");
  plhs[0] = prhs[0];
}
