#include "kclkrt/paths/tree_remove.h"

#include <cstring>

#include "ds/remove_tree.h"
#include "kclkrt/errors/message_catalog.h"
#include "korel/kclkrt.h"

namespace kcl {

bool remove_directory_tree(const std::string& path, bool report_failures) {
  return dsRemoveTree(path, [&](dsRemoveProblem problem, const std::string& where, int error) {
    const char* reason = std::strerror(error);
    switch (problem) {
      case dsRemoveProblem::cannot_remove:
        if (report_failures) kclPrintErrorMsg(KCLKRT_RMRF_REMOVE_FAILED, where.c_str(), reason);
        break;
      case dsRemoveProblem::cannot_stat:
        kclPrintErrorMsg(KCLKRT_CANT_DETERMINE_FILE_SIZE, where.c_str(), reason);
        break;
      case dsRemoveProblem::cannot_open_directory:
        kclPrintErrorMsg(KCLKRT_OPENDIR_ERROR, where.c_str(), reason);
        break;
    }
  });
}

}  // namespace kcl
