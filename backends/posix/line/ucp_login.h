// The login that centres on sockets want before the first message: UCP operation 60, a frame of its
// own on a line that is otherwise the sender's.
#pragma once

#include <stop_token>
#include <string>

#include "backends/posix/line/channel.h"
#include "platform/telephony.h"

namespace mvsms::posix {

/// A frame of an operation, number 00, whose fields each end with "/".
std::string UcpFrame(const std::string& operation, const std::string& fields);

/// The frame that opens a session of `user`.
std::string LoginFrame(const std::string& user, const std::string& password);

struct LoginResult {
  CallCause cause = CallCause::kNone;  // kNone: logged in; kDisconnectRejected: refused
  std::string words;                   // the centre's, of a refusal, ANSI
  std::string trouble;                 // a sentence without its subject, UTF-8
};

/// Logs in over `channel` and waits for the answer, some seconds at most, returning soon after
/// `stop`. What came behind the answer is left to be read.
LoginResult LogIn(Channel& channel, const std::string& user, const std::string& password,
                  const std::stop_token& stop);

/// The first line of a file of a password. False when it cannot be read or is empty; `problem` is
/// then a sentence that names it.
bool ReadPassword(const std::string& file, std::string& password, std::string& problem);

}  // namespace mvsms::posix
