// The life of a form, and where its controls go when it grows.
#include "forms/form.h"

#include <algorithm>
#include <utility>

namespace mvsms {
namespace {

/// Where a control goes when its container grows.
Box Anchored(Box place, unsigned anchor, int wider, int higher) {
  if (anchor & kAnchorRight) (anchor & kAnchorLeft ? place.width : place.left) += wider;
  if (anchor & kAnchorBottom) (anchor & kAnchorTop ? place.height : place.top) += higher;
  return place;
}

}  // namespace

Form::Form(Platform& platform, const FormDesign& design)
    : Tag(design.tag),
      platform_(platform),
      design_(design),
      name_(design.name),
      caption_(design.caption),
      width_(design.width),
      height_(design.height) {}

Form::~Form() = default;

void Form::SetCaption(const std::string& caption) {
  caption_ = caption;
  Changed(nullptr, Aspect::kText);
}

void Form::SetSize(int width, int height) {
  Resize(width, height);
  Changed(nullptr, Aspect::kPlace);
}

void Form::Load() {
  if (std::exchange(loaded_, true)) return;
  Form_Load();
}

std::shared_ptr<FormPeer> Form::Peer(Form* owner) {
  if (owner != nullptr) owner_window_ = owner->Window();
  if (!peer_) peer_ = platform_.forms().CreatePeer(*this);
  return peer_;
}

void Form::Show(Form* owner) {
  Load();
  const auto peer = Peer(owner);
  visible_ = true;
  peer->Show();
}

void Form::ShowModal(Form* owner) {
  const auto alive = weak_from_this().lock();
  Load();
  const auto peer = Peer(owner);
  visible_ = true;
  peer->RunModal();
}

void Form::Hide() {
  visible_ = false;
  if (const auto peer = peer_) peer->Hide();
}

void Form::Unload() {
  const auto alive = weak_from_this().lock();
  if (!std::exchange(loaded_, false)) return;
  Form_Unload();
  const auto peer = std::exchange(peer_, nullptr);
  if (std::exchange(visible_, false) && peer) peer->Hide();
  for (Control* control : controls_) {
    if (control->Type() == ControlType::kTimer) static_cast<Timer*>(control)->SetEnabled(false);
  }
}

void Form::Close() {
  for (Control* control : controls_) {
    if (control->Type() != ControlType::kCommandButton) continue;
    auto* button = static_cast<CommandButton*>(control);
    if (button->key() != CommandButton::Key::kEscape) continue;
    if (button->Enabled()) button->Click();
    return;
  }
  Unload();
}

WindowHandle Form::Window() const { return peer_ ? peer_->Window() : kNoWindow; }

void Form::BringToFront() {
  if (const auto peer = peer_) peer->BringToFront();
}

bool Form::TurnPage(int step) {
  for (Control* control : controls_) {
    if (control->Type() != ControlType::kTabStrip) continue;
    auto* const tabs = static_cast<TabStrip*>(control);
    const int count = static_cast<int>(tabs->Tabs().size());
    if (count < 2) continue;
    tabs->Select((tabs->SelectedIndex() - 1 + step + count) % count + 1);
    return true;
  }
  return false;
}

void Form::Changed(const Control* control, Aspect aspect) {
  if (const auto peer = peer_) peer->Changed(control, aspect);
}

void Form::Resize(int width, int height) {
  const int wider = width - std::exchange(width_, width);
  const int higher = height - std::exchange(height_, height);
  for (Control* control : controls_) {
    if (control->Anchors() == kAnchorTopLeft) continue;
    control->Move(Anchored(control->Place(), control->Anchors(), wider, higher));
  }
  Form_Resize();
}

}  // namespace mvsms
