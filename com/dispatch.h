// Late binding: IDispatch over type information, with the arguments brought into the declared form
// first. The system's own dispatcher wants by-reference arguments of exactly the declared type;
// hosts pass variables of any type, literals, and leave optional arguments out.
#pragma once

#include "com/com_object.h"

namespace mvsms::com {

/// Invokes a member of `instance`, which implements the dual interface that `info` describes.
/// By-reference arguments are written back into the caller's variables when the call succeeded.
/// A number where a text is wanted is converted; Null is a type mismatch. Errors are those that are
/// documented for IDispatch::Invoke; a name that no parameter has, or a parameter that is given
/// twice, is DISP_E_PARAMNOTFOUND. `bad` (may be null) receives the index of the argument.
HRESULT InvokeMember(ITypeInfo* info, void* instance, DISPID member, WORD flags,
                     DISPPARAMS* arguments, VARIANT* result, EXCEPINFO* exception, UINT* bad);

/// The four dispatch methods of the dual interface `Interface`, over the type information of
/// `kIid`.
template <typename Interface, const IID& kIid>
class DispatchOver : public Interface {
 public:
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override {
    if (!count) return E_POINTER;
    *count = 1;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT index, LCID, ITypeInfo** info) override {
    if (!info) return E_POINTER;
    *info = nullptr;
    if (index != 0) return DISP_E_BADINDEX;
    return AsHresult(kIid, [&] { return GiveTypeInfo(kIid, info); });
  }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID reserved, LPOLESTR* names, UINT count, LCID,
                                          DISPID* ids) override {
    if (reserved != IID_NULL) return DISP_E_UNKNOWNINTERFACE;
    return AsHresult(kIid, [&] {
      const auto info = TypeInfoOf(kIid);
      return info ? info->GetIDsOfNames(names, count, ids) : TYPE_E_CANTLOADLIBRARY;
    });
  }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID member, REFIID reserved, LCID, WORD flags,
                                   DISPPARAMS* arguments, VARIANT* result, EXCEPINFO* exception,
                                   UINT* bad) override {
    if (reserved != IID_NULL) return DISP_E_UNKNOWNINTERFACE;
    return AsHresult(kIid, [&] {
      const auto info = TypeInfoOf(kIid);
      if (!info) return TYPE_E_CANTLOADLIBRARY;
      return InvokeMember(info.Get(), static_cast<Interface*>(this), member, flags, arguments,
                          result, exception, bad);
    });
  }
};

}  // namespace mvsms::com
