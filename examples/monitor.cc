// Reads the load of many machines all at once, and says who did not answer:
//
//   monitor 10.0.0.1 10.0.0.2 10.0.0.3

#include <ostrel/client.h>

#include <cstdlib>
#include <iostream>

int main(int argc, char** argv) {
  if (argc < 2) {
    std::cerr << "usage: " << argv[0] << " SERVER...\n";
    return EXIT_FAILURE;
  }

  ostrel::Client client;
  int silent = 0;
  for (int i = 1; i < argc; ++i) {
    const ostrel::Endpoint server(argv[i]);
    client.get(
        server, "59.1.0.1", {"59.1.2", "59.1.5"},
        [&silent, server](const ostrel::Result<ostrel::Attributes>& load) {
          if (!load) {
            ++silent;
            std::cerr << load.error() << '\n';
            return;
          }
          std::cout << server << ' ' << load->at("59.1.2") << ' '
                    << load->at("59.1.5") << '\n';
        });
  }
  client.run();
  return silent == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
