// What a driver may do that no port of the contract's tests does.
#include <gtest/gtest.h>

#include <string>

#include "backends/win32/handles.h"
#include "backends/win32/win32_platform.h"

namespace mvsms::win32 {
namespace {

constexpr wchar_t kPipe[] = L"\\\\.\\pipe\\mvSMS driver test";

// The handle of the port is closed behind the back end, and a second one keeps the read alive:
// nobody can cancel it.
TEST(Driver, ThatDoesNotGiveUpACancelledReadWritesIntoNothingOfOurs) {
  const HANDLE port = ::CreateNamedPipeW(kPipe, PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED,
                                         PIPE_TYPE_BYTE, 1, 64, 64, 0, nullptr);
  HANDLE kept = nullptr;
  const HANDLE self = ::GetCurrentProcess();
  ASSERT_TRUE(::DuplicateHandle(self, port, self, &kept, 0, FALSE, DUPLICATE_SAME_ACCESS));
  const UniqueHandle keeper(kept);
  const UniqueHandle far_end(
      ::CreateFileW(kPipe, GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr));
  ASSERT_NE(far_end.get(), INVALID_HANDLE_VALUE);

  const auto platform = MakeWin32Platform();
  Comm& comm = platform->comm();
  const auto handle = reinterpret_cast<CommHandle>(port);
  auto read = comm.CreateOverlapped();
  std::string buffer(4, '.');
  std::uint32_t count = 0;
  ASSERT_EQ(comm.ReadFile(handle, buffer.data(), 4, count, *read), kErrorIoPending);
  ::CloseHandle(port);
  comm.CloseHandle(handle);
  EXPECT_TRUE(read->Completed());
  EXPECT_EQ(read->Transferred(), 0U);

  DWORD written = 0;
  ASSERT_TRUE(::WriteFile(far_end.get(), "late", 4, &written, nullptr));
  ::Sleep(100);
  EXPECT_EQ(buffer, "....");
  read.reset();
}

}  // namespace
}  // namespace mvsms::win32
