// The face of the library in C++17: one Sender sends one message at a time to one recipient. It is
// a few lines over the functions of mvsms.h, whose words on texts, threads and settings hold here;
// nothing of the standard library crosses into the shared library, so that any compiler can use it.
#pragma once

#include <mvsms/mvsms.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <new>
#include <string>

namespace mvsms {
// The name of a version of this face keeps its symbols apart from those of others.
inline namespace v1 {

enum class Result {
  kAccepted = MVSMS_ACCEPTED,
  kRefused = MVSMS_REFUSED,
  kMisuse = MVSMS_MISUSE,
  kUnusable = MVSMS_UNUSABLE,
  kRetry = MVSMS_RETRY,
  kUnknown = MVSMS_UNKNOWN,
  kSettings = MVSMS_SETTINGS
};

class Sender {
 public:
  /// `home` and `profile` as for mvsms_new. Throws std::bad_alloc.
  explicit Sender(const std::string& home = "", const std::string& profile = "")
      : sender_(mvsms_new(home.c_str(), profile.c_str())) {
    if (!sender_) throw std::bad_alloc();
    mvsms_on_status(sender_.get(), TakeStatus, this);
    mvsms_on_error(sender_.get(), TakeError, this);
  }
  Sender(const Sender&) = delete;
  Sender& operator=(const Sender&) = delete;

  /// Each line of progress, on the thread that sends. An exception that a handler throws ends with
  /// the handler: a program whose display fails must not lose its page.
  std::function<void(const std::string& line)> OnStatus;
  /// Each failure: number, description, source.
  std::function<void(std::int32_t number, const std::string& description,
                     const std::string& source)>
      OnError;

  /// See mvsms_log_to.
  void LogTo(const std::string& path) { mvsms_log_to(sender_.get(), path.c_str()); }

  /// See mvsms_send. Never throws for what happens on the line.
  Result Send(const std::string& recipient, const std::string& message,
              const std::string& originator = "", const std::string& service = "") {
    return static_cast<Result>(mvsms_send(sender_.get(), recipient.c_str(), originator.c_str(),
                                          message.c_str(), service.c_str()));
  }

  /// See mvsms_abort: from a handler or any other thread.
  void Abort() { mvsms_abort(sender_.get()); }

  /// How the latest send ended, see mvsms.h.
  std::string Recipient() const { return mvsms_recipient(sender_.get()); }
  std::string Service() const { return mvsms_service(sender_.get()); }
  std::string Reason() const { return mvsms_reason(sender_.get()); }
  std::string Advice() const { return mvsms_advice(sender_.get()); }
  std::string Error() const { return mvsms_error(sender_.get()); }

 private:
  struct Free {
    void operator()(mvsms_sender* sender) const { mvsms_free(sender); }
  };

  static void TakeStatus(void* self, const char* line) noexcept try {
    const auto& handler = static_cast<Sender*>(self)->OnStatus;
    if (handler) handler(line);
  } catch (...) {  // see OnStatus
  }

  static void TakeError(void* self, std::int32_t number, const char* description,
                        const char* source) noexcept try {
    const auto& handler = static_cast<Sender*>(self)->OnError;
    if (handler) handler(number, description, source);
  } catch (...) {  // see OnStatus
  }

  std::unique_ptr<mvsms_sender, Free> sender_;
};

}  // namespace v1
}  // namespace mvsms
