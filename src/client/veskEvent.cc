#include <ostrel/names.h>
#include <ostrel/veskError.h>
#include <ostrel/veskEvent.h>

#include <cstdio>

#include "base/platform.h"
#include "client/client.h"
#include "value/scalar.h"

using namespace ostrel;

namespace {

constexpr const char* kNoEvent = "Invalid";
constexpr unsigned short kAnyPort = 0;
constexpr int kNoSocket = -1;
constexpr std::size_t kHostNameSize = 64;

Signer clientOf(veskEventHandler& handler) {
  return {handler.transactionHandler, handler.requestSocket,
          handler.principalCache, handler.currentAccess};
}

// Prints debug output. It leaves out what there is no memory for, and keeps
// errno.
template <class Print>
void report(const veskEventHandler& handler, Print print) {
  if (handler.debug == 0) return;
  const KeepErrno keep;
  orOutOfMemory([&] { return print(), kNoError; });
}

// When a registration is to expire next: an hour after the time in the notice,
// or 0 when the notice has none.
veskTime renewedExpiry(const veskEventHandler& handler, veskList* args) {
  veskTime expiry;
  std::uint32_t noticed = 0;
  veskType* first = firstOf<veskType>(args);
  if (first != nullptr && isInteger(*first, &noticed)) {
    expiry.value = noticed + kRegistrationSeconds;
  } else {
    report(handler, [] {
      std::fprintf(stderr,
                   "ostrelEventHandler::receive: expire time arg missing.\n");
    });
  }
  return expiry;
}

// Writes a new time of expiry to the registration that a notice is about. Only
// the debug output reports a failure.
void renew(veskEventHandler& handler, veskEventPDU& notice,
           veskAddress& sender) {
  report(handler, [&] {
    std::fprintf(
        stderr,
        "ostrelEventHandler::receive: got notifyExpire from '%s' at '%s'\n",
        TextToPrint(notice.oid).get(), TextToPrint(sender).get());
  });
  veskTime expiry = renewedExpiry(handler, notice.list);
  Reply<veskSetRespPDU> reply = {kNetworkError};
  orOutOfMemory([&] {
    ScopedList attributes;
    veskAppendAttr(attributes.get(), kRegistrationExpiry, &expiry);
    veskSetPDU request(notice.oid, attributes.get());
    reply = clientOf(handler).ask<veskSetRespPDU>(&sender, &request);
    return reply.code;
  });
  report(handler, [&] {
    if (reply.answer == nullptr) {
      std::perror("ostrelEventHander::receive: error setting notifExpire time");
    } else if (reply.code != kNoError) {
      // Kept: -1 is reported here too, in the same words as other codes.
      const TextToPrint error(
          veskGetErrorString(reply.code, reply.answer->errors));
      std::fprintf(stderr, "veskEventHandler::receive: pdu error: %s\n",
                   error.get());
    }
  });
}

// Reports what happened to the record of a registration.
void reportUnregistered(veskObject& record, int code) {
  const TextToPrint text(record);
  if (code == kNoError) {
    std::fprintf(stderr, "veskEventHander:unregistered for event %s\n",
                 text.get());
    return;
  }
  const TextToPrint error(veskGetErrorString(code, nullptr));
  std::fprintf(stderr, "veskEventHander:cannot unregister for event %s:%s\n",
               text.get(), error.get());
}

// Makes a handler unless there is one. Returns whether there is one now; errno
// is ENOMEM when memory ran out.
template <class Handler>
bool make(Handler** handler) {
  return *handler != nullptr || orOutOfMemory([&] {
                                  *handler = new Handler;
                                  return kNoError;
                                }) == kNoError;
}

// This host's address by its name; false when the name has none.
bool findMyHost(char* name, veskAddress* address) {
  in_addr found = {};
  if (platform::hostName(name, kHostNameSize) < 0) return false;
  if (!platform::resolveHost(name, &found)) return false;
  return orOutOfMemory([&] { return *address = found, kNoError; }) == kNoError;
}

}  // namespace

veskEventHandler::veskEventHandler()
    : debug(0),
      eventSocket(kNoSocket),
      requestSocket(kNoSocket),
      myPort(kAnyPort),
      messageHandler(nullptr),
      transactionHandler(nullptr) {
  char name[kHostNameSize] = "";
  // Kept: debug is off here, so this message is never printed.
  if (!findMyHost(name, &myHost) && debug != 0) {
    std::fprintf(stderr,
                 "ostrelEventHandler: Cannot get address of my host '%s'.\n",
                 name);
  }
  make(&messageHandler);
  comminit();
}

veskEventHandler::~veskEventHandler() {
  delete transactionHandler;
  delete messageHandler;
}

int veskEventHandler::comminit() {
  requestSocket =
      make(&transactionHandler) ? transactionHandler->open() : kNoSocket;
  if (requestSocket >= 0) return kNoError;
  std::perror(
      "ostrelEventHandler: Error opeing transaction handler for event config");
  return kNetworkError;
}

