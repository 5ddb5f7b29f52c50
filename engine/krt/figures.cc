#include "krt/figures.h"

#include <algorithm>

namespace krt {

int Figures::open(int handle, bool visible) {
  std::lock_guard lock(mutex_);
  if (handle > 0) {
    for (Figure& f : figures_)
      if (f.handle == handle) return current_ = handle;
  } else {
    handle = 1;
    while (std::any_of(figures_.begin(), figures_.end(),
                       [&](const Figure& f) { return f.handle == handle; }))
      ++handle;
  }
  figures_.push_back(Figure{handle, visible});
  current_ = handle;
  changed_.notify_all();
  return handle;
}

bool Figures::close(int handle) {
  std::lock_guard lock(mutex_);
  auto it = std::find_if(figures_.begin(), figures_.end(),
                         [&](const Figure& f) { return f.handle == handle; });
  if (it == figures_.end()) return false;
  figures_.erase(it);
  if (current_ == handle) current_ = figures_.empty() ? 0 : figures_.back().handle;
  changed_.notify_all();
  return true;
}

void Figures::close_all() {
  std::lock_guard lock(mutex_);
  figures_.clear();
  current_ = 0;
  changed_.notify_all();
}

bool Figures::set_visible(int handle, bool visible) {
  std::lock_guard lock(mutex_);
  for (Figure& f : figures_)
    if (f.handle == handle) {
      f.visible = visible;
      changed_.notify_all();
      return true;
    }
  return false;
}

std::vector<Figures::Figure> Figures::list() const {
  std::lock_guard lock(mutex_);
  return figures_;
}

int Figures::current() const {
  std::lock_guard lock(mutex_);
  return current_;
}

int Figures::visible_count_locked() const {
  return static_cast<int>(
      std::count_if(figures_.begin(), figures_.end(), [](const Figure& f) { return f.visible; }));
}

void Figures::wait_until_none_visible() {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [&] { return visible_count_locked() == 0; });
}

}  // namespace krt
