/* Symbol visibility for the Korel libraries: everything is hidden unless marked. */
#ifndef KOREL_EXPORT_H
#define KOREL_EXPORT_H

#define KOREL_EXPORT __attribute__((visibility("default")))

#endif
