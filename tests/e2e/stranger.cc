// stranger verify|garbage
//
// An object server on 127.0.0.1 that answers each request with a verify
// response, or with bytes that are no PDU, for tests of the tool.

#include <arpa/inet.h>
#include <ostrel/codes.h>
#include <ostrel/message.h>
#include <ostrel/veskPDU.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

namespace {

extern "C" void end(int) { _exit(0); }

}  // namespace

int main(int, char** argv) {
  signal(SIGTERM, end);
  const bool garbage =
      argv[1] != nullptr && std::strcmp(argv[1], "garbage") == 0;
  veskMessageHandler handler;
  if (handler.open(ostrel::kObjectServerPort) < 0) return 1;
  std::puts("ready");
  std::fflush(stdout);
  while (true) {
    veskPDU* request = nullptr;
    sockaddr_in from = {};
    if (handler.recv(&from, &request) != 0 || request == nullptr) continue;
    if (garbage) {
      char bytes[] = "\xff\xff\xff";
      handler.veskDatagramHandler::send(&from, bytes, 3);
    } else {
      veskVerifyRespPDU answer;
      answer.requestId.value = request->requestId.value;
      handler.send(&from, &answer);
    }
    veskType::destroyDecoded(request);
  }
}
