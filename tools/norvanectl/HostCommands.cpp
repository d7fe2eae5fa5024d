// The machine itself: its facts, its plug-in libraries and its system log.
#include <dlfcn.h>

#include <utils/CacheHelper.h>
#include <utils/Log.h>
#include <utils/System.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <iomanip>
#include <sstream>

#include "Command.h"

namespace norvanectl {
namespace {

// Room for every address of the host name: more than a DNS answer can carry.
constexpr int kAddressSlots = 8192;

std::string inQuotes(const std::string& text) { return "'" + text + "'"; }

// One line of `host`: the call, its result when it has one, and what it gave.
void fact(std::ostream& out, const std::string& call, const std::string& result, const std::string& value) {
  out << std::left << std::setw(28) << call << std::setw(10) << result << value << "\n";
}

std::string resultOf(int result) { return "result " + std::to_string(result); }

std::string addressList(const std::vector<std::string>& addresses, int count) {
  std::string text = std::to_string(count) + ":";
  for (int i = 0; i < count; ++i) text += " " + addresses[static_cast<std::size_t>(i)];
  return text;
}

int runHost(Invocation& call) {
  const Command& self = *findCommand("host");
  if (!call.args.empty()) return usageError(call, self, "host takes no arguments");
  utils::System& system = *utils::System::get_instance();
  std::string text;
  int result = system.getOsName(text);
  fact(call.out, "getOsName", resultOf(result), inQuotes(text));
  text.clear();
  result = system.getOsFullName(text);
  fact(call.out, "getOsFullName", resultOf(result), inQuotes(text));
  text.clear();
  result = system.getOsArch(text);
  fact(call.out, "getOsArch", resultOf(result), inQuotes(text));
  text.clear();
  result = system.getHostName(text);
  fact(call.out, "getHostName", resultOf(result), inQuotes(text));
  text.clear();
  result = system.getLocaleName(text);
  fact(call.out, "getLocaleName", resultOf(result), inQuotes(text));
  fact(call.out, "getCpuCoresCount", "", std::to_string(system.getCpuCoresCount()));
  fact(call.out, "getTotalPhysicalMemoryInMB", "", std::to_string(system.getTotalPhysicalMemoryInMB()) + " (GiB)");
  text.clear();
  result = system.getServerIp(text);
  fact(call.out, "getServerIp", resultOf(result), inQuotes(text));
  std::vector<std::string> ipv4(kAddressSlots), ipv6(kAddressSlots);
  int ipv4Count = 0, ipv6Count = 0;
  result = system.getServerIPSet(ipv4.data(), ipv6.data(), &ipv4Count, &ipv6Count);
  fact(call.out, "getServerIPSet", resultOf(result),
       "IPv4 " + addressList(ipv4, ipv4Count) + "; IPv6 " + addressList(ipv6, ipv6Count));
  fact(call.out, "getMACAddress", "", inQuotes(system.getMACAddress()));
  utils::formatted_log_t::uninitializeLogger();
  return kOk;
}

int runPlugin(Invocation& call) {
  const Command& self = *findCommand("plugin");
  if (call.args.size() != 1) return usageError(call, self, "plugin needs exactly one library PATH");
  std::string path = call.args[0];
  if (path.empty()) return usageError(call, self, "PATH must not be empty");
  utils::System& system = *utils::System::get_instance();
  void* library = system.getLibraryHandler(path);
  if (library == nullptr) {
    // The loader keeps the reason of its last failure for this thread.
    const char* reason = dlerror();
    utils::formatted_log_t::uninitializeLogger();
    return failure(call, "cannot load '" + path + "'" + (reason != nullptr ? std::string(": ") + reason : ""));
  }
  int status = kOk;
  if (system.getLibraryProcessAddress(library, "getHelperInstance") == nullptr) {
    status = failure(call, "'" + path + "' does not export getHelperInstance");
  } else if (const _COMMAND_HELPER_INFO* record = utils::CacheHelper::get_instance()->getCommandHelperInstance(library)) {
    std::ostringstream address;
    address << static_cast<const void*>(record);
    call.out << path << ": getHelperInstance returned a record at " << address.str() << "\n";
  } else {
    status = failure(call, "getHelperInstance of '" + path + "' failed (it threw or returned no record)");
  }
  if (system.unLoadLibrary(library) != 0) status = failure(call, "cannot unload '" + path + "' (see the log)");
  utils::formatted_log_t::uninitializeLogger();
  return status;
}

bool parseInt(const std::string& text, int& value) {
  if (text.empty()) return false;
  char* end = nullptr;
  errno = 0;
  const long parsed = std::strtol(text.c_str(), &end, 0);
  if (*end != '\0' || errno == ERANGE || parsed < INT_MIN || parsed > INT_MAX) return false;
  value = static_cast<int>(parsed);
  return true;
}

int runEvent(Invocation& call) {
  const Command& self = *findCommand("event");
  struct Option {
    const char* name;
    int value;
  } options[] = {{"--severity", 0}, {"--event-id", 0}, {"--category-mask", 65535}};
  std::vector<std::string> texts;
  for (std::size_t i = 0; i < call.args.size(); ++i) {
    const std::string& arg = call.args[i];
    Option* option = nullptr;
    for (Option& candidate : options) {
      if (arg == candidate.name) option = &candidate;
    }
    if (option == nullptr) {
      if (arg.size() > 1 && arg[0] == '-' && arg[1] == '-') return usageError(call, self, "unknown option '" + arg + "'");
      texts.push_back(arg);
      continue;
    }
    if (i + 1 >= call.args.size()) return usageError(call, self, arg + " needs a number");
    if (!parseInt(call.args[++i], option->value)) {
      return usageError(call, self, arg + " needs a number, not '" + call.args[i] + "'");
    }
  }
  if (texts.size() != 1) return usageError(call, self, "event needs exactly one TEXT");
  const bool written =
      utils::System::get_instance()->doSystemLog(texts[0], options[1].value, options[0].value, options[2].value);
  utils::formatted_log_t::uninitializeLogger();
  if (!written) return failure(call, "the system logger cannot be reached (no /dev/log)");
  call.out << "event handed to the system log (source Norvane_MONITOR)\n";
  return kOk;
}

}  // namespace
}  // namespace norvanectl

