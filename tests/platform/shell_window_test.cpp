// The shell's door against real windows.
#include <gtest/gtest.h>
#include <windows.h>

#include "platform/shell.h"

namespace zv {
namespace {

constexpr wchar_t kViewClass[] = L"ZVWorkerTestsView";

HWND MakeWindow(const wchar_t* class_name, const wchar_t* title, DWORD style, HWND parent) {
  return CreateWindowExW(0, class_name, title, style, 0, 0, 10, 10, parent, nullptr,
                         GetModuleHandleW(nullptr), nullptr);
}

class ShellWindowTest : public ::testing::Test {
 protected:
  ShellWindowTest() {
    WNDCLASSW view = {};
    view.lpfnWndProc = DefWindowProcW;
    view.hInstance = GetModuleHandleW(nullptr);
    view.lpszClassName = kViewClass;
    RegisterClassW(&view);
    top_ = MakeWindow(L"STATIC", L"ZVWorker Tests (Y:)", WS_OVERLAPPEDWINDOW, nullptr);
    child_ = MakeWindow(kViewClass, L"", WS_CHILD, top_);
  }
  ~ShellWindowTest() override { DestroyWindow(top_); }

  HWND top_ = nullptr;
  HWND child_ = nullptr;
};

TEST_F(ShellWindowTest, FindsAWindowByItsTitleAndAChildByItsClass) {
  ASSERT_NE(child_, nullptr);
  const WindowHandle top = FindTopWindow(u"ZVWorker Tests (Y:)");
  EXPECT_EQ(top, reinterpret_cast<WindowHandle>(top_));
  EXPECT_EQ(FindChildWindow(top, u"ZVWorkerTestsView"), reinterpret_cast<WindowHandle>(child_));
  EXPECT_EQ(FindChildWindow(top, u"ZVWorkerTestsNoSuchClass"), 0u);
}

TEST_F(ShellWindowTest, PostsAMessage) {
  ASSERT_TRUE(PostWindowMessage(reinterpret_cast<WindowHandle>(child_), 0x8013, 5, 6));
  MSG message = {};
  ASSERT_TRUE(PeekMessageW(&message, child_, 0x8013, 0x8013, PM_REMOVE));
  EXPECT_EQ(message.wParam, 5u);
  EXPECT_EQ(message.lParam, 6);
}

}  // namespace
}  // namespace zv
