// The C functions of the library over the engine's Sender. Each send makes a platform, an apartment
// and a Sender of its own, so that callers are bound to no thread and the timers that a connection
// leaves behind end with it. Texts change between UTF-8 and the ANSI code page here.
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <new>
#include <string>
#include <string_view>

#include "backends/posix/posix_platform.h"
#include "backends/posix/system/home.h"
#include "base/ansi.h"
#include "dispatch/outcome.h"
#include "dispatch/status_lines.h"
#include "engine/sender.h"
#include "include/mvsms/mvsms.h"
#include "media/apartment.h"

#define MVSMS_TEXT_OF(number) MVSMS_TEXT_OF_VALUE(number)
#define MVSMS_TEXT_OF_VALUE(number) #number
static_assert(std::string_view(MVSMS_VERSION) ==
                  MVSMS_TEXT_OF(MVSMS_VERSION_MAJOR) "." MVSMS_TEXT_OF(
                      MVSMS_VERSION_MINOR) "." MVSMS_TEXT_OF(MVSMS_VERSION_PATCH),
              "mvsms.h tells another version than the project");

/// What a caller holds: what it set, and how its latest send ended. All texts are UTF-8.
struct mvsms_sender {
  std::string home;
  std::string profile;
  std::string log;
  mvsms_status_handler on_status = nullptr;
  void* status_context = nullptr;
  mvsms_error_handler on_error = nullptr;
  void* error_context = nullptr;

  std::string recipient;
  std::string service;
  std::string error;
  std::string reason;
  std::string advice;

  std::atomic<bool> abort_asked = false;
  std::atomic<bool> sending = false;
};

namespace mvsms {
namespace {

constexpr std::uint32_t kWatchMs = 50;

std::string Text(const char* text) { return text == nullptr ? "" : text; }

/// What the caller asks to be sent, UTF-8.
struct Request {
  std::string recipient;
  std::string originator;
  std::string message;
  std::string service;
};

/// One send with everything that it makes and reports.
class Send {
 public:
  explicit Send(mvsms_sender& handle)
      : handle_(handle),
        platform_(
            posix::MakePosixPlatform(handle.home.empty() ? posix::DefaultHome() : handle.home)),
        apartment_(*platform_),
        sender_(apartment_) {
    sender_.HostAppName = AnsiFromUtf8(handle.profile);
    sender_.LogFilePath = AnsiFromUtf8(handle.log);
    sender_.OnStatusChange = [this](std::string& status) { TakeStatus(status); };
    sender_.OnError = [this](std::int32_t& number, std::string& description, std::string& source) {
      TakeError(number, description, source);
    };
  }

  mvsms_result Run(const Request& request) {
    std::string recipient = AnsiFromUtf8(request.recipient);
    std::string originator = AnsiFromUtf8(request.originator);
    std::string message = AnsiFromUtf8(request.message);
    std::string service = AnsiFromUtf8(request.service);
    platform_->timers().SetTimer(kWatchMs, [this](TimerId) { HeedAbort(); });
    sender_.SendMessage(recipient, originator, message, service);
    handle_.recipient = Utf8FromAnsi(recipient);
    handle_.service = Utf8FromAnsi(service);
    const dispatch::Judgement judgement = dispatch::Judge(sender_.Report());
    const bool accepted = judgement.outcome == dispatch::Outcome::kAccepted;
    handle_.reason = accepted ? "" : Utf8FromAnsi(judgement.reason);
    handle_.advice = accepted ? "" : Utf8FromAnsi(judgement.advice);
    return static_cast<mvsms_result>(judgement.exit_code);
  }

 private:
  void HeedAbort() {
    if (handle_.abort_asked.load()) sender_.AbortAction();
  }

  void TakeStatus(const std::string& status) {
    const auto added = status_.Next(sender_.Report(), status);
    if (!added) return;
    const std::string line = Utf8FromAnsi(added->substr(0, added->find_last_not_of("\r\n") + 1));
    if (handle_.on_status != nullptr) handle_.on_status(handle_.status_context, line.c_str());
    HeedAbort();
  }

  void TakeError(std::int32_t number, const std::string& description, const std::string& source) {
    handle_.error = Utf8FromAnsi(description);
    if (handle_.on_error != nullptr) {
      handle_.on_error(handle_.error_context, number, handle_.error.c_str(),
                       Utf8FromAnsi(source).c_str());
    }
    HeedAbort();
  }

