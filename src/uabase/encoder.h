// OPC UA binary encoding (IEC 62541-6) of the built-in types into chained output buffers,
// and decoding from a byte span, with the library's limits.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <span>
#include <vector>

#include "uabase/types.h"
#include "util/errors.h"

namespace vos {

struct ua_dict_structure;
struct ua_type_table;
class ua_type_registry;

// The trace component bit of the encoding library.
inline constexpr uint32_t UA_TRACE_COMPONENT_ENCODER = 0x10;

// Library settings. 0 for a string, bytestring or array limit means no limit below the
// format's own (Int32).
struct ua_encoder_settings {
  uint32_t max_call_depth = 10;
  int32_t max_string_length = 0;
  int32_t max_bytestring_length = 0;
  int32_t max_array_length = 0;
  bool allow_new_buffers = true;
};

// The process-wide settings that new encoders and decoders start from.
ua_encoder_settings& ua_encoder_global_settings();
void ua_encoder_set_max_call_depth(uint32_t depth);

// Formats a double into buf (printf-style); returns what snprintf returns.
using ua_double_formatter = int (*)(char* buf, std::size_t size, const char* format, double value);
// Replaces the formatter used by the start-up self-test; returns the previous one.
ua_double_formatter ua_encoder_set_double_formatter(ua_double_formatter fmt);

// Start-up: initialises and validates the type tables, then checks that the C library
// formats doubles with a decimal point. Returns 0 or the first error (-5, -24, ...).
int ua_encoder_init();
// The self-test alone, with the given formatter: 0 or -24.
int ua_encoder_selftest(ua_double_formatter fmt);

// Maps namespace indexes between the local (server) side and the encoded (remote) side.
class ua_namespace_map {
 public:
  void add(uint16_t local, uint16_t remote);
  // 0, or -22 when there is no mapping.
  int local_to_remote(uint16_t local, uint16_t* remote) const;
  int remote_to_local(uint16_t remote, uint16_t* local) const;

 private:
  std::vector<std::pair<uint16_t, uint16_t>> pairs_;  // (local, remote)
};

// One output buffer of an encoder's chain.
struct ua_buffer {
  uint8_t* data = nullptr;
  std::size_t size = 0;  // usable size
  std::size_t used = 0;
};

// Writes encoded bytes into a chain of buffers. A new buffer is requested from the buffer
// allocation callback when the current one is full, within the encoder's limits.
class ua_encoder {
 public:
  // Returns memory for a new buffer, or an empty span when there is none.
  using buffer_alloc_fn = std::function<std::span<uint8_t>(ua_encoder&)>;

  // An encoder with heap buffers of `block_size` bytes owned by the encoder.
  explicit ua_encoder(std::size_t block_size = 4096,
                      const ua_encoder_settings& settings = ua_encoder_global_settings());
  // An encoder over one caller-owned buffer and no allocation callback.
  explicit ua_encoder(std::span<uint8_t> fixed,
                      const ua_encoder_settings& settings = ua_encoder_global_settings());
  ua_encoder(const ua_encoder&) = delete;
  ua_encoder& operator=(const ua_encoder&) = delete;

  ua_encoder_settings settings;
  uint32_t max_buffers = UINT32_MAX;
  uint32_t max_bytes = UINT32_MAX;
  uint32_t reserved_tail = 0;  // bytes kept free at the end of every new buffer
  uint32_t depth = 0;          // current call depth
  buffer_alloc_fn buffer_alloc;
  const ua_type_registry* types;            // for extension objects; the process-wide registry
  const ua_namespace_map* nsmap = nullptr;  // null: indexes are not mapped

  // Appends n bytes.
  int write(const void* p, std::size_t n) {
    if (static_cast<std::size_t>(end_ - pos_) >= n) {
      if (n != 0) std::memcpy(pos_, p, n);
      pos_ += n;
      return 0;
    }
    return write_slow(static_cast<const uint8_t*>(p), n);
  }
  int write_byte(uint8_t b) {
    if (pos_ != end_) {
      *pos_++ = b;
      return 0;
    }
    return write_slow(&b, 1);
  }

