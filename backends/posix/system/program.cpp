// See program.h. The input lies in a file of its own, so that a program that does not read it can
// neither hold up nor end the one that runs it.
#include "backends/posix/system/program.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstring>

#include "backends/posix/system/unique_fd.h"
#include "base/ansi.h"
#include "base/raised_error.h"

namespace mvsms::posix {
namespace {

using Ticks = std::chrono::steady_clock;

constexpr std::int32_t kCannotStart = 53;  // file not found
constexpr int kLookMs = 20;                // whether it has ended

[[noreturn]] void Fail(const std::string& program, int error) {
  throw RaisedError(kCannotStart, "Program",
                    AnsiFromUtf8(program + " cannot be started: " + std::strerror(error)));
}

UniqueFd InputFile(const std::string& program, const std::string& input) {
  UniqueFd file(memfd_create("input", MFD_CLOEXEC));
  const auto size = static_cast<ssize_t>(input.size());
  if (!file || write(file.get(), input.data(), input.size()) != size) Fail(program, errno);
  lseek(file.get(), 0, SEEK_SET);
  return file;
}

std::vector<char*> Pointers(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

/// A process group of its own, and signals as a program expects them, whatever is done with them
/// here.
class Attributes {
 public:
  Attributes() {
    posix_spawnattr_init(&attributes_);
    sigset_t none, all;
    sigemptyset(&none);
    sigfillset(&all);
    posix_spawnattr_setsigmask(&attributes_, &none);
    posix_spawnattr_setsigdefault(&attributes_, &all);
    posix_spawnattr_setpgroup(&attributes_, 0);
    posix_spawnattr_setflags(
        &attributes_, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  }
  ~Attributes() { posix_spawnattr_destroy(&attributes_); }
  Attributes(const Attributes&) = delete;
  Attributes& operator=(const Attributes&) = delete;
  const posix_spawnattr_t* get() const { return &attributes_; }

 private:
  posix_spawnattr_t attributes_{};
};

pid_t Start(std::vector<std::string> words, int input, int output) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
  const Attributes attributes;
  pid_t process = 0;
  const int error = posix_spawn(&process, words.front().c_str(), &actions, attributes.get(),
                                Pointers(words).data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (error != 0) Fail(words.front(), error);
  return process;
}

/// What can be read now. What is too much is read as well, or the program would wait for ever.
void Take(int fd, std::string& output) {
  std::array<char, 4096> buffer;
  for (ssize_t count = 0; (count = read(fd, buffer.data(), buffer.size())) > 0;) {
    const std::size_t room = kMostOutput - output.size();
    output.append(buffer.data(), std::min(room, static_cast<std::size_t>(count)));
  }
}

int ExitCode(int status) {
  return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

}  // namespace

ProgramEnd RunProgram(const std::vector<std::string>& words, const std::string& input,
                      std::chrono::milliseconds most, const std::function<bool()>& cancelled) {
  const UniqueFd given = InputFile(words.front(), input);
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) Fail(words.front(), errno);
  const UniqueFd output(ends[0]);
  UniqueFd taken(ends[1]);
  fcntl(output.get(), F_SETFL, O_NONBLOCK);
  const auto until = Ticks::now() + most;
  const pid_t process = Start(words, given.get(), taken.get());
  taken.Reset();
  ProgramEnd end;
  int status = 0;
  while (waitpid(process, &status, WNOHANG) == 0) {
    if (Ticks::now() >= until || cancelled()) {
      kill(-process, SIGKILL);
      waitpid(process, nullptr, 0);
      return end;
    }
    pollfd look{output.get(), POLLIN, 0};
    if (poll(&look, 1, kLookMs) > 0 && (look.revents & POLLIN) == 0) poll(nullptr, 0, kLookMs);
    Take(output.get(), end.output);
  }
  Take(output.get(), end.output);
  end.exit_code = ExitCode(status);
  return end;
}

}  // namespace mvsms::posix
