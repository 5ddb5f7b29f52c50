/* Makes temporary arrays and then fails: the engine must destroy them. */
#include "korel/kx.h"

void klfFunction(int nlhs, kxArray* plhs[], int nrhs, kxArray* prhs[]) {
  (void)nlhs, (void)nrhs, (void)prhs;
  kxArray* big = kxCreateDoubleMatrix(1000, 1000, kxREAL);
  kxArray* cell = kxCreateCellMatrix(1, 2);
  kxSetCell(cell, 0, kxCreateString("inside"));
  plhs[0] = kxCreateDoubleScalar(1);
  (void)big;
  kxErrMsgIdAndTxt("Test:fail_native:always", "fail_native failed after making %d arrays.", 4);
}
