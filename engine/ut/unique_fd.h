// An owned file descriptor, closed when it goes out of scope.
#pragma once

#include <unistd.h>

#include <utility>

namespace ut {

class UniqueFd {
 public:
  UniqueFd() = default;
  explicit UniqueFd(int fd) : fd_(fd) {}
  UniqueFd(UniqueFd&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  UniqueFd& operator=(UniqueFd&& other) noexcept {
    if (this != &other) reset(std::exchange(other.fd_, -1));
    return *this;
  }
  ~UniqueFd() { reset(); }

  int get() const { return fd_; }
  explicit operator bool() const { return fd_ >= 0; }
  void reset(int fd = -1) {
    if (fd_ >= 0) ::close(fd_);
    fd_ = fd;
  }
  // Hands the descriptor over; this object owns nothing afterwards.
  int release() { return std::exchange(fd_, -1); }
  // Closes now, so that a failure of close (a delayed write error) can be reported.
  int close() { return ::close(std::exchange(fd_, -1)); }

 private:
  int fd_ = -1;
};

}  // namespace ut
