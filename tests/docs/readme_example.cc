#include <ostrel/type.h>

#include <cstdio>
#include <cstdlib>

int main() {
  veskList list;
  list.append(new veskOid("59.6.0.0"));
  list.append(new veskInt(42));
  char bytes[64];
  const unsigned used = list.encode(bytes, sizeof bytes);

  veskType* copy = nullptr;
  if (veskType::decodeCreate(bytes, used, &copy) == 0) return 1;
  char* text = copy->getString();
  std::printf("%u bytes: %s\n", used, text);

  std::free(text);
  veskType::destroyDecoded(copy);  // what was decoded, whole
  list.clear(1);                   // what we built
}
