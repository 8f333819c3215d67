#pragma once
// The part of the window templates of Windows compilers that the library uses, under the same class
// and member names. TESSARON_NATIVE_WINDOW_TEMPLATES selects the originals; library and application
// must agree on it.

// clang-format off
#include "platform/types.h"  // <windows.h>, which the next one needs
#include <commctrl.h>
// clang-format on

#ifdef TESSARON_NATIVE_WINDOW_TEMPLATES
#include <atlapp.h>
#include <atlbase.h>
#include <atlwin.h>

namespace tessaron {
using ATL::CWindow;
using ATL::CWndClassInfo;

/// The one registration of `T`'s class as a superclass of the class `originalName`.
template <class T>
CWndClassInfo& superclassOf(const wchar_t* name, const wchar_t* originalName) {
  static CWndClassInfo info = {{sizeof(WNDCLASSEX), 0, T::StartWindowProc, 0, 0, nullptr, nullptr,
                                nullptr, nullptr, nullptr, name, nullptr},
                               originalName,
                               nullptr,
                               nullptr,
                               TRUE,
                               0,
                               L""};
  return info;
}

}  // namespace tessaron
#else

#include "tessaron_export.h"

namespace tessaron {

/// A window handle, not owned. One thread at a time per object.
class CWindow {
 public:
  HWND m_hWnd;

  explicit CWindow(HWND window = nullptr) : m_hWnd(window) {}
  operator HWND() const { return m_hWnd; }
  BOOL IsWindow() const { return ::IsWindow(m_hWnd); }
  DWORD GetStyle() const { return static_cast<DWORD>(::GetWindowLongPtrW(m_hWnd, GWL_STYLE)); }
  BOOL GetClientRect(RECT* rect) const { return ::GetClientRect(m_hWnd, rect); }
  BOOL DestroyWindow() { return ::DestroyWindow(m_hWnd); }
};

/// The registration of a superclass of a system's window class. Each window stores the address of
/// its object after the extra bytes of the original class. Any thread may register.
class TESSARON_API CWndClassInfo {
 public:
  WNDCLASSEXW m_wc{};
  const wchar_t* m_lpszOrigName;
  WNDPROC pWndProc = nullptr;  ///< the original's procedure, once registered
  ATOM m_atom = 0;
  int objectOffset = 0;  ///< position of the object's address in the window's extra bytes

  /// `name` and `originalName` must outlive it.
  CWndClassInfo(const wchar_t* name, const wchar_t* originalName);
  /// Unregisters the class, which would otherwise outlive an unloaded library.
  ~CWndClassInfo();
  CWndClassInfo(const CWndClassInfo&) = delete;
  CWndClassInfo& operator=(const CWndClassInfo&) = delete;

  /// Registers the class with `procedure` unless it is registered. 0 when there is no original.
  ATOM Register(WNDPROC procedure);
};

/// The only registration of `T`'s class as a superclass of the class `originalName`. Any thread.
template <class T>
CWndClassInfo& superclassOf(const wchar_t* name, const wchar_t* originalName) {
  static CWndClassInfo info(name, originalName);
  return info;
}

/// The module that contains this library's code.
TESSARON_API HINSTANCE libraryModule();

/// A window of class `T::GetWndClassInfo()` whose messages this object handles.
///
/// A copy has the same window but does not handle its messages. After the object's destruction the
/// original class handles them. Only the thread that creates the window may use the object.
template <class T, class TBase = CWindow>
class CWindowImpl : public TBase {
 public:
  static constexpr DWORD kDefaultStyle = WS_CHILD | WS_VISIBLE | WS_CLIPSIBLINGS | WS_CLIPCHILDREN;

  virtual ~CWindowImpl() {
    if (isDriver(this->m_hWnd)) setObject(this->m_hWnd, nullptr);
  }

  /// Handles a message. True, with `result` set, when it was handled.
  virtual BOOL ProcessWindowMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam,
                                    LRESULT& result, DWORD map = 0) = 0;

  /// Creates the window; null when that fails or the object has a window. Style 0 means the
  /// default.
  HWND Create(HWND parent, const RECT& rect = {}, const wchar_t* name = nullptr, DWORD style = 0,
              DWORD exStyle = 0, UINT id = 0) {
    if (this->IsWindow()) return nullptr;
    if (T::GetWndClassInfo().Register(&CWindowImpl::procedure) == 0) return nullptr;
    return ::CreateWindowExW(
        exStyle, T::GetWndClassInfo().m_wc.lpszClassName, name, style != 0 ? style : kDefaultStyle,
        rect.left, rect.top, rect.right - rect.left, rect.bottom - rect.top, parent,
        reinterpret_cast<HMENU>(static_cast<UINT_PTR>(id)), libraryModule(), static_cast<T*>(this));
  }

  /// Passes a message to the original class.
  LRESULT DefWindowProc(UINT message, WPARAM wParam, LPARAM lParam) {
    return ::CallWindowProcW(T::GetWndClassInfo().pWndProc, this->m_hWnd, message, wParam, lParam);
  }

  /// Called when the window is gone.
  virtual void OnFinalMessage(HWND) {}

 protected:
  CWindowImpl() = default;
  CWindowImpl(const CWindowImpl&) = default;
  CWindowImpl& operator=(const CWindowImpl& other) {
    if (this == &other) return *this;
    if (isDriver(this->m_hWnd)) setObject(this->m_hWnd, nullptr);
    TBase::operator=(other);
    return *this;
  }

 private:
  static T* objectOf(HWND window) {
    return reinterpret_cast<T*>(::GetWindowLongPtrW(window, T::GetWndClassInfo().objectOffset));
  }
  static void setObject(HWND window, T* object) {
    ::SetWindowLongPtrW(window, T::GetWndClassInfo().objectOffset,
                        reinterpret_cast<LONG_PTR>(object));
  }
  bool isDriver(HWND window) const {
    return window && ::IsWindow(window) &&
           static_cast<const CWindowImpl*>(objectOf(window)) == this;
  }

  static LRESULT CALLBACK procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_NCCREATE) {
      T* made = static_cast<T*>(reinterpret_cast<const CREATESTRUCTW*>(lParam)->lpCreateParams);
      // Null for a window of this class that was not created through an object.
      if (made) {
        made->m_hWnd = window;
        setObject(window, made);
      }
    }
    T* object = objectOf(window);
    if (!object)
      return ::CallWindowProcW(T::GetWndClassInfo().pWndProc, window, message, wParam, lParam);
    LRESULT result = 0;
    if (!object->ProcessWindowMessage(window, message, wParam, lParam, result))
      result = object->DefWindowProc(message, wParam, lParam);
    if (message == WM_NCDESTROY) {
      setObject(window, nullptr);
      object->m_hWnd = nullptr;
      object->OnFinalMessage(window);
    }
    return result;
  }
};

}  // namespace tessaron
#endif
