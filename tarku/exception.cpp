// The out-of-line part of the exception type.
#include "tarku/exception.h"

namespace tarku {

Exception& Exception::operator=(const Exception& other) {
  if (this != &other) {
    stream_.str(std::string());
    stream_.clear();
    stream_ << other.stream_.str();
  }
  return *this;
}

// An unchanged text is not stored again, so pointers given out earlier stay good.
const char* Exception::what() const noexcept {
  try {
    std::string now = stream_.str();
    if (now != text_) text_ = std::move(now);
  } catch (...) {
    // No memory for the text: what was composed up to the previous call has to do.
  }
  return text_.c_str();
}

void Exception::dump_msg_and_raise_assertion(const Exception&) {}

}  // namespace tarku
