// Calling a compiled function with array objects: the array side of a function call.
#include <memory>

#include "kclkrt/array/array_buffer.h"
#include "kclkrt/array/array_factories.h"
#include "kclkrt/array/array_object.h"
#include "kclkrt/array/construction.h"
#include "kclkrt/platform/owned_array_list.h"
#include "korel/array_api.h"

namespace kcl {
namespace {

struct ReleaseObject {
  void operator()(ref_count_obj* object) const { object->release(); }
};

// Leaves the instance's failure as the thread's last error, with its stack trace.
void record_call_failure(krtInstance* instance) {
  const char* message = kclGetLastErrorMessage(instance);
  char** lines = nullptr;
  int count = kclGetStackTrace(instance, &lines);
  kclcppSetLastErrorWithStackTrace(message && *message ? message : "Unspecified error thrown",
                                   const_cast<const char**>(lines), count);
  kclFreeStackTrace(&lines, count);
}

}  // namespace
}  // namespace kcl

using namespace kcl;

int kclcppFeval(krtInstance* instance, const char* name, int nargout, array_buffer** outputs,
                array_buffer* inputs) {
  return locked_call(-1, [&] {
    if (!instance || !name || !outputs || !inputs || nargout < 0)
      throw NullPointerException("Invalid input");
    int nargin = inputs->size();
    if (nargin < 0) return -1;
    OwnedArrayList results(static_cast<std::size_t>(nargout > 0 ? nargout : 1));
    OwnedArrayList arguments(static_cast<std::size_t>(nargin));
    for (int i = 0; i < nargin; ++i) {
      std::unique_ptr<array_ref, ReleaseObject> input(inputs->get(i + 1));
      if (!input) return -1;  // the list has left its reason
      arguments[i] = data_part(*input).native_access().take_or_share();
    }
    if (!kclInternalFeval(instance, name, nargout, results.data(), nargin, arguments.data())) {
      record_call_failure(instance);
      return -1;
    }
    std::unique_ptr<array_buffer, ReleaseObject> list(new ArrayBuffer(nargout));
    for (int i = 0; i < nargout; ++i) {
      // The object owns the result from here on, even if it cannot be made.
      std::unique_ptr<array_ref, ReleaseObject> result(wrap_native(unshared_container(results.take(i))));
      if (list->add(result.get()) != 0) return -1;
    }
    *outputs = list.release();
    return 0;
  });
}
