// Lines in memory, and on Linux a pseudo-terminal and a TCP line.
#include <unistd.h>

#include <chrono>
#include <optional>
#include <stdexcept>
#include <thread>

#include "platform/memory/memory_platform.h"
#include "platform/posix/line_store.h"
#include "platform/posix/posix_platform.h"
#include "tests/platform/contract_line.h"
#include "tests/platform/listener.h"
#include "tests/platform/pseudo_terminal.h"

namespace mvsms {
namespace {

using std::chrono::milliseconds;

class LinesInMemory : public LineBackEnd {
 public:
  LinesInMemory() {
    platform_.devices["COM1"].far_end = [this] { return std::make_unique<Far>(*this); };
    memory::Line line;
    line.name = "Line";
    line.far_end = [this](const std::string&) { return std::make_unique<Far>(*this); };
    platform_.lines.push_back(line);
  }
  Platform& platform() override { return platform_; }
  std::string device() override { return "COM1"; }
  std::string number() override { return "1"; }
  std::string silent_number() override {
    platform_.lines[0].outcome = CallState::kDisconnected;
    platform_.lines[0].cause = CallCause::kDisconnectNoAnswer;
    return "2";
  }
  void Say(const std::string& bytes) override {
    wire_->Write(bytes);
    platform_.loop().Sleep(milliseconds(5));
  }
  std::string Heard(std::size_t) override { return heard_; }
  void HangUp() override { wire_->HangUp(); }

 private:
  class Far : public memory::FarEnd {
   public:
    explicit Far(LinesInMemory& machine) : machine_(machine) {}
    void Connected(memory::Wire& wire) override { machine_.wire_ = &wire; }
    void Received(std::string_view bytes) override { machine_.heard_ += bytes; }
    void HungUp() override {}

   private:
    LinesInMemory& machine_;
  };

  memory::Wire* wire_ = nullptr;
  std::string heard_;
  memory::MemoryPlatform platform_;
};

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

template <typename Kind>
std::unique_ptr<LineBackEnd> Make() {
  return std::make_unique<Kind>();
}

}  // namespace

std::vector<NamedLineBackEnd> AllLineBackEnds() {
  return {{"Memory", Make<LinesInMemory>}, {"Posix", Make<LinesOnPosix>}};
}

}  // namespace mvsms
