// A host program with one modem and one Sender, on a machine in memory: it keeps what the Sender
// tells it, and speaks in verbs about what the administrator and the message centre do.
#pragma once

#include <functional>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "backends/memory/memory_platform.h"
#include "engine/sender.h"
#include "tests/support/profile.h"
#include "tests/support/scripted_tap.h"
#include "tests/support/scripted_ucp.h"

namespace mvsms::test {

class Host {
 public:
  Host() {
    profile.Set("DefaultModem", "Modem");
    profile.Set("DefaultService", "Pager");
    AddLine("Modem");
    Listen(sender);
  }

  void AddLine(const std::string& name) {
    memory::Line line;
    line.name = name;
    line.far_end = [this](const std::string& number) { return far_end(number); };
    platform.lines.push_back(line);
  }

  /// A service with workable settings, some of them replaced.
  void AddService(const std::string& name, const std::string& protocol,
                  std::initializer_list<std::pair<const char*, const char*>> changes = {}) {
    profile.SetService(name, {{"Protocol", protocol.c_str()},
                              {"PhoneNumber", "0123456"},
                              {"MaxLength", "160"},
                              {"MaxMessages", "2"},
                              {"UCPCommand", "51"},
                              {"MessageType", "3"},
                              {"TimeOut", "2000"},
                              {"BaudRate", "9600"},
                              {"ModemSetting", "8N1"}});
    profile.SetService(name, changes);
  }
  void AddTapService(std::initializer_list<std::pair<const char*, const char*>> changes = {}) {
    AddService("Pager", "TAP", changes);
    far_end = [this](const std::string& number) { return tap.Answer(number); };
  }
  void AddUcpService(std::initializer_list<std::pair<const char*, const char*>> changes = {}) {
    AddService("Pager", "UCP", changes);
    far_end = [this](const std::string& number) { return ucp.Answer(number); };
  }

  /// Records the events of `from`; then runs the test's own handler, when there is one.
  void Listen(Sender& from) {
    from.OnError = [this](std::int32_t& number, std::string& text, std::string& module) {
      errors.push_back(std::to_string(number) + "|" + text + "|" + module);
      events.push_back("Error " + std::to_string(number));
      if (on_error) on_error(number, text, module);
    };
    from.OnStatusChange = [this](std::string& status) {
      statuses.push_back(status);
      events.push_back("StatusChange");
      if (on_status) on_status(status);
    };
  }

  bool Send(const std::string& text, const std::string& service_name = "") {
    message = text;
    service = service_name;
    return Send();
  }
  bool Send() { return sender.SendMessage(recipient, originator, message, service); }

  /// The status lines of `status` without the CR LF that each begins with. The times in the first
  /// and the last line of a send read "NOW".
  std::vector<std::string> Lines(std::string status) {
    std::vector<std::string> lines;
    std::size_t start = 2;
    while (start <= status.size()) {
      const std::size_t end = std::min(status.find("\r\n", start), status.size());
      lines.push_back(WithoutTime(status.substr(start, end - start)));
      start = end + 2;
    }
    return lines;
  }
  std::vector<std::string> Lines() { return Lines(sender.Status); }
  bool HasLine(const std::string& line) {
    for (const std::string& other : Lines()) {
      if (other == line) return true;
    }
    return false;
  }

  std::string Now() { return platform.clock().ShortDate() + " " + platform.clock().TimeOfDay(); }

  memory::MemoryPlatform platform;
  Apartment apartment{platform};
  Profile profile{platform.registry()};
  ScriptedTap tap;
  ScriptedUcp ucp;
  std::function<std::unique_ptr<memory::FarEnd>(const std::string&)> far_end;

  std::vector<std::string> errors;    // "number|text|module"
  std::vector<std::string> statuses;  // the text of each StatusChange
  std::vector<std::string> events;    // names, in order
  Sender::ErrorEvent on_error;
  Sender::StatusChangeEvent on_status;

  std::string recipient = "0049 171-5";
  std::string originator = "Ward 7";
  std::string message;
  std::string service;
  Sender sender{apartment};

 private:
  static std::string WithoutTime(const std::string& line) {
    const std::string stars = "****************** ";
    const std::size_t text = line.find(" - ");
    if (!line.starts_with(stars) || text == std::string::npos) return line;
    return stars + "NOW" + line.substr(text);
  }
};

inline const std::string kBeginLine =
    "****************** NOW - Begin send message to ";  // then the recipient
inline const std::string kSuccessLine =
    "****************** NOW - End sending message. Result:  Success";
inline const std::string kFailedLine =
    "****************** NOW - End sending message. Result:  Failed";

}  // namespace mvsms::test
