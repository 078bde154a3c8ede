/* Events: connecting as script hosts do, and sinks of every kind. */
#include <wchar.h>

#include "host.h"

static HRESULT STDMETHODCALLTYPE SinkQuery(IDispatch* self, REFIID iid, void** object) {
  const int known = IsEqualIID(iid, &IID_IUnknown) || IsEqualIID(iid, &IID_IDispatch);
  *object = known ? self : NULL;
  if (known) ++((Sink*)self)->references;
  return known ? S_OK : E_NOINTERFACE;
}

static ULONG STDMETHODCALLTYPE SinkAddRef(IDispatch* self) {
  return (ULONG)++((Sink*)self)->references;
}

static ULONG STDMETHODCALLTYPE SinkRelease(IDispatch* self) {
  return (ULONG)--((Sink*)self)->references;
}

static HRESULT STDMETHODCALLTYPE SinkCount(IDispatch* self, UINT* count) {
  (void)self;
  *count = 0;
  return S_OK;
}

static HRESULT STDMETHODCALLTYPE SinkInfo(IDispatch* self, UINT index, LCID locale,
                                          ITypeInfo** info) {
  (void)self, (void)index, (void)locale;
  *info = NULL;
  return DISP_E_BADINDEX;
}

static HRESULT STDMETHODCALLTYPE SinkNames(IDispatch* self, REFIID reserved, LPOLESTR* names,
                                           UINT count, LCID locale, DISPID* ids) {
  (void)self, (void)reserved, (void)names, (void)count, (void)locale, (void)ids;
  return DISP_E_UNKNOWNNAME;
}

static HRESULT STDMETHODCALLTYPE SinkInvoke(IDispatch* self, DISPID id, REFIID reserved,
                                            LCID locale, WORD kind, DISPPARAMS* arguments,
                                            VARIANT* result, EXCEPINFO* exception, UINT* bad) {
  Sink* const sink = (Sink*)self;
  (void)reserved, (void)locale, (void)kind, (void)result, (void)exception, (void)bad;
  if (sink->count < 8) sink->events[sink->count] = id;
  ++sink->count;
  if (sink->act) sink->act(sink, id, arguments);
  return sink->answer;
}

static IDispatchVtbl sink_table = {SinkQuery, SinkAddRef, SinkRelease, SinkCount,
                                   SinkInfo,  SinkNames,  SinkInvoke};

void MakeSink(Sink* sink) {
  memset(sink, 0, sizeof *sink);
  sink->table = &sink_table;
}

/* The default source interface, found in the class information that the object gives. */
static int SourceOf(void* object, IID* source) {
  IProvideClassInfo* const provider = Ask(object, &IID_IProvideClassInfo);
  ITypeInfo* coclass = NULL;
  int found = 0;
  if (!provider) return 0;
  if (SUCCEEDED(IProvideClassInfo_GetClassInfo(provider, &coclass))) {
    INT flags = 0;
    for (UINT i = 0; !found && SUCCEEDED(ITypeInfo_GetImplTypeFlags(coclass, i, &flags)); ++i) {
      HREFTYPE reference;
      ITypeInfo* info;
      TYPEATTR* attributes;
      if (flags != (IMPLTYPEFLAG_FDEFAULT | IMPLTYPEFLAG_FSOURCE)) continue;
      if (FAILED(ITypeInfo_GetRefTypeOfImplType(coclass, i, &reference))) continue;
      if (FAILED(ITypeInfo_GetRefTypeInfo(coclass, reference, &info))) continue;
      if (SUCCEEDED(ITypeInfo_GetTypeAttr(info, &attributes))) {
        *source = attributes->guid;
        found = 1;
        ITypeInfo_ReleaseTypeAttr(info, attributes);
      }
      ITypeInfo_Release(info);
    }
    ITypeInfo_Release(coclass);
  }
  IProvideClassInfo_Release(provider);
  return found;
}

IConnectionPoint* PointOf(void* object) {
  IConnectionPointContainer* const container = Ask(object, &IID_IConnectionPointContainer);
  IConnectionPoint* point = NULL;
  IID source;
  if (!container) return NULL;
  if (SourceOf(object, &source)) {
    IConnectionPointContainer_FindConnectionPoint(container, &source, &point);
  }
  IConnectionPointContainer_Release(container);
  return point;
}

DWORD Connect(void* object, Sink* sink) {
  IConnectionPoint* const point = PointOf(object);
  DWORD cookie = 0;
  if (!point) return 0;
  IConnectionPoint_Advise(point, (IUnknown*)sink, &cookie);
  IConnectionPoint_Release(point);
  return cookie;
}

HRESULT Disconnect(void* object, DWORD cookie) {
  IConnectionPoint* const point = PointOf(object);
  if (!point) return E_FAIL;
  const HRESULT result = IConnectionPoint_Unadvise(point, cookie);
  IConnectionPoint_Release(point);
  return result;
}

