// This library's functions callable from Korel code, and their table for the engine.
#include <memory>
#include <string>

#include "kclkrt/errors/instance_output.h"
#include "kclkrt/errors/message_catalog.h"
#include "korel/kclkrt.h"
#include "korel/kx.h"
#include "krt/function_registry.h"
#include "krt/library/table.h"

namespace {

void require_input_count(const char* function, int nrhs, int expected) {
  if (nrhs < expected)
    kxErrMsgIdAndTxt((std::string("Korel:") + function + ":notEnoughInputs").c_str(),
                     "Not enough input arguments.");
  if (nrhs > expected)
    kxErrMsgIdAndTxt((std::string("Korel:") + function + ":tooManyInputs").c_str(),
                     "Too many input arguments.");
}

// The key of a user-data call as text; anything but a char array is refused.
std::string user_data_key(const char* bad_key_identifier, const kxArray* key) {
  if (!kxIsChar(key)) kcl::raise_catalogued_error(bad_key_identifier, kcl::KCLKRT_WRONG_USER_DATA_KEY_TYPE, kxGetClassName(key));
  std::unique_ptr<char, decltype(&kxFree)> text(kxArrayToString(key), &kxFree);
  return text ? text.get() : "";
}

// value = getkrtuserdata(key): the value stored under key, or [] when there is none.
void getkrtuserdata(int nlhs, kxArray* plhs[], int nrhs, kxArray* prhs[]) {
  require_input_count("getkrtuserdata", nrhs, 1);
  const std::string key = user_data_key("Korel:getkrtuserdata:BadKeyType", prhs[0]);
  kxArray* value = kclGetKRTUserData(-1, key.c_str());
  plhs[0] = value ? value : kxCreateEmptyArray(kxDOUBLE_CLASS);
}

// setkrtuserdata(key, value): stores value under key for the instance's host.
void setkrtuserdata(int nlhs, kxArray* plhs[], int nrhs, kxArray* prhs[]) {
  require_input_count("setkrtuserdata", nrhs, 2);
  const std::string key = user_data_key("Korel:setkrtuserdata:BadKeyType", prhs[0]);
  kclSetKRTUserData(-1, key.c_str(), prhs[1]);
}

constexpr krtFunctionTableEntry kFunctions[] = {
    {"getkrtuserdata", getkrtuserdata},
    {"setkrtuserdata", setkrtuserdata},
    {nullptr, nullptr},
};

constexpr krtFunctionTable kTable = {kFunctions, kKrtFunctionTableMagic, kKrtFunctionTableVersion,
                                     std::size(kFunctions) - 1};

// Korel code can call these as soon as the library is loaded.
[[maybe_unused]] const bool registered_with_engine = krt_register_extension(&kTable);

}  // namespace

const krtFunctionTableEntry* QueryKLFcns_kclkrt(void) { return kFunctions; }

const krtFunctionTable* QueryKLFcnTable_kclkrt(void) { return &kTable; }
