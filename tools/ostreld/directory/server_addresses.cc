#include "directory/server_addresses.h"

#include <netdb.h>
#include <ostrel/codes.h>

#include <algorithm>
#include <fstream>
#include <stdexcept>

#include "common/addresses.h"

namespace ostrel::tools::server {
namespace {

std::string trimmed(std::string line) {
  constexpr const char* kSpace = " \t\r";
  line.erase(std::min(line.find('#'), line.size()));
  line.erase(0, std::min(line.find_first_not_of(kSpace), line.size()));
  line.erase(line.find_last_not_of(kSpace) + 1);
  return line;
}

}  // namespace

sockaddr_in parseServer(const std::string& entry) {
  const auto name = parseServerName(entry);
  if (!name)
    throw std::invalid_argument("not a server, HOST or HOST:PORT: " + entry);
  const std::string& host = name->host;
  const HostLookup found = lookUpHost(host);
  if (found.code != 0) {
    throw std::runtime_error("no address for the server " + host + ": " +
                             gai_strerror(found.code));
  }
  if (!isUnicast(found.address)) {
    throw std::invalid_argument("not the address of one server: " + host +
                                " is " + addressText(found.address));
  }
  return endpoint(found.address,
                  name->port != 0 ? name->port : kObjectServerPort);
}

std::vector<sockaddr_in> readServerFile(const std::string& path) {
  std::ifstream file(path);
  if (!file) throw std::runtime_error("cannot read the server file " + path);
  std::vector<sockaddr_in> servers;
  unsigned number = 0;
  for (std::string line; std::getline(file, line);) {
    number++;
    const std::string entry = trimmed(line);
    if (entry.empty()) continue;
    try {
      servers.push_back(parseServer(entry));
    } catch (const std::exception& error) {
      throw std::runtime_error(path + ", line " + std::to_string(number) +
                               ": " + error.what());
    }
  }
  // A folder opens like a file and cannot be read.
  if (file.bad())
    throw std::runtime_error("cannot read the server file " + path);
  return servers;
}

std::vector<sockaddr_in> allServers(const std::vector<std::string>& entries,
                                    const std::string& file) {
  std::vector<sockaddr_in> servers;
  for (const std::string& entry : entries)
    servers.push_back(parseServer(entry));
  if (file.empty()) return servers;
  for (const sockaddr_in& server : readServerFile(file))
    servers.push_back(server);
  return servers;
}

std::vector<sockaddr_in> withoutRepeats(const std::vector<sockaddr_in>& list) {
  std::vector<sockaddr_in> result;
  for (const sockaddr_in& server : list) {
    const bool known = std::any_of(
        result.begin(), result.end(),
        [&](const sockaddr_in& each) { return sameEndpoint(each, server); });
    if (!known) result.push_back(server);
  }
  return result;
}

}  // namespace ostrel::tools::server
