// Korel source run through the engine with its output compared: the shape of most
// language and library tests, one row per case.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "krt/error_state.h"
#include "krt/instance.h"
#include "support/captured_output.h"

namespace korel::test {

struct KorelCase {
  const char* source;    // statements; what they print is compared
  const char* expected;  // the printed text; a failure appends "error <id>: <message>\n"
};

// Runs `source` as statements in a fresh instance working in `directory` (the current
// directory when empty) and gives what it printed, followed by the error it stopped at.
inline std::string run_korel(std::string_view source, const std::string& directory = "") {
  krtOptions options;
  options.current_directory = directory;
  options.print_handler = Captured::print;
  options.error_handler = Captured::error;
  options.deployed = true;
  krtInstance instance(options);
  Captured::take_printed();
  const std::string text(source);
  const bool ok = instance.Evaluate(text.c_str());
  std::string out = Captured::take_printed();
  if (!ok) {
    const krt::ErrorState& e = instance.GetErrorState();
    out += "error " + e.identifier + ": " + e.message + "\n";
  }
  Captured::take_errors();
  return out;
}

// Checks every case of a table, naming the failing source.
template <std::size_t N>
void expect_cases(const KorelCase (&cases)[N], const std::string& directory = "") {
  for (const KorelCase& c : cases)
    EXPECT_EQ(run_korel(c.source, directory), c.expected) << "source:\n" << c.source;
}

}  // namespace korel::test
