// The -krtuserdata key:value switch: user data given on a program's command line.
#include <strings.h>

#include <algorithm>
#include <boost/regex.hpp>
#include <string>
#include <vector>

#include "kclkrt/errors/boundary.h"
#include "kclkrt/platform/owned_array.h"
#include "kclkrt/runtime/user_data.h"
#include "korel/kclkrt.h"
#include "krt/instance.h"

namespace {

bool is_user_data_switch(const char* arg) { return arg && strcasecmp(arg, "-krtuserdata") == 0; }

// Stores the value of a "key:value" argument under its key (the text before the first
// colon); false when the argument does not have that form.
bool store_pair(int id, const char* argument, const boost::regex& pattern) {
  boost::cmatch match;
  if (!argument || !boost::regex_match(argument, match, pattern)) return false;
  const std::string key = match.str(1);
  kcl::OwnedArray value(kxCreateStringFromNChars(match[2].first, static_cast<size_t>(match.length(2))));
  kclSetKRTUserData(id, key.c_str(), value.get());
  return true;
}

}  // namespace

int kclSetCmdLineUserData(int id, int argc, char** argv) {
  if (id < 0) {
    krtInstance* current = kcl::find_instance(-1);
    id = current ? static_cast<int>(current->GetID()) : -1;
  }
  if (id < 0) {
    kclPrintErrorMsg(kcl::KCLKRT_NO_KRT_USER_DATA);
    return argc;
  }
  if (argc < 1 || !argv) return argc;
  return kcl::guarded_call(argc, [&] {
    const boost::regex pattern("([^:]+)[:](.*)");
    // Gathered apart and copied back at the end, so a failure midway leaves argv whole.
    std::vector<char*> kept;
    kept.reserve(static_cast<std::size_t>(argc));
    for (int i = 0; i < argc; ++i) {
      if (!is_user_data_switch(argv[i])) {
        kept.push_back(argv[i]);
        continue;
      }
      if (i + 1 == argc) {
        kclPrintErrorMsg(kcl::KCLKRT_EMPTY_KRT_USER_DATA);
      } else if (store_pair(id, argv[i + 1], pattern)) {
        ++i;  // the pair is taken out with its switch
      } else {
        // Only the switch goes; the argument stays for the program, as the message says.
        kclPrintErrorMsg(kcl::KCLKRT_BAD_KRT_USER_DATA, argv[i + 1] ? argv[i + 1] : "");
      }
    }
    std::copy(kept.begin(), kept.end(), argv);
    return static_cast<int>(kept.size());
  });
}
