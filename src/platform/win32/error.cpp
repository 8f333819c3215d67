#include "platform/win32/error.h"

namespace tessaron {

std::error_code systemError(DWORD code) {
  struct Row {
    DWORD code;
    std::errc error;
  };
  static constexpr Row kRows[] = {
      {ERROR_ACCESS_DENIED, std::errc::permission_denied},
      {ERROR_ALREADY_EXISTS, std::errc::file_exists},
      {ERROR_BAD_NETPATH, std::errc::no_such_file_or_directory},
      {ERROR_BAD_PATHNAME, std::errc::no_such_file_or_directory},
      {ERROR_BROKEN_PIPE, std::errc::broken_pipe},
      {ERROR_CRC, std::errc::io_error},
      {ERROR_DIRECTORY, std::errc::not_a_directory},
      {ERROR_DIR_NOT_EMPTY, std::errc::directory_not_empty},
      {ERROR_DISK_FULL, std::errc::no_space_on_device},
      {ERROR_FILENAME_EXCED_RANGE, std::errc::filename_too_long},
      {ERROR_FILE_EXISTS, std::errc::file_exists},
      {ERROR_FILE_NOT_FOUND, std::errc::no_such_file_or_directory},
      {ERROR_FILE_TOO_LARGE, std::errc::file_too_large},
      {ERROR_HANDLE_DISK_FULL, std::errc::no_space_on_device},
      {ERROR_INVALID_NAME, std::errc::no_such_file_or_directory},
      {ERROR_IO_DEVICE, std::errc::io_error},
      {ERROR_LOCK_VIOLATION, std::errc::resource_unavailable_try_again},
      {ERROR_NOT_ENOUGH_MEMORY, std::errc::not_enough_memory},
      {ERROR_NOT_SAME_DEVICE, std::errc::cross_device_link},
      {ERROR_NO_DATA, std::errc::broken_pipe},  // the reader of a pipe is gone
      {ERROR_OUTOFMEMORY, std::errc::not_enough_memory},
      {ERROR_PATH_NOT_FOUND, std::errc::no_such_file_or_directory},
      {ERROR_READ_FAULT, std::errc::io_error},
      {ERROR_SHARING_VIOLATION, std::errc::resource_unavailable_try_again},
      {ERROR_TOO_MANY_OPEN_FILES, std::errc::too_many_files_open},
      {ERROR_WRITE_FAULT, std::errc::io_error},
      {ERROR_WRITE_PROTECT, std::errc::read_only_file_system},
  };
  for (const Row& row : kRows)
    if (row.code == code) return std::make_error_code(row.error);
  return {static_cast<int>(code), std::system_category()};
}

}  // namespace tessaron
