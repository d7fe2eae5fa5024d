// The access level of a local or domain login, from the groups the user is in and
// the two configured lists full_access_groups and readonly_access_groups. The local
// and the domain path match differently, and both differences are kept as they are.
#include <utils/Log.h>
#include <utils/StringHelper.h>
#include <utils/WindowsSystem.h>

#include <map>

#include "platform/Host.h"
#include "settings/Settings.h"
#include "utils/AuthenticationNames.h"

namespace utils {

struct WindowsSystem::DirectoryGroup {
  std::string machine;
  std::string name;
};

namespace {

// The account lookup of a group's identifier writes into buffers of this many
// units, terminator included; longer names do not resolve.
constexpr std::size_t kAccountNameUnits = 1024;

std::string trimmed(std::string text) {
  StringHelper::trim(text);
  return text;
}

// The user's groups by name, with the member paths of each.
using GroupTable = std::map<std::string, std::vector<std::string>>;

// A user matches an entry by a group of that name (case-blind) or by a group with a
// member whose path holds the entry (case-sensitive, anywhere); the first hit wins.
bool matchesFullAccess(const std::vector<std::string>& fullList, const GroupTable& groupTable) {
  for (const std::string& rawEntry : fullList) {
    const std::string entry = trimmed(rawEntry);
    log_info("strFULLAccessGroupName:%1%") % entry;
    for (const auto& [name, members] : groupTable) {
      if (entry.empty()) continue;
      bool hit = StringHelper::compare_ignore_case(trimmed(name), entry);
      for (const std::string& member : members) hit = hit || trimmed(member).find(entry) != std::string::npos;
      if (hit) {
        log_info("User is Part of Administrators group");
        return true;
      }
    }
  }
  return false;
}

// The same matching for read-only access, but a member hit does not end the scan: every
// further member hit logs again.
bool matchesReadOnlyAccess(const std::vector<std::string>& readOnlyList, const GroupTable& groupTable) {
  bool matched = false;
  for (const std::string& rawEntry : readOnlyList) {
    const std::string entry = trimmed(rawEntry);
    log_info("strReadONlyGroupName:%1%") % entry;
    for (const auto& [name, members] : groupTable) {
      if (entry.empty()) continue;
      if (StringHelper::compare_ignore_case(trimmed(name), entry)) {
        log_info("User is Part of Authenticated Users group");
        return true;
      }
      for (const std::string& member : members) {
        if (trimmed(member).find(entry) == std::string::npos) continue;
        log_info("User is Part of Authenticated Users group");
        matched = true;
      }
    }
  }
  return matched;
}

}  // namespace

long WindowsSystem::getGroupObjectMembers(DirectoryGroup* group, std::vector<std::string>* members) const {
  log_function_entry("utils::WindowsSystem::getGroupObjectMembers");
  std::vector<std::string> paths;
  long status = platform::host().accounts().groupMemberPaths(group->machine, group->name, paths);
  for (const std::string& path : paths) {
    log_info("Member Object:%1%") % path;
    members->push_back(path);
  }
  return status == 1 ? 0 : status;
}

bool WindowsSystem::isGroupsValid(std::vector<std::string> fullGroups, std::vector<std::string> readOnlyGroups) const {
  log_function_entry("utils::WindowsSystem::isGroupsValid");
  platform::Accounts& accounts = platform::host().accounts();
  std::vector<std::string> accountNames;
  unsigned long resume = 0;
  long status = 0;
  do {
    std::vector<std::optional<std::string>> batch;
    status = accounts.accountNames(resume, batch);
    if (status != 0 && status != platform::kMoreAccountNames) {
      log_always("A system error has occurred: %1%") % status;
      break;
    }
    for (const std::optional<std::string>& name : batch) {
      if (!name) {
        log_always("An access violation has occurred");
        break;
      }
      log_info("User Account is:%1%") % *name;
      accountNames.push_back(*name);
    }
  } while (status == platform::kMoreAccountNames);
  if (accountNames.empty()) return true;
  // Entries are compared untrimmed: " alice" is no account name here.
  for (const std::string& account : accountNames) {
    for (const std::string& entry : fullGroups) {
      if (!entry.empty() && StringHelper::compare_ignore_case(account, entry)) return false;
    }
    for (const std::string& entry : readOnlyGroups) {
      if (!entry.empty() && StringHelper::compare_ignore_case(account, entry)) return false;
    }
  }
  return true;
}

WindowsSystem::AccessLevel_ WindowsSystem::verifyLocalUserGroupAccess(const std::string& userName) const {
  log_function_entry("utils::WindowsSystem::verifyLocalUserGroupAccess");
  std::string machine;
  if (authentication::machineName(machine) != 0) return NO_ACCESS;
  const settings::Settings& configured = settings::current();
  const std::string fullSetting = configured.fullAccessGroups();
  const std::string readOnlySetting = configured.readOnlyAccessGroups();

  platform::Accounts& accounts = platform::host().accounts();
  std::vector<platform::DirectoryObject> objects;
  if (!accounts.machineObjects(objects)) return NO_ACCESS;
  GroupTable groupTable;
  for (const platform::DirectoryObject& object : objects) {
    // Only the run of users at the head of the directory is seen.
    if (!object.isUser) break;
    if (!StringHelper::compare_ignore_case(object.name, userName)) continue;
    std::vector<std::string> groups;
    if (!accounts.userGroups(object.name, groups)) return NO_ACCESS;
    for (const std::string& name : groups) {
      log_info("strGroupName:%1%") % name;
      DirectoryGroup group{machine, name};
      std::vector<std::string> members;
      getGroupObjectMembers(&group, &members);
      groupTable[name] = members;
    }
  }
  if (groupTable.empty()) return NO_ACCESS;
  if (fullSetting.empty() && readOnlySetting.empty()) return NO_ACCESS;
  std::vector<std::string> fullList, readOnlyList;
  StringHelper::split(fullList, fullSetting, ",");
  StringHelper::split(readOnlyList, readOnlySetting, ",");
  if (fullList.empty() && readOnlyList.empty()) return NO_ACCESS;
  if (!isGroupsValid(fullList, readOnlyList)) return NO_ACCESS;

  if (matchesFullAccess(fullList, groupTable)) return FULL_ACCESS;
  return matchesReadOnlyAccess(readOnlyList, groupTable) ? READ_ONLY_ACCESS : NO_ACCESS;
}

bool WindowsSystem::isSystemInDomain(const std::string& domain) const {
  log_function_entry("utils::WindowsSystem::isSystemInDomain");
  bool present = false;
  std::string dnsName;
  const long status = platform::host().accounts().dnsDomain(present, dnsName);
  // A question that cannot be answered counts as being in the domain.
  if (status != 0) {
    log_always("DsRoleGetPrimaryDomainInformation:%1%") % status;
    return true;
  }
  if (present) {
    log_info("DomainNameDns:%1%") % dnsName;
  } else {
    log_info("DomainNameDns is NULL");
    dnsName.clear();
  }
  return dnsName.find(domain) != std::string::npos;
}

WindowsSystem::AccessLevel_ WindowsSystem::getDomainUserAccessLevel(void* const token, std::string domain) const {
  log_function_entry("utils::WindowsSystem::getDomainUserAccessLevel");
  const settings::Settings& configured = settings::current();
  std::vector<std::string> fullList, readOnlyList;
  StringHelper::split(fullList, configured.fullAccessGroups(), ",");
  StringHelper::split(readOnlyList, configured.readOnlyAccessGroups(), ",");

  const auto* logon = static_cast<const authentication::LogonToken*>(token);
  std::string machine;
  authentication::machineName(machine);
  std::vector<platform::TokenGroup> groups;
  if (!platform::host().accounts().tokenGroups(logon->logonName, machine, groups)) return NO_ACCESS;
  log_info("pGroupInfo->GroupCount:%1%") % groups.size();

  // Entries are not trimmed on this path; the first group that hits decides.
  for (const platform::TokenGroup& group : groups) {
    if (!group.enabled || !group.resolvable) continue;
    if (group.name.size() >= kAccountNameUnits || group.authority.size() >= kAccountNameUnits) continue;
    const std::string& groupName = group.name;
    const std::string& authority = group.authority;
    log_info("strGroupName is:%1%") % groupName;
    log_info("strTeampDomainName is:%1%") % authority;
    const bool ownDomain = StringHelper::compare_ignore_case(domain, authority);
    if (!fullList.empty() && !authority.empty() && !groupName.empty()) {
      for (const std::string& entry : fullList) {
        log_info("strFULLAccessGroupName:%1%") % entry;
        const std::string candidate = ownDomain ? authority + "\\" + groupName : groupName;
        log_info("strUserGroup is:%1%") % candidate;
        if (!entry.empty() && StringHelper::compare_ignore_case(candidate, entry)) {
          log_info("User is Part of Administrators Users group");
          return FULL_ACCESS;
        }
      }
    }
    if (!readOnlyList.empty() && !domain.empty() && !groupName.empty()) {
      for (const std::string& entry : readOnlyList) {
        log_info("strReadAccessGroupName:%1%") % entry;
        // A group of the login's own domain gives the doubled text
        // "domain\groupAUTHORITY\group", which no configured entry is meant to match.
        std::string candidate = domain + "\\" + groupName;
        if (ownDomain) {
          candidate += authority + "\\" + groupName;
        } else {
          candidate = groupName;
        }
        log_info("strUserGroup is:%1%") % candidate;
        if (!entry.empty() && StringHelper::compare_ignore_case(candidate, entry)) {
          log_info("User is Part of Authentication Users group");
          return READ_ONLY_ACCESS;
        }
      }
    }
  }
  return NO_ACCESS;
}

}  // namespace utils
