// statusbar [FOLDER]: scans a folder and shows how far it is in the status bar, then what was
// found.

// clang-format off
#include <shlobj.h>
#include <gdiplus.h>  // stands on <windows.h>
// clang-format on
#include <tessaron/graphics/image_list.h>
#include <tessaron/settings/config.h>
#include <tessaron/ui/mps_bar_with_progress.h>

#include <algorithm>
#include <memory>
#include <string>

#include "commands.h"
#include "scan.h"

namespace {

constexpr UINT kStep = WM_APP;  // describe one folder, then go on
constexpr int kSearchImage = 6, kStatisticsImage = 8;

class MainWindow {
 public:
  explicit MainWindow(const wchar_t* folder) {
    const WNDCLASSW windowClass{.lpfnWndProc = procedure,
                                .hInstance = GetModuleHandleW(nullptr),
                                .hCursor = LoadCursorW(nullptr, IDC_ARROW),
                                .hbrBackground = GetSysColorBrush(COLOR_WINDOW),
                                .lpszMenuName = MAKEINTRESOURCEW(1),
                                .lpszClassName = L"TessaronStatusBarExample"};
    RegisterClassW(&windowClass);
    CreateWindowExW(0, windowClass.lpszClassName, L"Folder Statistics", WS_OVERLAPPEDWINDOW,
                    CW_USEDEFAULT, CW_USEDEFAULT, 640, 420, nullptr, nullptr, windowClass.hInstance,
                    this);
    ShowWindow(window_, SW_SHOWDEFAULT);
    if (folder) startScan(folder);
  }

