#include "tools/vospack/driver.h"

namespace vos {
int driver_main(int, char**) { return 0; }
}  // namespace vos