  mvsms_sender& handle_;
  std::unique_ptr<Platform> platform_;
  Apartment apartment_;
  Sender sender_;
  dispatch::StatusLines status_;
};

/// Marks a sender as sending for as long as it lives, unless it already is.
class Sending {
 public:
  explicit Sending(mvsms_sender& handle)
      : handle_(handle), first_(!handle.sending.exchange(true)) {}
  ~Sending() {
    if (first_) handle_.sending = false;
  }
  Sending(const Sending&) = delete;
  Sending& operator=(const Sending&) = delete;
  bool first() const { return first_; }

 private:
  mvsms_sender& handle_;
  const bool first_;
};

mvsms_result Refuse(mvsms_sender& handle, const std::string& why) {
  handle.error = why;
  return MVSMS_MISUSE;
}

/// A name that lost a character on its way would be the name of something else.
mvsms_result RefuseLossOf(mvsms_sender& handle, const char* what) {
  return Refuse(handle, std::string(what) + " has characters outside Windows-1252");
}

mvsms_result SendChecked(mvsms_sender& handle, const Request& request) {
  if (!HasAnsiForm(handle.profile)) return RefuseLossOf(handle, "the profile's name");
  if (!HasAnsiForm(handle.log)) return RefuseLossOf(handle, "the log's path");
  if (!HasAnsiForm(request.service)) return RefuseLossOf(handle, "the service's name");
  if (request.originator.find('/') != std::string::npos) {
    return Refuse(handle,
                  "the originator must not contain \"/\", which divides the fields of a message");
  }
  if (handle.abort_asked) {
    handle.error = handle.reason = "the sender was aborted";
    return MVSMS_RETRY;
  }
  return Send(handle).Run(request);
}

}  // namespace
}  // namespace mvsms

const char* mvsms_version() { return MVSMS_VERSION; }

mvsms_sender* mvsms_new(const char* home, const char* profile) try {
  auto sender = std::make_unique<mvsms_sender>();
  sender->home = mvsms::Text(home);
  sender->profile = mvsms::Text(profile);
  return sender.release();
} catch (const std::bad_alloc&) {
  return nullptr;
}

void mvsms_free(mvsms_sender* sender) { delete sender; }

void mvsms_on_status(mvsms_sender* sender, mvsms_status_handler handler, void* context) {
  sender->on_status = handler;
  sender->status_context = context;
}

void mvsms_on_error(mvsms_sender* sender, mvsms_error_handler handler, void* context) {
  sender->on_error = handler;
  sender->error_context = context;
}

void mvsms_log_to(mvsms_sender* sender, const char* path) { sender->log = mvsms::Text(path); }

mvsms_result mvsms_send(mvsms_sender* sender, const char* recipient, const char* originator,
                        const char* message, const char* service) {
  if (sender == nullptr) return MVSMS_MISUSE;
  const mvsms::Sending sending(*sender);
  if (!sending.first()) return MVSMS_MISUSE;  // its texts are the other call's
  try {
    sender->recipient.clear();
    sender->service.clear();
    sender->error.clear();
    sender->reason.clear();
    sender->advice.clear();
    return mvsms::SendChecked(*sender, {mvsms::Text(recipient), mvsms::Text(originator),
                                        mvsms::Text(message), mvsms::Text(service)});
  } catch (const std::exception& error) {
    // The dialling itself throws nothing: the folder of the settings cannot be used.
    sender->error = sender->reason = mvsms::Utf8FromAnsi(error.what());
    return MVSMS_SETTINGS;
  }
}

void mvsms_abort(mvsms_sender* sender) { sender->abort_asked = true; }

const char* mvsms_recipient(const mvsms_sender* sender) { return sender->recipient.c_str(); }
const char* mvsms_service(const mvsms_sender* sender) { return sender->service.c_str(); }
const char* mvsms_reason(const mvsms_sender* sender) { return sender->reason.c_str(); }
const char* mvsms_advice(const mvsms_sender* sender) { return sender->advice.c_str(); }
const char* mvsms_error(const mvsms_sender* sender) { return sender->error.c_str(); }
