#pragma once
// The multi-pane status bar, under the class and member names of the compilers' window templates.

#include "ui/window.h"

#ifdef TESSARON_NATIVE_WINDOW_TEMPLATES
#include <atlctrls.h>
#include <atlctrlx.h>

namespace tessaron {
using WTL::CMultiPaneStatusBarCtrlImpl;
}
#else

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

namespace tessaron {

/// The messages of the status bar control. Only the thread that created the window may use it.
template <class TBase>
class CStatusBarCtrlT : public TBase {
 public:
  using TBase::TBase;
  static const wchar_t* GetWndClassName() { return STATUSCLASSNAMEW; }

  int GetParts(int count, int* edges) const {
    return static_cast<int>(send(SB_GETPARTS, static_cast<WPARAM>(count), edges));
  }
  /// `edges`: the right edge of each part in pixels; -1 reaches to the bar's end.
  BOOL SetParts(int count, const int* edges) {
    return send(SB_SETPARTS, static_cast<WPARAM>(count), edges) != 0;
  }
  BOOL GetRect(int part, RECT* rect) const {
    return send(SB_GETRECT, static_cast<WPARAM>(part), rect) != 0;
  }
  /// `text` must have room for `GetTextLength` units and a terminating zero.
  int GetText(int part, wchar_t* text, int* type = nullptr) const {
    return lengthAndType(send(SB_GETTEXTW, static_cast<WPARAM>(part), text), type);
  }
  int GetTextLength(int part, int* type = nullptr) const {
    return lengthAndType(send(SB_GETTEXTLENGTHW, static_cast<WPARAM>(part), nullptr), type);
  }
  BOOL SetText(int part, const wchar_t* text, int type = 0) {
    return send(SB_SETTEXTW, static_cast<WPARAM>(part | type), text) != 0;
  }
  /// Pixels: the borders left and right, the borders above and below, the gap between parts.
  BOOL GetBorders(int (&borders)[3]) const { return send(SB_GETBORDERS, 0, borders) != 0; }
  BOOL SetSimple(BOOL simple = TRUE) {
    return send(SB_SIMPLE, static_cast<WPARAM>(simple), nullptr) != 0;
  }
  BOOL IsSimple() const { return send(SB_ISSIMPLE, 0, nullptr) != 0; }
  HICON GetIcon(int part) const {
    return reinterpret_cast<HICON>(send(SB_GETICON, static_cast<WPARAM>(part), nullptr));
  }
  /// The icon is not owned and must outlive the bar.
  BOOL SetIcon(int part, HICON icon) {
    return send(SB_SETICON, static_cast<WPARAM>(part), icon) != 0;
  }
  void GetTipText(int part, wchar_t* text, int size) const {
    send(SB_GETTIPTEXTW, MAKEWPARAM(part, size), text);
  }
  void SetTipText(int part, const wchar_t* text) {
    send(SB_SETTIPTEXTW, static_cast<WPARAM>(part), text);
  }

 protected:
  LRESULT send(UINT message, WPARAM wParam, const void* lParam) const {
    return ::SendMessageW(this->m_hWnd, message, wParam, reinterpret_cast<LPARAM>(lParam));
  }

 private:
  static int lengthAndType(LRESULT packed, int* type) {
    if (type) *type = HIWORD(packed);
    return LOWORD(packed);
  }
};

using CStatusBarCtrl = CStatusBarCtrlT<CWindow>;

/// The pane that takes the width left by the others.
enum { ID_DEFAULT_PANE = 0 };

/// A status bar whose panes have identifiers chosen by the application. Operations on a pane return
/// false when no pane has the identifier. Only the thread that creates the window may use it.
template <class T, class TBase = CStatusBarCtrl>
class CMultiPaneStatusBarCtrlImpl : public CWindowImpl<T, TBase> {
 public:
  static constexpr int m_cxPaneMargin = 3;  ///< pixels on both sides of a pane's text
  int m_nPanes = 0;

