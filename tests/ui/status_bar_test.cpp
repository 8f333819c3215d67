#include <gmock/gmock.h>

#include <memory>
#include <utility>

#include "ui/mps_bar_with_progress.h"

bool operator==(const RECT& left, const RECT& right) { return ::EqualRect(&left, &right); }

namespace {

constexpr int kProgressPane = 1, kClockPane = 201, kIconPane = 202;
constexpr std::pair<int, int> kWidths[] = {{200, 120}, {kClockPane, 60}, {kIconPane, 24}};

class StatusBar : public testing::Test {
 protected:
  void SetUp() override {
    frame_ = ::CreateWindowExW(0, L"STATIC", L"", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 0, 0, 640, 200,
                               nullptr, nullptr, nullptr, nullptr);
    ASSERT_NE(frame_, nullptr);
    bar_ = std::make_unique<CMPSBarWithProgress>();
  }
  void TearDown() override {
    bar_.reset();
    ::DestroyWindow(frame_);
  }

  // A stretching pane, then panes of 120, 60 and 24 pixels.
  void createBar() {
    ASSERT_NE(bar_->Create(frame_, nullptr, WS_CHILD | WS_VISIBLE), nullptr);
    int panes[] = {tessaron::ID_DEFAULT_PANE, 200, kClockPane, kIconPane};
    ASSERT_TRUE(bar_->SetPanes(panes, 4));
    for (const auto& [id, width] : kWidths) ASSERT_TRUE(bar_->SetPaneWidth(id, width));
  }
  void resize(int width, int height) {
    ::SetWindowPos(frame_, nullptr, 0, 0, width, height, SWP_NOMOVE | SWP_NOZORDER);
    RECT client;
    ::GetClientRect(frame_, &client);
    ::SendMessageW(bar_->m_hWnd, WM_SIZE, SIZE_RESTORED, MAKELPARAM(client.right, client.bottom));
  }
  HWND progressWindow() const {
    return ::FindWindowExW(bar_->m_hWnd, nullptr, PROGRESS_CLASSW, nullptr);
  }
  // The progress bar's rectangle in the bar.
  RECT progressRect() const {
    RECT rect;
    ::GetWindowRect(progressWindow(), &rect);
    ::MapWindowPoints(nullptr, bar_->m_hWnd, reinterpret_cast<POINT*>(&rect), 2);
    return rect;
  }
  RECT paneRect(int id) const {
    RECT rect{};
    EXPECT_TRUE(bar_->GetPaneRect(id, &rect));
    return rect;
  }
  bool isProgressShown() const {
    return (::GetWindowLongPtrW(progressWindow(), GWL_STYLE) & WS_VISIBLE) != 0;
  }

