/* Calls the Korel functions of the shapes component through the library kcc made
 * of it, and shows what a failed call reports. */
#include <stdio.h>

#include "shapes.h"

static kxArray* row(const double* values, size_t count) {
  kxArray* a = kxCreateDoubleMatrix(1, count, kxREAL);
  double* data = kxGetPr(a);
  for (size_t i = 0; i < count; ++i) data[i] = values[i];
  return a;
}

int main(void) {
  if (!kclInitializeApplication(NULL, 0)) return 1;
  if (!shapesInitialize()) {
    kclTerminateApplication();
    return 1;
  }
  int code = 0;

  kxArray* radius[1] = {kxCreateDoubleScalar(2)};
  kxArray* circle[2] = {NULL, NULL};
  if (shapes_circle(2, circle, 1, radius))
    printf("circle of radius 2: area %.4f, perimeter %.4f\n", kxGetScalar(circle[0]),
           kxGetScalar(circle[1]));
  else
    code = 1;
  kclFreeArrayList(2, circle);
  kclFreeArrayList(1, radius);

  const double x[] = {0, 4, 4, 0}, y[] = {0, 0, 3, 3};
  kxArray* corners[2] = {row(x, 4), row(y, 4)};
  kxArray* area[1] = {NULL};
  if (shapes_polygon_area(1, area, 2, corners))
    printf("rectangle 4 by 3: area %g\n", kxGetScalar(area[0]));
  else
    code = 1;
  kclFreeArrayList(1, area);

  /* Too few corners: the call fails and says where. */
  kxArray* line[2] = {row(x, 2), row(y, 2)};
  if (!shapes_polygon_area(1, area, 2, line))
    printf("two corners: %s\n", shapesGetLastErrorMessage());
  else
    code = 1;
  kclFreeArrayList(1, area);
  kclFreeArrayList(2, line);
  kclFreeArrayList(2, corners);

  shapesTerminate();
  kclTerminateApplication();
  return code;
}
