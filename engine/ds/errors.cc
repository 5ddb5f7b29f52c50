#include "ds/errors.h"

dsNoSuchDirectory::dsNoSuchDirectory(const std::string& directory)
    : std::runtime_error("No such directory: '" + directory + "'"), directory_(directory) {}

dsNoSuchDirectory::~dsNoSuchDirectory() = default;

dsLockError::dsLockError(const std::string& message, int error)
    : std::runtime_error(message), error_(error) {}

dsLockError::~dsLockError() = default;
