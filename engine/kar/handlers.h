// Delivery of the library's texts to the handlers the host installed.
#pragma once

#include <string>

namespace kar {

// Sends one line (a newline is added) to the error handler, or to standard error.
void report_error(const std::string& text);
// Sends one line to the output handler, if any.
void report_output(const std::string& text);

}  // namespace kar
