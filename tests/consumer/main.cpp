// A downstream program: packs a few values and reads them back through the installed headers.
#include <cstdio>

#include "VorexUtils/IndexVector.hpp"

int main() {
  VorexUtils::IndexVector v(VorexUtils::AllocatorGroup{});
  v.setBits(VorexUtils::IndexVectorRef::getBits(100));
  for (unsigned i = 0; i < 100; ++i) v.append(i);
  unsigned sum = 0;
  for (unsigned i = 0; i < 100; ++i) sum += v.get(i);
  if (sum != 4950) return 1;
  std::puts("consumer ok");
  return 0;
}
