#include "ds/tree_size.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <utility>

#include "ds/descriptor_walk.h"

namespace {

class SizeAdder final : public dsDescriptorWalk {
 public:
  SizeAdder(std::string top_path, uint64_t& total)
      : dsDescriptorWalk(std::move(top_path)), total_(total) {}

 private:
  bool visitEntry(int, const char*, const struct stat& st) override {
    if (S_ISREG(st.st_mode)) total_ += static_cast<uint64_t>(st.st_size);
    return true;
  }
  // Anything left unread would make the total too small: the walk stops there.
  bool failed(dsWalkFailure, const std::string&, int) override { return false; }

  uint64_t& total_;
};

}  // namespace

bool dsTreeSizeAt(int directory, uint64_t& total) {
  // A description of its own: the walk owns the descriptor it starts from and reads it
  // from the first entry, whatever the caller's descriptor has read.
  struct stat st;
  ut::UniqueFd top = dsOpenDirectory(directory, ".", st);
  if (!top) return false;
  SizeAdder adder(".", total);
  return adder.walk(std::move(top), st) && adder.complete();
}

bool dsTreeSize(const std::string& path, uint64_t& total) {
  struct stat st;
  ut::UniqueFd top = dsOpenDirectory(AT_FDCWD, path.c_str(), st);
  if (!top) return false;
  SizeAdder adder(path, total);
  return adder.walk(std::move(top), st) && adder.complete();
}