  // ua_encoder_newbuffer: moves to the next buffer of the chain or adds one.
  int newbuffer();

  // Total bytes written.
  std::size_t size() const;
  uint32_t num_buffers() const { return static_cast<uint32_t>(chain_.size()); }
  // The chain with up-to-date fill levels.
  const std::vector<ua_buffer>& buffers();
  // Copies of everything written.
  std::vector<uint8_t> bytes() const;
  // Forgets what was written and starts again at the first buffer (the chain is kept).
  void reset();

  // A position in the output, for writing a length once the bytes after it are known.
  struct mark {
    std::size_t buffer;
    std::size_t offset;
    std::size_t total;  // bytes written before the mark
  };
  mark position() const;
  // Overwrites n bytes already written at m.
  void patch(const mark& m, const void* p, std::size_t n);

 private:
  int write_slow(const uint8_t* p, std::size_t n);
  void sync() const;

  mutable std::vector<ua_buffer> chain_;
  std::size_t cur_ = 0;            // index of the current buffer (chain_.size() when there is none)
  std::size_t bytes_written_ = 0;  // bytes of the buffers before the current one
  uint8_t* pos_ = nullptr;
  uint8_t* end_ = nullptr;
  std::vector<std::unique_ptr<uint8_t[]>> owned_;
};

int ua_encoder_newbuffer(ua_encoder& enc);

// Reads encoded bytes from a span.
class ua_decoder {
 public:
  explicit ua_decoder(std::span<const uint8_t> data,
                      const ua_encoder_settings& settings = ua_encoder_global_settings());

  ua_encoder_settings settings;
  uint32_t depth = 0;
  const ua_type_registry* types;
  const ua_namespace_map* nsmap = nullptr;

  // Reads n bytes; -17 when fewer remain.
  int read(void* p, std::size_t n) {
    if (static_cast<std::size_t>(end_ - pos_) < n) return UA_EBADTRUNCATED;
    if (n != 0) std::memcpy(p, pos_, n);
    pos_ += n;
    return 0;
  }
  // Skips n bytes; -17 when fewer remain.
  int skip(std::size_t n) {
    if (static_cast<std::size_t>(end_ - pos_) < n) return UA_EBADTRUNCATED;
    pos_ += n;
    return 0;
  }
  std::size_t remaining() const { return static_cast<std::size_t>(end_ - pos_); }
  std::size_t position() const { return static_cast<std::size_t>(pos_ - begin_); }
  const uint8_t* current() const { return pos_; }

