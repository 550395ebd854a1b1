// A program built against the installed package: it includes the umbrella header and calls the
// library, returning non-zero when an answer is wrong.
#include <velmora/velmora.h>

#include <cmath>
#include <cstdio>

int main() {
  double a = 1.0, b = 2.0;
  if (compareDouble(&a, &b) != -1) return 1;
  // The exact fit through the installed header: a quarter turn about z and a shift, given back.
  const double from[12] = {0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0, 3};
  const double to[12] = {5, 0, 0, 5, 1, 0, 3, 0, 0, 5, 0, 3};
  const velmora::FitResult fit = velmora::fit(from, to, 4);
  if (!fit.ok() || std::fabs(fit.motion.matrix[1][0] - 1.0) > 1e-12 || std::fabs(fit.motion.matrix[0][3] - 5.0) > 1e-12 ||
      fit.rms > 1e-12)
    return 2;
  std::printf("velmora %s consumer ok\n", VELMORA_VERSION);
  return 0;
}
