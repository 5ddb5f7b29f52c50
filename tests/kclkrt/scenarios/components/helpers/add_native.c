/* c = add_native(a, b): a + b, for scalars. */
#include "korel/kx.h"

void klfFunction(int nlhs, kxArray* plhs[], int nrhs, kxArray* prhs[]) {
  if (nrhs != 2) kxErrMsgIdAndTxt("scen:add", "two numbers");
  plhs[0] = kxCreateDoubleScalar(kxGetScalar(prhs[0]) + kxGetScalar(prhs[1]));
}
