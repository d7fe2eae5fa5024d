// Packing files into a zip archive, named the way the server names its report
// bundles. The tool streams each file through a fixed buffer instead of using the
// library's Compression, which holds a whole file in memory and opens whatever path
// it is given (a named pipe would block it for ever).
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "Command.h"
#include "FileProbe.h"
#include "ZipArchive.h"

namespace norvanectl {
namespace {

const char kZipDetails[] =
    "Writes every FILE, in the order given, into a new archive ARCHIVE (an existing\n"
    "archive of that name is replaced only once the new one is complete). Entries are\n"
    "deflated at zlib's default level and keep their modification time and mode.\n"
    "ARCHIVE gets \".zip\" appended unless it already ends with it.\n\n"
    "An entry is named by the part of its path behind the first \"/report/\"; a path\n"
    "without one is stored as given, less any leading \"/\", \"./\" or \"../\" (as zip\n"
    "does), so that unpacking never writes outside the target directory.\n\n"
    "Files are read in a fixed amount of memory, whatever their size. What is not a\n"
    "regular file (a directory, a named pipe, a device) is skipped with a warning. A\n"
    "FILE that cannot be read is left out and named on standard error with the reason;\n"
    "the others are still packed.\n\n"
    "Exit status: 0 every regular file packed; 1 some files could not be read, nothing\n"
    "could be packed, or the archive could not be written (it is then left as it was);\n"
    "2 wrong usage.\n";

// The entry name: the report bundle's rule first, then no way out of the directory
// the archive is unpacked in.
std::string entryNameFor(const std::string& path) {
  static const std::string marker = "/report/";
  std::string name = path;
  const std::string::size_type at = name.find(marker);
  if (at != std::string::npos) name.erase(0, at + marker.size());
  std::filesystem::path normal = std::filesystem::path(name).lexically_normal().relative_path();
  std::filesystem::path inside;
  bool leading = true;
  for (const std::filesystem::path& part : normal) {
    if (leading && (part == ".." || part == ".")) continue;
    leading = false;
    inside /= part;
  }
  const std::string result = inside.string();
  return result.empty() ? std::filesystem::path(path).filename().string() : result;
}

int runZip(Invocation& call) {
  const Command& self = *findCommand("zip");
  if (call.args.empty()) return usageError(call, self, "zip needs an ARCHIVE and at least one FILE");
  if (call.args.size() < 2) return usageError(call, self, "zip needs at least one FILE");
  std::string archivePath = call.args[0];
  if (archivePath.empty()) return usageError(call, self, "ARCHIVE must not be empty");
  const std::string extension = ".zip";
  if (archivePath.size() <= extension.size() ||
      archivePath.compare(archivePath.size() - extension.size(), extension.size(), extension) != 0) {
    archivePath += extension;
  }

  ZipArchive archive(archivePath);
  const std::string openFailure = archive.open();
  if (!openFailure.empty()) return failure(call, "cannot write archive '" + archivePath + "': " + openFailure);

  const std::size_t given = call.args.size() - 1;
  std::size_t packed = 0, skipped = 0, unreadable = 0;
  for (std::size_t i = 1; i < call.args.size(); ++i) {
    const std::string& path = call.args[i];
    const std::string kind = kindOfSpecialFile(path);
    if (!kind.empty()) {
      call.err << "norvanectl: warning: skipping '" << path << "': " << kind << ", not a regular file\n";
      ++skipped;
      continue;
    }
    // Not blocking: a file swapped for a pipe since the look above must not hang us.
    const int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    struct stat info;
    if (fd < 0 || ::fstat(fd, &info) != 0) {
      call.err << "norvanectl: cannot read '" << path << "': " << reason(errno) << "\n";
      if (fd >= 0) ::close(fd);
      ++unreadable;
      continue;
    }
    if (!S_ISREG(info.st_mode)) {
      call.err << "norvanectl: warning: skipping '" << path << "': not a regular file\n";
      ::close(fd);
      ++skipped;
      continue;
    }
    ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) & ~O_NONBLOCK);
    bool inputFailed = false;
    const std::string addFailure =
        archive.add(fd, entryNameFor(path), info.st_mtime, info.st_mode, info.st_size, inputFailed);
    ::close(fd);
    if (!addFailure.empty()) {
      // An entry cut short cannot be taken back out of the archive; give up on it.
      if (inputFailed) {
        return failure(call, "cannot read '" + path + "': " + addFailure + "; '" + archivePath + "' not written");
      }
      return failure(call, "cannot write archive '" + archivePath + "': " + addFailure);
    }
    ++packed;
  }

  if (packed == 0) return failure(call, "nothing to pack; '" + archivePath + "' not written");
  const std::string commitFailure = archive.commit();
  if (!commitFailure.empty()) return failure(call, "cannot write archive '" + archivePath + "': " + commitFailure);
  if (packed == given) {
    call.out << archivePath << ": " << packed << (packed == 1 ? " file" : " files") << " packed\n";
  } else {
    call.out << archivePath << ": " << packed << " of " << given << " files packed";
    if (skipped != 0) call.out << ", " << skipped << " skipped";
    call.out << "\n";
  }
  return unreadable == 0 ? kOk : kFailed;
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
