// posix_spawn, two pipes, and poll.
#include "cli/posix/child_process.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <filesystem>

#include "cli/context.h"

namespace mvsms::cli {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds kReapStep{20};

// A pipe whose ends no other child inherits; the reading one does not block.
struct Pipe {
  int read = -1;
  int write = -1;

  Pipe() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) throw Failure("cannot make a pipe");
    read = ends[0];
    write = ends[1];
    fcntl(read, F_SETFL, O_NONBLOCK);
  }
};

std::vector<char*> Pointers(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

std::vector<std::string> Environment(const std::vector<std::string>& variables) {
  // The first of two equal names is the one that counts.
  std::vector<std::string> environment = variables;
  for (char** variable = environ; *variable != nullptr; ++variable) {
    environment.emplace_back(*variable);
  }
  return environment;
}

int Spawn(std::vector<std::string> command, std::vector<std::string> environment, int out, int err,
          pid_t& pid) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, out, STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, err, STDERR_FILENO);
  const int error = posix_spawn(&pid, command.front().c_str(), &actions, nullptr,
                                Pointers(command).data(), Pointers(environment).data());
  posix_spawn_file_actions_destroy(&actions);
  return error;
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& command,
                           const std::vector<std::string>& variables) {
  const Pipe out;
  const Pipe err;
  streams_[0].fd = out.read;
  streams_[1].fd = err.read;
  const int error = Spawn(command, Environment(variables), out.write, err.write, pid_);
  close(out.write);
  close(err.write);
  if (error != 0) throw Failure("cannot start " + command.front() + ": " + std::strerror(error));
}

ChildProcess::~ChildProcess() {
  if (!exit_code_) {
    Signal(SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
  for (const Stream& stream : streams_) close(stream.fd);
}

void ChildProcess::Take(Stream& stream) {
  std::array<char, 4096> buffer;
  ssize_t count = 0;
  while ((count = read(stream.fd, buffer.data(), buffer.size())) > 0) {
    stream.text.append(buffer.data(), static_cast<std::size_t>(count));
  }
}

void ChildProcess::Read(milliseconds wait) {
  pollfd polled[2] = {{streams_[0].fd, POLLIN, 0}, {streams_[1].fd, POLLIN, 0}};
  if (wait.count() > 0) poll(polled, 2, static_cast<int>(wait.count()));
  for (Stream& stream : streams_) Take(stream);
}

std::optional<std::string> ChildProcess::NextLine() {
  for (Stream& stream : streams_) {
    const std::size_t end = stream.text.find('\n', stream.taken);
    if (end == std::string::npos) continue;
    std::string line = stream.text.substr(stream.taken, end - stream.taken);
    stream.taken = end + 1;
    return line;
  }
  return std::nullopt;
}

void ChildProcess::Signal(int signal) {
  if (!exit_code_) kill(pid_, signal);
}

bool ChildProcess::Reap() {
  int status = 0;
  if (exit_code_ || waitpid(pid_, &status, WNOHANG) != pid_) return exit_code_.has_value();
  exit_code_ = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
  return true;
}

std::optional<int> ChildProcess::Wait(milliseconds time) {
  const auto deadline = steady_clock::now() + time;
  while (!Reap() && steady_clock::now() < deadline) {
    Read();
    usleep(static_cast<useconds_t>(std::chrono::microseconds(kReapStep).count()));
  }
  Read();
  return exit_code_;
}

std::string OwnProgram() { return std::filesystem::read_symlink("/proc/self/exe").string(); }

}  // namespace mvsms::cli
