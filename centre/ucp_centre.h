// The answering side of EMI/UCP: operations 01, 30, 31, 51 and 60, each answered in its own shape,
// with the public error codes; and operation 53, by which it tells who asked for it what became of
// a message, while the call lasts. Stateless from frame to frame but for the login and for the
// notifications that are still to be answered.
#pragma once

#include <map>
#include <string>
#include <string_view>

#include "centre/deadline.h"
#include "centre/desk.h"
#include "centre/line.h"
#include "centre/ucp_frame.h"

namespace mvsms::centre {

/// The meaning of a UCP error code; empty for a code without one.
std::string_view UcpErrorText(int code);

class UcpCentre : public Answerer {
 public:
  /// `desk` outlives the call.
  explicit UcpCentre(Desk& desk);
  void Connected(Line& line) override;
  void Received(std::string_view bytes) override;
  void HungUp() override;

 private:
  /// Where the fields of an operation stand; -1: it has no such field.
  struct Operation {
    std::string_view code;
    std::size_t fields;
    int recipient, originator, type, message;
    std::size_t result_fields;
  };
  struct Verdict {
    int error = 0;  // 0: accepted
    std::string text;
  };
  static const Operation kOperations[];
  static const Operation* Find(std::string_view code);

  void On(const std::string& raw);
  void TakeResult(const UcpFrame& frame, const std::string& raw);
  Request Read(const UcpFrame& frame) const;
  void ReadMessage(const UcpFrame& frame, const Operation& operation, Request& request) const;
  static std::string ReadOriginator(const UcpFrame& frame, const Operation& operation);
  Verdict Judge(const UcpFrame& frame, const Request& request);
  Verdict JudgeLogin(const UcpFrame& frame);
  Verdict JudgeMessage(const Request& request);
  std::string SystemMessage(std::string_view recipient);
  std::string Result(const UcpFrame& frame, const Verdict& verdict);
  void PromiseNotification(const UcpFrame& frame);
  void Notify(const UcpFrame& submitted, Millis submitted_at);
  void GiveUpNotifications();
  bool FallsSilent(const UcpFrame& frame);
  void WatchSilence();

  Desk& desk_;
  const Settings& settings_;
  Line* line_ = nullptr;  // null: not connected, hung up, or silent for good
  UcpReader reader_;
  Deadline silence_;
  bool logged_in_ = false;
  int next_trn_ = 0;                           // of the centre's own operations
  std::map<std::string, Request> unanswered_;  // notifications, by their TRN
};

}  // namespace mvsms::centre
