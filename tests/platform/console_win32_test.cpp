#include <gtest/gtest.h>

#include <string>

#include "platform/interruption.h"
#include "platform/standard_streams.h"
#include "platform/win32/wide.h"

namespace {

using enum tessaron::StandardStream;

/// A console of the test's own; standard output goes there during each test.
class Console : public testing::Test {
 protected:
  // It is not freed: that would close the test program's own output.
  static void SetUpTestSuite() {
    FreeConsole();
    ASSERT_TRUE(AllocConsole());
  }
  Console() : before_(GetStdHandle(STD_OUTPUT_HANDLE)) {
    screen_ = CreateFileW(L"CONOUT$", GENERIC_READ | GENERIC_WRITE,
                          FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr);
    SetStdHandle(STD_OUTPUT_HANDLE, screen_);
  }
  ~Console() override {
    SetStdHandle(STD_OUTPUT_HANDLE, before_);
    CloseHandle(screen_);
  }
  void SetUp() override { ASSERT_NE(screen_, INVALID_HANDLE_VALUE); }

  std::u16string firstLine() const {
    wchar_t cells[40];
    DWORD count = 0;
    ReadConsoleOutputCharacterW(screen_, cells, 40, {0, 0}, &count);
    const std::u16string line(cells, cells + count);
    return line.substr(0, line.find_last_not_of(u' ') + 1);
  }

  HANDLE before_;
  HANDLE screen_;
};

TEST_F(Console, ShowsAllCharactersAndItsWidth) {
  EXPECT_TRUE(tessaron::isTerminal(Out));
  EXPECT_TRUE(tessaron::obeysEscapes(Out));
  CONSOLE_SCREEN_BUFFER_INFO info{};
  ASSERT_TRUE(GetConsoleScreenBufferInfo(screen_, &info));
  EXPECT_EQ(tessaron::terminalWidth(Out),
            static_cast<std::size_t>(info.srWindow.Right - info.srWindow.Left + 1));
  // In pieces that end within a character.
  const std::string text = "M\u00E9 \u6D77\u8FBA";
  for (std::size_t at = 0; at < text.size(); at += 2)
    EXPECT_FALSE(tessaron::writeTo(Out, std::string_view(text).substr(at, 2)));
  std::u16string shown = firstLine();
  for (const char16_t wide : u"\u6D77\u8FBA") {  // these may take two cells
    const std::size_t at = shown.find(wide);
    if (at + 1 < shown.size() && shown[at + 1] == wide) shown.erase(at, 1);
  }
  EXPECT_EQ(shown, u"M\u00E9 \u6D77\u8FBA");
}

TEST_F(Console, TellsInterruptions) {
  const tessaron::InterruptionWatch watch;
  EXPECT_EQ(tessaron::InterruptionWatch::caught(), 0);
  ASSERT_TRUE(GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0));
  for (int i = 0; i < 500 && tessaron::InterruptionWatch::caught() == 0; ++i) Sleep(10);
  EXPECT_EQ(tessaron::InterruptionWatch::caught(), CTRL_C_EVENT + 1);
}

}  // namespace
