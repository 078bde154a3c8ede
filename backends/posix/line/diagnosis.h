// What is wrong with a line, told from what was seen of it: a table of causes, each with what shows
// it, the sentence, and the setting that cures it. Nothing here touches a line.
//
// A setting is proved when the line was seen to work with it: then it stands in Seen::way, and the
// cure is the difference between that and what is stored. Anything else is advice, in words.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "backends/posix/line/heard.h"
#include "backends/posix/store/line_store.h"

namespace mvsms::posix {

/// The prompt of TAP in what a centre said to a CR.
enum class Prompt { kUnasked, kMissing, kBehindText, kFirst };

/// What was seen of one call.
struct SeenCall {
  std::string number;  // empty: none was dialled
  std::string words;   // the modem's last ones: "NO CARRIER"; empty: it said nothing
  std::optional<ResultCode> result;
  std::chrono::milliseconds took{0};
  std::optional<bool> tone;  // listened for after the call had failed
  bool blind = false;        // it came up only without waiting for a dial tone
  ConnectText connect;
};

/// What was seen of the far end. Bytes are as they came.
struct SeenCentre {
  bool reached = false;
  std::string wanted;   // the protocol of the service: "TAP", "UCP", or "" when none is known
  std::string command;  // its operation of UCP, or ""
  std::vector<Piece> greeting;  // of the first two seconds
  std::string answers;          // to all that it was asked
  std::string prompt_answer;    // the one with the prompt
  Prompt prompt = Prompt::kUnasked;
  char parity = 'N';  // with which it was understood, and which its bytes prove
  bool asked_ucp = false, ucp = false;
  bool lost = false;  // the call ended by itself
  bool tls = false;   // it shakes hands, and was called without TLS
};

struct Seen {
  LineConfig line;  // as it is stored
  LineConfig way;   // as it was seen to work, where that is another way

  std::string obstacle;  // why it could not be opened, a sentence in UTF-8
  bool in_use = false;   // and this is what it was

  Heard own;                         // "AT" with the settings that are stored
  std::optional<bool> cts, dsr;      // where the device has such lines
  bool answers = false;              // in whatever way
  bool held_call = false;            // only after +++
  bool framing_refused = false;      // by the device; `way` has the same, made in software
  bool modem_framing = false;        // the framing of `way` is the modem's own
  bool telnet = false;               // among what the modem said
  bool gone = false;                 // the device vanished
  bool quiet = false;                // no result codes after the initialisation
  bool numeric = false;              // results are numbers then
  bool initialised = false;          // it took the initialisation in the end
  std::vector<std::string> refused;  // commands of the initialisation that it does not know
  std::string model;

  SeenCall call;
  SeenCentre centre;
};

/// A change of one setting: of the line, by its option's name, or of the service, whose "protocol"
/// or "command" (of UCP) it is.
struct Setting {
  std::string name;
  std::string from, to;
  bool of_service = false;
};

/// How a finding ends.
enum class FindingKind {
  kSetting,  // by a setting
  kPassing,  // by itself, later
  kOther     // by somebody's hand, or not at all
};

struct Finding {
  std::string_view id;
  FindingKind kind = FindingKind::kOther;
  std::string sentence;           // UTF-8
  std::string advice;             // what else may help, not proved; or empty
  std::vector<Setting> settings;  // proved
};

/// Whether speed, framing and flow control of a hayes line are set from here, and not by its serial
/// server alone.
bool HasPortSettings(const LineConfig& line);

/// All causes that hold, the nearest to this machine first. None: the line is well, as far as it
/// was looked at.
std::vector<Finding> Diagnose(const Seen& seen);

/// All settings of the findings, each once.
std::vector<Setting> SettingsOf(const std::vector<Finding>& findings);

/// The line with those that are its own.
LineConfig WithSettings(LineConfig line, const std::vector<Setting>& settings);

}  // namespace mvsms::posix
