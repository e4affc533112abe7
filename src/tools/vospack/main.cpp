#include "tools/vospack/driver.h"
#include "tools/vospack/run/pipeline.h"

int main(int argc, char** argv) {
  vos::pipeline stages;
  return vos::driver_main(argc, argv, stages);
}
