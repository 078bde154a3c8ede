/* Early bound calls: by the positions in the method table. */
#include <wchar.h>

#include "host.h"

typedef HRESULT(STDMETHODCALLTYPE* TextGetter)(void*, BSTR*);
typedef HRESULT(STDMETHODCALLTYPE* TextPutter)(void*, BSTR);
typedef HRESULT(STDMETHODCALLTYPE* SwitchGetter)(void*, VARIANT_BOOL*);
typedef HRESULT(STDMETHODCALLTYPE* SwitchPutter)(void*, VARIANT_BOOL);
typedef HRESULT(STDMETHODCALLTYPE* Sending)(void*, BSTR*, BSTR*, BSTR*, BSTR*, VARIANT_BOOL*);
typedef HRESULT(STDMETHODCALLTYPE* Aborting)(void*);

static Method OfSender(void* sender, const wchar_t* name, INVOKEKIND kind) {
  return Find(sender, SenderClass()->members, name, kind);
}

HRESULT GetText(void* sender, const wchar_t* property, BSTR* value) {
  return ((TextGetter)OfSender(sender, property, INVOKE_PROPERTYGET))(sender, value);
}

HRESULT PutText(void* sender, const wchar_t* property, const wchar_t* value) {
  BSTR text = value ? SysAllocString(value) : NULL;
  const HRESULT result = ((TextPutter)OfSender(sender, property, INVOKE_PROPERTYPUT))(sender, text);
  SysFreeString(text);
  return result;
}

HRESULT GetSwitch(void* object, ITypeInfo* members, const wchar_t* property, VARIANT_BOOL* value) {
  return ((SwitchGetter)Find(object, members, property, INVOKE_PROPERTYGET))(object, value);
}

HRESULT PutSwitch(void* object, ITypeInfo* members, const wchar_t* property, VARIANT_BOOL value) {
  return ((SwitchPutter)Find(object, members, property, INVOKE_PROPERTYPUT))(object, value);
}

HRESULT Send(void* sender, BSTR texts[4], VARIANT_BOOL* result) {
  return ((Sending)OfSender(sender, L"SendMessage", INVOKE_FUNC))(sender, &texts[0], &texts[1],
                                                                  &texts[2], &texts[3], result);
}

HRESULT SendSomething(void* sender, VARIANT_BOOL* result) {
  BSTR texts[4] = {SysAllocString(L"0171 234"), SysAllocString(L"0301"),
                   SysAllocString(L"  Pump 3 has stopped "), SysAllocString(L"")};
  const HRESULT sent = Send(sender, texts, result);
  for (int i = 0; i < 4; ++i) SysFreeString(texts[i]);
  return sent;
}

int TextIs(void* sender, const wchar_t* property, const wchar_t* text) {
  BSTR value = NULL;
  const int is = SUCCEEDED(GetText(sender, property, &value)) && wcscmp(value, text) == 0;
  SysFreeString(value);
  return is;
}

int StatusContains(void* sender, const wchar_t* text) {
  BSTR value = NULL;
  const int contains = SUCCEEDED(GetText(sender, L"Status", &value)) && wcsstr(value, text) != NULL;
  SysFreeString(value);
  return contains;
}

#define PROFILES L"Software\\MIRVALEN\\PAGOREX"
/* Both views of the registry, for this host does not know which one the component reads. */
static const REGSAM views[] = {KEY_WOW64_64KEY, KEY_WOW64_32KEY};

static void WriteText(const wchar_t* below, const wchar_t* name, const wchar_t* text) {
  for (int view = 0; view < 2; ++view) {
    HKEY profiles;
    if (RegCreateKeyExW(HKEY_LOCAL_MACHINE, PROFILES, 0, NULL, 0, KEY_ALL_ACCESS | views[view],
                        NULL, &profiles, NULL) != ERROR_SUCCESS) {
      continue;
    }
    RegSetKeyValueW(profiles, below, name, REG_SZ, text,
                    (DWORD)((wcslen(text) + 1) * sizeof *text));
    RegCloseKey(profiles);
  }
}

void WriteProfile(void) {
  static const wchar_t* const service[][2] = {
      {L"Protocol", L"TAP"},         {L"PhoneNumber", L"221"}, {L"MaxLength", L"160"},
      {L"MaxMessages", L"1"},        {L"UCPCommand", L"51"},   {L"MessageType", L"3"},
      {L"TimeOut", L"500"},          {L"BaudRate", L"Auto"},   {L"ModemSetting", L"8N1"},
      {L"ModemName", L"Test modem"}, {L"Password", L"PG1"}};
  DeleteProfile();
  WriteText(PROFILE, L"DefaultModem", L"Test modem");
  WriteText(PROFILE, L"DefaultService", L"Pager");
  for (size_t i = 0; i < sizeof service / sizeof *service; ++i) {
    WriteText(PROFILE L"\\Services\\Pager", service[i][0], service[i][1]);
  }
}

