/* Event notifiers: the nodes of a namespace that report events. */
#ifndef UASERVER_EVENT_EVENTNOTIFIER_H
#define UASERVER_EVENT_EVENTNOTIFIER_H

#include <platform/platform.h>

UA_BEGIN_EXTERN_C

/* Registers every node of the namespace whose EventNotifier is set; 0 or a negative error. */
int uaserver_eventnotifier_register_all(uint16_t nsidx);

UA_END_EXTERN_C

#endif /* UASERVER_EVENT_EVENTNOTIFIER_H */
