#include <errno.h>
#include <sys/random.h>

#include "platform/posix/PosixFacilities.h"

namespace platform::posix {
namespace {

class PosixRandom final : public Random {
 public:
  bool fill(void* buffer, std::size_t size) override {
    auto* bytes = static_cast<unsigned char*>(buffer);
    while (size > 0) {
      // The kernel's pool blocks only until it is first seeded, at boot.
      const ssize_t got = getrandom(bytes, size, 0);
      if (got < 0) {
        if (errno == EINTR) continue;
        return false;
      }
      bytes += got;
      size -= static_cast<std::size_t>(got);
    }
    return true;
  }
};

}  // namespace

std::unique_ptr<Random> makeRandom() { return std::make_unique<PosixRandom>(); }

}  // namespace platform::posix
