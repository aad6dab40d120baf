// Named events of one emulated machine. A set from another process is
// tested end to end with the package-ready event (tests/js/inspection.test.js).
#include <gtest/gtest.h>

#include "../support/temp_machine.h"
#include "platform/windows.h"

namespace {

constexpr const WCHAR* kName = u"Global\\Event_Package_Ready";

class Events : public test_support::TempMachineTest {};

TEST_F(Events, AMissingEventCannotBeOpened) {
  SetLastError(0);
  EXPECT_EQ(OpenEventW(SYNCHRONIZE, FALSE, kName), nullptr);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
  EXPECT_EQ(WaitForSingleObject(nullptr, 0), WAIT_FAILED);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
}

TEST_F(Events, AManualResetEventStaysSignalledUntilReset) {
  HANDLE created = CreateEventW(nullptr, TRUE, FALSE, kName);
  ASSERT_NE(created, nullptr);
  // The namespace prefix names the same event.
  HANDLE waiter = OpenEventW(SYNCHRONIZE, FALSE, u"Event_Package_Ready");
  ASSERT_NE(waiter, nullptr);

  EXPECT_EQ(WaitForSingleObject(waiter, 20), static_cast<DWORD>(WAIT_TIMEOUT));
  EXPECT_FALSE(SetEvent(waiter)) << "a handle opened for waiting only cannot set";
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
  ASSERT_TRUE(SetEvent(created));
  EXPECT_EQ(WaitForSingleObject(waiter, INFINITE), WAIT_OBJECT_0);
  EXPECT_EQ(WaitForSingleObject(waiter, 0), WAIT_OBJECT_0);
  ASSERT_TRUE(ResetEvent(created));
  EXPECT_EQ(WaitForSingleObject(waiter, 0), static_cast<DWORD>(WAIT_TIMEOUT));

  // A second create opens the same event and keeps its state.
  HANDLE again = CreateEventW(nullptr, TRUE, TRUE, kName);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ALREADY_EXISTS));
  EXPECT_EQ(WaitForSingleObject(again, 0), static_cast<DWORD>(WAIT_TIMEOUT));
  for (HANDLE h : {created, waiter, again}) EXPECT_TRUE(CloseHandle(h));
  EXPECT_FALSE(CloseHandle(created));
}

TEST_F(Events, AutoResetAndUnnamedEventsAndInvalidNames) {
  HANDLE event = CreateEventW(nullptr, FALSE, TRUE, u"auto");
  EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_OBJECT_0);
  EXPECT_EQ(WaitForSingleObject(event, 0), static_cast<DWORD>(WAIT_TIMEOUT)) << "an auto-reset event releases one wait";
  CloseHandle(event);
  event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  EXPECT_TRUE(SetEvent(event));
  EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_OBJECT_0);
  CloseHandle(event);
  EXPECT_EQ(CreateEventW(nullptr, TRUE, FALSE, u"a\\b"), nullptr);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_NAME));
  // A name with a slash is one event, not a path.
  HANDLE slashed = CreateEventW(nullptr, TRUE, FALSE, u"a/b%c");
  ASSERT_NE(slashed, nullptr);
  EXPECT_NE(OpenEventW(SYNCHRONIZE, FALSE, u"a/b%c"), nullptr);
  EXPECT_EQ(OpenEventW(SYNCHRONIZE, FALSE, u"a"), nullptr);
}

}  // namespace
