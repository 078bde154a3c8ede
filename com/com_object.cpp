// Error information for hosts.
#include "com/com_object.h"

namespace mvsms::com {

void SetErrorInfo(REFIID iid, const std::string& source, const std::string& description) {
  win32::ComPtr<ICreateErrorInfo> create;
  if (FAILED(::CreateErrorInfo(create.Put()))) return;
  create->SetGUID(iid);
  create->SetSource(win32::Bstr(source).Get());
  create->SetDescription(win32::Bstr(description).Get());
  win32::ComPtr<IErrorInfo> info;
  if (SUCCEEDED(create->QueryInterface(IID_IErrorInfo, info.PutVoid()))) {
    ::SetErrorInfo(0, info.Get());
  }
}

}  // namespace mvsms::com
