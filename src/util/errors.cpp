#include "util/errors.h"

#include "trace/trace.h"

namespace vos {

namespace {

// Names from the highest code down: position 2 - code. Code -40 is unused.
constexpr const char* kNames[] = {
    "UA_EDETACH",
    "UA_EASYNC",
    "UA_EGOOD",
    "UA_EBAD",
    "UA_EBADDISCONNECT",
    "UA_EBADSHUTDOWN",
    "UA_EBADSOCKETCLOSED",
    "UA_EBADINVALIDARGUMENT",
    "UA_EBADNOBUF",
    "UA_EBADDECODING",
    "UA_EBADENCODING",
    "UA_EBADNOMEM",
    "UA_EBADNOTIMPL",
    "UA_EBADHOSTUNKNOWN",
    "UA_EBADSYSCALL",
    "UA_EBADOPCANCELLED",
    "UA_EBADOPTIMEOUT",
    "UA_EBADIOPENDING",
    "UA_EBADINVALIDSTATE",
    "UA_EBADTRUNCATED",
    "UA_EBADBUFTOOSMALL",
    "UA_EBADTOOMANYNESTEDCALLS",
    "UA_EBADNOTSUPPORTED",
    "UA_EBADCERTIFICATINVALID",
    "UA_EBADNOTFOUND",
    "UA_EBADSIGNATURE",
    "UA_EBADMISMATCH",
    "UA_EBADOUTOFRESOURCE",
    "UA_EBADINUSE",
    "UA_EBADAGAIN",
    "UA_EBADOUTOFRANGE",
    "UA_EBADINTERNALERROR",
    "UA_EBADENCODINGLIMITSEXCEEDED",
    "UA_EBADENCODINGTOOLARGE",
    "UA_EBADACCESSDENIED",
    "UA_EBADLOOP",
    "UA_EBADFILEEXISTS",
    "UA_EBADFILENOTFOUND",
    "UA_EBADPATHNOTFOUND",
    "UA_EBADUNEXPECTED",
    "UA_EBADCOMMUNICATIONERROR",
    "UA_EBADSERVICERESPONSE",
    nullptr,
    "UA_EBADREFEXISTS",
    "UA_EBADREFISCONST",
    "UA_EBADNOTHINGTODO",
    "UA_EBADSECURITYCHECKSFAILED",
    "UA_EBADDUPLICATEENTRY",
    "UA_EBADCONFIGURATION",
    "UA_EBADSECURITYMODEINSUFFICIENT",
    "UA_EBADCERTIFICATEURIINVALID",
};

static_assert(sizeof kNames / sizeof kNames[0] == 2 - UA_EBADCERTIFICATEURIINVALID + 1);

}  // namespace

const char* util_error_lookup(int code) {
  const unsigned index = 2u - static_cast<unsigned>(code);
  if (index < sizeof kNames / sizeof kNames[0] && kNames[index] != nullptr) return kNames[index];
  trace(TRACE_LEVEL_ERROR, TRACE_COMPONENT_ALL, "%s: errorcode=%i: not in table\n",
        "util_error_lookup", code);
  return "<invalid errorcode>";
}

}  // namespace vos
