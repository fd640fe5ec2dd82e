// What the fuzzers read from and write to.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <ostream>
#include <streambuf>
#include <string>
#include <utility>

namespace tarku::fuzz {

// Takes everything that is written to it, and forgets it.
class Discarding : private std::streambuf, public std::ostream {
 public:
  Discarding() : std::ostream(this) {}

 private:
  int overflow(int c) override { return traits_type::not_eof(c); }
  std::streamsize xsputn(const char*, std::streamsize count) override { return count; }
};

inline std::string to_text(const std::uint8_t* data, std::size_t size) {
  return std::string(reinterpret_cast<const char*>(data), size);
}

// Gives the text in pieces of 1 to 16 bytes, so that every kind of token is cut at some time.
inline std::function<std::size_t(char*, std::size_t)> in_pieces(std::string text) {
  return [text = std::move(text), offset = std::size_t{0}](char* to, std::size_t room) mutable {
    const std::size_t count = std::min({room, text.size() - offset, 1 + offset * 7 % 16});
    std::memcpy(to, text.data() + offset, count);
    offset += count;
    return count;
  };
}

}  // namespace tarku::fuzz
