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

#include "korel/kx.h"

#ifdef __cplusplus
#include <iosfwd>
#endif

#define KCLKRT_API __attribute__((visibility("default")))

#ifdef __cplusplus
class error_info;
class ref_count_obj;
class krtInstance;
/* An input stream an archive is read from. */
typedef std::istream kclInputStream;
extern "C" {
#else
typedef struct error_info error_info;
typedef struct ref_count_obj ref_count_obj;
/* A runtime instance handle; its first 32-bit word is the instance's identifier. */
typedef struct krtInstance krtInstance;
typedef struct kclInputStream kclInputStream;
#endif
/* What generated component code knows of a component, and how its archive is obtained. */
typedef struct kclComponentData kclComponentData;
typedef struct kclComponentOptions kclComponentOptions;
struct krtFunctionTableEntry;
struct krtFunctionTable;

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

/* ---- Runtime instances ------------------------------------------------------- */

/* Every call below accepts a null handle and then fails (false, 0 or null) without
 * touching the engine, unless it says otherwise. A failed call leaves its reason as the
 * instance's last error (kclGetLastErrorMessage). */

/* Creates a runtime instance for the component compiler: the process counts as the
 * compiler from then on, the instance is made current and works in the process's
 * current directory. False, with *instance null, when it cannot be made. */
KCLKRT_API bool kclInitializeInstance(krtInstance** instance);

/* The instance's identifier (0 for null), and the calling thread's current instance
 * and its identifier (null and 0 when there is none). */
KCLKRT_API unsigned kclGetID(krtInstance* instance);
KCLKRT_API unsigned kclGetActiveID(void);
KCLKRT_API krtInstance* kclGetActiveKRT(void);

/* The runtime's version, (major << 16) | minor. False for a null `version`. */
KCLKRT_API bool kclGetKRTVersion(unsigned* version);

/* Makes the instance the calling thread's current one, or undoes that. */
KCLKRT_API bool kclPushActivation(krtInstance* instance);
KCLKRT_API bool kclPopActivation(krtInstance* instance);

/* Global variables. Set keeps its own copy of `value`; Get stores a copy the caller
 * owns, or null (and returns false) when the global does not exist. */
KCLKRT_API bool kclSetGlobal(krtInstance* instance, const char* name, kxArray* value);
KCLKRT_API bool kclGetGlobal(krtInstance* instance, const char* name, kxArray** value);

/* Makes `fn` callable from Korel code as `name`: a global holding a handle to it, which
 * comes before every function of that name. */
KCLKRT_API bool kclRegisterExternalFunction(krtInstance* instance, const char* name,
                                            kxNativeFunction fn);

/* Calling a function by name. `outputs` has room for max(nargout, 1) arrays; each array
 * returned is the caller's to destroy. Inputs stay the caller's.
 *   kclInternalFeval: a null handle means the current instance. The slots are set to
 *     null first; a result left in slot 0 with nargout 0 is the caller's too.
 *   kclFeval: as kclInternalFeval, but with nargout 0 a result is discarded.
 *   kclKexFeval: as kclFeval, over a private copy of the input list, so nothing the
 *     call does can touch the caller's list. */
KCLKRT_API bool kclInternalFeval(krtInstance* instance, const char* name, int nargout,
                                 kxArray** outputs, int nargin, kxArray** inputs);
KCLKRT_API bool kclFeval(krtInstance* instance, const char* name, int nargout, kxArray** outputs,
                         int nargin, kxArray** inputs);
KCLKRT_API bool kclKexFeval(krtInstance* instance, const char* name, int nargout,
                            kxArray** outputs, int nargin, kxArray** inputs);

/* The compiled-function convention. `args` holds |nout| output slot addresses (each a
 * kxArray** stored in a kxArray* entry) followed by |nin| inputs. A negative `nout`
 * packs the results from position |nout| on into one cell array in the last slot; a
 * negative `nin` makes the last input a row cell array of further inputs (a null last
 * input is dropped). A slot that holds an array has it destroyed before it is refilled;
 * on failure the slots keep what they held. kclKlfFeval takes the same entries as
 * trailing arguments: |nout| kxArray** values, then |nin| kxArray* values. */
KCLKRT_API bool kclKlfVFeval(krtInstance* instance, const char* name, int nargout, int nout,
                             int nin, kxArray** args);
KCLKRT_API bool kclKlfFeval(krtInstance* instance, const char* name, int nargout, int nout,
                            int nin, ...);

/* Where `name` is found (the answer of Korel's which), copied into `buf` and cut to
 * `buflen` bytes with the terminator. */
KCLKRT_API bool kclWhich(krtInstance* instance, const char* name, char* buf, int buflen);

/* The search path and the current directory. kclAddPath appends; a directory that does
 * not exist is refused. The texts returned stay valid until the path or directory
 * changes; a null handle prints a message and gives null. */
KCLKRT_API bool kclAddPath(krtInstance* instance, const char* dir);
KCLKRT_API bool kclRemovePath(krtInstance* instance, const char* dir);
KCLKRT_API bool kclChangeDirectory(krtInstance* instance, const char* dir);
KCLKRT_API const char* kclGetInstancePath(krtInstance* instance);
KCLKRT_API const char* kclGetInstanceCWD(krtInstance* instance);

/* The stack of the instance's last error, one line per frame, innermost first, in an
 * array the caller frees with kclFreeStackTrace. Returns the number of lines; 0 (and
 * nothing stored) when there is no error or no stack. */
KCLKRT_API int kclGetStackTrace(krtInstance* instance, char*** lines);
KCLKRT_API int kclFreeStackTrace(char*** lines, int count);

/* Returns when the instance has no visible figure left. */
KCLKRT_API void kclWaitForFiguresToDie(krtInstance* instance);

/* The longest path the runtime handles, and the compiler's target type (0 or 1). */
KCLKRT_API int kclGetMaxPathLen(void);
KCLKRT_API int kclGetKCCTargetType(bool shared_library);

/* ---- Native array lists ------------------------------------------------------- */

/* Destroys `count` arrays of `list` and sets their slots to null. */
KCLKRT_API void kclFreeArrayList(int count, kxArray** list);
/* A 1-by-count cell array that takes over the arrays of `list` (their slots become
 * null; a null entry leaves its place empty). Null, taking nothing, for a negative
 * count or a missing list. An array that already belongs to a container stays in its
 * slot and its place stays empty. */
KCLKRT_API kxArray* kclCreateCellArrayFromArrayList(int count, kxArray** list);
/* A function handle array that calls `fn`, displayed as `name`. */
KCLKRT_API kxArray* kclCreateSimpleFunctionHandle(const char* name, kxNativeFunction fn);

/* ---- Runtime user data ---------------------------------------------------------- */

/* Named values a host hands to the Korel code of an instance (which reads them with
 * getkrtuserdata and writes them with setkrtuserdata). `id` selects the instance; a
 * negative one means the current instance. An unknown instance prints a message.
 * Get returns a copy the caller owns, or null when nothing is stored under `key`. */
KCLKRT_API kxArray* kclGetKRTUserData(int id, const char* key);
KCLKRT_API bool kclSetKRTUserData(int id, const char* key, kxArray* value);
/* Takes every "-krtuserdata key:value" pair (the switch in any case) out of argv,
 * storing value under key as text, and keeps the other arguments in order at the
 * front of argv. Returns how many arguments are left. */
KCLKRT_API int kclSetCmdLineUserData(int id, int argc, char** argv);

/* ---- Main entry ------------------------------------------------------------------ */

/* Runs the host's main function under the runtime and returns its result. */
KCLKRT_API int kclRunMain(int (*run)(int, const char**), int argc, const char** argv);
/* Calls the entry function `name` with argv[1..argc-1] as text inputs and `nlhs`
 * outputs, which are discarded. Returns the exit code, also recorded with
 * kclSetExitCode: 0 on success; -1 on failure, after printing the error on standard
 * error. */
KCLKRT_API int kclMain(krtInstance* instance, int argc, const char** argv, const char* name,
                       int nlhs);
/* True in a stand-alone application (always, on this platform). */
KCLKRT_API bool kclIsStandaloneMode(void);

/* This library's functions callable from Korel, for the engine. */
KCLKRT_API const struct krtFunctionTableEntry* QueryKLFcns_kclkrt(void);
KCLKRT_API const struct krtFunctionTable* QueryKLFcnTable_kclkrt(void);

/* ---- Component records --------------------------------------------------------- */

/* A component's description. Every string and list is copied (a null string is kept
 * as null; a null list or a count of 0 is kept as no list, with the count as given).
 * Null when the record cannot be allocated. The two reserved lists are kept and freed
 * but read by nothing. */
KCLKRT_API kclComponentData* kclCreateComponentData(
    const char* name, const char* extraction_sub_path, const char** path_entries,
    uint32_t path_entry_count, const char** java_class_path, uint32_t java_class_path_count,
    const char** reserved_list_1, uint32_t reserved_list_1_count, const char** reserved_list_2,
    uint32_t reserved_list_2_count, const char** x11_arguments, uint32_t x11_argument_count,
    const char* component_key, const char* component_directory, const char** warning_states,
    uint32_t warning_state_count);
/* Frees the record and all it holds; null is ignored. */
KCLKRT_API void kclDestroyComponentData(kclComponentData* data);

/* How the archive is obtained, from a stream positioned at the archive's first byte
 * (borrowed, not closed). Null when `extraction_directory` is null (even with the
 * cache), or when extraction is allowed and the stream is null or the size below 1. */
KCLKRT_API kclComponentOptions* kclCreateComponentOptions(bool use_cache, bool no_extraction,
                                                          const char* extraction_directory,
                                                          kclInputStream* stream, int archive_size);
/* The same from an archive file. The directory may be null when the cache is used;
 * the file name is needed when extraction is allowed. */
KCLKRT_API kclComponentOptions* kclCreateComponentOptionsWithKarFile(
    bool use_cache, bool no_extraction, const char* extraction_directory, const char* kar_file);
/* Frees the record and its extractor; null is ignored. */
KCLKRT_API void kclDestroyComponentOptions(kclComponentOptions* options);

/* A stream reading the `size` bytes at `data` in place, without copying; the caller
 * keeps them alive until kclDestroyStream. Null when `data` is null or `size` below 1. */
KCLKRT_API kclInputStream* kclGetStreamFromArraySrc(const char* data, int size);
/* Destroys a stream; null is ignored. */
KCLKRT_API void kclDestroyStream(kclInputStream* stream);

/* ---- Component instances ------------------------------------------------------- */

/* Where a component's module comes from, which decides where its archive is looked for
 * when the component data names no directory. */
#define KCL_TARGET_STANDALONE 0     /* an executable on PATH */
#define KCL_TARGET_SHARED_LIBRARY 1 /* <name>.so loaded in the process */
#define KCL_TARGET_KAR_ON_PATH 4    /* <name>.kar on PATH or LD_LIBRARY_PATH */

/* Starts one runtime instance for a component. Each returns nonzero on success with
 * *instance set; on failure *instance is null and the reason has been printed through
 * the handlers (null handlers: the library's defaults). `replace_path` makes the
 * component's path replace the default path; `reserved` is unused. The application is
 * started first when the host has not started it.
 *   kclInitializeComponentInstance: <name>.kar in the component directory, extracted
 *     into <name>_krt beside it under a cross-process lock.
 *   kclInitializeComponentInstanceEx: as `options` say (the component cache, or the
 *     options' extractor and directory).
 *   kclInitializeComponentInstanceWithKarFile: options made from the archive file, as
 *     kclCreateComponentOptionsWithKarFile does.
 *   kclInitializeComponentInstanceWithEmbeddedKAR: the last `archive_size` bytes of
 *     the module file that holds `address_in_module`, through the component cache. */
KCLKRT_API unsigned kclInitializeComponentInstance(krtInstance** instance, kclComponentData* data,
                                                   bool replace_path, unsigned reserved,
                                                   int target_type,
                                                   kclOutputHandlerFcn error_handler,
                                                   kclOutputHandlerFcn print_handler);
KCLKRT_API unsigned kclInitializeComponentInstanceEx(krtInstance** instance, kclComponentData* data,
                                                     kclComponentOptions* options,
                                                     bool replace_path, unsigned reserved,
                                                     int target_type,
                                                     kclOutputHandlerFcn error_handler,
                                                     kclOutputHandlerFcn print_handler);
KCLKRT_API unsigned kclInitializeComponentInstanceWithKarFile(
    krtInstance** instance, kclComponentData* data, bool replace_path, unsigned reserved,
    int target_type, kclOutputHandlerFcn error_handler, kclOutputHandlerFcn print_handler,
    bool use_cache, bool no_extraction, const char* extraction_directory, const char* kar_file);
KCLKRT_API unsigned kclInitializeComponentInstanceWithEmbeddedKAR(
    krtInstance** instance, kclComponentData* data, bool replace_path, unsigned reserved,
    int target_type, kclOutputHandlerFcn error_handler, kclOutputHandlerFcn print_handler,
    int archive_size, const void* address_in_module);

/* Ends a component instance and sets *instance to null. Ending the last one first
 * reports figures still open and classes still in use. Returns 0 only for a null
 * `instance`; a null *instance is nothing to end (1). */
KCLKRT_API unsigned kclTerminateInstance(krtInstance** instance);

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

/* An instance's own print and error handlers (null: the process defaults). A null
 * handle is ignored. */
KCLKRT_API void kclSetPrintHandler(krtInstance* instance, kclOutputHandlerFcn handler);
KCLKRT_API void kclSetErrorHandler(krtInstance* instance, kclOutputHandlerFcn handler);

/* The instance's last error: set it, or read it as the message with where it happened
 * (both calls give that text; null when there is none or the handle is null). */
KCLKRT_API void kclSetLastErrIdAndMsg(krtInstance* instance, const char* id, const char* msg);
KCLKRT_API const char* kclGetLastErrorMessage(krtInstance* instance);
KCLKRT_API const char* kclGetLastErrorCode(krtInstance* instance);
/* The calling thread's last array library error, as kxGetLastErrIdAndMsg. */
KCLKRT_API int kclGetLastErrIdAndMsg(const char** id, const char** msg);

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

/* ---- Java bridge and platform -------------------------------------------------- */

/* There is no Java virtual machine in this runtime; these calls give a host's Java side
 * somewhere to go. */

/* Records the host's stand-alone class loader (an opaque Java reference) with the
 * engine; null clears it. Returns true. */
KCLKRT_API bool kclSetStandaloneClassLoader(void* class_loader);

/* What Java's System.out and System.err write through: the current instance's print
 * (error) handler, else the process default, else standard output (standard error).
 * A null text counts as empty. Return what the handler returned, or the count
 * written; -1 when writing failed. */
KCLKRT_API int kclJavaSystemOutPrint(const char* text);
KCLKRT_API int kclJavaSystemErrPrint(const char* text);
/* kclJavaSystemErrPrint for the error stream, else kclJavaSystemOutPrint. */
KCLKRT_API kclOutputHandlerFcn kclGetJavaSystemPrintHandler(bool error_stream);

/* Array to Java object reference and back. Without a Java virtual machine there is
 * nothing to convert to: both return null and leave the reason as the calling thread's
 * last error (kclcppGetLastError). */
KCLKRT_API void* kclArrayToJavaObject(const kxArray* array);
KCLKRT_API kxArray* kclJavaObjectToArray(void* object);

/* A GUID, in its fields' order. */
typedef struct kclGUID {
  uint32_t data1;
  uint16_t data2;
  uint16_t data3;
  uint8_t data4[8];
} kclGUID;

/* Writes "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}" (upper-case hex) into `buffer`, which
 * needs room for 39 bytes with the terminator. False, writing nothing, otherwise. */
KCLKRT_API bool kclGUIDToString(const kclGUID* guid, char* buffer, int length);
/* Reads that form, braces optional, hex digits in either case. False for anything else,
 * leaving *guid untouched. */
KCLKRT_API bool kclStringToGUID(const char* text, kclGUID* guid);
/* A random (version 4) GUID from the kernel's generator. False when none can be had. */
KCLKRT_API bool kclCreateGUID(kclGUID* guid);

/* Server and component registration. There is no system registry on Linux: these do
 * nothing and return 0 (success). */
KCLKRT_API long kclRegisterServer(const char* module_path, const kclGUID* class_id,
                                  const char* friendly_name,
                                  const char* version_independent_prog_id, const char* prog_id,
                                  const char* threading_model);
KCLKRT_API long kclUnregisterServer(const kclGUID* class_id,
                                    const char* version_independent_prog_id, const char* prog_id);
KCLKRT_API long kclRegisterKorelCOMComponent(const char* module_path, const kclGUID* class_id,
                                             const kclGUID* type_library_id, unsigned major,
                                             unsigned minor, const char* friendly_name,
                                             const char* prog_id);
KCLKRT_API long kclUnregisterKorelCOMComponent(const kclGUID* class_id,
                                               const kclGUID* type_library_id, unsigned major,
                                               unsigned minor, const char* prog_id);

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
