// A modal dialog returns however it was closed. There is no screen here: on one, its events would
// wake a loop that has not noticed.
#include <atomic>
#include <thread>

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

TEST(ModalDialog, ReturnsWhenASentMessageClosesIt) {
  ComPtr<_Config> config;
  ASSERT_EQ(::CoCreateInstance(CLSID_Config, nullptr, CLSCTX_INPROC_SERVER, IID__Config,
                               config.PutVoid()),
            S_OK);
  std::atomic<bool> returned = false;
  const DWORD host = ::GetCurrentThreadId();
  std::thread user([&] {
    HWND dialog = nullptr;
    EXPECT_TRUE(ComesTrue([&] {
      dialog = ::FindWindowW(nullptr, L"SMS Configuration");
      return dialog != nullptr && ::IsWindowVisible(dialog);
    }));
    ::Sleep(100);  // what is waiting for the dialog's loop is worked off
    ::SendMessageW(dialog, WM_CLOSE, 0, 0);
    EXPECT_TRUE(ComesTrue([&] { return returned.load(); }));
    ::PostThreadMessageW(host, WM_NULL, 0, 0);  // sets the loop free that has not noticed
  });
  EXPECT_EQ(config->ShowConfigDialog(Bstr(kProfile).Get(), 0, VARIANT_TRUE), S_OK);
  returned = true;
  user.join();
  DeleteProfile();
}

}  // namespace
}  // namespace mvsms::com
