// Watches an object from a loop that waits for other things as well, here for
// lines on standard input. An empty line or its end stops it:
//
//   watch_in_own_loop 127.0.0.1 59.200.0.0

#include <ostrel/client.h>
#include <poll.h>
#include <unistd.h>

#include <cstdlib>
#include <iostream>

static void print(const ostrel::Event& event) {
  if (event.gap) {
    std::cout << event.server << ": events may have been missed" << std::endl;
    return;
  }
  std::cout << event.event << " of " << event.oid << ": "
            << ostrel::Value(event.arguments) << std::endl;
}

// False: there is nothing more to read, or an empty line.
static bool readInput() {
  char text[256];
  const ssize_t got = ::read(STDIN_FILENO, text, sizeof text);
  return got > 0 && text[0] != '\n';
}

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: " << argv[0] << " SERVER OBJECT\n";
    return EXIT_FAILURE;
  }

  ostrel::Client client;
  int status = EXIT_SUCCESS;
  auto watch = client.watch(
      argv[1], argv[2], "59.6.0", [](ostrel::Event&& event) { print(event); },
      [&](const ostrel::Result<ostrel::Done>& end) {
        if (end || end.error().kind() == ostrel::Failure::cancelled) return;
        std::cerr << end.error() << '\n';
        status = EXIT_FAILURE;
      });

  pollfd inputs[] = {{client.descriptor(), POLLIN, 0},
                     {STDIN_FILENO, POLLIN, 0}};
  while (client.outstanding() > 0) {
    if (::poll(inputs, 2, -1) < 0) break;
    if (inputs[0].revents != 0) client.process();
    if (inputs[1].revents != 0 && !readInput()) {
      // Ends the watch, and waits until the server has heard that.
      watch.cancel();
      client.run();
    }
  }
  return status;
}
