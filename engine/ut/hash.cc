#include "ut/hash.h"

#include <xxhash.h>

uint32_t ut_hash_n_bytes(const void* data, std::size_t size, uint32_t seed) {
  // A null pointer hashes as empty input rather than being read from.
  static const unsigned char empty = 0;
  if (!data) {
    data = &empty;
    size = 0;
  }
  return XXH32(data, size, seed);
}
