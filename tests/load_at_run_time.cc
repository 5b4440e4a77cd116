// load_at_run_time LIBRARY
//
// A program that is not linked with the library loads it while it runs, as a
// plug-in of some other program would, also in a second thread.

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>

namespace {

// int code, veskList* errors
using ErrorString = char* (*)(int, void*);

bool works(void* library) {
  void* const symbol = dlsym(library, "_Z18veskGetErrorStringiP8veskList");
  if (symbol == nullptr) return false;
  ErrorString errorString = nullptr;
  std::memcpy(&errorString, &symbol, sizeof symbol);
  char* const text = errorString(5, nullptr);
  const bool right = std::strcmp(text, "5(Permission Denied)") == 0;
  std::free(text);
  return right;
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 2) return 2;
  void* const library = dlopen(arguments[1], RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    std::fprintf(stderr, "%s\n", dlerror());
    return 1;
  }
  bool right = works(library);
  std::thread([&] { right = works(library) && right; }).join();
  return right ? 0 : 1;
}
