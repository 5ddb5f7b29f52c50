#include "krt/instance.h"

#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <fstream>
#include <map>
#include <mutex>
#include <sstream>

#include "krt/function_registry.h"
#include "krt/gateway.h"
#include "krt/instance_impl.h"
#include "krt/lang/symbols.h"
#include "krt/mutex.h"
#include "krt/options.h"
#include "ut/warning.h"

krtSourceReader::~krtSourceReader() = default;

bool krtSourceReader::read(const std::string& path, std::string& text) const {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  std::ostringstream buffer;
  buffer << in.rdbuf();
  if (in.bad()) return false;
  text = std::move(buffer).str();
  return true;
}

namespace krt {
namespace {

struct Registry {
  std::mutex mutex;
  std::map<uint32_t, krtInstance*> instances;
  std::atomic<uint32_t> next_id{1};
};

Registry& registry() {
  static Registry* r = new Registry;  // instances may end during static destruction
  return *r;
}

thread_local std::vector<krtInstance*> activations;

// The engine runs one Korel operation at a time, and a call runs with its instance
// current on the calling thread.
class CallScope {
 public:
  explicit CallScope(krtInstance* instance) : lock_(global_mutex()) {
    activations.push_back(instance);
  }
  ~CallScope() { activations.pop_back(); }

 private:
  std::lock_guard<std::recursive_mutex> lock_;
};

void apply_warning_states(const std::vector<std::string>& states) {
  for (const std::string& item : states) {
    std::size_t colon = item.find(':');
    if (colon == std::string::npos) continue;
    std::size_t start = item.find_first_not_of(" \t", colon + 1);
    std::string id = start == std::string::npos ? "" : item.substr(start);
    if (item.rfind("on", 0) == 0)
      ut_set_warning_status_id(utGetWarningContext(), id.c_str(), true);
    else if (item.rfind("off", 0) == 0)
      ut_set_warning_status_id(utGetWarningContext(), id.c_str(), false);
  }
}

int write_all(FILE* stream, const std::string& text) {
  std::size_t written = std::fwrite(text.data(), 1, text.size(), stream);
  std::fflush(stream);
  return static_cast<int>(written);
}

// Runs a call from the host: a failure is recorded in the instance and is the result
// false; no exception leaves.
template <class Body>
bool recorded(Instance& instance, Body&& body) {
  try {
    body();
    return true;
  } catch (const kx::KorelError& e) {
    instance.record(e);
  } catch (const std::bad_alloc&) {
    instance.record(kx::KorelError("Korel:nomem", "Out of memory."));
  } catch (const std::exception& e) {
    instance.record(kx::KorelError("Korel:internal", e.what()));
  }
  return false;
}

}  // namespace

Instance::Instance(krtInstance& handle_, const krtOptions& options_,
                   std::unique_ptr<krtSourceReader> reader_)
    : handle(handle_),
      options(options_),
      reader(reader_ ? std::move(reader_) : std::make_unique<krtSourceReader>()),
      dispatcher(*reader, options_.current_directory, options_.path),
      interpreter(*this) {}

lang::Target Instance::resolve(int symbol) {
  if (!globals.empty()) {
    if (auto it = globals.find(symbol);
        it != globals.end() && it->second && kxIsFunctionHandle(it->second.get())) {
      lang::Target t;
      if (kxNativeFunction fn = kxGetNativeFunction(it->second.get())) {
        t.kind = lang::Target::Kind::Gateway;
        t.gateway = fn;
        return t;
      }
      // A handle by name names a built-in or a file, never another global.
      const char* name = kxGetFunctionName(it->second.get());
      return resolve_unbound(lang::intern(name ? name : ""));
    }
  }
  return resolve_unbound(symbol);
}

lang::Target Instance::resolve_unbound(int symbol) {
  if (resolved_.size() <= static_cast<std::size_t>(symbol)) resolved_.resize(symbol + 1);
  Resolution& r = resolved_[symbol];
  uint64_t builtins = builtin_generation();
  if (r.target && r.dispatcher_generation == dispatcher.generation() &&
      r.builtin_generation == builtins)
    return r.target;
  lang::Target t = find_builtin(symbol);
  if (!t) t = dispatcher.find(lang::symbol_name(symbol));
  // Not-found is not remembered: a file may appear later.
  Resolution& slot = resolved_[symbol];
  slot.dispatcher_generation = dispatcher.generation();
  slot.builtin_generation = builtins;
  slot.target = t;
  return t;
}

int Instance::print(const std::string& text) const {
  if (options.print_handler) return options.print_handler(text.c_str());
  int result;
  if (print_with_default(false, text.c_str(), &result)) return result;
  return write_all(stdout, text);
}

int Instance::print_error(const std::string& text) const {
  if (options.error_handler) return options.error_handler(text.c_str());
  int result;
  if (print_with_default(true, text.c_str(), &result)) return result;
  return write_all(stderr, text);
}

void Instance::record(const kx::KorelError& e) {
  error.record(details_of(e, {}));
  kx::record_error(e.identifier(), e.what());
}

}  // namespace krt

