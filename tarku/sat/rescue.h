// Rescue: carries exceptions of callbacks across the frames of a solver that is not prepared for them.
#pragma once

#include <exception>
#include <utility>

namespace tarku::sat {

// Of several exceptions the first one is kept.
class Rescue {
 public:
  // Calls `call`, and tells whether it came back without an exception.
  template <class Call>
  bool run(Call&& call) noexcept {
    try {
      std::forward<Call>(call)();
      return true;
    } catch (...) {
      if (caught_ == nullptr) caught_ = std::current_exception();
      return false;
    }
  }

  bool holds() const noexcept { return caught_ != nullptr; }

  // Throws what is kept, if anything, and keeps nothing from then on.
  void rethrow() {
    if (caught_ != nullptr) std::rethrow_exception(std::exchange(caught_, nullptr));
  }

 private:
  std::exception_ptr caught_;
};

}  // namespace tarku::sat
