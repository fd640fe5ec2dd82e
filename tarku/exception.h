// The one exception type of the system; its message is composed by streaming.
#pragma once

#include <exception>
#include <sstream>
#include <string>

namespace tarku {

// `throw Exception() << "too many iterations: " << n;`
class Exception : public std::exception {
 public:
  Exception() = default;
  explicit Exception(const std::string& text) { stream_ << text; }
  // A copy has a stream of its own that holds the text so far; more may be streamed into it.
  Exception(const Exception& other) : std::exception(other) { stream_ << other.stream_.str(); }
  Exception& operator=(const Exception& other);
  ~Exception() override = default;

  template <class T>
  Exception& operator<<(const T& part) {
    stream_ << part;
    return *this;
  }

  // The text composed so far. Valid until more is streamed and what() is called again, or the exception is assigned to
  // or destroyed.
  const char* what() const noexcept override;

  // Called with each exception that the library is about to throw: the place for a breakpoint. Does nothing and
  // returns.
  static void dump_msg_and_raise_assertion(const Exception& exception);

 private:
  std::ostringstream stream_;
  mutable std::string text_;  // what() keeps its result alive here
};

}  // namespace tarku
