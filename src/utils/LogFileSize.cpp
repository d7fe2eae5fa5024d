// The size check of the log rotation: the position of the stream, as ftell on a
// stream opened for appending gives it, is the size of the file (every process's
// lines that reached it) and what the stream still holds in its buffer.
//
// Asking the system for the size on every line costs a system call per line, more
// than the rest of the line together. Instead the size of the active file is kept in
// the words beside the log lock, which every process that logs shares: whoever
// writes to the file, under the lock, adds what it wrote. A process asks the system
// only when the words describe another file (another process has rotated, or logs
// to another file under the same lock), when nobody has described the file yet,
// once in each second in which it writes (so that the rare writer outside the lock,
// such as a person appending to the file, is counted within a second), and at
// every open.
//
// So that the library itself never writes outside the lock, the stream's buffer is
// flushed under the lock when the process ends, and the lines of the last moments
// (static destructors) go to the file at once.
#include "utils/LogWriter.h"

#include <stdio_ext.h>

#include "platform/Host.h"

namespace utils {
namespace {

// The words beside the lock: a mark that they are filled in, then the device and
// inode of the file described and its size.
enum SizeWord { kMark = 0, kDevice = 1, kInode = 2, kSize = 3 };
constexpr std::int64_t kDescribed = 0x4e56524c4f475a31;  // any nonzero pattern
static_assert(platform::ProcessLock::kSharedWords > kSize, "the lock shares enough words");

// True when the shared words describe the file this stream writes to.
bool describesOurFile(const std::int64_t* words, bool identified, std::uint64_t device,
                             std::uint64_t inode) {
  return words != nullptr && identified && words[kMark] == kDescribed &&
         static_cast<std::uint64_t>(words[kDevice]) == device && static_cast<std::uint64_t>(words[kInode]) == inode;
}

}  // namespace

bool LogWriter::refreshFileSize() {
  m_refreshFileSize = false;
  platform::OpenFileFacts facts;
  m_fileIdentified = m_stream != nullptr && platform::host().fileSystem().describeOpenFile(m_stream, facts);
  if (!m_fileIdentified) return false;
  m_fileDevice = facts.device;
  m_fileInode = facts.inode;
  if (std::int64_t* words = m_lock->sharedWords()) {
    words[kMark] = kDescribed;
    words[kDevice] = static_cast<std::int64_t>(facts.device);
    words[kInode] = static_cast<std::int64_t>(facts.inode);
    words[kSize] = facts.size;
  }
  return true;
}

void LogWriter::identifyStream() {
  m_heldAfterLastWrite = 0;
  refreshFileSize();
}

void LogWriter::noteWrittenToFile(std::size_t bytes) {
  if (bytes == 0) return;
  std::int64_t* words = m_lock->sharedWords();
  // A failed write is not trusted to have added anything: ask next time.
  if (std::ferror(m_stream) || !describesOurFile(words, m_fileIdentified, m_fileDevice, m_fileInode)) {
    m_refreshFileSize = true;
    return;
  }
  words[kSize] += static_cast<std::int64_t>(bytes);
}

void LogWriter::noteWrittenOutsideTheLock() {
  // Every process's idea of the size is stale now; whoever looks next asks.
  if (std::int64_t* words = m_lock->sharedWords()) words[kMark] = 0;
  m_refreshFileSize = true;
}

long LogWriter::streamPosition() {
  const long held = static_cast<long>(__fpending(m_stream));
  std::int64_t* words = m_lock->sharedWords();
  if (m_refreshFileSize || !describesOurFile(words, m_fileIdentified, m_fileDevice, m_fileInode)) {
    refreshFileSize();
  }
  if (describesOurFile(words, m_fileIdentified, m_fileDevice, m_fileInode)) {
    return static_cast<long>(words[kSize]) + held;
  }
  // Without the shared words, or when the system cannot describe the file, the C
  // library answers (with a seek).
  return std::ftell(m_stream);
}

}  // namespace utils
