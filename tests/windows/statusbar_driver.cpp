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
  }
  ~Example() {
    ::TerminateProcess(process_, 1);
    ::CloseHandle(process_);
  }

  static HWND child(HWND parent, const wchar_t* name) {
    return ::FindWindowExW(parent, nullptr, name, nullptr);
  }
  HWND progress() const { return child(bar, PROGRESS_CLASSW); }
  // On the screen.
  RECT progressRect() const {
    RECT rect{};
    ::GetWindowRect(progress(), &rect);
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

// How many pixels of a part of the screen are saturated: the bar is gray, finished progress is not.
int coloredIn(const Picture& seen, HWND window, const RECT& part) {
  RECT outer{};
  ::GetWindowRect(window, &outer);
  int colored = 0;
  for (LONG y = part.top - outer.top; y < part.bottom - outer.top; ++y) {
    for (LONG x = part.left - outer.left; x < part.right - outer.left; ++x) {
      const std::uint32_t pixel = seen.at(static_cast<int>(x), static_cast<int>(y));
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
  waitFor([&] { return example.progress() != nullptr; }, "the progress bar");
  check(::SendMessageW(example.progress(), PBM_GETRANGE, FALSE, 0) == kFolders + 1,
        "a range of all folders");
  for (const int width : {900, 640, 420}) {
    ::SetWindowPos(window, nullptr, 20, 20, width, 420, SWP_NOZORDER);
    RECT whole{};
    ::GetWindowRect(bar, &whole);
    const RECT part = example.progressRect();
    check(whole.right - whole.left > width - 40 && part.right < whole.right,
          "the bar follows the window to width " + std::to_string(width));
    if (pictures.empty()) continue;
    // Half of it done, so that there is something to see.
    ::SendMessageW(example.progress(), PBM_SETPOS, kFolders / 2, 0);
    const Picture seen = look(window, pictures / ("scanning-" + std::to_string(width) + ".bmp"));
    const int area = static_cast<int>((part.right - part.left) * (part.bottom - part.top));
    const int colored = coloredIn(seen, window, part);
    check(colored > area / 5 && colored < area * 4 / 5, "half of the progress is seen");
  }

  const RECT part = example.progressRect();
  ::SendMessageW(window, WM_COMMAND, kSimple, 0);
  check(!example.isProgressShown(), "simple mode hides the progress bar");
  if (!pictures.empty())
    check(coloredIn(look(window, pictures / "simple.bmp"), window, part) == 0,
          "nothing of it is seen in simple mode");
  ::SendMessageW(window, WM_COMMAND, kSimple, 0);
  check(example.isProgressShown(), "it comes back");

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
