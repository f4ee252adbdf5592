// An owned file descriptor.
#pragma once

#include <unistd.h>

#include <utility>

namespace structure_ingest::internal {

/// Closes its descriptor when it is destroyed; a negative number means none.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int number) : number_(number) {}
  ~Descriptor() {
    if (is_open()) close(number_);
  }
  Descriptor(Descriptor&& other) noexcept : number_(other.release()) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }

  int number() const { return number_; }
  bool is_open() const { return number_ >= 0; }
  /// Returns the descriptor without closing it.
  int release() { return std::exchange(number_, -1); }

 private:
  int number_ = -1;
};

}  // namespace structure_ingest::internal
