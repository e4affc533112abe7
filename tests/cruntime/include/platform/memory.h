/* Memory primitives of the platform layer. */
#ifndef PLATFORM_MEMORY_H
#define PLATFORM_MEMORY_H

#include <platform/platform.h>

UA_BEGIN_EXTERN_C

/* Fills n bytes at s with the byte c; returns s. */
void *ua_memset(void *s, int c, size_t n);

UA_END_EXTERN_C

#endif /* PLATFORM_MEMORY_H */
