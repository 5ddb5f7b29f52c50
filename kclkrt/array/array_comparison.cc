// Equality, ordering and hashing of arrays. Order and hash go by the serialized form,
// so they agree with each other and need no rule per class.
#include <cstring>
#include <memory>

#include "kclkrt/array/array_boundary.h"
#include "kclkrt/array/array_object.h"
#include "ut/hash.h"

namespace kcl {
namespace {

struct DestroyArray {
  void operator()(kxArray* a) const { kxDestroyArray(a); }
};
using SerializedForm = std::unique_ptr<kxArray, DestroyArray>;

SerializedForm serialized(const kxArray* a) { return SerializedForm(a ? kxSerialize(a) : nullptr); }

int sign(int n) { return (n > 0) - (n < 0); }

}  // namespace

bool ArrayOperations::equals(array_ref* other) {
  return locked_call(false, [&] {
    ArrayAccess mine = native_access();
    if (!other) return mine.get() == nullptr;
    ArrayAccess theirs = data_part(*other).native_access();
    return kxIsIdentical(mine.get(), theirs.get());
  });
}

int ArrayOperations::compare_to(array_ref* other) {
  return locked_call(-1, [&] {
    ArrayAccess mine = native_access();
    ArrayAccess theirs = other ? data_part(*other).native_access() : ArrayAccess(nullptr, false);
    if (!mine.get()) return theirs.get() ? -1 : 0;
    if (!theirs.get()) return 1;
    SerializedForm a = serialized(mine.get());
    SerializedForm b = serialized(theirs.get());
    if (!a) return -1;
    if (!b) return 1;
    std::size_t na = kxGetNumberOfElements(a.get());
    std::size_t nb = kxGetNumberOfElements(b.get());
    if (na != nb) return na < nb ? -1 : 1;
    return na ? sign(std::memcmp(kxGetData(a.get()), kxGetData(b.get()), na)) : 0;
  });
}

int ArrayOperations::hash_code() {
  return locked_call(-1, [&] {
    ArrayAccess mine = native_access();
    SerializedForm bytes = serialized(mine.get());
    if (!bytes) return 0;
    return static_cast<int>(
        ut_hash_n_bytes(kxGetData(bytes.get()), kxGetNumberOfElements(bytes.get()), 0));
  });
}

}  // namespace kcl
