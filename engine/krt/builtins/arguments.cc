#include "krt/builtins/arguments.h"

#include <strings.h>

#include "krt/library/format.h"
#include "kx/error.h"

namespace krt::builtins {

void check_inputs(const lang::ValueList& inputs, std::size_t min, std::size_t max,
                  const char* function) {
  if (inputs.size() < min)
    kx::raise(std::string("Korel:") + function + ":notEnoughInputs", "Not enough input arguments.");
  if (inputs.size() > max)
    kx::raise(std::string("Korel:") + function + ":tooManyInputs", "Too many input arguments.");
}

void check_outputs(int nargout, int max, const char* function) {
  if (nargout > max)
    kx::raise(std::string("Korel:") + function + ":tooManyOutputs", "Too many output arguments.");
}

std::string text_argument(const lang::ValueList& inputs, std::size_t i, const char* function) {
  const std::string id = std::string("Korel:") + function + ":badType";
  return library::text_of(inputs.at(i).get(), id.c_str());
}

bool is_text(const kxArray* a) { return kxIsChar(a) && (kxGetM(a) <= 1 || kxIsEmpty(a)); }

std::vector<std::string> text_list(const kxArray* a, const char* function) {
  const std::string id = std::string("Korel:") + function + ":badType";
  std::vector<std::string> texts;
  if (kxIsCell(a)) {
    for (kxSize i = 0, n = kxGetNumberOfElements(a); i < n; ++i) {
      const kxArray* e = kxGetCell(a, i);
      if (!e || !is_text(e)) kx::raise(id, std::string("The arguments of ") + function +
                                               " must be texts or cell arrays of texts.");
      texts.push_back(library::text_of(e, id.c_str()));
    }
    return texts;
  }
  texts.push_back(library::text_of(a, id.c_str()));
  return texts;
}

bool same_text(const std::string& a, const std::string& b) {
  return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

}  // namespace krt::builtins
