// Rotation and retention of the log files. These hooks run inside the log lock and
// see the writer's state (path, directory, base name, file count and size, stream).
// They must not log: anything they log is only held back until the lock is free.
#include "utils/LogWriter.h"

namespace utils {

void LogWriter::applyActiveFileRights() {}

void LogWriter::trimOldFiles() {}

void LogWriter::checkRotation() {}

}  // namespace utils
