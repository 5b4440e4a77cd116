// Signals as something to wait for beside sockets.

#ifndef OSTRELD_SIGNALS_H
#define OSTRELD_SIGNALS_H

namespace ostreld {

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

}  // namespace ostreld

#endif  // OSTRELD_SIGNALS_H
