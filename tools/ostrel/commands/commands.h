// What each command does. All return the exit code, or throw Failure or
// TextError.

#ifndef OSTREL_TOOLS_OSTREL_COMMANDS_COMMANDS_H
#define OSTREL_TOOLS_OSTREL_COMMANDS_COMMANDS_H

#include <string>
#include <vector>

#include "session/session.h"

namespace ostrel::tools::cli {

using Words = std::vector<std::string>;

// On one object, which is `oid` as typed in.
Exit runGet(Session& session, const std::string& oid, const Words& aids);
Exit runSet(Session& session, const std::string& oid, const Words& attributes);
Exit runCreate(Session& session, const std::string& classOid,
               const Words& attributes);
Exit runClone(Session& session, const std::string& oid,
              const Words& attributes);

// On each of several objects.
Exit runRemove(Session& session, const Words& oids);
Exit runVerify(Session& session, const Words& oids);

// On the objects of a class.
Exit runSearch(Session& session, const std::string& classOid,
               const Words& conditions);
Exit runWalk(Session& session, const std::string& classOid,
             const Words& conditions);

Exit runAction(Session& session, const std::string& aid,
               const Words& arguments);

// Through the directory service.
Exit runFind(Session& session, const std::string& classOid,
             const Words& conditions);
Exit runDiscover(Session& session, int hops);

struct WatchOptions {
  std::string oid;
  Words events;           // identifiers or names; none: every event
  std::string deliverTo;  // the address that events go to; empty: found out
  unsigned count = 0;     // ends after so many events; 0: never
  unsigned seconds = 0;   // ends after so long; 0: never
};
Exit runWatch(Session& session, const WatchOptions& options);

// Without inputs reads standard input: one to a line.
Exit runDecode(Output& output, const Words& inputs);

}  // namespace ostrel::tools::cli

#endif  // OSTREL_TOOLS_OSTREL_COMMANDS_COMMANDS_H
