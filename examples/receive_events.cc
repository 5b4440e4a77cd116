// Registers for an event of an object, prints so many events, and unregisters:
//
//   receive_events 127.0.0.1 59.200.0.0 59.6.7 3

#include <ostrel/veskEvent.h>
#include <poll.h>

#include "report.h"

// Prints an event and what came with it.
static void printEvent(veskAddress& from, veskOid& object, veskAid& event,
                       veskList& arguments) {
  print(&event);
  print(&object);
  print(&from);
  print(&arguments);
}

static void receiveEvents(veskEventHandler& handler, int count) {
  while (count > 0) {
    pollfd events = {handler.eventSocket, POLLIN, 0};
    if (::poll(&events, 1, -1) != 1) return;

    veskAddress from;
    veskOid object;
    veskAid event;
    veskList arguments;
    handler.receive(&from, &object, &event, &arguments);
    // Invalid: a part of an event, a renewal, or nothing that is for us.
    if (event.valid != 0) {
      printEvent(from, object, event, arguments);
      --count;
    }
    arguments.destroyDecodedElements();
  }
}

int main(int argc, char** argv) {
  if (argc != 5) return usage(argv[0], "SERVER OBJECT EVENT COUNT");

  veskEventHandler handler;
  if (handler.open() < 0) return EXIT_FAILURE;
  veskAddress server(argv[1]);
  // A server on this host delivers to this host, whatever its name resolves to.
  if (server == "127.0.0.1") handler.myHost = server;
  veskOid object(argv[2]);
  veskAid event(argv[3]);
  veskOid registration;
  veskList errors;
  int status = report(
      handler.reg(object, event, &registration, &errors, &server), &errors);

  if (registration.valid != 0) {
    receiveEvents(handler, std::atoi(argv[4]));
    status |= report(handler.unreg(registration, &server), nullptr);
  }
  errors.destroyDecodedElements();
  handler.events.clear(1);
  handler.principalCache.clear(1);
  return status;
}
