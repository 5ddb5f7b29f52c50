/* m = median_of(x): the median of the elements of the double array x. */
#include <stdlib.h>
#include <string.h>

#include "korel/kx.h"

static int compare(const void* a, const void* b) {
  double x = *(const double*)a, y = *(const double*)b;
  return (x > y) - (x < y);
}

void klfFunction(int nlhs, kxArray* plhs[], int nrhs, kxArray* prhs[]) {
  (void)nlhs;
  if (nrhs != 1 || !kxIsDouble(prhs[0]) || kxGetNumberOfElements(prhs[0]) == 0)
    kxErrMsgIdAndTxt("stats:median", "median_of takes one non-empty double array.");
  size_t n = kxGetNumberOfElements(prhs[0]);
  double* sorted = malloc(n * sizeof *sorted);
  if (!sorted) kxErrMsgIdAndTxt("stats:median", "Out of memory.");
  memcpy(sorted, kxGetPr(prhs[0]), n * sizeof *sorted);
  qsort(sorted, n, sizeof *sorted, compare);
  double median = n % 2 ? sorted[n / 2] : (sorted[n / 2 - 1] + sorted[n / 2]) / 2;
  free(sorted);
  plhs[0] = kxCreateDoubleScalar(median);
}
