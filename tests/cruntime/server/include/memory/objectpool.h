/* Object pools: a header and an array of equally sized objects. Pools that the runtime
 * fills have a free list; constant pools (compiled-in address spaces) have none and hold
 * their objects in the header's flexible array member. Every pool type starts with the
 * same header, so any pool can be handed over as struct mem_objectpool_static and its
 * objects reached through object_size. */
#ifndef MEMORY_OBJECTPOOL_H
#define MEMORY_OBJECTPOOL_H

#include <limits.h>

#include <platform/platform.h>

UA_BEGIN_EXTERN_C

#ifdef MEMORY_THREADSAFE
/* The pool lock; constant pools never take it. */
typedef struct ua_mutex {
    int locked;
} ua_mutex_t;
#define UA_MUTEX_INITIALIZER { 0 }
#endif

/* A free cell of a pool that the runtime fills. */
struct mem_objectpool_element {
    struct mem_objectpool_element *next;
};

/* The members every pool type starts with, in this order. `id` is UINT_MAX for the
 * generic pools (as int), `used` counts the objects in use. */
#ifdef MEMORY_ENABLE_STAT
#define MEM_OBJECTPOOL_STAT_MEMBERS size_t max_used;
#else
#define MEM_OBJECTPOOL_STAT_MEMBERS
#endif
#ifdef MEMORY_THREADSAFE
#define MEM_OBJECTPOOL_LOCK_MEMBERS ua_mutex_t reserved;
#else
#define MEM_OBJECTPOOL_LOCK_MEMBERS
#endif
#define MEM_OBJECTPOOL_HEADER                  \
    int id;                                    \
    size_t num_objects;                        \
    size_t object_size;                        \
    size_t used;                               \
    MEM_OBJECTPOOL_STAT_MEMBERS                \
    const char *name;                          \
    const char *info;                          \
    struct mem_objectpool_element *freelist;   \
    MEM_OBJECTPOOL_LOCK_MEMBERS

/* Any pool, seen through its header; object i starts at data + i * object_size. */
struct mem_objectpool_static {
    MEM_OBJECTPOOL_HEADER
    unsigned char data[];
};

UA_END_EXTERN_C

#endif /* MEMORY_OBJECTPOOL_H */