  HWND frame_ = nullptr;
  std::unique_ptr<CMPSBarWithProgress> bar_;
};

TEST_F(StatusBar, IsASuperclassOfTheSystemsBar) {
  using Window = tessaron::CWindowImpl<CMPSBarWithProgress, tessaron::CStatusBarCtrl>;
  ASSERT_NE(bar_->Window::Create(frame_), nullptr);
  wchar_t name[64];
  ::GetClassNameW(bar_->m_hWnd, name, 64);
  EXPECT_STREQ(name, L"CMPSBarWithProgress");
  EXPECT_EQ(bar_->GetStyle() & 0xFF000000, 0x56000000u);
  EXPECT_EQ(::GetWindowLongPtrW(bar_->m_hWnd, GWL_EXSTYLE), 0);
  EXPECT_TRUE(bar_->SetText(0, L"Ready")) << "the original's messages work";
  EXPECT_EQ(bar_->Create(frame_), nullptr) << "one window an object";

  const HWND plain = ::CreateWindowExW(0, L"CMPSBarWithProgress", nullptr, WS_CHILD, 0, 0, 0, 0,
                                       frame_, nullptr, tessaron::libraryModule(), nullptr);
  EXPECT_NE(plain, nullptr) << "without an object it is the system's own";
  EXPECT_TRUE(::SendMessageW(plain, SB_SETTEXTW, 0, reinterpret_cast<LPARAM>(L"Ready")));
}

TEST_F(StatusBar, PanesKeepTextIconTipAndWidth) {
  createBar();
  EXPECT_TRUE(bar_->SetPaneText(kClockPane, L"12:00", SBT_NOBORDERS));
  wchar_t text[80] = {};
  int length = 0, type = 0, width = 0;
  EXPECT_TRUE(bar_->GetPaneText(kClockPane, text, &length, &type));
  EXPECT_STREQ(text, L"12:00");
  EXPECT_EQ(std::pair(length, type), std::pair(5, SBT_NOBORDERS));
  const HICON icon = ::LoadIconW(nullptr, reinterpret_cast<const wchar_t*>(IDI_APPLICATION));
  HICON got = nullptr;
  EXPECT_TRUE(bar_->SetPaneIcon(kIconPane, icon));
  EXPECT_TRUE(bar_->GetPaneIcon(kIconPane, got));
  EXPECT_EQ(got, icon);
  EXPECT_TRUE(bar_->SetPaneTipText(kIconPane, L"Connected"));
  EXPECT_TRUE(bar_->GetPaneWidth(kClockPane, width));
  EXPECT_EQ(width, 60);

  EXPECT_FALSE(bar_->SetPaneText(999, L"")) << "no such pane";
  EXPECT_FALSE(bar_->SetPaneWidth(999, 10));
  EXPECT_FALSE(bar_->SetPaneWidth(kClockPane, -1));
  EXPECT_FALSE(bar_->SetPaneWidth(tessaron::ID_DEFAULT_PANE, 10)) << "it stretches";
  EXPECT_FALSE(bar_->SetPanes(nullptr, 3));
  EXPECT_EQ(bar_->m_nPanes, 4) << "a refused call changes nothing";
}

TEST_F(StatusBar, OnePaneTakesWhatTheOthersLeave) {
  createBar();
  for (const int width : {900, 500, 300}) {
    resize(width, 200);
    RECT client;
    ::GetClientRect(bar_->m_hWnd, &client);
    for (const auto& [id, expected] : kWidths)
      EXPECT_EQ(paneRect(id).right - paneRect(id).left, expected);
    EXPECT_EQ(paneRect(kIconPane).right, client.right) << width;
    EXPECT_GE(paneRect(200).left, paneRect(tessaron::ID_DEFAULT_PANE).right);
    int stretched = 0;
    EXPECT_TRUE(bar_->GetPaneWidth(tessaron::ID_DEFAULT_PANE, stretched));
    EXPECT_NEAR(stretched, width - 224, 20) << "but for borders";
  }
  resize(100, 200);
  EXPECT_EQ(paneRect(200).right - paneRect(200).left, 120) << "too narrow: the others stay";
}

TEST_F(StatusBar, ProgressReturnsWhatWasBefore) {
  createBar();
  EXPECT_EQ(bar_->ProgGetPane(), -1);
  EXPECT_EQ(bar_->ProgSetPos(5), 0) << "nothing there";
  EXPECT_FALSE(bar_->ProgCreate(4, 0, 100)) << "no such pane";
  EXPECT_FALSE(bar_->ProgCreate(-1, 0, 100));
  ASSERT_TRUE(bar_->ProgCreate(kProgressPane, 0, 100));
  EXPECT_FALSE(bar_->ProgCreate(kProgressPane, 0, 100)) << "one at a time";
  EXPECT_EQ(bar_->ProgGetPane(), kProgressPane);

  EXPECT_EQ(bar_->ProgStepIt(), 0);
  EXPECT_EQ(bar_->ProgOffsetPos(10), 1);
  EXPECT_EQ(bar_->ProgSetStep(7), 1);
  EXPECT_EQ(bar_->ProgStepIt(), 11);
  EXPECT_EQ(bar_->ProgSetPos(50), 18);
  EXPECT_EQ(bar_->ProgSetRange(20, 200), MAKELONG(0, 100));
  PBRANGE range{};
  bar_->ProgGetRange(&range);
  EXPECT_EQ(std::pair(range.iLow, range.iHigh), std::pair(20, 200));
  EXPECT_EQ(bar_->ProgSetRange32(-70000, 70000), static_cast<DWORD>(MAKELONG(20, 200)));
  EXPECT_EQ(bar_->ProgGetRangeLimit(true), -70000);
  EXPECT_EQ(bar_->ProgGetRangeLimit(false), 70000);
  EXPECT_EQ(bar_->ProgSetPos(40000), 50);
  EXPECT_EQ(bar_->ProgSetPos(0), 40000 - 65536) << "16 bits, sign-extended";
  bar_->ProgSetBarColor(0x0000FF), bar_->ProgSetBkColor(0x123456);
  EXPECT_EQ(bar_->ProgSetBarColor(0x00FF00), 0x0000FFu);
  EXPECT_EQ(bar_->ProgSetBkColor(0x00FF00), 0x123456u);

  bar_->ProgDestroyWindow();
  EXPECT_EQ(bar_->ProgGetPane(), -1);
  ASSERT_TRUE(bar_->ProgCreate(kProgressPane, 0, 100, WS_CHILD | WS_VISIBLE | PBS_MARQUEE));
  EXPECT_TRUE(bar_->ProgSetMarquee(TRUE, 30));
}

TEST_F(StatusBar, ProgressStaysInItsPane) {
  createBar();
  ASSERT_TRUE(bar_->ProgCreate(kProgressPane, 10, 90));
  EXPECT_EQ(bar_->ProgGetPos(), 10u) << "begins at the lowest value";
  EXPECT_EQ(progressRect(), paneRect(200));
  for (int i = 0; i < 300; ++i) {
    resize(150 + i * 7919 % 1200, 100 + i * 31 % 300);
    ASSERT_EQ(progressRect(), paneRect(200)) << "after resize " << i;
  }
  bar_->SetPaneWidth(kClockPane, 200);
  EXPECT_EQ(progressRect(), paneRect(200)) << "a pane beside it moved it";

  const RECT before = progressRect();
  ::SendMessageW(bar_->m_hWnd, WM_SIZE, SIZE_MINIMIZED, 0);
  EXPECT_EQ(progressRect(), before) << "minimizing leaves it";
}

TEST_F(StatusBar, SimpleModeHidesTheProgress) {
  createBar();
  ASSERT_TRUE(bar_->ProgCreate(kProgressPane, 0, 10));
  ASSERT_TRUE(isProgressShown());
  bar_->SetSimple(TRUE);
  EXPECT_TRUE(bar_->IsSimple()) << "the bar itself switches";
  EXPECT_FALSE(isProgressShown());
  resize(800, 300);
  bar_->SetSimple(FALSE);
  EXPECT_TRUE(isProgressShown());
  EXPECT_EQ(progressRect(), paneRect(200));

  bar_->ProgDestroyWindow();
  bar_->SetSimple(TRUE);
  ASSERT_TRUE(bar_->ProgCreate(kProgressPane, 0, 10));
  EXPECT_FALSE(isProgressShown()) << "made while the mode is simple";
}

TEST_F(StatusBar, LivesThroughAnyOrderOfDestruction) {
  createBar();
  ASSERT_TRUE(bar_->ProgCreate(kProgressPane, 0, 10));
  // The window goes first: the object is as new.
  const HWND progress = progressWindow();
  bar_->DestroyWindow();
  EXPECT_FALSE(::IsWindow(progress));
  EXPECT_EQ(bar_->m_hWnd, nullptr);
  EXPECT_EQ(bar_->ProgGetPane(), -1);
  EXPECT_FALSE(bar_->ProgCreate(0, 0, 10)) << "no panes any more";
  createBar();
  EXPECT_EQ(bar_->ProgGetPane(), -1);
  ASSERT_TRUE(bar_->ProgCreate(kProgressPane, 0, 10));

  // A copy shares the windows and leaves them alone.
  {
    CMPSBarWithProgress copy(*bar_);
    EXPECT_EQ(copy.ProgGetPane(), kProgressPane);
    copy.ProgSetPos(4);
    CMPSBarWithProgress assigned;
    assigned = copy;
  }
  EXPECT_EQ(bar_->ProgGetPos(), 4u);
  EXPECT_EQ(progressRect(), paneRect(200));
  resize(500, 200);
  EXPECT_EQ(progressRect(), paneRect(200)) << "still driven";

  // The object goes first: its window lives on as the system's own.
  const HWND window = bar_->m_hWnd;
  bar_.reset();
  EXPECT_TRUE(::IsWindow(window));
  EXPECT_EQ(::FindWindowExW(window, nullptr, PROGRESS_CLASSW, nullptr), nullptr);
  ::SendMessageW(window, WM_SIZE, SIZE_RESTORED, 0);
  EXPECT_EQ(::SendMessageW(window, SB_GETPARTS, 0, 0), 4);
  ::DestroyWindow(window);
}

BOOL CALLBACK countWindow(HWND, LPARAM counter) { return ++*reinterpret_cast<int*>(counter), TRUE; }

TEST_F(StatusBar, AThousandOfThemLeaveNothing) {
  const auto cycle = [this] {
    createBar();
    ASSERT_TRUE(bar_->ProgCreate(kProgressPane, 0, 10));
    resize(400, 200);
    if (rand() % 2 == 0) bar_->ProgDestroyWindow();
    bar_->DestroyWindow();
  };
  // GDI objects are counted by trying all handles: Wine's own count is always 0.
  const auto count = [this] {
    int found = 0;
    ::EnumChildWindows(frame_, countWindow, reinterpret_cast<LPARAM>(&found));
    ::EnumThreadWindows(::GetCurrentThreadId(), countWindow, reinterpret_cast<LPARAM>(&found));
    found += static_cast<int>(::GetGuiResources(::GetCurrentProcess(), GR_GDIOBJECTS));
    for (UINT_PTR handle = 1; handle < 0x10000; ++handle)
      found += ::GetObjectType(reinterpret_cast<HGDIOBJ>(handle)) != 0;
    return found;
  };
  cycle();  // what the controls keep for all of their kind
  const int before = count();
  EXPECT_GT(before, 1);
  for (int i = 0; i < 1000; ++i) cycle();
  EXPECT_EQ(count(), before);
}

}  // namespace
