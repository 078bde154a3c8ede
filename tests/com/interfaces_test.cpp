// Which interfaces the objects of the component answer: every object asked for every interface that
// any of them knows. What an object answers, hosts call.
#include <algorithm>
#include <set>

#include "tests/support/com_host.h"

namespace mvsms::com {
namespace {

struct Interface {
  const char* name;
  IID iid;
  std::vector<std::string> extends;  // besides IUnknown
};

const Interface kInterfaces[] = {
    {"IUnknown", IID_IUnknown, {}},
    {"IDispatch", IID_IDispatch, {}},
    {"_Sender", IID__Sender, {"IDispatch"}},
    {"_Config", IID__Config, {"IDispatch"}},
    {"__Sender", DIID___Sender, {"IDispatch"}},
    {"IProvideClassInfo", IID_IProvideClassInfo, {}},
    {"IProvideClassInfo2", IID_IProvideClassInfo2, {"IProvideClassInfo"}},
    {"ISupportErrorInfo", IID_ISupportErrorInfo, {}},
    {"IConnectionPointContainer", IID_IConnectionPointContainer, {}},
    {"IConnectionPoint", IID_IConnectionPoint, {}},
    {"IEnumConnectionPoints", IID_IEnumConnectionPoints, {}},
    {"IEnumConnections", IID_IEnumConnections, {}},
    {"IClassFactory", IID_IClassFactory, {}},
    {"IClassFactory2", IID_IClassFactory2, {"IClassFactory"}},
    {"IPersist", IID_IPersist, {}},
    {"IMarshal", IID_IMarshal, {}},
};

/// One object of each kind that a host can lay its hands on, and what each has to answer.
class Objects : public testing::Test {
 protected:
  using Names = std::set<std::string>;
  struct Object {
    std::string name;
    IUnknown* object;
    Names answers;
  };

  Objects() {
    host_.Advise(sink_);
    EXPECT_EQ(host_.sender().QueryInterface(IID_IConnectionPointContainer, container_.PutVoid()),
              S_OK);
    EXPECT_EQ(container_->EnumConnectionPoints(points_.Put()), S_OK);
    EXPECT_EQ(points_->Clone(more_points_.Put()), S_OK);
    EXPECT_EQ(point_->EnumConnections(connections_.Put()), S_OK);
    EXPECT_EQ(connections_->Clone(more_connections_.Put()), S_OK);
    for (ComPtr<IClassFactory>* factory : {&sender_factory_, &config_factory_}) {
      EXPECT_EQ(
          ::CoGetClassObject(factory == &sender_factory_ ? CLSID_Sender : CLSID_Config,
                             CLSCTX_INPROC_SERVER, nullptr, IID_IClassFactory, factory->PutVoid()),
          S_OK);
    }
    EXPECT_EQ(config_factory_->CreateInstance(nullptr, IID_IUnknown, config_.PutVoid()), S_OK);
  }

  std::vector<Object> All() {
    return {
        {"Sender",
         &host_.sender(),
         {"IUnknown", "IDispatch", "_Sender", "IProvideClassInfo", "IProvideClassInfo2",
          "ISupportErrorInfo", "IConnectionPointContainer"}},
        {"Config",
         config_.Get(),
         {"IUnknown", "IDispatch", "_Config", "IProvideClassInfo", "ISupportErrorInfo"}},
        {"factory of Sender", sender_factory_.Get(), {"IUnknown", "IClassFactory"}},
        {"factory of Config", config_factory_.Get(), {"IUnknown", "IClassFactory"}},
        {"connection point", point_.Get(), {"IUnknown", "IConnectionPoint"}},
        {"points", points_.Get(), {"IUnknown", "IEnumConnectionPoints"}},
        {"copy of points", more_points_.Get(), {"IUnknown", "IEnumConnectionPoints"}},
        {"connections", connections_.Get(), {"IUnknown", "IEnumConnections"}},
        {"copy of connections", more_connections_.Get(), {"IUnknown", "IEnumConnections"}},
    };
  }

  static ComPtr<IUnknown> As(IUnknown* object, REFIID iid) {
    void* answer = object;  // which a refusal has to take away
    const HRESULT result = object->QueryInterface(iid, &answer);
    EXPECT_EQ(result, answer ? S_OK : E_NOINTERFACE);
    return ComPtr<IUnknown>(static_cast<IUnknown*>(answer));
  }
  static Names Answered(IUnknown* object) {
    Names names;
    for (const Interface& known : kInterfaces) {
      if (As(object, known.iid)) names.insert(known.name);
    }
    return names;
  }

  Sink sink_;
  Host host_;
  ComPtr<IConnectionPointContainer> container_;
  ComPtr<IConnectionPoint> point_ = host_.EventPoint();
  ComPtr<IEnumConnectionPoints> points_, more_points_;
  ComPtr<IEnumConnections> connections_, more_connections_;
  ComPtr<IClassFactory> sender_factory_, config_factory_;
  ComPtr<IUnknown> config_;
};

TEST_F(Objects, AnswerTheirInterfacesAndNoOthers) {
  for (const Object& each : All()) EXPECT_EQ(Answered(each.object), each.answers) << each.name;
}

TEST_F(Objects, AnswerWhatTheirInterfacesExtend) {
  for (const Object& each : All()) {
    const Names answered = Answered(each.object);
    for (const Interface& known : kInterfaces) {
      if (answered.count(known.name) == 0) continue;
      for (const std::string& base : known.extends) {
        EXPECT_EQ(answered.count(base), 1U) << each.name << " as " << known.name;
      }
    }
  }
}

TEST_F(Objects, AreTheSameObjectBehindEveryInterface) {
  for (const Object& each : All()) {
    const ComPtr<IUnknown> identity = As(each.object, IID_IUnknown);
    for (const Interface& known : kInterfaces) {
      const ComPtr<IUnknown> found = As(each.object, known.iid);
      if (!found) continue;
      EXPECT_EQ(As(found.Get(), IID_IUnknown).Get(), identity.Get()) << each.name << known.name;
      EXPECT_EQ(Answered(found.Get()), each.answers) << each.name << " as " << known.name;
    }
  }
}

TEST_F(Objects, CountTheReferencesThatTheyGive) {
  for (const Object& each : All()) {
    const ULONG before = (each.object->AddRef(), each.object->Release());
    Answered(each.object);
    EXPECT_EQ((each.object->AddRef(), each.object->Release()), before) << each.name;
    EXPECT_EQ(each.object->QueryInterface(IID_IUnknown, nullptr), E_POINTER) << each.name;
  }
}

TEST_F(Objects, WithoutIDispatchAreNoSinks) {
  for (const Object& each : All()) {
    DWORD cookie = 4711;
    const HRESULT advised = point_->Advise(each.object, &cookie);
    if (each.answers.count("IDispatch") != 0) {
      EXPECT_EQ(advised, S_OK) << each.name;
      EXPECT_EQ(point_->Unadvise(cookie), S_OK) << each.name;
    } else {
      EXPECT_EQ(advised, CONNECT_E_CANNOTCONNECT) << each.name;
      EXPECT_EQ(cookie, 0U) << each.name;
    }
  }
  DWORD cookie = 4711;
  EXPECT_EQ(point_->Advise(nullptr, &cookie), E_POINTER);
  EXPECT_EQ(cookie, 0U);
}

}  // namespace
}  // namespace mvsms::com
