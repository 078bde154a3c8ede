/* A host that was built without anything of ours: what it knows of the component it reads from the
 * registry and from the registered type library, as compilers and scripting languages do, and it
 * calls by the positions in the method tables that stand there. Every claim that it finds true or
 * false is one check; a failed one is printed and the program goes on. */
#ifndef MVSMS_INDEPENDENT_HOST_H
#define MVSMS_INDEPENDENT_HOST_H

#define COBJMACROS
#include <windows.h>
/* after <windows.h> */
#include <ocidl.h>
#include <ole2.h>
#include <olectl.h>

/* Counts and judges one check. */
void Check(int holds, int line, const char* file, const char* claim);
void CheckResult(HRESULT result, HRESULT expected, int line, const char* file, const char* call);
#define CHECK(claim) Check((claim) ? 1 : 0, __LINE__, __FILE__, #claim)
#define CHECK_RESULT(expected, call) CheckResult((call), (expected), __LINE__, __FILE__, #call)

/* The subjects; each leaves nothing behind. The thread is an apartment already. */
void CheckStorage(void); /* first, before the component has made anything */
void CheckLibrary(void);
void CheckObjects(void);
void CheckCalls(void);
void CheckDispatch(void);
void CheckEvents(void);
void CheckLifetime(void);

/* A class as it is registered. Its type information lives as long as the program. */
typedef struct Class {
  CLSID clsid;
  IID interface_id;   /* of the default interface */
  IID event_id;       /* of the default source interface, or all zeros */
  ITypeInfo* members; /* of the default interface */
  ITypeInfo* events;  /* of the default source interface, or null */
} Class;
const Class* SenderClass(void);
const Class* ConfigClass(void);

/* A new object behind its default interface; null when there is none. */
void* NewObject(const Class* type);
/* The interface of an object, or null. */
void* Ask(void* object, REFIID iid);
/* References that are held on an object. */
ULONG References(void* object);

/* The method of an object that the library describes by this name and kind of call. The caller
 * casts it to its type. Null when there is none. */
typedef void (*Method)(void);
Method Find(void* object, ITypeInfo* members, const wchar_t* name, INVOKEKIND kind);

/* The calls of Sender by its method table. */
HRESULT GetText(void* sender, const wchar_t* property, BSTR* value);
HRESULT PutText(void* sender, const wchar_t* property, const wchar_t* value);
HRESULT GetSwitch(void* object, ITypeInfo* members, const wchar_t* property, VARIANT_BOOL* value);
HRESULT PutSwitch(void* object, ITypeInfo* members, const wchar_t* property, VARIANT_BOOL value);
HRESULT Send(void* sender, BSTR texts[4], VARIANT_BOOL* result);
/* A send of fixed texts; its result. */
HRESULT SendSomething(void* sender, VARIANT_BOOL* result);
/* True when the text property holds that, or contains it. */
int TextIs(void* sender, const wchar_t* property, const wchar_t* text);
int StatusContains(void* sender, const wchar_t* text);

/* Settings of a profile that can send by TAP, and of none. */
#define PROFILE L"IndependentHost"
#define NO_PROFILE L"IndependentHostWithout"
void WriteProfile(void);
void DeleteProfile(void);

/* A sink as a host's compiler makes one. Counts its references, keeps the first events. */
typedef struct Sink Sink;
struct Sink {
  const IDispatchVtbl* table; /* first, for it is the object */
  LONG references;
  HRESULT answer;                          /* to every event */
  void (*act)(Sink*, DISPID, DISPPARAMS*); /* or null */
  void* context;                           /* of `act` */
  int count;
  DISPID events[8];
};
void MakeSink(Sink* sink);
/* Connects by the steps of script hosts: class information, its default source interface, the
 * connection point of that. The cookie, or 0. */
DWORD Connect(void* object, Sink* sink);
HRESULT Disconnect(void* object, DWORD cookie);
IConnectionPoint* PointOf(void* object);

#endif
