// See mail.h.
#include "cli/gateway/mail.h"

#include <algorithm>
#include <iterator>
#include <string>

#include "base/ansi.h"
#include "base/texts.h"
#include "cli/store.h"
#include "cli/system.h"
#include "dispatch/outcome.h"
#include "gateway/groups.h"

namespace mvsms::cli {
namespace {

constexpr int kExitNoRecipient = 67;  // what mail systems call an unknown user
constexpr int kExitTryAgain = static_cast<int>(dispatch::Exit::kRetry);
constexpr int kExitSettings = static_cast<int>(dispatch::Exit::kSettings);

/// Whom an address means: "0171123@pager.example" a number, "night@pager.example" a group. Empty
/// when it is neither.
std::string RecipientOf(ProfileStore& store, const std::string& address) {
  std::string user = address.substr(0, address.rfind('@'));
  const std::string digits = user.starts_with('+') ? user.substr(1) : user;
  if (!digits.empty() && AllDigits(digits)) return user;
  const bool is_group = HasAnsiForm(user) && !user.empty() && user.find('\\') == user.npos &&
                        store.Exists(store.Group(AnsiFromUtf8(user)));
  return is_group ? gateway::kGroupMark + user : "";
}

void PageTo(Context& context, const MailOptions& options, const gateway::Mail& mail,
            const std::string& bytes, const std::string& address) {
  ProfileStore store = ExistingProfile(context);
  const std::string to = RecipientOf(store, address);
  if (to.empty()) {
    context.Warn("\"" + Printable(address) + "\" is neither a number nor a group");
    context.exit_code = std::max(context.exit_code, kExitNoRecipient);
    return;
  }
  QueueOptions queue = options.queue;
  for (const std::string& number : RecipientsOf(context, to)) {
    queue.id = gateway::PageIdOf(mail, bytes, number);
    QueuePages(context, {number}, options.send, queue);
  }
}

}  // namespace

// A mail to several: when one of them is to be tried again, so is the mail, and the others' pages
// are known by their ids then. Settings can be repaired while the mail waits.
void PageMail(Context& context, MailOptions& options) {
  const std::string bytes{std::istreambuf_iterator<char>(context.in), {}};
  const gateway::Mail mail = gateway::ReadMail(bytes);
  options.send.text = gateway::PageText(mail, options.text_template);
  options.send.fit = true;
  if (options.send.text.empty()) options.send.text = "(a mail without text)";
  int worst = kExitAccepted;
  for (const std::string& address : options.recipients) {
    context.exit_code = kExitAccepted;
    PageTo(context, options, mail, bytes, address);
    if (context.exit_code == kExitSettings) context.exit_code = kExitTryAgain;
    worst = std::max(worst, context.exit_code);
  }
  context.exit_code = worst;
}

}  // namespace mvsms::cli
