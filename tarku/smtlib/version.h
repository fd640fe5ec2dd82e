// The version that the program and `(get-info :version)` tell.
#pragma once

#include <string_view>

namespace tarku::smtlib {

inline constexpr std::string_view version = "0.1.0";

}  // namespace tarku::smtlib
