// Forms, message boxes and input boxes of Windows.
#include "backends/win32/backend.h"
#include "backends/win32/form_window.h"
#include "backends/win32/look.h"
#include "backends/win32/text.h"
#include "forms/localize.h"

namespace mvsms::win32 {
namespace {

constexpr char kComponentTitle[] = "mvSMS";

/// Asks for one line of text.
class InputForm final : public Form {
 public:
  InputForm(Platform& platform, const std::string& prompt, const std::string& title)
      : Form(platform, {.name = "InputForm", .width = 5700, .height = 1740}),
        lblPrompt(*this, {.name = "lblPrompt", .place = {180, 150, 5340, 480}}),
        txtAnswer(*this, {.name = "txtAnswer", .place = {180, 690, 5340, 315}}),
        cmdOK(*this, {.name = "cmdOK", .tag = "10", .place = {2880, 1200, 1260, 375}},
              CommandButton::Key::kEnter),
        cmdCancel(*this, {.name = "cmdCancel", .tag = "11", .place = {4260, 1200, 1260, 375}},
                  CommandButton::Key::kEscape) {
    SetCaption(title);
    lblPrompt.SetCaption(prompt);
    cmdOK.OnClick = [this] {
      answer = txtAnswer.Text();
      Unload();
    };
    cmdCancel.OnClick = [this] { Unload(); };
  }
  ~InputForm() override { Unload(); }

  std::string answer;

  Label lblPrompt;
  TextBox txtAnswer;
  CommandButton cmdOK, cmdCancel;

 private:
  void Form_Load() override { LocalizeForm(*this); }
};

class Win32Forms : public Forms {
 public:
  explicit Win32Forms(Platform& platform) : platform_(platform) {}

  std::unique_ptr<FormPeer> CreatePeer(Form& form) override {
    return std::make_unique<FormWindow>(form);
  }

  MsgBoxAnswer MsgBox(const std::string& text, std::uint32_t style,
                      const std::string& title) override {
    const CurrentLook look;
    const int answer = ::MessageBoxW(::GetActiveWindow(), WideFromAnsi(text).c_str(),
                                     WideFromAnsi(title.empty() ? kComponentTitle : title).c_str(),
                                     style | MB_TASKMODAL);
    return static_cast<MsgBoxAnswer>(answer);
  }

  WindowHandle ActiveWindow() override {
    return reinterpret_cast<WindowHandle>(::GetActiveWindow());
  }

  std::string InputBox(const std::string& prompt, const std::string& title) override {
    const auto form = std::make_shared<InputForm>(platform_, prompt, title);
    form->SetOwnerWindow(ActiveWindow());
    form->ShowModal();
    return form->answer;
  }

 private:
  Platform& platform_;
};

}  // namespace

std::unique_ptr<Forms> MakeForms(Platform& platform) {
  return std::make_unique<Win32Forms>(platform);
}

}  // namespace mvsms::win32
