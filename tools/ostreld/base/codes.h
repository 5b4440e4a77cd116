// Names for the return codes and well-known numbers that the servers use.

#ifndef OSTREL_TOOLS_OSTRELD_BASE_CODES_H
#define OSTREL_TOOLS_OSTRELD_BASE_CODES_H

#include <cstdint>

namespace ostrel::tools::server {

constexpr int kNoError = 0;
constexpr int kItemErrors = -1;  // the list of errors says which items
constexpr int kNoSuchName = 1;
constexpr int kBadValue = 2;
constexpr int kOidFormat = 3;
constexpr int kAidFormat = 4;
constexpr int kPermissionDenied = 5;
constexpr int kBadAccess = 6;
constexpr int kRequiredAttribute = 7;
constexpr int kNoObjectManager = 8;
constexpr int kDatabaseError = 9;
constexpr int kNetworkError = 10;
constexpr int kCodingError = 11;
constexpr int kInternalError = 255;

constexpr std::uint16_t kObjectServerPort = 5135;
constexpr std::uint16_t kDirectoryPort = 5136;
constexpr const char* kDirectoryGroup = "224.0.1.2";

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_BASE_CODES_H
