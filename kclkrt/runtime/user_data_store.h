// The process-wide store of named attachments per runtime instance.
#pragma once

#include <any>
#include <cstdint>
#include <map>
#include <string>

namespace kcl {

// Attachments of one runtime instance, by name.
using InstanceUserData = std::map<std::string, std::any>;
// Keyed by the instance handle's value.
using UserDataStore = std::map<std::uintptr_t, InstanceUserData>;

}  // namespace kcl
