#include "machine/principals.h"

#include <ostrel/codes.h>
#include <ostrel/names.h>
#include <pwd.h>

#include <set>
#include <string>

namespace ostrel::tools::server {
namespace {

constexpr unsigned kUserBranch = 1;

// The full name is the first field of a comment.
std::string fullName(const passwd& user) {
  const std::string comment = user.pw_gecos == nullptr ? "" : user.pw_gecos;
  return comment.substr(0, comment.find(','));
}

}  // namespace

std::vector<veskOid> Principals::classes() {
  return {veskOid(kPrincipalClass)};
}

int Principals::list(veskOid& classOid, veskList* oids) {
  std::set<uid_t> users;
  setpwent();
  while (const passwd* user = getpwent()) users.insert(user->pw_uid);
  endpwent();
  for (const uid_t user : users)
    oids->append(new veskOid(classOid, kUserBranch, user));
  return kNoError;
}

int Principals::read(veskOid& oid, veskList* attributes) {
  if (oid.component[2] != kUserBranch) return kNoSuchName;
  const passwd* user = getpwuid(oid.component[3]);
  if (user == nullptr) return kNoSuchName;
  veskAtAppendAttr(attributes, kPrincipalOid, new veskOid(oid));
  veskAtAppendAttr(attributes, kPrincipalUserId,
                   new veskInt(static_cast<int>(user->pw_uid)));
  veskAtAppendAttr(attributes, kPrincipalLogin, new veskString(user->pw_name));
  veskAtAppendAttr(attributes, kPrincipalFullName,
                   new veskString(fullName(*user).c_str()));
  return kNoError;
}

}  // namespace ostrel::tools::server
