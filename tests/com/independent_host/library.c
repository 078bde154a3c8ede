/* The registration and the type library: what compilers read. */
#include <stdio.h>
#include <wchar.h>

#include "host.h"

static ITypeLib* library = NULL;
static GUID library_id;

/* The default value of a key below HKEY_CLASSES_ROOT, or a named one. Empty when there is none. */
static const wchar_t* Registered(const wchar_t* key, const wchar_t* name) {
  static wchar_t text[512];
  LONG size = sizeof text;
  HKEY open;
  text[0] = 0;
  if (RegOpenKeyExW(HKEY_CLASSES_ROOT, key, 0, KEY_READ, &open) != ERROR_SUCCESS) return text;
  RegQueryValueExW(open, name, NULL, NULL, (BYTE*)text, (DWORD*)&size);
  RegCloseKey(open);
  return text;
}

static const wchar_t* RegisteredOf(REFCLSID clsid, const wchar_t* below, const wchar_t* name) {
  wchar_t id[64], key[128];
  StringFromGUID2(clsid, id, 64);
  swprintf(key, 128, L"CLSID\\%ls\\%ls", id, below);
  return Registered(key, name);
}

static int LoadLibraryOf(REFCLSID clsid) {
  wchar_t id[64];
  if (library) return 1;
  wcsncpy(id, RegisteredOf(clsid, L"TypeLib", NULL), 63);
  id[63] = 0;
  return SUCCEEDED(CLSIDFromString(id, &library_id)) &&
         SUCCEEDED(LoadRegTypeLib(&library_id, 1, 0, LOCALE_NEUTRAL, &library));
}

static GUID GuidOf(ITypeInfo* info) {
  GUID guid = {0};
  TYPEATTR* attributes;
  if (FAILED(ITypeInfo_GetTypeAttr(info, &attributes))) return guid;
  guid = attributes->guid;
  ITypeInfo_ReleaseTypeAttr(info, attributes);
  return guid;
}

/* The interfaces of a class: the default one that it has and the default one that it calls. */
static int ReadInterfaces(ITypeInfo* coclass, Class* type) {
  for (UINT i = 0;; ++i) {
    INT flags = 0;
    HREFTYPE reference;
    ITypeInfo* info;
    if (FAILED(ITypeInfo_GetImplTypeFlags(coclass, i, &flags))) return type->members != NULL;
    if (FAILED(ITypeInfo_GetRefTypeOfImplType(coclass, i, &reference))) return 0;
    if (FAILED(ITypeInfo_GetRefTypeInfo(coclass, reference, &info))) return 0;
    if (flags == IMPLTYPEFLAG_FDEFAULT) {
      type->members = info;
      type->interface_id = GuidOf(info);
    } else if (flags == (IMPLTYPEFLAG_FDEFAULT | IMPLTYPEFLAG_FSOURCE)) {
      type->events = info;
      type->event_id = GuidOf(info);
    }
  }
}

static const Class* Read(const wchar_t* prog_id, Class* type) {
  ITypeInfo* coclass;
  if (type->members) return type;
  if (FAILED(CLSIDFromProgID(prog_id, &type->clsid)) || !LoadLibraryOf(&type->clsid)) return NULL;
  if (FAILED(ITypeLib_GetTypeInfoOfGuid(library, &type->clsid, &coclass))) return NULL;
  const int complete = ReadInterfaces(coclass, type);
  ITypeInfo_Release(coclass);
  return complete ? type : NULL;
}

const Class* SenderClass(void) {
  static Class type;
  return Read(L"mvSMS.Sender", &type);
}

const Class* ConfigClass(void) {
  static Class type;
  return Read(L"mvSMS.Config", &type);
}

/* A member as hosts of many years were compiled against it. Positions count from IUnknown's first
 * method. */
typedef struct Member {
  const wchar_t* name;
  INVOKEKIND kind;
  MEMBERID id;
  int position;
  int parameters;
} Member;

static const Member sender_members[] = {
    {L"Status", INVOKE_PROPERTYGET, 0x40030009, 7, 0},
    {L"Status", INVOKE_PROPERTYPUT, 0x40030009, 8, 1},
    {L"RetrySuggested", INVOKE_PROPERTYGET, 0x4003000a, 9, 0},
    {L"RetrySuggested", INVOKE_PROPERTYPUT, 0x4003000a, 10, 1},
    {L"HostAppName", INVOKE_PROPERTYGET, 0x4003000b, 11, 0},
    {L"HostAppName", INVOKE_PROPERTYPUT, 0x4003000b, 12, 1},
    {L"AbortAction", INVOKE_FUNC, 0x60030009, 13, 0},
    {L"SendMessage", INVOKE_FUNC, 0x6003000a, 14, 4},
    {L"LogFilePath", INVOKE_PROPERTYGET, 0x4003000c, 15, 0},
    {L"LogFilePath", INVOKE_PROPERTYPUT, 0x4003000c, 16, 1},
};
static const Member config_members[] = {
    {L"ShowConfigDialog", INVOKE_FUNC, 0x60030000, 7, 3},
    {L"DisableShowWindow", INVOKE_PROPERTYGET, 0x40030000, 8, 0},
    {L"DisableShowWindow", INVOKE_PROPERTYPUT, 0x40030000, 9, 1},
    {L"EnforceLogging", INVOKE_PROPERTYGET, 0x40030001, 10, 0},
    {L"EnforceLogging", INVOKE_PROPERTYPUT, 0x40030001, 11, 1},
};
static const Member event_members[] = {
    {L"Error", INVOKE_FUNC, 1, 0, 3},
    {L"StatusChange", INVOKE_FUNC, 2, 0, 1},
};

