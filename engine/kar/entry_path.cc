#include "kar/entry_path.h"

#include "kar/error.h"

namespace kar {

std::vector<std::string> entry_path_elements(const std::string& name) {
  if (name.empty()) throw Error(name, "an empty entry name is refused");
  if (name.front() == '/') throw Error(name, "an absolute entry name is refused");
  std::vector<std::string> elements;
  std::size_t start = 0;
  while (start <= name.size()) {
    std::size_t stop = name.find('/', start);
    if (stop == std::string::npos) stop = name.size();
    std::string element = name.substr(start, stop - start);
    if (element == "..") throw Error(name, "an entry name with a '..' element is refused");
    if (!element.empty() && element != ".") elements.push_back(std::move(element));
    start = stop + 1;
  }
  return elements;
}

std::string join_elements(const std::vector<std::string>& elements, std::size_t count) {
  std::string joined;
  for (std::size_t i = 0; i < count && i < elements.size(); ++i) {
    if (i) joined += '/';
    joined += elements[i];
  }
  return joined;
}

}  // namespace kar
