// Installation settings: where the runtime is installed and how it runs.
#pragma once

#include <string>

#include "korel/export.h"

// The install root this engine was loaded from: the directory R such that the settings
// library is R/bin/<arch>/libkorel_sv.so. Empty when the library does not sit in such
// a root.
KOREL_EXPORT std::string svKorelRoot();

// Name of the binary architecture directory under <root>/bin: "linux-x86_64".
KOREL_EXPORT const char* svGetArchName();

// <root>/bin/<arch> for svKorelRoot(); empty when there is no root.
KOREL_EXPORT std::string svGetBinArchDir();

// True: no Korel development environment exists on this platform, so the runtime
// always runs stand-alone.
KOREL_EXPORT bool svIsStandaloneMode();

// False: this engine has no Java virtual machine.
KOREL_EXPORT bool svJavaUseJVM();
// True: the engine's Java layer keeps each instance's dynamic Java class path
// (javaaddpath, javaclasspath), virtual machine or not.
KOREL_EXPORT bool svIsJavaEnabled();

// The user's default preference-directory prefix: $HOME/.korel, with the home directory
// taken from the password database when HOME is unset or empty. Empty when neither
// gives a home directory.
KOREL_EXPORT std::string svGetDefaultPrefDirPrefix();
