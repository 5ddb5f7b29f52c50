// The KAR archive library: a component's archive is a ZIP file, extracted into a
// directory by these calls. Extraction treats the archive as hostile: it refuses what
// would reach outside the target (see kar/extract.h) and reports every failure as one
// text through the error handler, naming the archive, the entry and the reason.
#pragma once

#include <iosfwd>

#include "korel/export.h"

typedef int (*karrtHandlerFcn)(const char* text);

// Extracts "<dir>/<name>.kar" into "<dir>/<name>_krt", creating it when missing.
KOREL_EXPORT bool karrtExtractKar(const char* archive);
// Extracts the archive file into `target`, creating it when missing.
KOREL_EXPORT bool karrtExtractKar(const char* archive, const char* target);
// Extracts the archive that occupies `in` from its current position to its end (an
// archive appended to a module file, or one held in memory). The stream must seek.
KOREL_EXPORT bool karrtExtractKar(std::istream* in, const char* target);

// Creates `dir` and any missing parents. Returns 1 when the directory exists afterwards,
// 0 otherwise (reported through the error handler).
KOREL_EXPORT int karMakeDir(const char* dir);

// Where failures go (null: standard error) and where the rest of the library's output
// goes (null: nowhere). Each returns the handler it replaces. Set them before extracting.
KOREL_EXPORT karrtHandlerFcn set_karrt_error_handler(karrtHandlerFcn handler);
KOREL_EXPORT karrtHandlerFcn set_karrt_output_handler(karrtHandlerFcn handler);
