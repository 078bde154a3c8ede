// A round of the loop: wait for the first descriptor or due action, serve, drop what is done.
#include "centre/posix/server_loop.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

namespace mvsms::centre {

Descriptor::~Descriptor() {
  if (fd_ >= 0) ::close(fd_);
}

Descriptor::Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
  std::swap(fd_, other.fd_);
  return *this;
}

ServerLoop::ServerLoop()
    : started_at_(
          std::chrono::duration_cast<Millis>(std::chrono::system_clock::now().time_since_epoch())),
      started_(std::chrono::steady_clock::now()) {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0)
    throw std::system_error(errno, std::generic_category(), "pipe");
  wake_read_ = Descriptor(ends[0]);
  wake_write_ = Descriptor(ends[1]);
}

void ServerLoop::Watch(std::shared_ptr<Watcher> watcher) {
  watchers_.push_back(std::move(watcher));
}

void ServerLoop::After(Millis delay, std::weak_ptr<void> owner, std::function<void()> action) {
  actions_.emplace(Now() + delay, Action{std::move(owner), std::move(action)});
}

Millis ServerLoop::Now() const {
  return started_at_ +
         std::chrono::duration_cast<Millis>(std::chrono::steady_clock::now() - started_);
}

void ServerLoop::Run() {
  while (!stopped_ && !watchers_.empty()) {
    Wait();
    RunDue();
    std::erase_if(watchers_, [](const auto& watcher) { return watcher->Done(); });
  }
}

void ServerLoop::Stop() {
  const int saved = errno;
  stopped_ = true;
  [[maybe_unused]] const auto written = ::write(wake_write_.get(), "", 1);
  errno = saved;
}

void ServerLoop::Wait() {
  const auto watchers = watchers_;  // serving one may add others
  std::vector<pollfd> fds = {{wake_read_.get(), POLLIN, 0}};
  for (const auto& watcher : watchers) fds.push_back({watcher->fd(), watcher->Events(), 0});
  if (::poll(fds.data(), fds.size(), Timeout()) <= 0) return;
  for (std::size_t i = 0; i < watchers.size(); ++i)
    if (fds[i + 1].revents != 0 && !watchers[i]->Done()) watchers[i]->Ready(fds[i + 1].revents);
}

int ServerLoop::Timeout() const {
  if (actions_.empty()) return -1;
  const auto wait = std::clamp<Millis::rep>((actions_.begin()->first - Now()).count(), 0, 60000);
  return static_cast<int>(wait);
}

void ServerLoop::RunDue() {
  // What is due now, not what these actions add: a chain of zero delays must not starve the lines.
  const Millis now = Now();
  std::vector<Action> due;
  const auto end = actions_.upper_bound(now);
  for (auto it = actions_.begin(); it != end; ++it) due.push_back(std::move(it->second));
  actions_.erase(actions_.begin(), end);
  for (const Action& action : due)
    if (const auto owner = action.owner.lock()) action.run();
}

}  // namespace mvsms::centre
