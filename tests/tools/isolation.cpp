// Child processes with a pipe to the parent.
#include "tests/tools/isolation.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <stdexcept>

namespace tarku::tester {

namespace {

void write_all(int pipe, const std::string& text) {
  std::size_t written = 0;
  while (written < text.size()) {
    const ssize_t count = write(pipe, text.data() + written, text.size() - written);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) _exit(99);
    written += static_cast<std::size_t>(count);
  }
}

std::string read_all(int pipe) {
  std::string text;
  char buffer[4096];
  while (true) {
    const ssize_t count = read(pipe, buffer, sizeof buffer);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return text;
    text.append(buffer, static_cast<std::size_t>(count));
  }
}

void drop_standard_output(std::FILE* errors) {
  const int null = open("/dev/null", O_WRONLY);
  if (null < 0) return;
  dup2(null, STDOUT_FILENO);
  dup2(errors != nullptr ? fileno(errors) : null, STDERR_FILENO);
}

// A failed assertion or a sanitizer's headline if there is one, without addresses and process ids.
std::string find_complaint(std::FILE* errors) {
  char line[1024];
  std::rewind(errors);
  while (std::fgets(line, sizeof line, errors) != nullptr) {
    std::string text(line);
    if (text.find("Assertion") == std::string::npos && text.find("runtime error") == std::string::npos &&
        text.find("Sanitizer") == std::string::npos) {
      continue;
    }
    text = text.substr(0, text.find(" on address"));
    text = text.substr(0, text.find(" on unknown address"));
    if (text.compare(0, 2, "==") == 0) text = text.substr(text.find("==", 2) + 2);
    while (!text.empty() && text.back() == '\n') text.pop_back();
    return text;
  }
  return {};
}

std::string describe(int status) {
  if (WIFSIGNALED(status)) return "signal " + std::to_string(WTERMSIG(status));
  if (WIFEXITED(status) && WEXITSTATUS(status) != 0) return "exit status " + std::to_string(WEXITSTATUS(status));
  return {};
}

}  // namespace

void* map_shared(std::size_t bytes) {
  void* memory = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) throw std::runtime_error("cannot map shared memory");
  return memory;
}

void unmap_shared(void* memory, std::size_t bytes) {
  munmap(memory, bytes);
}

ChildResult run_in_child(const std::function<void(const Sink&)>& body, bool silent, unsigned seconds) {
  int ends[2];
  std::fflush(stdout);
  std::FILE* errors = silent ? std::tmpfile() : nullptr;
  if (pipe(ends) != 0) throw std::runtime_error("cannot make a pipe");
  const pid_t child = fork();
  if (child < 0) throw std::runtime_error("cannot fork");
  if (child == 0) {
    close(ends[0]);
    if (silent) drop_standard_output(errors);
    alarm(seconds);
    body([&](const std::string& text) { write_all(ends[1], text); });
    std::fflush(stdout);
    _exit(0);
  }
  close(ends[1]);
  ChildResult result;
  result.output = read_all(ends[0]);
  close(ends[0]);
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  result.crash = describe(status);
  if (errors != nullptr) {
    if (!result.crash.empty()) result.complaint = find_complaint(errors);
    std::fclose(errors);
  }
  return result;
}

}  // namespace tarku::tester
