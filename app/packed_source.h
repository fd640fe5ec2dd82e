// Scripts that are packed: gzip, bzip2 and xz, recognised by their first bytes.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

namespace tarku {

// Writes at most `room` bytes to `to` and gives their number; waits for the first byte; 0 means the end.
using ReadBytes = std::function<std::size_t(char* to, std::size_t room)>;

// What `read` gives, unpacked if it is packed. `name` stands for it in messages. Nothing is read before the text is,
// and no more than what a dialogue has sent. Reading throws std::runtime_error when packed data is damaged or cut off.
ReadBytes unpacked(ReadBytes read, std::string name);

}  // namespace tarku
