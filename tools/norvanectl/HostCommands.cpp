// The machine itself: its facts, its plug-in libraries and its system log.
#include <dlfcn.h>

#include <utils/CacheHelper.h>
#include <utils/Log.h>
#include <utils/System.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iomanip>
#include <sstream>

#include "Command.h"

namespace norvanectl {
namespace {

// Room for every address of the host name: more than a DNS answer can carry.
constexpr int kAddressSlots = 8192;

std::string inQuotes(const std::string& text) { return "'" + text + "'"; }

// One fact of `host`: the call, its result when it has one, and what it gave, both
// as the text line shows it and as a JSON value.
struct HostFact {
  std::string call;
  bool hasResult;
  int result;
  std::string shown;
  std::string json;
};

HostFact textFact(const std::string& call, int (utils::System::*get)(std::string&) const) {
  std::string text;
  const int result = (utils::System::get_instance()->*get)(text);
  return {call, true, result, inQuotes(text), jsonString(text)};
}

std::string addressList(const std::vector<std::string>& addresses, int count, bool json) {
  std::string text = json ? "[" : std::to_string(count) + ":";
  for (int i = 0; i < count; ++i) {
    const std::string& address = addresses[static_cast<std::size_t>(i)];
    text += json ? (i == 0 ? "" : ", ") + jsonString(address) : " " + address;
  }
  return json ? text + "]" : text;
}

HostFact addressSetFact(utils::System& system) {
  std::vector<std::string> ipv4(kAddressSlots), ipv6(kAddressSlots);
  int ipv4Count = 0, ipv6Count = 0;
  const int result = system.getServerIPSet(ipv4.data(), ipv6.data(), &ipv4Count, &ipv6Count);
  return {"getServerIPSet", true, result,
          "IPv4 " + addressList(ipv4, ipv4Count, false) + "; IPv6 " + addressList(ipv6, ipv6Count, false),
          "{\"ipv4\": " + addressList(ipv4, ipv4Count, true) + ", \"ipv6\": " + addressList(ipv6, ipv6Count, true) + "}"};
}

std::vector<HostFact> hostFacts() {
  utils::System& system = *utils::System::get_instance();
  std::vector<HostFact> facts = {textFact("getOsName", &utils::System::getOsName),
                                 textFact("getOsFullName", &utils::System::getOsFullName),
                                 textFact("getOsArch", &utils::System::getOsArch),
                                 textFact("getHostName", &utils::System::getHostName),
                                 textFact("getLocaleName", &utils::System::getLocaleName)};
  const std::string cores = std::to_string(system.getCpuCoresCount());
  const std::string memory = std::to_string(system.getTotalPhysicalMemoryInMB());
  facts.push_back({"getCpuCoresCount", false, 0, cores, cores});
  facts.push_back({"getTotalPhysicalMemoryInMB", false, 0, memory + " (GiB)", memory});
  facts.push_back(textFact("getServerIp", &utils::System::getServerIp));
  facts.push_back(addressSetFact(system));
  const std::string mac = system.getMACAddress();
  facts.push_back({"getMACAddress", false, 0, inQuotes(mac), jsonString(mac)});
  return facts;
}

void printFacts(std::ostream& out, const std::vector<HostFact>& facts) {
  for (const HostFact& fact : facts) {
    const std::string result = fact.hasResult ? "result " + std::to_string(fact.result) : "";
    out << std::left << std::setw(28) << fact.call << std::setw(10) << result << fact.shown << "\n";
  }
}

// One member per call: {"result": N, "value": V} for the calls with a result, V for
// the others.
void printFactsAsJson(std::ostream& out, const std::vector<HostFact>& facts) {
  out << "{\n";
  for (std::size_t i = 0; i < facts.size(); ++i) {
    const HostFact& fact = facts[i];
    out << "  " << jsonString(fact.call) << ": ";
    if (fact.hasResult) {
      out << "{\"result\": " << fact.result << ", \"value\": " << fact.json << "}";
    } else {
      out << fact.json;
    }
    out << (i + 1 < facts.size() ? ",\n" : "\n");
  }
  out << "}\n";
}

int runHost(Invocation& call) {
  const Command& self = *findCommand("host");
  const bool json = call.args.size() == 1 && call.args[0] == "--json";
  if (!call.args.empty() && !json) return usageError(call, self, "host takes no arguments but --json");
  const std::vector<HostFact> facts = hostFacts();
  if (json) {
    printFactsAsJson(call.out, facts);
  } else {
    printFacts(call.out, facts);
  }
  utils::formatted_log_t::uninitializeLogger();
  return kOk;
}

// The entry point called the way the server's helper cache calls it, but here the
// operator sees what it threw.
const _COMMAND_HELPER_INFO* callEntryPoint(void* entry, std::string& outcome) {
  using EntryPoint = const _COMMAND_HELPER_INFO* (*)();
  try {
    const _COMMAND_HELPER_INFO* record = reinterpret_cast<EntryPoint>(entry)();
    if (record == nullptr) outcome = "returned no record";
    return record;
  } catch (const std::exception& error) {
    outcome = std::string("threw: ") + error.what();
  } catch (...) {
    outcome = "threw something that is no std::exception";
  }
  return nullptr;
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
  void* entry = system.getLibraryProcessAddress(library, "getHelperInstance");
  if (entry == nullptr) {
    status = failure(call, "'" + path + "' does not export getHelperInstance");
  } else {
    std::string outcome;
    const _COMMAND_HELPER_INFO* record = callEntryPoint(entry, outcome);
    if (record != nullptr) {
      std::ostringstream address;
      address << static_cast<const void*>(record);
      call.out << path << ": getHelperInstance returned a record at " << address.str() << "\n";
    } else {
      status = failure(call, "getHelperInstance of '" + path + "' " + outcome);
    }
  }
  if (system.unLoadLibrary(library) != 0) status = failure(call, "cannot unload '" + path + "' (see the log)");
  utils::formatted_log_t::uninitializeLogger();
  return status;
}

bool parseNumber(const std::string& text, long& value) {
  if (text.empty()) return false;
  char* end = nullptr;
  errno = 0;
  value = std::strtol(text.c_str(), &end, 0);
  return *end == '\0' && errno != ERANGE;
}

int runEvent(Invocation& call) {
  const Command& self = *findCommand("event");
  // Event types, identifiers and category masks are 16-bit fields of a record.
  struct Option {
    const char* name;
    int value;
  } options[] = {{"--severity", 0}, {"--event-id", 0}, {"--category-mask", 65535}};
  constexpr long kLargest = 65535;
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
    long number = 0;
    if (!parseNumber(call.args[++i], number)) {
      return usageError(call, self, arg + " needs a number, not '" + call.args[i] + "'");
    }
    if (number < 0 || number > kLargest) {
      return usageError(call, self, arg + " must be from 0 to 65535, not '" + call.args[i] + "'");
    }
    option->value = static_cast<int>(number);
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
      Command{"host", "host", "show the host's identity as the library reports it", "host [--json]",
              "Prints every host fact with the call of utils::System that produced it and, for\n"
              "the calls that have one, its result: system name and full name (a Linux host\n"
              "gives its distribution and kernel version), architecture, host name, system\n"
              "locale, logical processors, physical memory (whole GiB in spite of the call's\n"
              "name), the server address, the IPv4 and IPv6 sets of the host name (filtered\n"
              "by private_ip_range) and the MAC address the secret store derives its key from.\n"
              "Texts are quoted so that trailing blanks show. With --json, one JSON object for\n"
              "scripts: a member per call, {\"result\": N, \"value\": V} for the calls with a\n"
              "result and the plain value for the others.\n",
              norvanectl::runHost},
      Command{"plugin", "host", "check that a plug-in library loads and answers getHelperInstance",
              "plugin PATH",
              "Loads the library PATH (a name without '/' is searched for like any shared\n"
              "library), calls its getHelperInstance entry point the way the server does and\n"
              "unloads it again. What the entry point threw is shown.\n\n"
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
              "                     (default 65535, category 9)\n"
              "Each N is a number from 0 to 65535.\n\n"
              "Exit status: 0 handed to the logger; 1 no system logger listens on /dev/log;\n"
              "2 wrong usage.\n",
              norvanectl::runEvent},
  };
}
