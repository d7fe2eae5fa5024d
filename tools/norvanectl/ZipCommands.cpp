// Packing files into a zip archive, the way the server packs its report bundles.
#include <utils/Compression.h>

#include <filesystem>
#include <fstream>
#include <system_error>

#include "Command.h"

namespace norvanectl {
namespace {

const char kZipDetails[] =
    "Writes every FILE, in the order given, into a new archive ARCHIVE (an existing\n"
    "archive of that name is replaced). Entries are deflated at zlib's default level.\n"
    "An entry is named by the part of its path behind the first \"/report/\"; a path\n"
    "without one is stored as given. ARCHIVE gets \".zip\" appended unless it already\n"
    "ends with it.\n\n"
    "A FILE that cannot be read is left out and named on standard error; the others\n"
    "are still packed and the archive is complete.\n\n"
    "Exit status: 0 every file packed; 1 the archive could not be written, or some\n"
    "files were left out; 2 wrong usage.\n";

// What the library's packer can read: a file that opens and is not a directory.
bool readable(const std::string& path) {
  std::error_code error;
  if (std::filesystem::is_directory(path, error)) return false;
  std::ifstream probe(path, std::ios::in | std::ios::binary);
  return probe.is_open();
}

int runZip(Invocation& call) {
  const Command& self = *findCommand("zip");
  if (call.args.empty()) return usageError(call, self, "zip needs an ARCHIVE and at least one FILE");
  if (call.args.size() < 2) return usageError(call, self, "zip needs at least one FILE");
  std::string archive = call.args[0];
  if (archive.empty()) return usageError(call, self, "ARCHIVE must not be empty");

  // The library appends ".zip" itself; an operator who typed it gets no "x.zip.zip".
  const std::string extension = ".zip";
  std::string name = archive;
  if (name.size() > extension.size() &&
      name.compare(name.size() - extension.size(), extension.size(), extension) == 0) {
    name.erase(name.size() - extension.size());
  } else {
    archive += extension;
  }

  utils::Compression packer(name);
  std::vector<std::string> unreadable;
  for (std::size_t i = 1; i < call.args.size(); ++i) {
    std::string path = call.args[i];
    if (!readable(path)) unreadable.push_back(path);
    packer.insertFileToZip(path);
  }

  const int result = packer.writeToZipFile();
  if (result == 1) return failure(call, "cannot write archive '" + archive + "'");
  const std::size_t packed = call.args.size() - 1 - (result == 2 ? unreadable.size() : 0);
  if (result == 2) {
    for (const std::string& path : unreadable) call.err << "norvanectl: cannot read '" << path << "'\n";
    if (unreadable.empty()) call.err << "norvanectl: a file changed or failed while it was packed\n";
    call.out << archive << ": " << packed << " of " << call.args.size() - 1 << " files packed\n";
    return kFailed;
  }
  call.out << archive << ": " << packed << (packed == 1 ? " file" : " files") << " packed\n";
  return kOk;
}

}  // namespace
}  // namespace norvanectl

NORVANECTL_COMMANDS(zip) {
  using norvanectl::Command;
  return {
      Command{"zip", "archives", "pack files into a zip archive", "zip ARCHIVE FILE...",
              norvanectl::kZipDetails, norvanectl::runZip},
  };
}
