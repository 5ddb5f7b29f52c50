// Per-instance attachments in the process-wide user-data store, and the instance
// selector of the user-data calls.
#pragma once

#include "kclkrt/runtime/user_data_store.h"

class krtInstance;

namespace kcl {

// The instance an identifier names: a negative one means the calling thread's current
// instance. Null when there is no such instance.
krtInstance* find_instance(int id);

// The attachments of `instance`, made on first use; null while the store does not
// exist (before the runtime starts and after it has shut down). Callers hold the
// engine's mutex.
InstanceUserData* instance_attachments(const krtInstance* instance);

// Drops every attachment of the instance whose handle had the value `instance`, which
// may already be gone. Callers hold the engine's mutex.
void drop_instance_attachments(std::uintptr_t instance);

}  // namespace kcl