void DeleteProfile(void) {
  for (int view = 0; view < 2; ++view) {
    HKEY profiles;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, PROFILES, 0, KEY_ALL_ACCESS | views[view], &profiles) !=
        ERROR_SUCCESS) {
      continue;
    }
    RegDeleteTreeW(profiles, PROFILE);
    RegCloseKey(profiles);
  }
}

static void CheckTextProperty(void* sender, const wchar_t* property) {
  CHECK(TextIs(sender, property, L""));
  CHECK_RESULT(S_OK, PutText(sender, property,
                             L"C:\\Stra\xDF"
                             L"e \x20AC 5"));
  CHECK(TextIs(sender, property,
               L"C:\\Stra\xDF"
               L"e \x20AC 5"));
  CHECK_RESULT(S_OK, PutText(sender, property, NULL));
  CHECK(TextIs(sender, property, L""));
  CHECK_RESULT(E_POINTER, GetText(sender, property, NULL));
}

static void CheckSwitch(void* object, ITypeInfo* members, const wchar_t* property) {
  VARIANT_BOOL value = VARIANT_TRUE;
  CHECK_RESULT(S_OK, GetSwitch(object, members, property, &value));
  CHECK(value == VARIANT_FALSE);
  CHECK_RESULT(S_OK, PutSwitch(object, members, property, 1)); /* what C calls true */
  CHECK_RESULT(S_OK, GetSwitch(object, members, property, &value));
  CHECK(value == VARIANT_TRUE);
  CHECK_RESULT(S_OK, PutSwitch(object, members, property, VARIANT_FALSE));
  CHECK_RESULT(E_POINTER, GetSwitch(object, members, property, NULL));
}

/* Calls that can be seen to be wrong send nothing. */
static void CheckSendsThatAreNone(void* sender) {
  BSTR texts[4] = {NULL, NULL, NULL, NULL};
  VARIANT_BOOL result = VARIANT_TRUE;
  CHECK_RESULT(E_POINTER, SendSomething(sender, NULL));
  CHECK(TextIs(sender, L"Status", L""));
  CHECK_RESULT(S_OK, Send(sender, texts, &result));
  CHECK(result == VARIANT_FALSE);
  CHECK(StatusContains(sender, L"6: Message is empty!"));
  CHECK(texts[0] == NULL && texts[1] == NULL && texts[2] == NULL && texts[3] == NULL);
  result = VARIANT_TRUE;
  CHECK_RESULT(S_OK, ((Sending)OfSender(sender, L"SendMessage", INVOKE_FUNC))(sender, NULL, NULL,
                                                                              NULL, NULL, &result));
  CHECK(result == VARIANT_FALSE);
}

static void CheckSend(void* sender) {
  BSTR texts[4] = {SysAllocString(L"0171-234"), SysAllocString(L"0301"),
                   SysAllocString(L"  Pump 3 has stopped "), NULL};
  VARIANT_BOOL result = VARIANT_FALSE;
  CHECK_RESULT(S_OK, PutText(sender, L"Status", L""));
  CHECK_RESULT(S_OK, Send(sender, texts, &result));
  CHECK(result == VARIANT_TRUE);
  CHECK(StatusContains(sender, L"Dialed number: T221"));
  CHECK(StatusContains(sender, L"Result:  Success"));
  CHECK(wcscmp(texts[0], L"0171234") == 0);
  CHECK(wcscmp(texts[1], L"0301") == 0);
  CHECK(wcscmp(texts[2], L"Pump 3 has stopped") == 0);
  for (int i = 0; i < 4; ++i) SysFreeString(texts[i]);
  CHECK_RESULT(S_OK, ((Aborting)OfSender(sender, L"AbortAction", INVOKE_FUNC))(sender));
  CHECK_RESULT(S_OK, SendSomething(sender, &result));
  CHECK(result == VARIANT_FALSE); /* an object that was aborted stays so */
}

void CheckCalls(void) {
  void* const sender = NewObject(SenderClass());
  void* const config = NewObject(ConfigClass());
  if (!sender || !config) return;
  CheckTextProperty(sender, L"Status");
  CheckTextProperty(sender, L"HostAppName");
  CheckTextProperty(sender, L"LogFilePath");
  CheckSwitch(sender, SenderClass()->members, L"RetrySuggested");
  CheckSwitch(config, ConfigClass()->members, L"DisableShowWindow");
  CheckSwitch(config, ConfigClass()->members, L"EnforceLogging");
  WriteProfile();
  CHECK_RESULT(S_OK, PutText(sender, L"HostAppName", PROFILE));
  CheckSendsThatAreNone(sender);
  CheckSend(sender);
  DeleteProfile();
  CHECK(IUnknown_Release((IUnknown*)sender) == 0);
  CHECK(IUnknown_Release((IUnknown*)config) == 0);
}
