#include "common/environment.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>

namespace ostrel::tools {

std::string environment(const char* name) {
  const char* text = std::getenv(name);
  return text == nullptr ? "" : text;
}

std::string home() {
  const std::string given = environment("HOME");
  if (!given.empty()) return given;
  const passwd* user = getpwuid(geteuid());
  return user == nullptr ? "" : user->pw_dir;
}

std::string userFolder(const char* variable, const char* otherwise) {
  const std::string given = environment(variable);
  if (!given.empty()) return given;
  const std::string folder = home();
  return folder.empty() || folder == "/" ? "" : folder + "/" + otherwise;
}

}  // namespace ostrel::tools
