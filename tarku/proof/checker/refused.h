// The two ways in which checking ends without a yes.
#pragma once

#include <stdexcept>

namespace tarku::checker {

// What was to be checked is wrong, or cannot be understood; what() says why.
class Refused : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The text cannot be read, which says nothing about it.
class Unreadable : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace tarku::checker
