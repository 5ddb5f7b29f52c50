// Lists of native arrays as the call interface hands them around.
#include "kclkrt/errors/boundary.h"
#include "korel/kclkrt.h"

void kclFreeArrayList(int count, kxArray** list) {
  if (!list) return;
  for (int i = 0; i < count; ++i) {
    kxDestroyArray(list[i]);
    list[i] = nullptr;
  }
}

kxArray* kclCreateCellArrayFromArrayList(int count, kxArray** list) {
  if (count < 0 || (count > 0 && !list)) return nullptr;
  return kcl::guarded_call<kxArray*>(nullptr, [&]() -> kxArray* {
    kxArray* cell = kxCreateCellMatrix(1, static_cast<kxSize>(count));
    if (!cell) return nullptr;
    for (int i = 0; i < count; ++i)
      if (list[i] && kxSetCell(cell, static_cast<kxSize>(i), list[i])) list[i] = nullptr;
    return cell;
  });
}

kxArray* kclCreateSimpleFunctionHandle(const char* name, kxNativeFunction fn) {
  if (!name || !fn) return nullptr;
  return kxCreateNativeFunctionHandle(name, fn);
}
