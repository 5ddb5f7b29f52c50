// The failure the component cache reports to its callers.
#pragma once

#include <stdexcept>

// A component could not be made available from the cache. The reason, when there is
// one to tell, went to the cache's verbose log.
class kclCacheExtractionError : public std::runtime_error {
 public:
  kclCacheExtractionError()
      : std::runtime_error("An error occurred while trying to extract a component to the cache.") {}
};
