// Lines, see address.h.
#include "tests/com/fake_tapi/address.h"

#include <cstdlib>
#include <string>
#include <utility>

#include "com/com_object.h"
#include "tests/com/fake_tapi/call.h"
#include "tests/com/fake_tapi/ids.h"
#include "tests/com/fake_tapi/number_plan.h"
#include "tests/com/fake_tapi/unused.h"
//
#include <tapi3err.h>

namespace mvsms::fake_tapi {
namespace {

using com::ComObject;
using com::Implements;

struct Line {
  std::string name;
  bool carries_data;
  bool taken;  // by another program: nothing tells of it before a call is started
};

/// The lines, or the one that the variable FAKE_TAPI_LINE names.
const std::vector<Line>& Lines() {
  static const char* const only = std::getenv("FAKE_TAPI_LINE");
  static const std::vector<Line> lines = only ? std::vector<Line>{{only, true, false}}
                                              : std::vector<Line>{
                                                    {"Telephone", false, false},
                                                    {"Test modem", true, false},
                                                    {"Second test modem", true, false},
                                                    {"Taken modem", true, true},
                                                };
  return lines;
}

constexpr long kDataModem = 16;   // TAPIMEDIATYPE_DATAMODEM
constexpr long kPhoneNumber = 1;  // LINEADDRESSTYPE_PHONENUMBER

class Translation final
    : public ComObject<Translation,
                       Implements<AddressTranslationInfoBase, kIID_ITAddressTranslationInfo>> {
 public:
  explicit Translation(std::string dialable) : dialable_(std::move(dialable)) {}
  HRESULT WINAPI get_DialableString(BSTR* dialable) override {
    *dialable = win32::Bstr(dialable_).Detach();
    return S_OK;
  }

 private:
  friend class ComObject;
  ~Translation() = default;
  const std::string dialable_;
};

class Address final
    : public ComObject<Address, Implements<AddressBase, kIID_ITAddress>,
                       Implements<MediaSupportBase, kIID_ITMediaSupport>,
                       Implements<AddressTranslationBase, kIID_ITAddressTranslation>> {
 public:
  Address(const Line& line, std::shared_ptr<EventHub> events)
      : line_(line), events_(std::move(events)) {}

  HRESULT WINAPI get_AddressName(BSTR* name) override {
    if (!events_->open) return TAPI_E_NOT_INITIALIZED;
    *name = win32::Bstr(line_.name).Detach();
    return S_OK;
  }
  HRESULT WINAPI CreateCall(BSTR number, long type, long media,
                            ::ITBasicCallControl** call) override {
    if (!events_->open) return TAPI_E_NOT_INITIALIZED;
    if (type != kPhoneNumber || media != kDataModem || !line_.carries_data) return E_INVALIDARG;
    Outcome outcome = Dial(win32::AnsiFromBstr(number));
    if (FAILED(outcome.create_result)) return outcome.create_result;
    if (line_.taken) outcome.start_result = TAPI_E_ALLOCATED;
    *call = MakeCall(outcome, events_);
    return S_OK;
  }
  HRESULT WINAPI QueryMediaType(long type, VARIANT_BOOL* supported) override {
    if (!events_->open) return TAPI_E_NOT_INITIALIZED;
    *supported = type == kDataModem && line_.carries_data ? VARIANT_TRUE : VARIANT_FALSE;
    return S_OK;
  }
  HRESULT WINAPI TranslateAddress(BSTR number, long card, long options,
                                  ::ITAddressTranslationInfo** info) override {
    if (!events_->open) return TAPI_E_NOT_INITIALIZED;
    if (card != 0 || options != 0) return E_INVALIDARG;
    *info = new Translation(kDialPrefix + win32::AnsiFromBstr(number));
    return S_OK;
  }
  /// A window with the line's name, which the user closes. A number may be left out, not be empty.
  /// A process with the environment variable FAKE_TAPI_NO_DIALOG meets a service that has none.
  HRESULT WINAPI TranslateDialog(TAPIHWND owner, BSTR number) override {
    if (!events_->open) return TAPI_E_NOT_INITIALIZED;
    const auto window = reinterpret_cast<HWND>(owner);
    if (window && !::IsWindow(window)) return E_INVALIDARG;
    if (number && ::SysStringLen(number) == 0) return E_INVALIDARG;
    if (::GetEnvironmentVariableA("FAKE_TAPI_NO_DIALOG", nullptr, 0) != 0) return E_NOTIMPL;
    ::MessageBoxA(window, line_.name.c_str(), "Phone and Modem", MB_OK);
    return S_OK;
  }

 private:
  friend class ComObject;
  ~Address() = default;
  const Line& line_;
  const std::shared_ptr<EventHub> events_;
};

}  // namespace

std::vector<win32::ComPtr<::ITAddress>> MakeAddresses(const std::shared_ptr<EventHub>& events) {
  std::vector<win32::ComPtr<::ITAddress>> addresses;
  for (const Line& line : Lines()) addresses.emplace_back(new Address(line, events));
  return addresses;
}

}  // namespace mvsms::fake_tapi
