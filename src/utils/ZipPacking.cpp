#include "utils/ZipPacking.h"

#include <minizip/zip.h>
#include <zlib.h>

#include <chrono>
#include <cstdint>
#include <cstring>
#include <deque>
#include <fstream>
#include <future>
#include <memory>
#include <thread>
#include <utility>

#include <utils/Conversion.h>
#include <utils/FileHelper.h>
#include <utils/Log.h>

namespace utils {
namespace {

const std::string REPORT_MARKER = "/report/";

// The modification time goes through the year-2000 clock, which reads it 30 years
// late; the year offset of 110 instead of 80 takes that back. Each half is summed
// field by field, so a day that overflows carries into the month as it always has.
uLong packDosDate(std::uint32_t modified) {
  const std::tm* shifted = Conversion::rtcToTimePtr(modified);
  unsigned int year = static_cast<unsigned int>(shifted->tm_year);
  if (year >= 110u) year -= 110u;
  uLong date = static_cast<uLong>(shifted->tm_mday + 1) + static_cast<uLong>(shifted->tm_mon + 1) * 32 +
               static_cast<uLong>(year) * 512;
  uLong time = static_cast<uLong>(shifted->tm_sec / 2) + static_cast<uLong>(shifted->tm_min) * 32 +
               static_cast<uLong>(shifted->tm_hour) * 2048;
  return (date * 65536) | time;
}

std::string entryNameOf(const std::string& path) {
  std::string name = path;
  std::string::size_type marker = name.find(REPORT_MARKER);
  if (marker != std::string::npos) name.erase(0, marker + REPORT_MARKER.size());
  return name;
}

// One file read whole, with what its entry needs.
struct ReadFile {
  std::string entryName;
  zip_fileinfo info;
  std::unique_ptr<char[]> data;
  std::int32_t size = 0;
};

// Opens, logs and reads one file, as each step of the list does; false when the
// file counts as failed (and has no entry).
bool readFile(const std::string& path, ReadFile& file) {
  std::ifstream input(path, std::ios::in | std::ios::binary);
  log_debug("Compress:write2Zip - Zipping : %1%") % path;
  if (!input.is_open()) {
    log_debug("Compress:write2Zip - Error: Failed while file open : %1%") % path;
    return false;
  }
  input.seekg(0, std::ios::end);
  file.size = static_cast<std::int32_t>(input.tellg());
  input.seekg(0, std::ios::beg);
  // A size that does not fit (2 GiB and more) or cannot be measured comes out
  // negative; such a file is counted as failed instead of being half packed.
  if (file.size < 0) return false;
  // Not zeroed: the read fills it, and a failed read discards it.
  file.data.reset(new char[file.size > 0 ? file.size : 1]);
  if (file.size != 0 && !input.read(file.data.get(), file.size)) return false;

  std::memset(&file.info, 0, sizeof file.info);
  std::int64_t modified = 0;
  std::string timedPath(path);  // the helper takes a non-const path
  FileHelper::getLastModifiedTime(timedPath, modified);
  file.info.dosDate = packDosDate(static_cast<std::uint32_t>(modified));
  file.entryName = entryNameOf(path);
  return true;
}

// An entry deflated apart from the archive: the stream minizip would make of the
// same bytes (raw deflate, default level, 15-bit window, memory level 8).
struct Deflated {
  bool ok = false;
  std::unique_ptr<unsigned char[]> bytes;
  uLong size = 0;
  uLong crc = 0;
  int dataType = Z_BINARY;  // zlib's guess, text or binary
};

Deflated deflateWhole(const char* data, std::int32_t size) {
  Deflated result;
  result.crc = crc32(0L, reinterpret_cast<const Bytef*>(data), static_cast<uInt>(size));
  z_stream stream;
  std::memset(&stream, 0, sizeof stream);
  if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY) != Z_OK)
    return result;
  const uLong bound = deflateBound(&stream, static_cast<uLong>(size));
  result.bytes.reset(new unsigned char[bound]);
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data));
  stream.avail_in = static_cast<uInt>(size);
  stream.next_out = result.bytes.get();
  stream.avail_out = static_cast<uInt>(bound);
  result.ok = deflate(&stream, Z_FINISH) == Z_STREAM_END;
  result.size = stream.total_out;
  result.dataType = stream.data_type;
  deflateEnd(&stream);
  return result;
}

