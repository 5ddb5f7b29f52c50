// The element types of the classes whose elements are plain values: logical, char and
// the numeric classes.
#pragma once

#include <cstddef>

#include "korel/kx.h"

namespace kcl {

// Bytes per element; 0 for classes whose elements are not plain values.
std::size_t class_element_size(int class_id);
// Logical, char or numeric.
bool is_value_class(int class_id);
// Copies `count` elements of class `from` as class `to`: byte for byte when the classes
// are the same, through the array library's conversion otherwise. False for a class
// that has no plain values.
bool convert_elements(void* to_buffer, int to, const void* from_buffer, int from,
                      std::size_t count);

}  // namespace kcl
