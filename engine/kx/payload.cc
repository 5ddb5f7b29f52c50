#include "kx/payload.h"

#include "kx/array.h"

namespace kx {

Payload::~Payload() = default;

kxArray* create_handle_with_payload(const char* name, std::shared_ptr<const Payload> payload) {
  kxArray* a = kxCreateFunctionHandle(name);
  if (a) a->data->payload = std::move(payload);
  return a;
}

kxArray* create_object_with_payload(const char* class_name, std::shared_ptr<const Payload> payload) {
  const kxSize dims[] = {1, 1};
  kxArray* a = kxCreateObjectArray(class_name, 2, dims, 0, nullptr);
  if (a) a->data->payload = std::move(payload);
  return a;
}

const Payload* payload_of(const kxArray* a) { return a && a->data ? a->data->payload.get() : nullptr; }

}  // namespace kx
