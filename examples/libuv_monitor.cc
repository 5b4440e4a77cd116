// Reads the load of a machine each second in the loop of libuv, five times:
//
//   libuv_monitor 127.0.0.1

#include <ostrel/client.h>
#include <uv.h>

#include <cstdlib>
#include <iostream>

namespace {

struct Monitor {
  explicit Monitor(const char* address) : server(address) {}

  void ask() {
    client.get(server, "59.1.0.1", {"59.1.5"},
               [this](const ostrel::Result<ostrel::Attributes>& load) {
                 if (load) {
                   std::cout << load->at("59.1.5") << std::endl;
                 } else {
                   std::cerr << load.error() << std::endl;
                 }
                 if (++answers < 5) return;
                 uv_close(reinterpret_cast<uv_handle_t*>(&poll), nullptr);
                 uv_close(reinterpret_cast<uv_handle_t*>(&timer), nullptr);
               });
  }

  ostrel::Client client;
  ostrel::Endpoint server;
  uv_poll_t poll = {};
  uv_timer_t timer = {};
  int answers = 0;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: " << argv[0] << " SERVER\n";
    return EXIT_FAILURE;
  }
  Monitor monitor(argv[1]);
  uv_loop_t* loop = uv_default_loop();
  // One descriptor tells libuv of datagrams and of times.
  uv_poll_init(loop, &monitor.poll, monitor.client.descriptor());
  monitor.poll.data = &monitor;
  uv_poll_start(&monitor.poll, UV_READABLE, [](uv_poll_t* poll, int, int) {
    static_cast<Monitor*>(poll->data)->client.process();
  });
  uv_timer_init(loop, &monitor.timer);
  monitor.timer.data = &monitor;
  uv_timer_start(
      &monitor.timer,
      [](uv_timer_t* timer) { static_cast<Monitor*>(timer->data)->ask(); }, 0,
      1000);
  return uv_run(loop, UV_RUN_DEFAULT) == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
