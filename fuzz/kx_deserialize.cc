// libFuzzer target for kxDeserialize. Any input must either be refused with a reason of
// its own, or give an array that serializes back to exactly the input (the form is
// canonical) and reads back identical. Anything else aborts and is reported.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "korel/kx.h"

namespace {

[[noreturn]] void fail(const char* what) {
  const char* id = "";
  const char* msg = "";
  kxGetLastErrIdAndMsg(&id, &msg);
  std::fprintf(stderr, "kx_deserialize: %s (last error %s: %s)\n", what, id, msg);
  std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  kxArray* a = kxDeserialize(data, size);
  if (!a) {
    const char* id = "";
    const char* msg = "";
    // Refusals carry the reader's own reason; out of memory or an internal error would
    // mean a check came too late.
    if (!kxGetLastErrIdAndMsg(&id, &msg) || !*msg ||
        std::strncmp(id, "Korel:kxDeserialize:", 20) != 0)
      fail("refused without a reason of its own");
    return 0;
  }
  kxArray* form = kxSerialize(a);
  if (!form) fail("an accepted array does not serialize");
  const void* bytes = kxGetData(form);
  size_t length = kxGetNumberOfElements(form);
  if (length != size || std::memcmp(bytes, data, size) != 0)
    fail("the array serializes to other bytes than it was read from");
  kxArray* again = kxDeserialize(bytes, length);
  if (!again) fail("the serialized form is not read back");
  if (!kxIsIdentical(a, again)) fail("the array read back is not identical");
  kxDestroyArray(again);
  kxDestroyArray(form);
  kxDestroyArray(a);
  return 0;
}
