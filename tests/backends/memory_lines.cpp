// Lines in memory, beside those of the system that the tests run on.
#include <chrono>

#include "backends/memory/memory_platform.h"
#include "tests/backends/contract_line.h"

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

}  // namespace

std::vector<NamedLineBackEnd> AllLineBackEnds() {
  return {
      {"Memory", [] { return std::unique_ptr<LineBackEnd>(std::make_unique<LinesInMemory>()); }},
      SystemLines()};
}

}  // namespace mvsms
