// The figures of Linux and of the GNU C library.
#include "tarku/smt/memory.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>

#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace tarku::smt {

// Without streams, which would need memory themselves.
std::uint64_t resident_memory() noexcept {
  const int file = ::open("/proc/self/statm", O_RDONLY | O_CLOEXEC);
  if (file < 0) return 0;
  char text[128];
  const auto length = ::read(file, text, sizeof text - 1);
  ::close(file);
  if (length <= 0) return 0;
  text[length] = '\0';
  char* second = nullptr;
  std::strtoull(text, &second, 10);  // the size of the address space comes first
  return std::strtoull(second, nullptr, 10) * static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
}

void release_freed_memory() noexcept {
#ifdef __GLIBC__
  ::malloc_trim(0);
#endif
}

}  // namespace tarku::smt
