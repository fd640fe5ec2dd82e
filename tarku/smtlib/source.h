// Where the text of a script comes from: a file, a descriptor, a stream or a string, always taken in pieces.
//
// A read gives what there is and waits only when there is nothing, so that a dialogue over a pipe or a terminal is
// answered command by command. Files take the same way: memory does not grow with the length of a script.
#pragma once

#include <cstddef>
#include <functional>
#include <iosfwd>
#include <string>
#include <utility>

namespace tarku::smtlib {

class Source {
 public:
  // Writes at most `room` bytes to `to` and gives their number; waits for the first byte; 0 means the end.
  // Throws std::system_error when the text cannot be read.
  using Read = std::function<std::size_t(char* to, std::size_t room)>;

  explicit Source(Read read) : read_(std::move(read)) {}
  static Source of_text(std::string text);
  static Source of_stream(std::istream& in);       // `in` must outlive the source
  static Source of_descriptor(int descriptor);     // stays open
  static Source of_file(const std::string& path);  // throws std::system_error when it cannot be opened

  std::size_t read(char* to, std::size_t room) { return read_(to, room); }

 private:
  Read read_;
};

}  // namespace tarku::smtlib
