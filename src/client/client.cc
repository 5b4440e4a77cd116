#include "client/client.h"

#include "base/platform.h"

namespace ostrel {

int noSocket() {
  errno = EBADF;
  return kNetworkError;
}

int Signer::setAccess() {
  const long user = platform::effectiveUser();
  if (currentAccess.valid != 0 && currentAccess.id == user) return kNoError;
  for (unsigned i = 0; i < principalCache.count; i++) {
    const auto* known = static_cast<idMap*>(principalCache.index(i)->data);
    if (known->id != user) continue;
    currentAccess = *known;
    return kNoError;
  }
  return orOutOfMemory([&] {
    Scoped<idMap> found(new idMap);
    found->id = user;
    const int code = getPrincipalOid(user, found.get(), 0, handler, socket);
    if (code != kNoError) return code;
    principalCache.append(found.get());
    currentAccess = *found.release();
    return kNoError;
  });
}

void Signer::sign(veskPDU* request) {
  setAccess();
  request->principal = currentAccess;
}

}  // namespace ostrel
