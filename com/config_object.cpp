// The class Config as hosts see it: the dialogs' Config behind a dual interface.
#include "com/com_object.h"
#include "com/dispatch.h"
#include "com/server.h"
#include "com/thread_apartment.h"
#include "ui/config.h"

namespace mvsms::com {
namespace {

class ConfigObject final
    : public ComObject<ConfigObject, Implements<DispatchOver<_Config, IID__Config>, IID__Config>,
                       Implements<IProvideClassInfo, IID_IProvideClassInfo>,
                       Implements<ISupportErrorInfo, IID_ISupportErrorInfo>> {
 public:
  ConfigObject() : apartment_(ThreadApartment()), config_(*apartment_) {}

  // _Config
  HRESULT STDMETHODCALLTYPE ShowConfigDialog(BSTR host_app_name, LONG owner,
                                             VARIANT_BOOL modal) override {
    AddRef();  // the host may release the object while the dialog is open
    const HRESULT result = AsHresult(IID__Config, [&] {
      config_.ShowConfigDialog(win32::AnsiFromBstr(host_app_name), WindowHandle{owner},
                               modal != VARIANT_FALSE);
      return S_OK;
    });
    Release();
    return result;
  }
  HRESULT STDMETHODCALLTYPE get_DisableShowWindow(VARIANT_BOOL* value) override {
    return Give(config_.DisableShowWindow, value);
  }
  HRESULT STDMETHODCALLTYPE put_DisableShowWindow(VARIANT_BOOL value) override {
    config_.DisableShowWindow = value != VARIANT_FALSE;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE get_EnforceLogging(VARIANT_BOOL* value) override {
    return Give(config_.EnforceLogging, value);
  }
  HRESULT STDMETHODCALLTYPE put_EnforceLogging(VARIANT_BOOL value) override {
    config_.EnforceLogging = value != VARIANT_FALSE;
    return S_OK;
  }

  // IProvideClassInfo
  HRESULT STDMETHODCALLTYPE GetClassInfo(ITypeInfo** info) override {
    return AsHresult(IID_IProvideClassInfo, [&] { return GiveTypeInfo(CLSID_Config, info); });
  }
  HRESULT STDMETHODCALLTYPE InterfaceSupportsErrorInfo(REFIID iid) override {
    return iid == IID__Config ? S_OK : S_FALSE;
  }

 private:
  friend class ComObject;
  ~ConfigObject() = default;

  static HRESULT Give(bool value, VARIANT_BOOL* target) {
    if (!target) return E_POINTER;
    *target = value ? VARIANT_TRUE : VARIANT_FALSE;
    return S_OK;
  }

  const std::shared_ptr<Apartment> apartment_;
  mvsms::Config config_;
};

}  // namespace

HRESULT CreateConfig(REFIID iid, void** object) {
  return AsHresult(IID__Config, [&] {
    auto* config = new ConfigObject;
    const HRESULT result = config->QueryInterface(iid, object);
    config->Release();
    return result;
  });
}

}  // namespace mvsms::com
