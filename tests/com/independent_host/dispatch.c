/* Late bound calls: what scripting languages pass, and what they get back. */
#include <wchar.h>

#include "host.h"

static IDispatch* sender = NULL;

static DISPID IdOf(const wchar_t* name) {
  LPOLESTR names[] = {(LPOLESTR)name};
  DISPID id = DISPID_UNKNOWN;
  IDispatch_GetIDsOfNames(sender, &IID_NULL, names, 1, LOCALE_USER_DEFAULT, &id);
  return id;
}

/* A call with arguments in the order of DISPPARAMS (the last one first), the first ones named. */
static UINT wrong;
static VARIANT answer;
static HRESULT Call(const wchar_t* name, WORD kind, VARIANT* arguments, UINT count, DISPID* names,
                    UINT named) {
  DISPPARAMS given = {arguments, names, count, named};
  wrong = 99;
  VariantClear(&answer);
  return IDispatch_Invoke(sender, IdOf(name), &IID_NULL, LOCALE_USER_DEFAULT, kind, &given, &answer,
                          NULL, &wrong);
}

static VARIANT Text(const wchar_t* text) {
  VARIANT value;
  value.vt = VT_BSTR;
  value.bstrVal = SysAllocString(text);
  return value;
}

static VARIANT Plain(VARTYPE type, LONG number) {
  VARIANT value;
  VariantInit(&value);
  value.vt = type;
  value.lVal = number;
  return value;
}

static VARIANT ReferenceTo(VARIANT* variable) {
  VARIANT reference;
  reference.vt = VT_BYREF | VT_VARIANT;
  reference.pvarVal = variable;
  return reference;
}

static int Holds(const VARIANT* variable, const wchar_t* text) {
  return variable->vt == VT_BSTR && wcscmp(variable->bstrVal, text) == 0;
}

static void CheckNames(void) {
  LPOLESTR names[] = {(LPOLESTR)L"SENDMESSAGE", (LPOLESTR)L"recipient", (LPOLESTR)L"ServiceName"};
  LPOLESTR unknown[] = {(LPOLESTR)L"SendMessage", (LPOLESTR)L"Colour"};
  DISPID ids[3] = {0, 0, 0};
  CHECK_RESULT(S_OK,
               IDispatch_GetIDsOfNames(sender, &IID_NULL, names, 3, LOCALE_USER_DEFAULT, ids));
  CHECK(ids[0] == 0x6003000a && ids[1] == 0 && ids[2] == 3);
  CHECK_RESULT(DISP_E_UNKNOWNNAME,
               IDispatch_GetIDsOfNames(sender, &IID_NULL, unknown, 2, LOCALE_USER_DEFAULT, ids));
  CHECK_RESULT(DISP_E_UNKNOWNINTERFACE,
               IDispatch_GetIDsOfNames(sender, &IID_IDispatch, names, 1, LOCALE_USER_DEFAULT, ids));
  CHECK(IdOf(L"Status") == 0x40030009);
  CHECK(IdOf(L"LogFilePath") == 0x4003000c);
}

static void CheckTypeInfo(void) {
  UINT count = 0;
  ITypeInfo* info = (ITypeInfo*)sender;
  CHECK_RESULT(S_OK, IDispatch_GetTypeInfoCount(sender, &count));
  CHECK(count == 1);
  CHECK_RESULT(E_POINTER, IDispatch_GetTypeInfoCount(sender, NULL));
  CHECK_RESULT(DISP_E_BADINDEX, IDispatch_GetTypeInfo(sender, 1, LOCALE_USER_DEFAULT, &info));
  CHECK(info == NULL);
  CHECK_RESULT(E_POINTER, IDispatch_GetTypeInfo(sender, 0, LOCALE_USER_DEFAULT, NULL));
  CHECK_RESULT(S_OK, IDispatch_GetTypeInfo(sender, 0, LOCALE_USER_DEFAULT, &info));
  if (info) ITypeInfo_Release(info);
}

