// Input streams over bytes the caller holds, for components that carry their archive in
// memory. The stream reads the bytes in place; the caller keeps them alive.
#include <boost/iostreams/device/array.hpp>
#include <boost/iostreams/stream.hpp>

#include "kclkrt/errors/boundary.h"
#include "korel/kclkrt.h"

namespace {

using ArrayStream = boost::iostreams::stream<boost::iostreams::array_source>;

}  // namespace

kclInputStream* kclGetStreamFromArraySrc(const char* data, int size) {
  if (!data || size < 1) return nullptr;
  return kcl::guarded_call<kclInputStream*>(nullptr, [&]() -> kclInputStream* {
    return new ArrayStream(data, static_cast<std::size_t>(size));
  });
}

void kclDestroyStream(kclInputStream* stream) {
  // Through the stream's virtual destructor, which destroys its buffer first.
  delete stream;
}
