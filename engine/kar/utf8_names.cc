#include "kar/utf8_names.h"

#include <initializer_list>

namespace kar {

Utf8Names::Utf8Names() {
  // Only the character set changes; everything else stays the thread's.
  locale_t base = ::duplocale(::uselocale(nullptr));
  if (!base) return;
  for (const char* name : {"C.UTF-8", "C.utf8", "en_US.UTF-8"}) {
    // On success the base is consumed by the new locale; on failure it is still ours.
    if (locale_t utf8 = ::newlocale(LC_CTYPE_MASK, name, base)) {
      locale_ = utf8;
      return;
    }
  }
  ::freelocale(base);
}

Utf8Names::~Utf8Names() {
  if (locale_) ::freelocale(locale_);
}

Utf8Names::Scope::Scope(const Utf8Names& names) {
  if (names.locale_) previous_ = ::uselocale(names.locale_);
}

Utf8Names::Scope::~Scope() {
  if (previous_) ::uselocale(previous_);
}

}  // namespace kar
