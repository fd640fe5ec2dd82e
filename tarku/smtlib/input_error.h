// Places in a script, and the exception for input that is at fault.
#pragma once

#include <cstdint>
#include <exception>
#include <string>
#include <utility>

namespace tarku::smtlib {

// Line and column, both from 1; columns count bytes.
struct Position {
  std::uint32_t line = 0;
  std::uint32_t column = 0;
};

// Thrown by everything that reads. The command it happens in has no effect, and the session goes on with the next one.
class InputError : public std::exception {
 public:
  InputError(Position at, std::string message) : at_(at), message_(std::move(message)) {}
  Position at() const { return at_; }
  const std::string& message() const { return message_; }
  const char* what() const noexcept override { return message_.c_str(); }

 private:
  Position at_;
  std::string message_;
};

}  // namespace tarku::smtlib
