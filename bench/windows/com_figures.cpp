// Figures of the Windows component, printed as a table: its size, what creating an object and
// reading a property cost, and a send against the waits that the dialogue prescribes. Run by
// scripts/bench-windows.sh.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <vector>

#include "backends/memory/memory_platform.h"
#include "centre/centre.h"
#include "engine/sender.h"
#include "engine/settings.h"
#include "tests/support/centre_far_end.h"
#include "tests/support/com_host.h"

namespace mvsms::com {
namespace {

using Clock = std::chrono::steady_clock;
using Micros = std::chrono::duration<double, std::micro>;

/// Median time of one round, in microseconds.
template <class Round>
double Median(int rounds, Round round) {
  std::vector<double> times;
  for (int i = 0; i < rounds; ++i) {
    const auto start = Clock::now();
    round();
    times.push_back(Micros(Clock::now() - start).count());
  }
  std::nth_element(times.begin(), times.begin() + rounds / 2, times.end());
  return times[static_cast<std::size_t>(rounds / 2)];
}

double CreateAndRelease() {
  return Median(1001, [] {
    ComPtr<_Sender> sender;
    ::CoCreateInstance(CLSID_Sender, nullptr, CLSCTX_INPROC_SERVER, IID__Sender, sender.PutVoid());
  });
}

/// The component's own part of that: its class factory, without the system's search for it.
double CreateByFactory() {
  const auto get =
      Exported<HRESULT(WINAPI*)(REFCLSID, REFIID, void**)>("mvSMS.dll", "DllGetClassObject");
  ComPtr<IClassFactory> factory;
  get(CLSID_Sender, IID_IClassFactory, factory.PutVoid());
  return Median(10'001, [&] {
    ComPtr<_Sender> sender;
    factory->CreateInstance(nullptr, IID__Sender, sender.PutVoid());
  });
}

double PropertyGet(Host& host) {
  const DISPID id = 0x4003000a;  // RetrySuggested
  DISPPARAMS none = {};
  VARIANT value;
  ::VariantInit(&value);
  return Median(10'001, [&] {
    host.dispatch()->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYGET, &none, &value,
                            nullptr, nullptr);
  });
}

/// What the same dialogue waits in virtual time.
double PrescribedSeconds() {
  memory::MemoryPlatform platform;
  centre::Settings settings;
  centre::Set(settings, "system-message={recipient}");
  centre::Centre centre(centre::SpeakUcp(), settings);
  memory::Line line;
  line.name = "Modem";
  line.ring_time = memory::Millis(200);  // as the substitute telephony service rings
  line.far_end = [&](const std::string&) {
    return test::CentreFarEnd::Answering(centre.AnswerCall());
  };
  platform.lines.push_back(line);
  std::string profile = "Standard";
  const std::string key = BaseKey(profile);
  const auto write = [&](const std::string& at, const char* name, const char* text) {
    basRegistry::SetValue(platform.registry(), kSettingsHive, at, name, std::string(text),
                          RegType::kSz);
  };
  write(key, "DefaultModem", "Modem");
  write(key, "DefaultService", "City");
  const std::pair<const char*, const char*> values[] = {
      {"Protocol", "UCP"},  {"PhoneNumber", "222"}, {"MaxLength", "160"},
      {"MaxMessages", "1"}, {"UCPCommand", "51"},   {"MessageType", "3"},
      {"TimeOut", "500"},   {"BaudRate", "Auto"},   {"ModemSetting", "8N1"}};
  for (const auto& [name, text] : values) write(ServiceKey(key, "City"), name, text);
  Apartment apartment(platform);
  Sender sender(apartment);
  std::string recipient = "01725", originator = "0301", message = "Figures", service;
  sender.SendMessage(recipient, originator, message, service);
  return std::chrono::duration<double>(platform.slept()).count();
}

void Print() {
  ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  WriteProfile();
  {
    Host host(kProfile);
    std::printf("CoCreateInstance of the loaded server         %8.1f us (median)\n",
                CreateAndRelease());
    std::printf("  of which the component itself               %8.2f us (median)\n",
                CreateByFactory());
    std::printf("a property read through IDispatch             %8.2f us (median)\n",
                PropertyGet(host));
    const double prescribed = PrescribedSeconds();
    const auto start = Clock::now();
    const Sent sent = host.Send("0172 5", "Figures");
    const double wall = std::chrono::duration<double>(Clock::now() - start).count();
    std::printf("a UCP send: %s, %.3f s, prescribed %.3f s  %+8.2f %%\n",
                sent.accepted ? "accepted" : "FAILED", wall, prescribed,
                100 * (wall - prescribed) / prescribed);
  }
  DeleteProfile();
  ::CoUninitialize();
}

}  // namespace
}  // namespace mvsms::com

int main() { mvsms::com::Print(); }