static void CheckProperties(void) {
  DISPID put = DISPID_PROPERTYPUT;
  VARIANT path = Text(L"C:\\Log.txt"), number = Plain(VT_I4, 7), null = Plain(VT_NULL, 0);
  CHECK_RESULT(S_OK, Call(L"LogFilePath", DISPATCH_PROPERTYPUT, &path, 1, &put, 1));
  CHECK_RESULT(S_OK, Call(L"LogFilePath", DISPATCH_PROPERTYGET, NULL, 0, NULL, 0));
  CHECK(Holds(&answer, L"C:\\Log.txt"));
  /* As some languages ask, which cannot tell the two apart. */
  CHECK_RESULT(S_OK,
               Call(L"LogFilePath", DISPATCH_METHOD | DISPATCH_PROPERTYGET, NULL, 0, NULL, 0));
  CHECK_RESULT(S_OK, Call(L"LogFilePath", DISPATCH_PROPERTYPUT, &number, 1, &put, 1));
  CHECK_RESULT(S_OK, Call(L"LogFilePath", DISPATCH_PROPERTYGET, NULL, 0, NULL, 0));
  CHECK(Holds(&answer, L"7"));
  CHECK_RESULT(DISP_E_TYPEMISMATCH, Call(L"LogFilePath", DISPATCH_PROPERTYPUT, &null, 1, &put, 1));
  CHECK(wrong == 0);
  CHECK_RESULT(S_OK, Call(L"RetrySuggested", DISPATCH_PROPERTYPUT, &number, 1, &put, 1));
  CHECK_RESULT(S_OK, Call(L"RetrySuggested", DISPATCH_PROPERTYGET, NULL, 0, NULL, 0));
  CHECK(answer.vt == VT_BOOL && answer.boolVal == VARIANT_TRUE);
  CHECK_RESULT(DISP_E_MEMBERNOTFOUND, Call(L"Status", DISPATCH_PROPERTYPUTREF, &path, 1, &put, 1));
  CHECK_RESULT(DISP_E_MEMBERNOTFOUND, Call(L"AbortAction", DISPATCH_PROPERTYGET, NULL, 0, NULL, 0));
  CHECK_RESULT(DISP_E_MEMBERNOTFOUND, Call(L"Colour", DISPATCH_METHOD, NULL, 0, NULL, 0));
  CHECK_RESULT(DISP_E_BADPARAMCOUNT, Call(L"AbortAction", DISPATCH_METHOD, &path, 1, NULL, 0));
  VariantClear(&path);
}

static void CheckArguments(void) {
  VARIANT four[4] = {Text(L""), Text(L"text"), Text(L"0301"), Text(L"0171")};
  VARIANT* const three = four + 1;
  VARIANT holes[4] = {Plain(VT_ERROR, DISP_E_PARAMNOTFOUND), four[1], four[2], four[3]};
  VARIANT mismatch[4] = {four[0], Plain(VT_NULL, 0), four[2], four[3]};
  VARIANT many[5] = {four[0], four[0], four[1], four[2], four[3]};
  CHECK_RESULT(S_OK, Call(L"SendMessage", DISPATCH_METHOD, four, 4, NULL, 0));
  CHECK(answer.vt == VT_BOOL && answer.boolVal == VARIANT_FALSE);
  CHECK_RESULT(S_OK, Call(L"SendMessage", DISPATCH_METHOD, three, 3, NULL, 0));
  CHECK_RESULT(S_OK, Call(L"SendMessage", DISPATCH_METHOD, holes, 4, NULL, 0));
  CHECK_RESULT(DISP_E_BADPARAMCOUNT, Call(L"SendMessage", DISPATCH_METHOD, three, 2, NULL, 0));
  CHECK_RESULT(DISP_E_BADPARAMCOUNT, Call(L"SendMessage", DISPATCH_METHOD, many, 5, NULL, 0));
  CHECK_RESULT(DISP_E_TYPEMISMATCH, Call(L"SendMessage", DISPATCH_METHOD, mismatch, 4, NULL, 0));
  CHECK(wrong == 1);
  holes[1] = holes[0];
  CHECK_RESULT(DISP_E_PARAMNOTOPTIONAL, Call(L"SendMessage", DISPATCH_METHOD, holes, 4, NULL, 0));
  CHECK(wrong == 1);
  CHECK_RESULT(E_INVALIDARG, Call(L"SendMessage", DISPATCH_METHOD, NULL, 4, NULL, 0));
  CHECK_RESULT(DISP_E_UNKNOWNINTERFACE,
               IDispatch_Invoke(sender, IdOf(L"AbortAction"), &IID_IDispatch, LOCALE_USER_DEFAULT,
                                DISPATCH_METHOD, &(DISPPARAMS){0}, NULL, NULL, NULL));
  for (int i = 0; i < 4; ++i) VariantClear(&four[i]);
}

