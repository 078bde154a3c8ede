// What the dialogs tell the user of a failure, and the files and pages that they open.
#pragma once

#include <cstdint>
#include <string>

#include "platform/platform.h"

namespace mvsms {

/// Tells the user of a failure that a procedure foresaw: heading, description, number and
/// procedure.
void ShowError(Platform& platform, std::int32_t number, const std::string& description,
               const std::string& procedure);

namespace basCommon {

/// Asks the shell to open a document with its own program. A result above 32 is success.
std::int32_t OpenDocument(Shell& shell, const std::string& path);
/// What a user is told about any other result of OpenDocument.
std::string OpenDocumentError(std::int32_t result);

}  // namespace basCommon
}  // namespace mvsms
