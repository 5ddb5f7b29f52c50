// Path macros: symbolic roots such as $KRTROOT that stand for whole path elements.
#pragma once

#include <cstddef>
#include <map>
#include <ostream>
#include <string>
#include <string_view>

#include "kclkrt/paths/path_string.h"

class kclPathMacros {
 public:
  virtual ~kclPathMacros() = default;

  // Inserts a macro or replaces its value. Names include the "$"; null arguments are
  // ignored.
  void add(const char* name, const char* value);
  // Adds `value` made canonical (absolute, "." and ".." resolved).
  void add_canonical(const char* name, const char* value);
  void remove(const char* name);

  // The value of a macro, or null. Names match whole and without regard to case, so
  // "$krtroot" finds "$KRTROOT" but "$KRTROOTX" finds nothing. The pointer stays valid
  // until the macro is replaced or removed.
  const char* get(const char* name) const { return expand_macro(name); }
  const char* expand_macro(const char* name) const;
  const char* expand_macro(const char* name, std::size_t length) const;
  const char* expand_macro(const std::string& name) const;

  // True when `text` contains a defined macro name, compared with exact case.
  bool needs_expanding(const char* text) const;

  // Replaces every path element that names a macro by the macro's value, keeping the
  // separators. The buffer form leaves the buffer unchanged when the result (with its
  // terminator) would not fit in `capacity`.
  void expand_path_macros(char* buffer, std::size_t capacity) const;
  dsPathString_& expand_path_macros(dsPathString_& path) const;

  // An empty line, "Defined Macros:", then "{name, value}" per macro in table order.
  std::ostream& write(std::ostream& out) const;

  bool empty() const { return macros_.empty(); }

 private:
  struct CaseInsensitiveLess {
    using is_transparent = void;
    bool operator()(std::string_view a, std::string_view b) const;
  };

  std::string expand(std::string_view path) const;

  std::map<std::string, std::string, CaseInsensitiveLess> macros_;
};

// The runtime's own roots: $KRTROOT, $TOOLBOXPREFIX, $TOOLBOXKORELDIR,
// $TOOLBOXDEPLOYDIR, filled from the environment on first use, and $RUNTIMELIBDIR,
// which application start adds.
class kclRuntimePathMacros : public kclPathMacros {
 public:
  // The process-wide table; made on first call and kept for the life of the process.
  static kclRuntimePathMacros& getInstance();

  // Defines $TOOLBOXPREFIX, $TOOLBOXKORELDIR and (unless defined) $TOOLBOXDEPLOYDIR from
  // a toolbox prefix. Application start calls it with an installed root's prefix when
  // the environment named no root, so components find the Korel library functions.
  void define_toolbox_macros(const dsPathString_& prefix);

 private:
  kclRuntimePathMacros();
};
