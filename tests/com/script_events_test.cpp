// A script host that gives VBScript and JScript the events: it takes them at the connection point
// and calls the script's procedures "sender_StatusChange" and "sender_Error". Wine's own cscript
// cannot.
#include <activscp.h>

#include "tests/support/com_host.h"

namespace mvsms::com {
namespace {

using testing::HasSubstr;

/// The site of an engine with one named item.
class Site final : public IActiveScriptSite {
 public:
  explicit Site(IDispatch* sender) : sender_(sender) {}
  std::string error;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    const bool known = iid == IID_IUnknown || iid == __uuidof(IActiveScriptSite);
    *object = known ? this : nullptr;
    return known ? S_OK : E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
  HRESULT STDMETHODCALLTYPE GetLCID(LCID* language) override {
    *language = LOCALE_USER_DEFAULT;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetItemInfo(LPCOLESTR, DWORD mask, IUnknown** item,
                                        ITypeInfo** type) override {
    if (type) *type = nullptr;
    if (mask & SCRIPTINFO_IUNKNOWN) {
      sender_->AddRef();
      *item = sender_;
    }
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetDocVersionString(BSTR*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE OnScriptTerminate(const VARIANT*, const EXCEPINFO*) override {
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE OnStateChange(SCRIPTSTATE) override { return S_OK; }
  HRESULT STDMETHODCALLTYPE OnScriptError(IActiveScriptError* raised) override {
    EXCEPINFO info = {};
    raised->GetExceptionInfo(&info);
    error = win32::AnsiFromBstr(info.bstrDescription);
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE OnEnterScript() override { return S_OK; }
  HRESULT STDMETHODCALLTYPE OnLeaveScript() override { return S_OK; }

 private:
  IDispatch* sender_;
};

class ScriptHost {
 public:
  ScriptHost(const wchar_t* language, const wchar_t* script) : site_(host_.dispatch()) {
    CLSID clsid = {};
    EXPECT_EQ(::CLSIDFromProgID(language, &clsid), S_OK);
    EXPECT_EQ(::CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IActiveScript),
                                 engine_.PutVoid()),
              S_OK);
    ComPtr<IActiveScriptParse> parser;
    engine_->QueryInterface(__uuidof(IActiveScriptParse), parser.PutVoid());
    parser->InitNew();
    engine_->SetScriptSite(&site_);
    engine_->AddNamedItem(L"sender", SCRIPTITEM_ISVISIBLE);
    sink_.handler = [this](DISPID event, DISPPARAMS& arguments) {
      return Raise(event == 1 ? L"sender_Error" : L"sender_StatusChange", arguments);
    };
    const DWORD cookie = host_.Advise(sink_);
    EXPECT_EQ(parser->ParseScriptText(script, nullptr, nullptr, nullptr, 0, 0, SCRIPTTEXT_ISVISIBLE,
                                      nullptr, nullptr),
              S_OK);
    engine_->SetScriptState(SCRIPTSTATE_CONNECTED);
    DISPPARAMS none = {};
    EXPECT_EQ(Call(L"Run", &none, &result_), S_OK) << site_.error;
    host_.Unadvise(cookie);
    engine_->Close();
  }

  std::string Result() const { return result_.Text(); }
  std::string Error() const { return site_.error; }

 private:
  /// Hands the arguments of an event on by value, as JScript wants them.
  HRESULT Raise(const wchar_t* procedure, const DISPPARAMS& arguments) {
    std::vector<Value> values(arguments.cArgs);
    std::vector<VARIANT> plain;
    for (UINT i = 0; i < arguments.cArgs; ++i) {
      ::VariantCopyInd(&values[i], &arguments.rgvarg[i]);
      plain.push_back(values[i]);
    }
    DISPPARAMS copies = {plain.data(), nullptr, arguments.cArgs, 0};
    return Call(procedure, &copies, nullptr);
  }
  HRESULT Call(const wchar_t* procedure, DISPPARAMS* arguments, VARIANT* result) {
    ComPtr<IDispatch> script;
    engine_->GetScriptDispatch(nullptr, script.Put());
    auto* name = const_cast<LPOLESTR>(procedure);
    DISPID id = DISPID_UNKNOWN;
    const HRESULT found = script->GetIDsOfNames(IID_NULL, &name, 1, LOCALE_USER_DEFAULT, &id);
    if (FAILED(found)) return S_OK;  // a script need not handle every event
    return script->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, arguments, result,
                          nullptr, nullptr);
  }

  Host host_{kEmptyProfile};
  Site site_;
  Sink sink_;
  ComPtr<IActiveScript> engine_;
  Value result_;
};

// A send without settings: a begin line, the error and its repeated status, the end line.
constexpr wchar_t kVbScript[] =
    L"Dim changes, errors\n"
    L"Sub sender_StatusChange(status)\n"
    L"  changes = changes + 1\n"
    L"End Sub\n"
    L"Sub sender_Error(number, description, module)\n"
    L"  errors = errors & number & \" \" & module & \";\"\n"
    L"End Sub\n"
    L"Function Run()\n"
    L"  sender.SendMessage \"0171\", \"\", \"Hello\"\n"
    L"  Run = errors & changes\n"
    L"End Function\n";

constexpr wchar_t kJScript[] =
    L"var changes = 0, errors = '';\n"
    L"function sender_StatusChange(status) { ++changes; }\n"
    L"function sender_Error(number, description, module) {\n"
    L"  errors += number + ' ' + module + ';';\n"
    L"}\n"
    L"function Run() {\n"
    L"  sender.SendMessage('0171', '', 'Hello');\n"
    L"  return errors + changes;\n"
    L"}\n";

TEST(ScriptEvents, ReachVbScript) {
  ScriptHost host(L"VBScript", kVbScript);
  EXPECT_EQ(host.Result(), "5 Sender.SendMessage;4") << host.Error();
}

TEST(ScriptEvents, ReachJScript) {
  ScriptHost host(L"JScript", kJScript);
  EXPECT_EQ(host.Result(), "5 Sender.SendMessage;4") << host.Error();
}

TEST(ScriptEvents, AScriptMayAbortAndFailInAHandler) {
  ScriptHost host(L"VBScript",
                  L"Dim changes\n"
                  L"Sub sender_StatusChange(status)\n"
                  L"  changes = changes + 1\n"
                  L"  sender.AbortAction\n"
                  L"  Err.Raise 1001\n"
                  L"End Sub\n"
                  L"Function Run()\n"
                  L"  sender.SendMessage \"0171\", \"\", \"Hello\"\n"
                  L"  Run = \"\" & changes\n"
                  L"End Function\n");
  EXPECT_EQ(host.Result(), "4") << host.Error();
}

}  // namespace
}  // namespace mvsms::com