NORVANECTL_COMMANDS(host) {
  using norvanectl::Command;
  return {
      Command{"host", "host", "show the host's identity as the library reports it", "host",
              "Prints every host fact with the call of utils::System that produced it and, for\n"
              "the calls that have one, its result: system name and full name (a Linux host\n"
              "gives its distribution and kernel version), architecture, host name, system\n"
              "locale, logical processors, physical memory (whole GiB in spite of the call's\n"
              "name), the server address, the IPv4 and IPv6 sets of the host name (filtered\n"
              "by private_ip_range) and the MAC address the secret store derives its key from.\n"
              "Texts are quoted so that trailing blanks show.\n",
              norvanectl::runHost},
      Command{"plugin", "host", "check that a plug-in library loads and answers getHelperInstance",
              "plugin PATH",
              "Loads the library PATH (a name without '/' is searched for like any shared\n"
              "library), calls its getHelperInstance entry point the way the server does and\n"
              "unloads it again.\n\n"
              "Exit status: 0 the plug-in returned its record; 1 it cannot be loaded, lacks\n"
              "the entry point, or the entry point threw or returned nothing; 2 wrong usage.\n",
              norvanectl::runPlugin},
      Command{"event", "host", "write a record to the system log",
              "event TEXT [--severity N] [--event-id N] [--category-mask N]",
              "Writes TEXT to the system log (syslog, facility user) under the source\n"
              "Norvane_MONITOR, as \"TEXT [event N, category C]\".\n\n"
              "  --severity N       0 information (default), 2 to 4 error, any other warning\n"
              "  --event-id N       the record's identifier (default 0)\n"
              "  --category-mask N  a mask of event classes that gives the category\n"
              "                     (default 65535, category 9)\n\n"
              "Exit status: 0 handed to the logger; 1 no system logger listens on /dev/log;\n"
              "2 wrong usage.\n",
              norvanectl::runEvent},
  };
}