/* As a script does that calls and does not look at the result. */
static void CheckUnwantedResult(void) {
  VARIANT three[3] = {Text(L"text"), Text(L"0301"), Text(L"0171")};
  DISPPARAMS given = {three, NULL, 3, 0};
  PutText(sender, L"Status", L"");
  CHECK_RESULT(S_OK, IDispatch_Invoke(sender, IdOf(L"SendMessage"), &IID_NULL, LOCALE_USER_DEFAULT,
                                      DISPATCH_METHOD, &given, NULL, NULL, NULL));
  CHECK(StatusContains(sender, L"5: Unable to load settings."));
  given.cArgs = 0;
  CHECK_RESULT(S_OK, IDispatch_Invoke(sender, IdOf(L"Status"), &IID_NULL, LOCALE_USER_DEFAULT,
                                      DISPATCH_PROPERTYGET, &given, NULL, NULL, NULL));
  CHECK_RESULT(S_OK, IDispatch_Invoke(sender, IdOf(L"AbortAction"), &IID_NULL, LOCALE_USER_DEFAULT,
                                      DISPATCH_METHOD, &given, NULL, NULL, NULL));
  for (int i = 0; i < 3; ++i) VariantClear(&three[i]);
}

static void CheckNamedArguments(void) {
  VARIANT values[4] = {Text(L"0171"), Text(L"text"), Text(L"0301"), Text(L"0171")};
  DISPID names[3] = {0, 2, 1}, twice[2] = {2, 2}, taken[2] = {0, 2}, unknown[1] = {4};
  CHECK_RESULT(S_OK, Call(L"SendMessage", DISPATCH_METHOD, values, 3, names, 3));
  CHECK_RESULT(DISP_E_PARAMNOTFOUND, Call(L"SendMessage", DISPATCH_METHOD, values, 4, twice, 2));
  CHECK(wrong == 0);
  CHECK_RESULT(DISP_E_PARAMNOTFOUND, Call(L"SendMessage", DISPATCH_METHOD, values, 4, taken, 2));
  CHECK(wrong == 0);
  CHECK_RESULT(DISP_E_PARAMNOTFOUND, Call(L"SendMessage", DISPATCH_METHOD, values, 4, unknown, 1));
  CHECK(wrong == 0);
  for (int i = 0; i < 4; ++i) VariantClear(&values[i]);
}

/* The message comes back trimmed, in whatever the host keeps it. */
static void CheckReferences(void) {
  VARIANT message = Text(L"  text "), number = Plain(VT_I4, 12), nested;
  BSTR typed = SysAllocString(L"  typed ");
  VARIANT by_text;
  VARIANT arguments[3] = {ReferenceTo(&message), Text(L"0301"), Text(L"no digits")};
  by_text.vt = VT_BYREF | VT_BSTR;
  by_text.pbstrVal = &typed;
  nested = by_text;
  WriteProfile();
  PutText(sender, L"HostAppName", PROFILE);
  CHECK_RESULT(S_OK, Call(L"SendMessage", DISPATCH_METHOD, arguments, 3, NULL, 0));
  CHECK(Holds(&message, L"text"));
  arguments[0] = by_text;
  CHECK_RESULT(S_OK, Call(L"SendMessage", DISPATCH_METHOD, arguments, 3, NULL, 0));
  CHECK(wcscmp(typed, L"typed") == 0);
  SysReAllocString(&typed, L" nested ");
  arguments[0] = ReferenceTo(&nested);
  CHECK_RESULT(S_OK, Call(L"SendMessage", DISPATCH_METHOD, arguments, 3, NULL, 0));
  CHECK(wcscmp(typed, L"nested") == 0);
  arguments[0] = ReferenceTo(&number);
  CHECK_RESULT(S_OK, Call(L"SendMessage", DISPATCH_METHOD, arguments, 3, NULL, 0));
  CHECK(Holds(&number, L"12"));
  PutText(sender, L"HostAppName", NO_PROFILE);
  DeleteProfile();
  SysFreeString(typed);
  VariantClear(&message);
  VariantClear(&number);
  VariantClear(&arguments[1]);
  VariantClear(&arguments[2]);
}

void CheckDispatch(void) {
  void* const object = NewObject(SenderClass());
  sender = object ? Ask(object, &IID_IDispatch) : NULL;
  CHECK(sender != NULL);
  if (!sender) return;
  PutText(object, L"HostAppName", NO_PROFILE);
  CheckNames();
  CheckTypeInfo();
  CheckProperties();
  CheckArguments();
  CheckNamedArguments();
  CheckReferences();
  CheckUnwantedResult();
  VariantClear(&answer);
  IDispatch_Release(sender);
  CHECK(IUnknown_Release((IUnknown*)object) == 0);
}
