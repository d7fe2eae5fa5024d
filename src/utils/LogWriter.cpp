#include "utils/LogWriter.h"

#include <stdio_ext.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>

#include <utils/Log.h>

#include "platform/Host.h"
#include "settings/Settings.h"
#include "utils/LogStartup.h"

namespace utils {

std::atomic<bool> LogWriter::m_started{false};
std::atomic<bool> LogWriter::m_lockMade{false};
std::atomic<unsigned char> LogWriter::m_level{0};
std::atomic<unsigned char> LogWriter::m_cacheMode{0};
unsigned char LogWriter::m_fileCount = 0;
unsigned char LogWriter::m_fileSizeInMb = 0;
std::FILE* LogWriter::m_stream = nullptr;
platform::ProcessLock* LogWriter::m_lock = nullptr;
platform::LocalTime LogWriter::m_currentTime;
platform::LocalTime LogWriter::m_stampTime;
char LogWriter::m_prefix[64] = "";
std::size_t LogWriter::m_prefixLength = 0;
char LogWriter::m_threadId[8] = "";
char LogWriter::m_logDirectory[kPathCapacity] = "";
char LogWriter::m_logPath[kPathCapacity] = "";
char LogWriter::m_baseName[kPathCapacity] = "";
char LogWriter::m_chosenFileName[NAME_MAX + 1] = "";
char LogWriter::m_lockPath[kPathCapacity] = "";
char LogWriter::m_line[64 + 512] = "";
bool LogWriter::m_fileIdentified = false;
std::uint64_t LogWriter::m_fileDevice = 0;
std::uint64_t LogWriter::m_fileInode = 0;
bool LogWriter::m_refreshFileSize = true;
bool LogWriter::m_exiting = false;
std::size_t LogWriter::m_heldAfterLastWrite = 0;

namespace {

// "DD/MM hh:mm:ss " is 15 characters; within one second only this much of the
// previous prefix is kept.
constexpr std::size_t kStampLength = 15;
// Every banner is this long.
constexpr std::size_t kBannerLength = 15;

const char* banner(int level) {
  switch (level) {
    case PERF: return " | Perf      : ";
    case CRITICAL: return " | Critical  : ";
    case ERROR: return " | Error     : ";
    case WARNING: return " | Warning   : ";
    case INFO: return " | Info      : ";
    case DEBUG: return " | Debug     : ";
    case FUNCTION_ENTRY: return " | Fn Entry  : ";
    case EVERYTHING: return " | Everything: ";
    default: return "";
  }
}

// Expands a format that comes with no arguments, as vsnprintf would: "%%" gives
// "%", and the text is cut to capacity - 1 characters. A statement's text reaches
// the writer this way, and its first two characters are never escaped, so it may
// hold a conversion that would read an argument nobody passed. The message stops
// right before such a conversion instead of reading past the arguments.
std::size_t expandWithoutArguments(const char* text, char* out, std::size_t capacity) {
  std::size_t used = 0;
  for (const char* at = text; *at != '\0' && used + 1 < capacity; ++at) {
    if (*at == '%') {
      if (at[1] != '%') break;
      ++at;
    }
    out[used++] = *at;
  }
  out[used] = '\0';
  return used;
}

// A statement's text reaches the file as a format with no arguments, after every
// '%' from index 2 on was doubled. Both steps in one: text without a '%' past its
// first two characters goes out as it stands; otherwise the doubled text is made
// (only as much of it as the message can use up: each of its characters takes at
// least one of the doubled text, and a '%' looks one further) and expanded.
std::size_t expandStatement(const char* text, std::size_t length, char* out, std::size_t capacity) {
  const char* stop = static_cast<const char*>(std::memchr(text, '\0', length));
  if (stop != nullptr) length = static_cast<std::size_t>(stop - text);
  const bool plain = (length < 1 || text[0] != '%') && (length < 2 || text[1] != '%') &&
                     (length < 3 || std::memchr(text + 2, '%', length - 2) == nullptr);
  if (plain) {
    if (length > capacity - 1) length = capacity - 1;
    std::memcpy(out, text, length);
    out[length] = '\0';
    return length;
  }
  char doubled[2 * 512 + 2];
  static_assert(2 * 512 <= LogWriter::kStatementTextLimit, "the statement text covers what the message can use");
  std::size_t used = 0;
  for (std::size_t i = 0; i < length && used < 2 * capacity; ++i) {
    doubled[used++] = text[i];
    if (text[i] == '%' && i >= 2) doubled[used++] = '%';
  }
  doubled[used] = '\0';
  return expandWithoutArguments(doubled, out, capacity);
}

std::size_t expandWithArguments(const char* format, std::va_list args, char* out,
                                std::size_t capacity) {
  int length = std::vsnprintf(out, capacity, format, args);
  if (length < 0) {
    out[0] = '\0';
    return 0;
  }
  return static_cast<std::size_t>(length) < capacity ? static_cast<std::size_t>(length)
                                                      : capacity - 1;
}

// ---- statements held back while the logger or the settings are being built ----

thread_local int t_holdDepth = 0;      // live HoldBack objects on this thread
thread_local bool t_insideWriter = false;  // this thread holds the log lock

struct HeldStatement {
  int level;
  std::size_t length;
  char text[512];
};

// A start reads a handful of settings; a few statements at most are made meanwhile.
// Beyond this many, further ones are dropped rather than allocated for.
constexpr int kHeldCapacity = 16;
HeldStatement g_held[kHeldCapacity];
int g_heldCount = 0;
std::mutex g_heldMutex;
std::atomic<bool> g_hasHeld{false};
// Written only with the log lock held.
HeldStatement g_heldScratch;

// Orders the starts of this process's threads; the log lock orders the processes.
std::mutex g_starting;

// The lock file beside the log files; no log file's name can contain it, as it is
// never counted or deleted as one.
constexpr char kLockFileName[] = ".InitSemaphore.lock";

// A buffered stream gets this buffer, so that the writer knows what still fits and
// can hand the file whole lines only.
char g_streamBuffer[64 * 1024];

bool heldBackOnThisThread(bool started) {
  return t_insideWriter || (t_holdDepth > 0 && !started);
}

template <typename Expand>
void hold(int level, Expand expand) {
  std::lock_guard<std::mutex> guard(g_heldMutex);
  if (g_heldCount == kHeldCapacity) return;
  HeldStatement& slot = g_held[g_heldCount++];
  slot.level = level;
  slot.length = expand(slot.text, sizeof slot.text);
  g_hasHeld.store(true, std::memory_order_release);
}

bool takeHeld(HeldStatement& into) {
  std::lock_guard<std::mutex> guard(g_heldMutex);
  if (g_heldCount == 0) {
    g_hasHeld.store(false, std::memory_order_release);
    return false;
  }
  into = g_held[0];
  for (int i = 1; i < g_heldCount; ++i) g_held[i - 1] = g_held[i];
  --g_heldCount;
  return true;
}

// Holds the log lock for the scope and marks the thread as its holder, so that
// whatever it logs meanwhile is held back instead of waiting for itself.
class WriterLock {
 public:
  explicit WriterLock(platform::ProcessLock& lock) : m_lock(lock) {
    m_lock.lock();
    t_insideWriter = true;
  }
  ~WriterLock() {
    t_insideWriter = false;
    m_lock.unlock();
  }
  WriterLock(const WriterLock&) = delete;
  WriterLock& operator=(const WriterLock&) = delete;

