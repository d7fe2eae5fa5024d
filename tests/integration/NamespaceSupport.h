// Root-only scenery of the integration tests: network namespaces made with ip(8)
// and removed whatever happens, and child processes in a private mount namespace
// where they may hide /dev or /etc files from nobody but themselves.
#pragma once

#include "support/TestPrelude.h"
#include <sched.h>
#include <sys/mount.h>
#include <sys/sysmacros.h>

namespace nstest {

// Exit code of a child that could not build its namespaces: the test is skipped.
constexpr int kNoNamespaces = 77;

#define NSTEST_REQUIRE_ROOT() \
  if (geteuid() != 0) GTEST_SKIP() << "needs root: builds network and mount namespaces of its own"

// A network namespace "nv9-<pid>-<tag>" with its loopback interface up, deleted by
// the destructor.
class NetworkNamespace {
 public:
  explicit NetworkNamespace(const std::string& tag) : m_name("nv9-" + std::to_string(getpid()) + "-" + tag) {
    m_added = std::system(("ip netns add " + m_name + " 2>/dev/null").c_str()) == 0;
    m_created = m_added && ip("link set lo up");
  }
  ~NetworkNamespace() {
    if (m_added) std::system(("ip netns del " + m_name).c_str());
  }
  NetworkNamespace(const NetworkNamespace&) = delete;
  NetworkNamespace& operator=(const NetworkNamespace&) = delete;

  bool created() const { return m_created; }
  std::string path() const { return "/run/netns/" + m_name; }
  bool ip(const std::string& arguments) const { return std::system(("ip -n " + m_name + " " + arguments).c_str()) == 0; }

 private:
  std::string m_name;
  bool m_added = false, m_created = false;
};

// In a child: a mount namespace of its own whose mounts propagate nowhere.
inline bool enterPrivateMounts() {
  return unshare(CLONE_NEWNS) == 0 && mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

// In a child with private mounts: an empty /dev holding only null, so that
// /dev/log is whatever the child binds there.
inline bool useEmptyDev() {
  return mount("tmpfs", "/dev", "tmpfs", MS_NOSUID, "size=64k,mode=755") == 0 &&
         mknod("/dev/null", S_IFCHR | 0666, makedev(1, 3)) == 0;
}

}  // namespace nstest
