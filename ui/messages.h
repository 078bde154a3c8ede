// What the dialogs tell the user of a failure, and the files and pages that they open.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>

#include "forms/controls.h"
#include "platform/platform.h"

namespace mvsms {

/// Tells the user of a failure that a procedure foresaw: heading, description, number and
/// procedure.
void ShowError(Platform& platform, std::int32_t number, const std::string& description,
               const std::string& procedure);

/// A text that the string table does not have, in the user's language.
struct Wording {
  const char* english;
  const char* german;  // both in UTF-8
};
std::string TextOf(Locale& locale, const Wording& wording);

/// What a control's caption does not say by itself, for its tool tip.
struct Tip {
  VisibleControl& control;
  Wording wording;
};
void ShowTips(Locale& locale, std::initializer_list<Tip> tips);

namespace basCommon {

/// Asks the shell to open a document with its own program. A result above 32 is success.
std::int32_t OpenDocument(Shell& shell, const std::string& path);
/// What a user is told about any other result of OpenDocument.
std::string OpenDocumentError(std::int32_t result);

}  // namespace basCommon
}  // namespace mvsms
