// ZIP entry names flagged as UTF-8 are read as UTF-8 whatever the process locale: the
// reader converts names into the calling thread's character set, so the thread takes a
// UTF-8 character set of its own while it reads. Neither the process's locale nor any
// other thread is touched.
#pragma once

#include <locale.h>

namespace kar {

class Utf8Names {
 public:
  // Without a UTF-8 locale on the system, names are read in the thread's own.
  Utf8Names();
  ~Utf8Names();
  Utf8Names(const Utf8Names&) = delete;
  Utf8Names& operator=(const Utf8Names&) = delete;

  // While a Scope lives, the calling thread's character set is UTF-8.
  class Scope {
   public:
    explicit Scope(const Utf8Names& names);
    ~Scope();
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;

   private:
    locale_t previous_ = nullptr;
  };

 private:
  locale_t locale_ = nullptr;
};

}  // namespace kar