 private:
  static LRESULT CALLBACK procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_NCCREATE) {
      auto* made =
          static_cast<MainWindow*>(reinterpret_cast<const CREATESTRUCTW*>(lParam)->lpCreateParams);
      made->window_ = window;
      SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(made));
    }
    auto* self = reinterpret_cast<MainWindow*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    return self ? self->handle(message, wParam, lParam)
                : DefWindowProcW(window, message, wParam, lParam);
  }

  LRESULT handle(UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
      case WM_CREATE:
        createToolbar();
        createStatusBar();
        return 0;
      case WM_SIZE:
        SendMessageW(toolbar_, WM_SIZE, wParam, lParam);
        SendMessageW(statusBar_, WM_SIZE, wParam, lParam);
        if (wParam != SIZE_MINIMIZED) drawStatistics();
        return 0;
      case WM_COMMAND:
        command(LOWORD(wParam));
        return 0;
      case kStep:
        step();
        return 0;
      case WM_PAINT:
        paint();
        return 0;
      case WM_DESTROY:
        ImageList_Destroy(images_);
        PostQuitMessage(0);
        return 0;
    }
    return DefWindowProcW(window_, message, wParam, lParam);
  }

  void createToolbar() {
    images_ = ImageList_Create(16, 16, ILC_COLOR32, 11, 4);
    _Config.has32BitDisplay = true;
    CImageListEx(images_).Reload(103, {});
    const TBBUTTON buttons[] = {
        {kSearchImage, ID_SCAN, TBSTATE_ENABLED, BTNS_BUTTON, {}, 0, 0},
        {kStatisticsImage, ID_STATISTICS, TBSTATE_ENABLED, BTNS_BUTTON, {}, 0, 0}};
    toolbar_ = CreateWindowExW(0, TOOLBARCLASSNAMEW, nullptr, WS_CHILD | WS_VISIBLE | TBSTYLE_FLAT,
                               0, 0, 0, 0, window_, nullptr, GetModuleHandleW(nullptr), nullptr);
    SendMessageW(toolbar_, TB_BUTTONSTRUCTSIZE, sizeof(TBBUTTON), 0);
    SendMessageW(toolbar_, TB_SETIMAGELIST, 0, reinterpret_cast<LPARAM>(images_));
    SendMessageW(toolbar_, TB_ADDBUTTONS, std::size(buttons), reinterpret_cast<LPARAM>(buttons));
  }

  void createStatusBar() {
    statusBar_.Create(window_, nullptr,
                      WS_CHILD | WS_VISIBLE | WS_CLIPCHILDREN | SBARS_SIZEGRIP | SBT_TOOLTIPS);
    int panes[] = {tessaron::ID_DEFAULT_PANE, ID_PROGRESS_PANE, ID_COUNT_PANE, ID_STATE_PANE};
    statusBar_.SetPanes(panes, 4, false);
    show(L"Ready", IDI_INFORMATION, L"Nothing to do");
  }

  void show(const std::wstring& text, const wchar_t* icon, const wchar_t* tip) {
    statusBar_.SetPaneText(tessaron::ID_DEFAULT_PANE, text.c_str());
    const auto image = LoadImageW(nullptr, icon, IMAGE_ICON, 16, 16, LR_SHARED);
    statusBar_.SetPaneIcon(ID_STATE_PANE, static_cast<HICON>(image));
    statusBar_.SetPaneTipText(ID_STATE_PANE, tip);
  }

  void command(int id) {
    switch (id) {
      case ID_SCAN:
        if (const std::wstring folder = askForFolder(); !folder.empty()) startScan(folder);
        break;
      case ID_PAUSE:
        isPaused_ = !isPaused_;
        CheckMenuItem(GetMenu(window_), ID_PAUSE, isPaused_ ? MF_CHECKED : MF_UNCHECKED);
        if (!isPaused_ && statusBar_.ProgGetPane() >= 0) PostMessageW(window_, kStep, 0, 0);
        break;
      case ID_STATISTICS:
        drawStatistics();
        break;
      case ID_SIMPLE: {
        const bool simple = !statusBar_.IsSimple();
        statusBar_.SetSimple(simple);
        statusBar_.SetText(SB_SIMPLEID, L"One text for the whole bar");
        CheckMenuItem(GetMenu(window_), ID_SIMPLE, simple ? MF_CHECKED : MF_UNCHECKED);
        break;
      }
      case ID_CLOSE:
        DestroyWindow(window_);
        break;
    }
  }

  std::wstring askForFolder() {
    BROWSEINFOW question{.hwndOwner = window_, .lpszTitle = L"Which folder?"};
    wchar_t path[MAX_PATH] = {};
    if (PIDLIST_ABSOLUTE chosen = SHBrowseForFolderW(&question)) {
      SHGetPathFromIDListW(chosen, path);
      CoTaskMemFree(chosen);
    }
    return path;
  }

  void startScan(const std::wstring& folder) {
    scan_ = std::make_unique<Scan>(std::u16string(folder.begin(), folder.end()));
    chart_.reset();
    statusBar_.ProgDestroyWindow();
    statusBar_.ProgCreate(1, 0, 100);
    statusBar_.ProgSetRange32(0, static_cast<int>(scan_->folders()));
    show(L"Scanning " + folder, IDI_EXCLAMATION, L"Scanning");
    PostMessageW(window_, kStep, 0, 0);
  }

  void step() {
    if (isPaused_ || !scan_) return;
    const bool goesOn = scan_->step();
    statusBar_.ProgSetPos(static_cast<int>(scan_->foldersDone()));
    statusBar_.SetPaneText(ID_COUNT_PANE, (std::to_wstring(scan_->files()) + L" files").c_str());
    if (goesOn) {
      PostMessageW(window_, kStep, 0, 0);
      return;
    }
    statusBar_.ProgDestroyWindow();
    show(std::to_wstring(scan_->folders()) + L" folders", IDI_INFORMATION, L"Done");
    drawStatistics();
  }

  // What the toolbar and the status bar leave.
  RECT viewRect() const {
    RECT view, bar;
    GetClientRect(window_, &view);
    GetWindowRect(toolbar_, &bar);
    view.top += bar.bottom - bar.top;
    GetWindowRect(statusBar_, &bar);
    view.bottom -= bar.bottom - bar.top;
    return view;
  }

  void drawStatistics() {
    const RECT view = viewRect();
    if (scan_ && view.bottom > view.top && view.right > view.left) {
      chart_ = scan_->statistics(static_cast<int>(view.right - view.left),
                                 static_cast<int>(view.bottom - view.top));
    }
    InvalidateRect(window_, &view, TRUE);
  }

  void paint() {
    PAINTSTRUCT paint;
    const HDC dc = BeginPaint(window_, &paint);
    if (chart_ && chart_->canvas) {
      const RECT view = viewRect();
      Gdiplus::Graphics(dc).DrawImage(chart_->canvas, static_cast<INT>(view.left),
                                      static_cast<INT>(view.top));
    }
    EndPaint(window_, &paint);
  }

  HWND window_ = nullptr, toolbar_ = nullptr;
  HIMAGELIST images_ = nullptr;
  CMPSBarWithProgress statusBar_;
  std::unique_ptr<Scan> scan_;
  std::unique_ptr<GPPieChart> chart_;
  bool isPaused_ = false;
};

}  // namespace

int WINAPI wWinMain(HINSTANCE, HINSTANCE, PWSTR, int) {
  CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  const INITCOMMONCONTROLSEX controls{sizeof controls, ICC_BAR_CLASSES};
  InitCommonControlsEx(&controls);
  int count = 0;
  wchar_t** arguments = CommandLineToArgvW(GetCommandLineW(), &count);
  MainWindow window(count > 1 ? arguments[1] : nullptr);
  LocalFree(arguments);
  MSG message;
  while (GetMessageW(&message, nullptr, 0, 0) > 0) {
    TranslateMessage(&message);
    DispatchMessageW(&message);
  }
  return 0;
}
