// The operations of the telephony interfaces that nothing here uses, each answered E_NOTIMPL, so
// that the classes of the substitute show what it does and nothing else.
#pragma once

#include "backends/win32/win.h"
//
#include <tapi3.h>

namespace mvsms::fake_tapi {

/// The dispatch methods: the interfaces are dual, but only their own members are called.
template <typename Interface>
class Unscripted : public Interface {
 public:
  HRESULT WINAPI GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
  HRESULT WINAPI GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  HRESULT WINAPI GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override {
    return E_NOTIMPL;
  }
  HRESULT WINAPI Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*,
                        UINT*) override {
    return E_NOTIMPL;
  }
};

class TapiBase : public Unscripted<::ITTAPI> {
 public:
  HRESULT WINAPI get_Addresses(VARIANT*) override { return E_NOTIMPL; }
  HRESULT WINAPI get_CallHubs(VARIANT*) override { return E_NOTIMPL; }
  HRESULT WINAPI EnumerateCallHubs(IEnumCallHub**) override { return E_NOTIMPL; }
  HRESULT WINAPI SetCallHubTracking(VARIANT, VARIANT_BOOL) override { return E_NOTIMPL; }
  HRESULT WINAPI EnumeratePrivateTAPIObjects(IEnumUnknown**) override { return E_NOTIMPL; }
  HRESULT WINAPI get_PrivateTAPIObjects(VARIANT*) override { return E_NOTIMPL; }
  HRESULT WINAPI RegisterRequestRecipient(long, long, VARIANT_BOOL) override { return E_NOTIMPL; }
  HRESULT WINAPI SetAssistedTelephonyPriority(BSTR, VARIANT_BOOL) override { return E_NOTIMPL; }
  HRESULT WINAPI SetApplicationPriority(BSTR, long, VARIANT_BOOL) override { return E_NOTIMPL; }
};

class AddressBase : public Unscripted<::ITAddress> {
 public:
  HRESULT WINAPI get_State(ADDRESS_STATE*) override { return E_NOTIMPL; }
  HRESULT WINAPI get_ServiceProviderName(BSTR*) override { return E_NOTIMPL; }
  HRESULT WINAPI get_TAPIObject(::ITTAPI**) override { return E_NOTIMPL; }
  HRESULT WINAPI get_Calls(VARIANT*) override { return E_NOTIMPL; }
  HRESULT WINAPI EnumerateCalls(IEnumCall**) override { return E_NOTIMPL; }
  HRESULT WINAPI get_DialableAddress(BSTR*) override { return E_NOTIMPL; }
  HRESULT WINAPI CreateForwardInfoObject(ITForwardInformation**) override { return E_NOTIMPL; }
  HRESULT WINAPI Forward(ITForwardInformation*, ::ITBasicCallControl*) override {
    return E_NOTIMPL;
  }
  HRESULT WINAPI get_CurrentForwardInfo(ITForwardInformation**) override { return E_NOTIMPL; }
  HRESULT WINAPI put_MessageWaiting(VARIANT_BOOL) override { return E_NOTIMPL; }
  HRESULT WINAPI get_MessageWaiting(VARIANT_BOOL*) override { return E_NOTIMPL; }
  HRESULT WINAPI put_DoNotDisturb(VARIANT_BOOL) override { return E_NOTIMPL; }
  HRESULT WINAPI get_DoNotDisturb(VARIANT_BOOL*) override { return E_NOTIMPL; }
};

class MediaSupportBase : public Unscripted<::ITMediaSupport> {
 public:
  HRESULT WINAPI get_MediaTypes(long*) override { return E_NOTIMPL; }
};

class AddressTranslationBase : public Unscripted<::ITAddressTranslation> {
 public:
  HRESULT WINAPI EnumerateLocations(IEnumLocation**) override { return E_NOTIMPL; }
  HRESULT WINAPI get_Locations(VARIANT*) override { return E_NOTIMPL; }
  HRESULT WINAPI EnumerateCallingCards(IEnumCallingCard**) override { return E_NOTIMPL; }
  HRESULT WINAPI get_CallingCards(VARIANT*) override { return E_NOTIMPL; }
};

class AddressTranslationInfoBase : public Unscripted<::ITAddressTranslationInfo> {
 public:
  HRESULT WINAPI get_DisplayableString(BSTR*) override { return E_NOTIMPL; }
  HRESULT WINAPI get_CurrentCountryCode(long*) override { return E_NOTIMPL; }
  HRESULT WINAPI get_DestinationCountryCode(long*) override { return E_NOTIMPL; }
  HRESULT WINAPI get_TranslationResults(long*) override { return E_NOTIMPL; }
};

