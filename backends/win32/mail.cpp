// Mails through the automation object of the desktop mail client.
#include <utility>
#include <vector>

#include "backends/win32/backend.h"
#include "backends/win32/handles.h"
#include "base/raised_error.h"

namespace mvsms::win32 {
namespace {

constexpr long kMailItem = 0;  // olMailItem

/// An argument of a late-bound call, or its result.
class Value {
 public:
  Value() { ::VariantInit(&variant_); }
  explicit Value(long number) : Value() {
    variant_.vt = VT_I4;
    variant_.lVal = number;
  }
  explicit Value(const std::string& text) : Value() {
    variant_.vt = VT_BSTR;
    variant_.bstrVal = Bstr(text).Detach();
  }
  Value(const Value&) = delete;
  Value& operator=(const Value&) = delete;
  ~Value() { ::VariantClear(&variant_); }

  VARIANT& Get() { return variant_; }
  ComPtr<IDispatch> TakeObject() {
    if (variant_.vt != VT_DISPATCH) return {};
    variant_.vt = VT_EMPTY;
    return ComPtr<IDispatch>(variant_.pdispVal);
  }

 private:
  VARIANT variant_;
};

void Check(HRESULT result, const std::string& what) {
  if (FAILED(result)) {
    throw RaisedError(static_cast<std::int32_t>(result), "Mail." + what,
                      what + " failed in the mail program");
  }
}

/// Calls a member by its name.
void Invoke(IDispatch* object, const char* member, WORD kind, Value* argument, Value* result) {
  Bstr name(member);
  BSTR text = name.Get();
  DISPID id = 0;
  Check(object->GetIDsOfNames(IID_NULL, &text, 1, LOCALE_USER_DEFAULT, &id), member);
  DISPID put = DISPID_PROPERTYPUT;
  DISPPARAMS arguments = {};
  if (argument) {
    arguments.rgvarg = &argument->Get();
    arguments.cArgs = 1;
  }
  if (kind == DISPATCH_PROPERTYPUT) {
    arguments.rgdispidNamedArgs = &put;
    arguments.cNamedArgs = 1;
  }
  Check(object->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, kind, &arguments,
                       result ? &result->Get() : nullptr, nullptr, nullptr),
        member);
}

class Win32MailItem : public MailItem {
 public:
  explicit Win32MailItem(ComPtr<IDispatch> item) : item_(std::move(item)) {}

  void SetRecipient(const std::string& address) override { Put("To", address); }
  void SetSubject(const std::string& subject) override { Put("Subject", subject); }
  void SetBody(const std::string& body) override { Put("Body", body); }
  void Display() override { Invoke(item_.Get(), "Display", DISPATCH_METHOD, nullptr, nullptr); }
  void Send() override { Invoke(item_.Get(), "Send", DISPATCH_METHOD, nullptr, nullptr); }

 private:
  void Put(const char* property, const std::string& text) {
    Value value(text);
    Invoke(item_.Get(), property, DISPATCH_PROPERTYPUT, &value, nullptr);
  }

  ComPtr<IDispatch> item_;
};

class Win32MailClient : public MailClient {
 public:
  Win32MailClient() {
    CLSID clsid = {};
    Check(::CLSIDFromProgID(L"Outlook.Application", &clsid), "Outlook.Application");
    Check(::CoCreateInstance(clsid, nullptr, CLSCTX_SERVER, IID_IDispatch, application_.PutVoid()),
          "Outlook.Application");
  }

  std::unique_ptr<MailItem> CreateItem() override {
    OpenSession();
    Value kind(kMailItem);
    Value item;
    Invoke(application_.Get(), "CreateItem", DISPATCH_METHOD, &kind, &item);
    auto object = item.TakeObject();
    if (!object) Check(E_UNEXPECTED, "CreateItem");
    return std::make_unique<Win32MailItem>(std::move(object));
  }

 private:
  void OpenSession() {
    Value name(std::string("MAPI"));
    Value space;
    Invoke(application_.Get(), "GetNamespace", DISPATCH_METHOD, &name, &space);
    namespace_ = space.TakeObject();
  }

  ComPtr<IDispatch> application_;
  ComPtr<IDispatch> namespace_;  // the session, kept as long as its mails are written
};

class Win32Mail : public Mail {
 public:
  std::unique_ptr<MailClient> Start() override { return std::make_unique<Win32MailClient>(); }
};

}  // namespace

std::unique_ptr<Mail> MakeMail() { return std::make_unique<Win32Mail>(); }

}  // namespace mvsms::win32
