/* The address space of one namespace: registered from compiled-in tables
 * (uaserver/addressspace/staticpooltypes.h) or loaded from a binary address-space file. */
#ifndef UASERVER_ADDRESSSPACE_ADDRESSSPACE_H
#define UASERVER_ADDRESSSPACE_ADDRESSSPACE_H

#include <stdbool.h>

#include <platform/memory.h>
#include <platform/platform.h>
#include <uaserver/valuestore/staticstore.h>

UA_BEGIN_EXTERN_C

/* The address space of one namespace (opaque). */
struct ua_addressspace;

/* Room for a namespace loaded from a file: its index and what the implementation adds
 * beyond the file's own nodes. */
struct ua_addressspace_config {
    uint16_t nsidx;
    uint32_t max_variables;
    uint32_t max_objects;
    uint32_t max_references;
    uint32_t max_strings;
};

/* Loads a binary address-space file into a new namespace; its values go to `store`.
 * Returns the namespace index or a negative error. */
int ua_addressspace_load_file(const char *filename, struct ua_staticstore *store,
                              struct ua_addressspace_config *config);

/* The address space of a registered namespace, NULL when there is none. */
struct ua_addressspace *ua_addressspace_getaddr(uint16_t nsidx);

/* The digest of the input files that namespace 0 was generated from. Namespace 0 sets it;
 * every other compiled-in namespace verifies that it was generated from the same files
 * (false when no digest was set or it differs). */
void ua_addressspace_set_digest(const unsigned char *digest, size_t len);
bool ua_addressspace_verify_digest(const unsigned char *digest, size_t len);

/* Nodes without permissions of their own get the runtime's built-in default. */
int ua_addressspace_set_default_default_rolepermissions(struct ua_addressspace *addr);

UA_END_EXTERN_C

#endif /* UASERVER_ADDRESSSPACE_ADDRESSSPACE_H */
