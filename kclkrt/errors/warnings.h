// Switching identified warnings on and off.
#pragma once

namespace kcl {

// Applies warning status items written "<on|off>:<warning id>", in order. A malformed
// item or an unknown state is reported with its catalogued message and skipped.
void apply_warning_states(const char** items, int count);

}  // namespace kcl
