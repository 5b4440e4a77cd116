// Names for the return codes that the library itself gives.

#ifndef OSTREL_SRC_CODES_H
#define OSTREL_SRC_CODES_H

namespace ostrel {

constexpr int kNoError = 0;
constexpr int kArgListError = -1;
constexpr int kNetworkError = 10;
constexpr int kCodingError = 11;
constexpr int kAddressError = 12;
constexpr int kInternalError = 255;

}  // namespace ostrel

#endif  // OSTREL_SRC_CODES_H
