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

namespace mvsms::fake_tapi {
namespace {

using com::ComObject;
using com::Implements;

struct Line {
  std::string name;
  bool carries_data;
  bool taken;  // by another program
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
    *name = win32::Bstr(line_.name).Detach();
    return S_OK;
  }
  HRESULT WINAPI CreateCall(BSTR number, long type, long media,
                            ::ITBasicCallControl** call) override {
    if (type != kPhoneNumber || media != kDataModem || !line_.carries_data) return E_INVALIDARG;
    *call = MakeCall(win32::AnsiFromBstr(number), events_);
    return S_OK;
  }
  HRESULT WINAPI QueryMediaType(long type, VARIANT_BOOL* supported) override {
    *supported = type == kDataModem && line_.carries_data ? VARIANT_TRUE : VARIANT_FALSE;
    return S_OK;
  }
  HRESULT WINAPI TranslateAddress(BSTR number, long card, long options,
                                  ::ITAddressTranslationInfo** info) override {
    if (card != 0 || options != 0) return E_INVALIDARG;
    *info = new Translation(kDialPrefix + win32::AnsiFromBstr(number));
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

bool IsTaken(::ITAddress* address) {
  win32::Bstr name;
  address->get_AddressName(name.Put());
  for (const Line& line : Lines()) {
    if (name.Ansi() == line.name) return line.taken;
  }
  return false;
}

}  // namespace mvsms::fake_tapi
