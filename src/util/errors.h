// Status codes of the library layers and their symbolic names.
//
// Operations return 0 for success, 1 from a parser when an optional element or attribute
// is absent, and one of the negative codes below for failure.
#pragma once

namespace vos {

inline constexpr int UA_EDETACH = 2;
inline constexpr int UA_EASYNC = 1;
inline constexpr int UA_EGOOD = 0;
inline constexpr int UA_EBAD = -1;
inline constexpr int UA_EBADDISCONNECT = -2;
inline constexpr int UA_EBADSHUTDOWN = -3;
inline constexpr int UA_EBADSOCKETCLOSED = -4;
inline constexpr int UA_EBADINVALIDARGUMENT = -5;
inline constexpr int UA_EBADNOBUF = -6;
inline constexpr int UA_EBADDECODING = -7;
inline constexpr int UA_EBADENCODING = -8;
inline constexpr int UA_EBADNOMEM = -9;
inline constexpr int UA_EBADNOTIMPL = -10;
inline constexpr int UA_EBADHOSTUNKNOWN = -11;
inline constexpr int UA_EBADSYSCALL = -12;
inline constexpr int UA_EBADOPCANCELLED = -13;
inline constexpr int UA_EBADOPTIMEOUT = -14;
inline constexpr int UA_EBADIOPENDING = -15;
inline constexpr int UA_EBADINVALIDSTATE = -16;
inline constexpr int UA_EBADTRUNCATED = -17;
inline constexpr int UA_EBADBUFTOOSMALL = -18;
inline constexpr int UA_EBADTOOMANYNESTEDCALLS = -19;
inline constexpr int UA_EBADNOTSUPPORTED = -20;
inline constexpr int UA_EBADCERTIFICATINVALID = -21;
inline constexpr int UA_EBADNOTFOUND = -22;
inline constexpr int UA_EBADSIGNATURE = -23;
inline constexpr int UA_EBADMISMATCH = -24;
inline constexpr int UA_EBADOUTOFRESOURCE = -25;
inline constexpr int UA_EBADINUSE = -26;
inline constexpr int UA_EBADAGAIN = -27;
inline constexpr int UA_EBADOUTOFRANGE = -28;
inline constexpr int UA_EBADINTERNALERROR = -29;
inline constexpr int UA_EBADENCODINGLIMITSEXCEEDED = -30;
inline constexpr int UA_EBADENCODINGTOOLARGE = -31;
inline constexpr int UA_EBADACCESSDENIED = -32;
inline constexpr int UA_EBADLOOP = -33;
inline constexpr int UA_EBADFILEEXISTS = -34;
inline constexpr int UA_EBADFILENOTFOUND = -35;
inline constexpr int UA_EBADPATHNOTFOUND = -36;
inline constexpr int UA_EBADUNEXPECTED = -37;
inline constexpr int UA_EBADCOMMUNICATIONERROR = -38;
inline constexpr int UA_EBADSERVICERESPONSE = -39;
inline constexpr int UA_EBADREFEXISTS = -41;
inline constexpr int UA_EBADREFISCONST = -42;
inline constexpr int UA_EBADNOTHINGTODO = -43;
inline constexpr int UA_EBADSECURITYCHECKSFAILED = -44;
inline constexpr int UA_EBADDUPLICATEENTRY = -45;
inline constexpr int UA_EBADCONFIGURATION = -46;
inline constexpr int UA_EBADSECURITYMODEINSUFFICIENT = -47;
inline constexpr int UA_EBADCERTIFICATEURIINVALID = -48;

// Returns the symbolic name of a status code ("UA_EBADDECODING"), or "<invalid errorcode>"
// after writing an ERROR trace line for a code that has no name. Never allocates.
const char* util_error_lookup(int code);

}  // namespace vos
