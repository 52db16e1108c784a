// vorex info: what this build and this processor offer.
#include <cstdio>

namespace vorex_cli {

int runInfo(int, char**) {
  __builtin_cpu_init();
  std::printf("vorex 0.1.0\n");
  std::printf("cpu: sse4.1=%d sse4.2=%d avx2=%d bmi2=%d\n", __builtin_cpu_supports("sse4.1"),
              __builtin_cpu_supports("sse4.2"), __builtin_cpu_supports("avx2"),
              __builtin_cpu_supports("bmi2"));
  return 0;
}

}  // namespace vorex_cli
