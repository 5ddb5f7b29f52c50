/* [total, count] = sum_inputs(...): the sum of its scalar inputs and how many came. */
#include "korel/kx.h"

void klfFunction(int nlhs, kxArray* plhs[], int nrhs, kxArray* prhs[]) {
  double total = 0;
  for (int i = 0; i < nrhs; ++i) total += kxGetScalar(prhs[i]);
  plhs[0] = kxCreateDoubleScalar(total);
  if (nlhs > 1) plhs[1] = kxCreateDoubleScalar(nrhs);
}