// Writes a read file through minizip's own deflate; false when any step fails.
bool writeEntry(zipFile archive, const ReadFile& file) {
  if (zipOpenNewFileInZip(archive, file.entryName.c_str(), &file.info, nullptr, 0, nullptr, 0, nullptr, Z_DEFLATED,
                          Z_DEFAULT_COMPRESSION) != ZIP_OK)
    return false;
  const char* data = file.size != 0 ? file.data.get() : "";
  bool written = zipWriteInFileInZip(archive, data, static_cast<unsigned int>(file.size)) == ZIP_OK;
  if (zipCloseFileInZip(archive) != ZIP_OK) written = false;
  return written;
}

// Writes an entry deflated apart: the same local header (method 8, default level)
// followed by the stream, and the sizes and checksum given at the close. minizip
// marks an entry as text in the central directory when zlib took its data for
// text; for an entry it did not deflate itself, that mark comes with the info.
bool writeDeflated(zipFile archive, const ReadFile& file, const Deflated& deflated) {
  zip_fileinfo info = file.info;
  if (deflated.dataType == Z_TEXT) info.internal_fa = Z_TEXT;
  if (zipOpenNewFileInZip2(archive, file.entryName.c_str(), &info, nullptr, 0, nullptr, 0, nullptr, Z_DEFLATED,
                           Z_DEFAULT_COMPRESSION, 1) != ZIP_OK)
    return false;
  bool written = deflated.ok && zipWriteInFileInZip(archive, deflated.bytes.get(),
                                                    static_cast<unsigned int>(deflated.size)) == ZIP_OK;
  if (zipCloseFileInZipRaw(archive, static_cast<uLong>(file.size), deflated.crc) != ZIP_OK) written = false;
  return written;
}

struct InFlight {
  std::shared_ptr<ReadFile> file;
  std::future<Deflated> deflated;
};

}  // namespace

unsigned int zipWorkers() {
  const unsigned int cores = std::thread::hardware_concurrency();
  return cores > 1 ? cores : 0;
}

bool packFiles(void* handle, const std::vector<std::string>& paths, unsigned int workers) {
  zipFile archive = static_cast<zipFile>(handle);
  bool allWritten = true;
  if (workers == 0) {
    for (const std::string& path : paths) {
      ReadFile file;
      if (!readFile(path, file) || !writeEntry(archive, file)) allWritten = false;
    }
    return allWritten;
  }

  std::deque<InFlight> inFlight;
  auto writeOldest = [&] {
    InFlight oldest = std::move(inFlight.front());
    inFlight.pop_front();
    if (!writeDeflated(archive, *oldest.file, oldest.deflated.get())) allWritten = false;
  };
  try {
    for (const std::string& path : paths) {
      auto file = std::make_shared<ReadFile>();
      if (!readFile(path, *file)) {
        allWritten = false;
        continue;
      }
      // A thread per entry: starting one costs microseconds, deflating an entry
      // far more, and nothing outlives the call.
      std::future<Deflated> deflated =
          std::async(std::launch::async, [file] { return deflateWhole(file->data.get(), file->size); });
      inFlight.push_back({std::move(file), std::move(deflated)});
      // The oldest entries go out as soon as enough are in flight; the entries
      // behind them keep the workers busy meanwhile.
      while (inFlight.size() > workers) writeOldest();
      while (!inFlight.empty() && inFlight.front().deflated.wait_for(std::chrono::seconds(0)) ==
                                      std::future_status::ready)
        writeOldest();
    }
    while (!inFlight.empty()) writeOldest();
  } catch (...) {
    // What was read before the failure still goes into the (unclosed) archive.
    while (!inFlight.empty()) writeOldest();
    throw;
  }
  return allWritten;
}

}  // namespace utils
