// A program built against the installed package: it includes the umbrella header and calls the
// library, returning non-zero when an answer is wrong.
#include <velmora/velmora.h>

#include <cstdio>

int main() {
  double a = 1.0, b = 2.0;
  if (compareDouble(&a, &b) != -1) return 1;
  std::printf("velmora %s consumer ok\n", VELMORA_VERSION);
  return 0;
}
