// See trip.h.
#include "tests/e2e/trip.h"

namespace mvsms::cli {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;

constexpr seconds kLongestCommand{60};
constexpr seconds kLongestWait{20};
constexpr milliseconds kStep{20};

std::string NextLine(ChildProcess& process) {
  const auto deadline = steady_clock::now() + kLongestWait;
  while (steady_clock::now() < deadline) {
    process.Read(kStep);
    if (auto line = process.NextLine()) return *line;
  }
  return "";
}

}  // namespace

std::unique_ptr<ChildProcess> Trip::Start(const Words& arguments) const {
  Words command{MVSMS_PROGRAM};
  command.insert(command.end(), arguments.begin(), arguments.end());
  return StartProgram(command);
}

Ending Trip::RunInShell(const std::string& command) const {
  return Finish(*StartProgram({"/bin/sh", "-c", command, MVSMS_PROGRAM}));
}

std::unique_ptr<ChildProcess> Trip::StartProgram(const Words& command) const {
  return std::make_unique<ChildProcess>(
      command, Words{"MVSMS_HOME=" + home_.path(), "MVSMS_LOCK_DIR=" + home_.path()});
}

Ending Trip::Finish(ChildProcess& process) const {
  const auto exit_code = process.Wait(kLongestCommand);
  return {exit_code.value_or(-1), process.out(), process.err()};
}

void Trip::Do(const Words& arguments) const {
  const Ending ending = Run(arguments);
  EXPECT_EQ(ending.exit_code, kExitAccepted) << ending.err;
}

Json Trip::StartCentre(const Words& where, const std::string& protocol, const Words& behaviour) {
  Words arguments{"centre", "--json", "--protocol", protocol};
  if (!takes_many_calls_) arguments.push_back("--once");
  arguments.insert(arguments.end(), where.begin(), where.end());
  // Without the time in it, the answer's checksum is the same in every run.
  arguments.insert(arguments.end(), {"--set", "system-message={recipient}"});
  for (const std::string& setting : behaviour) {
    arguments.insert(arguments.end(), {"--set", setting});
  }
  centre_ = Start(arguments);
  const std::string line = NextLine(*centre_);
  EXPECT_NE(line, "") << centre_->err();
  return Json::parse(line);
}

void Trip::AddService(const std::string& protocol, const std::string& number,
                      const Words& service) {
  Words arguments{
      "service",       "add",        "Pager", "Protocol=" + protocol, "PhoneNumber=" + number,
      "UCPCommand=51", "TimeOut=200"};
  arguments.insert(arguments.end(), service.begin(), service.end());
  Do(arguments);
  Do({"config", "set", "DefaultModem", "Modem"});
  Do({"config", "set", "DefaultService", "Pager"});
}

std::string Trip::StartModem(const std::string& name, const std::string& protocol,
                             const Words& behaviour) {
  const std::string device = home_.path() + "/" + name;
  StartCentre({"--pty", "--link", device}, protocol, behaviour);
  Do({"modem", "add", name, "--kind", "hayes", "--device", device});
  return device;
}

void Trip::CentreOnModem(const std::string& protocol, const Words& behaviour,
                         const Words& service) {
  device_ = StartModem("Modem", protocol, behaviour);
  AddService(protocol == "tap" ? "TAP" : "UCP", "0301234", service);
}

void Trip::CentreOnSerialServer(const std::string& protocol) {
  const int port = StartCentre({"--tcp", "0", "--modem", "rfc2217"}, protocol, {})["port"];
  Do({"modem", "add", "Modem", "--kind", "hayes", "--device",
      "rfc2217://127.0.0.1:" + std::to_string(port)});
  AddService(protocol == "tap" ? "TAP" : "UCP", "0301234", {});
}

void Trip::AnotherModem(const std::string& name, const std::string& protocol,
                        const Words& behaviour) {
  first_centre_ = std::move(centre_);
  StartModem(name, protocol, behaviour);
}

void Trip::CentreOnTcp(const std::string& protocol, const Words& behaviour, const Words& service) {
  const int port = StartCentre({"--tcp", "0"}, protocol, behaviour)["port"];
  Do({"modem", "add", "Modem", "--kind", "tcp"});
  AddService(protocol == "tap" ? "TAP" : "UCP", "127.0.0.1:" + std::to_string(port), service);
}

Words Trip::SendCommand(const Words& arguments) {
  Words command{"send", "--json", "--to", "0172"};
  command.insert(command.end(), arguments.begin(), arguments.end());
  return command;
}

std::vector<std::string> Trip::Received() {
  // The centre ends with its one call, so its record is whole then.
  EXPECT_TRUE(CallEnds());
  std::vector<std::string> messages;
  while (const auto line = centre_->NextLine()) Note(*line, messages);
  return messages;
}

std::vector<std::string> Trip::Received(std::size_t count) {
  std::vector<std::string> messages;
  const auto deadline = steady_clock::now() + kLongestWait;
  while (messages.size() < count && steady_clock::now() < deadline) {
    centre_->Read(kStep);
    while (const auto line = centre_->NextLine()) Note(*line, messages);
  }
  return messages;
}

void Trip::Note(const std::string& line, std::vector<std::string>& messages) {
  const Json entry = Json::parse(line);
  if (entry.value("type", "").empty()) return;
  messages.push_back(entry["recipient"].get<std::string>() + ": " +
                     entry["text"].get<std::string>() +
                     (entry["accepted"] == true ? ", accepted" : ", refused"));
}

bool Trip::WaitForLine(ChildProcess& process, const std::string& text) {
  const auto deadline = steady_clock::now() + kLongestWait;
  while (steady_clock::now() < deadline) {
    process.Read(kStep);
    while (const auto line = process.NextLine()) {
      if (line->find(text) != std::string::npos) return true;
    }
  }
  return false;
}

}  // namespace mvsms::cli
