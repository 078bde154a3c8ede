// The message loop that runs within a send: the windows, timers and the end of the host belong to
// the host, whatever it does meanwhile.
#include <stdexcept>
#include <thread>

#include "backends/win32/backend.h"
#include "tests/support/com_host.h"

namespace mvsms::com {
namespace {

using std::chrono::milliseconds;

/// A window of the host without a place on the screen.
class Window {
 public:
  explicit Window(bool unicode, std::function<void(HWND, UINT, WPARAM)> handler)
      : handler_(std::move(handler)) {
    if (unicode) {
      WNDCLASSW type = {};
      type.lpfnWndProc = OnMessage<::DefWindowProcW>;
      type.lpszClassName = L"mvSMS test W";
      ::RegisterClassW(&type);
      handle_ = ::CreateWindowExW(0, type.lpszClassName, L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr,
                                  nullptr, this);
    } else {
      WNDCLASSA type = {};
      type.lpfnWndProc = OnMessage<::DefWindowProcA>;
      type.lpszClassName = "mvSMS test A";
      ::RegisterClassA(&type);
      handle_ = ::CreateWindowExA(0, type.lpszClassName, "", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr,
                                  nullptr, this);
    }
    ::SetWindowLongPtrW(handle_, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
  }
  ~Window() { ::DestroyWindow(handle_); }
  Window(const Window&) = delete;
  Window& operator=(const Window&) = delete;
  HWND handle() const { return handle_; }

 private:
  template <LRESULT(WINAPI* kDefault)(HWND, UINT, WPARAM, LPARAM)>
  static LRESULT CALLBACK OnMessage(HWND window, UINT message, WPARAM wparam, LPARAM lparam) {
    auto* const self = reinterpret_cast<Window*>(::GetWindowLongPtrW(window, GWLP_USERDATA));
    if (self && (message == WM_CHAR || message == WM_APP)) self->handler_(window, message, wparam);
    return kDefault(window, message, wparam, lparam);
  }
  std::function<void(HWND, UINT, WPARAM)> handler_;
  HWND handle_ = nullptr;
};

/// Loop and timers of a thread of their own, as each host has them.
class HostLoop : public testing::Test {
 protected:
  void OnItsThread(const std::function<void()>& host) { std::thread(host).join(); }

  /// Rounds of the loop until `done`; false when it never is.
  static bool RoundsUntil(EventLoop& loop, const std::function<bool()>& done) {
    for (int round = 0; round < 300; ++round) {
      if (done()) return true;
      loop.DoEvents();
      loop.Sleep(milliseconds(10));
    }
    return false;
  }
  /// The code of a WM_QUIT that waits for the host, or -1. Takes it.
  static int TakeQuit() {
    MSG message;
    while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
      if (message.message == WM_QUIT) return static_cast<int>(message.wParam);
    }
    return -1;
  }
};

TEST_F(HostLoop, QuitLeavesTheTimersRunningAndReachesTheHost) {
  OnItsThread([] {
    const auto loop = win32::MakeEventLoop();
    const auto timers = win32::MakeTimers();
    int ticks = 0;
    timers->SetTimer(10, [&](TimerId) { ++ticks; });
    ::PostQuitMessage(7);
    EXPECT_TRUE(RoundsUntil(*loop, [&] { return ticks >= 3; }));
    EXPECT_EQ(TakeQuit(), 7);
    EXPECT_EQ(TakeQuit(), -1);  // once
  });
}

TEST_F(HostLoop, NothingIsPostedForAHostThatDidNotQuit) {
  OnItsThread([] {
    const auto loop = win32::MakeEventLoop();
    loop->DoEvents();
    EXPECT_EQ(TakeQuit(), -1);
  });
}

TEST_F(HostLoop, UnicodeWindowGetsEveryCharacter) {
  OnItsThread([] {
    std::vector<WPARAM> typed;
    const Window window(true, [&](HWND, UINT, WPARAM character) { typed.push_back(character); });
    ::PostMessageW(window.handle(), WM_CHAR, 0x0416, 1);
    ::PostMessageW(window.handle(), WM_CHAR, 0x20AC, 1);
    win32::MakeEventLoop()->DoEvents();
    EXPECT_THAT(typed, testing::ElementsAre(0x0416U, 0x20ACU));
  });
}

TEST_F(HostLoop, WindowOfTheCodePageGetsItsCharacters) {
  OnItsThread([] {
    std::vector<WPARAM> typed;
    const Window window(false, [&](HWND, UINT, WPARAM character) { typed.push_back(character); });
    const wchar_t euro = 0x20AC;
    char expected = 0;
    ::WideCharToMultiByte(CP_ACP, 0, &euro, 1, &expected, 1, nullptr, nullptr);
    ::PostMessageW(window.handle(), WM_CHAR, euro, 1);
    ::PostMessageA(window.handle(), WM_CHAR, 0xE4, 1);
    win32::MakeEventLoop()->DoEvents();
    EXPECT_THAT(typed, testing::ElementsAre(static_cast<unsigned char>(expected), 0xE4U));
  });
}

TEST_F(HostLoop, HostThatPostsToItselfHoldsNeitherTheRoundNorTheTimers) {
  OnItsThread([] {
    const auto loop = win32::MakeEventLoop();
    const auto timers = win32::MakeTimers();
    const Window window(
        true, [](HWND self, UINT message, WPARAM) { ::PostMessageW(self, message, 0, 0); });
    ::PostMessageW(window.handle(), WM_APP, 0, 0);
    int ticks = 0;
    timers->SetTimer(10, [&](TimerId) { ++ticks; });
    EXPECT_TRUE(RoundsUntil(*loop, [&] { return ticks >= 3; }));
  });
}

TEST_F(HostLoop, TickThatThrowsEndsWithItself) {
  OnItsThread([] {
    const auto loop = win32::MakeEventLoop();
    const auto timers = win32::MakeTimers();
    int ticks = 0;
    timers->SetTimer(10, [&](TimerId) {
      ++ticks;
      throw std::runtime_error("the tick's");
    });
    EXPECT_TRUE(RoundsUntil(*loop, [&] { return ticks >= 3; }));
  });
}

TEST_F(HostLoop, TimersMayEndOnAnotherThreadThanTheirs) {
  std::unique_ptr<Timers> orphaned;
  TimerId orphan = 0;
  OnItsThread([&] {
    orphaned = win32::MakeTimers();
    orphan = orphaned->SetTimer(10, [](TimerId) {});
  });
  EXPECT_NE(orphan, 0U);
  EXPECT_TRUE(orphaned->KillTimer(orphan));
  EXPECT_FALSE(orphaned->KillTimer(orphan));
}

/// The page is on its way when the user closes the host.
TEST_F(HostLoop, SendOfAHostThatQuitsIsFinished) {
  WriteProfile();
  OnItsThread([] {
    Host host(kProfile);
    Sink sink;
    sink.handler = [](DISPID, DISPPARAMS& arguments) {
      const bool dialling = arguments.cArgs == 1 &&
                            win32::AnsiFromBstr(*arguments.rgvarg[0].pbstrVal).ends_with("modem");
      if (dialling) ::PostQuitMessage(3);
      return S_OK;
    };
    host.Advise(sink);
    EXPECT_TRUE(host.Send("0171", "The host has gone").accepted) << host.Status();
    host.Release();
    EXPECT_EQ(TakeQuit(), 3);
    EXPECT_EQ(TakeQuit(), -1);
  });
  DeleteProfile();
}

}  // namespace
}  // namespace mvsms::com
