// What a CaDiCaL archive that was compiled against glibc 2.38 or newer asks of an older glibc: fscanf under its C23
// name. The two differ in binary integers (0b...) only, which the one caller, a look at /proc, does not meet.
#include <cstdarg>
#include <cstdio>

// NOLINTNEXTLINE: the name is the C library's
extern "C" int __isoc23_fscanf(std::FILE* file, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int result = std::vfscanf(file, format, arguments);
  va_end(arguments);
  return result;
}
