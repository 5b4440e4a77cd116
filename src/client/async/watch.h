// Watching an object: a registration with its server that is renewed before it
// expires, looked after at least each minute, and made again when the server
// has lost it.

#ifndef OSTREL_SRC_WATCH_H
#define OSTREL_SRC_WATCH_H

#include <cstddef>

#include "client/async/composite.h"

namespace ostrel {

class Watch : public Composite<Done> {
 public:
  using Tell = UniqueFunction<void(Event&&)>;

  Watch(ClientState& state, const Endpoint& server, const Oid& oid,
        const Aid& event, Tell tell, RequestOptions options, Handler<Done> end);
  ~Watch() override;

  // Registers with the server.
  void start();

  void alarm(ClientState& state) override;

  // An event that has arrived. Returns whether it was told.
  bool take(const Endpoint& from, const Oid& oid, const Aid& event,
            const Values& arguments);
  void tellGap();

  // Asks the server to forget the registration; nobody waits for that.
  void unregister();

 private:
  void goesAway() override { unregister(); }
  void registered(Result<Oid>&& made);
  void look();
  void looked(Result<Attributes>&& expiry);
  void verified(const Result<Done>& there);
  void unheard();
  void lost();
  void heard();
  void renew(std::uint32_t expiry);
  bool tell(Event&& event);

  Endpoint server_;
  Oid oid_;
  Aid event_;
  Tell tell_;
  RequestOptions options_;
  Oid registration_;  // not valid: there is none now
  bool everRegistered_ = false;
  bool missed_ = false;  // events may have been; not told yet
  bool canLook_ = true;  // the server tells when registrations expire
  bool renewing_ = false;
  std::uint32_t expiry_ = 0;  // by the server's clock
  Moment renewedAt_ = 0;
};

// Hands an event to the watches that it is for. Returns how many were told.
std::size_t tellWatches(ClientState& state, const ArrivedEvent& event);

// Tells all watches when datagrams have been dropped.
void tellGaps(ClientState& state);

// Before a client closes: the servers need not send any more.
void unregisterWatches(ClientState& state);

}  // namespace ostrel

#endif  // OSTREL_SRC_WATCH_H
