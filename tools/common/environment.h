// What the environment says about the user.

#ifndef OSTREL_TOOLS_COMMON_ENVIRONMENT_H
#define OSTREL_TOOLS_COMMON_ENVIRONMENT_H

#include <string>

namespace ostrel::tools {

// "" when the variable is not set.
std::string environment(const char* name);

// The user's home directory, from HOME or the user database; "" when there is
// none.
std::string home();

// The folder that a variable of the XDG base directories names, else the
// default, which is relative to the home directory; "" when there is none.
std::string userFolder(const char* variable, const char* otherwise);

}  // namespace ostrel::tools

#endif  // OSTREL_TOOLS_COMMON_ENVIRONMENT_H
