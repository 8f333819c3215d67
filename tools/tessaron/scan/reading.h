#pragma once

#include "platform/file.h"
#include "scan/finding.h"

namespace tessaron::tool {

/// The only argument of the program that makes it read files for another process.
constexpr char kReaderArgument[] = "--read-for-parent";

/// Reads files for the process that has started this one, and answers its questions. Returns the
/// exit code.
int runReader();

}  // namespace tessaron::tool