  HWND Create(HWND parent, const wchar_t* text = nullptr,
              DWORD style = CWindowImpl<T, TBase>::kDefaultStyle | SBARS_SIZEGRIP,
              UINT id = 0xE801) {
    return CWindowImpl<T, TBase>::Create(parent, {}, text, style, 0, id);
  }

  /// Sets the panes from left to right; ID_DEFAULT_PANE stretches. The application's string
  /// resource of an identifier gives the pane's initial width and, with `setText`, its text. False,
  /// with nothing changed, without panes.
  BOOL SetPanes(const int* panes, int count, bool setText = true) {
    if (!panes || count <= 0 || !this->IsWindow()) return FALSE;
    std::vector<Pane> made(static_cast<std::size_t>(count));
    std::vector<int> edges(made.size());
    std::vector<std::wstring> texts(made.size());
    for (std::size_t i = 0; i < made.size(); ++i) {
      texts[i] = resourceText(panes[i]);
      const int before = i > 0 ? edges[i - 1] : 0;
      made[i] = {panes[i], panes[i] == ID_DEFAULT_PANE ? 0 : textWidth(texts[i])};
      edges[i] = before + made[i].width;
    }
    if (!this->SetParts(count, edges.data())) return FALSE;
    panes_ = std::move(made);
    m_nPanes = count;
    for (int i = 0; setText && i < count; ++i)
      this->SetText(i, texts[static_cast<std::size_t>(i)].c_str());
    return static_cast<T*>(this)->UpdatePanesLayout();
  }

  /// The length in UTF-16 units, without the terminating zero, and the drawing type of a pane's
  /// text.
  bool GetPaneTextLength(int id, int* length = nullptr, int* type = nullptr) const {
    const int part = partOf(id);
    if (part < 0) return false;
    const int count = this->GetTextLength(part, type);
    if (length) *length = count;
    return true;
  }
  /// `text` must have room for the text and its terminating zero.
  BOOL GetPaneText(int id, wchar_t* text, int* length = nullptr, int* type = nullptr) const {
    const int part = partOf(id);
    if (part < 0) return FALSE;
    const int count = this->GetText(part, text, type);
    if (length) *length = count;
    return TRUE;
  }
  BOOL SetPaneText(int id, const wchar_t* text, int type = 0) {
    const int part = partOf(id);
    return part >= 0 && this->SetText(part, text, type);
  }
  /// The pane's rectangle in the bar's client area, in pixels.
  BOOL GetPaneRect(int id, RECT* rect) const {
    const int part = partOf(id);
    return part >= 0 && this->GetRect(part, rect);
  }
  /// Pixels: the width that was set; of the stretching pane the current width.
  bool GetPaneWidth(int id, int& width) const {
    const int part = partOf(id);
    if (part < 0) return false;
    RECT rect{};
    if (part == stretching() && this->GetRect(part, &rect)) {
      width = static_cast<int>(rect.right - rect.left);
    } else {
      width = panes_[static_cast<std::size_t>(part)].width;
    }
    return true;
  }
  /// False for the stretching pane and for a negative width.
  BOOL SetPaneWidth(int id, int width) {
    const int part = partOf(id);
    if (part < 0 || part == stretching() || width < 0) return FALSE;
    panes_[static_cast<std::size_t>(part)].width = width;
    return static_cast<T*>(this)->UpdatePanesLayout();
  }
  /// Writes at most `size` units to `text`, including the terminating zero.
  BOOL GetPaneTipText(int id, wchar_t* text, int size) const {
    const int part = partOf(id);
    if (part < 0) return FALSE;
    this->GetTipText(part, text, size);
    return TRUE;
  }
  /// Needs the style SBT_TOOLTIPS. Shown when the pane's text is cut off or the pane has only an
  /// icon.
  BOOL SetPaneTipText(int id, const wchar_t* text) {
    const int part = partOf(id);
    if (part < 0) return FALSE;
    this->SetTipText(part, text);
    return TRUE;
  }
  BOOL GetPaneIcon(int id, HICON& icon) const {
    const int part = partOf(id);
    if (part < 0) return FALSE;
    icon = this->GetIcon(part);
    return TRUE;
  }
  /// The icon is not owned and must outlive the bar.
  BOOL SetPaneIcon(int id, HICON icon) {
    const int part = partOf(id);
    return part >= 0 && this->SetIcon(part, icon);
  }