using krt::CallScope;

krtInstance::krtInstance(const krtOptions& options, std::unique_ptr<krtSourceReader> reader)
    : id_(krt::registry().next_id++),
      impl_(std::make_unique<krt::Instance>(*this, options, std::move(reader))) {
  krt::apply_warning_states(options.warning_states);
  krt::Registry& r = krt::registry();
  std::lock_guard lock(r.mutex);
  r.instances[id_] = this;
}

krtInstance::~krtInstance() {
  if (!impl_->detached) {
    impl_->detached = true;  // the destructor must not delete again
    krt::Registry& r = krt::registry();
    std::lock_guard lock(r.mutex);
    r.instances.erase(id_);
  }
  std::erase(krt::activations, this);
}

krtInstance* krtInstance::GetKRT() {
  return krt::activations.empty() ? nullptr : krt::activations.back();
}

void krtInstance::PushActivation() { krt::activations.push_back(this); }

bool krtInstance::PopActivation() {
  auto& a = krt::activations;
  for (auto it = a.rbegin(); it != a.rend(); ++it)
    if (*it == this) {
      a.erase(std::next(it).base());
      return true;
    }
  return false;
}

bool krtInstance::CallKorelFunction(const char* name, int nargout, kxArray** outputs, int nargin,
                                    kxArray** inputs) {
  if (!name || nargout < 0 || nargin < 0 || (nargin > 0 && !inputs) ||
      (nargout > 0 && !outputs)) {
    impl_->error.record("Korel:badArgument", "Invalid arguments to a function call.", {});
    return false;
  }
  kxArray* discard = nullptr;
  kxArray** slots = outputs ? outputs : &discard;
  const int count = std::max(nargout, 1);
  std::fill(slots, slots + count, nullptr);
  CallScope scope(this);
  bool ok = krt::recorded(*impl_, [&] {
    if (impl_->detached) kx::raise("Korel:instanceDetached", "The runtime instance has ended.");
    if (krt::activations.size() == 1) impl_->dispatcher.notice_changes();
    int symbol = krt::lang::intern(name);
    krt::lang::Target target = impl_->resolve(symbol);
    if (target.kind == krt::lang::Target::Kind::Gateway) {
      krt::call_native(target.gateway, name, nargout, slots, nargin, inputs);
    } else {
      krt::lang::ValueList in;
      in.reserve(nargin);
      for (int i = 0; i < nargin; ++i) in.push_back(krt::Value::share(inputs[i]));
      krt::lang::ValueList out;
      auto& interpreter = impl_->interpreter;
      if (target)
        interpreter.call_target(target, symbol, interpreter.base_frame(), nargout, out, in);
      else
        interpreter.call_named(symbol, interpreter.base_frame(), nargout, out, in);
      for (int i = 0; i < count && i < static_cast<int>(out.size()); ++i)
        slots[i] = out[i].release();
    }
  });
  if (ok) {
    // Inside a native function, results are temporaries of that call like its own.
    for (int i = 0; i < count; ++i)
      if (slots[i]) kxSetArrayScope(slots[i], kxTEMPORARY_SCOPE);
    if (!outputs) kxDestroyArray(discard);
    return true;
  }
  for (int i = 0; i < count; ++i) {
    kxDestroyArray(slots[i]);
    slots[i] = nullptr;
  }
  return false;
}

