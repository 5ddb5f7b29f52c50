/*
 * The Korel deployment runtime: the C interface that hosts and generated component
 * code call. Usable from C and C++.
 *
 * Conventions: no function lets an exception out. Lifecycle calls return false and
 * print a catalogued message on failure; the error-record calls (kclcpp*) return -1
 * or leave the reason as the calling thread's last error.
 */
#ifndef KOREL_KCLKRT_H
#define KOREL_KCLKRT_H

#include <stdarg.h>
#include <stddef.h>
#include <sys/types.h>

#ifndef __cplusplus
#include <stdbool.h>
#endif

#define KCLKRT_API __attribute__((visibility("default")))

#ifdef __cplusplus
class error_info;
class ref_count_obj;
extern "C" {
#else
typedef struct error_info error_info;
typedef struct ref_count_obj ref_count_obj;
#endif

/* A host's output handler: receives one text, returns what it likes (usually a count). */
typedef int (*kclOutputHandlerFcn)(const char* text);

/* ---- Application lifecycle ---------------------------------------------------- */

/* Starts the runtime for the process. Call once; a second call fails but must still be
 * matched by a kclTerminateApplication. After the runtime has shut down it cannot start
 * again. `options` (may be null) are start options handed to the engine. */
KCLKRT_API bool kclInitializeApplication(const char** options, size_t count);

/* Matches one kclInitializeApplication; the last one shuts the runtime down, unless
 * shutdown is inhibited (then it fails and the runtime stays up). */
KCLKRT_API bool kclTerminateApplication(void);

/* Nesting guard against shutdown. */
KCLKRT_API void kclInhibitShutdown(void);
KCLKRT_API void kclUninhibitShutdown(void);

/* Records the exit code a stand-alone program should end with. */
KCLKRT_API void kclSetExitCode(int code);

/* True when the process is the component compiler itself. */
KCLKRT_API bool kclIsKcc(void);

/* Does nothing; kept for hosts that call it. Returns true. */
KCLKRT_API bool kclkrtInitialize(void);

/* The process-wide recursive mutex that serialises the runtime. */
KCLKRT_API void kclAcquireMutex(void);
KCLKRT_API void kclReleaseMutex(void);

/* ---- Messages ------------------------------------------------------------------ */

/* Formats catalogued message `code` (0x3C0001 to 0x3C0063) with its placeholder values,
 * adds a newline and writes it to the internal error output. Returns the characters
 * written, newline included, or a value below 1 (nothing written) when the message
 * cannot be formatted. */
KCLKRT_API int kclPrintErrorMsg(int code, ...);
KCLKRT_API int kclPrintErrorMsgV(int code, va_list args);

/* ---- Output and handlers ------------------------------------------------------- */

/* Where the library's own diagnostics go; null sends them to standard error. Returns
 * the handler given. */
KCLKRT_API kclOutputHandlerFcn kclSetInternalErrorHandler(kclOutputHandlerFcn handler);

/* Process-wide print and error handlers for runtime instances without their own. */
KCLKRT_API void kclSetDefaultPrintHandlers(kclOutputHandlerFcn print_handler,
                                           kclOutputHandlerFcn error_handler);

/* write(2) of `len` bytes to `fd`; returns its result. */
KCLKRT_API ssize_t kclWrite(int fd, const void* buf, size_t len);

/* ---- Warnings ------------------------------------------------------------------ */

/* Switch warnings with identifier `id` (such as "KRT:Extract") on or off. */
KCLKRT_API void kclEnableWarning(const char* id);
KCLKRT_API void kclDisableWarning(const char* id);

/* ---- Last error and error records ---------------------------------------------- */

/* Stores a pending error for the calling thread (null: "Unspecified error"). */
KCLKRT_API void kclcppSetLastError(const char* msg);
KCLKRT_API void kclcppSetLastErrorWithStackTrace(const char* msg, const char** lines, int count);
/* Hands the calling thread's pending error to the caller (who releases it) and clears
 * it; stores null when there is none. Returns -1 for a null `err`, else 0. */
KCLKRT_API int kclcppGetLastError(void** err);
/* True while the calling thread has a pending error. */
KCLKRT_API bool kclcppErrorCheck(void);
/* A new error record owned by the caller; -1 for a null `err`, else 0. */
KCLKRT_API int kclcppCreateError(void** err, const char* msg);

/* The message of an error record, or null when it is empty. */
KCLKRT_API const char* error_info_get_message(error_info* info);
/* Stores the record's stack trace lines and returns their number; -1 and null when the
 * record has no trace. */
KCLKRT_API int error_info_get_stack_trace(error_info* info, const char*** trace);
/* Reference counting of every object of the array interface; return the new count. */
KCLKRT_API int ref_count_obj_addref(ref_count_obj* obj);
KCLKRT_API int ref_count_obj_release(ref_count_obj* obj);

/* ---- Path macros --------------------------------------------------------------- */

/* The runtime's table of path roots ($KRTROOT, $RUNTIMELIBDIR, ...). Names include the
 * leading "$" and are matched without regard to case. */
KCLKRT_API void kclAddPathMacro(const char* name, const char* value);
KCLKRT_API void kclAddCanonicalPathMacro(const char* name, const char* value);
KCLKRT_API const char* kclGetPathMacro(const char* name);
KCLKRT_API void kclRemovePathMacro(const char* name);

#ifdef __cplusplus
}
#endif

#endif /* KOREL_KCLKRT_H */
