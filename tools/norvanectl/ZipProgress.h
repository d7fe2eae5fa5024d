// A progress line for zip work that takes longer than a second, shown on standard
// error only when that is a terminal: "ARCHIVE: N of M files, X MiB read", rewritten
// in place. Scripts and logs that capture standard error see nothing of it.
#pragma once

#include <chrono>
#include <cstdint>
#include <ostream>
#include <string>

namespace norvanectl {

class ZipProgress {
 public:
  ZipProgress(std::ostream& err, std::string archive, std::size_t files);

  void read(std::size_t bytes);
  void fileDone();
  // Ends a shown line, so that a message or the summary starts on a line of its own.
  void endLine();

 private:
  void show();

  std::ostream& m_err;
  std::string m_archive;
  std::size_t m_files;
  std::size_t m_done = 0;
  std::uint64_t m_bytes = 0;
  bool m_terminal;
  bool m_lineOpen = false;
  std::chrono::steady_clock::time_point m_start;
  std::chrono::steady_clock::time_point m_shown;
};

}  // namespace norvanectl
