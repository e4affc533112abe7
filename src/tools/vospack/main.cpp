#include "tools/vospack/driver.h"

int main(int argc, char** argv) {
  return vos::driver_main(argc, argv);
}
