#include "ui/mps_bar_with_progress.h"

namespace {

using Panes = tessaron::CMultiPaneStatusBarCtrlImpl<CMPSBarWithProgress>;
using Progress = CProgressBarInPaneImpl<CMPSBarWithProgress>;

}  // namespace

CMPSBarWithProgress::CMPSBarWithProgress() = default;
CMPSBarWithProgress::CMPSBarWithProgress(const CMPSBarWithProgress&) = default;

CMPSBarWithProgress& CMPSBarWithProgress::operator=(const CMPSBarWithProgress& other) {
  if (this == &other) return *this;
  ProgDestroyWindow();  // before the handle of its parent is replaced
  Panes::operator=(other);
  Progress::operator=(other);
  return *this;
}

CMPSBarWithProgress::~CMPSBarWithProgress() { ProgDestroyWindow(); }

tessaron::CWndClassInfo& CMPSBarWithProgress::GetWndClassInfo() {
  return tessaron::superclassOf<CMPSBarWithProgress>(L"CMPSBarWithProgress", STATUSCLASSNAMEW);
}

BOOL CMPSBarWithProgress::UpdatePanesLayout() {
  const BOOL done = Panes::UpdatePanesLayout();
  Progress::UpdatePanesLayout();
  return done;
}

void CMPSBarWithProgress::OnFinalMessage(HWND window) {
  Panes::OnFinalMessage(window);
  ProgForget();
}

BOOL CMPSBarWithProgress::ProcessWindowMessage(HWND window, UINT message, WPARAM wParam,
                                               LPARAM lParam, LRESULT& result, DWORD map) {
  if (map != 0) return FALSE;
  if (Progress::ProcessWindowMessage(window, message, wParam, lParam, result)) return TRUE;
  if (message == SB_SIMPLE) {
    result = DefWindowProc(message, wParam, lParam);
    // In simple mode panes have no rectangles: a resize may have moved the progress bar.
    Progress::UpdatePanesLayout();
    return TRUE;
  }
  return Panes::ProcessWindowMessage(window, message, wParam, lParam, result);
}