static void CheckContainer(void* sender) {
  IConnectionPointContainer* const container = Ask(sender, &IID_IConnectionPointContainer);
  IEnumConnectionPoints *points = NULL, *copy = NULL;
  IConnectionPoint *found[2] = {NULL, NULL}, *none = (IConnectionPoint*)sender;
  ULONG fetched = 9;
  CHECK_RESULT(CONNECT_E_NOCONNECTION,
               IConnectionPointContainer_FindConnectionPoint(container, &IID_IDispatch, &none));
  CHECK(none == NULL);
  CHECK_RESULT(E_POINTER, IConnectionPointContainer_FindConnectionPoint(
                              container, &SenderClass()->event_id, NULL));
  CHECK_RESULT(E_POINTER, IConnectionPointContainer_EnumConnectionPoints(container, NULL));
  CHECK_RESULT(S_OK, IConnectionPointContainer_EnumConnectionPoints(container, &points));
  CHECK(Ask(points, &IID_IDispatch) == NULL);
  CHECK_RESULT(E_POINTER, IEnumConnectionPoints_Next(points, 2, found, NULL));
  CHECK_RESULT(S_OK, IEnumConnectionPoints_Next(points, 0, found, &fetched));
  CHECK(fetched == 0);
  CHECK_RESULT(S_OK, IEnumConnectionPoints_Clone(points, &copy));
  CHECK_RESULT(S_FALSE, IEnumConnectionPoints_Next(points, 2, found, &fetched));
  CHECK(fetched == 1 && found[0] != NULL);
  if (found[0]) IConnectionPoint_Release(found[0]);
  CHECK_RESULT(S_FALSE, IEnumConnectionPoints_Skip(points, 1));
  CHECK_RESULT(S_OK, IEnumConnectionPoints_Reset(points));
  CHECK_RESULT(S_OK, IEnumConnectionPoints_Skip(points, 1));
  CHECK_RESULT(S_OK, IEnumConnectionPoints_Next(copy, 1, found, NULL)); /* goes its own way */
  if (found[0]) IConnectionPoint_Release(found[0]);
  CHECK(IEnumConnectionPoints_Release(copy) == 0);
  CHECK(IEnumConnectionPoints_Release(points) == 0);
  IConnectionPointContainer_Release(container);
}

static void CheckPoint(void* sender) {
  IConnectionPoint* const point = PointOf(sender);
  IConnectionPointContainer* container = NULL;
  IClassFactory* no_sink = NULL;
  IID iid = {0};
  DWORD cookie = 4711;
  CHECK(point != NULL);
  if (!point) return;
  CHECK(Ask(point, &IID_IDispatch) == NULL);
  CHECK_RESULT(S_OK, IConnectionPoint_GetConnectionInterface(point, &iid));
  CHECK(IsEqualIID(&iid, &SenderClass()->event_id));
  CHECK_RESULT(E_POINTER, IConnectionPoint_GetConnectionInterface(point, NULL));
  CHECK_RESULT(S_OK, IConnectionPoint_GetConnectionPointContainer(point, &container));
  if (container) IConnectionPointContainer_Release(container);
  CHECK_RESULT(E_POINTER, IConnectionPoint_Advise(point, NULL, &cookie));
  CHECK(cookie == 0);
  CHECK_RESULT(CONNECT_E_NOCONNECTION, IConnectionPoint_Unadvise(point, 4711));
  CoGetClassObject(&SenderClass()->clsid, CLSCTX_INPROC_SERVER, NULL, &IID_IClassFactory,
                   (void**)&no_sink);
  CHECK_RESULT(CONNECT_E_CANNOTCONNECT,
               IConnectionPoint_Advise(point, (IUnknown*)no_sink, &cookie));
  CHECK(cookie == 0);
  IClassFactory_Release(no_sink);
  IConnectionPoint_Release(point);
}

static void CheckConnections(void* sender, Sink* sink, DWORD cookie) {
  IConnectionPoint* const point = PointOf(sender);
  IEnumConnections* connections = NULL;
  CONNECTDATA connection = {0};
  ULONG fetched = 0;
  CHECK_RESULT(S_OK, IConnectionPoint_EnumConnections(point, &connections));
  CHECK(Ask(connections, &IID_IDispatch) == NULL);
  CHECK_RESULT(S_OK, IEnumConnections_Next(connections, 1, &connection, &fetched));
  CHECK(connection.pUnk == (IUnknown*)sink && connection.dwCookie == cookie);
  if (connection.pUnk) IUnknown_Release(connection.pUnk);
  CHECK(IEnumConnections_Release(connections) == 0);
  IConnectionPoint_Release(point);
}

/* What a send without settings calls: its beginning, the error's line, the error, the error's
 * second status, its end. */
