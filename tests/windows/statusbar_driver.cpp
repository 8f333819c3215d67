// statusbar_driver EXAMPLE.exe [PICTURES-FOLDER]: drives the example application from outside. With
// a folder it also checks the screen's pixels, and writes screenshots there.

// clang-format off
#include <windows.h>
#include <commctrl.h>
// clang-format on

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

constexpr int kPause = 102, kSimple = 104, kClose = 105;  // the example's commands
constexpr int kFolders = 1500, kFilesEach = 2;

void check(bool holds, const std::string& what) {
  if (holds) return;
  std::printf("FAILED: %s (system error %lu)\n", what.c_str(), ::GetLastError());
  std::exit(1);
}

// Waits up to 20 seconds.
template <typename Condition>
void waitFor(Condition condition, const std::string& what) {
  for (int i = 0; i < 4000; ++i) {
    if (condition()) return;
    ::Sleep(5);
  }
  check(false, "waited for " + what);
}

class Example {
 public:
  Example(const fs::path& program, const fs::path& folder) {
    std::wstring command = L"\"" + program.wstring() + L"\" \"" + folder.wstring() + L"\"";
    STARTUPINFOW how{};
    how.cb = sizeof how;
    PROCESS_INFORMATION started{};
    check(::CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                           &how, &started),
          "the example starts");
    process_ = started.hProcess;
    waitFor(
        [&] { return (window = ::FindWindowW(L"TessaronStatusBarExample", nullptr)) != nullptr; },
        "its window");
    ::SendMessageW(window, WM_COMMAND, kPause, 0);
    waitFor([&] { return (bar = child(window, L"CMPSBarWithProgress")) != nullptr; }, "its bar");
    shared_ = ::VirtualAllocEx(process_, nullptr, sizeof(RECT), MEM_COMMIT, PAGE_READWRITE);
    check(shared_ != nullptr, "memory in the example");
  }
  ~Example() {
    ::TerminateProcess(process_, 1);
    ::CloseHandle(process_);
  }

  static HWND child(HWND parent, const wchar_t* name) {
    return ::FindWindowExW(parent, nullptr, name, nullptr);
  }
  HWND progress() const { return child(bar, PROGRESS_CLASSW); }
  // The bar writes the rectangle into its own process' memory.
  RECT paneRect(int part) const {
    RECT rect{};
    check(::SendMessageW(bar, SB_GETRECT, static_cast<WPARAM>(part),
                         reinterpret_cast<LPARAM>(shared_)) != 0 &&
              ::ReadProcessMemory(process_, shared_, &rect, sizeof rect, nullptr),
          "a pane's place");
    return rect;
  }
  RECT progressRect() const {
    RECT rect{};
    ::GetWindowRect(progress(), &rect);
    ::MapWindowPoints(nullptr, bar, reinterpret_cast<POINT*>(&rect), 2);
    return rect;
  }
  bool isProgressShown() const { return ::IsWindowVisible(progress()) != 0; }
  DWORD exitCode() const {
    check(::WaitForSingleObject(process_, 20000) == WAIT_OBJECT_0, "the example ends");
    DWORD code = 1;
    ::GetExitCodeProcess(process_, &code);
    return code;
  }

  HWND window = nullptr, bar = nullptr;

 private:
  HANDLE process_ = nullptr;
  void* shared_ = nullptr;
};

// A screenshot: rows of pixels 0x00RRGGBB from the top.
struct Picture {
  int width, height;
  std::vector<std::uint32_t> pixels;
  std::uint32_t at(int x, int y) const {
    return pixels[static_cast<std::size_t>(y * width + x)] & 0xFFFFFF;
  }
};

