/* scale(x, k): every element of the double array x times the scalar k. */
#include "korel/kx.h"

void klfFunction(int nlhs, kxArray* plhs[], int nrhs, kxArray* prhs[]) {
  (void)nlhs;
  if (nrhs != 2 || !kxIsDouble(prhs[0]) || !kxIsDouble(prhs[1]))
    kxErrMsgIdAndTxt("Test:scale:args", "scale needs two double arrays.");
  double k = kxGetScalar(prhs[1]);
  kxArray* out = kxDuplicateArray(prhs[0]);
  double* data = kxGetPr(out);
  for (kxSize i = 0, n = kxGetNumberOfElements(out); i < n; ++i) data[i] *= k;
  plhs[0] = out;
}
