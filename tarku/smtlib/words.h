// Small pieces of messages.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tarku::smtlib {

inline std::string quoted(std::string_view name) {
  return "'" + std::string(name) + "'";
}

// "1 level", "2 levels".
inline std::string counted(std::uint64_t count, std::string_view thing) {
  return std::to_string(count) + ' ' + std::string(thing) + (count == 1 ? "" : "s");
}

}  // namespace tarku::smtlib
