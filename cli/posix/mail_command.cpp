// mvsms mail: a mail becomes a page. It is what a mail system hands its mail to, so its exit codes
// are theirs, and whatever may pass by itself, or can be repaired, is "try again".
#include <exception>
#include <memory>
#include <utility>

#include "base/ansi.h"
#include "base/raised_error.h"
#include "cli/posix/doors.h"
#include "dispatch/outcome.h"

namespace mvsms::cli {
namespace {

constexpr int kExitTryAgain = static_cast<int>(dispatch::Exit::kRetry);

void Run(Context& context, MailOptions& options, const MailDoor& mail) try {
  mail(context, options);
} catch (const RaisedError& error) {
  context.Warn(Utf8FromAnsi(error.description()));
  context.exit_code = kExitTryAgain;
} catch (const std::exception& error) {
  context.Warn(error.what());
  context.exit_code = kExitTryAgain;
}

}  // namespace

void AddMailCommand(Command& app, Context& context, MailDoor mail) {
  auto options = std::make_shared<MailOptions>();
  Command* const command = AddCommand(
      app, context, "mail", "Queue the mail on standard input as a page",
      "  mvsms mail 01711234567@pager.example <mail\n"
      "  mvsms mail --template \"{{SUBJECT}}\" night@pager.example <mail\n"
      "In Postfix's master.cf, for whole domains (transport_maps: pager.example  pager):\n"
      "  pager unix - n n - 1 pipe user=mvsms argv=/usr/bin/mvsms mail --quiet ${recipient}\n"
      "What stands before the @ is a number, or the name of a group. Of the mail the page has the\n"
      "subject and the plain text, or what --template makes of {{SUBJECT}}, {{TEXT}}, {{FROM}}.\n"
      "The same mail again is the same page.\n"
      "Exit code, as mail systems have them: 0 in the queue; 75 the queue or the settings cannot "
      "be\n"
      "used, try again; 67 neither a number nor a group; 65 the text cannot be sent.");
  command->AddOption("ADDRESS", options->recipients, "The recipients, from the envelope")
      ->Required();
  command->AddOption("--template", options->text_template, "The text of the page");
  command->AddOption("--service", options->send.service,
                     "Message centre (default: by the routes, else DefaultService)");
  command->AddOption("--priority", options->queue.priority, "0, the most urgent, to 9 (default: 5)")
      ->TypeName("0-9");
  command->AddOption("--expires", options->queue.expires, "It is not sent after so many minutes")
      ->TypeName("MINUTES");
  command->AddFlag("-q,--quiet", options->send.quiet, "Print no ids");
  command->Callback([&context, options, mail = std::move(mail)] { Run(context, *options, mail); });
}

}  // namespace mvsms::cli
