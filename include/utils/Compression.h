// Packs a list of files into one zip archive (deflate, zlib's default level) in a
// single call. Made for report bundles: an entry is named by the part of its path
// behind the first "/report/", or by the whole path when there is none.
#pragma once

#include <NorvaneExport.h>

#include <string>
#include <vector>

namespace utils {

class NORVANE_API Compression {
 public:
  // An empty archive path: writeToZipFile then fails with 1.
  Compression();
  // The archive is name followed by ".zip".
  Compression(std::string& name);
  Compression(const Compression&) = default;
  Compression& operator=(const Compression&) = default;
  ~Compression();

  // Appends path to the list; the same path twice gives two entries.
  void insertFileToZip(std::string& path);
  // Kept for callers that open before writing; the archive is opened by
  // writeToZipFile, so this does nothing.
  void openZipFile();

  // Writes every listed file, in order, into a new archive (an existing one is
  // replaced). 0: all written; 1: the archive could not be opened or closed;
  // 2: the archive is complete but at least one file is missing or incomplete.
  // The list is kept, so a second call writes it all again.
  int writeToZipFile();

 private:
  std::string m_zip_name;
  std::vector<std::string> m_files;
};

}  // namespace utils