class BasicCallControlBase : public Unscripted<::ITBasicCallControl> {
 public:
  HRESULT WINAPI Answer() override { return E_NOTIMPL; }
  HRESULT WINAPI Hold(VARIANT_BOOL) override { return E_NOTIMPL; }
  HRESULT WINAPI HandoffDirect(BSTR) override { return E_NOTIMPL; }
  HRESULT WINAPI HandoffIndirect(long) override { return E_NOTIMPL; }
  HRESULT WINAPI Conference(::ITBasicCallControl*, VARIANT_BOOL) override { return E_NOTIMPL; }
  HRESULT WINAPI Transfer(::ITBasicCallControl*, VARIANT_BOOL) override { return E_NOTIMPL; }
  HRESULT WINAPI BlindTransfer(BSTR) override { return E_NOTIMPL; }
  HRESULT WINAPI SwapHold(::ITBasicCallControl*) override { return E_NOTIMPL; }
  HRESULT WINAPI ParkDirect(BSTR) override { return E_NOTIMPL; }
  HRESULT WINAPI ParkIndirect(BSTR*) override { return E_NOTIMPL; }
  HRESULT WINAPI Unpark() override { return E_NOTIMPL; }
  HRESULT WINAPI SetQOS(long, QOS_SERVICE_LEVEL) override { return E_NOTIMPL; }
  HRESULT WINAPI Pickup(BSTR) override { return E_NOTIMPL; }
  HRESULT WINAPI Dial(BSTR) override { return E_NOTIMPL; }
  HRESULT WINAPI Finish(FINISH_MODE) override { return E_NOTIMPL; }
  HRESULT WINAPI RemoveFromConference() override { return E_NOTIMPL; }
};

class CallInfoBase : public Unscripted<::ITCallInfo> {
 public:
  HRESULT WINAPI get_Address(::ITAddress**) override { return E_NOTIMPL; }
  HRESULT WINAPI get_Privilege(CALL_PRIVILEGE*) override { return E_NOTIMPL; }
  HRESULT WINAPI get_CallHub(ITCallHub**) override { return E_NOTIMPL; }
  HRESULT WINAPI get_CallInfoLong(CALLINFO_LONG, long*) override { return E_NOTIMPL; }
  HRESULT WINAPI put_CallInfoLong(CALLINFO_LONG, long) override { return E_NOTIMPL; }
  HRESULT WINAPI get_CallInfoString(CALLINFO_STRING, BSTR*) override { return E_NOTIMPL; }
  HRESULT WINAPI put_CallInfoString(CALLINFO_STRING, BSTR) override { return E_NOTIMPL; }
  HRESULT WINAPI get_CallInfoBuffer(CALLINFO_BUFFER, VARIANT*) override { return E_NOTIMPL; }
  HRESULT WINAPI put_CallInfoBuffer(CALLINFO_BUFFER, VARIANT) override { return E_NOTIMPL; }
  HRESULT WINAPI GetCallInfoBuffer(CALLINFO_BUFFER, DWORD*, BYTE**) override { return E_NOTIMPL; }
  HRESULT WINAPI SetCallInfoBuffer(CALLINFO_BUFFER, DWORD, BYTE*) override { return E_NOTIMPL; }
  HRESULT WINAPI ReleaseUserUserInfo() override { return E_NOTIMPL; }
};

class LegacyCallMediaControlBase : public Unscripted<::ITLegacyCallMediaControl> {
 public:
  HRESULT WINAPI DetectDigits(TAPI_DIGITMODE) override { return E_NOTIMPL; }
  HRESULT WINAPI GenerateDigits(BSTR, TAPI_DIGITMODE) override { return E_NOTIMPL; }
  HRESULT WINAPI SetMediaType(long) override { return E_NOTIMPL; }
  HRESULT WINAPI MonitorMedia(long) override { return E_NOTIMPL; }
};

class CallStateEventBase : public Unscripted<::ITCallStateEvent> {
 public:
  HRESULT WINAPI get_Call(::ITCallInfo**) override { return E_NOTIMPL; }
  HRESULT WINAPI get_CallbackInstance(long*) override { return E_NOTIMPL; }
};

class CallInfoChangeEventBase : public Unscripted<::ITCallInfoChangeEvent> {
 public:
  HRESULT WINAPI get_Call(::ITCallInfo**) override { return E_NOTIMPL; }
  HRESULT WINAPI get_Cause(CALLINFOCHANGE_CAUSE*) override { return E_NOTIMPL; }
  HRESULT WINAPI get_CallbackInstance(long*) override { return E_NOTIMPL; }
};

}  // namespace mvsms::fake_tapi
