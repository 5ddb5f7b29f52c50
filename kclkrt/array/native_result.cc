#include "kclkrt/array/native_result.h"

#include <cstring>

#include "kclkrt/array/array_exceptions.h"

namespace kcl {

kxArray* require_array(kxArray* array) {
  if (array) return array;
  const char* id = nullptr;
  kxGetLastErrIdAndMsg(&id, nullptr);
  if (id && (std::strcmp(id, "Korel:kx:OutOfMemory") == 0 || std::strcmp(id, "Korel:kx:TooLarge") == 0))
    throw MemoryException("Memory allocation error");
  throw IllegalArgumentException("Invalid argument");
}

}  // namespace kcl
