// The wording of the local error message and of the shell's answers.
#include "ui/messages.h"

#include "base/ansi.h"
#include "resources/string_table.h"

namespace mvsms {

void ShowError(Platform& platform, std::int32_t number, const std::string& description,
               const std::string& procedure) {
  platform.forms().MsgBox(LoadResString(platform.locale(), string_id::kErrorOccurred) + " " +
                              description + " (" + std::to_string(number) +
                              ")\r\n\r\nProc: " + procedure,
                          msgbox::kExclamation, "");
}

std::string TextOf(Locale& locale, const Wording& wording) {
  const bool german = LoadResString(locale, string_id::kLanguageCode) == "DE";
  return AnsiFromUtf8(german ? wording.german : wording.english);
}

void ShowTips(Locale& locale, std::initializer_list<Tip> tips) {
  for (const Tip& tip : tips) tip.control.SetToolTipText(TextOf(locale, tip.wording));
}

namespace basCommon {
namespace {

struct ShellError {
  std::int32_t code;  // shellapi.h SE_ERR_*
  const char* text;
};
constexpr ShellError kShellErrors[] = {
    {2, "The file does not exist!"},
    {3, "Path not found"},
    {5, "Access denied"},
    {8, "Out of memory"},
    {11, "Invalid EXE file or error in EXE image"},
    {26, "A sharing violation occurred"},
    {27, "Incomplete or invalid file association"},
    {28, "DDE Time out"},
    {29, "DDE transaction failed"},
    {30, "DDE busy"},
    {31, "No association for file extension"},
    {32, "DLL not found"},
};

}  // namespace

std::int32_t OpenDocument(Shell& shell, const std::string& path) {
  return shell.Execute("Open", path, "", "C:\\", kShowNormal);
}

std::string OpenDocumentError(std::int32_t result) {
  for (const ShellError& error : kShellErrors) {
    if (error.code == result) return error.text;
  }
  return "Unknown error (hr=" + std::to_string(result) + ")";
}

}  // namespace basCommon
}  // namespace mvsms
