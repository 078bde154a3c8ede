/* Threads, memory and the end. */
#include "host.h"
/* after <windows.h> */
#include <psapi.h>

static HRESULT CanUnload(void) {
  const HMODULE module = GetModuleHandleW(L"mvSMS.dll");
  typedef HRESULT(STDAPICALLTYPE * Question)(void);
  const Question question = (Question)(Method)GetProcAddress(module, "DllCanUnloadNow");
  return question ? question() : E_FAIL;
}

static SIZE_T PrivateBytes(void) {
  PROCESS_MEMORY_COUNTERS counters = {0};
  counters.cb = sizeof counters;
  GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters);
  return counters.PagefileUsage;
}

static DWORD Handles(void) {
  DWORD count = 0;
  GetProcessHandleCount(GetCurrentProcess(), &count);
  return count;
}

static int OneRound(void) {
  Sink sink;
  VARIANT_BOOL result = VARIANT_TRUE;
  void* const sender = NewObject(SenderClass());
  MakeSink(&sink);
  if (!sender) return 0;
  PutText(sender, L"HostAppName", NO_PROFILE);
  const int connected = Connect(sender, &sink) != 0;
  const int sent = SUCCEEDED(SendSomething(sender, &result)) && result == VARIANT_FALSE;
  return connected && sent && sink.count == 5 && IUnknown_Release((IUnknown*)sender) == 0 &&
         sink.references == 0;
}

static void CheckRounds(void) {
  int rounds = 0;
  for (int i = 0; i < 100; ++i) OneRound(); /* the heap has found its size by then */
  const SIZE_T bytes = PrivateBytes();
  const DWORD handles = Handles();
  const DWORD objects = GetGuiResources(GetCurrentProcess(), GR_USEROBJECTS);
  for (int i = 0; i < 1000; ++i) rounds += OneRound();
  CHECK(rounds == 1000);
  CHECK(bytes != 0);
  CHECK(PrivateBytes() <= bytes + 64 * 1024);
  CHECK(Handles() <= handles);
  CHECK(GetGuiResources(GetCurrentProcess(), GR_USEROBJECTS) <= objects);
}

static void OnAThread(DWORD(WINAPI* work)(void*), void* argument) {
  const HANDLE thread = CreateThread(NULL, 0, work, argument, 0, NULL);
  CHECK(thread != NULL);
  WaitForSingleObject(thread, INFINITE);
  CloseHandle(thread);
}

static DWORD WINAPI LeaveAnObject(void* argument) {
  VARIANT_BOOL result;
  CoInitializeEx(NULL, COINIT_APARTMENTTHREADED);
  void* const sender = NewObject(SenderClass());
  PutText(sender, L"HostAppName", NO_PROFILE);
  SendSomething(sender, &result);
  *(void**)argument = sender;
  CoUninitialize();
  return 0;
}

/* Collected objects of some languages are released when their thread has long ended. */
static void CheckObjectOfAnEndedThread(void) {
  void* sender = NULL;
  OnAThread(LeaveAnObject, &sender);
  CHECK(sender != NULL);
  if (sender) CHECK(IUnknown_Release((IUnknown*)sender) == 0);
}

static DWORD WINAPI SendInAnApartment(void* rounds) {
  CoInitializeEx(NULL, COINIT_APARTMENTTHREADED);
  for (int i = 0; i < 20; ++i) *(int*)rounds += OneRound();
  CoUninitialize();
  return 0;
}

static void CheckApartments(void) {
  int rounds[4] = {0, 0, 0, 0};
  HANDLE threads[4];
  for (int i = 0; i < 4; ++i) {
    threads[i] = CreateThread(NULL, 0, SendInAnApartment, &rounds[i], 0, NULL);
  }
  WaitForMultipleObjects(4, threads, TRUE, INFINITE);
  for (int i = 0; i < 4; ++i) {
    CloseHandle(threads[i]);
    CHECK(rounds[i] == 20);
  }
}

/* A thread that has used up the storage of threads, before the component had any. */
static DWORD WINAPI CreateWithoutStorage(void* result) {
  static DWORD slots[8192];
  size_t count = 0;
  IUnknown* object = NULL;
  CoInitializeEx(NULL, COINIT_APARTMENTTHREADED);
  while (count < 8192 && (slots[count] = FlsAlloc(NULL)) != FLS_OUT_OF_INDEXES) ++count;
  *(HRESULT*)result = CoCreateInstance(&SenderClass()->clsid, NULL, CLSCTX_INPROC_SERVER,
                                       &IID_IUnknown, (void**)&object);
  while (count > 0) FlsFree(slots[--count]);
  CoUninitialize();
  return 0;
}

void CheckStorage(void) {
  HRESULT result = S_OK;
  IClassFactory* factory = NULL;
  CoGetClassObject(&SenderClass()->clsid, CLSCTX_INPROC_SERVER, NULL, &IID_IClassFactory,
                   (void**)&factory); /* the module is loaded now, and has made nothing yet */
  OnAThread(CreateWithoutStorage, &result);
  CHECK(result == E_OUTOFMEMORY);
  IClassFactory_Release(factory);
}

/* An object that another apartment calls through the system's marshalling. */
static DWORD WINAPI ReadFromAfar(void* stream) {
  VARIANT status;
  DISPPARAMS none = {0};
  IDispatch* sender = NULL;
  CoInitializeEx(NULL, COINIT_MULTITHREADED);
  VariantInit(&status);
  HRESULT result =
      CoGetInterfaceAndReleaseStream((IStream*)stream, &IID_IDispatch, (void**)&sender);
  if (SUCCEEDED(result)) {
    result = IDispatch_Invoke(sender, 0x40030009, &IID_NULL, LOCALE_USER_DEFAULT,
                              DISPATCH_PROPERTYGET, &none, &status, NULL, NULL);
    IDispatch_Release(sender);
  }
  const int read = SUCCEEDED(result) && status.vt == VT_BSTR && SysStringLen(status.bstrVal) == 4;
  VariantClear(&status);
  CoUninitialize();
  return (DWORD)read;
}

static void CheckMarshalling(void) {
  void* const sender = NewObject(SenderClass());
  IStream* stream = NULL;
  DWORD read = 0, signalled = 0;
  CHECK_RESULT(S_OK, PutText(sender, L"Status", L"near"));
  CHECK_RESULT(S_OK,
               CoMarshalInterThreadInterfaceInStream(&IID_IDispatch, (IUnknown*)sender, &stream));
  HANDLE thread = CreateThread(NULL, 0, ReadFromAfar, stream, 0, NULL);
  CHECK_RESULT(S_OK, CoWaitForMultipleHandles(0, INFINITE, 1, &thread, &signalled));
  GetExitCodeThread(thread, &read);
  CloseHandle(thread);
  CHECK(read == 1);
  IUnknown_Release((IUnknown*)sender);
}

void CheckLifetime(void) {
  void* const sender = NewObject(SenderClass());
  CHECK_RESULT(S_FALSE, CanUnload());
  IUnknown_Release((IUnknown*)sender);
  CHECK_RESULT(S_OK, CanUnload());
  CheckObjectOfAnEndedThread();
  CheckRounds();
  CheckApartments();
  CHECK_RESULT(S_OK, CanUnload());
  CheckMarshalling();
  CoFreeUnusedLibrariesEx(0, 0);
}
