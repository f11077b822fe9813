#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <string>

namespace ps::detail {

// An open file of its own; negative when it could not be opened, with the reason in errno.
class Descriptor {
 public:
  Descriptor(const std::string& path, int flags) : number_(::open(path.c_str(), flags | O_CLOEXEC, 0664)) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() {
    if (number_ >= 0) ::close(number_);
  }
  operator int() const { return number_; }

 private:
  int number_;
};

}  // namespace ps::detail
