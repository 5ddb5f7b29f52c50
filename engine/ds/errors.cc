#include "ds/errors.h"

dsNoSuchDirectory::dsNoSuchDirectory(const std::string& directory)
    : std::runtime_error("No such directory: '" + directory + "'"), directory_(directory) {}

dsNoSuchDirectory::~dsNoSuchDirectory() = default;

dsLockError::dsLockError(const std::string& message) : std::runtime_error(message) {}

dsLockError::~dsLockError() = default;
