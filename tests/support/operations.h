// Every operation of both handlers, with servers that answer it: for tests that
// make something fail during each.

#ifndef OSTREL_TESTS_SUPPORT_OPERATIONS_H
#define OSTREL_TESTS_SUPPORT_OPERATIONS_H

#include <ostrel/veskAttr.h>
#include <ostrel/veskError.h>
#include <ostrel/veskEvent.h>
#include <ostrel/veskQuery.h>

#include <ostream>
#include <string>

#include "support/bytes.h"
#include "support/hex_pieces.h"
#include "support/servers.h"

namespace fake {

// Pieces of PDUs.
#define VALUES                                          \
  " 80 43 01 02"                                        \
  " 17 0B 01 01 3B 01 06 01 01 01 09 43 01 03 61 62 63" \
  " 17 0B 01 01 3B 01 06 01 02 01 80 43 01 01 03 01 05"
#define OBJECTS TWO NEW_OBJECT NEW_OBJECT

// What a caller passes.
struct Caller {
  Caller() {
    const char* const names[] = {"59.6.1", "59.6.2", nullptr};
    veskMakeAttrList(names, &attrs);
    errors.append(new veskError(7, 7));
    results.append(&former);
    list2.append(new veskInt(2));
    results2.append(new veskInt(22));
  }
  ~Caller() {
    results.remove(&former);
    for (veskList* list : {&attrs, &errors, &results, &list2, &results2})
      list->clear(1);
  }
  Caller(const Caller&) = delete;
  Caller& operator=(const Caller&) = delete;

  std::string text() {
    return ostrel::test::textOf(attrs) + "|" + ostrel::test::textOf(errors) +
           "|" + ostrel::test::textOf(results) + "|" +
           ostrel::test::textOf(list2) + "|" + ostrel::test::textOf(results2) +
           "|" + ostrel::test::textOf(newOid);
  }

  veskAddress address{"192.0.2.1"};
  veskOid object{"59.6.0.1"};
  veskAid event{"59.7.5"};
  veskOid newOid{"1.1.1.1"};
  veskList attrs;
  veskList none;
  veskList errors;
  veskList results;
  veskList list2;
  veskList results2;
  veskInt former{77};  // in results, from where searches drop it
  veskAddress answeredBy;
};

// Both handlers, the servers that they ask, and what the caller passes.
struct Scene {
  Scene() {
    event.open();
    for (int i = 0; i < 10; ++i) {
      local.then([](const Peer& peer, const Request& request) {
        const bool isSearch = request.pdu.substr(0, 2) == "21";
        answer(isSearch ? "29" SUCCESS NONE OBJECTS
                        : "27" SUCCESS NONE ONE
                          "17 0B 00 01" PRINCIPAL)(peer, request);
      });
    }
  }
  ~Scene() {
    query.principalCache.clear(1);
    event.principalCache.clear(1);
    event.events.clear(1);
  }
  Scene(const Scene&) = delete;
  Scene& operator=(const Scene&) = delete;

  // Makes a server give this answer to its next ten requests.
  static void always(Server& server, const char* message) {
    for (int i = 0; i < 10; ++i) server.then(message);
  }

  // Brings a message to the event socket, if there is one.
  void arrive(const char* message) {
    if (platform().sockets.count(event.eventSocket) == 0) return;
    for (const std::string& bytes : fragments(3, raw(message))) {
      platform().deliver(server.peer().address, event.eventSocket, bytes);
    }
  }

