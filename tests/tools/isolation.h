// Runs code in a child process, so that crashes, aborts and endless loops can be reported and shrunk like failures.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <type_traits>

namespace tarku::tester {

// What became of the child.
struct ChildResult {
  std::string output;     // all that the body wrote through its sink
  std::string crash;      // "signal 11", "exit status 1"; empty when the body ended by itself
  std::string complaint;  // with `silent`: the line on standard error that says most about a crash
};

void* map_shared(std::size_t bytes);
void unmap_shared(void* memory, std::size_t bytes);

// Where the body writes; what has been written survives a crash.
using Sink = std::function<void(const std::string&)>;

// Runs `body` in a child and waits for it. The child's own standard output and error are kept from the
// terminal when `silent`; after `seconds` it is ended by SIGALRM (0: never).
ChildResult run_in_child(const std::function<void(const Sink&)>& body, bool silent, unsigned seconds);

// A record that parent and children share.
template <class Record>
class Shared {
 public:
  static_assert(std::is_trivially_copyable_v<Record>, "must not point into one process");
  Shared() : record_(static_cast<Record*>(map_shared(sizeof(Record)))) { *record_ = Record(); }
  ~Shared() { unmap_shared(record_, sizeof(Record)); }
  Shared(const Shared&) = delete;
  Shared& operator=(const Shared&) = delete;
  Record* operator->() const { return record_; }
  Record& operator*() const { return *record_; }

 private:
  Record* record_;
};

}  // namespace tarku::tester
