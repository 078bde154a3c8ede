// The desktop of Linux as far as mvSMS needs one: documents and mails go to the programs that the
// system has for them. There are no windows: the dialogs belong to the Windows component, and the
// command does their work here.
#include <fcntl.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <string_view>
#include <vector>

#include "backends/posix/system/backend.h"
#include "backends/posix/system/unique_fd.h"
#include "base/ansi.h"
#include "base/raised_error.h"
#include "platform/win32_codes.h"

extern char** environ;

namespace mvsms::posix {
namespace {

constexpr std::int32_t kShellFileNotFound = 2;
constexpr std::int32_t kShellNoAssociation = 31;
constexpr std::int32_t kErrNoMail = 429;  // no such automation object

/// Runs a program with `input` as its standard input and waits for it. Its exit status, or -1 when
/// it could not be started.
int Run(const std::vector<std::string>& command, std::string_view input) {
  // Not a pipe: writing to one that nobody reads any more ends the process.
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) return -1;
  UniqueFd read_end(ends[0]);
  UniqueFd write_end(ends[1]);

  std::vector<char*> arguments;
  arguments.reserve(command.size() + 1);
  for (const std::string& argument : command) {
    arguments.push_back(const_cast<char*>(argument.c_str()));
  }
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, read_end.get(), STDIN_FILENO);
  pid_t child = 0;
  const int error =
      posix_spawnp(&child, arguments[0], &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (error != 0) return -1;

  read_end.Reset();
  while (!input.empty()) {
    const ssize_t written = send(write_end.get(), input.data(), input.size(), MSG_NOSIGNAL);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) break;  // the program does not want it all
    input.remove_prefix(static_cast<std::size_t>(written));
  }
  write_end.Reset();
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

bool IsAddress(const std::string& file) { return file.find("://") != std::string::npos; }

class PosixShell : public Shell {
 public:
  std::int32_t Execute(const std::string&, const std::string& file, const std::string&,
                       const std::string&, std::int32_t) override {
    const std::string path = Utf8FromAnsi(file);
    struct stat info = {};
    if (!IsAddress(path) && stat(path.c_str(), &info) != 0) return kShellFileNotFound;
    return Run({"xdg-open", path}, "") == 0 ? kShellSuccess : kShellNoAssociation;
  }
};

/// A header line of a mail must stay one line.
std::string HeaderText(const std::string& ansi) {
  std::string text = Utf8FromAnsi(ansi);
  std::replace_if(
      text.begin(), text.end(), [](char sign) { return sign == '\r' || sign == '\n'; }, ' ');
  return text;
}

class PosixMailItem : public MailItem {
 public:
  void SetRecipient(const std::string& address) override { recipient_ = HeaderText(address); }
  void SetSubject(const std::string& subject) override { subject_ = HeaderText(subject); }
  void SetBody(const std::string& body) override { body_ = Utf8FromAnsi(body); }
  void Display() override {
    if (Run({"xdg-email", "--utf8", "--subject", subject_, "--body", body_, recipient_}, "") != 0) {
      throw RaisedError(kErrNoMail, "MailItem.Display", "The mail program could not be started");
    }
  }
  void Send() override {
    const std::string mail = "To: " + recipient_ + "\nSubject: " + subject_ +
                             "\nContent-Type: text/plain; charset=utf-8\n\n" + WithoutReturns();
    if (Run({"sendmail", "-i", "-t"}, mail) != 0) {
      throw RaisedError(kErrNoMail, "MailItem.Send", "The mail could not be handed to sendmail");
    }
  }

 private:
  std::string WithoutReturns() const {
    std::string text = body_;
    std::erase(text, '\r');
    return text;
  }

  std::string recipient_, subject_, body_;
};

class PosixMailClient : public MailClient {
 public:
  std::unique_ptr<MailItem> CreateItem() override { return std::make_unique<PosixMailItem>(); }
};

class PosixMail : public Mail {
 public:
  std::unique_ptr<MailClient> Start() override {
    if (!OnPath("sendmail") && !OnPath("xdg-email")) {
      throw RaisedError(kErrNoMail, "Mail.Start", "There is neither sendmail nor xdg-email");
    }
    return std::make_unique<PosixMailClient>();
  }

 private:
  static bool OnPath(const std::string& program) {
    const char* value = std::getenv("PATH");
    std::string_view rest = value != nullptr ? value : "";
    while (!rest.empty()) {
      const std::size_t end = std::min(rest.find(':'), rest.size());
      const std::string path = std::string(rest.substr(0, end)) + "/" + program;
      if (access(path.c_str(), X_OK) == 0) return true;
      rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return false;
  }
};

class NoForms : public Forms {
 public:
  std::unique_ptr<FormPeer> CreatePeer(Form&) override { Refuse(); }
  MsgBoxAnswer MsgBox(const std::string&, std::uint32_t, const std::string&) override { Refuse(); }
  WindowHandle ActiveWindow() override { return kNoWindow; }
  std::string InputBox(const std::string&, const std::string&) override { Refuse(); }

 private:
  [[noreturn]] static void Refuse() {
    throw RaisedError(kErrorInvalidWindowHandle, "Forms", "There are no windows on this system");
  }
};

}  // namespace

std::unique_ptr<Shell> MakeShell() { return std::make_unique<PosixShell>(); }
std::unique_ptr<Mail> MakeMail() { return std::make_unique<PosixMail>(); }
std::unique_ptr<Forms> MakeForms() { return std::make_unique<NoForms>(); }

}  // namespace mvsms::posix
