// stranger verify|garbage|silence
//
// An object server on 127.0.0.1 that answers each request with a verify
// response, with bytes that are no PDU, or not at all, for tests of the tool.

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
  const auto isTo = [&](const char* what) {
    return argv[1] != nullptr && std::strcmp(argv[1], what) == 0;
  };
  veskMessageHandler handler;
  if (handler.open(ostrel::kObjectServerPort) < 0) return 1;
  std::puts("ready");
  std::fflush(stdout);
  while (true) {
    veskPDU* request = nullptr;
    sockaddr_in from = {};
    if (handler.recv(&from, &request) != 0 || request == nullptr) continue;
    if (isTo("garbage")) {
      char bytes[] = "\xff\xff\xff";
      handler.veskDatagramHandler::send(&from, bytes, 3);
    } else if (!isTo("silence")) {
      veskVerifyRespPDU answer;
      answer.requestId.value = request->requestId.value;
      handler.send(&from, &answer);
    }
    veskType::destroyDecoded(request);
  }
}
