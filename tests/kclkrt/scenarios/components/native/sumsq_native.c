/* s = sumsq_native(x): the sum of the squares of the elements of x. */
#include "korel/kx.h"

void klfFunction(int nlhs, kxArray* plhs[], int nrhs, kxArray* prhs[]) {
  if (nrhs != 1 || !kxIsDouble(prhs[0])) kxErrMsgIdAndTxt("scen:sumsq", "one array of numbers");
  const double* x = kxGetPr(prhs[0]);
  double total = 0;
  for (size_t i = 0; i < kxGetNumberOfElements(prhs[0]); ++i) total += x[i] * x[i];
  plhs[0] = kxCreateDoubleScalar(total);
}
