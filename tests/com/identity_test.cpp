// What hosts were built against: identifiers, members, their order and their defaults.
#include <tuple>

#include "tests/support/com_host.h"

namespace mvsms::com {
namespace {

using testing::ElementsAre;
using testing::Pair;

std::string Text(const GUID& guid) {
  wchar_t text[64] = L"";
  ::StringFromGUID2(guid, text, 64);
  std::string narrow;
  for (const wchar_t* c = text; *c != 0; ++c) narrow += static_cast<char>(*c);
  return narrow;
}

class Identity : public testing::Test {
 protected:
  Identity() {
    wchar_t path[MAX_PATH] = L"";
    ::GetFullPathNameW(L"mvSMS.dll", MAX_PATH, path, nullptr);
    EXPECT_EQ(::LoadTypeLibEx(path, REGKIND_NONE, library.Put()), S_OK);
  }
  ComPtr<ITypeInfo> Info(REFGUID guid) {
    ComPtr<ITypeInfo> info;
    EXPECT_EQ(library->GetTypeInfoOfGuid(guid, info.Put()), S_OK);
    return info;
  }
  static std::string Name(ITypeInfo* info, MEMBERID member) {
    Bstr name;
    info->GetDocumentation(member, name.Put(), nullptr, nullptr, nullptr);
    return name.Ansi();
  }
  /// Members of an interface that is its own (not IDispatch's), in their order, with identifiers.
  static std::vector<std::pair<std::string, long>> Members(ITypeInfo* info) {
    std::vector<std::pair<std::string, long>> members;
    FUNCDESC* function = nullptr;
    for (UINT i = 0; SUCCEEDED(info->GetFuncDesc(i, &function)); ++i) {
      const bool inherited = (function->wFuncFlags & FUNCFLAG_FRESTRICTED) != 0;
      const auto entry = std::pair(Name(info, function->memid), long{function->memid});
      if (!inherited && (members.empty() || members.back() != entry)) members.push_back(entry);
      info->ReleaseFuncDesc(function);
    }
    return members;
  }
  ComPtr<ITypeLib> library;
};

TEST_F(Identity, IdentifiersNeverChange) {
  EXPECT_EQ(Text(LIBID_mvSMS), "{71B8E07B-8614-4071-A7C0-78FAFC360BBE}");
  EXPECT_EQ(Text(CLSID_Sender), "{3F383E62-CADE-45B8-A9FC-4352F7BBB909}");
  EXPECT_EQ(Text(IID__Sender), "{9F4C67B3-A024-40F9-8C19-5139A0517DED}");
  EXPECT_EQ(Text(DIID___Sender), "{9E021F6A-9648-43BB-A131-FD160122C077}");
  EXPECT_EQ(Text(CLSID_Config), "{992C0651-5BC9-4ACC-AF74-6F2CABBB6D33}");
  EXPECT_EQ(Text(IID__Config), "{48F60EC3-E5FF-423A-A9C5-9D95494DA570}");
}

TEST_F(Identity, LibraryIsMvSms) {
  TLIBATTR* attributes = nullptr;
  ASSERT_EQ(library->GetLibAttr(&attributes), S_OK);
  EXPECT_EQ(Text(attributes->guid), Text(LIBID_mvSMS));
  EXPECT_EQ(attributes->wMajorVerNum, 1);
  EXPECT_EQ(attributes->wMinorVerNum, 0);
  library->ReleaseTLibAttr(attributes);
  Bstr name;
  library->GetDocumentation(-1, name.Put(), nullptr, nullptr, nullptr);
  EXPECT_EQ(name.Ansi(), "mvSMS");
}

TEST_F(Identity, SenderHasItsMembersInTheirOrder) {
  EXPECT_THAT(Members(Info(IID__Sender).Get()),
              ElementsAre(Pair("Status", 0x40030009), Pair("RetrySuggested", 0x4003000a),
                          Pair("HostAppName", 0x4003000b), Pair("AbortAction", 0x60030009),
                          Pair("SendMessage", 0x6003000a), Pair("LogFilePath", 0x4003000c)));
}

TEST_F(Identity, EventsHaveTheirIdentifiers) {
  EXPECT_THAT(Members(Info(DIID___Sender).Get()),
              ElementsAre(Pair("Error", 1), Pair("StatusChange", 2)));
}

TEST_F(Identity, ConfigHasItsMembers) {
  EXPECT_THAT(Members(Info(IID__Config).Get()), ElementsAre(Pair("ShowConfigDialog", 0x60030000),
                                                            Pair("DisableShowWindow", 0x40030000),
                                                            Pair("EnforceLogging", 0x40030001)));
}

/// One method as the type library declares it.
class Declared : public Identity {
 protected:
  Declared(const IID& interface_id, MEMBERID member) : info(Info(interface_id)) {
    for (UINT i = 0; SUCCEEDED(info->GetFuncDesc(i, &function)); ++i) {
      if (function->memid == member) return;
      info->ReleaseFuncDesc(function);
    }
    function = nullptr;
  }
  ~Declared() override { info->ReleaseFuncDesc(function); }
  ComPtr<ITypeInfo> info;
  FUNCDESC* function = nullptr;
};

class SendMessageDeclared : public Declared {
 protected:
  SendMessageDeclared() : Declared(IID__Sender, 0x6003000a) {}
};

class ShowConfigDialogDeclared : public Declared {
 protected:
  ShowConfigDialogDeclared() : Declared(IID__Config, 0x60030000) {}
};

TEST_F(ShowConfigDialogDeclared, OwnerAndModalityMayBeLeftOut) {
  ASSERT_NE(function, nullptr);
  ASSERT_EQ(function->cParams, 3);
  EXPECT_FALSE(function->lprgelemdescParam[0].paramdesc.wParamFlags & PARAMFLAG_FOPT);
  const auto fallback = [this](int parameter) {
    const PARAMDESC& description = function->lprgelemdescParam[parameter].paramdesc;
    EXPECT_TRUE(description.wParamFlags & PARAMFLAG_FHASDEFAULT) << parameter;
    return description.pparamdescex->varDefaultValue;
  };
  EXPECT_EQ(fallback(1).vt, VT_I4);
  EXPECT_EQ(fallback(1).lVal, 0);
  EXPECT_EQ(fallback(2).vt, VT_BOOL);
  EXPECT_EQ(fallback(2).boolVal, VARIANT_FALSE);
}

TEST_F(SendMessageDeclared, TakesFourTextsByReferenceAndGivesABoolean) {
  ASSERT_NE(function, nullptr);
  ASSERT_EQ(function->cParams, 4);
  for (int i = 0; i < 4; ++i) {
    const ELEMDESC& parameter = function->lprgelemdescParam[i];
    EXPECT_EQ(parameter.tdesc.vt, VT_PTR) << i;
    EXPECT_EQ(parameter.tdesc.lptdesc->vt, VT_BSTR) << i;
    EXPECT_EQ(parameter.paramdesc.wParamFlags & (PARAMFLAG_FIN | PARAMFLAG_FOUT),
              PARAMFLAG_FIN | PARAMFLAG_FOUT)
        << i;
  }
  EXPECT_EQ(function->elemdescFunc.tdesc.vt, VT_BOOL);
}

TEST_F(SendMessageDeclared, ServiceNameIsOptionalAndEmptyByDefault) {
  ASSERT_NE(function, nullptr);
  const PARAMDESC& last = function->lprgelemdescParam[3].paramdesc;
  EXPECT_TRUE(last.wParamFlags & PARAMFLAG_FOPT);
  ASSERT_TRUE(last.wParamFlags & PARAMFLAG_FHASDEFAULT);
  EXPECT_EQ(last.pparamdescex->varDefaultValue.vt, VT_BSTR);
  EXPECT_EQ(win32::AnsiFromBstr(last.pparamdescex->varDefaultValue.bstrVal), "");
  EXPECT_FALSE(function->lprgelemdescParam[2].paramdesc.wParamFlags & PARAMFLAG_FOPT);
}

TEST_F(Identity, ClassesNameTheirInterfaces) {
  for (const auto& [clsid, count] : {std::pair(CLSID_Sender, 2), std::pair(CLSID_Config, 1)}) {
    const auto info = Info(clsid);
    TYPEATTR* attributes = nullptr;
    ASSERT_EQ(info->GetTypeAttr(&attributes), S_OK);
    EXPECT_EQ(attributes->typekind, TKIND_COCLASS);
    EXPECT_EQ(attributes->cImplTypes, count);
    EXPECT_TRUE(attributes->wTypeFlags & TYPEFLAG_FCANCREATE);
    info->ReleaseTypeAttr(attributes);
  }
  INT flags = 0;
  ASSERT_EQ(Info(CLSID_Sender)->GetImplTypeFlags(1, &flags), S_OK);
  EXPECT_EQ(flags, IMPLTYPEFLAG_FDEFAULT | IMPLTYPEFLAG_FSOURCE);
}

TEST_F(Identity, ObjectsTellTheirTypes) {
  Host host;
  ComPtr<IProvideClassInfo2> provider;
  ASSERT_EQ(host.sender().QueryInterface(IID_IProvideClassInfo2, provider.PutVoid()), S_OK);
  GUID events{};
  EXPECT_EQ(provider->GetGUID(GUIDKIND_DEFAULT_SOURCE_DISP_IID, &events), S_OK);
  EXPECT_EQ(Text(events), Text(DIID___Sender));
  EXPECT_EQ(provider->GetGUID(7, &events), E_INVALIDARG);
  ComPtr<ITypeInfo> info;
  ASSERT_EQ(provider->GetClassInfo(info.Put()), S_OK);
  EXPECT_EQ(Name(info.Get(), MEMBERID_NIL), "Sender");
  ComPtr<ISupportErrorInfo> errors;
  ASSERT_EQ(host.sender().QueryInterface(IID_ISupportErrorInfo, errors.PutVoid()), S_OK);
  EXPECT_EQ(errors->InterfaceSupportsErrorInfo(IID__Sender), S_OK);
  EXPECT_EQ(errors->InterfaceSupportsErrorInfo(IID_IDispatch), S_FALSE);
}

TEST_F(Identity, FileTellsItsVersion) {
  DWORD ignored = 0;
  const DWORD size = ::GetFileVersionInfoSizeW(L"mvSMS.dll", &ignored);
  ASSERT_GT(size, 0U);
  std::vector<char> data(size);
  ASSERT_TRUE(::GetFileVersionInfoW(L"mvSMS.dll", 0, size, data.data()));
  VS_FIXEDFILEINFO* fixed = nullptr;
  UINT length = 0;
  ASSERT_TRUE(::VerQueryValueW(data.data(), L"\\", reinterpret_cast<void**>(&fixed), &length));
  EXPECT_EQ(fixed->dwFileVersionMS, MAKELONG(0, 1));
  EXPECT_EQ(fixed->dwFileType, DWORD{VFT_DLL});
}

}  // namespace
}  // namespace mvsms::com
