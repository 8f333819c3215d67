#pragma once

#include "ui/status_bar.h"

/// A progress bar inside one pane of the status bar `T`, which derives from it. Values are the
/// application's; colours are 0x00BBGGRR. Without a progress bar an operation on it does nothing
/// and returns 0.
///
/// A copy shares the progress bar; only the object that created it destroys it.
template <class T>
class CProgressBarInPaneImpl {
 public:
  CProgressBarInPaneImpl() = default;
  CProgressBarInPaneImpl(const CProgressBarInPaneImpl& other)
      : progress_(other.progress_), pane_(other.pane_) {}
  CProgressBarInPaneImpl& operator=(const CProgressBarInPaneImpl& other) {
    if (this == &other) return *this;
    ProgDestroyWindow();
    progress_ = other.progress_;
    pane_ = other.pane_;
    return *this;
  }
  virtual ~CProgressBarInPaneImpl() { ProgDestroyWindow(); }

  /// Creates the progress bar in the pane at `pane` (counted from 0), at position `lowest` of the
  /// range from `lowest` to `highest` (16 bits each), in steps of 1; hidden as long as the bar is
  /// in simple mode. False when there is no such pane, or there is a progress bar already.
  bool ProgCreate(int pane, int lowest = 0, int highest = 100, DWORD style = WS_CHILD | WS_VISIBLE,
                  DWORD exStyle = 0) {
    if (pane < 0 || pane >= bar()->m_nPanes || progress()) return false;
    RECT rect{};
    bar()->GetRect(pane, &rect);
    progress_ = ::CreateWindowExW(exStyle, PROGRESS_CLASSW, nullptr, style, rect.left, rect.top,
                                  rect.right - rect.left, rect.bottom - rect.top, bar()->m_hWnd,
                                  nullptr, T::GetWndClassInfo().m_wc.hInstance, nullptr);
    if (!progress_) return false;
    isOwner_ = true;
    pane_ = pane;
    ProgSetRange(static_cast<short>(lowest), static_cast<short>(highest));
    ProgSetPos(lowest);
    ProgSetStep(1);
    if (bar()->IsSimple()) ::ShowWindow(progress_, SW_HIDE);
    return true;
  }

  /// Removes the progress bar, if this object created it; the pane is -1 afterwards.
  void ProgDestroyWindow() {
    if (const HWND window = progress(); window && isOwner_) {
      ::ShowWindow(window, SW_HIDE);
      ::DestroyWindow(window);
    }
    ProgForget();
  }

  /// To be called when the bar's window is gone, and the progress bar with it: the handle may
  /// become a stranger's.
  void ProgForget() {
    progress_ = nullptr;
    isOwner_ = false;
    pane_ = -1;
  }

  /// The pane of the progress bar, -1 without one.
  int ProgGetPane() const { return progress() ? pane_ : -1; }

  /// Returns the range before, packed as the new one: the lowest value in the low 16 bits.
  DWORD ProgSetRange(short lowest, short highest) {
    return static_cast<DWORD>(send(PBM_SETRANGE, 0, MAKELPARAM(lowest, highest)));
  }
  /// As ProgSetRange, with 32 bits a value; of the range before the low 16 bits of each come back.
  DWORD ProgSetRange32(int lowest, int highest) {
    return static_cast<DWORD>(send(PBM_SETRANGE32, static_cast<WPARAM>(lowest), highest));
  }
  void ProgGetRange(PBRANGE* range) const {
    send(PBM_GETRANGE, TRUE, reinterpret_cast<LPARAM>(range));
  }
  /// The lowest value of the range, or the highest.
  int ProgGetRangeLimit(bool low) const { return static_cast<int>(send(PBM_GETRANGE, low, 0)); }

  // QUIRK: the positions and steps before come back as 16 bits, sign-extended, whatever the range.
  // 32-bit ranges have positions beyond. Kept: applications compare them as they have always been.

  /// Returns the position before.
  int ProgSetPos(int position) { return word(send(PBM_SETPOS, static_cast<WPARAM>(position), 0)); }
  /// Moves on by `increment`. Returns the position before.
  int ProgOffsetPos(int increment) {
    return word(send(PBM_DELTAPOS, static_cast<WPARAM>(increment), 0));
  }
  /// Returns the step before.
  int ProgSetStep(int step) { return word(send(PBM_SETSTEP, static_cast<WPARAM>(step), 0)); }
  /// Moves on by the step. Returns the position before.
  int ProgStepIt() { return word(send(PBM_STEPIT, 0, 0)); }
  UINT ProgGetPos() const { return static_cast<UINT>(send(PBM_GETPOS, 0, 0)); }

  /// Returns the colour before.
  COLORREF ProgSetBarColor(COLORREF color) {
    return static_cast<COLORREF>(send(PBM_SETBARCOLOR, 0, static_cast<LPARAM>(color)));
  }
  /// Returns the colour before.
  COLORREF ProgSetBkColor(COLORREF color) {
    return static_cast<COLORREF>(send(PBM_SETBKCOLOR, 0, static_cast<LPARAM>(color)));
  }
  /// Starts or stops the marquee of a bar that has its style; `interval` is in milliseconds.
  BOOL ProgSetMarquee(BOOL on, UINT interval = 0) {
    return send(PBM_SETMARQUEE, static_cast<WPARAM>(on), static_cast<LPARAM>(interval)) != 0;
  }

  /// Moves the progress bar onto its pane. Always true.
  BOOL UpdatePanesLayout() {
    RECT rect{};
    if (const HWND window = progress(); window && pane_ >= 0 && bar()->GetRect(pane_, &rect)) {
      ::MoveWindow(window, rect.left, rect.top, rect.right - rect.left, rect.bottom - rect.top,
                   TRUE);
    }
    return TRUE;
  }

  /// Hides the progress bar in simple mode (`wParam` is not 0) and shows it again afterwards. Never
  /// handled: the bar's own processing switches the mode.
  LRESULT OnSimple(UINT, WPARAM wParam, LPARAM, BOOL& handled) {
    if (const HWND window = progress()) ::ShowWindow(window, wParam != 0 ? SW_HIDE : SW_SHOWNA);
    handled = FALSE;
    return 1;
  }

  BOOL ProcessWindowMessage(HWND, UINT message, WPARAM wParam, LPARAM lParam, LRESULT& result,
                            DWORD = 0) {
    if (message != SB_SIMPLE) return FALSE;
    BOOL handled = TRUE;
    result = OnSimple(message, wParam, lParam, handled);
    return handled;
  }

 private:
  T* bar() { return static_cast<T*>(this); }

  // Null once the progress bar is gone, as a copy is not told. Top-level windows have no parent:
  // for a bar without a window none of them counts.
  HWND progress() const {
    const HWND parent = static_cast<const T*>(this)->m_hWnd;
    return progress_ && parent && ::GetParent(progress_) == parent ? progress_ : nullptr;
  }
  LRESULT send(UINT message, WPARAM wParam, LPARAM lParam) const {
    const HWND window = progress();
    return window ? ::SendMessageW(window, message, wParam, lParam) : 0;
  }
  static int word(LRESULT result) { return static_cast<short>(LOWORD(result)); }

  HWND progress_ = nullptr;
  int pane_ = -1;
  bool isOwner_ = false;
};
