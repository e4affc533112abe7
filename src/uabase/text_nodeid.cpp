#include "uabase/text_nodeid.h"

#include <charconv>
#include <cstdio>
#include <cstring>
#include <vector>

#include "uabase/text_number.h"
#include "util/base64.h"
#include "util/errors.h"

namespace vos {

namespace {

int hex_value(char c) noexcept {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Reads exactly `digits` hexadecimal digits at `pos`.
bool read_hex(std::string_view text, std::size_t& pos, int digits, uint32_t& out) noexcept {
  if (text.size() - pos < static_cast<std::size_t>(digits)) return false;
  uint32_t v = 0;
  for (int i = 0; i < digits; ++i) {
    const int d = hex_value(text[pos + static_cast<std::size_t>(i)]);
    if (d < 0) return false;
    v = v << 4 | static_cast<uint32_t>(d);
  }
  pos += static_cast<std::size_t>(digits);
  out = v;
  return true;
}

bool expect(std::string_view text, std::size_t& pos, char c) noexcept {
  if (pos >= text.size() || text[pos] != c) return false;
  ++pos;
  return true;
}

// Copies `text` into `buf` as far as it fits, like the bounded formatter does.
int copy_out(const std::string& text, char* buf, std::size_t size) noexcept {
  if (buf == nullptr) return size == 0 ? static_cast<int>(text.size()) : UA_EBADINVALIDARGUMENT;
  if (size == 0) return UA_EBADINVALIDARGUMENT;
  const std::size_t n = text.size() < size ? text.size() : size - 1;
  std::memcpy(buf, text.data(), n);
  buf[n] = '\0';
  return n == text.size() ? static_cast<int>(n) : UA_EBADTRUNCATED;
}

}  // namespace

int ua_guid_to_string(const ua_guid& guid, char* buf, std::size_t size) noexcept {
  const uint8_t* d = guid.data4;
  return ua_snprintf(buf, size, "%08x-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x", guid.data1,
                     guid.data2, guid.data3, d[0], d[1], d[2], d[3], d[4], d[5], d[6], d[7]);
}

std::string ua_guid_to_text(const ua_guid& guid) {
  char buf[UA_GUID_TEXT_LENGTH + 1];
  ua_guid_to_string(guid, buf, sizeof buf);
  return buf;
}

int ua_guid_from_string(ua_guid& guid, std::string_view text) noexcept {
  ua_guid g;
  std::size_t pos = 0;
  uint32_t v = 0;
  if (!read_hex(text, pos, 8, v)) return UA_EBAD;
  g.data1 = v;
  if (!expect(text, pos, '-') || !read_hex(text, pos, 4, v)) return UA_EBAD;
  g.data2 = static_cast<uint16_t>(v);
  if (!expect(text, pos, '-') || !read_hex(text, pos, 4, v)) return UA_EBAD;
  g.data3 = static_cast<uint16_t>(v);
  if (!expect(text, pos, '-')) return UA_EBAD;
  for (int i = 0; i < 8; ++i) {
    if (i == 2 && !expect(text, pos, '-')) return UA_EBAD;
    if (!read_hex(text, pos, 2, v)) return UA_EBAD;
    g.data4[i] = static_cast<uint8_t>(v);
  }
  guid = g;
  return 0;
}

int ua_nodeid_from_string(ua_nodeid& nodeid, std::string_view text) {
  if (text.empty() || text.find('\0') != std::string_view::npos) return UA_EBADINVALIDARGUMENT;

  uint16_t ns = 0;
  std::string_view rest = text;
  if (text.size() >= 4 && text.substr(0, 3) == "ns=") {
    const char* end = nullptr;
    const int rc = ua_strtouint16(text.substr(3), &end, 10, ns);
    if (rc != 0) return rc;
    rest = text.substr(static_cast<std::size_t>(end - text.data()));
    if (rest.empty() || rest[0] != ';') return UA_EBADDECODING;
    rest.remove_prefix(1);
  }
  if (rest.size() < 2 || rest[1] != '=') return UA_EBADDECODING;
  const char kind = rest[0];
  const std::string_view id = rest.substr(2);

  switch (kind) {
    case 'i': {
      uint32_t value = 0;
      const int rc = ua_strtouint32(id, nullptr, 10, value);
      if (rc != 0) return rc;
      nodeid = ua_nodeid::make_numeric(ns, value);
      return 0;
    }
    case 's':
      nodeid = ua_nodeid::make_string(ns, id);
      return 0;
    case 'g': {
      ua_guid guid;
      if (id.size() < UA_GUID_TEXT_LENGTH || ua_guid_from_string(guid, id) != 0) return UA_EBAD;
      nodeid = ua_nodeid::make_guid(ns, guid);
      return 0;
    }
    case 'b': {
      std::vector<uint8_t> bytes;
      const int rc = base64_decode(id, bytes);
      if (rc != 0) return rc;
      nodeid = ua_nodeid::make_opaque(ns, bytes);
      return 0;
    }
    default:
      return UA_EBADDECODING;
  }
}

std::string ua_nodeid_to_text(const ua_nodeid& nodeid) {
  std::string out;
  ua_nodeid_append_text(out, nodeid);
  return out;
}

void ua_nodeid_append_text(std::string& out, const ua_nodeid& nodeid) {
  char digits[16];
  const auto number = [&](uint32_t v) {
    const auto r = std::to_chars(digits, digits + sizeof digits, v);
    out.append(digits, r.ptr);
  };
  if (nodeid.ns() != 0) {
    out += "ns=";
    number(nodeid.ns());
    out += ';';
  }
  switch (nodeid.type()) {
    case ua_nodeid_type::numeric:
      out += "i=";
      number(nodeid.numeric_id());
      break;
    case ua_nodeid_type::string:
      out += "s=";
      out += nodeid.string_id();
      break;
    case ua_nodeid_type::guid:
      out += "g=";
      out += ua_guid_to_text(nodeid.guid_id());
      break;
    case ua_nodeid_type::opaque: {
      const auto bytes = nodeid.opaque_id();
      out += "b=";
      base64_encode_append(out, bytes.data(), bytes.size());
      break;
    }
  }
}

int ua_nodeid_to_string(const ua_nodeid& nodeid, char* buf, std::size_t size) {
  const auto type = static_cast<unsigned>(nodeid.type());
  if (type > static_cast<unsigned>(ua_nodeid_type::opaque)) return UA_EBAD;
  return copy_out(ua_nodeid_to_text(nodeid), buf, size);
}

int ua_nodeid_to_ua_string(const ua_nodeid& nodeid, ua_string& out) {
  const auto type = static_cast<unsigned>(nodeid.type());
  if (type > static_cast<unsigned>(ua_nodeid_type::opaque)) return UA_EBAD;
  out.assign(ua_nodeid_to_text(nodeid));
  return 0;
}

ua_nodeid_printable_text ua_nodeid_printable(const ua_nodeid* nodeid) {
  ua_nodeid_printable_text out{};
  const auto put = [&out](std::string_view text) {
    const std::size_t n = text.copy(out.text, sizeof out.text - 1);
    out.text[n] = '\0';
  };
  if (nodeid == nullptr) {
    put("<null>");
  } else if (nodeid->type() == ua_nodeid_type::string && nodeid->string_id().empty()) {
    put("<empty>");
  } else if (static_cast<unsigned>(nodeid->type()) >
             static_cast<unsigned>(ua_nodeid_type::opaque)) {
    std::snprintf(out.text, sizeof out.text, "<invalid type=%i>", static_cast<int>(nodeid->type()));
  } else {
    put(ua_nodeid_to_text(*nodeid));
  }
  return out;
}

}  // namespace vos
