/* The identifiers of the namespace-0 nodes. The compiled-in address space of namespace 0
 * includes this header but names none of its identifiers, so none are listed here. */
#ifndef UABASE_IDENTIFIERS_H
#define UABASE_IDENTIFIERS_H

#include <platform/platform.h>

#endif /* UABASE_IDENTIFIERS_H */