 private:
  platform::ProcessLock& m_lock;
};

}  // namespace

unsigned int LogWriter::write(int level, const char* format, std::va_list args) {
  if (format == nullptr) format = "";
  return writeExpanded(level, [&](char* out, std::size_t capacity) {
    return expandWithArguments(format, args, out, capacity);
  });
}

unsigned int LogWriter::writeText(int level, const char* text) {
  return writeExpanded(level, [&](char* out, std::size_t capacity) {
    return expandWithoutArguments(text, out, capacity);
  });
}

unsigned int LogWriter::writeStatement(int level, const char* text, std::size_t length) {
  return writeExpanded(level, [&](char* out, std::size_t capacity) {
    return expandStatement(text, length, out, capacity);
  });
}

unsigned int LogWriter::writeStatement(int level, Render render, const void* statement) {
  return writeExpanded(level, [&](char* out, std::size_t capacity) {
    char text[kStatementTextLimit];
    return expandStatement(text, render(statement, text, sizeof text), out, capacity);
  });
}

template <typename Expand>
unsigned int LogWriter::writeExpanded(int level, Expand expand) {
  if (heldBackOnThisThread(m_started.load(std::memory_order_acquire))) {
    // The level is compared once the configured level is known.
    hold(level, expand);
    return 2;
  }
  if (start() != kStarted) return 2;
  if (g_hasHeld.load(std::memory_order_acquire)) writeHeldBack();
  if (level > static_cast<int>(m_level.load(std::memory_order_relaxed))) return 1;

  // The message is made before the lock is taken: the lock guards only the prefix
  // (whose stamp is shared state), the write and the rotation check.
  char message[512];
  const std::size_t length = expand(message, sizeof message);
  WriterLock locked(*m_lock);
  const std::size_t prefixLength = buildPrefix(level);
  std::memcpy(m_line + prefixLength, message, length);
  emit(prefixLength, length);
  checkRotation();
  return 2;
}

unsigned char LogWriter::configuredLevel() { return m_level.load(std::memory_order_relaxed); }

void LogWriter::flush() {
  if (m_cacheMode.load(std::memory_order_relaxed) == 0) return;
  if (!m_lockMade.load(std::memory_order_acquire)) return;
  WriterLock locked(*m_lock);
  if (m_stream != nullptr) {
    flushStream();
    std::setvbuf(m_stream, nullptr, _IONBF, 0);
  }
}

void LogWriter::flushStream() {
  const std::size_t held = __fpending(m_stream);
  if (held < m_heldAfterLastWrite) noteWrittenOutsideTheLock();
  std::fflush(m_stream);
  noteWrittenToFile(held - __fpending(m_stream));
  m_heldAfterLastWrite = __fpending(m_stream);
}

void LogWriter::flushAtExit() {
  // Registered once the logger has started. A thread that ends the process from
  // inside a write already holds the lock.
  if (t_insideWriter) return;
  WriterLock locked(*m_lock);
  m_exiting = true;
  if (m_stream != nullptr) flushStream();
}

void LogWriter::flushHeldBack() {
  if (t_insideWriter || t_holdDepth > 0) return;
  if (!g_hasHeld.load(std::memory_order_acquire)) return;
  if (start() != kStarted) return;
  writeHeldBack();
}

void LogWriter::writeHeldBack() {
  WriterLock locked(*m_lock);
  while (takeHeld(g_heldScratch)) {
    if (g_heldScratch.level > static_cast<int>(m_level.load(std::memory_order_relaxed))) continue;
    const std::size_t prefixLength = buildPrefix(g_heldScratch.level);
    std::memcpy(m_line + prefixLength, g_heldScratch.text, g_heldScratch.length);
    emit(prefixLength, g_heldScratch.length);
    checkRotation();
  }
}

int LogWriter::start() {
  if (m_started.load(std::memory_order_acquire)) return kStarted;
  std::lock_guard<std::mutex> starting(g_starting);
  if (m_started.load(std::memory_order_relaxed)) return kStarted;

  unsigned int cacheMode = 0;
  unsigned int fileCount = 0;
  unsigned int fileSizeInMb = 0;
  {
    // Building the settings may log (a missing configuration file); that waits
    // in the held-back buffer until the file below is open.
    logstartup::HoldBack holdBack;
    const settings::Settings& configured = settings::current();
    unsigned int level = configured.logLevel();
    cacheMode = configured.logCacheMode();
    std::string path = configured.logFile();
    fileCount = configured.logFileCount();
    fileSizeInMb = configured.logFileSizeInMb();
    if (!splitPath(path)) return kUnusablePath;
    m_level.store(static_cast<unsigned char>(level), std::memory_order_relaxed);
  }
  applyFileName();
  if (!openLock()) return kNoLock;

  WriterLock locked(*m_lock);
  m_fileCount = static_cast<unsigned char>(fileCount);
  m_fileSizeInMb = static_cast<unsigned char>(fileSizeInMb);
  const int result = openActiveFile(cacheMode);
  if (result != kStarted) return result;
  // A start succeeds once per process: the exit flush is registered once.
  std::atexit(&LogWriter::flushAtExit);
  m_started.store(true, std::memory_order_release);
  return kStarted;
}

bool LogWriter::openLock() {
  // A start that failed to open the file leaves the lock object for the next one.
  if (m_lock == nullptr) {
    // A cut path would name another file: no lock, and no log, as for a log path that long.
    const int length = std::snprintf(m_lockPath, sizeof m_lockPath, "%s/%s", m_logDirectory, kLockFileName);
    if (length < 0 || static_cast<std::size_t>(length) >= sizeof m_lockPath) return false;
    m_lock = platform::host().openProcessLock(m_lockPath).release();
    if (m_lock == nullptr) return false;
  }
  m_lockMade.store(true, std::memory_order_release);
  return true;
}

int LogWriter::openActiveFile(unsigned int cacheMode) {
  // Opening for output empties the active file (every start does, in any process);
  // what it held goes to a rotated file first, so that a restart after a crash
  // keeps the lines that tell why. A file a client chose for itself (useLogFile) is
  // appended to instead: a tool run many times keeps every run's lines in one file
  // and leaves no copy per run beside the server's files, whose retention counts
  // every name that holds its base name.
  const bool chosenFile = m_chosenFileName[0] != '\0';
  if (!chosenFile) keepWhatTheActiveFileHeld();
  platform::FileSystem& files = platform::host().fileSystem();
  if (std::FILE* opened = files.openLogFile(m_logPath, !chosenFile)) std::fclose(opened);
  applyActiveFileRights();
  m_cacheMode.store(static_cast<unsigned char>(cacheMode), std::memory_order_relaxed);

  trimOldFiles();

  m_stream = files.openLogFile(m_logPath, false);
  if (m_stream == nullptr) {
    // The lock object itself stays: other threads may be waiting on it, and the
    // next statement starts again from the top and reuses it.
    m_lockMade.store(false, std::memory_order_release);
    return kCannotOpen;
  }
  setBuffering(cacheMode != 0);
  identifyStream();
  return kStarted;
}

void LogWriter::setBuffering(bool buffered) {
  if (buffered) {
    std::setvbuf(m_stream, g_streamBuffer, _IOFBF, sizeof g_streamBuffer);
  } else {
    std::setvbuf(m_stream, nullptr, _IONBF, 0);
  }
}

bool LogWriter::useFileName(const char* fileName) {
  if (fileName == nullptr) return false;
  const std::size_t length = std::strlen(fileName);
  // The base name is the file name less its last four characters: it must keep at
  // least one, or every file of the directory would count as a log file.
  const bool usable = length > 4 && length < sizeof m_chosenFileName && std::strchr(fileName, '/') == nullptr &&
                      std::strchr(fileName, '\\') == nullptr;
  if (!usable) return false;
  std::lock_guard<std::mutex> starting(g_starting);
  if (m_started.load(std::memory_order_acquire)) return false;
  std::memcpy(m_chosenFileName, fileName, length + 1);
  return true;
}

void LogWriter::applyFileName() {
  if (m_chosenFileName[0] == '\0') return;
  const std::size_t directoryLength = std::strlen(m_logDirectory);
  const std::size_t nameLength = std::strlen(m_chosenFileName);
  if (directoryLength + 1 + nameLength >= sizeof m_logPath) return;
  // The separator the configured path used.
  const char separator = m_logPath[directoryLength];
  std::memcpy(m_logPath, m_logDirectory, directoryLength);
  m_logPath[directoryLength] = separator;
  std::memcpy(m_logPath + directoryLength + 1, m_chosenFileName, nameLength + 1);
  std::memcpy(m_baseName, m_chosenFileName, nameLength - 4);
  m_baseName[nameLength - 4] = '\0';
}

// Splits the active file's path into directory and base name (the file name less
// its last four characters). A path the system would not take (PATH_MAX bytes or
// more), one with no separator, or one whose file name is shorter than four
// characters is refused and the logger does not start; it tries again on the next
// statement.
bool LogWriter::splitPath(const std::string& path) {
  if (path.size() >= sizeof m_logPath || path.find('\0') != std::string::npos) return false;
  std::string::size_type separator = path.rfind('/');
  if (separator == std::string::npos) separator = path.rfind('\\');
  if (separator == std::string::npos) return false;
  std::string::size_type nameStart = separator + 1;
  if (path.size() < nameStart + 4) return false;
  std::string::size_type baseLength = path.size() - 4 - nameStart;

  std::memcpy(m_logPath, path.c_str(), path.size() + 1);
  std::memcpy(m_logDirectory, path.data(), separator);
  m_logDirectory[separator] = '\0';
  std::memcpy(m_baseName, path.data() + nameStart, baseLength);
  m_baseName[baseLength] = '\0';
  return true;
}

std::size_t LogWriter::buildPrefix(int level) {
  platform::Clock& clock = platform::host().clock();
  m_currentTime = clock.localTime();
  if (m_currentTime.second != m_stampTime.second) {
    m_refreshFileSize = true;
    const int length = std::snprintf(m_prefix, sizeof m_prefix, "%02d/%02d %02d:%02d:%02d ", m_currentTime.day,
                                     m_currentTime.month, m_currentTime.hour, m_currentTime.minute,
                                     m_currentTime.second);
    m_prefixLength = std::min(static_cast<std::size_t>(length), sizeof m_prefix - 1);
    m_stampTime = clock.localTime();
  } else if (m_prefixLength > kStampLength) {
    m_prefixLength = kStampLength;
  }
  // Lower-case hexadecimal without leading zeros, cut to the seven leading digits
  // the buffer holds (Linux thread ids stay below 2^22, so they always fit).
  std::uint64_t id = clock.currentThreadId();
  char digits[16];
  std::size_t count = 0;
  do {
    digits[count++] = "0123456789abcdef"[id & 0xf];
    id >>= 4;
  } while (id != 0);
  const std::size_t kept = std::min(count, sizeof m_threadId - 1);
  for (std::size_t i = 0; i < kept; ++i) m_threadId[i] = digits[count - 1 - i];
  m_threadId[kept] = '\0';
  appendToPrefix(m_threadId, kept);
  const char* levelBanner = banner(level);
  appendToPrefix(levelBanner, *levelBanner != '\0' ? kBannerLength : 0);
  std::memcpy(m_line, m_prefix, m_prefixLength);
  return m_prefixLength;
}

void LogWriter::appendToPrefix(const char* text, std::size_t length) {
  const std::size_t room = sizeof m_prefix - 1 - m_prefixLength;
  if (length > room) length = room;
  std::memcpy(m_prefix + m_prefixLength, text, length);
  m_prefixLength += length;
  m_prefix[m_prefixLength] = '\0';
}

void LogWriter::emit(std::size_t prefixLength, std::size_t length) {
  // A failed reopen after a rotation leaves no stream; the line is lost rather
  // than written through a null stream.
  if (m_stream == nullptr) return;
  const std::size_t total = prefixLength + length;
  std::size_t heldBefore = __fpending(m_stream);
  // Less than the last write left: the buffer went out meanwhile, without the lock
  // (a flush of every stream by the program).
  if (heldBefore < m_heldAfterLastWrite) noteWrittenOutsideTheLock();
  // A buffer that cannot take the whole line goes to the file first: the stream
  // would otherwise let out the part that fits, and another process's line could
  // land in the middle of this one.
  if (heldBefore > 0 && heldBefore + total > sizeof g_streamBuffer) {
    flushStream();
    heldBefore = __fpending(m_stream);
  }
  std::fwrite(m_line, 1, total, m_stream);
  if (m_exiting) std::fflush(m_stream);
  // What the stream does not hold now went to the file.
  const std::size_t heldAfter = __fpending(m_stream);
  if (heldAfter != heldBefore + total) noteWrittenToFile(heldBefore + total - heldAfter);
  m_heldAfterLastWrite = heldAfter;
}

namespace logstartup {

HoldBack::HoldBack() { ++t_holdDepth; }

HoldBack::~HoldBack() { --t_holdDepth; }

void flushHeldBack() { LogWriter::flushHeldBack(); }

}  // namespace logstartup
}  // namespace utils

extern "C" {

unsigned int logMsg(int level, const char* format, ...) {
  std::va_list args;
  va_start(args, format);
  unsigned int result = utils::LogWriter::write(level, format, args);
  va_end(args);
  return result;
}

unsigned char getLogLevel() { return utils::LogWriter::configuredLevel(); }

}