static int IsOneSend(const Sink* sink) {
  static const DISPID expected[] = {2, 2, 1, 2, 2};
  return sink->count == 5 && memcmp(sink->events, expected, sizeof expected) == 0;
}

static int well_formed;
static void Inspect(Sink* sink, DISPID id, DISPPARAMS* arguments) {
  const VARTYPE text = VT_BYREF | VT_BSTR, number = VT_BYREF | VT_I4;
  (void)sink;
  well_formed += arguments->cNamedArgs == 0 &&
                 (id == 1 ? arguments->cArgs == 3 && arguments->rgvarg[0].vt == text &&
                                arguments->rgvarg[1].vt == text && arguments->rgvarg[2].vt == number
                          : arguments->cArgs == 1 && arguments->rgvarg[0].vt == text);
}

static void Rewrite(Sink* sink, DISPID id, DISPPARAMS* arguments) {
  (void)sink;
  if (id == 2) SysReAllocString(arguments->rgvarg[0].pbstrVal, L"rewritten");
}

static void TakeAway(Sink* sink, DISPID id, DISPPARAMS* arguments) {
  (void)sink, (void)id;
  SysFreeString(*arguments->rgvarg[0].pbstrVal);
  *arguments->rgvarg[0].pbstrVal = NULL;
}

static DWORD own_cookie;
static void Leave(Sink* sink, DISPID id, DISPPARAMS* arguments) {
  (void)id, (void)arguments;
  if (sink->count == 1) Disconnect(sink->context, own_cookie);
}

static void LetGo(Sink* sink, DISPID id, DISPPARAMS* arguments) {
  (void)id, (void)arguments;
  if (sink->context) IUnknown_Release((IUnknown*)sink->context);
  sink->context = NULL;
}

/* A send with the sink and a second one, which must get everything whatever the first does. */
static void CheckSink(void* sender, Sink* sink, int events) {
  Sink second;
  VARIANT_BOOL result = VARIANT_TRUE;
  MakeSink(&second);
  const DWORD cookie = own_cookie = Connect(sender, sink);
  const DWORD other = Connect(sender, &second);
  CHECK(cookie != 0 && other != 0 && cookie != other);
  CHECK(sink->references == 1);
  CHECK_RESULT(S_OK, SendSomething(sender, &result));
  CHECK(result == VARIANT_FALSE);
  CHECK(sink->count == events);
  CHECK(IsOneSend(&second));
  CHECK_RESULT(events == 5 ? S_OK : CONNECT_E_NOCONNECTION, Disconnect(sender, cookie));
  CHECK_RESULT(S_OK, Disconnect(sender, other));
  CHECK(sink->references == 0 && second.references == 0);
}

static void CheckSinks(void* sender) {
  Sink sink;
  MakeSink(&sink);
  sink.act = Inspect;
  CheckSink(sender, &sink, 5);
  CHECK(IsOneSend(&sink));
  CHECK(well_formed == 5);
  MakeSink(&sink);
  sink.answer = DISP_E_EXCEPTION;
  CheckSink(sender, &sink, 5);
  MakeSink(&sink);
  sink.act = TakeAway;
  CheckSink(sender, &sink, 5);
  MakeSink(&sink);
  sink.act = Leave;
  sink.context = sender;
  CheckSink(sender, &sink, 1);
  MakeSink(&sink);
  sink.act = Rewrite;
  CheckSink(sender, &sink, 5);
  CHECK(TextIs(sender, L"Status", L"rewritten"));
}

/* The last reference goes from inside an event; the send ends all the same. */
static void CheckReleaseInAnEvent(void) {
  Sink sink;
  VARIANT_BOOL result = VARIANT_TRUE;
  void* const sender = NewObject(SenderClass());
  MakeSink(&sink);
  sink.act = LetGo;
  sink.context = sender;
  PutText(sender, L"HostAppName", NO_PROFILE);
  CHECK(Connect(sender, &sink) != 0);
  CHECK_RESULT(S_OK, SendSomething(sender, &result));
  CHECK(result == VARIANT_FALSE);
  CHECK(IsOneSend(&sink));
  CHECK(sink.references == 0);
}

void CheckEvents(void) {
  void* const sender = NewObject(SenderClass());
  void* const config = NewObject(ConfigClass());
  Sink sink;
  if (!sender || !config) return;
  PutText(sender, L"HostAppName", NO_PROFILE);
  CHECK(PointOf(config) == NULL); /* it has no events */
  CheckContainer(sender);
  CheckPoint(sender);
  MakeSink(&sink);
  const DWORD cookie = Connect(sender, &sink);
  CheckConnections(sender, &sink, cookie);
  CHECK_RESULT(S_OK, Disconnect(sender, cookie));
  CheckSinks(sender);
  CheckReleaseInAnEvent();
  CHECK(IUnknown_Release((IUnknown*)sender) == 0);
  CHECK(IUnknown_Release((IUnknown*)config) == 0);
}
