// A component's preferences directory, filled from the template its archive carries.
#pragma once

#include <string>

namespace kcl {

// The user's preferences directory for components with `key`:
// <preference prefix>/krt_v<major><minor>/<key>; empty when the user has no home.
std::string preferences_directory(const std::string& key);

// Checks that `extraction` carries the ".korel" template (else the archive is not this
// component's: reported, false) and copies the template into `preferences` when that
// is new, or when the template is newer. A preferences directory that cannot be made
// or examined is reported and does not fail the start.
bool set_up_preferences(const std::string& preferences, const std::string& extraction,
                        const std::string& component_directory, const std::string& name);

}  // namespace kcl
