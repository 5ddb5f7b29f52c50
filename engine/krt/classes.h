// The class manager: how many objects of each user-defined class are alive.
#pragma once

#include <string>
#include <vector>

#include "korel/export.h"

namespace krt {

struct ClassRecord {
  std::string name;
  bool hidden = false;    // kept out of reports (set by the program)
  bool internal = false;  // one of the runtime's own classes ("korel." names)
  long live_objects = 0;
};

// Classes are grouped by the application that defines them; this engine has one,
// named "korel", holding every class seen.
struct ClassApplication {
  std::string name;
  std::vector<ClassRecord> classes;
};

// A snapshot of every application and its classes, in order of first appearance.
KOREL_EXPORT std::vector<ClassApplication> class_applications();

// Keeps a class out of reports (or puts it back).
KOREL_EXPORT void set_class_hidden(const std::string& name, bool hidden);

}  // namespace krt
