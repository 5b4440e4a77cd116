// What the benchmark of servers asks: the bytes of requests to an object
// server, an SNMP agent and an LDAP server, and whether an answer is the one
// expected.

#ifndef OSTREL_BENCH_SERVER_REQUESTS_H
#define OSTREL_BENCH_SERVER_REQUESTS_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace server_load {

// What the bytes that arrived begin with.
struct Arrived {
  std::size_t bytes = 0;  // 0: more have to come
  bool last = true;       // of an answer
};

// A kind of request.
struct Question {
  // The request with this number, ready to be sent.
  std::function<std::string(std::uint32_t number)> request;

  // Throws when the bytes begin with another answer than the one expected.
  std::function<Arrived(std::string_view bytes)> answer;
};

// What a server is asked to do with so many objects; throws when it has no such
// operation.
//   ostrel  verify get1 get10 set create equal scan
//   snmp    get1 get10
//   ldap    get1 get10 set
Question questionFor(const std::string& system, const std::string& operation,
                     std::uint32_t objects);

// Object server: a registration for changes of an object, to be sent to a port
// of this machine; and a change of the object.
Question registration(std::uint32_t object, std::uint16_t port);
Question changeOf(std::uint32_t object);

// LDAP: what makes changes allowed.
std::string bindRequest();

// LDAP: the objects that questions are about, as LDIF.
std::string ldif(std::uint32_t objects);

}  // namespace server_load

#endif  // OSTREL_BENCH_SERVER_REQUESTS_H
