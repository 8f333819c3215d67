#include "platform/text_editor.h"

#include <memory>
#include <span>

#include "platform/file.h"
#include "platform/system.h"
#include "platform/win32/error.h"
#include "platform/win32/utf8.h"

namespace tessaron {
namespace {

// Keeps the keys from ending this program. Unlike a null handler, it is not inherited.
BOOL WINAPI ignoreControlKey(DWORD kind) {
  return kind == CTRL_C_EVENT || kind == CTRL_BREAK_EVENT ? TRUE : FALSE;
}

}  // namespace

ScratchText::ScratchText(std::u16string_view name, std::string_view content,
                         std::error_code& error) {
  // The folder for temporary files belongs to the user alone.
  OpenMode mode;
  mode.write = true;
  mode.disposition = OpenMode::Disposition::CreateNew;
  const std::u16string start = temporaryFolder() + std::u16string(name) + u'-';
  std::unique_ptr<File> file;
  for (int attempt = 0; !file && attempt < 100; ++attempt) {
    LARGE_INTEGER ticks;
    QueryPerformanceCounter(&ticks);
    std::u16string number;
    for (unsigned digits = static_cast<unsigned>(ticks.QuadPart); digits != 0; digits /= 10)
      number += static_cast<char16_t>(u'0' + digits % 10);
    path_ = start + number + u".txt";
    error.clear();
    file = openFile(path_, mode, error);
  }
  if (!file) {
    path_.clear();
    return;
  }
  if (!file->write(std::as_bytes(std::span(content)))) error = lastError();
}

ScratchText::~ScratchText() {
  if (!isKept_ && !path_.empty()) DeleteFileW(wide(path_));
}

std::u16string textEditor() {
  for (const char* variable : {"VISUAL", "EDITOR"})
    if (const std::string editor = environmentVariable(variable); !editor.empty())
      return widened(editor);
  return u"notepad.exe";
}

std::u16string textPager() {
  const std::string pager = environmentVariable("PAGER");
  return pager.empty() ? u"more.com" : widened(pager);
}

std::u16string manualViewer() { return {}; }

EditorResult openText(std::u16string_view opener, std::u16string_view path) {
  std::u16string command = std::u16string(opener) + u" \"" + std::u16string(path) + u'"';
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION process{};
  SetConsoleCtrlHandler(ignoreControlKey, TRUE);
  const BOOL isStarted = CreateProcessW(nullptr, wide(command.data()), nullptr, nullptr, FALSE, 0,
                                        nullptr, nullptr, &startup, &process);
  EditorResult result;
  if (!isStarted) result.error = lastError();
  if (isStarted) {
    DWORD code = 0;
    WaitForSingleObject(process.hProcess, INFINITE);
    if (!GetExitCodeProcess(process.hProcess, &code)) result.error = lastError();
    result.exitCode = static_cast<int>(code);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
  }
  SetConsoleCtrlHandler(ignoreControlKey, FALSE);
  return result;
}

}  // namespace tessaron
