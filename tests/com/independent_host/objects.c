/* Class factory, identity and interfaces. */
#include "host.h"

void* NewObject(const Class* type) {
  void* object = NULL;
  CoCreateInstance(&type->clsid, NULL, CLSCTX_INPROC_SERVER, &type->interface_id, &object);
  return object;
}

void* Ask(void* object, REFIID iid) {
  void* found = NULL;
  return SUCCEEDED(IUnknown_QueryInterface((IUnknown*)object, iid, &found)) ? found : NULL;
}

ULONG References(void* object) {
  IUnknown_AddRef((IUnknown*)object);
  return IUnknown_Release((IUnknown*)object);
}

static int Answers(void* object, REFIID iid) {
  IUnknown* const found = Ask(object, iid);
  if (found) IUnknown_Release(found);
  return found != NULL;
}

/* True when the object behind both pointers is the same. */
static int IsSame(void* one, void* other) {
  IUnknown* const first = Ask(one, &IID_IUnknown);
  IUnknown* const second = Ask(other, &IID_IUnknown);
  if (first) IUnknown_Release(first);
  if (second) IUnknown_Release(second);
  return first && first == second;
}

/* What every object owes to whoever asks it. */
static void CheckManners(void* object, REFIID* answered, size_t count) {
  void* found = object;
  const ULONG before = References(object);
  CHECK_RESULT(E_NOINTERFACE, IUnknown_QueryInterface((IUnknown*)object, &IID_IStorage, &found));
  CHECK(found == NULL);
  CHECK_RESULT(E_POINTER, IUnknown_QueryInterface((IUnknown*)object, &IID_IUnknown, NULL));
  for (size_t i = 0; i < count; ++i) {
    IUnknown* const interface_pointer = Ask(object, answered[i]);
    CHECK(interface_pointer != NULL);
    if (!interface_pointer) continue;
    CHECK(IsSame(interface_pointer, object));
    CHECK(Answers(interface_pointer, answered[(i + 1) % count]));
    IUnknown_Release(interface_pointer);
  }
  CHECK(References(object) == before);
}

static void CheckFactory(const Class* type) {
  IClassFactory* factory = NULL;
  void* object = &object;
  REFIID answered[] = {&IID_IUnknown, &IID_IClassFactory};
  CHECK_RESULT(S_OK, CoGetClassObject(&type->clsid, CLSCTX_INPROC_SERVER, NULL, &IID_IClassFactory,
                                      (void**)&factory));
  if (!factory) return;
  CheckManners(factory, answered, 2);
  CHECK(!Answers(factory, &IID_IDispatch));
  CHECK_RESULT(CLASS_E_NOAGGREGATION,
               IClassFactory_CreateInstance(factory, (IUnknown*)factory, &IID_IUnknown, &object));
  CHECK(object == NULL);
  object = &object;
  CHECK_RESULT(E_NOINTERFACE, IClassFactory_CreateInstance(factory, NULL, &IID_IStorage, &object));
  CHECK(object == NULL);
  CHECK_RESULT(E_POINTER, IClassFactory_CreateInstance(factory, NULL, &IID_IUnknown, NULL));
  CHECK_RESULT(S_OK, IClassFactory_LockServer(factory, TRUE));
  CHECK_RESULT(S_OK, IClassFactory_LockServer(factory, FALSE));
  IClassFactory_Release(factory);
}

static void CheckClassInfo(void* object, const Class* type) {
  IProvideClassInfo* const provider = Ask(object, &IID_IProvideClassInfo);
  ITypeInfo* info = NULL;
  TYPEATTR* attributes;
  CHECK(provider != NULL);
  if (!provider) return;
  CHECK_RESULT(E_POINTER, IProvideClassInfo_GetClassInfo(provider, NULL));
  CHECK_RESULT(S_OK, IProvideClassInfo_GetClassInfo(provider, &info));
  CHECK_RESULT(S_OK, ITypeInfo_GetTypeAttr(info, &attributes));
  CHECK(attributes->typekind == TKIND_COCLASS);
  CHECK(IsEqualGUID(&attributes->guid, &type->clsid));
  ITypeInfo_ReleaseTypeAttr(info, attributes);
  ITypeInfo_Release(info);
  IProvideClassInfo_Release(provider);
}

static void CheckEventId(void* sender) {
  IProvideClassInfo2* const provider = Ask(sender, &IID_IProvideClassInfo2);
  GUID guid = {0};
  CHECK(provider != NULL);
  if (!provider) return;
  CHECK_RESULT(S_OK, IProvideClassInfo2_GetGUID(provider, GUIDKIND_DEFAULT_SOURCE_DISP_IID, &guid));
  CHECK(IsEqualGUID(&guid, &SenderClass()->event_id));
  CHECK_RESULT(E_INVALIDARG, IProvideClassInfo2_GetGUID(provider, 4711, &guid));
  CHECK_RESULT(E_POINTER,
               IProvideClassInfo2_GetGUID(provider, GUIDKIND_DEFAULT_SOURCE_DISP_IID, NULL));
  IProvideClassInfo2_Release(provider);
}

static void CheckErrorInfo(void* object, const Class* type) {
  ISupportErrorInfo* const support = Ask(object, &IID_ISupportErrorInfo);
  CHECK(support != NULL);
  if (!support) return;
  CHECK_RESULT(S_OK, ISupportErrorInfo_InterfaceSupportsErrorInfo(support, &type->interface_id));
  CHECK_RESULT(S_FALSE, ISupportErrorInfo_InterfaceSupportsErrorInfo(support, &IID_IStorage));
  ISupportErrorInfo_Release(support);
}

void CheckObjects(void) {
  void* const sender = NewObject(SenderClass());
  void* const config = NewObject(ConfigClass());
  CHECK(sender != NULL);
  CHECK(config != NULL);
  if (!sender || !config) return;
  REFIID of_sender[] = {
      &IID_IUnknown,          &IID_IDispatch,          &SenderClass()->interface_id,
      &IID_IProvideClassInfo, &IID_IProvideClassInfo2, &IID_IConnectionPointContainer,
      &IID_ISupportErrorInfo};
  REFIID of_config[] = {&IID_IUnknown, &IID_IDispatch, &ConfigClass()->interface_id,
                        &IID_IProvideClassInfo, &IID_ISupportErrorInfo};
  CheckFactory(SenderClass());
  CheckFactory(ConfigClass());
  CheckManners(sender, of_sender, sizeof of_sender / sizeof *of_sender);
  CheckManners(config, of_config, sizeof of_config / sizeof *of_config);
  CHECK(!Answers(sender, &SenderClass()->event_id)); /* it calls that one */
  CHECK(!Answers(sender, &ConfigClass()->interface_id));
  CHECK(!Answers(config, &SenderClass()->interface_id));
  CheckClassInfo(sender, SenderClass());
  CheckClassInfo(config, ConfigClass());
  CheckEventId(sender);
  CheckErrorInfo(sender, SenderClass());
  CheckErrorInfo(config, ConfigClass());
  CHECK(IUnknown_Release((IUnknown*)sender) == 0);
  CHECK(IUnknown_Release((IUnknown*)config) == 0);
}
