#include "korel_syntax.h"

#include <string>

#include "error.h"
#include "krt/lang/parser.h"

namespace kcc {

void check_korel_syntax(const FunctionSource& source) {
  if (source.kind != FunctionSource::Kind::Korel) return;
  try {
    krt::lang::parse_program(source.contents, source.path);
  } catch (const krt::lang::SyntaxError& error) {
    throw Error("Invalid Korel text in '" + source.path + "' at line " +
                std::to_string(error.line()) + ", column " + std::to_string(error.column()) +
                ": " + error.what() + ".");
  }
}

}  // namespace kcc
