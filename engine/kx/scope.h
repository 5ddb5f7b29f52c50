// Temporary array scopes: what the engine sweeps after a native call.
#pragma once

#include <vector>

#include "korel/export.h"
#include "korel/kx.h"

namespace kx {

// While one lives on a thread, every array made on that thread is temporary and belongs
// to it; when it ends it destroys those still temporary. Arrays leave it when they are
// made persistent, stored into a container or destroyed. Scopes nest; an array belongs
// to the innermost.
class KOREL_EXPORT TemporaryScope {
 public:
  TemporaryScope();
  ~TemporaryScope();
  TemporaryScope(const TemporaryScope&) = delete;
  TemporaryScope& operator=(const TemporaryScope&) = delete;

  // Arrays that belong to this scope now.
  std::size_t size() const { return arrays_.size(); }

 private:
  friend void adopt_into_scope(kxArray* a);
  friend void remove_from_scope(kxArray* a);

  TemporaryScope* outer_;
  std::vector<kxArray*> arrays_;
};

// Puts a new array into the innermost scope of the calling thread, if there is one.
void adopt_into_scope(kxArray* a);
// Takes an array out of whatever scope holds it.
void remove_from_scope(kxArray* a);

}  // namespace kx
