// Text forms of Guids and NodeIds.
//
// Guid: "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx" (Data1, Data2, Data3, then the eight bytes of
// Data4), written in lower case, read in either case.
// NodeId: "ns=<index>;" unless the namespace is 0, then "i=<number>", "s=<text>",
// "g=<guid>" or "b=<base64>".
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "uabase/types.h"

namespace vos {

// Length of the Guid text form.
inline constexpr std::size_t UA_GUID_TEXT_LENGTH = 36;

// Writes the Guid form into `buf` (NUL-terminated); returns 36, or UA_EBADTRUNCATED /
// UA_EBADINVALIDARGUMENT as the bounded formatter does.
int ua_guid_to_string(const ua_guid& guid, char* buf, std::size_t size) noexcept;
std::string ua_guid_to_text(const ua_guid& guid);

// Reads the Guid form at the start of `text`: the eleven fields must all be there with
// exactly their widths of hexadecimal digits and the four '-' between the groups; anything
// after the 36th character is ignored. Returns 0, or UA_EBAD (guid unchanged).
int ua_guid_from_string(ua_guid& guid, std::string_view text) noexcept;

// Parses the NodeId text form. Returns 0, or (nodeid unchanged):
//   UA_EBADINVALIDARGUMENT  empty text or a text with a NUL byte;
//   UA_EBADDECODING         no ';' after the namespace, no "<letter>=" or an unknown letter,
//                           no digits, invalid base64;
//   UA_EBADOUTOFRANGE       a namespace above 65535 or a number above 4294967295;
//   UA_EBAD                 a guid that does not match the Guid form.
// Characters after the digits of a numeric identifier are ignored.
int ua_nodeid_from_string(ua_nodeid& nodeid, std::string_view text);

// The text form; namespace 0 is never written.
std::string ua_nodeid_to_text(const ua_nodeid& nodeid);
// The same, appended to `out`.
void ua_nodeid_append_text(std::string& out, const ua_nodeid& nodeid);

// Writes the text form into `buf` (NUL-terminated) and returns the number of characters
// written; with a null buffer (and size 0) returns the number of characters needed.
// A buffer that is too small gets the cut text and UA_EBADTRUNCATED.
int ua_nodeid_to_string(const ua_nodeid& nodeid, char* buf, std::size_t size);

// The text form as an owned string; returns 0.
int ua_nodeid_to_ua_string(const ua_nodeid& nodeid, ua_string& out);

// The text form for messages, at most 63 characters: "<null>" for no NodeId, "<empty>" for
// an empty string identifier; longer texts are cut. Use it within one expression:
//   std::printf("node %s\n", ua_nodeid_printable(id).c_str());
struct ua_nodeid_printable_text {
  char text[64];
  const char* c_str() const noexcept { return text; }
};
ua_nodeid_printable_text ua_nodeid_printable(const ua_nodeid* nodeid);
inline ua_nodeid_printable_text ua_nodeid_printable(const ua_nodeid& nodeid) {
  return ua_nodeid_printable(&nodeid);
}

}  // namespace vos