int veskEventHandler::open() {
  eventSocket =
      make(&messageHandler) ? messageHandler->open(kAnyPort) : kNoSocket;
  if (eventSocket < 0) {
    std::perror("ostrelEventHandler::open: cannot open event receive socket");
    return eventSocket;
  }
  sockaddr_in name = {};
  if (platform::socketName(eventSocket, &name) != 0) {
    std::perror("ostrelEventHandler::open: cannot get my port name.");
    return kNetworkError;
  }
  myPort.value = ntohs(name.sin_port);
  return eventSocket;
}

int veskEventHandler::close() {
  return messageHandler != nullptr ? messageHandler->close() : 0;
}

int veskEventHandler::setAccess() { return clientOf(*this).setAccess(); }

void veskEventHandler::setEventDebugOn() { debug = 1; }
void veskEventHandler::setEventDebugOff() { debug = 0; }

int veskEventHandler::reg(veskOid& oid, veskAid& event, veskOid* regOid,
                          veskList* errors, veskAddress* server) {
  if (requestSocket < 0) return noSocket();
  return orOutOfMemory([&] {
    veskAddress to(server != nullptr ? *server : myHost);
    Scoped<veskObject> record(new veskObject);
    veskList* attributes = record->attributeList;
    veskAppendAttr(attributes, kHostAddress, &to);
    veskAppendAttr(attributes, kRegistrationObject, &oid);
    veskAppendAttr(attributes, kRegistrationEvent, &event);
    veskAppendAttr(attributes, kRegistrationAddress, &myHost);
    veskAppendAttr(attributes, kRegistrationPort, &myPort);
    // Makes room for the record first: nothing may fail once the server has the
    // registration.
    veskList kept;
    kept.append(record.get());

    veskOid registrations(kRegistrationClass);
    veskCreatePDU request(registrations, attributes);
    const auto reply = clientOf(*this).ask<veskCreateRespPDU>(&to, &request);
    if (!reply.succeeded()) return reply.code;
    if (reply.answer->errors->count != 0) {
      moveErrors(reply.answer->errors, errors);
      return reply.code;
    }
    *regOid = reply.answer->oid;
    record->oid = reply.answer->oid;
    static_cast<void>(record.release());  // now the list's
    appendElements(&kept, &events);
    return reply.code;
  });
}

int veskEventHandler::unreg(veskOid& regOid, veskAddress* server) {
  if (requestSocket < 0) return noSocket();
  return orOutOfMemory([&] {
    veskAddress to(server != nullptr ? *server : myHost);
    veskRemovePDU request(regOid);
    const auto reply = clientOf(*this).ask<veskRemoveRespPDU>(&to, &request);
    if (reply.answer == nullptr) {
      report(*this, [&] {
        // Kept: this message ends without a newline.
        std::fprintf(stderr,
                     "veskEventHandler::unreg: cannot remove event %s: network "
                     "error",
                     TextToPrint(regOid).get());
      });
      return reply.code;
    }
    int index = 0;
    veskObject* record = findEvent(regOid, &index);
    if (record == nullptr) {
      report(*this, [&] {
        std::fprintf(stderr,
                     "veskEventHander:unreg: cannot find event %s in list\n",
                     TextToPrint(regOid).get());
      });
      return reply.code;
    }
    report(*this, [&] { reportUnregistered(*record, reply.code); });
    // Kept: a registration that the server refuses to remove is forgotten too.
    events.remove(static_cast<unsigned>(index));
    delete record;
    return reply.code;
  });
}

int veskEventHandler::receive(veskAddress* from, veskOid* oid, veskAid* event,
                              veskList* args) {
  event->set(kNoEvent);
  if (messageHandler == nullptr) return noSocket();
  return orOutOfMemory([&] {
    sockaddr_in source = {};
    veskPDU* pdu = nullptr;
    if (messageHandler->recv(&source, &pdu) != kNoError) return kNetworkError;
    const Arrived<veskPDU> arrived(pdu);
    auto* notice = as<veskEventPDU>(pdu);
    if (notice == nullptr) return kNoError;

    veskAddress sender(source.sin_addr);
    if (notice->aid == kEventExpiry) {
      renew(*this, *notice, sender);
      return kNoError;
    }
    *from = sender;
    *oid = notice->oid;
    *event = notice->aid;
    moveElements(notice->list, args);
    report(*this, [&] {
      std::fprintf(
          stderr,
          "eventHandler::receive: got event %s for object %s from %s.\n",
          TextToPrint(*event).get(), TextToPrint(*oid).get(),
          TextToPrint(sender).get());
    });
    return kNoError;
  });
}

veskObject* veskEventHandler::findEvent(veskOid& regOid, int* index) {
  for (unsigned i = 0; i < events.count; i++) {
    auto* record = events.at<veskObject>(i);
    if (record == nullptr || !(record->oid == regOid)) continue;
    *index = static_cast<int>(i);
    return record;
  }
  *index = -1;
  return nullptr;
}

void veskEventHandler::printEventList() {
  orOutOfMemory([this] {
    return std::printf("veskEventHandler: current events:\n%s\n",
                       TextToPrint(events).get());
  });
}
