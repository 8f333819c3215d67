#pragma once

#include "ui/status_bar.h"

/// A progress bar inside one pane of the status bar `T`, which derives from this class. Values have
/// the application's unit; colors are 0x00BBGGRR. Without a progress bar an operation does nothing
/// and returns 0.
///
/// A copy shares the progress bar; only the object that created it destroys it. Only the thread
/// that created the bar's window may use it.
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

  /// Creates the progress bar in the pane at `pane` (from 0) with the range `lowest` to `highest`
  /// (16 bits each), position `lowest` and step 1; hidden while the bar is in simple mode. False
  /// when there is no such pane or already a progress bar.
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

  /// Destroys the progress bar if this object created it; the pane becomes -1.
  void ProgDestroyWindow() {
    if (const HWND window = progress(); window && isOwner_) {
      ::ShowWindow(window, SW_HIDE);
      ::DestroyWindow(window);
    }
    ProgForget();
  }

  /// Call when the bar's window is destroyed, and the progress bar with it: the system may reuse
  /// the handle.
  void ProgForget() {
    progress_ = nullptr;
    isOwner_ = false;
    pane_ = -1;
  }

  /// The index of the progress bar's pane, -1 without a progress bar.
  int ProgGetPane() const { return progress() ? pane_ : -1; }

  /// Returns the previous range, the lowest value in the low 16 bits.
  DWORD ProgSetRange(short lowest, short highest) {
    return static_cast<DWORD>(send(PBM_SETRANGE, 0, MAKELPARAM(lowest, highest)));
  }
  /// As ProgSetRange with 32-bit values; returns the low 16 bits of each previous value.
  DWORD ProgSetRange32(int lowest, int highest) {
    return static_cast<DWORD>(send(PBM_SETRANGE32, static_cast<WPARAM>(lowest), highest));
  }
  void ProgGetRange(PBRANGE* range) const {
    send(PBM_GETRANGE, TRUE, reinterpret_cast<LPARAM>(range));
  }
  /// The lowest or the highest value of the range.
  int ProgGetRangeLimit(bool low) const { return static_cast<int>(send(PBM_GETRANGE, low, 0)); }

  // QUIRK: Previous positions and steps are returned as 16 bits, sign-extended. 32-bit ranges have
  // greater positions. Kept: applications compare these values.

  /// Returns the previous position.
  int ProgSetPos(int position) { return word(send(PBM_SETPOS, static_cast<WPARAM>(position), 0)); }
  /// Advances by `increment`. Returns the previous position.
  int ProgOffsetPos(int increment) {
    return word(send(PBM_DELTAPOS, static_cast<WPARAM>(increment), 0));
  }
  /// Returns the previous step.
  int ProgSetStep(int step) { return word(send(PBM_SETSTEP, static_cast<WPARAM>(step), 0)); }
  /// Advances by the step. Returns the previous position.
  int ProgStepIt() { return word(send(PBM_STEPIT, 0, 0)); }
  UINT ProgGetPos() const { return static_cast<UINT>(send(PBM_GETPOS, 0, 0)); }

  /// Returns the previous color.
  COLORREF ProgSetBarColor(COLORREF color) {
    return static_cast<COLORREF>(send(PBM_SETBARCOLOR, 0, static_cast<LPARAM>(color)));
  }
  /// Returns the previous color.
  COLORREF ProgSetBkColor(COLORREF color) {
    return static_cast<COLORREF>(send(PBM_SETBKCOLOR, 0, static_cast<LPARAM>(color)));
  }
  /// Starts or stops the marquee of a bar with the style PBS_MARQUEE; `interval` in milliseconds.
  BOOL ProgSetMarquee(BOOL on, UINT interval = 0) {
    return send(PBM_SETMARQUEE, static_cast<WPARAM>(on), static_cast<LPARAM>(interval)) != 0;
  }

  /// Moves the progress bar onto its pane. Always true.
  BOOL UpdatePanesLayout() {
    RECT rect{};
    if (const HWND window = progress(); window && pane_ >= 0 && bar()->GetRect(pane_, &rect))
      ::MoveWindow(window, rect.left, rect.top, rect.right - rect.left, rect.bottom - rect.top,
                   TRUE);
    return TRUE;
  }

  /// Hides the progress bar in simple mode (`wParam` is not 0) and shows it afterwards. Always
  /// leaves the message unhandled: the status bar switches the mode.
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

  // Null when the progress bar was destroyed, of which copies are not notified. Top-level windows
  // have no parent: a bar without a window has no progress bar.
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
