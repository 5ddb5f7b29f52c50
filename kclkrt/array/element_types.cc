#include "kclkrt/array/element_types.h"

#include <cstring>

namespace kcl {

std::size_t class_element_size(int class_id) {
  switch (class_id) {
    case kxLOGICAL_CLASS: case kxINT8_CLASS: case kxUINT8_CLASS: return 1;
    case kxCHAR_CLASS: case kxINT16_CLASS: case kxUINT16_CLASS: return 2;
    case kxSINGLE_CLASS: case kxINT32_CLASS: case kxUINT32_CLASS: return 4;
    case kxDOUBLE_CLASS: case kxINT64_CLASS: case kxUINT64_CLASS: return 8;
    default: return 0;
  }
}

bool is_value_class(int class_id) { return class_element_size(class_id) != 0; }

bool convert_elements(void* to_buffer, int to, const void* from_buffer, int from,
                      std::size_t count) {
  if (to == from && is_value_class(to)) {
    if (count) std::memcpy(to_buffer, from_buffer, count * class_element_size(to));
    return true;
  }
  return kxConvertBufferToType(to_buffer, static_cast<kxClassID>(to), from_buffer,
                               static_cast<kxClassID>(from), count) != 0;
}

}  // namespace kcl
