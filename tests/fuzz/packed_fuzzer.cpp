// Bytes as a packed script.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <vector>

#include "app/packed_source.h"
#include "tests/fuzz/streams.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::size_t most_unpacked = std::size_t{1} << 20;  // a few bytes may stand for gigabytes
  const tarku::ReadBytes read = tarku::unpacked(tarku::fuzz::in_pieces(tarku::fuzz::to_text(data, size)), "packed");
  std::vector<char> text(most_unpacked);
  std::size_t length = 0, room = 1;
  try {
    while (const std::size_t count = read(text.data() + length, room)) {
      length += count;
      room = std::min(2 * room, most_unpacked - length);
      if (room == 0) break;
    }
  } catch (const std::runtime_error&) {  // what damaged data is answered with
  }
  return 0;
}
