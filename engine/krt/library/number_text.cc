#include "krt/library/number_text.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace krt::library {

std::string non_finite_text(double v) {
  if (std::isnan(v)) return "NaN";
  return v < 0 ? "-Inf" : "Inf";
}

namespace {

template <class T>
std::string printf_any(const std::string& conversion, T v) {
  int length = std::snprintf(nullptr, 0, conversion.c_str(), v);
  if (length <= 0) return {};
  std::vector<char> text(static_cast<std::size_t>(length) + 1);
  std::snprintf(text.data(), text.size(), conversion.c_str(), v);
  return std::string(text.data(), static_cast<std::size_t>(length));
}

}  // namespace

std::string printf_text(const std::string& conversion, double v) { return printf_any(conversion, v); }
std::string printf_text(const std::string& conversion, long long v) { return printf_any(conversion, v); }
std::string printf_text(const std::string& conversion, unsigned long long v) {
  return printf_any(conversion, v);
}

std::string shortest_text(double v) {
  if (!std::isfinite(v)) return non_finite_text(v);
  if (v == std::floor(v) && std::fabs(v) < 1e15) return printf_text("%.0f", v + 0.0);
  for (int digits = 1; digits < 17; ++digits) {
    std::string text = printf_text("%." + std::to_string(digits) + "g", v);
    if (std::strtod(text.c_str(), nullptr) == v) return text;
  }
  return printf_text("%.17g", v);
}

}  // namespace krt::library
