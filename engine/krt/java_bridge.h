// What the engine keeps of a host's Java side. There is no Java virtual machine in
// this engine, so the stand-alone class loader a host hands in is only held, as an
// opaque reference, for whoever asks for it later.
#pragma once

#include "korel/export.h"

namespace krt {

// Records the host's stand-alone class loader; null forgets it.
KOREL_EXPORT void set_standalone_class_loader(void* class_loader);

// The class loader last recorded, or null.
KOREL_EXPORT void* standalone_class_loader();

}  // namespace krt
