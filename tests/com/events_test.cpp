// Events: their order, count and arguments, and sinks that misbehave.
#include <stdexcept>

#include "tests/support/com_host.h"

namespace mvsms::com {
namespace {

constexpr DISPID kError = 1;
constexpr DISPID kStatusChange = 2;

std::vector<DISPID> Ids(const Sink& sink) {
  std::vector<DISPID> ids;
  for (const Sink::Event& event : sink.events) ids.push_back(event.id);
  return ids;
}

/// Sends that end with error 5, for the profile has no settings.
class Events : public testing::Test {
 protected:
  Events() { host_.Advise(sink_); }
  ~Events() override { host_.Release(); }
  void Send() { host_.Send("0171", "text"); }

  Sink sink_;
  Host host_;
};

TEST_F(Events, ComeInTheOrderOfTheSteps) {
  Send();
  EXPECT_THAT(Ids(sink_), testing::ElementsAre(kStatusChange,          // begin
                                               kStatusChange,          // the error's line
                                               kError, kStatusChange,  // the error
                                               kStatusChange));        // end
  EXPECT_THAT(sink_.events[2].arguments,
              testing::ElementsAre("5", "Unable to load settings. SMS must be configured first!",
                                   "Sender.SendMessage"));
}

TEST_F(Events, StatusChangeCarriesTheWholeStatus) {
  Send();
  EXPECT_EQ(sink_.events.back().arguments[0], host_.Status());
  EXPECT_LT(sink_.events.front().arguments[0].size(), host_.Status().size());
}

TEST_F(Events, ArgumentsAreReferencesThatASinkMayWrite) {
  std::string description;
  sink_.handler = [&](DISPID id, DISPPARAMS& arguments) {
    if (id != kError) return S_OK;
    EXPECT_EQ(arguments.rgvarg[2].vt, VT_BYREF | VT_I4);
    EXPECT_EQ(arguments.rgvarg[1].vt, VT_BYREF | VT_BSTR);
    EXPECT_EQ(arguments.rgvarg[0].vt, VT_BYREF | VT_BSTR);
    *arguments.rgvarg[2].plVal = 7;
    ::SysReAllocString(arguments.rgvarg[1].pbstrVal, L"changed");
    return S_OK;
  };
  Sink second;
  host_.Advise(second);
  Send();
  EXPECT_EQ(second.events[2].arguments[0], "7");
  EXPECT_EQ(second.events[2].arguments[1], "changed");
  host_.Release();
}

TEST_F(Events, StatusThatASinkWritesIsTheStatus) {
  sink_.handler = [](DISPID id, DISPPARAMS& arguments) {
    if (id == kStatusChange) ::SysReAllocString(arguments.rgvarg[0].pbstrVal, L"mine");
    return S_OK;
  };
  Send();
  EXPECT_EQ(host_.Status(), "mine");
}

TEST_F(Events, EverySinkIsCalled) {
  Sink second;
  const DWORD cookie = host_.Advise(second);
  Send();
  EXPECT_EQ(second.events.size(), sink_.events.size());
  host_.Unadvise(cookie);
  EXPECT_EQ(second.references(), 0U);
  Send();
  EXPECT_EQ(second.events.size() * 2, sink_.events.size());
}

TEST_F(Events, SinkThatFailsCostsNothing) {
  sink_.handler = [](DISPID, DISPPARAMS&) { return E_FAIL; };
  Send();
  EXPECT_EQ(sink_.events.size(), 5U);
}

// Only where the host's exceptions can be unwound through the component, see the guide.
#ifdef _WIN64
TEST_F(Events, SinkThatThrowsCostsNothing) {
  Sink second;
  host_.Advise(second);
  sink_.handler = [](DISPID, DISPPARAMS&) -> HRESULT { throw std::runtime_error("the host's"); };
  const Sent sent = host_.Send("0171", "text");
  EXPECT_EQ(sent.result, S_OK);
  EXPECT_EQ(sink_.events.size(), 5U);
  EXPECT_EQ(second.events.size(), 5U);
  host_.Release();
}
#endif

TEST_F(Events, SinkMayUnadviseItself) {
  Sink second;
  const DWORD cookie = host_.Advise(second);
  second.handler = [&](DISPID, DISPPARAMS&) {
    if (second.events.size() == 1) host_.Unadvise(cookie);
    return S_OK;
  };
  Send();
  EXPECT_EQ(second.events.size(), 1U);
  EXPECT_EQ(second.references(), 0U);
}

TEST_F(Events, HostMayReleaseTheSenderFromInsideAnEvent) {
  _Sender* const sender = &host_.sender();
  sink_.handler = [&](DISPID, DISPPARAMS&) {
    host_.Release();
    return S_OK;
  };
  Bstr texts[] = {Bstr("0171"), Bstr("1"), Bstr("text"), Bstr("")};
  VARIANT_BOOL accepted = VARIANT_TRUE;
  EXPECT_EQ(sender->SendMessage(texts[0].InOut(), texts[1].InOut(), texts[2].InOut(),
                                texts[3].InOut(), &accepted),
            S_OK);
  EXPECT_EQ(accepted, VARIANT_FALSE);
  EXPECT_EQ(sink_.events.size(), 5U);
  EXPECT_EQ(sink_.references(), 0U);
}

TEST_F(Events, AbortActionFromInsideAnEventIsNoDeadlock) {
  sink_.handler = [&](DISPID, DISPPARAMS&) {
    EXPECT_EQ(host_.sender().AbortAction(), S_OK);
    return S_OK;
  };
  Send();
  EXPECT_EQ(sink_.events.size(), 5U);
}

TEST_F(Events, ConnectionPointKeepsTheRulesOfConnections) {
  const auto point = host_.EventPoint();
  IID iid{};
  EXPECT_EQ(point->GetConnectionInterface(&iid), S_OK);
  EXPECT_TRUE(iid == DIID___Sender);
  DWORD cookie = 0;
  EXPECT_EQ(point->Advise(nullptr, &cookie), E_POINTER);
  EXPECT_EQ(point->Unadvise(4711), CONNECT_E_NOCONNECTION);
  ComPtr<IConnectionPointContainer> container;
  ASSERT_EQ(point->GetConnectionPointContainer(container.Put()), S_OK);
  ComPtr<IConnectionPoint> none;
  EXPECT_EQ(container->FindConnectionPoint(IID_IDispatch, none.Put()), CONNECT_E_NOCONNECTION);
  ComPtr<IEnumConnectionPoints> points;
  ASSERT_EQ(container->EnumConnectionPoints(points.Put()), S_OK);
  ComPtr<IConnectionPoint> first;
  ULONG fetched = 0;
  EXPECT_EQ(points->Next(1, first.Put(), &fetched), S_OK);
  EXPECT_EQ(points->Next(1, none.Put(), &fetched), S_FALSE);
  ComPtr<IEnumConnections> connections;
  ASSERT_EQ(point->EnumConnections(connections.Put()), S_OK);
  CONNECTDATA connection{};
  EXPECT_EQ(connections->Next(1, &connection, &fetched), S_OK);
  EXPECT_EQ(connection.pUnk, static_cast<IUnknown*>(&sink_));
  connection.pUnk->Release();
}

}  // namespace
}  // namespace mvsms::com
