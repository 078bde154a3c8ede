// mvsms setup: asks for a modem, a message centre and a recipient, stores the answers together, and
// ends with a test page.
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstddef>
#include <functional>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "base/ansi.h"
#include "base/raised_error.h"
#include "base/texts.h"
#include "cli/commands.h"
#include "cli/posix/modem_options.h"
#include "cli/posix/modem_test.h"
#include "cli/posix/serial_devices.h"
#include "cli/posix/state.h"
#include "cli/send_run.h"
#include "cli/setting_rules.h"
#include "cli/store.h"
#include "engine/catalogue.h"
#include "engine/settings.h"

namespace mvsms::cli {
namespace {

constexpr char kTestPage[] = "Test page of mvsms";

// A stream that was handed in has somebody behind it who reads the questions.
bool HasTerminal(const Context& context) {
  if (&context.in != &std::cin) return true;
  return isatty(STDIN_FILENO) == 1 && isatty(STDOUT_FILENO) == 1;
}

/// While it stands the terminal shows nothing of what is typed but the ends of the lines. One at a
/// time, and only for std::cin on a terminal; elsewhere it does nothing.
class HiddenTyping {
 public:
  explicit HiddenTyping(const Context& context)
      : on_(&context.in == &std::cin && tcgetattr(STDIN_FILENO, &before) == 0) {
    if (!on_) return;
    for (std::size_t i = 0; i < kSignals.size(); ++i) {
      sigaction(kSignals[i], nullptr, &former_[i]);
      Take(kSignals[i]);
    }
    Hide();
  }
  ~HiddenTyping() {
    if (!on_) return;
    Show();
    for (std::size_t i = 0; i < kSignals.size(); ++i) sigaction(kSignals[i], &former_[i], nullptr);
  }
  HiddenTyping(const HiddenTyping&) = delete;
  HiddenTyping& operator=(const HiddenTyping&) = delete;

 private:
  static constexpr std::array kSignals = {SIGINT, SIGQUIT, SIGTERM, SIGHUP, SIGTSTP, SIGCONT};

  static void Show() { tcsetattr(STDIN_FILENO, TCSANOW, &before); }
  static void Hide() {
    termios hidden = before;
    hidden.c_lflag = (hidden.c_lflag & ~tcflag_t{ECHO}) | ECHONL;
    tcsetattr(STDIN_FILENO, TCSANOW, &hidden);
  }

  /// A process that a signal ends or stops must not leave the shell a terminal that hides what is
  /// typed. The signal takes its usual course when the handler has returned.
  static void ShowAndRaise(int signal) {
    Show();
    raise(signal);
  }
  static void HideAgain(int) {
    for (const int signal : {SIGTSTP, SIGCONT}) Take(signal);
    Hide();
  }

  /// What is ignored stays so. The reading of the answer goes on where the signal met it.
  static void Take(int signal) {
    struct sigaction action{};
    sigaction(signal, nullptr, &action);
    if (action.sa_handler == SIG_IGN) return;
    action.sa_handler = signal == SIGCONT ? HideAgain : ShowAndRaise;
    action.sa_flags = static_cast<int>(SA_RESETHAND | SA_RESTART);
    sigemptyset(&action.sa_mask);
    sigaction(signal, &action, nullptr);
  }

  static inline termios before{};  // where the handler finds it
  const bool on_;
  std::array<struct sigaction, kSignals.size()> former_{};
};

class Setup {
 public:
  explicit Setup(Context& context) : context_(context), store_(context) {}

  void Run() {
    CheckWritable(context_);
    Say("What you answer is stored at the end, all together; Ctrl-C stores nothing.\n"
        "An empty line takes what stands in brackets.\n");
    AskForLine();
    AskForCentre();
    AskForRecipient();
    if (!Yes("Store this")) throw Failure("nothing was stored");
    Store();
    Say("Stored. 'mvsms modem set' and 'mvsms service set' change it.\n");
    if (Yes("Send a test page now")) SendTestPage();
  }

 private:
  using Check = std::function<void(const std::string&)>;

  void Say(const std::string& text) { context_.out << PrintableLines(text) << std::flush; }

