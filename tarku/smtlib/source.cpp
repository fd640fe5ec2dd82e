// The ways to obtain text: POSIX descriptors, standard streams and strings.
#include "tarku/smtlib/source.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <istream>
#include <memory>
#include <system_error>

#include "tarku/smtlib/words.h"

namespace tarku::smtlib {

namespace {

[[noreturn]] void fail(const std::string& what) {
  throw std::system_error(errno, std::generic_category(), what);
}

std::size_t read_descriptor(int descriptor, char* to, std::size_t room) {
  for (;;) {
    const ssize_t count = ::read(descriptor, to, room);
    if (count >= 0) return static_cast<std::size_t>(count);
    if (errno != EINTR) fail("cannot read");
  }
}

// An open file that closes itself. Held by shared_ptr because std::function wants copyable contents.
struct File {
  explicit File(const std::string& path) : descriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
    if (descriptor < 0) fail("cannot open " + quoted(path));
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  ~File() { ::close(descriptor); }
  int descriptor;
};

}  // namespace

Source Source::of_text(std::string text) {
  return Source([rest = std::move(text), offset = std::size_t{0}](char* to, std::size_t room) mutable {
    const std::size_t count = std::min(room, rest.size() - offset);
    std::memcpy(to, rest.data() + offset, count);
    offset += count;
    return count;
  });
}

Source Source::of_stream(std::istream& in) {
  return Source([&in](char* to, std::size_t room) -> std::size_t {
    if (room == 0 || !in.get(*to)) return 0;  // this one may wait; the rest must not
    const std::streamsize more = in.readsome(to + 1, static_cast<std::streamsize>(room - 1));
    return 1 + static_cast<std::size_t>(std::max<std::streamsize>(more, 0));
  });
}

Source Source::of_descriptor(int descriptor) {
  return Source([descriptor](char* to, std::size_t room) { return read_descriptor(descriptor, to, room); });
}

Source Source::of_file(const std::string& path) {
  return Source([file = std::make_shared<File>(path)](char* to, std::size_t room) {
    return read_descriptor(file->descriptor, to, room);
  });
}

}  // namespace tarku::smtlib
