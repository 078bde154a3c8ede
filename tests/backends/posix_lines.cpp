// Lines on Linux: a pseudo-terminal and a TCP line.
#include <unistd.h>

#include <chrono>
#include <stdexcept>
#include <thread>

#include "backends/posix/posix_platform.h"
#include "backends/posix/store/line_store.h"
#include "tests/backends/contract_line.h"
#include "tests/backends/posix/listener.h"
#include "tests/support/pseudo_terminal.h"

namespace mvsms {
namespace {

using std::chrono::milliseconds;

class LinesOnPosix : public LineBackEnd {
 public:
  LinesOnPosix() {
    posix::LineConfig line;
    line.name = "Line";
    line.kind = posix::LineKind::kTcp;
    posix::LineStore(home_.path()).Put(line);
  }
  Platform& platform() override { return *platform_; }
  std::string device() override { return terminal_.device(); }
  std::string number() override {
    called_ = true;
    return "127.0.0.1:" + listener_.port();
  }
  std::string silent_number() override {
    listener_.Close();
    return "127.0.0.1:" + listener_.port();
  }
  void Say(const std::string& bytes) override {
    if (!called_) {
      terminal_.Write(bytes);
    } else if (write(Far(), bytes.data(), bytes.size()) < 0) {
      throw std::runtime_error("the far side cannot write");
    }
    std::this_thread::sleep_for(milliseconds(10));
  }
  std::string Heard(std::size_t count) override {
    while (!called_ && heard_.size() < count) heard_ += terminal_.ReadSome();
    char byte = 0;
    while (called_ && heard_.size() < count && read(Far(), &byte, 1) == 1) heard_ += byte;
    return heard_;
  }
  void HangUp() override {
    Far();
    far_.Reset();
  }

 private:
  int Far() {
    if (!far_) far_ = listener_.Accept();
    return far_.get();
  }

  posix::LockFolder locks_;
  TempFolder home_;
  posix::PseudoTerminal terminal_;
  posix::Listener listener_;
  posix::UniqueFd far_;
  bool called_ = false;
  std::string heard_;
  std::unique_ptr<Platform> platform_ = posix::MakePosixPlatform(home_.path());
};

}  // namespace

NamedLineBackEnd SystemLines() {
  return {"Posix", [] { return std::unique_ptr<LineBackEnd>(std::make_unique<LinesOnPosix>()); }};
}

}  // namespace mvsms
