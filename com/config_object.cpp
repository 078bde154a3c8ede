// The class Config as hosts see it. Its properties are kept; the dialog comes with the forms.
#include "com/com_object.h"
#include "com/dispatch.h"
#include "com/server.h"

namespace mvsms::com {
namespace {

class ConfigObject final
    : public ComObject<ConfigObject, Implements<DispatchOver<_Config, IID__Config>, IID__Config>,
                       Implements<IProvideClassInfo, IID_IProvideClassInfo>,
                       Implements<ISupportErrorInfo, IID_ISupportErrorInfo>> {
 public:
  HRESULT STDMETHODCALLTYPE ShowConfigDialog(BSTR, LONG, VARIANT_BOOL) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE get_DisableShowWindow(VARIANT_BOOL* value) override {
    return Give(disable_show_window_, value);
  }
  HRESULT STDMETHODCALLTYPE put_DisableShowWindow(VARIANT_BOOL value) override {
    disable_show_window_ = value != VARIANT_FALSE;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE get_EnforceLogging(VARIANT_BOOL* value) override {
    return Give(enforce_logging_, value);
  }
  HRESULT STDMETHODCALLTYPE put_EnforceLogging(VARIANT_BOOL value) override {
    enforce_logging_ = value != VARIANT_FALSE;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetClassInfo(ITypeInfo** info) override {
    return Guarded(IID_IProvideClassInfo, [&] { return GiveTypeInfo(CLSID_Config, info); });
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

  bool disable_show_window_ = false;
  bool enforce_logging_ = false;
};

}  // namespace

HRESULT CreateConfig(REFIID iid, void** object) {
  return Guarded(IID__Config, [&] {
    auto* config = new ConfigObject;
    const HRESULT result = config->QueryInterface(iid, object);
    config->Release();
    return result;
  });
}

}  // namespace mvsms::com
