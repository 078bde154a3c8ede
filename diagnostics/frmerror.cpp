// Texts and layout of the error report, and the mail that it can become. The misspelt texts are the
// ones that users and support know.
#include "diagnostics/frmerror.h"

#include <memory>

#include "base/ansi.h"
#include "diagnostics/procedure.h"
#include "engine/profile.h"
#include "resources/string_table.h"

namespace mvsms {
namespace {

constexpr int kWidth = 7200;
constexpr int kExplanation = 1560;  // its height for the longest text
constexpr int kButtons = 2100;      // top of their row below that
constexpr int kCompactHeight = kButtons + 540;
constexpr int kExpandedHeight = kButtons + 3480;

/// The dialog's texts in one language, in UTF-8.
struct Texts {
  const char* title;
  const char* explanation;
  const char* send;
  const char* ignore;
  const char* retry;
  const char* cancel;
  const char* error_message;
  const char* module_function;
  const char* version;
  const char* os_version;
  const char* no_mail_client;
  const char* sent;
  const char* review;
  int explanation_height;
};

constexpr Texts kEnglish = {
    " An Error Has Occured",
    "An error has occured during execution of a function. Usually the application can "
    "continue to run. You can stop execution of the current action by pressing 'Cancel' "
    "or you can retry. To prevent this error-message in the future please press 'Send' first to "
    "send us the error-description and some version-information via e-mail.",
    "Send",
    "Ignore",
    "Retry",
    "Cancel",
    "Error-Message:",
    "Module, Function:",
    "Version:",
    "OS-Version:",
    "Failed to send Error-Report. Could not start Outlook.",
    "Message was sent successfully!",
    "Do you want to review or comment the Error-Report?",
    1080,
};

constexpr Texts kGerman = {
    " Ein Fehler ist aufgetreten",
    "Beim Ausführen eines Befehls ist ein Fehler aufgetreten. In der Regel kann jedoch "
    "mit der Ausführung des Programms fortgefahren werden. Sie können die aktuelle "
    "Aktion abbrechen, oder versuchen, die Ausführung zu wiederholen. Um den Fehler "
    "in Zukunft zu vermeiden, sind wir auf Ihre Mithilfe angewiesen: Bitte wählen Sie "
    "die Schaltfläche 'Senden', um uns die Fehlermeldung und einige Informationen über "
    "Ihre Programmversion per E-Mail zuzusenden bevor Sie fortfahren.",
    "Senden",
    "Ignorieren",
    "Wiederholen",
    "Abbrechen",
    "Fehler-Meldung:",
    "Modul, Funktion:",
    "Version:",
    "Win-Version:",
    "Fehler beim Senden des Fehler-Berichts. Konnt Outlook nicht starten.",
    "Die Nachricht wurde erfolgreich gesendet!",
    "Möchten Sie dem Fehlerbericht noch einen Kommentar hinzufügen?",
    kExplanation,
};

/// The texts in the user's language; in any other than these two, those that the dialog was
/// designed with, which are the English ones.
const Texts& TextsFor(Locale& locale) {
  return LoadResString(locale, string_id::kLanguageCode) == "DE" ? kGerman : kEnglish;
}

constexpr TextBox::Style kField = {.locked = true};
constexpr TextBox::Style kLongField = {.multi_line = true, .locked = true};

constexpr std::uint32_t kAny = 0xFFFFFFFF;

struct VersionName {
  std::uint32_t platform, major, minor;
  const char* name;
};

/// The first row that matches counts.
constexpr VersionName kVersionNames[] = {
    {0, kAny, kAny, "32s"},  //
    {1, kAny, 0, "95"},      //
    {1, kAny, 90, "ME"},     //
    {1, kAny, kAny, "98"},   //
    {2, 3, 0, "NT3"},        //
    {2, 3, 1, "NT3.1"},      //
    {2, 3, 5, "NT3.5"},      //
    {2, 3, 51, "NT3.51"},    //
    {2, 4, kAny, "NT 4"},    //
    {2, 5, 0, "Win2000"},    //
    {2, 5, 1, "WinXP"},
};

bool Matches(std::uint32_t pattern, std::uint32_t value) {
  return pattern == kAny || pattern == value;
}

const char* NameOf(const OsVersion& version) {
  for (const VersionName& row : kVersionNames) {
    if (Matches(row.platform, version.platform) && Matches(row.major, version.major) &&
        Matches(row.minor, version.minor)) {
      return row.name;
    }
  }
  return "";
}

}  // namespace

std::string GetWinVer(Locale& locale) {
  OsVersion version;
  if (!locale.GetOsVersion(version)) return "";
  return NameOf(version) + (" Build:" + std::to_string(version.build)) + " " +
         version.service_pack.substr(0, version.service_pack.find('\0'));
}

frmError::frmError(Platform& platform, const ErrorDetails& details)
    : Form(platform, {.name = "frmError", .width = kWidth, .height = kCompactHeight}),
      lblComponent(*this, {.name = "lblComponent", .place = {180, 120, 6840, 240}}),
      lblExplanation(*this, {.name = "lblExplanation", .place = {180, 420, 6840, kExplanation}}),
      cmdRetry(*this, {.name = "cmdRetry", .place = {180, kButtons, 1260, 375}},
               CommandButton::Key::kEnter),
      cmdIgnore(*this, {.name = "cmdIgnore", .place = {1560, kButtons, 1260, 375}}),
      cmdCancel(*this, {.name = "cmdCancel", .place = {2940, kButtons, 1260, 375}},
                CommandButton::Key::kEscape),
      cmdSend(*this, {.name = "cmdSend", .place = {4380, kButtons, 1260, 375}}),
      cmdDetails(*this, {.name = "cmdDetails", .place = {5760, kButtons, 1260, 375}}),
      lblMessage(*this, {.name = "lblMessage", .place = {180, kButtons + 600, 1740, 240}}),
      txtMessage(*this, {.name = "txtMessage", .place = {1980, kButtons + 600, 5040, 1320}},
                 kLongField),
      lblModule(*this, {.name = "lblModule", .place = {180, kButtons + 2040, 1740, 240}}),
      txtModule(*this, {.name = "txtModule", .place = {1980, kButtons + 2010, 5040, 315}}, kField),
      lblVersion(*this, {.name = "lblVersion", .place = {180, kButtons + 2460, 1740, 240}}),
      txtVersion(*this, {.name = "txtVersion", .place = {1980, kButtons + 2430, 5040, 315}},
                 kField),
      lblOsVersion(*this, {.name = "lblOsVersion", .place = {180, kButtons + 2880, 1740, 240}}),
      txtOsVersion(*this, {.name = "txtOsVersion", .place = {1980, kButtons + 2850, 5040, 315}},
                   kField),
      details_(details) {
  cmdRetry.OnClick = [this] { Give(kRetry); };
  cmdIgnore.OnClick = [this] { Give(kIgnore); };
  cmdCancel.OnClick = [this] { Give(kAbort); };
  cmdSend.OnClick = [this] { ResumeNext([this] { cmdSend_Click(); }); };
  cmdDetails.OnClick = [this] { ShowDetails(!expanded_); };
}

void frmError::Form_Load() {
  const Texts& texts = TextsFor(platform().locale());
  SetCaption(AnsiFromUtf8(texts.title));
  const std::pair<Control*, const char*> captions[] = {
      {&lblExplanation, texts.explanation}, {&cmdSend, texts.send},
      {&cmdIgnore, texts.ignore},           {&cmdRetry, texts.retry},
      {&cmdCancel, texts.cancel},           {&lblMessage, texts.error_message},
      {&lblModule, texts.module_function},  {&lblVersion, texts.version},
      {&lblOsVersion, texts.os_version},
  };
  for (const auto& [control, caption] : captions) control->SetCaption(AnsiFromUtf8(caption));
  MakeRoom(texts.explanation_height);
  lblComponent.SetCaption(platform().locale().ComponentName());
  Init();
  ShowDetails(false);
}

/// What stands below the explanation follows it.
void frmError::MakeRoom(int explanation_height) {
  const int further = explanation_height - lblExplanation.Place().height;
  for (Control* control : Controls()) {
    Box place = control->Place();
    if (control == &lblExplanation) {
      place.height += further;
    } else if (control != &lblComponent) {
      place.top += further;
    }
    control->Move(place);
  }
}

void frmError::Init() {
  txtMessage.SetText(details_.ErrDescription +
                     "\r\nErrNumber: " + std::to_string(details_.ErrNumber) +
                     "\r\nErrLine: " + std::to_string(details_.LineNumber));
  txtModule.SetText(details_.ModuleName + " - " + details_.ProcedureName);
  txtVersion.SetText(platform().locale().ComponentVersion());
  txtOsVersion.SetText(GetWinVer(platform().locale()));
}

void frmError::ShowDetails(bool expanded) {
  expanded_ = expanded;
  cmdDetails.SetCaption(expanded ? "Details <<" : "Details >>");
  Control* const details[] = {&lblMessage, &lblModule, &lblVersion, &lblOsVersion,
                              &txtMessage, &txtModule, &txtVersion, &txtOsVersion};
  for (Control* control : details) control->SetVisible(expanded);
  SetSize(kWidth, (expanded ? kExpandedHeight : kCompactHeight) - kExplanation +
                      lblExplanation.Place().height);
}

void frmError::Give(const char* answer) {
  answer_ = answer;
  Unload();
}

std::string frmError::Report() const {
  const std::string end = "\r\n";
  return "Error occured at: " + Timestamp(platform().clock().LocalTime()) + end +  //
         "Component: \t" + lblComponent.Caption() + end +                          //
         "Version:   \t" + txtVersion.Text() + end +                               //
         "Modul:     \t" + txtModule.Text() + end +                                //
         "OS-VErsion:\t" + txtOsVersion.Text() + end + end +                       //
         "Error:     \t" + txtMessage.Text() + end + end +                         //
         "Comments:  " + end;
}

/// Errors while the mail is composed are not reported in turn: the dialog already reports another
/// one.
void frmError::cmdSend_Click() {
  std::unique_ptr<MailClient> client;
  try {
    client = platform().mail().Start();
  } catch (const std::exception&) {
    platform().forms().MsgBox(AnsiFromUtf8(TextsFor(platform().locale()).no_mail_client),
                              msgbox::kExclamation, platform().locale().HostTitle());
    return;
  }
  Compose(*client);
}

void frmError::Compose(MailClient& client) {
  const Texts& texts = TextsFor(platform().locale());
  const std::string title = platform().locale().HostTitle();
  const auto item = client.CreateItem();
  item->SetRecipient(ToText(RootKey(platform().registry()).Get(setting::kSupportMailbox)));
  item->SetSubject(title + " Error-Report: " + txtMessage.Text());
  item->SetBody(Report());
  const MsgBoxAnswer review = platform().forms().MsgBox(
      AnsiFromUtf8(texts.review), msgbox::kYesNoCancel + msgbox::kQuestion, title);
  if (review == MsgBoxAnswer::kYes) {
    item->Display();
  } else if (review == MsgBoxAnswer::kNo) {
    item->Send();
    platform().forms().MsgBox(AnsiFromUtf8(texts.sent), msgbox::kOkOnly, title);
  }
}

}  // namespace mvsms