Picture look(HWND window, const fs::path& file) {
  ::UpdateWindow(window);
  ::Sleep(300);  // the screen follows a little later
  RECT rect{};
  ::GetWindowRect(window, &rect);
  Picture seen{
      static_cast<int>(rect.right - rect.left), static_cast<int>(rect.bottom - rect.top), {}};
  const HDC screen = ::GetDC(nullptr), memory = ::CreateCompatibleDC(screen);
  BITMAPINFO info{};
  info.bmiHeader = {sizeof info.bmiHeader, seen.width, -seen.height, 1, 32, BI_RGB, 0, 0, 0, 0, 0};
  void* bits = nullptr;
  const HBITMAP bitmap = ::CreateDIBSection(memory, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
  check(bitmap != nullptr, "a picture of the screen");
  const HGDIOBJ before = ::SelectObject(memory, bitmap);
  check(::BitBlt(memory, 0, 0, seen.width, seen.height, screen, rect.left, rect.top, SRCCOPY) != 0,
        "the screen can be read");
  ::GdiFlush();
  const auto* first = static_cast<const std::uint32_t*>(bits);
  seen.pixels.assign(first, first + seen.width * seen.height);
  ::SelectObject(memory, before);
  ::DeleteObject(bitmap);
  ::DeleteDC(memory);
  ::ReleaseDC(nullptr, screen);

  const auto size = static_cast<DWORD>(seen.pixels.size() * 4);
  BITMAPFILEHEADER header{0x4D42, 0, 0, 0, 54};
  header.bfSize = 54 + size;
  std::ofstream out(file, std::ios::binary);
  out.write(reinterpret_cast<const char*>(&header), 14);
  out.write(reinterpret_cast<const char*>(&info.bmiHeader), 40);
  out.write(reinterpret_cast<const char*>(seen.pixels.data()), static_cast<std::streamsize>(size));
  return seen;
}

// How many pixels of the pane are saturated: the bar is gray, finished progress is not.
int coloredIn(const Picture& seen, HWND window, HWND bar, const RECT& pane) {
  RECT outer{}, inner{};
  ::GetWindowRect(window, &outer);
  ::GetWindowRect(bar, &inner);
  int colored = 0;
  for (LONG y = pane.top; y < pane.bottom; ++y) {
    for (LONG x = pane.left; x < pane.right; ++x) {
      const std::uint32_t pixel = seen.at(static_cast<int>(inner.left - outer.left + x),
                                          static_cast<int>(inner.top - outer.top + y));
      const auto [least, most] = std::minmax({pixel >> 16, pixel >> 8 & 0xFF, pixel & 0xFF});
      colored += most - least > 60;
    }
  }
  return colored;
}

void makeFolders(const fs::path& root) {
  const char* const names[] = {"cover.jpg", "song.mp3", "film.avi", "notes.txt", "scans.zip"};
  for (int i = 0; i < kFolders; ++i) {
    const fs::path folder = root / std::to_string(i);
    fs::create_directories(folder);
    for (int j = 0; j < kFilesEach; ++j) std::ofstream(folder / names[(i + j) % 5]);
  }
}

void drive(const fs::path& program, const fs::path& folder, const fs::path& pictures) {
  Example example(program, folder);
  const HWND window = example.window, bar = example.bar;
  check(::SendMessageW(bar, SB_GETPARTS, 0, 0) == 4, "four panes");
  waitFor([&] { return example.progress() != nullptr; }, "the progress bar");
  check(::SendMessageW(example.progress(), PBM_GETRANGE, FALSE, 0) == kFolders + 1,
        "a range of all folders");

  for (const int width : {900, 640, 420}) {
    ::SetWindowPos(window, nullptr, 20, 20, width, 420, SWP_NOZORDER);
    const RECT pane = example.paneRect(1), progress = example.progressRect();
    check(::EqualRect(&pane, &progress) && pane.right > pane.left,
          "the progress bar sits in its pane at width " + std::to_string(width));
    if (pictures.empty()) continue;
    // Half of it done, so that there is something to see.
    ::SendMessageW(example.progress(), PBM_SETPOS, kFolders / 2, 0);
    const Picture seen = look(window, pictures / ("scanning-" + std::to_string(width) + ".bmp"));
    const int area = static_cast<int>((pane.right - pane.left) * (pane.bottom - pane.top));
    const int colored = coloredIn(seen, window, bar, pane);
    check(colored > area / 5 && colored < area * 4 / 5, "half of the progress is seen");
  }

  ::SendMessageW(window, WM_COMMAND, kSimple, 0);
  check(::SendMessageW(bar, SB_ISSIMPLE, 0, 0) != 0, "simple mode");
  check(!example.isProgressShown(), "simple mode hides the progress bar");
  const RECT pane = example.paneRect(1);
  if (!pictures.empty()) {
    check(coloredIn(look(window, pictures / "simple.bmp"), window, bar, pane) == 0,
          "nothing of it is seen in simple mode");
  }
  ::SendMessageW(window, WM_COMMAND, kSimple, 0);
  check(example.isProgressShown(), "it comes back");

  const RECT before = example.progressRect();
  ::ShowWindow(window, SW_MINIMIZE);
  waitFor([&] { return ::IsIconic(window) != 0; }, "minimizing");
  const RECT minimized = example.progressRect();
  check(before.right - before.left == minimized.right - minimized.left,
        "minimizing leaves the progress bar");
  ::ShowWindow(window, SW_RESTORE);
  const RECT restored = example.progressRect(), itsPane = example.paneRect(1);
  check(::EqualRect(&restored, &itsPane), "restoring fits it again");

  ::SetWindowPos(window, nullptr, 20, 20, 640, 480, SWP_NOZORDER);
  ::SendMessageW(window, WM_COMMAND, kPause, 0);
  waitFor([&] { return example.progress() == nullptr; }, "the end of the scan");
  if (!pictures.empty()) look(window, pictures / "done.bmp");
  ::PostMessageW(window, WM_COMMAND, kClose, 0);
  check(example.exitCode() == 0, "a clean end");
}

}  // namespace

int main(int argc, char** argv) {
  check(argc >= 2, "usage: statusbar_driver EXAMPLE.exe [PICTURES-FOLDER]");
  const fs::path root =
      fs::temp_directory_path() / ("statusbar." + std::to_string(::GetTickCount()));
  makeFolders(root);
  drive(argv[1], root, argc > 2 ? argv[2] : "");
  fs::remove_all(root);
  std::puts("all as it should be");
}
