// Korel text to syntax tree.
#pragma once

#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

#include "krt/lang/ast.h"

namespace krt::lang {

// Text that is not valid Korel. what() is the reason alone, without the position.
class SyntaxError : public std::runtime_error {
 public:
  SyntaxError(std::string file, int line, int column, const std::string& reason)
      : std::runtime_error(reason), file_(std::move(file)), line_(line), column_(column) {}
  const std::string& file() const noexcept { return file_; }
  int line() const noexcept { return line_; }      // from 1
  int column() const noexcept { return column_; }  // from 1

 private:
  std::string file_;
  int line_;
  int column_;
};

// Parses a whole file or text. `file` names the text in the tree and in errors.
// Throws SyntaxError.
std::unique_ptr<Program> parse_program(std::string_view text, std::string file);

}  // namespace krt::lang
