/* Events: the event fields of a namespace's event types. */
#ifndef UASERVER_EVENT_EVENT_H
#define UASERVER_EVENT_EVENT_H

#include <platform/platform.h>

UA_BEGIN_EXTERN_C

/* Registers the event fields of every event type of the namespace; 0 or a negative error. */
int uaserver_eventfield_register_all(uint16_t nsidx);

UA_END_EXTERN_C

#endif /* UASERVER_EVENT_EVENT_H */
