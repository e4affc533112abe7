/* The runtime's memory module. Generated data type sources include it, but none of the
 * generated code calls into it, so nothing of it is declared here. */
#ifndef MEMORY_MEMORY_H
#define MEMORY_MEMORY_H

#include <platform/platform.h>

#endif /* MEMORY_MEMORY_H */
