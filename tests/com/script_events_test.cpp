// A script host that connects events as Windows Script Host does, with WScript.CreateObject and
// WScript.ConnectObject: the object's class information names its default source interface, that
// has a connection point, and an event calls the script's procedure of its name behind a prefix.
// Wine's own cscript has neither.
#include <activscp.h>

#include <memory>

#include "tests/support/com_host.h"

namespace mvsms::com {
namespace {

/// The default source interface of an object, by the class information that it gives; null when it
/// gives none.
ComPtr<ITypeInfo> SourceOf(IUnknown* object) {
  ComPtr<IProvideClassInfo> provider;
  ComPtr<ITypeInfo> coclass, source;
  object->QueryInterface(IID_IProvideClassInfo, provider.PutVoid());
  if (!provider || FAILED(provider->GetClassInfo(coclass.Put()))) return {};
  constexpr INT kDefaultSource = IMPLTYPEFLAG_FDEFAULT | IMPLTYPEFLAG_FSOURCE;
  INT flags = 0;
  for (UINT i = 0; SUCCEEDED(coclass->GetImplTypeFlags(i, &flags)); ++i) {
    HREFTYPE reference = 0;
    if (flags == kDefaultSource && SUCCEEDED(coclass->GetRefTypeOfImplType(i, &reference))) {
      coclass->GetRefTypeInfo(reference, source.Put());
    }
  }
  return source;
}

IID IdOf(ITypeInfo* info) {
  TYPEATTR* attributes = nullptr;
  if (FAILED(info->GetTypeAttr(&attributes))) return {};
  const IID iid = attributes->guid;
  info->ReleaseTypeAttr(attributes);
  return iid;
}

/// The script's procedures.
class Procedures {
 public:
  explicit Procedures(IActiveScript* engine) : engine_(engine) {}
  /// S_FALSE when the script has none of that name.
  HRESULT Call(const std::wstring& name, DISPPARAMS* arguments, VARIANT* result) const {
    ComPtr<IDispatch> script;
    engine_->GetScriptDispatch(nullptr, script.Put());
    auto* text = const_cast<LPOLESTR>(name.c_str());
    DISPID id = DISPID_UNKNOWN;
    if (FAILED(script->GetIDsOfNames(IID_NULL, &text, 1, LOCALE_USER_DEFAULT, &id))) return S_FALSE;
    return script->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, arguments, result,
                          nullptr, nullptr);
  }

 private:
  IActiveScript* engine_;
};

/// The events of one object, connected to procedures with a prefix for as long as this exists.
class Connection {
 public:
  Connection(IUnknown* object, const Procedures& procedures, std::wstring prefix)
      : procedures_(procedures), prefix_(std::move(prefix)), source_(SourceOf(object)) {
    ComPtr<IConnectionPointContainer> container;
    object->QueryInterface(IID_IConnectionPointContainer, container.PutVoid());
    if (!source_ || !container) return;
    container->FindConnectionPoint(IdOf(source_.Get()), point_.Put());
    sink_.handler = [this](DISPID event, DISPPARAMS& arguments) { return Raise(event, arguments); };
    if (point_) point_->Advise(&sink_, &cookie_);
  }
  ~Connection() {
    if (cookie_ != 0) point_->Unadvise(cookie_);
  }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  explicit operator bool() const { return cookie_ != 0; }

 private:
  /// Hands the arguments on by value, as Wine's JScript wants them.
  HRESULT Raise(DISPID event, const DISPPARAMS& arguments) {
    Bstr name;
    UINT count = 0;
    source_->GetNames(event, name.Put(), 1, &count);
    std::vector<Value> values(arguments.cArgs);
    std::vector<VARIANT> plain;
    for (UINT i = 0; i < arguments.cArgs; ++i) {
      ::VariantCopyInd(&values[i], &arguments.rgvarg[i]);
      plain.push_back(values[i]);
    }
    DISPPARAMS copies = {plain.data(), nullptr, arguments.cArgs, 0};
    return procedures_.Call(prefix_ + name.Get(), &copies, nullptr);
  }

  const Procedures& procedures_;
  const std::wstring prefix_;
  ComPtr<ITypeInfo> source_;
  ComPtr<IConnectionPoint> point_;
  Sink sink_;
  DWORD cookie_ = 0;
};

/// The object "WScript": CreateObject(name, prefix), ConnectObject(object, prefix) and
/// DisconnectObject(object).
class Shell final : public IDispatch {
 public:
  explicit Shell(IActiveScript* engine) : procedures_(engine) {}
  void DisconnectAll() { connections_.clear(); }

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    const bool known = iid == IID_IUnknown || iid == IID_IDispatch;
    *object = known ? this : nullptr;
    return known ? S_OK : E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override {
    *count = 0;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override {
    return DISP_E_BADINDEX;
  }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR* names, UINT, LCID,
                                          DISPID* ids) override {
    for (const DISPID id : {kCreate, kConnect, kDisconnect}) {
      if (::lstrcmpiW(names[0], kNames[id]) == 0) {
        ids[0] = id;
        return S_OK;
      }
    }
    return DISP_E_UNKNOWNNAME;
  }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS* given,
                                   VARIANT* result, EXCEPINFO*, UINT*) override {
    std::vector<Value> arguments(given->cArgs);  // in their order
    for (UINT i = 0; i < given->cArgs; ++i) {
      ::VariantCopyInd(&arguments[i], &given->rgvarg[given->cArgs - 1 - i]);
    }
    if (id == kCreate) return Create(arguments[0].bstrVal, arguments[1].bstrVal, result);
    if (id == kConnect) return Connect(arguments[0].pdispVal, arguments[1].bstrVal);
    connections_.erase(arguments[0].pdispVal);
    return S_OK;
  }

