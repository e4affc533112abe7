/* DiagnosticInfo: indexes into the response's string table, additional text, an inner
 * status and an inner DiagnosticInfo, each optional. */
#ifndef UABASE_DIAGNOSTICINFO_H
#define UABASE_DIAGNOSTICINFO_H

#include <platform/platform.h>
#include <uabase/statuscode.h>
#include <uabase/string.h>

struct ua_diagnosticinfo {
    int32_t symbolic_id;
    int32_t namespace_uri;
    int32_t locale;
    int32_t localized_text;
    struct ua_string additional_info;
    ua_statuscode inner_status_code;
    struct ua_diagnosticinfo *inner_diagnostic_info;
    uint8_t mask; /* which of the parts are present */
};

#endif /* UABASE_DIAGNOSTICINFO_H */
