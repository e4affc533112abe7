/* Status codes of the runtime: 0 for success, negative codes for failures. */
#ifndef COMMON_ERRORS_H
#define COMMON_ERRORS_H

#define UA_EGOOD 0
#define UA_EBAD -1
#define UA_EBADINVALIDARGUMENT -5
#define UA_EBADDECODING -7
#define UA_EBADNOMEM -9
#define UA_EBADNOTSUPPORTED -20
#define UA_EBADNOTFOUND -22
#define UA_EBADMISMATCH -24
#define UA_EBADOUTOFRESOURCE -25
#define UA_EBADOUTOFRANGE -28
#define UA_EBADINTERNALERROR -29
#define UA_EBADDUPLICATEENTRY -45

#endif /* COMMON_ERRORS_H */
