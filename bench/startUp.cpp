// What does it cost to load the library? The platform libraries and the standard library are there already, as in a program
// that uses them: startUp LIBRARY
#include <dlfcn.h>
#include <libtrace/trace.h>

#include <cstdio>
#include <string>

int main(int argumentCount, char** arguments) {
  if (argumentCount != 2) return 2;
  g_traceObject = nullptr;  // as an application names them, so that the linker keeps both
  const std::string path = arguments[1];
  if (dlopen(path.c_str(), RTLD_NOW) != nullptr) return 0;
  std::fprintf(stderr, "error: %s\n", dlerror());
  return 1;
}
