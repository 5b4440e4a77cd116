// Signals as something to wait for beside sockets.

#ifndef OSTREL_TOOLS_OSTRELD_NET_SIGNALS_H
#define OSTREL_TOOLS_OSTRELD_NET_SIGNALS_H

namespace ostrel::tools::server {

// From its construction on SIGTERM, SIGINT and SIGHUP no longer end the
// process; they are read here. SIGPIPE is ignored.
class Signals {
 public:
  Signals();
  ~Signals();
  Signals(const Signals&) = delete;
  Signals& operator=(const Signals&) = delete;

  // Readable when a signal has come.
  int descriptor() const { return descriptor_; }

  // The next signal's number, or 0 when there is none.
  int take();

 private:
  int descriptor_;
};

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_NET_SIGNALS_H
