// Reads a machine's name and the logins of its users side by side, and then
// each user's full name, in code that reads from the top to the bottom. C++20:
//
//   coroutines 127.0.0.1

#include <ostrel/coroutine.h>

#include <cstdlib>
#include <iostream>

using ostrel::Client;
using ostrel::Endpoint;
using ostrel::Task;

static Task<void> printUser(Client& client, Endpoint server, ostrel::Oid user) {
  const auto names =
      co_await client.get(server, user, {"59.110.3", "59.110.4"});
  if (names) {
    std::cout << names->at("59.110.3") << ": " << names->at("59.110.4") << '\n';
  }
}

static Task<int> report(Client& client, Endpoint server) {
  std::vector<Task<void>> users;
  auto [host, end] = co_await ostrel::all(
      client.get(server, "59.1.0.1", {"59.1.2"}),
      client.search(server, "59.110.0.0", {},
                    [&](std::vector<ostrel::Object>&& page) {
                      for (const ostrel::Object& user : page)
                        users.push_back(printUser(client, server, user.oid));
                      return true;
                    }));
  if (!host || !end) {
    std::cerr << (host ? end.error() : host.error()) << '\n';
    co_return EXIT_FAILURE;
  }
  std::cout << "users of " << host->at("59.1.2") << '\n';
  co_await ostrel::all(std::move(users));
  co_return EXIT_SUCCESS;
}

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: " << argv[0] << " SERVER\n";
    return EXIT_FAILURE;
  }
  Client client;
  Task<int> task = report(client, argv[1]);
  return ostrel::runUntil(client, task);
}
