#include "platform/text_editor.h"

#include <memory>
#include <span>

#include "platform/file.h"
#include "platform/system.h"
#include "platform/win32/wide.h"

namespace tessaron {
namespace {

std::error_code lastError() { return {static_cast<int>(GetLastError()), std::system_category()}; }

// Keeps the keys from ending this program. Unlike a null handler, it is not inherited.
BOOL WINAPI ignoreControlKey(DWORD kind) {
  return kind == CTRL_C_EVENT || kind == CTRL_BREAK_EVENT ? TRUE : FALSE;
}

std::u16string environment(const char16_t* name) {
  std::u16string value(MAX_PATH, u'\0');
  DWORD size = 0;
  // The size that a value needs includes its NUL.
  while ((size = GetEnvironmentVariableW(wide(name), wide(value.data()),
                                         static_cast<DWORD>(value.size()))) > value.size())
    value.resize(size);
  value.resize(size);
  return value;
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
  for (const char16_t* variable : {u"VISUAL", u"EDITOR"})
    if (std::u16string editor = environment(variable); !editor.empty()) return editor;
  return u"notepad.exe";
}

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
