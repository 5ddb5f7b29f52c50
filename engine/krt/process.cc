#include "krt/process.h"

#include <pthread.h>

#include "krt/instance.h"
#include "krt/instance_impl.h"

namespace {

struct MainCall {
  int (*run)(int, const char**);
  int argc;
  const char** argv;
  int result;
};

void* run_main_call(void* arg) {
  auto* call = static_cast<MainCall*>(arg);
  call->result = call->run(call->argc, call->argv);
  return nullptr;
}

}  // namespace

int krt_run_main(int (*run)(int, const char**), bool own_thread, int argc, const char** argv) {
  if (!run) return -1;
  if (!own_thread) return run(argc, argv);
  // Deep Korel recursion needs more stack than a default thread may have.
  MainCall call{run, argc, argv, -1};
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, 64u << 20);
  pthread_t thread;
  bool started = pthread_create(&thread, &attributes, run_main_call, &call) == 0;
  pthread_attr_destroy(&attributes);
  if (!started) return run(argc, argv);
  pthread_join(thread, nullptr);
  return call.result;
}

void krt_wait_for_figures_to_die(krtInstance* instance) {
  if (!instance || instance->IsDetached()) return;
  instance->impl().figures.wait_until_none_visible();
}

bool krt_java_is_initialized() { return false; }
