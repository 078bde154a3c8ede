// What all controls share.
#include "forms/control.h"

#include "base/raised_error.h"
#include "forms/form.h"

namespace mvsms {

Control::Control(Form& form, ControlType type, const Design& design)
    : Tag(design.tag),
      form_(form),
      type_(type),
      name_(design.name),
      container_(design.container),
      anchor_(design.anchor),
      place_(design.place) {
  form.Add(*this);
}

Control::~Control() { form_.Remove(*this); }

const std::string& Control::Caption() const { Unsupported("Caption"); }
void Control::SetCaption(const std::string&) { Unsupported("Caption"); }
const std::string& Control::ToolTipText() const { Unsupported("ToolTipText"); }
void Control::SetToolTipText(const std::string&) { Unsupported("ToolTipText"); }

void Control::SetVisible(bool visible) {
  visible_ = visible;
  Changed(Aspect::kState);
}

void Control::SetEnabled(bool enabled) {
  enabled_ = enabled;
  Changed(Aspect::kState);
}

void Control::Move(const Box& place) {
  place_ = place;
  Changed(Aspect::kPlace);
}

void Control::Changed(Aspect aspect) { form_.Changed(this, aspect); }

void Control::Unsupported(const char* property) const {
  throw RaisedError(kErrNoSuchProperty, name_,
                    "Object doesn't support this property or method: " + name_ + "." + property);
}

}  // namespace mvsms
