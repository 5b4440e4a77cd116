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
#include <utility>

#include "common/addresses.h"
#include "common/printed.h"
#include "objects/attributes.h"
#include "support/log.h"

namespace ostrel::tools::server {
namespace {

constexpr const char* kSelf = "59.1.0.1";
constexpr const char* kLogAction = "59.1.100";
constexpr unsigned kLongestLogText = 1000;

// A line of the system's file about memory, in KiB. Returns whether there is
// one.
bool readLine(const std::string& path, const std::string& name,
              veskUnsignedInt* value) {
  std::ifstream file(path);
  for (std::string word; file >> word;)
    if (word == name && file >> value->value) return true;
  return false;
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

HostManager::HostManager(in_addr address, const Counters* counters,
                         std::string memoryFile)
    : self_(kSelf),
      counters_(counters),
      memoryFile_(std::move(memoryFile)),
      address_(address) {
  constexpr double kNanoseconds = 1e9;
  timespec now = {};
  clock_gettime(CLOCK_REALTIME, &now);
  started_.value = static_cast<double>(now.tv_sec) +
                   static_cast<double>(now.tv_nsec) / kNanoseconds;
}

HostManager::~HostManager() { users_.destroyDecodedElements(); }

std::vector<veskOid> HostManager::classes() { return {veskOid(kHostClass)}; }

int HostManager::list(veskOid&, veskList* oids) {
  oids->append(new veskOid(self_));
  return kNoError;
}

int HostManager::read(veskOid& oid, veskList* attributes) {
  if (!(oid == self_)) return kNoSuchName;
  look();
  const struct {
    const char* name;
    veskType* value;
    bool known = true;
  } kAttributes[] = {
      {kHostAddress, &address_},
      {"59.1.2", &name_},
      {"59.1.3", &system_},
      {"59.1.4", &uptime_, known_.uptime},
      {"59.1.5", &load_[0], known_.loads > 0},
      {"59.1.6", &load_[1], known_.loads > 1},
      {"59.1.7", &load_[2], known_.loads > 2},
      {"59.1.8", &memory_, known_.memory},
      {"59.1.9", &memoryFree_, known_.memoryFree},
      {"59.1.10", &users_},
      {"59.1.11", &time_},
      {"59.1.39", &started_},
  };
  for (const auto& attribute : kAttributes)
    if (attribute.known)
      veskAppendOmAttr(attribute.name, attribute.value, attributes);
  if (counters_ == nullptr) return kNoError;
  for (std::size_t i = 0; i < counts_.size(); ++i) {
    const std::string name = "59.1." + std::to_string(kFirstCounter + i);
    veskAppendOmAttr(name.c_str(), &counts_[i], attributes);
  }
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
  known_.uptime = sysinfo(&info) == 0;
  uptime_.value = static_cast<std::uint32_t>(info.uptime);
  double averages[3] = {};
  known_.loads = getloadavg(averages, 3);
  for (int i = 0; i < 3; ++i) load_[i].value = static_cast<float>(averages[i]);
  known_.memory = readLine(memoryFile_, "MemTotal:", &memory_);
  known_.memoryFree = readLine(memoryFile_, "MemAvailable:", &memoryFree_);
  users_.destroyDecodedElements();
  for (const std::string& name : usersNow())
    users_.append(new veskString(name.c_str()));
  time_.value = static_cast<std::uint32_t>(std::time(nullptr));
  if (counters_ == nullptr) return;
  for (std::size_t i = 0; i < counts_.size(); ++i)
    counts_[i].value =
        static_cast<double>(counters_->value(static_cast<Counter>(i)));
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
