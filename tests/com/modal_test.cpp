// A modal dialog returns however it was closed. There is no screen here: on one, its events would
// wake a loop that has not noticed.
#include <atomic>
#include <functional>
#include <thread>

#include "backends/win32/backend.h"
#include "tests/support/com_host.h"

namespace mvsms::com {
namespace {

template <class Condition>
bool ComesTrue(Condition condition) {
  for (int tries = 0; tries < 300; ++tries) {
    if (condition()) return true;
    ::Sleep(10);
  }
  return false;
}

/// A modal dialog, and a second thread that closes it.
class ModalDialog : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(::CoCreateInstance(CLSID_Config, nullptr, CLSCTX_INPROC_SERVER, IID__Config,
                                 config_.PutVoid()),
              S_OK);
  }
  ~ModalDialog() override { DeleteProfile(); }

  void ShowUntil(const std::function<void(HWND dialog)>& close) {
    std::atomic<bool> returned = false;
    std::atomic<bool> over = false;
    const DWORD host = ::GetCurrentThreadId();
    std::thread user([&] {
      HWND dialog = nullptr;
      EXPECT_TRUE(ComesTrue([&] {
        dialog = ::FindWindowW(nullptr, L"SMS Configuration");
        return dialog != nullptr && ::IsWindowVisible(dialog);
      }));
      ::Sleep(100);  // what is waiting for the dialog's loop is worked off
      close(dialog);
      EXPECT_TRUE(ComesTrue([&] { return returned.load(); }));
      ::PostThreadMessageW(host, WM_NULL, 0, 0);  // sets the loop free that has not noticed
      over = true;
    });
    EXPECT_EQ(config_->ShowConfigDialog(Bstr(kProfile).Get(), 0, VARIANT_TRUE), S_OK);
    returned = true;
    const auto loop = win32::MakeEventLoop();  // other apartments call into this one
    for (; !over; loop->Sleep(std::chrono::milliseconds(10))) loop->DoEvents();
    user.join();
  }

  ComPtr<_Config> config_;
};

TEST_F(ModalDialog, ReturnsWhenASentMessageClosesIt) {
  ShowUntil([](HWND dialog) { ::SendMessageW(dialog, WM_CLOSE, 0, 0); });
}

TEST_F(ModalDialog, ReturnsWhenACallFromAnotherApartmentReplacesIt) {
  ComPtr<IStream> stream;
  ASSERT_EQ(::CoMarshalInterThreadInterfaceInStream(IID__Config, config_.Get(), stream.Put()),
            S_OK);
  ShowUntil([&](HWND) {
    ASSERT_EQ(::CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
    ComPtr<_Config> there;
    ASSERT_EQ(::CoGetInterfaceAndReleaseStream(stream.Detach(), IID__Config, there.PutVoid()),
              S_OK);
    EXPECT_EQ(there->ShowConfigDialog(Bstr(kProfile).Get(), 0, VARIANT_FALSE), S_OK);
    there.Reset();
    ::CoUninitialize();
  });
  EXPECT_NE(::FindWindowW(nullptr, L"SMS Configuration"), nullptr);  // the second one
}

}  // namespace
}  // namespace mvsms::com
