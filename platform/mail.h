// Composing a mail with the user's own mail program: its automation object where the desktop has
// one, a mail transport elsewhere.
//
// Errors: an operation that fails throws RaisedError.
#pragma once

#include <memory>
#include <string>

namespace mvsms {

/// A mail that is being written. Destroying it discards the mail, unless that was displayed or
/// sent.
class MailItem {
 public:
  virtual ~MailItem() = default;
  virtual void SetRecipient(const std::string& address) = 0;
  virtual void SetSubject(const std::string& subject) = 0;
  virtual void SetBody(const std::string& body) = 0;
  /// Opens the mail on the screen, for the user to complete and send.
  virtual void Display() = 0;
  /// Sends it as it is.
  virtual void Send() = 0;
};

/// The mail program, in use until this object is destroyed.
class MailClient {
 public:
  virtual ~MailClient() = default;
  /// A new, empty mail.
  virtual std::unique_ptr<MailItem> CreateItem() = 0;
};

class Mail {
 public:
  virtual ~Mail() = default;
  /// Starts the mail program. Throws when there is none.
  virtual std::unique_ptr<MailClient> Start() = 0;
};

}  // namespace mvsms
