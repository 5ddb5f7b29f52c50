// Ending a component instance. The last one to end first tells the user what is lost
// with it: figures still open and classes with live objects.
#include <cstdint>
#include <mutex>

#include "kclkrt/errors/boundary.h"
#include "kclkrt/errors/message_catalog.h"
#include "kclkrt/errors/warnings.h"
#include "kclkrt/platform/owned_array.h"
#include "kclkrt/runtime/application.h"
#include "kclkrt/runtime/user_data.h"
#include "korel/kclkrt.h"
#include "krt/classes.h"
#include "krt/instance.h"
#include "krt/mutex.h"

namespace kcl {
namespace {

struct FigureQuery {
  const char* text;
  const char* warning;
  uint32_t code;
};

// "Visble" is how users have always switched this one off; it stays as it is.
constexpr FigureQuery kFigureQueries[] = {
    {"findobj(allchild(0), 'flat', 'Type', 'figure', 'visible', 'off');", "KRT:InvisibleFiguresAtExit",
     KCLKRT_INVISIBLE_FIGURES_AT_EXIT},
    {"findobj(allchild(0), 'flat', 'Type', 'figure', 'visible', 'on');", "KRT:VisbleFiguresAtExit",
     KCLKRT_VISIBLE_FIGURES_AT_EXIT},
};

void report_open_figures(krtInstance* instance) {
  for (const FigureQuery& query : kFigureQueries) {
    OwnedArray text(kxCreateString(query.text));
    if (!text) continue;
    kxArray* input = text.get();
    kxArray* found = nullptr;
    kclInternalFeval(instance, "eval", 1, &found, 1, &input);
    OwnedArray result(found);
    const int count = result ? static_cast<int>(kxGetNumberOfElements(result.get())) : 0;
    if (count < 1) continue;
    TextHandler handler = instance->GetPrintHandler();
    print_warning_message(handler, query.warning, query.code, count);
    print_warning_message(handler, query.warning, KCLKRT_WAIT_FOR_MSG_AT_EXIT);
  }
}

void report_classes_in_use(krtInstance* instance) {
  constexpr const char* kWarning = "KRT:ClassInUseAtExit";
  for (const krt::ClassApplication& application : krt::class_applications()) {
    for (const krt::ClassRecord& record : application.classes) {
      if (record.hidden || record.internal || record.live_objects < 1) continue;
      TextHandler handler = instance->GetPrintHandler();
      print_warning_message(handler, kWarning, KCLKRT_CLASS_IN_USE_AT_EXIT, record.name.c_str());
      print_warning_message(handler, kWarning, KCLKRT_WAIT_FOR_MSG_AT_EXIT);
    }
  }
}

}  // namespace
}  // namespace kcl

unsigned kclTerminateInstance(krtInstance** handle) {
  if (!handle) {
    kclPrintErrorMsg(kcl::KCLKRT_INVALID_KRT_HANDLE);
    return 0;
  }
  krtInstance* instance = *handle;
  if (!instance) return 1;
  kcl::guarded_call(false, [&] {
    std::lock_guard<std::recursive_mutex> lock(krt::global_mutex());
    if (kcl::component_instance_count() > 0) {
      kcl::component_instance_terminated();
      if (kcl::component_instance_count() == 0) {
        kcl::report_open_figures(instance);
        kcl::report_classes_in_use(instance);
      }
    }
    instance->PopActivation();
    // No Java virtual machine runs in this engine, so there is no thread to detach.
    const auto key = reinterpret_cast<std::uintptr_t>(instance);
    instance->Detach();
    kcl::drop_instance_attachments(key);
    return true;
  });
  *handle = nullptr;
  return 1;
}