/* The description of a member, to be given back; null when there is none. */
static FUNCDESC* Describe(ITypeInfo* info, const wchar_t* name, INVOKEKIND kind) {
  FUNCDESC* function;
  for (UINT i = 0; SUCCEEDED(ITypeInfo_GetFuncDesc(info, i, &function)); ++i) {
    BSTR found = NULL;
    UINT count = 0;
    ITypeInfo_GetNames(info, function->memid, &found, 1, &count);
    const int is_it = found && wcscmp(found, name) == 0 && function->invkind == kind;
    SysFreeString(found);
    if (is_it) return function;
    ITypeInfo_ReleaseFuncDesc(info, function);
  }
  return NULL;
}

Method Find(void* object, ITypeInfo* members, const wchar_t* name, INVOKEKIND kind) {
  FUNCDESC* const function = Describe(members, name, kind);
  if (!function) return NULL;
  const size_t position = (size_t)function->oVft / sizeof(void*);
  ITypeInfo_ReleaseFuncDesc(members, function);
  return (*(Method**)object)[position];
}

static void CheckMembers(ITypeInfo* info, const Member* members, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    const Member* const member = &members[i];
    FUNCDESC* const function = Describe(info, member->name, member->kind);
    CHECK(function != NULL);
    if (!function) continue;
    CHECK(function->memid == member->id);
    CHECK(function->cParams == member->parameters);
    if (member->position != 0) {
      CHECK((size_t)function->oVft == (size_t)member->position * sizeof(void*));
    }
    ITypeInfo_ReleaseFuncDesc(info, function);
  }
}

/* All four texts go in and come back; the last may be left out and is empty then. */
static void CheckSendMessage(ITypeInfo* info) {
  FUNCDESC* const function = Describe(info, L"SendMessage", INVOKE_FUNC);
  if (!function) return;
  for (int i = 0; i < 4; ++i) {
    const ELEMDESC* const parameter = &function->lprgelemdescParam[i];
    const USHORT both = PARAMFLAG_FIN | PARAMFLAG_FOUT;
    CHECK(parameter->tdesc.vt == VT_PTR && parameter->tdesc.lptdesc->vt == VT_BSTR);
    CHECK((parameter->paramdesc.wParamFlags & both) == both);
    CHECK(((parameter->paramdesc.wParamFlags & PARAMFLAG_FOPT) != 0) == (i == 3));
  }
  CHECK(function->elemdescFunc.tdesc.vt == VT_BOOL);
  ITypeInfo_ReleaseFuncDesc(info, function);
}

#define COUNT(array) (sizeof(array) / sizeof *(array))

void CheckLibrary(void) {
  TLIBATTR* attributes;
  BSTR name = NULL;
  CHECK_RESULT(S_OK, ITypeLib_GetLibAttr(library, &attributes));
  CHECK(attributes->wMajorVerNum == 1 && attributes->wMinorVerNum == 0);
  CHECK(attributes->syskind == (sizeof(void*) == 8 ? SYS_WIN64 : SYS_WIN32));
  ITypeLib_ReleaseTLibAttr(library, attributes);
  CHECK_RESULT(S_OK, ITypeLib_GetDocumentation(library, -1, &name, NULL, NULL, NULL));
  CHECK(name && wcscmp(name, L"mvSMS") == 0);
  SysFreeString(name);

  CHECK(SenderClass()->events != NULL);
  CHECK(ConfigClass()->events == NULL);
  CHECK(wcscmp(RegisteredOf(&SenderClass()->clsid, L"InprocServer32", L"ThreadingModel"),
               L"Apartment") == 0);
  CHECK(wcscmp(RegisteredOf(&ConfigClass()->clsid, L"InprocServer32", L"ThreadingModel"),
               L"Apartment") == 0);
  LPOLESTR prog_id = NULL;
  CHECK_RESULT(S_OK, ProgIDFromCLSID(&SenderClass()->clsid, &prog_id));
  CHECK(prog_id && wcscmp(prog_id, L"mvSMS.Sender") == 0);
  CoTaskMemFree(prog_id);

  CheckMembers(SenderClass()->members, sender_members, COUNT(sender_members));
  CheckMembers(ConfigClass()->members, config_members, COUNT(config_members));
  CheckMembers(SenderClass()->events, event_members, COUNT(event_members));
  CheckSendMessage(SenderClass()->members);
}
