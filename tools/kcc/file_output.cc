#include "file_output.h"

#include <fstream>

#include "error.h"

namespace kcc {

void write_file(const std::string& path, const std::string& contents) {
  std::ofstream out(path, std::ios::binary);
  out << contents;
  out.close();
  if (!out) throw Error("cannot write " + path);
}

}  // namespace kcc