  // The object server of this host, which is asked for the principal first.
  Server local{"127.0.0.1", kObjectPort};
  Server here{"192.0.2.10", kObjectPort};
  Server server{"192.0.2.1", kObjectPort};
  Server directory{"192.0.2.1", kDirectoryPort, "224.0.1.2", 1};
  veskQueryHandler query;
  veskEventHandler event;
  Caller caller;
};

struct Operation {
  const char* name;
  void (*prepare)(Scene& scene);
  int (*call)(Scene& scene);
};

inline void PrintTo(const Operation& operation, std::ostream* out) {
  *out << operation.name;
}

const Operation kOperations[] = {
    {"get",
     [](Scene& s) { Scene::always(s.server, "27" SUCCESS ERRORS VALUES); },
     [](Scene& s) {
       Caller& c = s.caller;
       return s.query.get(&c.address, c.object, c.attrs, &c.errors);
     }},
    {"getAll",
     [](Scene& s) { Scene::always(s.server, "27" SUCCESS ERRORS VALUES); },
     [](Scene& s) {
       Caller& c = s.caller;
       return s.query.get(&c.address, c.object, c.none, &c.errors);
     }},
    {"set", [](Scene& s) { Scene::always(s.server, "28" SUCCESS ERRORS); },
     [](Scene& s) {
       Caller& c = s.caller;
       return s.query.set(&c.address, c.object, c.attrs, &c.errors);
     }},
    {"create",
     [](Scene& s) { Scene::always(s.server, "25" SUCCESS NONE NEW_OBJECT); },
     [](Scene& s) {
       Caller& c = s.caller;
       return s.query.create(&c.address, c.object, c.attrs, c.newOid,
                             &c.errors);
     }},
    {"clone",
     [](Scene& s) { Scene::always(s.server, "26" SUCCESS ERRORS NEW_OBJECT); },
     [](Scene& s) {
       Caller& c = s.caller;
       return s.query.clone(&c.address, c.object, c.attrs, c.newOid, &c.errors);
     }},
    {"remove", [](Scene& s) { Scene::always(s.server, "2B" SUCCESS); },
     [](Scene& s) {
       return s.query.remove(&s.caller.address, s.caller.object);
     }},
    {"verify", [](Scene& s) { Scene::always(s.server, "2D" SUCCESS); },
     [](Scene& s) {
       return s.query.verify(&s.caller.address, s.caller.object);
     }},
    {"search",
     [](Scene& s) { Scene::always(s.server, "29" SUCCESS ERRORS OBJECTS); },
     [](Scene& s) {
       Caller& c = s.caller;
       return s.query.search(&c.address, c.object, c.attrs, c.results, 1,
                             &c.errors);
     }},
    {"directorySearch",
     [](Scene& s) {
       Scene::always(s.directory, "2F" SUCCESS ERRORS NONE OBJECTS);
     },
     [](Scene& s) {
       Caller& c = s.caller;
       return s.query.DSsearch(&c.address, c.object, c.attrs, c.results,
                               c.list2, &c.answeredBy, &c.results2, &c.errors);
     }},
    {"discovery",
     [](Scene& s) {
       Scene::always(s.directory, "2F" SUCCESS NONE OBJECTS OBJECTS);
     },
     [](Scene& s) {
       Caller& c = s.caller;
       return s.query.DSsearch(nullptr, c.object, c.attrs, c.results, c.list2,
                               &c.answeredBy, &c.results2, &c.errors);
     }},
    {"setAccess", [](Scene&) {}, [](Scene& s) { return s.query.setAccess(); }},
    {"comminit", [](Scene&) {}, [](Scene& s) { return s.query.comminit(); }},
    {"reg",
     [](Scene& s) { Scene::always(s.here, "25" SUCCESS NONE NEW_OBJECT); },
     [](Scene& s) {
       Caller& c = s.caller;
       return s.event.reg(c.object, c.event, &c.newOid, &c.errors, nullptr);
     }},
    {"unreg",
     [](Scene& s) {
       Scene::always(s.here, "2B" SUCCESS);
       auto* record = new veskObject;
       record->oid = s.caller.object;
       s.event.events.append(record);
     },
     [](Scene& s) { return s.event.unreg(s.caller.object, nullptr); }},
    {"receive", [](Scene& s) { s.arrive("22" HEADER NEW_OBJECT EVENT VALUES); },
     [](Scene& s) {
       Caller& c = s.caller;
       return s.event.receive(&c.address, &c.newOid, &c.event, &c.results);
     }},
    {"renewal",
     [](Scene& s) {
       Scene::always(s.server, "28" SUCCESS NONE);
       s.arrive("22" HEADER NEW_OBJECT NOTIFY_EXPIRE
                " 80 43 01 01 0C 02 03 E8");
     },
     [](Scene& s) {
       Caller& c = s.caller;
       return s.event.receive(&c.address, &c.newOid, &c.event, &c.results);
     }},
    {"renewalWithDebug",
     [](Scene& s) {
       s.event.setEventDebugOn();
       Scene::always(s.server, "28" SUCCESS NONE);
       s.arrive("22" HEADER NEW_OBJECT NOTIFY_EXPIRE
                " 80 43 01 01 0C 02 03 E8");
     },
     [](Scene& s) {
       Caller& c = s.caller;
       return s.event.receive(&c.address, &c.newOid, &c.event, &c.results);
     }},
};

#undef VALUES
#undef OBJECTS

}  // namespace fake

#endif  // OSTREL_TESTS_SUPPORT_OPERATIONS_H
