// See way.h. The steps of a send in their order, each with what it finds.
#include "dispatch/way.h"

#include <algorithm>
#include <cstdint>

#include "base/numbers.h"
#include "engine/modem_list.h"
#include "engine/profile.h"
#include "engine/routing.h"
#include "engine/sender.h"
#include "engine/settings.h"
#include "protocols/bastap.h"
#include "protocols/basucp.h"
#include "protocols/control_codes.h"

namespace mvsms::dispatch {
namespace {

void Stop(Way& way, Exit exit, const std::string& obstacle, const std::string& fitting = {}) {
  if (!way.obstacle.empty()) return;
  way.obstacle = obstacle;
  way.fitting = fitting;
  way.exit = exit;
}

/// The longest route that the number begins with; empty without one.
std::string RouteOf(const Profile& profile, const std::string& number) {
  std::string best;
  for (const std::string& prefix : profile.Routes()) {
    if (number.starts_with(prefix) && prefix.size() > best.size()) best = prefix;
  }
  return best;
}

/// The name of the routed service, and into `way` why it is this one. Empty: DefaultService.
std::string RoutedService(const Profile& profile, Way& way) {
  const std::string prefix = RouteOf(profile, way.number);
  if (prefix.empty()) {
    way.why = "DefaultService, for no route begins like the number";
    return {};
  }
  const SettingsKey route = profile.Route(prefix);
  const std::string routed = ToText(route.Get(setting::kUseService));
  way.why = routed.empty() ? "DefaultService, for route " + prefix + " names none"
                           : "route " + prefix + " is the longest that the number begins with";
  if (!routed.empty()) way.fallback = ToText(route.Get(setting::kFallbackService));
  return routed;
}

void CheckService(Platform& platform, const Profile& profile, Way& way) {
  const ServiceRecord& service = way.service;
  const std::string name = "\"" + service.Name + "\"";
  if (!profile.Service(service.Name).Exists()) {
    return Stop(way, Exit::kSettings, "there is no service " + name);
  }
  if (service.Protocol != "TAP" && service.Protocol != "UCP") {
    Stop(way, Exit::kSettings, "service " + name + " has no protocol, TAP or UCP");
  }
  const double operation = Val(service.UCPCommand);
  if (service.Protocol == "UCP" && operation != 1 && operation != 51) {
    Stop(way, Exit::kSettings, "service " + name + " has no UCPCommand, 01 or 51");
  }
  // A machine that shares a queue with others may leave the modems to them.
  if (!ToText(profile.GetOrInitial(setting::kHub)).empty()) return;
  const std::vector<std::string> modems = ModemNames(platform);
  if (std::find(modems.begin(), modems.end(), service.ModemName) == modems.end()) {
    Stop(way, Exit::kSettings, "there is no modem \"" + service.ModemName + "\"");
  }
}

std::string TapBlock(const std::string& pager, const std::string& piece,
                     const ServiceRecord& service, std::string& error) {
  const std::string text = basTAP::CheckTAPMessageText(piece, error, service.MessageType);
  if (text.empty()) return {};
  const std::string block = kSTX + pager + kCR + text + kCR + kETX;
  return block + basTAP::CalcTAPCheckSum(block, error) + kCR;
}

std::string FrameOf(const Way& way, const std::string& originator, const std::string& piece,
                    std::string& error) {
  if (way.service.Protocol == "TAP") return TapBlock(way.number, piece, way.service, error);
  return basUCP::BuildUCPMessage(way.number, originator, piece, 0, way.service, error);
}

void CheckLength(Way& way, const std::string& text) {
  const ServiceRecord& service = way.service;
  if (text.empty()) Stop(way, Exit::kMessage, "the text is empty");
  if (service.MaxLength < 1 || service.MaxMessages < 1) {
    Stop(way, Exit::kSettings, "the service has no room: MaxLength and MaxMessages");
  }
  const auto room = std::int64_t{service.MaxLength} * service.MaxMessages;
  if (static_cast<std::int64_t>(text.size()) <= room) return;
  Stop(way, Exit::kMessage,
       "the text has " + std::to_string(text.size()) + " characters, the service takes " +
           std::to_string(room),
       "cuts it");
}

}  // namespace

Way FindWay(Platform& platform, const std::string& profile, const std::string& recipient,
            const std::string& service) {
  Registry& registry = platform.registry();
  Way way;
  std::string host = profile, address = recipient;
  Settings settings;
  if (!GetSettings(registry, host, settings)) {
    Stop(way, Exit::kSettings, "choose a DefaultModem and a DefaultService first");
  }
  way.number = FixAddress(registry, host, address,
                          [](std::int32_t, const std::string&, const std::string&) {});
  if (way.number.empty()) {
    Stop(way, Exit::kMessage, "the recipient is no number: " + recipient);
  }
  const Profile stored(registry, BaseKey(host));
  std::string name = service;
  if (name.empty()) {
    name = RoutedService(stored, way);
  } else {
    way.why = "asked for";
  }
  if (!GetServiceInfo(registry, host, settings, way.service, name)) {
    Stop(way, Exit::kSettings, "a number of the service cannot be read as one");
  }
  way.service.Name = name;
  if (!name.empty()) CheckService(platform, stored, way);
  return way;
}

Cargo Load(Way& way, const std::string& originator, const std::string& text) {
  Cargo cargo;
  CheckLength(way, text);
  if (text.empty() || way.service.MaxLength < 1 || way.exit == Exit::kMessage) return cargo;
  cargo.pieces = CutMessage(text, way.service.MaxLength);
  for (const std::string& piece : cargo.pieces) {
    std::string error;
    cargo.frames.push_back(FrameOf(way, originator, piece, error));
    if (cargo.frames.back().empty()) {
      Stop(way, Exit::kMessage, "the protocol cannot carry the text: " + error, "spells it anew");
    }
  }
  return cargo;
}

}  // namespace mvsms::dispatch
