// Text the code under test writes through output handlers, kept until a test takes it.
#pragma once

#include <string>
#include <utility>

namespace korel::test {

// Three channels: an instance's print and error handlers, and the runtime's internal
// error output. The writers have the handler signature, so tests install them as they are.
struct Captured {
  static int print(const char* text) { return append(printed(), text); }
  static int error(const char* text) { return append(errors(), text); }
  static int internal(const char* text) { return append(internal_errors(), text); }
  static std::string take_printed() { return std::exchange(printed(), ""); }
  static std::string take_errors() { return std::exchange(errors(), ""); }
  static std::string take_internal() { return std::exchange(internal_errors(), ""); }

 private:
  static int append(std::string& sink, const char* text) {
    sink += text;
    return 0;
  }
  static std::string& printed() {
    static std::string s;
    return s;
  }
  static std::string& errors() {
    static std::string s;
    return s;
  }
  static std::string& internal_errors() {
    static std::string s;
    return s;
  }
};

}  // namespace korel::test
