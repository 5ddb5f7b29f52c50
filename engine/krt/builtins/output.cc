// disp and fprintf: text through the instance's handlers.
#include "krt/builtins/arguments.h"
#include "krt/builtins/intrinsics.h"
#include "krt/instance_impl.h"
#include "krt/library/format.h"

namespace krt::builtins {
namespace {

using lang::CallContext;
using lang::ValueList;

void disp(CallContext& c, int, ValueList&, ValueList& in) {
  check_inputs(in, 1, 1, "disp");
  const kxArray* a = in[0].get();
  if (kxIsEmpty(a) && !kxIsStruct(a)) return;  // disp of an empty array shows nothing
  if (is_text(a)) return void(instance_of(c).print(library::text_of(a, "") + "\n"));
  char* text = kxArrayToDisplayText(a, nullptr);
  if (!text) return;
  std::string copy = text;
  kxFree(text);
  instance_of(c).print(copy);
}

void fprintf(CallContext& c, int nargout, ValueList& out, ValueList& in) {
  check_inputs(in, 1, SIZE_MAX, "fprintf");
  check_outputs(nargout, 1, "fprintf");
  int fid = 1;
  std::size_t first = 0;
  if (kxIsNumeric(in[0].get()) && kxGetNumberOfElements(in[0].get()) == 1) {
    double id = kxGetScalar(in[0].get());
    if (id != 1 && id != 2)
      kx::raise("Korel:fprintf:badFileIdentifier",
                "Only standard output (1) and standard error (2) can be written to.");
    fid = static_cast<int>(id);
    first = 1;
    check_inputs(in, 2, SIZE_MAX, "fprintf");
  }
  std::string format = text_argument(in, first, "fprintf");
  std::vector<const kxArray*> args;
  for (std::size_t i = first + 1; i < in.size(); ++i) args.push_back(in[i].get());
  std::string text = library::format(format, args);
  Instance& instance = instance_of(c);
  if (fid == 1)
    instance.print(text);
  else
    instance.print_error(text);
  if (nargout > 0) out.push_back(make_double(static_cast<double>(text.size())));
}

}  // namespace

const lang::IntrinsicEntry kOutputFunctions[] = {
    {"disp", disp,
     "Prints a value without its name: text as it is, other values as the display shows them; "
     "nothing for an empty array."},
    {"fprintf", fprintf,
     "Formats data to the output, or to file 1 (output) or 2 (error output) only; the format "
     "repeats over the data, and output stops at the first conversion without data."},
    {nullptr, nullptr}};

}  // namespace krt::builtins
