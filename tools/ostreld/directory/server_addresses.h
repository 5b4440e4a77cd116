// The object servers that a directory server asks: from the command line and
// from a file.

#ifndef OSTREL_TOOLS_OSTRELD_DIRECTORY_SERVER_ADDRESSES_H
#define OSTREL_TOOLS_OSTRELD_DIRECTORY_SERVER_ADDRESSES_H

#include <netinet/in.h>

#include <string>
#include <vector>

namespace ostrel::tools::server {

// "HOST" or "HOST:PORT"; a host is a dotted address or a name, which is looked
// up now. Throws with a sentence for the user: std::invalid_argument when the
// entry cannot be one server's, std::runtime_error when the name has no
// address.
sockaddr_in parseServer(const std::string& entry);

// One entry on each line; "#" begins a comment, empty lines do not count.
// Throws std::runtime_error, which names the line.
std::vector<sockaddr_in> readServerFile(const std::string& path);

// Those of a list of entries and, unless it is "", of a file. Throws as both
// do.
std::vector<sockaddr_in> allServers(const std::vector<std::string>& entries,
                                    const std::string& file);

// Each server once, the first mention first.
std::vector<sockaddr_in> withoutRepeats(const std::vector<sockaddr_in>& list);

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_DIRECTORY_SERVER_ADDRESSES_H
