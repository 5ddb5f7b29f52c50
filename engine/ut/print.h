// Engine output: utPrintf writes to standard output, or to standard error while a
// redirect is active (a stand-alone program reports its failure on standard error).
#pragma once

#include "korel/export.h"

// printf to standard output (standard error while redirected), flushed. Returns
// what vfprintf returned.
KOREL_EXPORT int utPrintf(const char* format, ...) __attribute__((format(printf, 1, 2)));

class KOREL_EXPORT utStreamUtilities {
 public:
  // Redirects nest: output goes to standard error until every redirect is undone.
  static void redirectOutToErr();
  static void undoRedirectOutToErr();
  static bool isOutRedirectedToErr();
};

// Scope guard for one redirect.
class utRedirectOutToErr {
 public:
  utRedirectOutToErr() { utStreamUtilities::redirectOutToErr(); }
  ~utRedirectOutToErr() { utStreamUtilities::undoRedirectOutToErr(); }
  utRedirectOutToErr(const utRedirectOutToErr&) = delete;
  utRedirectOutToErr& operator=(const utRedirectOutToErr&) = delete;
};
