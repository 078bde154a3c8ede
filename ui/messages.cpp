// The wording of the local error message.
#include "ui/messages.h"

#include "resources/string_table.h"

namespace mvsms {

void ShowError(Platform& platform, std::int32_t number, const std::string& description,
               const std::string& procedure) {
  platform.forms().MsgBox(LoadResString(platform.locale(), string_id::kErrorOccurred) + " " +
                              description + " (" + std::to_string(number) +
                              ")\r\n\r\nProc: " + procedure,
                          msgbox::kExclamation, "");
}

}  // namespace mvsms
