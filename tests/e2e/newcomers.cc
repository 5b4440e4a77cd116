// newcomers create COUNT
//
// Runs COUNT processes, one after the other, as fast as they go. Each opens a
// handler, creates an object of the class 59.200.0.0 at 127.0.0.1, the same as
// all others, and ends. Prints how many were told that the object was made.
//
// newcomers set PORT VALUE
//
// As a program that has just begun, sets 59.200.1 of 59.200.0.1 from that port:
// the message and the request have the id 0.

#include <arpa/inet.h>
#include <ostrel/codes.h>
#include <ostrel/message.h>
#include <ostrel/veskAttr.h>
#include <ostrel/veskPDU.h>
#include <ostrel/veskQuery.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

int create() {
  veskQueryHandler handler;
  veskAddress server("127.0.0.1");
  veskOid classOid("59.200.0.0");
  veskInt value(1);
  veskList attributes;
  veskAppendAttr(&attributes, "59.200.1", &value);
  veskOid object;
  veskList errors;
  return handler.create(&server, classOid, attributes, object, &errors);
}

int createMany(int count) {
  int acknowledged = 0;
  for (int i = 0; i < count; ++i) {
    const pid_t child = fork();
    if (child < 0) return 1;
    if (child == 0) _exit(create());
    int status = 1;
    if (waitpid(child, &status, 0) < 0) return 1;
    if (status == 0) acknowledged++;
  }
  std::printf("%d\n", acknowledged);
  return 0;
}

int set(int port, int number) {
  veskMessageHandler handler;
  if (handler.open(static_cast<unsigned short>(port)) < 0) return 1;
  veskOid oid("59.200.0.1");
  veskInt value(number);
  veskList attributes;
  veskAppendAttr(&attributes, "59.200.1", &value);
  veskSetPDU request(oid, &attributes);
  sockaddr_in server = {};
  server.sin_family = AF_INET;
  server.sin_port = htons(ostrel::kObjectServerPort);
  server.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  handler.send(&server, &request);
  veskPDU* answer = nullptr;
  handler.recv(&server, &answer);
  const int status = answer == nullptr ? -1 : answer->status.value;
  veskType::destroyDecoded(answer);
  attributes.destroyDecodedElements();
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string command = argc > 1 ? argv[1] : "";
  if (command == "create" && argc == 3) return createMany(std::atoi(argv[2]));
  if (command == "set" && argc == 4)
    return set(std::atoi(argv[2]), std::atoi(argv[3]));
  return 2;
}
