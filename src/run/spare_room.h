#pragma once

#include <cstddef>
#include <memory>

namespace torve {

// Numbers that one short-lived worker after the other gets: the kernel takes as long to hand out
// fresh memory as a small search takes.
class SpareRoom {
 public:
  // Room for so many, without values, until the next request.
  double* request(std::size_t count) {
    if (count > size_) {
      size_ = 0;
      numbers_.reset();
      numbers_ = std::make_unique_for_overwrite<double[]>(count);
      size_ = count;
    }
    return numbers_.get();
  }
  // What is large isn't kept.
  void leave() {
    constexpr std::size_t most_kept = std::size_t{1} << 20U;  // 8 MiB
    if (size_ <= most_kept) return;
    numbers_.reset();
    size_ = 0;
  }

 private:
  std::unique_ptr<double[]> numbers_;
  std::size_t size_ = 0;
};

}  // namespace torve
