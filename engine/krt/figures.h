// Headless figures: there is no window system, only the objects programs query.
#pragma once

#include <condition_variable>
#include <mutex>
#include <vector>

namespace krt {

class Figures {
 public:
  struct Figure {
    int handle;
    bool visible;
  };

  // A new figure, or the one with `handle` when it is open already (made current).
  // handle 0 picks the lowest free number.
  int open(int handle, bool visible);
  bool close(int handle);
  void close_all();
  bool set_visible(int handle, bool visible);
  // Open figures, oldest first; the current one is the last opened or selected.
  std::vector<Figure> list() const;
  int current() const;  // 0 when none
  // Returns when no visible figure is open: another thread closes them through Korel
  // calls, or the instance ends.
  void wait_until_none_visible();

 private:
  int visible_count_locked() const;

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Figure> figures_;
  int current_ = 0;
};

}  // namespace krt
