// mvsms demo: watch messages travel, with no modem and no provider. It runs the very commands that
// a user would type, each as a process of its own: message centres behind emulated modems and on a
// socket, the configuration, and the sends, whose lines it shows beside what the centres received.
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "cli/commands.h"
#include "cli/interrupt.h"
#include "cli/posix/child_process.h"
#include "dispatch/outcome.h"
#include "engine/settings.h"

namespace mvsms::cli {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using Words = std::vector<std::string>;

constexpr milliseconds kStep{20};
constexpr milliseconds kStartTime{5000};
constexpr milliseconds kSendTime{60000};

struct Centre {
  const char* service;
  const char* protocol;
  const char* number;   // null: the socket that the centre listens on
  const char* setting;  // NAME=VALUE, null for none
};

constexpr Centre kCentres[] = {
    {"Pager", "tap", "0301234", nullptr},       {"City", "ucp", "0301235", nullptr},
    {"Internet", "ucp", nullptr, nullptr},      {"Strict", "tap", "0301236", "refuse=all"},
    {"Engaged", "tap", "0301237", "call=busy"},
};

struct Message {
  const char* title;
  const char* service;  // null: the routing table decides
  const char* recipient;
  const char* text;
  int exit_code;
  const char* received;  // how the centre's line ends; null: it receives nothing
};

constexpr Message kMessages[] = {
    {"TAP over a modem, routed by the number's prefix", nullptr, "+49 171 1234567",
     "Pump 3 has stopped", kExitAccepted, "accepted"},
    {"UCP over a modem", "City", "01721234567", "Door 7 is open, 5\xC2\xA3 reward", kExitAccepted,
     "accepted"},
    {"UCP over TCP", "Internet", "01731234567", "Backup has finished", kExitAccepted, "accepted"},
    {"The centre refuses the message", "Strict", "01741234567", "Nobody reads this", kExitFailed,
     "refused"},
    {"The line is busy", "Engaged", "01751234567", "Nobody hears this",
     static_cast<int>(dispatch::Exit::kRetry), nullptr},
};

std::string Assigned(const ValueInfo& info, const std::string& value) {
  return std::string(info.name) + "=" + value;
}

// A folder for the time of the demonstration.
class TemporaryFolder {
 public:
  TemporaryFolder()
      : path_((std::filesystem::temp_directory_path() / "mvsms-demo-XXXXXX").string()) {
    if (mkdtemp(path_.data()) == nullptr) throw Failure("cannot make the folder " + path_);
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

std::string Lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

std::string Quoted(const std::string& word) {
  return word.empty() || word.find_first_of(" ()*\"") != std::string::npos ? "\"" + word + "\""
                                                                           : word;
}

class Demo {
 public:
  explicit Demo(std::ostream& out) : out_(out), colour_(isatty(STDOUT_FILENO) == 1) {}

  int Run() {
    StartCentres();
    Configure();
    int lost = 0;
    for (const Message& message : kMessages) {
      if (watch_.Interrupted()) return kExitFailed;
      if (!Send(message)) ++lost;
    }
    if (!watch_.Interrupted() && !SendStorm()) ++lost;
    Line("", "\n" + (lost == 0 ? std::string("Every message went as it should.")
                               : std::to_string(lost) + " message(s) did not go as they should."));
    return lost == 0 ? kExitAccepted : kExitFailed;
  }

 private:
  struct Running {
    std::unique_ptr<ChildProcess> process;
    std::string address;  // of its device or socket
  };

  std::unique_ptr<ChildProcess> Start(const Words& arguments) {
    Words command{OwnProgram()};
    command.insert(command.end(), arguments.begin(), arguments.end());
    std::string shown = "$ mvsms";
    for (const std::string& word : arguments) shown += " " + Quoted(word);
    Line("1", shown);
    return std::make_unique<ChildProcess>(
        command, Words{"MVSMS_HOME=" + home_.path(), "MVSMS_LOCK_DIR=" + home_.path()});
  }

  void Do(const Words& arguments) {
    const auto process = Start(arguments);
    if (process->Wait(kStartTime) != kExitAccepted) throw Failure(process->err());
  }

  void StartCentres() {
    for (const Centre& centre : kCentres) {
      const std::string device = home_.path() + "/" + centre.service;
      Words arguments{"centre", "--protocol", centre.protocol};
      if (centre.number != nullptr) {
        arguments.insert(arguments.end(), {"--pty", "--link", device});
      } else {
        arguments.insert(arguments.end(), {"--tcp", "0"});
      }
      if (centre.setting != nullptr) arguments.insert(arguments.end(), {"--set", centre.setting});
      Running& running = centres_[centre.service];
      running.process = Start(arguments);
      running.address = Address(*running.process);
    }
  }

  // The centre's first line says where it listens.
  static std::string Address(ChildProcess& process) {
    static const std::string kGreeting = "Listening on ";
    const auto deadline = steady_clock::now() + kStartTime;
    while (steady_clock::now() < deadline) {
      process.Read(kStep);
      const auto line = process.NextLine();
      if (line && line->starts_with(kGreeting)) return line->substr(kGreeting.size());
    }
    throw Failure("a message centre did not start: " + process.err());
  }

  void Configure() {
    for (const Centre& centre : kCentres) {
      const std::string modem = std::string(centre.service) + "Modem";
      const std::string& address = centres_[centre.service].address;
      const bool tcp = centre.number == nullptr;
      Do(tcp ? Words{"modem", "add", modem, "--kind", "tcp"}
             : Words{"modem", "add", modem, "--kind", "hayes", "--device", address});
      const bool tap = centre.protocol == std::string("tap");
      Do({"service", "add", centre.service, Assigned(setting::kProtocol, tap ? "TAP" : "UCP"),
          Assigned(setting::kPhoneNumber, tcp ? address : centre.number),
          Assigned(setting::kModemName, modem), Assigned(setting::kUCPCommand, "51"),
          Assigned(setting::kTimeOut, "500")});
    }
    Do({"config", "set", setting::kReplacePlus.name, "1"});
    Do({"config", "set", setting::kDefaultModem.name, "PagerModem"});
    Do({"config", "set", setting::kDefaultService.name, "City"});
    Do({"route", "add", "0049171", "Pager"});
  }

  // True when the send ended as it should and the centre received what it should.
  bool Send(const Message& message) {
    Line("1", std::string("\n# ") + message.title);
    Words arguments{"send", "--to", message.recipient, "--from", "0301230"};
    if (message.service != nullptr) {
      arguments.insert(arguments.end(), {"--service", message.service});
    }
    arguments.push_back(message.text);
    received_.clear();
    const auto process = Start(arguments);
    const std::optional<int> exit_code = Watch(*process);
    const bool travelled = WasReceived(message);
    Line("1", "exit code " + (exit_code ? std::to_string(*exit_code) : std::string("none")) +
                  (travelled || message.received == nullptr ? "" : ", NOT RECEIVED"));
    return exit_code == message.exit_code && travelled == (message.received != nullptr);
  }

  // Ten pages by way of the queue; true when each was received.
  bool SendStorm() {
    constexpr int kPages = 10;
    const std::string text = "Water in hall 2";
    Line("1", "\n# A storm of alarms: into the queue at once, and out in one call");
    Words arguments{"send", "--queue", "--service", "City"};
    for (int i = 0; i < kPages; ++i) {
      arguments.insert(arguments.end(), {"--to", "0172555000" + std::to_string(i)});
    }
    arguments.push_back(text);
    received_.clear();
    const bool taken = Watch(*Start(arguments)) == kExitAccepted;
    const bool worked = taken && Watch(*Start({"worker", "--once"})) == kExitAccepted;
    const auto pages = std::ranges::count_if(received_, [&](const std::string& line) {
      return line.find(text) != std::string::npos && Lower(line).find("accepted") != line.npos;
    });
    Line("1", std::to_string(pages) + " of " + std::to_string(kPages) + " pages received");
    return worked && pages == kPages;
  }

  std::optional<int> Watch(ChildProcess& process) {
    const auto deadline = steady_clock::now() + kSendTime;
    std::optional<int> exit_code;
    while (!exit_code && !watch_.Interrupted() && steady_clock::now() < deadline) {
      exit_code = process.Wait(kStep);
      while (const auto line = process.NextLine()) Line("", "  " + *line);
      ShowReceived();
    }
    return exit_code;
  }

  void ShowReceived() {
    for (auto& [service, centre] : centres_) {
      centre.process->Read();
      while (const auto line = centre.process->NextLine()) {
        received_.push_back(*line);
        Line("32", "        centre " + service + " | " + *line);
      }
    }
  }

  bool WasReceived(const Message& message) const {
    return std::any_of(received_.begin(), received_.end(), [&](const std::string& line) {
      const std::string wanted = message.received == nullptr ? "" : message.received;
      return line.find(message.text) != std::string::npos &&
             Lower(line).find(wanted) != std::string::npos;
    });
  }

  void Line(const char* colour, const std::string& text) {
    const bool coloured = colour_ && *colour != '\0';
    out_ << (coloured ? std::string("\033[") + colour + "m" : "") << text
         << (coloured ? "\033[0m" : "") << std::endl;
  }

  std::ostream& out_;
  const bool colour_;
  const InterruptWatch watch_;
  const TemporaryFolder home_;
  std::map<std::string, Running> centres_;
  std::vector<std::string> received_;  // lines of the centres during the current send
};

}  // namespace

void AddDemoCommand(Command& app, Context& context) {
  Command* const command = AddCommand(
      app, context, "demo", "Watch messages travel to built-in message centres",
      "  mvsms demo\n"
      "It starts message centres, configures modems, services and a route in a temporary folder,\n"
      "and sends, showing each command. The settings of this machine are neither read nor\n"
      "changed; --profile and --json have no effect. Exit code 1 when a message went astray.");
  command->Callback([&context] { context.exit_code = Demo(context.out).Run(); });
}

}  // namespace mvsms::cli
