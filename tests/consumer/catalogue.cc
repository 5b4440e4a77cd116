// A program that uses the catalogue beside the library.

#include <ostrel/catalogue.h>

#include <cstdio>

int main() {
  const ostrel::Catalogue& known = ostrel::shippedClasses();
  std::puts(known.name(veskAid("59.1.4")).c_str());
}