  /// The answer, or `usual` for an empty line; asked for again until `check` throws no UsageError.
  std::string Ask(const std::string& question, const std::string& usual, const Check& check) {
    for (;;) {
      Say(question + (usual.empty() ? "" : " [" + usual + "]") + ": ");
      std::string answer;
      if (!std::getline(context_.in, answer)) throw Failure("no more answers; nothing was stored");
      answer = Trim(TakenAsUtf8(context_, "the answer", answer));
      if (answer.empty()) answer = usual;
      try {
        check(answer);
        return answer;
      } catch (const UsageError& error) {
        Say(std::string("  ") + error.what() + "\n");
      }
    }
  }

  bool Yes(const std::string& question) {
    const std::string answer = Ask(question + " (y/n)?", "y", [](const std::string& text) {
      if (text != "y" && text != "n") throw UsageError("answer y or n");
    });
    return answer == "y";
  }

  /// The name that is usual, or the first one that follows it and is free.
  static std::string Free(const std::string& name, const std::function<bool(std::string)>& taken) {
    std::string free = name;
    for (int i = 2; taken(free); ++i) free = name + std::to_string(i);
    return free;
  }

  // --- the line

  void AskForLine() {
    const auto taken = [this](const std::string& name) {
      return Lines(context_).Find(AnsiFromUtf8(name)).has_value();
    };
    do {
      line_ = ChosenLine();
    } while (!Answers());
    const std::string name =
        Ask("Name of the modem", Free("Modem", taken), [&](const std::string& text) {
          CheckModemName(text);
          if (taken(text)) throw UsageError("there is a modem of this name already");
        });
    line_.name = AnsiFromUtf8(name);
  }

  posix::LineConfig ChosenLine() {
    const std::vector<std::string> devices = SerialDevices();
    Say("\nWhat is the modem connected to?\n");
    for (std::size_t i = 0; i < devices.size(); ++i) {
      Say("  " + std::to_string(i + 1) + "  " + devices[i] + "\n");
    }
    Say("  t  no modem: the centre is reached by TCP, as host:port\n");
    posix::LineConfig line;
    Ask("Its number here, or the path of another device", "", [&](const std::string& answer) {
      line = WithOptions(context_, {}, LineFor(devices, answer));
    });
    return line;
  }

  static LineOptions LineFor(const std::vector<std::string>& devices, const std::string& answer) {
    LineOptions options;
    if (answer == "t") {
      options.kind = "tcp";
      return options;
    }
    options.kind = "hayes";
    const bool number = !answer.empty() && AllDigits(answer);
    if (number) {
      const long long last = static_cast<long long>(devices.size());
      options.device = devices[static_cast<std::size_t>(ParseNumber("it", answer, 1, last) - 1)];
    } else {
      options.device = answer;
    }
    return options;
  }

  /// Whether the modem is there, or is taken all the same.
  bool Answers() {
    if (IsTcp()) return true;
    Say("Asking the modem ...\n");
    try {
      Say("  " + AskModem(context_, line_) + "\n");
      return true;
    } catch (const Failure& failure) {
      Say(std::string("  ") + failure.what() + "\n");
      return !Yes("Choose again, or the same once it is switched on");
    }
  }

  // --- the message centre

  void AskForCentre() {
    Say("\nWhich message centre takes the pages?\n");
    if (!FromCatalogue()) ByHand();
    const auto taken = [this](const std::string& name) {
      return store_.Exists(store_.Service(AnsiFromUtf8(name)));
    };
    service_ = Ask("Name of the service", Free(service_, taken), [&](const std::string& text) {
      KeyName("service", text);
      if (taken(text)) throw UsageError("there is a service of this name already");
    });
  }

  bool FromCatalogue() {
    Catalogue catalogue;
    if (!catalogue.Load(context_.platform()) || catalogue.Records().empty()) return false;
    for (const CatalogueRecord& record : catalogue.Records()) {
      Say("  " + Shown(record, catalogue::kId) + "  " + Shown(record, catalogue::kName) + " (" +
          Shown(record, catalogue::kGroup) + ")\n");
    }
    const CatalogueRecord* record = nullptr;
    Ask("Its number in this list, or - for none of them", "-", [&](const std::string& answer) {
      record = answer == "-" ? nullptr : catalogue.Find(AnsiFromUtf8(answer));
      if (answer != "-" && record == nullptr) throw UsageError("the list has no such number");
      if (record != nullptr) Take(*record);
    });
    return record != nullptr;
  }

  static std::string Shown(const CatalogueRecord& record, catalogue::Field field) {
    return Printable(Utf8FromAnsi(FieldOf(record, field)));
  }

