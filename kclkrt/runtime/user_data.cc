// Named values hosts hand to the Korel code of an instance, and that code hands back.
#include "kclkrt/runtime/user_data.h"

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "kclkrt/errors/boundary.h"
#include "kclkrt/platform/owned_array.h"
#include "kclkrt/runtime/application.h"
#include "korel/kclkrt.h"
#include "krt/instance.h"
#include "krt/mutex.h"

namespace kcl {
namespace {

constexpr char kUserDataAttachment[] = "UserData";

// One instance's values. Each is a persistent shared copy, so no sweep at the end of a
// Korel call can free it.
class UserDataTable {
 public:
  kxArray* copy_of(const std::string& key) const {
    auto it = values_.find(key);
    return it == values_.end() ? nullptr : kxCreateSharedDataCopy(it->second.get());
  }

  bool store(const std::string& key, const kxArray* value) {
    OwnedArray copy(kxCreateSharedDataCopy(value));
    if (!copy) return false;
    kxSetArrayScope(copy.get(), kxPERSISTENT_SCOPE);
    values_[key] = std::move(copy);
    return true;
  }

 private:
  std::map<std::string, OwnedArray> values_;
};

// The table of `instance`, made on first use when `create`; null when it has none or
// the store does not exist. Callers hold the engine's mutex.
UserDataTable* user_data_table(const krtInstance* instance, bool create) {
  InstanceUserData* attachments = instance_attachments(instance);
  if (!attachments) return nullptr;
  auto it = attachments->find(kUserDataAttachment);
  if (it == attachments->end()) {
    if (!create) return nullptr;
    it = attachments->emplace(kUserDataAttachment, std::make_shared<UserDataTable>()).first;
  }
  auto* table = std::any_cast<std::shared_ptr<UserDataTable>>(&it->second);
  return table ? table->get() : nullptr;
}

// The instance a user-data call reaches, or null after saying there is none (or no
// store to keep its data in). Callers hold the engine's mutex.
krtInstance* user_data_owner(int id) {
  krtInstance* instance = find_instance(id);
  if (!instance || !user_data_store()) {
    kclPrintErrorMsg(KCLKRT_NO_KRT_USER_DATA);
    return nullptr;
  }
  return instance;
}

}  // namespace

krtInstance* find_instance(int id) {
  if (id < 0) return krtInstance::GetKRT();
  return krt_get_krt(static_cast<uint32_t>(id));
}

InstanceUserData* instance_attachments(const krtInstance* instance) {
  UserDataStore* store = user_data_store();
  if (!store || !instance) return nullptr;
  return &(*store)[reinterpret_cast<std::uintptr_t>(instance)];
}

void drop_instance_attachments(std::uintptr_t instance) {
  if (UserDataStore* store = user_data_store()) store->erase(instance);
}

}  // namespace kcl

kxArray* kclGetKRTUserData(int id, const char* key) {
  return kcl::guarded_call<kxArray*>(nullptr, [&]() -> kxArray* {
    std::lock_guard<std::recursive_mutex> lock(krt::global_mutex());
    krtInstance* instance = kcl::user_data_owner(id);
    if (!instance || !key) return nullptr;
    kcl::UserDataTable* table = kcl::user_data_table(instance, /*create=*/false);
    return table ? table->copy_of(key) : nullptr;
  });
}

bool kclSetKRTUserData(int id, const char* key, kxArray* value) {
  return kcl::guarded_call(false, [&] {
    std::lock_guard<std::recursive_mutex> lock(krt::global_mutex());
    krtInstance* instance = kcl::user_data_owner(id);
    if (!instance || !key || !value) return false;
    kcl::UserDataTable* table = kcl::user_data_table(instance, /*create=*/true);
    return table && table->store(key, value);
  });
}
