#include "ui/window.h"

#include <mutex>

namespace tessaron {

HINSTANCE libraryModule() {
  HMODULE module = nullptr;
  ::GetModuleHandleExW(
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
      reinterpret_cast<const wchar_t*>(&libraryModule), &module);
  return module;
}

CWndClassInfo::CWndClassInfo(const wchar_t* name, const wchar_t* originalName)
    : m_lpszOrigName(originalName) {
  m_wc.cbSize = sizeof m_wc;
  m_wc.lpszClassName = name;
}

CWndClassInfo::~CWndClassInfo() {
  if (m_atom != 0) ::UnregisterClassW(m_wc.lpszClassName, m_wc.hInstance);
}

ATOM CWndClassInfo::Register(WNDPROC procedure) {
  static std::mutex mutex;  // threads may create their first windows at the same time
  const std::lock_guard lock(mutex);
  if (m_atom != 0) return m_atom;
  const INITCOMMONCONTROLSEX controls{sizeof controls, ICC_BAR_CLASSES | ICC_PROGRESS_CLASS};
  ::InitCommonControlsEx(&controls);
  const wchar_t* name = m_wc.lpszClassName;
  m_wc.cbSize = sizeof m_wc;
  if (!::GetClassInfoExW(nullptr, m_lpszOrigName, &m_wc)) return 0;
  pWndProc = m_wc.lpfnWndProc;
  objectOffset = m_wc.cbWndExtra;
  m_wc.cbWndExtra += static_cast<int>(sizeof(void*));
  m_wc.lpfnWndProc = procedure;
  m_wc.lpszClassName = name;
  m_wc.hInstance = libraryModule();
  m_wc.style &= ~static_cast<UINT>(CS_GLOBALCLASS);
  return m_atom = ::RegisterClassExW(&m_wc);
}

}  // namespace tessaron