  void Take(const CatalogueRecord& record) {
    service_ = Utf8FromAnsi(FieldOf(record, catalogue::kName));
    CheckNumber(Utf8FromAnsi(FieldOf(record, catalogue::kPhoneNumber)));
    prefixes_ = RoutePrefixes(record);
    values_.clear();
    for (const ServiceValue& value : ServiceValues(record)) {
      if (!value.text.empty()) Put(value.info, Utf8FromAnsi(value.text));
    }
  }

  bool IsTcp() const { return line_.kind == posix::LineKind::kTcp; }

  void CheckNumber(const std::string& text) const {
    if (IsTcp() && text.find(':') == text.npos) throw UsageError("host:port is wanted");
    if (text.empty()) throw UsageError("without a number nothing can be dialled");
  }

  void ByHand() {
    prefixes_.clear();
    values_.clear();
    AskFor(setting::kProtocol, "What it speaks, TAP or UCP", "TAP");
    AskFor(setting::kPhoneNumber, IsTcp() ? "Its host:port" : "Its number, as you would dial it",
           "", [this](const std::string& text) { CheckNumber(text); });
    if (ucp_) {
      AskFor(setting::kUCPCommand, "Its operation, 51 or 01 for an older one", "51");
      Put(setting::kModemSetting, "8N1");
    } else {
      const HiddenTyping hidden(context_);
      AskFor(setting::kPassword, "Its password, if your provider gave you one", "");
    }
    service_ = "Pager";
  }

  void AskFor(
      const ValueInfo& info, const std::string& question, const std::string& usual,
      const Check& check = [](const std::string&) {}) {
    Ask(question, usual, [&](const std::string& answer) {
      check(answer);
      Put(info, answer);
    });
    if (info == setting::kProtocol) ucp_ = Utf8FromAnsi(values_.back().second.data) == "UCP";
  }

  void Put(const ValueInfo& info, const std::string& utf8) {
    values_.emplace_back(info, CheckedValue(context_, store_, info, utf8));
  }

  // --- the test page, and the end

  void AskForRecipient() {
    Say("\n");
    recipient_ = Ask("Number of a pager or phone for the test page", "", [](const std::string& to) {
      if (KeepDigits(to).empty()) throw UsageError("a number is wanted");
    });
  }

  SettingValues WholeService() const {
    SettingValues values = BlankService();
    values.insert(values.end(), values_.begin(), values_.end());
    values.emplace_back(setting::kModemName, TextValue(line_.name));
    return values;
  }

  void Store() {
    const std::string service = AnsiFromUtf8(service_);
    store_.Together([&] {
      Lines(context_).Put(line_);
      store_.Set(store_.Service(service), WholeService());
      for (const std::string& prefix : prefixes_) {
        store_.Set(store_.Route(prefix), {{setting::kUseService, TextValue(service)}});
      }
      StoreDefaults(service);
    });
  }

  /// A default that somebody chose stays.
  void StoreDefaults(const std::string& service) {
    const auto fill = [this](const ValueInfo& info, const RegistryValue& value) {
      if (store_.Get(info).empty()) store_.Set(info, value);
    };
    fill(setting::kDefaultModem, TextValue(line_.name));
    fill(setting::kDefaultService, TextValue(service));
    fill(setting::kReplacePlus, InitialValue(setting::kReplacePlus));
  }

  void SendTestPage() {
    SendOptions options;
    options.to = recipient_;
    options.service = service_;
    options.text = kTestPage;
    context_.exit_code = SendOnce(context_, options);
  }

  Context& context_;
  ProfileStore store_;
  posix::LineConfig line_;
  std::string service_;  // its name, UTF-8
  SettingValues values_;
  bool ucp_ = false;
  std::vector<std::string> prefixes_;
  std::string recipient_;
};

void Run(Context& context) {
  if (!HasTerminal(context)) {
    throw UsageError(
        "setup asks questions and needs a terminal; without one, 'mvsms modem add' and "
        "'mvsms service add' do the same, or 'mvsms apply FILE'");
  }
  Setup(context).Run();
}

}  // namespace

void AddSetupCommand(Command& app, Context& context) {
  AddCommand(
      app, context, "setup", "Ask for modem, message centre and recipient; send a test page",
      "  mvsms setup\n"
      "  mvsms setup --profile Alarms\n"
      "Needs a terminal. Everything is stored at the end, before the test page; Ctrl-C stores\n"
      "nothing. The exit code is that of the test page, see 'mvsms send --help'.")
      ->Callback([&context] { Run(context); });
}

}  // namespace mvsms::cli
