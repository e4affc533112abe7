/* LocalizedText: locale and text, either may be null. */
#ifndef UABASE_LOCALIZEDTEXT_H
#define UABASE_LOCALIZEDTEXT_H

#include <uabase/string.h>

struct ua_localizedtext {
    struct ua_string locale;
    struct ua_string text;
};

#endif /* UABASE_LOCALIZEDTEXT_H */
