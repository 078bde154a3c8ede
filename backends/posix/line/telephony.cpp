// The TAPI objects over the lines of this machine.
#include <cctype>
#include <cerrno>
#include <utility>

#include "backends/posix/line/backend.h"
#include "backends/posix/line/comm.h"
#include "backends/posix/line/hayes_modem.h"
#include "backends/posix/line/line_call.h"
#include "backends/posix/line/line_pool.h"
#include "backends/posix/line/line_trouble.h"
#include "backends/posix/store/line_store.h"
#include "base/ansi.h"
#include "base/raised_error.h"
#include "platform/win32_codes.h"

namespace mvsms::posix {
namespace {

// Codes of tapi3err.h and winerror.h.
constexpr std::int32_t kTapiNotInitialised = ObjectError(0x59);
constexpr std::int32_t kNotImplemented = -2147467263;  // E_NOTIMPL
constexpr std::int32_t kErrorNotConnected = 1167;

class Translation : public ITAddressTranslationInfo {
 public:
  explicit Translation(std::string dialable) : dialable_(std::move(dialable)) {}
  std::string DialableString() override { return dialable_; }

 private:
  std::string dialable_;
};

class LineAddress : public ITAddress {
 public:
  LineAddress(const std::string& home, LineConfig line, PosixEventLoop& loop,
              std::shared_ptr<EventOutlet> outlet)
      : home_(home), line_(std::move(line)), loop_(loop), outlet_(std::move(outlet)) {}

  const LineConfig& line() const { return line_; }

  std::string AddressName() override { return line_.name; }

  bool QueryMediaType(std::int32_t media_type) override {
    return media_type == kTapiMediaTypeDataModem;
  }

  std::shared_ptr<ITAddressTranslationInfo> TranslateAddress(const std::string& number,
                                                             std::int32_t, std::int32_t) override {
    return std::make_shared<Translation>(IsTcp() ? number : DialString(number));
  }

  void TranslateDialog(WindowHandle, const std::string&) override {
    throw RaisedError(kNotImplemented, "ITAddressTranslation.TranslateDialog",
                      "Lines have no dialling location here: numbers are dialled as they stand");
  }

  std::shared_ptr<ITBasicCallControl> CreateCall(const std::string& destination, std::int32_t,
                                                 std::int32_t) override {
    return std::make_shared<LineCall>(line_.name, DiallerFor(destination), loop_, outlet_);
  }

 private:
  bool IsTcp() const { return line_.kind == LineKind::kTcp; }

  std::unique_ptr<Dialler> DiallerFor(const std::string& destination) const {
    if (IsTcp()) return MakeTcpDialler(line_, destination);
    const std::string number = DialString(destination);
    return line_.kind == LineKind::kPool ? MakePoolDialler(home_, line_, number)
                                         : MakeHayesDialler(line_, number);
  }

  std::string home_;
  LineConfig line_;
  PosixEventLoop& loop_;
  std::shared_ptr<EventOutlet> outlet_;
};

class Tapi : public ITTAPI {
 public:
  Tapi(PosixEventLoop& loop, std::string home, Store* settings)
      : loop_(loop), home_(std::move(home)), settings_(settings) {}

  ~Tapi() override { SetEventSink({}); }

  void Initialize() override { initialised_ = true; }

  void Shutdown() override {
    initialised_ = false;
    SetEventSink({});
  }

  void PutEventFilter(std::int32_t mask) override { outlet_->PutFilter(mask); }

  void SetEventSink(EventSink sink) final { outlet_->SetSink(std::move(sink)); }

  std::vector<std::shared_ptr<ITAddress>> GetAddresses() override {
    RequireInitialised();
    std::vector<std::shared_ptr<ITAddress>> addresses;
    for (LineConfig& line : LineStore(home_, settings_).List()) {
      addresses.push_back(std::make_shared<LineAddress>(home_, std::move(line), loop_, outlet_));
    }
    return addresses;
  }

  std::int32_t RegisterCallNotifications(const std::shared_ptr<ITAddress>& address, bool, bool,
                                         std::int32_t, std::int32_t) override {
    RequireInitialised();
    const LineConfig& line = static_cast<LineAddress&>(*address).line();
    const std::string use = LineInUse(home_, line);
    NoteTrouble(line.name, use);
    NoteMember(line.name, "");
    if (!use.empty()) throw RaisedError(EBUSY, "RegisterCallNotifications", AnsiFromUtf8(use));
    return ++last_registration_;
  }

  void UnregisterNotifications(std::int32_t) override {}

 private:
  void RequireInitialised() const {
    if (!initialised_) {
      throw RaisedError(kTapiNotInitialised, "ITTAPI", "Telephony is not initialised");
    }
  }

  PosixEventLoop& loop_;
  std::string home_;
  Store* settings_;
  std::shared_ptr<EventOutlet> outlet_ = std::make_shared<EventOutlet>();
  bool initialised_ = false;
  std::int32_t last_registration_ = 0;
};

class PortProvider : public PortHandleProvider {
 public:
  explicit PortProvider(PosixComm& comm) : comm_(comm) {}

  std::int32_t GetPortHandle(const std::string& device_class, ITBasicCallControl& call,
                             CommHandle& handle) override {
    if (device_class != "comm/datamodem") return kErrorInvalidParameter;
    auto channel = static_cast<LineCall&>(call).channel();
    if (!channel) return kErrorNotConnected;
    handle = comm_.Adopt(std::move(channel));
    return 0;
  }

 private:
  PosixComm& comm_;
};

class LineTelephony : public Telephony {
 public:
  LineTelephony(PosixComm& comm, PosixEventLoop& loop, std::string home, Store* settings)
      : comm_(comm), loop_(loop), home_(std::move(home)), settings_(settings) {}

  std::unique_ptr<ITTAPI> CreateTapi() override {
    return std::make_unique<Tapi>(loop_, home_, settings_);
  }

  std::unique_ptr<PortHandleProvider> CreatePortHandleProvider() override {
    return std::make_unique<PortProvider>(comm_);
  }

 private:
  PosixComm& comm_;
  PosixEventLoop& loop_;
  std::string home_;
  Store* settings_;
};

}  // namespace

std::unique_ptr<Telephony> MakeTelephony(Comm& comm, PosixEventLoop& loop, const std::string& home,
                                         Store* settings) {
  return std::make_unique<LineTelephony>(static_cast<PosixComm&>(comm), loop, home, settings);
}

}  // namespace mvsms::posix
