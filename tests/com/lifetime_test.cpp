// Lifetimes: nothing is left when the host lets go.
#include <thread>

#include "tests/support/com_host.h"

namespace mvsms::com {
namespace {

using CanUnload = HRESULT(WINAPI*)();
HRESULT CanUnloadNow() { return Exported<CanUnload>("mvSMS.dll", "DllCanUnloadNow")(); }

/// Counts the allocations of COM and of BSTRs. Once registered it stays: COM lets go of it only
/// when the last block that it saw is free. (The tests' runner switches the cache of BSTRs off.)
class Spy final : public IMallocSpy {
 public:
  static Spy& Registered() {
    static Spy& spy = *new Spy;
    return spy;
  }
  Spy() { EXPECT_EQ(::CoRegisterMallocSpy(this), S_OK); }
  LONG alive() const { return alive_; }
  /// While it is set there is no memory.
  bool refuses = false;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    if (iid != IID_IUnknown && iid != IID_IMallocSpy) return E_NOINTERFACE;
    *object = this;
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
  SIZE_T STDMETHODCALLTYPE PreAlloc(SIZE_T size) override { return refuses ? 0 : size; }
  void* STDMETHODCALLTYPE PostAlloc(void* memory) override {
    if (memory) ::InterlockedIncrement(&alive_);
    return memory;
  }
  void* STDMETHODCALLTYPE PreFree(void* memory, BOOL spied) override {
    if (memory && spied) ::InterlockedDecrement(&alive_);
    return memory;
  }
  void STDMETHODCALLTYPE PostFree(BOOL) override {}
  SIZE_T STDMETHODCALLTYPE PreRealloc(void* memory, SIZE_T size, void** actual, BOOL) override {
    *actual = memory;
    return size;
  }
  void* STDMETHODCALLTYPE PostRealloc(void* memory, BOOL) override { return memory; }
  void* STDMETHODCALLTYPE PreGetSize(void* memory, BOOL) override { return memory; }
  SIZE_T STDMETHODCALLTYPE PostGetSize(SIZE_T size, BOOL) override { return size; }
  void* STDMETHODCALLTYPE PreDidAlloc(void* memory, BOOL) override { return memory; }
  int STDMETHODCALLTYPE PostDidAlloc(void*, BOOL, int actual) override { return actual; }
  void STDMETHODCALLTYPE PreHeapMinimize() override {}
  void STDMETHODCALLTYPE PostHeapMinimize() override {}

 private:
  LONG alive_ = 0;
};

/// One whole life of a Sender, as late and early bound hosts lead it.
void OneRound() {
  Sink sink;
  Host host;
  host.Advise(sink);
  Value profile(kEmptyProfile), read;
  Invoke(host.dispatch(), L"HostAppName", DISPATCH_PROPERTYPUT, {profile});
  Invoke(host.dispatch(), L"Status", DISPATCH_PROPERTYGET, {}, &read);
  host.Send("0171", "text");
  EXPECT_EQ(sink.events.size(), 5U);
  host.Release();
  EXPECT_EQ(sink.references(), 0U);
}

TEST(Lifetime, DllMayGoWhenEveryObjectHasGone) {
  {
    Host host;
    EXPECT_EQ(CanUnloadNow(), S_FALSE);
  }
  EXPECT_EQ(CanUnloadNow(), S_OK);
}

TEST(Lifetime, LockKeepsTheDll) {
  ComPtr<IClassFactory> factory;
  ASSERT_EQ(::CoGetClassObject(CLSID_Sender, CLSCTX_INPROC_SERVER, nullptr, IID_IClassFactory,
                               factory.PutVoid()),
            S_OK);
  EXPECT_EQ(factory->LockServer(TRUE), S_OK);
  ComPtr<IUnknown> object;
  EXPECT_EQ(factory->CreateInstance(factory.Get(), IID_IUnknown, object.PutVoid()),
            CLASS_E_NOAGGREGATION);
  EXPECT_EQ(factory->CreateInstance(nullptr, IID_IPersist, object.PutVoid()), E_NOINTERFACE);
  factory.Reset();
  EXPECT_EQ(CanUnloadNow(), S_FALSE);
  ASSERT_EQ(::CoGetClassObject(CLSID_Sender, CLSCTX_INPROC_SERVER, nullptr, IID_IClassFactory,
                               factory.PutVoid()),
            S_OK);
  EXPECT_EQ(factory->LockServer(FALSE), S_OK);
  factory.Reset();
  EXPECT_EQ(CanUnloadNow(), S_OK);
}

// The message is gone by then, and a host that is told of a failure sends it a second time.
TEST(Lifetime, MemoryThatLacksAfterTheSendCostsOnlyTheWriteBack) {
  Spy& spy = Spy::Registered();
  Host host(kProfile);
  Sink sink;
  sink.handler = [&](DISPID, DISPPARAMS&) {
    spy.refuses = host.Status().ends_with("Failed");
    return S_OK;
  };
  WriteProfile();
  host.Advise(sink);
  const Sent sent = host.Send("no digits", "  text ");
  spy.refuses = false;
  DeleteProfile();
  EXPECT_EQ(sent.result, S_OK);
  EXPECT_EQ(sent.message, "  text ");
  host.Release();
}

TEST(Lifetime, AThousandRoundsLeaveNothingBehind) {
  for (int i = 0; i < 20; ++i) OneRound();
  const Spy& spy = Spy::Registered();
  OneRound();
  const LONG after_one = spy.alive();
  for (int i = 0; i < 1000; ++i) OneRound();
  EXPECT_EQ(spy.alive(), after_one);
  EXPECT_EQ(CanUnloadNow(), S_OK);
}

/// COM forbids it, but collected objects of scripting languages and wrappers that leak end so.
TEST(Lifetime, ObjectsMayOutliveTheirThread) {
  WriteProfile();
  ShowStatusWindow();
  IUnknown* objects[2] = {};
  std::thread([&] {
    Host host(kProfile);
    host.Send("no digits", "text");
    EXPECT_NE(host.Status(), "");
    host.sender().QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&objects[0]));
    EXPECT_EQ(::CoCreateInstance(CLSID_Config, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown,
                                 reinterpret_cast<void**>(&objects[1])),
              S_OK);
  }).join();
  DeleteProfile();
  for (IUnknown* const object : objects) {
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(object->Release(), 0U);
  }
  EXPECT_EQ(CanUnloadNow(), S_OK);
}

TEST(Lifetime, ApartmentsAreIndependent) {
  std::vector<std::thread> apartments;
  for (int i = 0; i < 8; ++i) {
    apartments.emplace_back([] {
      for (int round = 0; round < 10; ++round) OneRound();
    });
  }
  for (std::thread& apartment : apartments) apartment.join();
  EXPECT_EQ(CanUnloadNow(), S_OK);
}

}  // namespace
}  // namespace mvsms::com
