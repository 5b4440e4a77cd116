#include "machine/host_manager.h"

#include <ostrel/codes.h>
#include <ostrel/names.h>
#include <ostrel/veskOmAttr.h>
#include <sys/sysinfo.h>
#include <sys/utsname.h>
#include <utmpx.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <set>
#include <string>

#include "common/addresses.h"
#include "common/printed.h"
#include "objects/attributes.h"
#include "support/log.h"

namespace ostrel::tools::server {
namespace {

constexpr const char* kSelf = "59.1.0.1";
constexpr const char* kLogAction = "59.1.100";
constexpr unsigned kLongestLogText = 1000;

// A line of /proc/meminfo, in KiB; 0 when there is none.
unsigned memoryLine(const std::string& name) {
  std::ifstream file("/proc/meminfo");
  for (std::string word; file >> word;) {
    unsigned value = 0;
    if (word == name && file >> value) return value;
  }
  return 0;
}

std::set<std::string> usersNow() {
  std::set<std::string> names;
  setutxent();
  while (const utmpx* entry = getutxent()) {
    // The name fills its field when it is that long.
    if (entry->ut_type == USER_PROCESS)
      names.emplace(entry->ut_user,
                    strnlen(entry->ut_user, sizeof entry->ut_user));
  }
  endutxent();
  return names;
}

}  // namespace

HostManager::HostManager(in_addr address) : self_(kSelf), address_(address) {}

HostManager::~HostManager() { users_.destroyDecodedElements(); }

std::vector<veskOid> HostManager::classes() { return {veskOid(kHostClass)}; }

int HostManager::list(veskOid&, veskList* oids) {
  oids->append(new veskOid(self_));
  return kNoError;
}

int HostManager::read(veskOid& oid, veskList* attributes) {
  if (!(oid == self_)) return kNoSuchName;
  look();
  veskAppendOmAttr(kHostAddress, &address_, attributes);
  veskAppendOmAttr("59.1.2", &name_, attributes);
  veskAppendOmAttr("59.1.3", &system_, attributes);
  veskAppendOmAttr("59.1.4", &uptime_, attributes);
  veskAppendOmAttr("59.1.5", &load_[0], attributes);
  veskAppendOmAttr("59.1.6", &load_[1], attributes);
  veskAppendOmAttr("59.1.7", &load_[2], attributes);
  veskAppendOmAttr("59.1.8", &memory_, attributes);
  veskAppendOmAttr("59.1.9", &memoryFree_, attributes);
  veskAppendOmAttr("59.1.10", &users_, attributes);
  veskAppendOmAttr("59.1.11", &time_, attributes);
  return kNoError;
}

// Refreshes the values that the attributes point at.
void HostManager::look() {
  utsname names = {};
  if (uname(&names) == 0) {
    name_ = names.nodename;
    system_ = (std::string(names.sysname) + " " + names.release).c_str();
  }
  struct sysinfo info = {};
  if (sysinfo(&info) == 0)
    uptime_.value = static_cast<std::uint32_t>(info.uptime);
  double averages[3] = {};
  getloadavg(averages, 3);
  for (int i = 0; i < 3; ++i) load_[i].value = static_cast<float>(averages[i]);
  memory_.value = memoryLine("MemTotal:");
  memoryFree_.value = memoryLine("MemAvailable:");
  users_.destroyDecodedElements();
  for (const std::string& name : usersNow())
    users_.append(new veskString(name.c_str()));
  time_.value = static_cast<std::uint32_t>(std::time(nullptr));
}

int HostManager::action(const Asker& asker, veskAid& action,
                        veskList& arguments, veskList* errors) {
  veskAid logAction(kLogAction);
  if (!(action == logAction)) return kNoSuchName;
  auto* note = arguments.count == 1 ? arguments.at<veskString>(0) : nullptr;
  if (note == nullptr || note->length.value > kLongestLogText) {
    addError(errors, 0, kBadValue);
    return kArgListError;
  }
  log(Level::kInfo,
      "note of " + endpointText(asker.address) + ": " + printed(*note));
  return kNoError;
}

}  // namespace ostrel::tools::server
