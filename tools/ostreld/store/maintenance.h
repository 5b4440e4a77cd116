// What an operator does with a store besides serving it. A server may be using
// it meanwhile, and goes on.

#ifndef OSTREL_TOOLS_OSTRELD_STORE_MAINTENANCE_H
#define OSTREL_TOOLS_OSTRELD_STORE_MAINTENANCE_H

#include <cstddef>
#include <string>
#include <vector>

namespace ostrel::tools::server {

// Looks at every page and every value. Returns what is wrong, a sentence each
// and the first hundred at the most; nothing when all is well. Throws
// StoreError when the file cannot be read as a store at all.
std::vector<std::string> checkStore(const std::string& path);

// Copies the store as it is at this moment into a new file. Throws StoreError,
// also when there is a file of that name; then no file is left.
void backupStore(const std::string& path, const std::string& copy);

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_STORE_MAINTENANCE_H
