// ZIP archives written by Python's zipfile, an independent writer: it flags every
// non-ASCII entry name as UTF-8 (general purpose bit 11), as bsdtar and others do.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "support/subprocess.h"

namespace korel::test {

// Writes `archive` with the entries (name, data) in order, deflated and dated 1999, as an
// archive built long ago; a name ending in '/' is a directory. Empty when done, else what went wrong, including a non-ASCII name that
// Python did not flag.
inline std::string write_zip_with_python(
    const std::string& archive, const std::vector<std::pair<std::string, std::string>>& entries) {
  const char* script =
      "import sys, zipfile\n"
      "args = sys.argv[2:]\n"
      "with zipfile.ZipFile(sys.argv[1], 'w', zipfile.ZIP_DEFLATED) as z:\n"
      "    for name, data in zip(args[0::2], args[1::2]):\n"
      "        z.writestr(zipfile.ZipInfo(name, (1999, 1, 2, 3, 4, 6)), data)\n"
      "with zipfile.ZipFile(sys.argv[1]) as z:\n"
      "    for info in z.infolist():\n"
      "        if not info.filename.isascii() and not info.flag_bits & 0x800:\n"
      "            sys.exit('not flagged as UTF-8: ' + info.filename)\n";
  std::vector<std::string> argv = {"/usr/bin/python3", "-c", script, archive};
  for (const auto& [name, data] : entries) {
    argv.push_back(name);
    argv.push_back(data);
  }
  // Python reads its arguments in the locale's encoding; UTF-8 mode makes that UTF-8.
  const ProcessResult result = run_program(argv, {{"PYTHONUTF8", "1"}});
  return result.exit_code == 0 ? "" : "python3 failed: " + result.out + result.err;
}

}  // namespace korel::test