 private:
  const uint8_t* begin_;
  const uint8_t* pos_;
  const uint8_t* end_;
};

// Built-in encoders. Each returns 0 or a negative status.
int ua_encode_boolean(ua_encoder& enc, bool v);
int ua_encode_sbyte(ua_encoder& enc, int8_t v);
int ua_encode_byte(ua_encoder& enc, uint8_t v);
int ua_encode_int16(ua_encoder& enc, int16_t v);
int ua_encode_uint16(ua_encoder& enc, uint16_t v);
int ua_encode_int32(ua_encoder& enc, int32_t v);
int ua_encode_uint32(ua_encoder& enc, uint32_t v);
int ua_encode_int64(ua_encoder& enc, int64_t v);
int ua_encode_uint64(ua_encoder& enc, uint64_t v);
int ua_encode_float(ua_encoder& enc, float v);
int ua_encode_double(ua_encoder& enc, double v);
int ua_encode_string(ua_encoder& enc, const ua_string& v);
int ua_encode_datetime(ua_encoder& enc, ua_datetime v);
int ua_encode_guid(ua_encoder& enc, const ua_guid& v);
int ua_encode_bytestring(ua_encoder& enc, const ua_bytestring& v);
int ua_encode_xmlelement(ua_encoder& enc, const ua_bytestring& v);
int ua_encode_nodeid(ua_encoder& enc, const ua_nodeid& v);
int ua_encode_expandednodeid(ua_encoder& enc, const ua_expandednodeid& v);
int ua_encode_statuscode(ua_encoder& enc, ua_statuscode v);
int ua_encode_qualifiedname(ua_encoder& enc, const ua_qualifiedname& v);
int ua_encode_localizedtext(ua_encoder& enc, const ua_localizedtext& v);
// Maps the encoding id's namespace from local to remote; a decoded body is encoded with its
// descriptor's binary encoding id.
int ua_encode_extensionobject(ua_encoder& enc, const ua_extensionobject& v);
int ua_encode_datavalue(ua_encoder& enc, const ua_datavalue& v);
int ua_encode_variant(ua_encoder& enc, const ua_variant& v);
int ua_encode_diagnosticinfo(ua_encoder& enc, const ua_diagnosticinfo& v);

// Built-in decoders: the value is replaced; on failure it is left cleared.
int ua_decode_boolean(ua_decoder& dec, bool& v);
int ua_decode_sbyte(ua_decoder& dec, int8_t& v);
int ua_decode_byte(ua_decoder& dec, uint8_t& v);
int ua_decode_int16(ua_decoder& dec, int16_t& v);
int ua_decode_uint16(ua_decoder& dec, uint16_t& v);
int ua_decode_int32(ua_decoder& dec, int32_t& v);
int ua_decode_uint32(ua_decoder& dec, uint32_t& v);
int ua_decode_int64(ua_decoder& dec, int64_t& v);
int ua_decode_uint64(ua_decoder& dec, uint64_t& v);
int ua_decode_float(ua_decoder& dec, float& v);
int ua_decode_double(ua_decoder& dec, double& v);
int ua_decode_string(ua_decoder& dec, ua_string& v);
int ua_decode_datetime(ua_decoder& dec, ua_datetime& v);
int ua_decode_guid(ua_decoder& dec, ua_guid& v);
int ua_decode_bytestring(ua_decoder& dec, ua_bytestring& v);
int ua_decode_xmlelement(ua_decoder& dec, ua_bytestring& v);
int ua_decode_nodeid(ua_decoder& dec, ua_nodeid& v);
int ua_decode_expandednodeid(ua_decoder& dec, ua_expandednodeid& v);
int ua_decode_statuscode(ua_decoder& dec, ua_statuscode& v);
int ua_decode_qualifiedname(ua_decoder& dec, ua_qualifiedname& v);
int ua_decode_localizedtext(ua_decoder& dec, ua_localizedtext& v);
// A body of a known binary encoding is decoded into its structure; any other body is kept
// encoded.
int ua_decode_extensionobject(ua_decoder& dec, ua_extensionobject& v);
int ua_decode_datavalue(ua_decoder& dec, ua_datavalue& v);
int ua_decode_variant(ua_decoder& dec, ua_variant& v);
int ua_decode_diagnosticinfo(ua_decoder& dec, ua_diagnosticinfo& v);

// A value of built-in type `code` held as its C++ value type at `value`.
int ua_encode_builtin(ua_encoder& enc, uint8_t code, const void* value);
int ua_decode_builtin(ua_decoder& dec, uint8_t code, void* value);
// An array: Int32 length, then the elements (n value types of `code` at `data`).
int ua_encode_array(ua_encoder& enc, uint8_t code, const void* data, std::size_t n);
// Reads an array length: 0 and -1 give 0, below -1 is -7, above the array limit -30; on
// error the length is 0.
int ua_builtin_decode_array_length(ua_decoder& dec, int32_t& len);
// Decodes the elements of a variant array of `len` elements of `code` into v.
int ua_decode_variant_array(ua_decoder& dec, uint8_t code, int32_t len, ua_variant& v);
// Skips one encoded scalar variant without decoding it; arrays and matrices are refused.
int ua_decode_variant_skip(ua_decoder& dec);

// A structure body as an extension object body: Int32 length, then the structure.
int ua_encode_encodeableobject(ua_encoder& enc, const ua_type_table& table,
                               const ua_dict_structure& st, const void* obj);
int ua_decode_encodeableobject(ua_decoder& dec, const ua_type_table& table,
                               const ua_dict_structure& st, void* obj);

// Placeholders for the table slots of types that are never encoded or decoded.
int ua_encode_error(ua_encoder& enc, const void* value);
int ua_decode_error(ua_decoder& dec, void* value);

}  // namespace vos
