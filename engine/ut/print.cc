#include "ut/print.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>

namespace {
std::atomic<int> redirect_depth{0};
}

int utPrintf(const char* format, ...) {
  if (!format) return -1;
  FILE* stream = utStreamUtilities::isOutRedirectedToErr() ? stderr : stdout;
  va_list args;
  va_start(args, format);
  int n = std::vfprintf(stream, format, args);
  va_end(args);
  std::fflush(stream);
  return n;
}

void utStreamUtilities::redirectOutToErr() { redirect_depth.fetch_add(1); }

void utStreamUtilities::undoRedirectOutToErr() {
  // An unbalanced undo must not leave a debt that swallows the next redirect.
  int depth = redirect_depth.load();
  while (depth > 0 && !redirect_depth.compare_exchange_weak(depth, depth - 1)) {
  }
}

bool utStreamUtilities::isOutRedirectedToErr() { return redirect_depth.load() > 0; }
