// Component registration: a system registry of servers and type libraries does not
// exist on this platform, so there is nothing to write or remove, and hosts that
// register as a matter of course simply succeed.
#include "korel/kclkrt.h"

long kclRegisterServer(const char*, const kclGUID*, const char*, const char*, const char*, const char*) {
  return 0;
}

long kclUnregisterServer(const kclGUID*, const char*, const char*) { return 0; }

long kclRegisterKorelCOMComponent(const char*, const kclGUID*, const kclGUID*, unsigned, unsigned, const char*,
                                  const char*) {
  return 0;
}

long kclUnregisterKorelCOMComponent(const kclGUID*, const kclGUID*, unsigned, unsigned, const char*) { return 0; }
