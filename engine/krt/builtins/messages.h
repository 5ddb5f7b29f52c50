// The identifier and text of error, warning and assert arguments.
#pragma once

#include <string>
#include <utility>

#include "krt/lang/call.h"

namespace krt::builtins {

// "component:reason" (two or more parts, none empty, no blanks): a message identifier.
bool looks_like_identifier(const std::string& s);

// The identifier and text that in[from...] give: an identifier is taken when several
// arguments follow and the first looks like one; a lone text is taken as it stands,
// otherwise the text is a format for the arguments after it.
std::pair<std::string, std::string> message_of(lang::ValueList& in, std::size_t from,
                                               const char* function);

}  // namespace krt::builtins
