// The exception by which a comparison of the random tester says what is wrong.
#pragma once

#include <stdexcept>
#include <string>
#include <utility>

namespace tarku::tester {

// What a step found wrong. The category says which comparison failed; shrinking keeps to one category.
class Failure : public std::runtime_error {
 public:
  Failure(std::string category, const std::string& text)
      : std::runtime_error(category + ": " + text), category_(std::move(category)) {}
  const std::string& category() const { return category_; }

 private:
  std::string category_;
};

inline void require(bool condition, const char* category, const char* text) {
  if (!condition) throw Failure(category, text);
}

// `describe` makes the text; it is called only on failure.
template <class Describe>
void require(bool condition, const char* category, const Describe& describe) {
  if (!condition) throw Failure(category, describe());
}

}  // namespace tarku::tester
