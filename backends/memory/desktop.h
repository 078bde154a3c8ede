// The desktop of a machine in memory: a shell, a mail program and windows that nobody sees. The
// test is their user.
#pragma once

#include "backends/memory/machine.h"

namespace mvsms::memory {

class MemoryShell : public Shell {
 public:
  explicit MemoryShell(Machine& machine) : machine_(machine) {}
  std::int32_t Execute(const std::string& verb, const std::string& file,
                       const std::string& parameters, const std::string& folder,
                       std::int32_t show) override;

 private:
  Machine& machine_;
};

class MemoryMail : public Mail {
 public:
  explicit MemoryMail(Machine& machine) : machine_(machine) {}
  std::unique_ptr<MailClient> Start() override;

 private:
  Machine& machine_;
};

class MemoryForms : public Forms {
 public:
  explicit MemoryForms(Machine& machine) : machine_(machine) {}
  std::unique_ptr<FormPeer> CreatePeer(Form& form) override;
  MsgBoxAnswer MsgBox(const std::string& text, std::uint32_t style,
                      const std::string& title) override;
  WindowHandle ActiveWindow() override { return active_.empty() ? kNoWindow : active_.back(); }
  std::string InputBox(const std::string& prompt, const std::string& title) override;

  std::size_t open_windows() const { return open_windows_; }

 private:
  class Peer;

  Machine& machine_;
  std::size_t open_windows_ = 0;
  WindowHandle last_window_ = 0;
  std::vector<WindowHandle> active_;  // windows that are shown, the one in front last
};

}  // namespace mvsms::memory
