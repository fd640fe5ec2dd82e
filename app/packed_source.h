// Scripts that are packed: gzip, bzip2 and xz, recognised by their first bytes.
#pragma once

#include <string>

#include "tarku/smtlib/source.h"

namespace tarku {

// The text of `source`, unpacked if it is packed. `name` stands for it in messages. Nothing is read before the text is,
// and no more than what a dialogue has sent. Reading throws std::runtime_error when packed data is damaged or cut off.
smtlib::Source unpacked(smtlib::Source source, std::string name);

}  // namespace tarku
