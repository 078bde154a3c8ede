// The table of causes.
#include "backends/posix/line/diagnosis.h"

#include <algorithm>
#include <cmath>
#include <iterator>

#include "backends/posix/line/network_modem.h"
#include "base/ansi.h"

namespace mvsms::posix {
namespace {

// --- the settings of a line, by their options --------------------------------------------------

std::string Text(const std::string& field) { return Utf8FromAnsi(field); }
std::string Text(std::uint32_t number) { return std::to_string(number); }

struct LineSetting {
  std::string_view option;
  std::string (*get)(const LineConfig& line);
  void (*put)(LineConfig& line, const std::string& value);
};
constexpr LineSetting kLineSettings[] = {
    {"device", [](const LineConfig& line) { return line.device; },
     [](LineConfig& line, const std::string& value) { line.device = value; }},
    {"speed", [](const LineConfig& line) { return Text(line.speed); },
     [](LineConfig& line, const std::string& value) {
       line.speed = static_cast<std::uint32_t>(std::stoul(value));
     }},
    {"framing", [](const LineConfig& line) { return line.framing; },
     [](LineConfig& line, const std::string& value) { line.framing = value; }},
    {"flow", [](const LineConfig& line) { return line.flow; },
     [](LineConfig& line, const std::string& value) { line.flow = value; }},
    {"init", [](const LineConfig& line) { return Text(line.init); },
     [](LineConfig& line, const std::string& value) { line.init = AnsiFromUtf8(value); }},
};

std::vector<Setting> Cure(const Seen& seen, std::string_view option) {
  for (const LineSetting& setting : kLineSettings) {
    const std::string from = setting.get(seen.line), to = setting.get(seen.way);
    if (setting.option == option && from != to) return {{std::string(option), from, to}};
  }
  return {};
}

bool Changed(const Seen& seen, std::string_view option) { return !Cure(seen, option).empty(); }

// --- words -------------------------------------------------------------------------------------

std::string_view NameOf(char parity) {
  switch (parity) {
    case 'E':
      return "even parity";
    case 'O':
      return "odd parity";
    case 'M':
      return "mark parity";
    default:
      return "no parity";
  }
}

std::string TheModem(const Seen& seen) { return "the modem on " + seen.line.device; }

std::string Init(const Seen& seen) { return Utf8FromAnsi(AtCommand(seen.line.init, "ATZ")); }

std::string Quoted(const std::string& text) {
  std::string shown = Utf8FromAnsi(text.substr(0, 60));
  return "\"" + shown + (text.size() > 60 ? " ..." : "") + "\"";
}

std::string ListOf(const std::vector<std::string>& texts) {
  std::string list;
  for (const std::string& text : texts) list += (list.empty() ? "" : ", ") + Utf8FromAnsi(text);
  return list;
}

std::string Seconds(std::chrono::milliseconds time) {
  return std::to_string(std::max(1L, std::lround(static_cast<double>(time.count()) / 1000))) + " s";
}

/// Each line of what was heard, readable.
std::string Words(const std::string& text) {
  std::string words;
  for (const std::string& line : LinesOf(text, "NO CARRIER")) {  // the modem's own
    words += (words.empty() ? "" : " ") + line;
  }
  return words;
}

// --- what was seen -----------------------------------------------------------------------------

bool Opened(const Seen& seen) { return seen.obstacle.empty() && !seen.gone; }

bool Mute(const Seen& seen) {
  return Opened(seen) && seen.own.reply != Reply::kUnasked && !seen.answers;
}

bool HasSettings(const Seen& seen) { return HasPortSettings(seen.line); }

bool Ended(const Seen& seen, std::string_view words) {
  return seen.call.result && seen.call.words.starts_with(words);
}

bool EndedByOne(const Seen& seen, std::initializer_list<std::string_view> words) {
  return std::any_of(words.begin(), words.end(),
                     [&](std::string_view word) { return Ended(seen, word); });
}

bool Called(const Seen& seen) { return !seen.call.number.empty() && Opened(seen); }

std::string Greeting(const Seen& seen) { return Joined(seen.centre.greeting); }

std::string AllHeard(const Seen& seen) { return Greeting(seen) + seen.centre.answers; }

std::string FarWords(const Seen& seen) { return Words(ReadAnswer("", AllHeard(seen)).text); }

/// The far end is there, and is neither kind of centre.
bool Unknown(const Seen& seen) {
  return seen.centre.reached && seen.centre.prompt != Prompt::kFirst &&
         seen.centre.prompt != Prompt::kBehindText && !seen.centre.ucp && !seen.centre.lost &&
         !seen.centre.tls;
}

bool WantedIs(const Seen& seen, std::string_view wanted) { return seen.centre.wanted == wanted; }

/// What a centre of UCP has against the frame that it was asked with: "04/Operation not allowed".
std::string Refused(const Seen& seen) {
  constexpr std::string_view kHead = "/R/31/N/";
  const std::string said = SevenBits(seen.centre.answers);
  const std::size_t begin = said.find(kHead);
  if (begin == said.npos) return {};
  const std::string words = said.substr(begin + kHead.size());
  return words.substr(0, words.substr(0, words.find('\x03')).rfind('/'));
}

/// It is known to nobody yet who could log in.
bool WantsLogin(const Seen& seen) {
  const std::string refused = Refused(seen);
  return seen.line.kind == LineKind::kTcp && seen.line.access.login.empty() &&
         (refused.starts_with("04") || refused.starts_with("07"));
}

/// The operation that all but old centres take, for a service that has none.
constexpr char kSubmit[] = "51";

std::vector<Setting> ToUcp(const Seen& seen) {
  std::vector<Setting> settings = {{"protocol", "TAP", "UCP", true}};
  if (seen.centre.command.empty()) settings.push_back({"command", "", kSubmit, true});
  return settings;
}

bool IsNoise(const std::string& bytes) {
  return !bytes.empty() && ReadAnswer("", bytes).reply == Reply::kNoise;
}

using Settings = std::vector<Setting>;

constexpr char kSlower[] =
    "try a slower hand-shake, or one without error correction, such as --init 'AT&F+MS=V22B,0' or "
    "--init 'AT&F\\N0'; call the number from a telephone: a centre answers with a tone";

struct Cause {
  std::string_view id;
  bool (*holds)(const Seen& seen);
  std::string (*sentence)(const Seen& seen);
  FindingKind kind = FindingKind::kOther;
  std::string_view advice = "";
  Settings (*cure)(const Seen& seen) = [](const Seen&) { return Settings(); };
};

constexpr Cause kCauses[] = {
    // --- the device ----------------------------------------------------------------------------
    {"in-use", [](const Seen& seen) { return seen.in_use; },
     [](const Seen& seen) { return seen.obstacle; }, FindingKind::kPassing},
    {"device", [](const Seen& seen) { return !seen.obstacle.empty() && !seen.in_use; },
     [](const Seen& seen) { return seen.obstacle; }},
    {"gone", [](const Seen& seen) { return seen.gone; },
     [](const Seen& seen) {
       return NamesNetwork(seen.line.device)
                  ? "the line over " + seen.line.device + " was lost"
                  : "the device " + seen.line.device + " has gone; was the modem unplugged?";
     }},

    // --- the line to the modem -----------------------------------------------------------------
    {"silent", [](const Seen& seen) { return Mute(seen) && seen.own.reply == Reply::kSilence; },
     [](const Seen& seen) {
       return "no modem answers on " + seen.line.device +
              (HasSettings(seen) ? ", at no usual speed" : "") +
              (seen.dsr == false ? "; its line DSR is off" : "");
     },
     FindingKind::kOther, "switch the modem on, and see that its cable is in the right socket"},
    {"echo-only", [](const Seen& seen) { return Mute(seen) && seen.own.reply == Reply::kEcho; },
     [](const Seen& seen) {
       return seen.line.device +
              " sends back what it gets and says nothing of its own, not even when it is told to "
              "(ATQ0V1): a plug that joins the wires, or a device that is no modem";
     }},
    {"no-modem", [](const Seen& seen) { return Mute(seen) && seen.own.reply == Reply::kText; },
     [](const Seen& seen) {
       return "what speaks on " + seen.line.device + " is no modem: it says " +
              Quoted(Words(seen.own.text));
     }},
    {"garbage", [](const Seen& seen) { return Mute(seen) && seen.own.reply == Reply::kNoise; },
     [](const Seen& seen) {
       return "what comes from " + seen.line.device + " is unreadable" +
              (HasSettings(seen) ? " at every usual speed and framing" : "");
     },
     FindingKind::kOther, "set the modem back to its factory settings, and look at the cable"},
    {"framing-refused", [](const Seen& seen) { return seen.framing_refused && Opened(seen); },
     [](const Seen& seen) {
       return seen.line.device + " does not do the framing " + seen.line.framing;
     },
     FindingKind::kSetting, "", [](const Seen& seen) { return Cure(seen, "framing"); }},
    // Servers that wait for answers to their telnet keep the modem's words back until then.
    {"held-call", [](const Seen& seen) { return seen.answers && seen.held_call && !seen.telnet; },
     [](const Seen& seen) {
       return TheModem(seen) + " was still in a call; it was told to leave it (+++) and hung up";
     },
     FindingKind::kOther,
     "should it happen again, try --init 'AT&F&D2', with which it hangs up when its program ends"},
    {"speed", [](const Seen& seen) { return seen.answers && Changed(seen, "speed"); },
     [](const Seen& seen) {
       return TheModem(seen) + " answers at " + Text(seen.way.speed) + " bit/s and not at " +
              Text(seen.line.speed);
     },
     FindingKind::kSetting, "", [](const Seen& seen) { return Cure(seen, "speed"); }},
    {"framing", [](const Seen& seen) { return seen.modem_framing; },
     [](const Seen& seen) {
       const auto shown = ReadAnswer("AT", seen.own.bytes).parity;
       return TheModem(seen) + " speaks with " +
              std::string(NameOf(ParseFraming(seen.way.framing)->parity)) +
              ", and its line has the framing " + seen.line.framing +
              (shown != 'N' ? " (bit 7 of its answers proves it)" : "");
     },
     FindingKind::kSetting, "", [](const Seen& seen) { return Cure(seen, "framing"); }},
    {"flow", [](const Seen& seen) { return seen.answers && Changed(seen, "flow"); },
     [](const Seen& seen) {
       const bool cts = seen.line.flow == "rtscts";
       return TheModem(seen) + " answers only without flow control: " +
              (cts ? "its line CTS, which " + seen.line.flow + " waits for, never comes"
                   : "it does not go by " + seen.line.flow);
     },
     FindingKind::kSetting, "", [](const Seen& seen) { return Cure(seen, "flow"); }},
    {"telnet-modem", [](const Seen& seen) { return seen.telnet; },
     [](const Seen& seen) {
       return "the serial server at " + seen.line.device +
              " negotiates telnet, whose commands come between the modem's words" +
              (Changed(seen, "device") ? "; it offers its port by RFC 2217, too" : "");
     },
     FindingKind::kSetting, "set the server's port to raw",
     [](const Seen& seen) { return Cure(seen, "device"); }},

    // --- what the modem does -------------------------------------------------------------------
    {"quiet", [](const Seen& seen) { return seen.quiet; },
     [](const Seen& seen) {
       return TheModem(seen) + " gives no result codes after " + Init(seen) +
              " (it is set to ATQ1)";
     },
     FindingKind::kSetting, "", [](const Seen& seen) { return Cure(seen, "init"); }},
    {"numeric", [](const Seen& seen) { return seen.numeric; },
     [](const Seen& seen) {
       return TheModem(seen) +
              " answers in numbers (ATV0), which mean this with one chip set and "
              "that with another: 12 is a voice or 9600 bit/s";
     },
     FindingKind::kSetting, "", [](const Seen& seen) { return Cure(seen, "init"); }},
    {"init", [](const Seen& seen) { return !seen.refused.empty(); },
     [](const Seen& seen) {
       return TheModem(seen) + " does not know " + ListOf(seen.refused) +
              " of its initialisation " + Init(seen);
     },
     FindingKind::kSetting, "", [](const Seen& seen) { return Cure(seen, "init"); }},
    {"no-init",
     [](const Seen& seen) {
       return seen.answers && !seen.initialised && !seen.quiet && seen.refused.empty() &&
              Opened(seen);
     },
     [](const Seen& seen) {
       return TheModem(seen) + " does not say OK to its initialisation " + Init(seen);
     },
     FindingKind::kOther, "try another --init, such as 'AT&F'"},

    // --- the call ------------------------------------------------------------------------------
    {"tone-unknown", [](const Seen& seen) { return seen.call.blind; },
     [](const Seen&) {
       return std::string(
           "the modem does not know the dial tone of its line, as behind a switchboard, "
           "and gets through when it does not wait for one");
     },
     FindingKind::kSetting, "", [](const Seen& seen) { return Cure(seen, "init"); }},
    {"no-dial-tone",
     [](const Seen& seen) {
       return (EndedByOne(seen, {"NO DIALTONE", "NO DIAL TONE", "NO PROMPTTONE", "NO LINE"}) ||
               seen.call.tone == false) &&
              !seen.call.blind;
     },
     [](const Seen& seen) {
       return "there is no dial tone" +
              std::string(Ended(seen, "NO CARRIER")
                              ? ", though the modem says NO CARRIER: it listens for none"
                              : "");
     },
     FindingKind::kOther,
     "see that the telephone cable is in the modem's socket LINE, and that a telephone hears the "
     "tone"},
    {"no-carrier",
     [](const Seen& seen) { return Ended(seen, "NO CARRIER") && seen.call.tone != false; },
     [](const Seen& seen) {
       return "no modem came up at " + Utf8FromAnsi(seen.call.number) + " within " +
              Seconds(seen.call.took) + " (NO CARRIER)" +
              (seen.call.tone == true ? "; there is a dial tone, so the line is alive" : "");
     },
     FindingKind::kOther, kSlower},
    {"busy", [](const Seen& seen) { return Ended(seen, "BUSY"); },
     [](const Seen& seen) { return Utf8FromAnsi(seen.call.number) + " is busy"; },
     FindingKind::kPassing},
    {"no-answer", [](const Seen& seen) { return Ended(seen, "NO ANSWER"); },
     [](const Seen& seen) { return "nobody answers at " + Utf8FromAnsi(seen.call.number); },
     FindingKind::kPassing},
    {"voice", [](const Seen& seen) { return Ended(seen, "VOICE"); },
     [](const Seen& seen) {
       return "a voice answers at " + Utf8FromAnsi(seen.call.number) + ", and no modem";
     },
     FindingKind::kOther,
     "see that this is the centre's number for modems; behind a switchboard, try --dial ATDT0,"},
    {"fax", [](const Seen& seen) { return EndedByOne(seen, {"FAX", "+FCO", "CONNECT FAX"}); },
     [](const Seen& seen) {
       return "a fax machine answers at " + Utf8FromAnsi(seen.call.number) + ", and no data modem";
     },
     FindingKind::kOther, "see that this is the centre's number for modems"},
    {"line-in-use", [](const Seen& seen) { return EndedByOne(seen, {"LINE IN USE", "RING"}); },
     [](const Seen& seen) {
       return Ended(seen, "RING") ? std::string("somebody called the modem before it could dial")
                                  : std::string("somebody else is speaking on the modem's line");
     },
     FindingKind::kPassing},
    {"blacklisted", [](const Seen& seen) { return EndedByOne(seen, {"BLACKLIST", "DELAYED"}); },
     [](const Seen& seen) {
       return "the modem refuses to dial " + Utf8FromAnsi(seen.call.number) + " (" +
              Utf8FromAnsi(seen.call.words) + "): it was dialled in vain too often";
     },
     FindingKind::kPassing, "switch the modem off and on"},
    {"reorder", [](const Seen& seen) { return Ended(seen, "REORDER"); },
     [](const Seen&) { return std::string("the exchange says that all circuits are busy"); },
     FindingKind::kPassing},
    {"dial-refused", [](const Seen& seen) { return EndedByOne(seen, {"ERROR", "+CM"}); },
     [](const Seen& seen) {
       return "the modem does not take " + Utf8FromAnsi(AtCommand(seen.line.dial, "ATD")) +
              Utf8FromAnsi(seen.call.number);
     },
     FindingKind::kOther, "try another --dial, such as ATDT"},
    {"dial-silent",
     [](const Seen& seen) {
       return Called(seen) && !seen.call.result && !seen.centre.reached && seen.initialised;
     },
     [](const Seen& seen) {
       return "the modem said nothing for " + Seconds(seen.call.took) + " after it was to dial " +
              Utf8FromAnsi(seen.call.number) +
              (seen.call.words.empty() ? "" : " but " + Quoted(seen.call.words));
     }},

    // --- the centre ----------------------------------------------------------------------------
    {"speaks-tls", [](const Seen& seen) { return seen.centre.tls; },
     [](const Seen&) { return std::string("the far end speaks TLS, and was called without"); },
     FindingKind::kOther,
     "put tls:// in front of its address, in the service's PhoneNumber; where the system does not "
     "know who signed its certificate, --ca names the authority"},
    {"lost",
     [](const Seen& seen) { return seen.centre.lost && seen.obstacle.empty() && !seen.centre.tls; },
     [](const Seen& seen) {
       return "the far end hung up at once" + (AllHeard(seen).empty()
                                                   ? std::string(", without a word")
                                                   : ", having said " + Quoted(FarWords(seen)));
     },
     FindingKind::kOther, "see that this is the right number, and that the centre knows your line"},
    {"centre-parity",
     [](const Seen& seen) { return seen.centre.parity != 'N' && Changed(seen, "framing"); },
     [](const Seen& seen) {
       return "the centre speaks with " + std::string(NameOf(seen.centre.parity)) +
              ", and the line has the framing " + seen.line.framing;
     },
     FindingKind::kSetting, "", [](const Seen& seen) { return Cure(seen, "framing"); }},
    {"centre-parity-tcp",
     [](const Seen& seen) { return seen.line.kind == LineKind::kTcp && seen.centre.parity != 'N'; },
     [](const Seen& seen) {
       return "the centre speaks with " + std::string(NameOf(seen.centre.parity)) +
              ", which a connection does not have";
     },
     FindingKind::kOther, "ask its operator for a port with eight bits"},
    {"prompt-behind-text",
     [](const Seen& seen) { return seen.centre.prompt == Prompt::kBehindText; },
     [](const Seen& seen) {
       return "the centre always says something before its ID=: " +
              Quoted(Words(seen.centre.prompt_answer)) +
              "; the login is sent when an answer begins with ID=";
     },
     FindingKind::kOther, "no setting cures this; ask the centre's operator to leave the text out"},
    {"telnet-centre",
     [](const Seen& seen) { return seen.centre.reached && HasTelnet(AllHeard(seen)); },
     [](const Seen&) {
       return std::string("the far end negotiates telnet, which is not spoken here");
     },
     FindingKind::kOther, "ask for a port of the server that passes bytes on as they are (raw)"},
    {"login-wanted", WantsLogin,
     [](const Seen& seen) {
       return "the centre speaks UCP and answers " + Quoted(Refused(seen)) +
              ", as one does that wants a login first";
     },
     FindingKind::kOther,
     "--login USER --password-file FILE, with what its operator gave you, logs in before each "
     "message"},
    {"speaks-ucp", [](const Seen& seen) { return seen.centre.ucp && WantedIs(seen, "TAP"); },
     [](const Seen& seen) {
       return "the centre speaks UCP, and the service has TAP" +
              std::string(seen.centre.command.empty()
                              ? "; for UCP it needs a UCPCommand, too: 51, or 01 for an old centre"
                              : "");
     },
     FindingKind::kSetting, "", ToUcp},
    {"speaks-tap",
     [](const Seen& seen) {
       return seen.centre.prompt == Prompt::kFirst && WantedIs(seen, "UCP") && !seen.centre.ucp;
     },
     [](const Seen&) { return std::string("the centre speaks TAP, and the service has UCP"); },
     FindingKind::kSetting, "",
     [](const Seen&) { return Settings{{"protocol", "UCP", "TAP", true}}; }},
    {"centre-noise", [](const Seen& seen) { return Unknown(seen) && IsNoise(AllHeard(seen)); },
     [](const Seen&) { return std::string("what comes from the far end is unreadable"); },
     FindingKind::kOther, kSlower},
    {"centre-silent", [](const Seen& seen) { return Unknown(seen) && AllHeard(seen).empty(); },
     [](const Seen&) {
       return std::string(
           "the far end is there and says nothing, neither to <CR> nor to a frame of UCP");
     },
     FindingKind::kOther, "see that this is the centre's number"},
    {"no-centre",
     [](const Seen& seen) {
       return Unknown(seen) && !AllHeard(seen).empty() && !IsNoise(AllHeard(seen));
     },
     [](const Seen& seen) {
       return "the far end speaks neither TAP nor UCP: it says " + Quoted(FarWords(seen));
     },
     FindingKind::kOther, "see that this is the centre's number"},
};

// A setting that was not proved is none.
FindingKind KindOf(const Cause& cause, const Settings& settings) {
  return cause.kind == FindingKind::kSetting && settings.empty() ? FindingKind::kOther : cause.kind;
}

Finding FindingOf(const Cause& cause, const Seen& seen) {
  Settings settings = cause.cure(seen);
  const bool cured = !settings.empty();
  return {cause.id, KindOf(cause, settings), cause.sentence(seen),
          cured ? "" : std::string(cause.advice), std::move(settings)};
}

bool Has(const Settings& settings, const Setting& setting) {
  return std::any_of(settings.begin(), settings.end(), [&](const Setting& other) {
    return other.name == setting.name && other.of_service == setting.of_service;
  });
}

}  // namespace

bool HasPortSettings(const LineConfig& line) {
  return !NamesNetwork(line.device) || line.device.starts_with("rfc2217:");
}

std::vector<Finding> Diagnose(const Seen& seen) {
  std::vector<Finding> findings;
  for (const Cause& cause : kCauses) {
    if (cause.holds(seen)) findings.push_back(FindingOf(cause, seen));
  }
  return findings;
}

std::vector<Setting> SettingsOf(const std::vector<Finding>& findings) {
  Settings settings;
  for (const Finding& finding : findings) {
    for (const Setting& setting : finding.settings) {
      if (!Has(settings, setting)) settings.push_back(setting);
    }
  }
  return settings;
}

LineConfig WithSettings(LineConfig line, const std::vector<Setting>& settings) {
  for (const Setting& setting : settings) {
    for (const LineSetting& known : kLineSettings) {
      if (!setting.of_service && known.option == setting.name) known.put(line, setting.to);
    }
  }
  return line;
}

}  // namespace mvsms::posix
