/* Base definitions that every runtime header builds on: fixed-width integers, size_t,
 * the C++ linkage brackets and the small helpers that generated code uses. */
#ifndef PLATFORM_PLATFORM_H
#define PLATFORM_PLATFORM_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
#define UA_BEGIN_EXTERN_C extern "C" {
#define UA_END_EXTERN_C }
#else
#define UA_BEGIN_EXTERN_C
#define UA_END_EXTERN_C
#endif

/* Number of elements of an array whose size is known at this point. */
#define countof(a) (sizeof(a) / sizeof((a)[0]))

/* Bit value: the mask with only bit `bit` set. */
#define UA_BV(bit) (1u << (bit))

/* Marks a parameter or variable that is deliberately not used. */
#define UA_UNUSED(x) (void)(x)

#endif /* PLATFORM_PLATFORM_H */