 private:
  enum : DISPID { kCreate, kConnect, kDisconnect };
  static constexpr const wchar_t* kNames[] = {L"CreateObject", L"ConnectObject",
                                              L"DisconnectObject"};

  HRESULT Create(const wchar_t* prog_id, const wchar_t* prefix, VARIANT* result) {
    CLSID clsid = {};
    ComPtr<IDispatch> object;
    EXPECT_EQ(::CLSIDFromProgID(prog_id, &clsid), S_OK);
    EXPECT_EQ(
        ::CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IDispatch, object.PutVoid()),
        S_OK);
    const HRESULT connected = Connect(object.Get(), prefix);
    result->vt = VT_DISPATCH;
    result->pdispVal = object.Detach();
    return connected;
  }
  HRESULT Connect(IDispatch* object, const wchar_t* prefix) {
    auto& connection = connections_[object];
    connection = std::make_unique<Connection>(object, procedures_, prefix);
    return *connection ? S_OK : CONNECT_E_CANNOTCONNECT;
  }

  const Procedures procedures_;
  std::map<IDispatch*, std::unique_ptr<Connection>> connections_;
};

/// The site of an engine with the one named item "WScript".
class Site final : public IActiveScriptSite {
 public:
  explicit Site(IDispatch* item) : item_(item) {}
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
    if (mask & SCRIPTINFO_IUNKNOWN) *item = item_;
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
  IDispatch* item_;
};

ComPtr<IActiveScript> NewEngine(const wchar_t* language) {
  CLSID clsid = {};
  ComPtr<IActiveScript> engine;
  EXPECT_EQ(::CLSIDFromProgID(language, &clsid), S_OK);
  EXPECT_EQ(::CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IActiveScript),
                               engine.PutVoid()),
            S_OK);
  return engine;
}

/// Runs a script and keeps what its function Run gives back.
class ScriptHost {
 public:
  ScriptHost(const wchar_t* language, const wchar_t* script) : engine_(NewEngine(language)) {
    ComPtr<IActiveScriptParse> parser;
    engine_->QueryInterface(__uuidof(IActiveScriptParse), parser.PutVoid());
    parser->InitNew();
    engine_->SetScriptSite(&site_);
    engine_->AddNamedItem(L"WScript", SCRIPTITEM_ISVISIBLE);
    EXPECT_EQ(parser->ParseScriptText(script, nullptr, nullptr, nullptr, 0, 0, SCRIPTTEXT_ISVISIBLE,
                                      nullptr, nullptr),
              S_OK);
    engine_->SetScriptState(SCRIPTSTATE_CONNECTED);
    DISPPARAMS none = {};
    EXPECT_EQ(Procedures(engine_.Get()).Call(L"Run", &none, &result_), S_OK) << site_.error;
    shell_.DisconnectAll();
    engine_->Close();
  }

  std::string Result() const { return result_.Text(); }
  std::string Error() const { return site_.error; }

 private:
  ComPtr<IActiveScript> engine_;
  Shell shell_{engine_.Get()};
  Site site_{&shell_};
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
    L"  Dim sender\n"
    L"  Set sender = WScript.CreateObject(\"mvSMS.Sender\", \"sender_\")\n"
    L"  sender.HostAppName = \"ComTestEmpty\"\n"
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
    L"  var sender = WScript.CreateObject('mvSMS.Sender', 'sender_');\n"
    L"  sender.HostAppName = 'ComTestEmpty';\n"
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

// (Wine's own CreateObject leaves a reference on the class factory behind.)
TEST(ScriptEvents, BeginWithConnectObjectAndEndWithDisconnectObject) {
  ScriptHost host(L"VBScript",
                  L"Dim changes\n"
                  L"Sub pager_StatusChange(status)\n"
                  L"  changes = changes + 1\n"
                  L"End Sub\n"
                  L"Function Run()\n"
                  L"  Dim sender\n"
                  L"  Set sender = WScript.CreateObject(\"mvSMS.Sender\", \"other_\")\n"
                  L"  sender.HostAppName = \"ComTestEmpty\"\n"
                  L"  sender.SendMessage \"0171\", \"\", \"Hello\"\n"
                  L"  WScript.ConnectObject sender, \"pager_\"\n"
                  L"  sender.SendMessage \"0171\", \"\", \"Hello\"\n"
                  L"  WScript.DisconnectObject sender\n"
                  L"  sender.SendMessage \"0171\", \"\", \"Hello\"\n"
                  L"  Run = \"\" & changes\n"
                  L"End Function\n");
  EXPECT_EQ(host.Result(), "4") << host.Error();
}

TEST(ScriptEvents, AScriptMayAbortAndFailInAHandler) {
  ScriptHost host(L"VBScript",
                  L"Dim changes, sender\n"
                  L"Sub sender_StatusChange(status)\n"
                  L"  changes = changes + 1\n"
                  L"  sender.AbortAction\n"
                  L"  Err.Raise 1001\n"
                  L"End Sub\n"
                  L"Function Run()\n"
                  L"  Set sender = WScript.CreateObject(\"mvSMS.Sender\", \"sender_\")\n"
                  L"  sender.HostAppName = \"ComTestEmpty\"\n"
                  L"  sender.SendMessage \"0171\", \"\", \"Hello\"\n"
                  L"  Run = \"\" & changes\n"
                  L"End Function\n");
  EXPECT_EQ(host.Result(), "4") << host.Error();
}

}  // namespace
}  // namespace mvsms::com
