#include "uabase/encoder.h"

#include <algorithm>
#include <bit>
#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "uabase/dict.h"
#include "uabase/encoder_log.h"
#include "uabase/type_table.h"

namespace vos {

using detail::enter_level;

// ---------------------------------------------------------------------------------------------
// Settings and start-up

ua_encoder_settings& ua_encoder_global_settings() {
  static ua_encoder_settings settings;
  return settings;
}

void ua_encoder_set_max_call_depth(uint32_t depth) {
  ua_encoder_global_settings().max_call_depth = depth;
}

namespace {

int format_double(char* buf, std::size_t size, const char* format, double value) {
  return std::snprintf(buf, size, format, value);
}

ua_double_formatter g_double_formatter = format_double;

}  // namespace

ua_double_formatter ua_encoder_set_double_formatter(ua_double_formatter fmt) {
  ua_double_formatter prev = g_double_formatter;
  g_double_formatter = fmt != nullptr ? fmt : format_double;
  return prev;
}

int ua_encoder_selftest(ua_double_formatter fmt) {
  static constexpr char kExpected[] = "12345.125";
  static constexpr int kExpectedLen = sizeof kExpected - 1;
  char buf[16] = {};
  int n = fmt(buf, sizeof buf, "%.03f", 12345.125);
  buf[sizeof buf - 1] = '\0';
  if (n != kExpectedLen) {
    UA_LOG_ERROR("%s: snprintf returned %i, but expected %i\n", "ua_encoder_init", n, kExpectedLen);
    if (n > 0) {
      UA_LOG_ERROR("%s: snprintf created '%s', but expected '%s', probably a locale issue\n",
                   "ua_encoder_init", buf, kExpected);
    }
    return UA_EBADMISMATCH;
  }
  if (std::strcmp(buf, kExpected) != 0) {
    UA_LOG_ERROR("%s: snprintf created '%s', but expected '%s', probably a locale issue\n",
                 "ua_encoder_init", buf, kExpected);
    return UA_EBADMISMATCH;
  }
  return 0;
}

int ua_encoder_init() {
  int ret = ua_type_table_init();
  if (ret != 0) return ret;
  return ua_encoder_selftest(g_double_formatter);
}

// ---------------------------------------------------------------------------------------------
// Namespace map

void ua_namespace_map::add(uint16_t local, uint16_t remote) {
  pairs_.emplace_back(local, remote);
}

int ua_namespace_map::local_to_remote(uint16_t local, uint16_t* remote) const {
  for (const auto& [l, r] : pairs_) {
    if (l == local) {
      *remote = r;
      return 0;
    }
  }
  return UA_EBADNOTFOUND;
}

int ua_namespace_map::remote_to_local(uint16_t remote, uint16_t* local) const {
  for (const auto& [l, r] : pairs_) {
    if (r == remote) {
      *local = l;
      return 0;
    }
  }
  return UA_EBADNOTFOUND;
}

// ---------------------------------------------------------------------------------------------
// Encoder buffers

ua_encoder::ua_encoder(std::size_t block_size, const ua_encoder_settings& s)
    : settings(s), types(&ua_type_tables()) {
  if (block_size == 0) block_size = 4096;
  buffer_alloc = [block_size](ua_encoder& enc) -> std::span<uint8_t> {
    enc.owned_.push_back(std::make_unique_for_overwrite<uint8_t[]>(block_size));
    return {enc.owned_.back().get(), block_size};
  };
}

ua_encoder::ua_encoder(std::span<uint8_t> fixed, const ua_encoder_settings& s)
    : settings(s), types(&ua_type_tables()) {
  chain_.push_back({fixed.data(), fixed.size(), 0});
  pos_ = fixed.data();
  end_ = fixed.data() + fixed.size();
}

int ua_encoder::newbuffer() {
  std::size_t written = bytes_written_;
  if (cur_ < chain_.size()) {
    written += static_cast<std::size_t>(pos_ - chain_[cur_].data);
    if (cur_ + 1 < chain_.size()) {
      chain_[cur_].used = static_cast<std::size_t>(pos_ - chain_[cur_].data);
      bytes_written_ = written;
      ua_buffer& next = chain_[++cur_];
      next.used = 0;
      pos_ = next.data;
      end_ = next.data + next.size;
      return 0;
    }
  }
  if (!settings.allow_new_buffers) return UA_EBADNOBUF;
  if (chain_.size() >= max_buffers) {
    UA_LOG_INFO("ua_encoder_newbuffer: maximum number of buffers reached: %u\n", max_buffers);
    return UA_EBADENCODINGTOOLARGE;
  }
  if (written > max_bytes) {
    UA_LOG_INFO("ua_encoder_newbuffer: exceeded maximum bytes to be written: %u\n", max_bytes);
    return UA_EBADENCODINGTOOLARGE;
  }
  if (!buffer_alloc) {
    UA_LOG_ERROR("%s: cannot allocate buffer, ctx->buffer_alloc is not set\n",
                 "ua_encoder_newbuffer");
    return UA_EBADNOBUF;
  }
  std::span<uint8_t> mem = buffer_alloc(*this);
  if (mem.size() <= reserved_tail) return UA_EBADNOBUF;
  if (cur_ < chain_.size()) chain_[cur_].used = static_cast<std::size_t>(pos_ - chain_[cur_].data);
  bytes_written_ = written;
  chain_.push_back({mem.data(), mem.size() - reserved_tail, 0});
  cur_ = chain_.size() - 1;
  pos_ = chain_[cur_].data;
  end_ = pos_ + chain_[cur_].size;
  return 0;
}

int ua_encoder_newbuffer(ua_encoder& enc) {
  return enc.newbuffer();
}

int ua_encoder::write_slow(const uint8_t* p, std::size_t n) {
  while (n > 0) {
    std::size_t room = static_cast<std::size_t>(end_ - pos_);
    if (room == 0) {
      int ret = newbuffer();
      if (ret != 0) return ret;
      continue;
    }
    std::size_t k = std::min(room, n);
    std::memcpy(pos_, p, k);
    pos_ += k;
    p += k;
    n -= k;
  }
  return 0;
}

void ua_encoder::sync() const {
  if (cur_ < chain_.size()) chain_[cur_].used = static_cast<std::size_t>(pos_ - chain_[cur_].data);
}

std::size_t ua_encoder::size() const {
  if (cur_ >= chain_.size()) return bytes_written_;
  return bytes_written_ + static_cast<std::size_t>(pos_ - chain_[cur_].data);
}

const std::vector<ua_buffer>& ua_encoder::buffers() {
  sync();
  return chain_;
}

std::vector<uint8_t> ua_encoder::bytes() const {
  sync();
  std::vector<uint8_t> out;
  out.reserve(size());
  for (std::size_t i = 0; i < chain_.size() && i <= cur_; ++i)
    out.insert(out.end(), chain_[i].data, chain_[i].data + chain_[i].used);
  return out;
}

void ua_encoder::reset() {
  bytes_written_ = 0;
  depth = 0;
  if (chain_.empty()) {
    cur_ = 0;
    pos_ = end_ = nullptr;
    return;
  }
  for (ua_buffer& b : chain_) b.used = 0;
  cur_ = 0;
  pos_ = chain_[0].data;
  end_ = pos_ + chain_[0].size;
}

ua_encoder::mark ua_encoder::position() const {
  if (cur_ >= chain_.size()) return {chain_.size(), 0, bytes_written_};
  return {cur_, static_cast<std::size_t>(pos_ - chain_[cur_].data), size()};
}

void ua_encoder::patch(const mark& m, const void* p, std::size_t n) {
  sync();
  const auto* src = static_cast<const uint8_t*>(p);
  std::size_t b = m.buffer;
  std::size_t off = m.offset;
  while (n > 0 && b < chain_.size()) {
    if (off >= chain_[b].size) {
      ++b;
      off = 0;
      continue;
    }
    std::size_t k = std::min(chain_[b].size - off, n);
    std::memcpy(chain_[b].data + off, src, k);
    src += k;
    n -= k;
    off += k;
  }
}

ua_decoder::ua_decoder(std::span<const uint8_t> data, const ua_encoder_settings& s)
    : settings(s),
      types(&ua_type_tables()),
      begin_(data.data()),
      pos_(data.data()),
      end_(data.data() + data.size()) {}

// ---------------------------------------------------------------------------------------------
// Fixed-size numbers

namespace {

constexpr bool kLittleEndian = std::endian::native == std::endian::little;

template <class T>
T byteswap_if_needed(T v) {
  if constexpr (kLittleEndian || sizeof(T) == 1) {
    return v;
  } else {
    unsigned char b[sizeof(T)];
    std::memcpy(b, &v, sizeof v);
    std::reverse(b, b + sizeof(T));
    std::memcpy(&v, b, sizeof v);
    return v;
  }
}

template <class T>
inline int put(ua_encoder& enc, T v) {
  v = byteswap_if_needed(v);
  return enc.write(&v, sizeof v);
}

template <class T>
inline int get(ua_decoder& dec, T& v) {
  int ret = dec.read(&v, sizeof v);
  if (ret != 0) {
    v = T{};
    return ret;
  }
  v = byteswap_if_needed(v);
  return 0;
}

// Float and double travel as their IEEE 754 bits.
template <class F, class U>
inline int put_float(ua_encoder& enc, F v) {
  U bits;
  std::memcpy(&bits, &v, sizeof bits);
  return put(enc, bits);
}

template <class F, class U>
inline int get_float(ua_decoder& dec, F& v) {
  U bits;
  int ret = get(dec, bits);
  std::memcpy(&v, &bits, sizeof v);
  return ret;
}

}  // namespace

int ua_encode_boolean(ua_encoder& enc, bool v) {
  return enc.write_byte(v ? 1 : 0);
}
int ua_encode_sbyte(ua_encoder& enc, int8_t v) {
  return enc.write_byte(static_cast<uint8_t>(v));
}
int ua_encode_byte(ua_encoder& enc, uint8_t v) {
  return enc.write_byte(v);
}
int ua_encode_int16(ua_encoder& enc, int16_t v) {
  return put(enc, v);
}
int ua_encode_uint16(ua_encoder& enc, uint16_t v) {
  return put(enc, v);
}
int ua_encode_int32(ua_encoder& enc, int32_t v) {
  return put(enc, v);
}
int ua_encode_uint32(ua_encoder& enc, uint32_t v) {
  return put(enc, v);
}
int ua_encode_int64(ua_encoder& enc, int64_t v) {
  return put(enc, v);
}
int ua_encode_uint64(ua_encoder& enc, uint64_t v) {
  return put(enc, v);
}
int ua_encode_float(ua_encoder& enc, float v) {
  return put_float<float, uint32_t>(enc, v);
}
int ua_encode_double(ua_encoder& enc, double v) {
  return put_float<double, uint64_t>(enc, v);
}
int ua_encode_datetime(ua_encoder& enc, ua_datetime v) {
  return put(enc, v.ticks);
}
int ua_encode_statuscode(ua_encoder& enc, ua_statuscode v) {
  return put(enc, v.code);
}

int ua_encode_guid(ua_encoder& enc, const ua_guid& v) {
  int ret = put(enc, v.data1);
  if (ret == 0) ret = put(enc, v.data2);
  if (ret == 0) ret = put(enc, v.data3);
  if (ret == 0) ret = enc.write(v.data4, sizeof v.data4);
  return ret;
}

int ua_decode_boolean(ua_decoder& dec, bool& v) {
  uint8_t b;
  int ret = get(dec, b);
  v = b != 0;
  return ret;
}
int ua_decode_sbyte(ua_decoder& dec, int8_t& v) {
  return get(dec, v);
}
int ua_decode_byte(ua_decoder& dec, uint8_t& v) {
  return get(dec, v);
}
int ua_decode_int16(ua_decoder& dec, int16_t& v) {
  return get(dec, v);
}
int ua_decode_uint16(ua_decoder& dec, uint16_t& v) {
  return get(dec, v);
}
int ua_decode_int32(ua_decoder& dec, int32_t& v) {
  return get(dec, v);
}
int ua_decode_uint32(ua_decoder& dec, uint32_t& v) {
  return get(dec, v);
}
int ua_decode_int64(ua_decoder& dec, int64_t& v) {
  return get(dec, v);
}
int ua_decode_uint64(ua_decoder& dec, uint64_t& v) {
  return get(dec, v);
}
int ua_decode_float(ua_decoder& dec, float& v) {
  return get_float<float, uint32_t>(dec, v);
}
int ua_decode_double(ua_decoder& dec, double& v) {
  return get_float<double, uint64_t>(dec, v);
}
int ua_decode_datetime(ua_decoder& dec, ua_datetime& v) {
  return get(dec, v.ticks);
}
int ua_decode_statuscode(ua_decoder& dec, ua_statuscode& v) {
  return get(dec, v.code);
}

int ua_decode_guid(ua_decoder& dec, ua_guid& v) {
  int ret = get(dec, v.data1);
  if (ret == 0) ret = get(dec, v.data2);
  if (ret == 0) ret = get(dec, v.data3);
  if (ret == 0) ret = dec.read(v.data4, sizeof v.data4);
  if (ret != 0) v = ua_guid{};
  return ret;
}

// ---------------------------------------------------------------------------------------------
// Strings

namespace {

int encode_counted(ua_encoder& enc, const detail::counted_bytes& v, const void* data) {
  int ret = put(enc, v.length());
  if (ret == 0 && v.length() > 0) ret = enc.write(data, v.size());
  return ret;
}

// Reads an Int32 length and that many bytes into v within `limit` (0: none).
int decode_counted(ua_decoder& dec, detail::counted_bytes& v, int32_t limit, const char* fn,
                   const char* limit_msg) {
  int32_t len;
  int ret = get(dec, len);
  if (ret != 0) {
    v.clear();
    return ret;
  }
  if (len < -1) {
    v.clear();
    return UA_EBADDECODING;
  }
  if (len == -1) {
    v.clear();
    return 0;
  }
  if (limit > 0 && len > limit) {
    UA_LOG_ERROR(limit_msg, fn, len);
    v.clear();
    return UA_EBADENCODINGLIMITSEXCEEDED;
  }
  if (static_cast<std::size_t>(len) > dec.remaining()) {
    v.clear();
    return UA_EBADTRUNCATED;
  }
  uint8_t* p = v.try_allocate(static_cast<std::size_t>(len));
  if (p == nullptr) {
    v.clear();
    return UA_EBADNOMEM;
  }
  return dec.read(p, static_cast<std::size_t>(len));
}

int decode_string_limited(ua_decoder& dec, detail::counted_bytes& v) {
  return decode_counted(dec, v, dec.settings.max_string_length, "ua_decode_string",
                        "%s: string length exceeds configured limit: %i\n");
}

int decode_bytestring_limited(ua_decoder& dec, detail::counted_bytes& v) {
  return decode_counted(dec, v, dec.settings.max_bytestring_length, "ua_decode_bytestring",
                        "%s: bytestring length exceeds configured limit: %i\n");
}

}  // namespace

int ua_encode_string(ua_encoder& enc, const ua_string& v) {
  return encode_counted(enc, v, v.data());
}
int ua_encode_bytestring(ua_encoder& enc, const ua_bytestring& v) {
  return encode_counted(enc, v, v.data());
}
int ua_encode_xmlelement(ua_encoder& enc, const ua_bytestring& v) {
  return encode_counted(enc, v, v.data());
}

int ua_decode_string(ua_decoder& dec, ua_string& v) {
  return decode_string_limited(dec, v);
}
int ua_decode_bytestring(ua_decoder& dec, ua_bytestring& v) {
  return decode_bytestring_limited(dec, v);
}
int ua_decode_xmlelement(ua_decoder& dec, ua_bytestring& v) {
  return decode_bytestring_limited(dec, v);
}

// ---------------------------------------------------------------------------------------------
// NodeId, ExpandedNodeId, QualifiedName, LocalizedText

namespace {

// NodeId encoding bytes.
constexpr uint8_t kNodeIdTwoByte = 0x00;
constexpr uint8_t kNodeIdFourByte = 0x01;
constexpr uint8_t kNodeIdNumeric = 0x02;
constexpr uint8_t kNodeIdString = 0x03;
constexpr uint8_t kNodeIdGuid = 0x04;
constexpr uint8_t kNodeIdByteString = 0x05;
// ExpandedNodeId flags in the same byte.
constexpr uint8_t kExpandedUri = 0x80;
constexpr uint8_t kExpandedServerIndex = 0x40;

int encode_nodeid_with_flags(ua_encoder& enc, const ua_nodeid& v, uint8_t flags) {
  const uint16_t ns = v.ns();
  int ret;
  switch (v.type()) {
    case ua_nodeid_type::numeric: {
      const uint32_t id = v.numeric_id();
      if (ns == 0 && id <= 0xFF) {
        uint8_t b[2] = {static_cast<uint8_t>(kNodeIdTwoByte | flags), static_cast<uint8_t>(id)};
        return enc.write(b, 2);
      }
      if (ns <= 0xFF && id <= 0xFFFF) {
        uint8_t b[4] = {static_cast<uint8_t>(kNodeIdFourByte | flags), static_cast<uint8_t>(ns),
                        static_cast<uint8_t>(id), static_cast<uint8_t>(id >> 8)};
        return enc.write(b, 4);
      }
      ret = enc.write_byte(static_cast<uint8_t>(kNodeIdNumeric | flags));
      if (ret == 0) ret = put(enc, ns);
      if (ret == 0) ret = put(enc, id);
      return ret;
    }
    case ua_nodeid_type::string: {
      std::string_view s = v.string_id();
      ret = enc.write_byte(static_cast<uint8_t>(kNodeIdString | flags));
      if (ret == 0) ret = put(enc, ns);
      if (ret == 0) ret = put(enc, static_cast<int32_t>(s.size()));
      if (ret == 0) ret = enc.write(s.data(), s.size());
      return ret;
    }
    case ua_nodeid_type::guid:
      ret = enc.write_byte(static_cast<uint8_t>(kNodeIdGuid | flags));
      if (ret == 0) ret = put(enc, ns);
      if (ret == 0) ret = ua_encode_guid(enc, v.guid_id());
      return ret;
    case ua_nodeid_type::opaque: {
      std::span<const uint8_t> b = v.opaque_id();
      ret = enc.write_byte(static_cast<uint8_t>(kNodeIdByteString | flags));
      if (ret == 0) ret = put(enc, ns);
      if (ret == 0) ret = put(enc, static_cast<int32_t>(b.size()));
      if (ret == 0) ret = enc.write(b.data(), b.size());
      return ret;
    }
  }
  return UA_EBADENCODING;
}

// Decodes a NodeId body after its encoding byte (flags removed).
int decode_nodeid_body(ua_decoder& dec, uint8_t kind, ua_nodeid& v) {
  int ret;
  switch (kind) {
    case kNodeIdTwoByte: {
      uint8_t id;
      ret = get(dec, id);
      if (ret == 0) v = ua_nodeid(0, id);
      return ret;
    }
    case kNodeIdFourByte: {
      uint8_t ns;
      uint16_t id;
      ret = get(dec, ns);
      if (ret == 0) ret = get(dec, id);
      if (ret == 0) v = ua_nodeid(ns, id);
      return ret;
    }
    case kNodeIdNumeric: {
      uint16_t ns;
      uint32_t id;
      ret = get(dec, ns);
      if (ret == 0) ret = get(dec, id);
      if (ret == 0) v = ua_nodeid(ns, id);
      return ret;
    }
    case kNodeIdString:
    case kNodeIdByteString: {
      uint16_t ns;
      ret = get(dec, ns);
      if (ret != 0) return ret;
      ua_bytestring id;
      ret = kind == kNodeIdString ? decode_string_limited(dec, id)
                                  : decode_bytestring_limited(dec, id);
      if (ret != 0) return ret;
      v = kind == kNodeIdString ? ua_nodeid::make_string(ns, id.view())
                                : ua_nodeid::make_opaque(ns, id.bytes());
      return 0;
    }
    case kNodeIdGuid: {
      uint16_t ns;
      ua_guid g;
      ret = get(dec, ns);
      if (ret == 0) ret = ua_decode_guid(dec, g);
      if (ret == 0) v = ua_nodeid::make_guid(ns, g);
      return ret;
    }
    default:
      return UA_EBADDECODING;
  }
}

}  // namespace

int ua_encode_nodeid(ua_encoder& enc, const ua_nodeid& v) {
  return encode_nodeid_with_flags(enc, v, 0);
}

int ua_decode_nodeid(ua_decoder& dec, ua_nodeid& v) {
  v.clear();
  uint8_t kind;
  int ret = get(dec, kind);
  if (ret == 0) ret = decode_nodeid_body(dec, kind, v);
  if (ret != 0) v.clear();
  return ret;
}

int ua_encode_expandednodeid(ua_encoder& enc, const ua_expandednodeid& v) {
  uint8_t flags = 0;
  if (!v.namespace_uri.is_null()) flags |= kExpandedUri;
  if (v.server_index != 0) flags |= kExpandedServerIndex;
  int ret = encode_nodeid_with_flags(enc, v.node_id, flags);
  if (ret == 0 && (flags & kExpandedUri) != 0) ret = ua_encode_string(enc, v.namespace_uri);
  if (ret == 0 && (flags & kExpandedServerIndex) != 0) ret = put(enc, v.server_index);
  return ret;
}

int ua_decode_expandednodeid(ua_decoder& dec, ua_expandednodeid& v) {
  v = ua_expandednodeid{};
  uint8_t kind;
  int ret = get(dec, kind);
  if (ret == 0) ret = decode_nodeid_body(dec, kind & 0x3F, v.node_id);
  if (ret == 0 && (kind & kExpandedUri) != 0) ret = ua_decode_string(dec, v.namespace_uri);
  if (ret == 0 && (kind & kExpandedServerIndex) != 0) ret = get(dec, v.server_index);
  if (ret != 0) v = ua_expandednodeid{};
  return ret;
}

int ua_encode_qualifiedname(ua_encoder& enc, const ua_qualifiedname& v) {
  int ret = put(enc, v.ns);
  if (ret == 0) ret = ua_encode_string(enc, v.name);
  return ret;
}

int ua_decode_qualifiedname(ua_decoder& dec, ua_qualifiedname& v) {
  int ret = get(dec, v.ns);
  if (ret == 0) ret = ua_decode_string(dec, v.name);
  if (ret != 0) v = ua_qualifiedname{};
  return ret;
}

namespace {
constexpr uint8_t kTextLocale = 0x01;
constexpr uint8_t kTextText = 0x02;
}  // namespace

int ua_encode_localizedtext(ua_encoder& enc, const ua_localizedtext& v) {
  uint8_t mask = 0;
  if (!v.locale.is_null()) mask |= kTextLocale;
  if (!v.text.is_null()) mask |= kTextText;
  int ret = enc.write_byte(mask);
  if (ret == 0 && (mask & kTextLocale) != 0) ret = ua_encode_string(enc, v.locale);
  if (ret == 0 && (mask & kTextText) != 0) ret = ua_encode_string(enc, v.text);
  return ret;
}

int ua_decode_localizedtext(ua_decoder& dec, ua_localizedtext& v) {
  v = ua_localizedtext{};
  uint8_t mask;
  int ret = get(dec, mask);
  if (ret == 0 && (mask & ~(kTextLocale | kTextText)) != 0) ret = UA_EBADDECODING;
  if (ret == 0 && (mask & kTextLocale) != 0) ret = ua_decode_string(dec, v.locale);
  if (ret == 0 && (mask & kTextText) != 0) ret = ua_decode_string(dec, v.text);
  if (ret != 0) v = ua_localizedtext{};
  return ret;
}

// ---------------------------------------------------------------------------------------------
// DataValue and DiagnosticInfo

int ua_encode_datavalue(ua_encoder& enc, const ua_datavalue& v) {
  const uint8_t mask = v.mask & 0x3F;
  int ret = enc.write_byte(mask);
  if (ret == 0 && (mask & UA_DATAVALUE_VALUE) != 0) {
    ret = enter_level(enc.depth, enc.settings.max_call_depth, "ua_encode_datavalue");
    if (ret != 0) return ret;
    ret = ua_encode_variant(enc, v.value);
    --enc.depth;
  }
  if (ret == 0 && (mask & UA_DATAVALUE_STATUS) != 0) ret = ua_encode_statuscode(enc, v.status);
  if (ret == 0 && (mask & UA_DATAVALUE_SOURCE_TIMESTAMP) != 0)
    ret = ua_encode_datetime(enc, v.source_timestamp);
  if (ret == 0 && (mask & UA_DATAVALUE_SOURCE_PICOSECONDS) != 0)
    ret = put(enc, v.source_picoseconds);
  if (ret == 0 && (mask & UA_DATAVALUE_SERVER_TIMESTAMP) != 0)
    ret = ua_encode_datetime(enc, v.server_timestamp);
  if (ret == 0 && (mask & UA_DATAVALUE_SERVER_PICOSECONDS) != 0)
    ret = put(enc, v.server_picoseconds);
  return ret;
}

int ua_decode_datavalue(ua_decoder& dec, ua_datavalue& v) {
  v = ua_datavalue{};
  uint8_t mask;
  int ret = get(dec, mask);
  if (ret == 0 && (mask & 0xC0) != 0) ret = UA_EBADDECODING;
  if (ret == 0 && (mask & UA_DATAVALUE_VALUE) != 0) {
    ret = enter_level(dec.depth, dec.settings.max_call_depth, "ua_decode_datavalue");
    if (ret == 0) {
      ret = ua_decode_variant(dec, v.value);
      --dec.depth;
    }
  }
  if (ret == 0 && (mask & UA_DATAVALUE_STATUS) != 0) ret = ua_decode_statuscode(dec, v.status);
  if (ret == 0 && (mask & UA_DATAVALUE_SOURCE_TIMESTAMP) != 0)
    ret = ua_decode_datetime(dec, v.source_timestamp);
  if (ret == 0 && (mask & UA_DATAVALUE_SOURCE_PICOSECONDS) != 0)
    ret = get(dec, v.source_picoseconds);
  if (ret == 0 && (mask & UA_DATAVALUE_SERVER_TIMESTAMP) != 0)
    ret = ua_decode_datetime(dec, v.server_timestamp);
  if (ret == 0 && (mask & UA_DATAVALUE_SERVER_PICOSECONDS) != 0)
    ret = get(dec, v.server_picoseconds);
  if (ret != 0) {
    v = ua_datavalue{};
    return ret;
  }
  v.mask = mask;
  return 0;
}

int ua_encode_diagnosticinfo(ua_encoder& enc, const ua_diagnosticinfo& v) {
  uint8_t mask = v.mask & 0x7F;
  if (!v.inner_diagnostic_info)
    mask &= static_cast<uint8_t>(~UA_DIAGNOSTICINFO_INNER_DIAGNOSTIC_INFO);
  int ret = enc.write_byte(mask);
  // Locale precedes LocalizedText on the wire although its mask bit is the higher one.
  if (ret == 0 && (mask & UA_DIAGNOSTICINFO_SYMBOLIC_ID) != 0) ret = put(enc, v.symbolic_id);
  if (ret == 0 && (mask & UA_DIAGNOSTICINFO_NAMESPACE_URI) != 0) ret = put(enc, v.namespace_uri);
  if (ret == 0 && (mask & UA_DIAGNOSTICINFO_LOCALE) != 0) ret = put(enc, v.locale);
  if (ret == 0 && (mask & UA_DIAGNOSTICINFO_LOCALIZED_TEXT) != 0) ret = put(enc, v.localized_text);
  if (ret == 0 && (mask & UA_DIAGNOSTICINFO_ADDITIONAL_INFO) != 0)
    ret = ua_encode_string(enc, v.additional_info);
  if (ret == 0 && (mask & UA_DIAGNOSTICINFO_INNER_STATUS_CODE) != 0)
    ret = ua_encode_statuscode(enc, v.inner_status_code);
  if (ret == 0 && (mask & UA_DIAGNOSTICINFO_INNER_DIAGNOSTIC_INFO) != 0) {
    ret = enter_level(enc.depth, enc.settings.max_call_depth, "ua_encode_diagnosticinfo");
    if (ret != 0) return ret;
    ret = ua_encode_diagnosticinfo(enc, *v.inner_diagnostic_info);
    --enc.depth;
  }
  return ret;
}

int ua_decode_diagnosticinfo(ua_decoder& dec, ua_diagnosticinfo& v) {
  v = ua_diagnosticinfo{};
  uint8_t mask;
  int ret = get(dec, mask);
  if (ret == 0 && (mask & 0x80) != 0) ret = UA_EBADDECODING;
  if (ret == 0 && (mask & UA_DIAGNOSTICINFO_SYMBOLIC_ID) != 0) ret = get(dec, v.symbolic_id);
  if (ret == 0 && (mask & UA_DIAGNOSTICINFO_NAMESPACE_URI) != 0) ret = get(dec, v.namespace_uri);
  if (ret == 0 && (mask & UA_DIAGNOSTICINFO_LOCALE) != 0) ret = get(dec, v.locale);
  if (ret == 0 && (mask & UA_DIAGNOSTICINFO_LOCALIZED_TEXT) != 0) ret = get(dec, v.localized_text);
  if (ret == 0 && (mask & UA_DIAGNOSTICINFO_ADDITIONAL_INFO) != 0)
    ret = ua_decode_string(dec, v.additional_info);
  if (ret == 0 && (mask & UA_DIAGNOSTICINFO_INNER_STATUS_CODE) != 0)
    ret = ua_decode_statuscode(dec, v.inner_status_code);
  if (ret == 0 && (mask & UA_DIAGNOSTICINFO_INNER_DIAGNOSTIC_INFO) != 0) {
    ret = enter_level(dec.depth, dec.settings.max_call_depth, "ua_decode_diagnosticinfo");
    if (ret == 0) {
      ret = ua_decode_diagnosticinfo(dec, v.inner_diagnostic_info.emplace());
      --dec.depth;
    }
  }
  if (ret != 0) {
    v = ua_diagnosticinfo{};
    return ret;
  }
  v.mask = mask;
  return 0;
}

// ---------------------------------------------------------------------------------------------
// Dispatch by built-in type code

int ua_encode_builtin(ua_encoder& enc, uint8_t code, const void* p) {
  switch (code) {
    case UA_VT_BOOLEAN:
      return ua_encode_boolean(enc, *static_cast<const bool*>(p));
    case UA_VT_SBYTE:
      return ua_encode_sbyte(enc, *static_cast<const int8_t*>(p));
    case UA_VT_BYTE:
      return ua_encode_byte(enc, *static_cast<const uint8_t*>(p));
    case UA_VT_INT16:
      return ua_encode_int16(enc, *static_cast<const int16_t*>(p));
    case UA_VT_UINT16:
      return ua_encode_uint16(enc, *static_cast<const uint16_t*>(p));
    case UA_VT_INT32:
      return ua_encode_int32(enc, *static_cast<const int32_t*>(p));
    case UA_VT_UINT32:
      return ua_encode_uint32(enc, *static_cast<const uint32_t*>(p));
    case UA_VT_INT64:
      return ua_encode_int64(enc, *static_cast<const int64_t*>(p));
    case UA_VT_UINT64:
      return ua_encode_uint64(enc, *static_cast<const uint64_t*>(p));
    case UA_VT_FLOAT:
      return ua_encode_float(enc, *static_cast<const float*>(p));
    case UA_VT_DOUBLE:
      return ua_encode_double(enc, *static_cast<const double*>(p));
    case UA_VT_STRING:
      return ua_encode_string(enc, *static_cast<const ua_string*>(p));
    case UA_VT_DATETIME:
      return ua_encode_datetime(enc, *static_cast<const ua_datetime*>(p));
    case UA_VT_GUID:
      return ua_encode_guid(enc, *static_cast<const ua_guid*>(p));
    case UA_VT_BYTESTRING:
      return ua_encode_bytestring(enc, *static_cast<const ua_bytestring*>(p));
    case UA_VT_XMLELEMENT:
      return ua_encode_xmlelement(enc, *static_cast<const ua_bytestring*>(p));
    case UA_VT_NODEID:
      return ua_encode_nodeid(enc, *static_cast<const ua_nodeid*>(p));
    case UA_VT_EXPANDEDNODEID:
      return ua_encode_expandednodeid(enc, *static_cast<const ua_expandednodeid*>(p));
    case UA_VT_STATUSCODE:
      return ua_encode_statuscode(enc, *static_cast<const ua_statuscode*>(p));
    case UA_VT_QUALIFIEDNAME:
      return ua_encode_qualifiedname(enc, *static_cast<const ua_qualifiedname*>(p));
    case UA_VT_LOCALIZEDTEXT:
      return ua_encode_localizedtext(enc, *static_cast<const ua_localizedtext*>(p));
    case UA_VT_EXTENSIONOBJECT:
      return ua_encode_extensionobject(enc, *static_cast<const ua_extensionobject*>(p));
    case UA_VT_DATAVALUE:
      return ua_encode_datavalue(enc, *static_cast<const ua_datavalue*>(p));
    case UA_VT_VARIANT:
      return ua_encode_variant(enc, *static_cast<const ua_variant*>(p));
    case UA_VT_DIAGNOSTICINFO:
      return ua_encode_diagnosticinfo(enc, *static_cast<const ua_diagnosticinfo*>(p));
    default:
      return UA_EBADENCODING;
  }
}

int ua_decode_builtin(ua_decoder& dec, uint8_t code, void* p) {
  switch (code) {
    case UA_VT_BOOLEAN:
      return ua_decode_boolean(dec, *static_cast<bool*>(p));
    case UA_VT_SBYTE:
      return ua_decode_sbyte(dec, *static_cast<int8_t*>(p));
    case UA_VT_BYTE:
      return ua_decode_byte(dec, *static_cast<uint8_t*>(p));
    case UA_VT_INT16:
      return ua_decode_int16(dec, *static_cast<int16_t*>(p));
    case UA_VT_UINT16:
      return ua_decode_uint16(dec, *static_cast<uint16_t*>(p));
    case UA_VT_INT32:
      return ua_decode_int32(dec, *static_cast<int32_t*>(p));
    case UA_VT_UINT32:
      return ua_decode_uint32(dec, *static_cast<uint32_t*>(p));
    case UA_VT_INT64:
      return ua_decode_int64(dec, *static_cast<int64_t*>(p));
    case UA_VT_UINT64:
      return ua_decode_uint64(dec, *static_cast<uint64_t*>(p));
    case UA_VT_FLOAT:
      return ua_decode_float(dec, *static_cast<float*>(p));
    case UA_VT_DOUBLE:
      return ua_decode_double(dec, *static_cast<double*>(p));
    case UA_VT_STRING:
      return ua_decode_string(dec, *static_cast<ua_string*>(p));
    case UA_VT_DATETIME:
      return ua_decode_datetime(dec, *static_cast<ua_datetime*>(p));
    case UA_VT_GUID:
      return ua_decode_guid(dec, *static_cast<ua_guid*>(p));
    case UA_VT_BYTESTRING:
      return ua_decode_bytestring(dec, *static_cast<ua_bytestring*>(p));
    case UA_VT_XMLELEMENT:
      return ua_decode_xmlelement(dec, *static_cast<ua_bytestring*>(p));
    case UA_VT_NODEID:
      return ua_decode_nodeid(dec, *static_cast<ua_nodeid*>(p));
    case UA_VT_EXPANDEDNODEID:
      return ua_decode_expandednodeid(dec, *static_cast<ua_expandednodeid*>(p));
    case UA_VT_STATUSCODE:
      return ua_decode_statuscode(dec, *static_cast<ua_statuscode*>(p));
    case UA_VT_QUALIFIEDNAME:
      return ua_decode_qualifiedname(dec, *static_cast<ua_qualifiedname*>(p));
    case UA_VT_LOCALIZEDTEXT:
      return ua_decode_localizedtext(dec, *static_cast<ua_localizedtext*>(p));
    case UA_VT_EXTENSIONOBJECT:
      return ua_decode_extensionobject(dec, *static_cast<ua_extensionobject*>(p));
    case UA_VT_DATAVALUE:
      return ua_decode_datavalue(dec, *static_cast<ua_datavalue*>(p));
    case UA_VT_VARIANT:
      return ua_decode_variant(dec, *static_cast<ua_variant*>(p));
    case UA_VT_DIAGNOSTICINFO:
      return ua_decode_diagnosticinfo(dec, *static_cast<ua_diagnosticinfo*>(p));
    default:
      return UA_EBADDECODING;
  }
}

// ---------------------------------------------------------------------------------------------
// Arrays

namespace {

// Types whose C++ value has exactly the layout of their little-endian encoding.
bool is_wire_layout(uint8_t code) {
  if (code == UA_VT_SBYTE || code == UA_VT_BYTE) return true;
  // Boolean for encoding only (bool holds 0 or 1); the floating-point types are their
  // IEEE 754 bytes.
  return kLittleEndian && (ua_builtin_is_plain(code) || code == UA_VT_BOOLEAN ||
                           code == UA_VT_FLOAT || code == UA_VT_DOUBLE);
}

template <class T, class F>
int encode_each(ua_encoder& enc, const void* data, std::size_t n, F fn) {
  const T* p = static_cast<const T*>(data);
  for (std::size_t i = 0; i < n; ++i) {
    int ret = fn(enc, p[i]);
    if (ret != 0) return ret;
  }
  return 0;
}

int encode_elements(ua_encoder& enc, uint8_t code, const void* data, std::size_t n) {
  if (n == 0) return 0;
  if (is_wire_layout(code)) return enc.write(data, n * ua_builtin_size(code));
  switch (code) {
    case UA_VT_STRING:
      return encode_each<ua_string>(enc, data, n, ua_encode_string);
    case UA_VT_BYTESTRING:
    case UA_VT_XMLELEMENT:
      return encode_each<ua_bytestring>(enc, data, n, ua_encode_bytestring);
    case UA_VT_NODEID:
      return encode_each<ua_nodeid>(enc, data, n, ua_encode_nodeid);
    case UA_VT_LOCALIZEDTEXT:
      return encode_each<ua_localizedtext>(enc, data, n, ua_encode_localizedtext);
    case UA_VT_QUALIFIEDNAME:
      return encode_each<ua_qualifiedname>(enc, data, n, ua_encode_qualifiedname);
    default: {
      const std::size_t size = ua_builtin_size(code);
      if (size == 0) return UA_EBADENCODING;
      const auto* p = static_cast<const unsigned char*>(data);
      for (std::size_t i = 0; i < n; ++i, p += size) {
        int ret = ua_encode_builtin(enc, code, p);
        if (ret != 0) return ret;
      }
      return 0;
    }
  }
}

int decode_elements(ua_decoder& dec, uint8_t code, void* data, std::size_t n) {
  if (n == 0) return 0;
  if (code != UA_VT_BOOLEAN && is_wire_layout(code))
    return dec.read(data, n * ua_builtin_size(code));
  const std::size_t size = ua_builtin_size(code);
  if (size == 0) return UA_EBADDECODING;
  auto* p = static_cast<unsigned char*>(data);
  for (std::size_t i = 0; i < n; ++i, p += size) {
    int ret = ua_decode_builtin(dec, code, p);
    if (ret != 0) return ret;
  }
  return 0;
}

}  // namespace

int ua_encode_array(ua_encoder& enc, uint8_t code, const void* data, std::size_t n) {
  if (n > static_cast<std::size_t>(INT32_MAX)) return UA_EBADENCODINGLIMITSEXCEEDED;
  int ret = put(enc, static_cast<int32_t>(n));
  if (ret == 0) ret = encode_elements(enc, code, data, n);
  return ret;
}

int ua_builtin_decode_array_length(ua_decoder& dec, int32_t& len) {
  int ret = get(dec, len);
  if (ret != 0) {
    len = 0;
    return ret;
  }
  if (len == 0 || len == -1) {
    len = 0;
    return 0;
  }
  if (len < -1) {
    UA_LOG_ERROR("%s: invalid array length: %i\n", "ua_builtin_decode_array_length", len);
    len = 0;
    return UA_EBADDECODING;
  }
  if (dec.settings.max_array_length > 0 && len > dec.settings.max_array_length) {
    UA_LOG_ERROR("%s: array length exceeds configured limit: %i\n",
                 "ua_builtin_decode_array_length", len);
    len = 0;
    return UA_EBADENCODINGLIMITSEXCEEDED;
  }
  return 0;
}

// ---------------------------------------------------------------------------------------------
// Variant

namespace {
constexpr uint8_t kVariantArray = UA_VT_ARRAY;
constexpr uint8_t kVariantDims = UA_VT_MATRIX;
}  // namespace

int ua_encode_variant(ua_encoder& enc, const ua_variant& v) {
  const uint8_t code = v.type();
  if (v.is_empty()) return enc.write_byte(0);
  if (code > UA_VT_MAX || (v.is_matrix() && !v.is_array())) return UA_EBADENCODING;
  int ret = enc.write_byte(v.type_byte());
  if (ret != 0) return ret;
  if (!v.is_array()) {
    // A variant never holds a scalar variant.
    if (code == UA_VT_VARIANT) return UA_EBADENCODING;
    return ua_encode_builtin(enc, code, v.scalar_data());
  }
  const auto n = static_cast<std::size_t>(v.length());
  if (code == UA_VT_VARIANT) {
    ret = enter_level(enc.depth, enc.settings.max_call_depth, "ua_encode_variant_array");
    if (ret != 0) return ret;
    ret = ua_encode_array(enc, code, v.array_data(), n);
    --enc.depth;
  } else {
    ret = ua_encode_array(enc, code, v.array_data(), n);
  }
  if (ret == 0 && v.is_matrix()) {
    std::span<const int32_t> dims = v.dimensions();
    ret = ua_encode_array(enc, UA_VT_INT32, dims.data(), dims.size());
  }
  return ret;
}

int ua_decode_variant_array(ua_decoder& dec, uint8_t code, int32_t len, ua_variant& v) {
  v.clear();
  if (len < 0) return UA_EBADDECODING;
  const auto n = static_cast<std::size_t>(len);
  // Every element takes at least one byte: refuse lengths the input cannot hold before
  // allocating.
  if (n > dec.remaining()) return UA_EBADTRUNCATED;
  int ret = 0;
  const bool nested = code == UA_VT_VARIANT;
  if (nested) {
    ret = enter_level(dec.depth, dec.settings.max_call_depth, "ua_decode_variant_array");
    if (ret != 0) return ret;
  }
  void* data = v.try_emplace_array(code, n);
  if (data == nullptr && n != 0)
    ret = ua_builtin_ops(code) == nullptr ? UA_EBADDECODING : UA_EBADNOMEM;
  if (ret == 0) ret = decode_elements(dec, code, data, n);
  if (nested) --dec.depth;
  if (ret != 0) v.clear();
  return ret;
}

int ua_decode_variant(ua_decoder& dec, ua_variant& v) {
  v.clear();
  uint8_t mask;
  int ret = get(dec, mask);
  if (ret != 0) return ret;
  const uint8_t code = mask & UA_VT_TYPEMASK;
  if (code == UA_VT_NULL) return mask == 0 ? 0 : UA_EBADDECODING;
  if (code > UA_VT_MAX) return UA_EBADDECODING;
  if ((mask & kVariantArray) == 0) {
    if ((mask & kVariantDims) != 0 || code == UA_VT_VARIANT) return UA_EBADDECODING;
    ret = ua_decode_builtin(dec, code, v.emplace_scalar(code));
    if (ret != 0) v.clear();
    return ret;
  }
  int32_t len;
  ret = ua_builtin_decode_array_length(dec, len);
  if (ret == 0) ret = ua_decode_variant_array(dec, code, len, v);
  if (ret == 0 && (mask & kVariantDims) != 0) {
    int32_t ndims;
    ret = ua_builtin_decode_array_length(dec, ndims);
    if (ret == 0 && (ndims == 0 || static_cast<std::size_t>(ndims) * 4 > dec.remaining()))
      ret = ndims == 0 ? UA_EBADDECODING : UA_EBADTRUNCATED;
    if (ret == 0) {
      ua_array<int32_t> dims;
      if (!dims.try_resize(static_cast<std::size_t>(ndims))) ret = UA_EBADNOMEM;
      int64_t product = 1;
      for (std::size_t i = 0; ret == 0 && i < dims.size(); ++i) {
        ret = get(dec, dims[i]);
        if (ret == 0 && dims[i] < 0) ret = UA_EBADDECODING;
        if (ret == 0) product = std::min<int64_t>(product * dims[i], INT64_C(1) << 40);
      }
      if (ret == 0 && product != v.length()) ret = UA_EBADDECODING;
      if (ret == 0) v.set_dimensions(dims.span());
    }
  }
  if (ret != 0) v.clear();
  return ret;
}

int ua_decode_variant_skip(ua_decoder& dec) {
  uint8_t mask;
  int ret = get(dec, mask);
  if (ret != 0) return ret;
  if ((mask & (kVariantArray | kVariantDims)) != 0) {
    UA_LOG_ERROR("%s: array and matrix are not supported\n", "ua_decode_variant_skip");
    return UA_EBADNOTSUPPORTED;
  }
  const uint8_t code = mask & UA_VT_TYPEMASK;
  if (code == UA_VT_NULL) return 0;
  if (code > UA_VT_MAX || code == UA_VT_VARIANT) return UA_EBADDECODING;
  if (is_wire_layout(code) || code == UA_VT_BOOLEAN) return dec.skip(ua_builtin_size(code));
  if (code == UA_VT_STRING || code == UA_VT_BYTESTRING || code == UA_VT_XMLELEMENT) {
    int32_t len;
    ret = get(dec, len);
    if (ret != 0) return ret;
    if (len < -1) return UA_EBADDECODING;
    return len > 0 ? dec.skip(static_cast<std::size_t>(len)) : 0;
  }
  // Values with an inner structure are read and dropped.
  ua_variant scratch;
  return ua_decode_builtin(dec, code, scratch.emplace_scalar(code));
}

// ---------------------------------------------------------------------------------------------
// Extension objects

namespace {

constexpr uint8_t kBodyNone = 0x00;
constexpr uint8_t kBodyBinary = 0x01;
constexpr uint8_t kBodyXml = 0x02;

// Text of a NodeId for messages.
struct nodeid_text {
  char buf[96];
  explicit nodeid_text(const ua_nodeid& id) {
    int n = id.ns() != 0 ? std::snprintf(buf, sizeof buf, "ns=%u;", id.ns()) : 0;
    char* p = buf + n;
    std::size_t room = sizeof buf - static_cast<std::size_t>(n);
    switch (id.type()) {
      case ua_nodeid_type::numeric:
        std::snprintf(p, room, "i=%" PRIu32, id.numeric_id());
        break;
      case ua_nodeid_type::string:
        std::snprintf(p, room, "s=%.*s",
                      static_cast<int>(std::min<std::size_t>(id.string_id().size(), 64)),
                      id.string_id().data());
        break;
      case ua_nodeid_type::guid: {
        ua_guid g = id.guid_id();
        std::snprintf(p, room, "g=%08" PRIx32 "-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x",
                      g.data1, g.data2, g.data3, g.data4[0], g.data4[1], g.data4[2], g.data4[3],
                      g.data4[4], g.data4[5], g.data4[6], g.data4[7]);
        break;
      }
      case ua_nodeid_type::opaque:
        std::snprintf(p, room, "b=<%zu bytes>", id.opaque_id().size());
        break;
    }
  }
};

int map_local_to_remote(const ua_encoder& enc, const ua_nodeid& local, ua_nodeid& remote) {
  remote = local;
  if (enc.nsmap == nullptr) return 0;
  uint16_t ns;
  int ret = enc.nsmap->local_to_remote(local.ns(), &ns);
  if (ret != 0) {
    UA_LOG_ERROR("%s: could not find remote_ns for local_ns=%u\n", "ua_encode_extensionobject",
                 local.ns());
    return ret;
  }
  remote.set_ns(ns);
  return 0;
}

// Maps an encoding id from remote to local and finds its structure. Returns 0 with `st` null
// when the type is not known, a negative status when the namespace cannot be mapped.
int lookup_extensionobject_type(ua_decoder& dec, const ua_nodeid& remote, ua_nodeid& local,
                                const ua_type_table*& table, const ua_dict_structure*& st,
                                int32_t& row) {
  local = remote;
  table = nullptr;
  st = nullptr;
  row = -1;
  if (dec.nsmap != nullptr) {
    uint16_t ns;
    int ret = dec.nsmap->remote_to_local(remote.ns(), &ns);
    if (ret != 0) {
      UA_LOG_ERROR("%s: could not find local_ns for remote_ns=%u, ret=%i\n",
                   "lookup_extensionobject_type", remote.ns(), ret);
      return ret;
    }
    UA_LOG_DEBUG("%s: mapped remote_ns=%u to local_ns=%u\n", "lookup_extensionobject_type",
                 remote.ns(), ns);
    local.set_ns(ns);
  }
  if (local.is_numeric() && dec.types != nullptr) {
    table = dec.types->table_for_namespace(local.ns());
    if (table != nullptr) {
      row = table->find_by_encoding_id(local.numeric_id());
      if (row >= 0) st = &table->structures[static_cast<std::size_t>(row)];
    }
  }
  if (st == nullptr) {
    UA_LOG_DEBUG("%s: could not find properties for nodeid=%s\n", "lookup_extensionobject_type",
                 nodeid_text(local).buf);
  }
  return 0;
}

}  // namespace

int ua_encode_extensionobject(ua_encoder& enc, const ua_extensionobject& v) {
  ua_nodeid id;
  int ret;
  switch (v.body_kind()) {
    case ua_extensionobject_body::none:
      ret = map_local_to_remote(enc, v.encoding_id().is_null() ? v.type_id() : v.encoding_id(), id);
      if (ret == 0) ret = ua_encode_nodeid(enc, id);
      if (ret == 0) ret = enc.write_byte(kBodyNone);
      return ret;
    case ua_extensionobject_body::decoded: {
      const ua_dict_structure* st = v.structure();
      const ua_type_table* table =
          enc.types != nullptr
              ? enc.types->table(static_cast<uint16_t>(ua_type_value_table(v.type_index())))
              : nullptr;
      if (st == nullptr || table == nullptr) return UA_EBADNOTFOUND;
      ret = map_local_to_remote(enc, ua_nodeid(table->nsidx, st->encoding_id), id);
      if (ret == 0) ret = ua_encode_nodeid(enc, id);
      if (ret == 0) ret = enc.write_byte(kBodyBinary);
      if (ret == 0) ret = ua_encode_encodeableobject(enc, *table, *st, v.object());
      return ret;
    }
    case ua_extensionobject_body::binary:
    case ua_extensionobject_body::xml:
      ret = map_local_to_remote(enc, v.encoding_id(), id);
      if (ret == 0) ret = ua_encode_nodeid(enc, id);
      if (ret == 0)
        ret =
            enc.write_byte(v.body_kind() == ua_extensionobject_body::xml ? kBodyXml : kBodyBinary);
      if (ret == 0) ret = ua_encode_bytestring(enc, *v.encoded());
      return ret;
    default:
      return UA_EBADNOTSUPPORTED;
  }
}

int ua_decode_extensionobject(ua_decoder& dec, ua_extensionobject& v) {
  v.clear();
  ua_nodeid remote;
  uint8_t body;
  int ret = ua_decode_nodeid(dec, remote);
  if (ret == 0) ret = get(dec, body);
  if (ret != 0) return ret;
  if (body != kBodyNone && body != kBodyBinary && body != kBodyXml) return UA_EBADDECODING;
  ua_nodeid local;
  const ua_type_table* table;
  const ua_dict_structure* st;
  int32_t row;
  ret = lookup_extensionobject_type(dec, remote, local, table, st, row);
  if (ret != 0) return ret;
  if (body == kBodyBinary && st != nullptr) {
    void* obj =
        v.emplace_decoded(*st, ua_type_value(table->local_index, table->first_structure_index() +
                                                                     static_cast<uint32_t>(row)));
    ret = ua_decode_encodeableobject(dec, *table, *st, obj);
    if (ret != 0) {
      v.clear();
      return ret;
    }
    v.type_id() = ua_nodeid(table->nsidx, st->type_id);
    v.encoding_id() = std::move(local);
    return 0;
  }
  if (body != kBodyNone) {
    ua_bytestring bytes;
    ret = ua_decode_bytestring(dec, bytes);
    if (ret != 0) return ret;
    v.set_encoded(body == kBodyXml ? ua_extensionobject_body::xml : ua_extensionobject_body::binary,
                  std::move(bytes));
  }
  if (st != nullptr) v.type_id() = ua_nodeid(table->nsidx, st->type_id);
  v.encoding_id() = std::move(local);
  return 0;
}

int ua_encode_encodeableobject(ua_encoder& enc, const ua_type_table& table,
                               const ua_dict_structure& st, const void* obj) {
  int ret = enter_level(enc.depth, enc.settings.max_call_depth, "ua_encode_encodeableobject");
  if (ret != 0) return ret;
  const ua_encoder::mark m = enc.position();
  ret = put(enc, int32_t{0});
  const std::size_t start = enc.size();
  if (ret == 0) ret = ua_dict_encode_structure(enc, table, st, obj);
  --enc.depth;
  if (ret != 0) return ret;
  const std::size_t len = enc.size() - start;
  if (len > static_cast<std::size_t>(INT32_MAX)) return UA_EBADENCODINGTOOLARGE;
  const int32_t le = byteswap_if_needed(static_cast<int32_t>(len));
  enc.patch(m, &le, sizeof le);
  return 0;
}

int ua_decode_encodeableobject(ua_decoder& dec, const ua_type_table& table,
                               const ua_dict_structure& st, void* obj) {
  static const char* const fn = "ua_decode_encodeableobject";
  int32_t len;
  int ret = get(dec, len);
  if (ret != 0) return ret;
  if (len < 0) {
    UA_LOG_ERROR("%s: invalid extensionobject length: %i\n", fn, len);
    return UA_EBADDECODING;
  }
  if (static_cast<std::size_t>(len) > dec.remaining()) return UA_EBADTRUNCATED;
  ret = enter_level(dec.depth, dec.settings.max_call_depth, fn);
  if (ret != 0) return ret;
  const std::size_t start = dec.position();
  ret = ua_dict_decode_structure(dec, table, st, obj);
  --dec.depth;
  if (ret != 0) return ret;
  const auto consumed = static_cast<unsigned>(dec.position() - start);
  if (len == 0 && consumed != 0) {
    UA_LOG_ERROR("%s: extensionobject has encoded length 0, actual length=%u\n", fn, consumed);
    return UA_EBADDECODING;
  }
  if (static_cast<unsigned>(len) != consumed) {
    UA_LOG_ERROR("%s: extensionobject length is incorrect, encoded length=%i, actual length=%u\n",
                 fn, len, consumed);
    return UA_EBADDECODING;
  }
  return 0;
}

// ---------------------------------------------------------------------------------------------
// Placeholders

int ua_encode_error(ua_encoder& /*enc*/, const void* /*value*/) {
  UA_LOG_ERROR("%s: this function should not be called\n", "ua_encode_error");
  return UA_EBADINTERNALERROR;
}

int ua_decode_error(ua_decoder& /*dec*/, void* /*value*/) {
  UA_LOG_ERROR("%s: this function should not be called\n", "ua_decode_error");
  return UA_EBADINTERNALERROR;
}

}  // namespace vos
