// Loads the libraries that it is given, opens one ZeroMQ socket on the loopback network, and closes it.
//
//   one_socket [LIBRARY...]
#include <cstdlib>
#include <iostream>

#include <dlfcn.h>
#include <zmq.h>

int main(int count, char** arguments) {
  for (int index = 1; index < count; ++index) {
    if (dlopen(arguments[index], RTLD_LAZY) == nullptr) {
      std::cerr << "one_socket: " << dlerror() << '\n';
      return EXIT_FAILURE;
    }
  }
  void* const context = zmq_ctx_new();
  void* const socket = zmq_socket(context, ZMQ_ROUTER);
  const bool isBound = zmq_bind(socket, "tcp://127.0.0.1:*") == 0;
  zmq_close(socket);
  zmq_ctx_term(context);
  return isBound ? EXIT_SUCCESS : EXIT_FAILURE;
}
