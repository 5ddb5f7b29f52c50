// Numbers as text: printf conversions built at run time and the shortest forms.
#pragma once

#include <string>

namespace krt::library {

// "Inf", "-Inf" or "NaN".
std::string non_finite_text(double v);

// The shortest %g-style text that reads back as `v`; integers below 1e15 in full
// ("100000", "0.1", "1e+20", "3.14"). Non-finite values as non_finite_text.
std::string shortest_text(double v);

// printf with one conversion (`conversion`, built by this library, e.g. "%+08.3f").
std::string printf_text(const std::string& conversion, double v);
std::string printf_text(const std::string& conversion, long long v);
std::string printf_text(const std::string& conversion, unsigned long long v);

}  // namespace krt::library
