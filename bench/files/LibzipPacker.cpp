#include "LibzipPacker.h"

#include <zip.h>

bool packWithLibzip(const std::string& archive, const std::vector<std::string>& paths,
                    const std::vector<std::string>& entryNames) {
  int error = 0;
  zip_t* out = zip_open(archive.c_str(), ZIP_CREATE | ZIP_TRUNCATE, &error);
  if (out == nullptr) return false;
  for (std::size_t i = 0; i < paths.size(); ++i) {
    zip_source_t* source = zip_source_file(out, paths[i].c_str(), 0, -1);
    if (source == nullptr) {
      zip_discard(out);
      return false;
    }
    const zip_int64_t index = zip_file_add(out, entryNames[i].c_str(), source, ZIP_FL_OVERWRITE);
    if (index < 0) {
      zip_source_free(source);
      zip_discard(out);
      return false;
    }
    zip_set_file_compression(out, static_cast<zip_uint64_t>(index), ZIP_CM_DEFLATE, 0);
  }
  return zip_close(out) == 0;
}
