// Instructions of one request and its answer in the client's own code, by
// callgrind: OSrequest for 10 attributes, and the same system calls by hand
// around the flat codec. The server is a process that is not looked at. Run by
// scripts/bench, with --tool=callgrind --instr-atstart=no.

#include <ostrel/commreq.h>
#include <valgrind/callgrind.h>

#include <cstring>
#include <memory>
#include <string>

#include "answer_content.h"
#include "flat_codec.h"
#include "round_trips.h"

namespace {

using namespace round_trips;
using ostrel::bench::FlatAnswer;
using ostrel::bench::FlatRequest;

constexpr int kAttributes = 10;
constexpr const char* kPrincipal = "59.110.1.1";
constexpr int kRounds = 1000;
constexpr int kRoundsBefore = 8;

class Library {
 public:
  explicit Library(Question& question)
      : socket_(handler_.open()),
        request_(question.oid, &question.list, question.principal) {
    handler_.nextRequestId = kFirstId;
  }

  void roundTrip() {
    veskRespPDU* answer = nullptr;
    const int code =
        OSrequest(&handler_, socket_, &server_, &request_, &answer);
    check(code == 0, "OSrequest");
    veskType::destroyDecoded(answer);
  }

 private:
  veskAddress server_{"127.0.0.1"};
  veskTransactionHandler handler_;
  int socket_;
  veskGetPDU request_;
};

class Flat : public Calls {
 public:
  explicit Flat(const Server& server) : Calls(server) {
    std::memcpy(datagram_, "\0\1\0\0\0\1\0\0", 8);
  }

  // The same bytes as the library's, and the answer read to its end.
  void checkBytes(Question& question) {
    veskGetPDU get(question.oid, &question.list, question.principal);
    get.requestId = veskUnsignedInt(kFirstId);
    request_.requestId = kFirstId;
    check(std::string(datagram_ + kHeader, encode()) == encoded(get),
          "the same request");
    const std::string bytes = answerBytes(kAttributes);
    check(decode(bytes.data(), bytes.size()) == bytes.size() &&
              answer_->count == kAttributes,
          "the whole answer");
  }

  void roundTrip() {
    request_.requestId++;
    const std::size_t used = encode();
    const std::uint32_t size = htonl(static_cast<std::uint32_t>(used));
    std::memcpy(datagram_ + 8, &size, sizeof size);
    exchange(datagram_, kHeader + used);
    check(decode(data_, sizeof data_) != 0, "decode");
    check(answer_->requestId == request_.requestId, "the answer's request id");
  }

 private:
  std::size_t encode() {
    return encodeRequest(request_, datagram_ + kHeader,
                         sizeof datagram_ - kHeader);
  }
  std::size_t decode(const char* bytes, std::size_t size) {
    return ostrel::bench::decodeAnswer<true>(bytes, size, answer_.get());
  }

  FlatRequest request_ = {
      kFirstId, {59, 110, 1, 1}, {59, 6, 1, 2}, kAttributes};
  std::unique_ptr<FlatAnswer> answer_ = std::make_unique<FlatAnswer>();
  char datagram_[1472] = {};
};

template <class Any>
void measure(const std::string& name, Any& client) {
  const std::string full = "request/" + name + "/" +
                           std::to_string(kAttributes) + "/" +
                           std::to_string(kRounds);
  for (int i = 0; i < kRoundsBefore; i++) client.roundTrip();
  CALLGRIND_START_INSTRUMENTATION;
  CALLGRIND_ZERO_STATS;
  for (int i = 0; i < kRounds; i++) client.roundTrip();
  CALLGRIND_DUMP_STATS_AT(full.c_str());
  CALLGRIND_STOP_INSTRUMENTATION;
}

}  // namespace

int main() {
  check(RUNNING_ON_VALGRIND != 0, "request_instructions without callgrind");
  const Server server(kAttributes, kObjectServerPort);
  Question question(kAttributes, kPrincipal);
  Library library(question);
  Flat flat(server);
  flat.checkBytes(question);
  measure("ostrel", library);
  measure("limit", flat);
  return 0;
}
