/* A provider brings one or more namespaces up and serves them; the server calls its
 * initialization function at start and its cleanup function at shutdown. */
#ifndef UASERVER_PROVIDER_PROVIDER_H
#define UASERVER_PROVIDER_PROVIDER_H

#include <platform/platform.h>

UA_BEGIN_EXTERN_C

struct uaprovider {
    /* Set by the provider's initialization; called once at shutdown. */
    void (*cleanup)(struct uaprovider *ctx);
    /* The namespaces the provider serves. */
    uint16_t nsindex[8];
    unsigned int num_nsindex;
};

/* Makes the provider responsible for the namespace; returns 0 or a negative error. */
int uaprovider_register_nsindex(struct uaprovider *ctx, uint16_t nsidx);

UA_END_EXTERN_C

#endif /* UASERVER_PROVIDER_PROVIDER_H */
