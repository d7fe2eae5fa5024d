#include <utils/Compression.h>

#include <minizip/zip.h>

#include <utils/Log.h>

#include "utils/ZipPacking.h"

namespace utils {

Compression::Compression() { log_everything("utils::Compression::Compression"); }

Compression::Compression(std::string& name) : m_zip_name(name + ".zip") {
  log_everything("utils::Compression::Compression");
}

Compression::~Compression() { log_everything("utils::Compression::~Compression"); }

void Compression::insertFileToZip(std::string& path) {
  log_everything("utils::Compression::insertFileToZip");
  m_files.push_back(path);
}

void Compression::openZipFile() {}

int Compression::writeToZipFile() {
  log_function_entry("utils::Compression::writeToZipFile");
  zipFile archive = zipOpen(m_zip_name.c_str(), APPEND_STATUS_CREATE);
  if (archive == nullptr) return 1;

  const bool allWritten = packFiles(archive, m_files, zipWorkers());

  if (zipClose(archive, nullptr) != ZIP_OK) return 1;
  return allWritten ? 0 : 2;
}

}  // namespace utils
