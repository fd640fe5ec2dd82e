// A value that counts its living instances and throws from its constructor on demand, to test what containers own.
#pragma once

#include <stdexcept>

namespace tarku::test {

struct Counted {
  Counted() : Counted(0) {}
  explicit Counted(int initial) : value(initial) {
    if (constructions_left == 0) throw std::runtime_error("out of constructions");
    if (constructions_left > 0) --constructions_left;
    ++living;
  }
  Counted(const Counted& other) : Counted(other.value) {}
  Counted& operator=(const Counted& other) = default;
  ~Counted() { --living; }

  int value;

  static inline int living = 0;
  static inline int constructions_left = -1;  // the construction that finds 0 throws; negative: none does
};

}  // namespace tarku::test
