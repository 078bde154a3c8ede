// See desktop.h.
#include "backends/memory/desktop.h"

#include <utility>

#include "base/raised_error.h"
#include "forms/form.h"

namespace mvsms::memory {
namespace {

class MemoryMailItem : public MailItem {
 public:
  explicit MemoryMailItem(Machine& machine) : machine_(machine) {}

  void SetRecipient(const std::string& address) override {
    Begin(machine_, "MailItem.SetRecipient");
    record_.recipient = address;
  }
  void SetSubject(const std::string& subject) override {
    Begin(machine_, "MailItem.SetSubject");
    record_.subject = subject;
  }
  void SetBody(const std::string& body) override {
    Begin(machine_, "MailItem.SetBody");
    record_.body = body;
  }
  void Display() override {
    Begin(machine_, "MailItem.Display");
    machine_.platform.mails.push_back(record_);
  }
  void Send() override {
    Begin(machine_, "MailItem.Send");
    record_.sent = true;
    machine_.platform.mails.push_back(record_);
  }

 private:
  Machine& machine_;
  MemoryPlatform::MailRecord record_;
};

class MemoryMailClient : public MailClient {
 public:
  explicit MemoryMailClient(Machine& machine) : machine_(machine) {}
  std::unique_ptr<MailItem> CreateItem() override {
    Begin(machine_, "MailClient.CreateItem");
    return std::make_unique<MemoryMailItem>(machine_);
  }

 private:
  Machine& machine_;
};

template <class Answer>
Answer TakeAnswer(std::deque<Answer>& answers, Answer fallback) {
  if (answers.empty()) return fallback;
  Answer answer = std::move(answers.front());
  answers.pop_front();
  return answer;
}

}  // namespace

std::int32_t MemoryShell::Execute(const std::string& verb, const std::string& file,
                                  const std::string& parameters, const std::string& folder,
                                  std::int32_t show) {
  if (machine_.Refuses("Shell.Execute")) return kRefusedByShell;
  machine_.platform.opened.push_back(verb + "|" + file + "|" + parameters + "|" + folder + "|" +
                                     std::to_string(show));
  return machine_.platform.shell_result;
}

std::unique_ptr<MailClient> MemoryMail::Start() {
  Begin(machine_, "Mail.Start");
  return std::make_unique<MemoryMailClient>(machine_);
}

class MemoryForms::Peer : public FormPeer {
 public:
  Peer(MemoryForms& forms, Form& form)
      : machine_(forms.machine_), forms_(forms), form_(form), window_(++forms.last_window_) {
    ++forms_.open_windows_;
  }
  ~Peer() override {
    --forms_.open_windows_;
    std::erase(forms_.active_, window_);
    Note("Close");
  }
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;

  void Show() override {
    Begin(machine_, "FormPeer.Show");
    Note("Show");
    Activate();
    form_.Paint();
  }
  void RunModal() override {
    Begin(machine_, "FormPeer.RunModal");
    Note("ShowModal");
    Activate();
    form_.Paint();
    if (const auto user = machine_.platform.on_modal) user(form_);
    if (form_.IsVisible()) form_.Close();
    if (form_.IsVisible()) form_.Unload();
  }
  void Hide() override {
    Note("Hide");
    std::erase(forms_.active_, window_);
  }
  void BringToFront() override { Note("BringToFront"); }
  void Changed(const Control*, Aspect) override {}
  WindowHandle Window() const override { return window_; }

 private:
  void Activate() {
    if (!form_.design().passive) forms_.active_.push_back(window_);
  }
  void Note(const std::string& what) {
    machine_.platform.shown.push_back(what + " " + form_.Name());
  }

  Machine& machine_;
  MemoryForms& forms_;
  Form& form_;
  WindowHandle window_;
};

std::unique_ptr<FormPeer> MemoryForms::CreatePeer(Form& form) {
  Begin(machine_, "Forms.CreatePeer");
  return std::make_unique<Peer>(*this, form);
}

MsgBoxAnswer MemoryForms::MsgBox(const std::string& text, std::uint32_t style,
                                 const std::string& title) {
  Begin(machine_, "Forms.MsgBox");
  machine_.platform.shown.push_back("MsgBox " + std::to_string(style) + " " + title + ": " + text);
  return TakeAnswer(machine_.platform.msgbox_answers, MsgBoxAnswer::kOk);
}

std::string MemoryForms::InputBox(const std::string& prompt, const std::string& title) {
  Begin(machine_, "Forms.InputBox");
  machine_.platform.shown.push_back("InputBox " + title + ": " + prompt);
  return TakeAnswer(machine_.platform.inputbox_answers, std::string());
}

}  // namespace mvsms::memory
