#include "krt/library/shape.h"

#include <unistd.h>

#include <cstdio>
#include <limits>

#include "krt/library/arguments.h"

namespace krt::library {

Shape shape_of(const kxArray* a) {
  const kxSize* dims = kxGetDimensions(a);
  return Shape(dims, dims + kxGetNumberOfDimensions(a));
}

std::string dims_text(std::span<const kxSize> dims) {
  std::string text;
  for (std::size_t k = 0; k < dims.size(); ++k) {
    if (k) text += 'x';
    text += std::to_string(dims[k]);
  }
  return text;
}

kxSize element_count(std::span<const kxSize> dims) {
  constexpr kxSize kMax = std::numeric_limits<kxSize>::max();
  kxSize count = 1;
  for (kxSize d : dims) {
    if (d == 0) return 0;
  }
  for (kxSize d : dims) {
    if (count > kMax / d) return kMax;
    count *= d;
  }
  return count;
}

Shape normalized(Shape dims) {
  while (dims.size() > 2 && dims.back() == 1) dims.pop_back();
  while (dims.size() < 2) dims.push_back(dims.empty() ? 0 : 1);
  return dims;
}

namespace {

// The machine's memory in bytes: no array larger than that can be made.
double memory_bytes() {
  long pages = sysconf(_SC_PHYS_PAGES);
  long page_size = sysconf(_SC_PAGESIZE);
  if (pages <= 0 || page_size <= 0) return 1e15;
  return static_cast<double>(pages) * static_cast<double>(page_size);
}

}  // namespace

void ensure_fits(const Call& call, std::span<const kxSize> dims, std::size_t element_size) {
  double bytes = static_cast<double>(element_size > 0 ? element_size : 1);
  for (kxSize d : dims) bytes *= static_cast<double>(d);
  if (bytes <= memory_bytes()) return;
  char amount[32];
  std::snprintf(amount, sizeof amount, "%.1f GB", bytes / 1e9);
  call.fail("tooLarge", "The requested " + dims_text(dims) + " array (" + amount +
                            ") exceeds the memory of this machine.");
}

std::size_t first_non_singleton(std::span<const kxSize> dims) {
  for (std::size_t k = 0; k < dims.size(); ++k)
    if (dims[k] != 1) return k;
  return 0;
}

bool is_row_shape(std::span<const kxSize> dims) { return dims.size() == 2 && dims[0] == 1; }

Slices slices_around(std::span<const kxSize> dims, std::size_t dim) {
  Slices s{1, dim < dims.size() ? dims[dim] : 1, 1};
  for (std::size_t k = 0; k < dims.size(); ++k) {
    if (k < dim) s.before *= dims[k];
    if (k > dim) s.after *= dims[k];
  }
  return s;
}

}  // namespace krt::library
