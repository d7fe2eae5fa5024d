#include "ZipProgress.h"

#include <unistd.h>

namespace norvanectl {
namespace {

using Clock = std::chrono::steady_clock;
constexpr auto kQuietStart = std::chrono::seconds(1);
constexpr auto kRefresh = std::chrono::milliseconds(250);

}  // namespace

ZipProgress::ZipProgress(std::ostream& err, std::string archive, std::size_t files)
    : m_err(err), m_archive(std::move(archive)), m_files(files), m_terminal(::isatty(STDERR_FILENO) == 1),
      m_start(Clock::now()), m_shown(m_start) {}

void ZipProgress::read(std::size_t bytes) {
  m_bytes += bytes;
  show();
}

void ZipProgress::fileDone() {
  ++m_done;
  show();
}

void ZipProgress::endLine() {
  if (!m_lineOpen) return;
  m_err << "\n" << std::flush;
  m_lineOpen = false;
}

void ZipProgress::show() {
  if (!m_terminal) return;
  const Clock::time_point now = Clock::now();
  if (now - m_start < kQuietStart || (m_lineOpen && now - m_shown < kRefresh)) return;
  // The counts only grow, so each rewrite covers the one before.
  m_err << "\r" << m_archive << ": " << m_done << " of " << m_files << " files, " << (m_bytes >> 20) << " MiB read"
        << std::flush;
  m_lineOpen = true;
  m_shown = now;
}

}  // namespace norvanectl