bool krtInstance::Evaluate(const char* text) {
  if (!text) return false;
  CallScope scope(this);
  return krt::recorded(*impl_, [&] {
    if (impl_->detached) kx::raise("Korel:instanceDetached", "The runtime instance has ended.");
    if (krt::activations.size() == 1) impl_->dispatcher.notice_changes();
    krt::lang::ValueList out;
    auto& interpreter = impl_->interpreter;
    interpreter.evaluate_text(text, interpreter.base_frame(), 0, out);
  });
}

bool krtInstance::SetGlobal(const char* name, const kxArray* value) {
  if (!name || !value) return false;
  std::lock_guard lock(krt::global_mutex());
  kxArray* copy = kxCreateSharedDataCopy(value);
  if (!copy) return false;
  impl_->globals[krt::lang::intern(name)] = krt::Value(copy);
  ++impl_->global_registrations;  // a global handle may now name a function
  return true;
}

kxArray* krtInstance::GetGlobal(const char* name) const {
  if (!name) return nullptr;
  std::lock_guard lock(krt::global_mutex());
  auto it = impl_->globals.find(krt::lang::intern(name));
  if (it == impl_->globals.end() || !it->second) return nullptr;
  return kxCreateSharedDataCopy(it->second.get());
}

bool krtInstance::AddPath(const char* dir, bool at_end) {
  std::lock_guard lock(krt::global_mutex());
  return dir && impl_->dispatcher.add_path(dir, at_end);
}

bool krtInstance::RemovePath(const char* dir) {
  std::lock_guard lock(krt::global_mutex());
  return dir && impl_->dispatcher.remove_path(dir);
}

bool krtInstance::ChangeDirectory(const char* dir) {
  std::lock_guard lock(krt::global_mutex());
  return dir && impl_->dispatcher.change_directory(dir);
}

const std::string& krtInstance::GetPath() const {
  std::lock_guard lock(krt::global_mutex());
  return impl_->dispatcher.path_text();
}

std::vector<std::string> krtInstance::GetPathEntries() const {
  std::lock_guard lock(krt::global_mutex());
  return impl_->dispatcher.path();
}

const std::string& krtInstance::GetCurrentDirectory() const {
  std::lock_guard lock(krt::global_mutex());
  return impl_->dispatcher.current_directory();
}

void krtInstance::SetPrintHandler(krtSimpleHandler fn) { impl_->options.print_handler = fn; }
void krtInstance::SetErrorHandler(krtSimpleHandler fn) { impl_->options.error_handler = fn; }
krtSimpleHandler krtInstance::GetPrintHandler() const { return impl_->options.print_handler; }
krtSimpleHandler krtInstance::GetErrorHandler() const { return impl_->options.error_handler; }

const krt::ErrorState& krtInstance::GetErrorState() const { return impl_->error; }

void krtInstance::SetLastErrIdAndMsg(const char* id, const char* message) {
  std::lock_guard lock(krt::global_mutex());
  impl_->error.record(id ? id : "", message ? message : "", {});
}

const char* krtInstance::GetLastError() const {
  return impl_->error.set ? impl_->error.report.c_str() : nullptr;
}

const krtOptions& krtInstance::GetOptions() const { return impl_->options; }

void krtInstance::Detach() {
  {
    std::lock_guard lock(krt::global_mutex());
    if (impl_->detached) return;
    impl_->detached = true;
    krt::Registry& r = krt::registry();
    {
      std::lock_guard registry_lock(r.mutex);
      r.instances.erase(id_);
    }
    std::erase(krt::activations, this);
    impl_->globals.clear();
  }
  impl_->figures.close_all();  // wakes anyone waiting for them
  if (impl_->options.delete_on_detach) delete this;
}

bool krtInstance::IsDetached() const { return impl_->detached; }

krtInstance* krt_get_krt(uint32_t id) {
  krt::Registry& r = krt::registry();
  std::lock_guard lock(r.mutex);
  auto it = r.instances.find(id);
  return it == r.instances.end() ? nullptr : it->second;
}
