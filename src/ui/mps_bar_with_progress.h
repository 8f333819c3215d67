#pragma once

#include "tessaron_export.h"
#include "ui/progress_in_pane.h"
#include "ui/status_bar.h"

/// The main window's status bar: panes of text and icons, and a progress bar fitted to one of them.
/// Only the thread that creates the window may use it.
class TESSARON_API CMPSBarWithProgress
    : public tessaron::CMultiPaneStatusBarCtrlImpl<CMPSBarWithProgress>,
      public CProgressBarInPaneImpl<CMPSBarWithProgress> {
 public:
  CMPSBarWithProgress();
  CMPSBarWithProgress(const CMPSBarWithProgress&);
  CMPSBarWithProgress& operator=(const CMPSBarWithProgress&);
  ~CMPSBarWithProgress() override;

  /// The class "CMPSBarWithProgress", a superclass of the system's status bar.
  static tessaron::CWndClassInfo& GetWndClassInfo();

  /// Lays out the panes, then moves the progress bar onto its pane. Returns the result of the
  /// panes.
  BOOL UpdatePanesLayout();

  /// Called when the window is destroyed: resets panes and progress bar.
  void OnFinalMessage(HWND window) override;

  BOOL ProcessWindowMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam,
                            LRESULT& result, DWORD map = 0) override;
};
