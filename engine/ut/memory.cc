#include "ut/memory.h"

#include <cstdlib>
#include <cstring>
#include <new>

// Nothing needs per-context state yet; the type exists so callers hold a handle that
// can grow state later without changing their code.
struct utMemoryContext {};

utMemoryContext* utGetMemoryContext() {
  static utMemoryContext context;
  return &context;
}

void* utMalloc(std::size_t size) {
  // malloc(0) may legally return null; ask for one byte so null always means failure.
  void* p = std::malloc(size ? size : 1);
  if (!p) throw std::bad_alloc();
  return p;
}

void* utCalloc(std::size_t count, std::size_t size) {
  void* p = std::calloc(count ? count : 1, size ? size : 1);
  if (!p) throw std::bad_alloc();
  return p;
}

void utFree(void* p) { std::free(p); }

char* utStrdup(const char* s) {
  if (!s) return nullptr;
  std::size_t n = std::strlen(s) + 1;
  char* copy = static_cast<char*>(utMalloc(n));
  std::memcpy(copy, s, n);
  return copy;
}