  /// Gives every pane its width and the stretching one the rest, at least 0.
  BOOL UpdatePanesLayout() {
    if (panes_.empty()) return FALSE;
    RECT client{};
    int borders[3] = {};
    if (!this->GetClientRect(&client) || !this->GetBorders(borders)) return FALSE;
    const int left = restOf(static_cast<int>(client.right - client.left), borders);
    std::vector<int> edges;
    int edge = borders[0];
    for (const Pane& pane : panes_) {
      if (!edges.empty()) edge += borders[2];
      edge += pane.width;
      if (static_cast<int>(edges.size()) == stretching()) edge += std::max(left, 0);
      edges.push_back(edge);
    }
    return this->SetParts(static_cast<int>(edges.size()), edges.data());
  }

  BOOL ProcessWindowMessage(HWND, UINT message, WPARAM wParam, LPARAM lParam, LRESULT& result,
                            DWORD = 0) override {
    if (message != WM_SIZE) return FALSE;
    result = this->DefWindowProc(message, wParam, lParam);
    if (wParam != SIZE_MINIMIZED && m_nPanes > 0) static_cast<T*>(this)->UpdatePanesLayout();
    return TRUE;
  }

  /// Called when the window is destroyed: removes the panes.
  void OnFinalMessage(HWND) override {
    panes_.clear();
    m_nPanes = 0;
  }

 private:
  struct Pane {
    int id;
    int width;  ///< pixels, including the margins; 0 for the stretching pane
  };

  int partOf(int id) const {
    const auto pane = std::ranges::find(panes_, id, &Pane::id);
    return pane == panes_.end() ? -1 : static_cast<int>(pane - panes_.begin());
  }
  int stretching() const { return partOf(ID_DEFAULT_PANE); }

  // What a bar of `width` pixels leaves to the stretching pane. Every pane but the first has a gap
  // before it.
  int restOf(int width, const int (&borders)[3]) const {
    int rest = width - borders[0] - borders[2] * (static_cast<int>(panes_.size()) - 1);
    if ((this->GetStyle() & SBARS_SIZEGRIP) != 0) rest -= ::GetSystemMetrics(SM_CXVSCROLL);
    for (const Pane& pane : panes_) rest -= pane.width;
    return rest;
  }

  static std::wstring resourceText(int id) {
    const wchar_t* text = nullptr;
    const int length = ::LoadStringW(::GetModuleHandleW(nullptr), static_cast<UINT>(id),
                                     reinterpret_cast<wchar_t*>(&text), 0);
    return length > 0 ? std::wstring(text, static_cast<std::size_t>(length)) : std::wstring();
  }
  int textWidth(const std::wstring& text) const {
    SIZE size{};
    if (const HDC dc = ::GetDC(this->m_hWnd)) {
      const auto font = reinterpret_cast<HFONT>(this->send(WM_GETFONT, 0, nullptr));
      const HGDIOBJ before = font ? ::SelectObject(dc, font) : nullptr;
      ::GetTextExtentPoint32W(dc, text.c_str(), static_cast<int>(text.size()), &size);
      if (before) ::SelectObject(dc, before);
      ::ReleaseDC(this->m_hWnd, dc);
    }
    return static_cast<int>(size.cx) + 2 * m_cxPaneMargin;
  }

  std::vector<Pane> panes_;
};

}  // namespace tessaron
#endif
