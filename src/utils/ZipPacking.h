// Packs the files of a Compression into an open archive. Each entry's deflate
// stream is independent of the others, so entries can be deflated on several
// threads at once and still be written in list order, byte for byte as minizip
// writes them itself.
#pragma once

#include <string>
#include <vector>

namespace utils {

// Writes every path into the open minizip archive, in order, with the log lines
// and failure rules of Compression::writeToZipFile; true when every file went in
// whole. With `workers` of 0 minizip deflates each entry on the calling thread;
// otherwise entries are deflated on threads of their own while the calling thread
// reads the next files and writes finished entries, with at most workers + 1 files
// held in memory.
bool packFiles(void* archive, const std::vector<std::string>& paths, unsigned int workers);

// The workers writeToZipFile uses: one per core, none on a single core.
unsigned int zipWorkers();

}  // namespace utils
