// Packing files into a zip archive, named the way the server names its report
// bundles. The tool streams each file through a fixed buffer instead of using the
// library's Compression, which holds a whole file in memory and opens whatever path
// it is given (a named pipe would block it for ever).
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <set>

#include "Command.h"
#include "FileProbe.h"
#include "ZipArchive.h"
#include "ZipProgress.h"

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
    "Two FILEs that would be stored under one name are refused. Files are read in a\n"
    "fixed amount of memory, whatever their size; work over a second shows a progress\n"
    "line on standard error when that is a terminal. What is not a regular file (a\n"
    "directory, a named pipe, a device) is skipped with a warning. A FILE that cannot\n"
    "be read is left out and named on standard error with the reason; the others are\n"
    "still packed.\n\n"
    "Exit status: 0 every regular file packed; 1 some files could not be read, two\n"
    "share a name, nothing could be packed, or the archive could not be written (it\n"
    "is then left as it was);\n"
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
    if (leading && part == "..") continue;  // lexically normal: no "." is left
    leading = false;
    inside /= part;
  }
  // A regular file's path ends in its own name, which stays.
  return inside.string();
}

std::string archivePathFor(const std::string& given) {
  const std::string extension = ".zip";
  if (given.size() > extension.size() &&
      given.compare(given.size() - extension.size(), extension.size(), extension) == 0) {
    return given;
  }
  return given + extension;
}

struct ZipTally {
  std::size_t given = 0, packed = 0, skipped = 0, unreadable = 0;
};

// One run of `zip`: the archive under construction and what went into it.
struct ZipRun {
  Invocation& call;
  std::string archivePath;
  ZipArchive archive;
  ZipProgress progress;
  ZipTally tally;
  std::set<std::string> names;

  ZipRun(Invocation& invocation, const std::string& path, std::size_t files)
      : call(invocation), archivePath(path), archive(path), progress(invocation.err, path, files) {
    tally.given = files;
  }
  void warn(const std::string& message) {
    progress.endLine();
    call.err << "norvanectl: " << message << "\n";
  }
};

// Opens FILE for packing, or names it on standard error and counts it; -1 then.
int openForPacking(ZipRun& run, const std::string& path, struct stat& info) {
  const std::string kind = kindOfSpecialFile(path);
  if (!kind.empty()) {
    run.warn("warning: skipping '" + path + "': " + kind + ", not a regular file");
    ++run.tally.skipped;
    return -1;
  }
  // Not blocking: a file swapped for a pipe since the look above must not hang us.
  const int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  if (fd < 0 || ::fstat(fd, &info) != 0) {
    run.warn("cannot read '" + path + "': " + reason(errno));
    if (fd >= 0) ::close(fd);
    ++run.tally.unreadable;
    return -1;
  }
  if (!S_ISREG(info.st_mode)) {
    run.warn("warning: skipping '" + path + "': not a regular file");
    ::close(fd);
    ++run.tally.skipped;
    return -1;
  }
  ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) & ~O_NONBLOCK);
  return fd;
}

// Packs one FILE. "" while the archive can still be finished, else the whole message.
std::string packFile(ZipRun& run, const std::string& path) {
  struct stat info;
  const int fd = openForPacking(run, path, info);
  if (fd < 0) return "";
  const std::string notWritten = "; '" + run.archivePath + "' not written";
  // Unpacking two entries of one name keeps only the last; refuse rather than lose one.
  const std::string name = entryNameFor(path);
  if (!run.names.insert(name).second) {
    ::close(fd);
    return "'" + path + "' would be stored as '" + name + "', the name of an earlier FILE" + notWritten;
  }
  bool inputFailed = false;
  const std::string addFailure = run.archive.add(fd, name, info.st_mtime, info.st_mode, info.st_size, inputFailed,
                                                 [&run](std::size_t bytes) { run.progress.read(bytes); });
  ::close(fd);
  if (addFailure.empty()) {
    ++run.tally.packed;
    run.progress.fileDone();
    return "";
  }
  // An entry cut short cannot be taken back out of the archive; give up on it.
  if (inputFailed) return "cannot read '" + path + "': " + addFailure + notWritten;
  return "cannot write archive '" + run.archivePath + "': " + addFailure;
}

void reportTally(std::ostream& out, const std::string& archivePath, const ZipTally& tally) {
  if (tally.packed == tally.given) {
    out << archivePath << ": " << tally.packed << (tally.packed == 1 ? " file" : " files") << " packed\n";
    return;
  }
  out << archivePath << ": " << tally.packed << " of " << tally.given << " files packed";
  if (tally.skipped != 0) out << ", " << tally.skipped << " skipped";
  out << "\n";
}

int runZip(Invocation& call) {
  const Command& self = *findCommand("zip");
  if (call.args.empty()) return usageError(call, self, "zip needs an ARCHIVE and at least one FILE");
  if (call.args.size() < 2) return usageError(call, self, "zip needs at least one FILE");
  if (call.args[0].empty()) return usageError(call, self, "ARCHIVE must not be empty");
  ZipRun run(call, archivePathFor(call.args[0]), call.args.size() - 1);
  const std::string openFailure = run.archive.open();
  if (!openFailure.empty()) return failure(call, "cannot write archive '" + run.archivePath + "': " + openFailure);
  for (std::size_t i = 1; i < call.args.size(); ++i) {
    const std::string stop = packFile(run, call.args[i]);
    if (!stop.empty()) {
      run.progress.endLine();
      return failure(call, stop);
    }
  }
  run.progress.endLine();
  if (run.tally.packed == 0) return failure(call, "nothing to pack; '" + run.archivePath + "' not written");
  const std::string commitFailure = run.archive.commit();
  if (!commitFailure.empty()) return failure(call, "cannot write archive '" + run.archivePath + "': " + commitFailure);
  reportTally(call.out, run.archivePath, run.tally);
  return run.tally.unreadable == 0 ? kOk : kFailed;
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
