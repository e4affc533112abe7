#include "tools/vospack/filereader.h"

#include <cstdio>
#include <cstring>

#include "tools/vospack/uagraph.h"
#include "util/adler32.h"
#include "util/errors.h"

namespace vos {

namespace {

// Reads the compact primitives from a byte span; every read checks the bounds.
class cursor {
 public:
  explicit cursor(std::span<const uint8_t> data)
      : p_(data.data()), end_(data.data() + data.size()) {}

  bool at_end() const noexcept { return p_ == end_; }
  std::size_t remaining() const noexcept { return static_cast<std::size_t>(end_ - p_); }

  int bytes(void* out, std::size_t n) {
    if (static_cast<std::size_t>(end_ - p_) < n) return UA_EBADTRUNCATED;
    if (n != 0) std::memcpy(out, p_, n);
    p_ += n;
    return 0;
  }
  int byte(uint8_t& v) { return bytes(&v, 1); }
  int raw_u16(uint16_t& v) {
    uint8_t b[2] = {};
    const int ret = bytes(b, 2);
    v = static_cast<uint16_t>(b[0] | (b[1] << 8));
    return ret;
  }
  int raw_u32(uint32_t& v) {
    uint8_t b[4] = {};
    const int ret = bytes(b, 4);
    v = 0;
    for (int i = 3; i >= 0; --i) v = (v << 8) | b[i];
    return ret;
  }
  int raw_i64(int64_t& v) {
    uint8_t b[8] = {};
    const int ret = bytes(b, 8);
    uint64_t u = 0;
    for (int i = 7; i >= 0; --i) u = (u << 8) | b[i];
    v = static_cast<int64_t>(u);
    return ret;
  }
  // An unsigned LEB128 value of at most `bits` bits.
  int var(uint64_t& v, unsigned bits) {
    v = 0;
    for (unsigned shift = 0;; shift += 7) {
      if (shift >= bits) return UA_EBADDECODING;
      if (p_ == end_) return UA_EBADTRUNCATED;
      const uint8_t b = *p_++;
      v |= static_cast<uint64_t>(b & 0x7F) << shift;
      if ((b & 0x80) == 0) break;
    }
    if (bits < 64 && (v >> bits) != 0) return UA_EBADDECODING;
    return 0;
  }
  int var_u16(uint16_t& v) {
    uint64_t u;
    const int ret = var(u, 16);
    v = static_cast<uint16_t>(u);
    return ret;
  }
  int var_u32(uint32_t& v) {
    uint64_t u;
    const int ret = var(u, 32);
    v = static_cast<uint32_t>(u);
    return ret;
  }
  int var_u64(uint64_t& v) { return var(v, 64); }
  int var_i16(int16_t& v) {
    uint16_t u;
    const int ret = var_u16(u);
    v = static_cast<int16_t>((u >> 1) ^ (0u - (u & 1u)));
    return ret;
  }
  int var_i32(int32_t& v) {
    uint32_t u;
    const int ret = var_u32(u);
    v = static_cast<int32_t>((u >> 1) ^ (0u - (u & 1u)));
    return ret;
  }
  int var_i64(int64_t& v) {
    uint64_t u;
    const int ret = var_u64(u);
    v = static_cast<int64_t>((u >> 1) ^ (uint64_t{0} - (u & 1u)));
    return ret;
  }
  // CStr, UaString and ByteStr all read as a length and the bytes.
  int text(std::string& s) {
    uint32_t n;
    if (int ret = var_u32(n); ret != 0) return ret;
    if (static_cast<std::size_t>(end_ - p_) < n) return UA_EBADTRUNCATED;
    s.assign(reinterpret_cast<const char*>(p_), n);
    p_ += n;
    return 0;
  }
  int uastring(ua_string& s) {
    std::string t;
    const int ret = text(t);
    if (ret == 0) s = ua_string(t);
    return ret;
  }
  int bytestring(ua_bytestring& b) {
    std::string t;
    const int ret = text(t);
    if (ret == 0) b = ua_bytestring(std::string_view(t));
    return ret;
  }
  int guid(ua_guid& g) {
    int ret = raw_u32(g.data1);
    if (ret == 0) ret = raw_u16(g.data2);
    if (ret == 0) ret = raw_u16(g.data3);
    if (ret == 0) ret = bytes(g.data4, 8);
    return ret;
  }
  int nodeid(ua_nodeid& id) {
    uint32_t head;
    int ret = var_u32(head);
    if (ret != 0) return ret;
    if (head / 4 > 0xFFFF) return UA_EBADDECODING;
    const auto ns = static_cast<uint16_t>(head / 4);
    switch (head % 4) {
      case 0: {
        uint32_t n;
        ret = var_u32(n);
        id = ua_nodeid(ns, n);
        return ret;
      }
      case 1: {
        std::string s;
        ret = text(s);
        if (ret == 0) id = ua_nodeid::make_string(ns, s);
        return ret;
      }
      case 2: {
        ua_guid g;
        ret = guid(g);
        if (ret == 0) id = ua_nodeid::make_guid(ns, g);
        return ret;
      }
      default: {
        std::string s;
        ret = text(s);
        if (ret == 0)
          id = ua_nodeid::make_opaque(
              ns, std::span<const uint8_t>(reinterpret_cast<const uint8_t*>(s.data()), s.size()));
        return ret;
      }
    }
  }
  int extension(ua_file_extension& e) {
    int ret = var_u16(e.uri_index);
    if (ret == 0) ret = var_u16(e.id);
    if (ret == 0) ret = bytestring(e.data);
    return ret;
  }
  int extensions(std::vector<ua_file_extension>& list) {
    uint32_t n;
    int ret = var_u32(n);
    for (uint32_t i = 0; ret == 0 && i < n; ++i) {
      ua_file_extension e;
      ret = extension(e);
      if (ret == 0) list.push_back(std::move(e));
    }
    return ret;
  }
  int rolepermissions(std::vector<uagraph_rolepermission>& list) {
    uint32_t n;
    int ret = var_u32(n);
    for (uint32_t i = 0; ret == 0 && i < n; ++i) {
      uagraph_rolepermission rp;
      ret = nodeid(rp.role);
      if (ret == 0) ret = raw_u32(rp.Permissions);
      if (ret == 0) list.push_back(std::move(rp));
    }
    return ret;
  }

 private:
  const uint8_t* p_;
  const uint8_t* end_;
};

int read_scalar(cursor& c, uint8_t type, void* value) {
  switch (type) {
    case UA_VT_NULL:
      return 0;
    case UA_VT_BOOLEAN: {
      uint8_t b = 0;
      const int ret = c.byte(b);
      *static_cast<bool*>(value) = b != 0;
      return ret;
    }
    case UA_VT_SBYTE:
    case UA_VT_BYTE:
      return c.bytes(value, 1);
    case UA_VT_INT16:
      return c.var_i16(*static_cast<int16_t*>(value));
    case UA_VT_UINT16:
      return c.var_u16(*static_cast<uint16_t*>(value));
    case UA_VT_INT32:
      return c.var_i32(*static_cast<int32_t*>(value));
    case UA_VT_UINT32:
      return c.var_u32(*static_cast<uint32_t*>(value));
    case UA_VT_INT64:
      return c.var_i64(*static_cast<int64_t*>(value));
    case UA_VT_UINT64:
      return c.var_u64(*static_cast<uint64_t*>(value));
    case UA_VT_FLOAT:
    case UA_VT_STATUSCODE: {
      uint32_t bits;
      const int ret = c.raw_u32(bits);
      std::memcpy(value, &bits, 4);
      return ret;
    }
    case UA_VT_DOUBLE:
    case UA_VT_DATETIME: {
      int64_t bits;
      const int ret = c.raw_i64(bits);
      std::memcpy(value, &bits, 8);
      return ret;
    }
    case UA_VT_STRING:
      return c.uastring(*static_cast<ua_string*>(value));
    case UA_VT_GUID:
      return c.guid(*static_cast<ua_guid*>(value));
    case UA_VT_BYTESTRING:
    case UA_VT_XMLELEMENT:
      return c.bytestring(*static_cast<ua_bytestring*>(value));
    case UA_VT_NODEID:
      return c.nodeid(*static_cast<ua_nodeid*>(value));
    case UA_VT_EXPANDEDNODEID: {
      auto& e = *static_cast<ua_expandednodeid*>(value);
      int ret = c.nodeid(e.node_id);
      if (ret == 0) ret = c.uastring(e.namespace_uri);
      if (ret == 0) ret = c.var_u32(e.server_index);
      return ret;
    }
    case UA_VT_QUALIFIEDNAME: {
      auto& q = *static_cast<ua_qualifiedname*>(value);
      const int ret = c.var_u16(q.ns);
      return ret == 0 ? c.uastring(q.name) : ret;
    }
    case UA_VT_LOCALIZEDTEXT: {
      auto& t = *static_cast<ua_localizedtext*>(value);
      const int ret = c.uastring(t.locale);
      return ret == 0 ? c.uastring(t.text) : ret;
    }
    case UA_VT_EXTENSIONOBJECT: {
      // Kept as its encoding id and binary body.
      auto& eo = *static_cast<ua_extensionobject*>(value);
      ua_nodeid encoding;
      ua_bytestring body;
      int ret = c.nodeid(encoding);
      if (ret == 0) ret = c.bytestring(body);
      if (ret != 0) return ret;
      eo.clear();
      eo.encoding_id() = std::move(encoding);
      eo.set_encoded(ua_extensionobject_body::binary, std::move(body));
      return 0;
    }
    default:
      return UA_EBADDECODING;
  }
}

int read_variant(cursor& c, ua_variant& v) {
  uint8_t tb;
  int ret = c.byte(tb);
  if (ret != 0) return ret;
  const uint8_t type = tb & UA_VT_TYPEMASK;
  if (type > UA_VT_EXTENSIONOBJECT || (tb & (UA_VT_ARRAY | UA_VT_MATRIX)) == UA_VT_MATRIX)
    return UA_EBADDECODING;
  v.clear();
  if ((tb & UA_VT_ARRAY) == 0) {
    if (type == UA_VT_NULL) return 0;
    return read_scalar(c, type, v.emplace_scalar(type));
  }
  uint32_t n;
  if ((ret = c.var_u32(n)) != 0) return ret;
  if (type == UA_VT_NULL || type == UA_VT_EXPANDEDNODEID) return UA_EBADDECODING;
  // Every element takes at least one byte: a count beyond the data is a truncated file.
  if (n > c.remaining()) return UA_EBADTRUNCATED;
  auto* data = static_cast<uint8_t*>(v.emplace_array(type, n));
  const std::size_t size = ua_builtin_size(type);
  for (uint32_t i = 0; ret == 0 && i < n; ++i) ret = read_scalar(c, type, data + i * size);
  if (ret != 0 || (tb & UA_VT_MATRIX) == 0) return ret;
  uint32_t ndims;
  if ((ret = c.var_u32(ndims)) != 0) return ret;
  if (ndims > 64) return UA_EBADDECODING;
  std::vector<int32_t> dims(ndims);
  for (uint32_t i = 0; ret == 0 && i < ndims; ++i) {
    uint32_t d = 0;
    ret = c.var_u32(d);
    dims[i] = static_cast<int32_t>(d);
  }
  if (ret == 0) v.set_dimensions(dims);
  return ret;
}

int read_definition(cursor& c, ua_file_read_definition& def) {
  int ret = c.byte(def.kind);
  if (ret == 0 && (def.kind & UA_FILE_DEFINITION_NAME) != 0) ret = c.var_u32(def.name);
  if (ret != 0) return ret;
  const uint8_t kind = def.kind & UA_FILE_DEFINITION_KIND_MASK;
  if (kind > 7 || kind == 0) return 0;
  uint32_t n;
  if (ua_file_definition_is_structure(kind)) {
    ret = c.nodeid(def.default_encoding);
    if (ret == 0) ret = c.nodeid(def.base_type);
    if (ret == 0) ret = c.var_u32(n);
    for (uint32_t i = 0; ret == 0 && i < n; ++i) {
      ua_file_read_structure_field f;
      ret = c.byte(f.flags);
      if (ret == 0) ret = c.var_u32(f.name);
      if (ret == 0 && (f.flags & UA_FILE_SFIELD_TEXT1) != 0) ret = c.var_u32(f.text1);
      if (ret == 0 && (f.flags & UA_FILE_SFIELD_TEXT2) != 0) ret = c.var_u32(f.text2);
      if (ret == 0) ret = c.nodeid(f.datatype);
      uint32_t rank = 0;
      if (ret == 0) ret = c.raw_u32(rank);
      f.value_rank = static_cast<int32_t>(rank);
      uint32_t ndims = 0;
      if (ret == 0) ret = c.var_u32(ndims);
      for (uint32_t d = 0; ret == 0 && d < ndims; ++d) {
        uint32_t dim;
        ret = c.var_u32(dim);
        f.dims.push_back(dim);
      }
      if (ret == 0 && (f.flags & UA_FILE_SFIELD_MAXLENGTH) != 0)
        ret = c.var_u32(f.max_string_length);
      if (ret == 0) def.fields.push_back(std::move(f));
    }
    return ret;
  }
  ret = c.var_u32(n);
  for (uint32_t i = 0; ret == 0 && i < n; ++i) {
    ua_file_enum_field f;
    ret = c.byte(f.flags);
    if (ret == 0) ret = c.var_u32(f.name);
    if (ret == 0 && (f.flags & UA_FILE_EFIELD_SYMBOLICNAME) != 0) ret = c.var_u32(f.symbolic_name);
    if (ret == 0) ret = c.var_i32(f.value);
    if (ret == 0) ret = c.var_u32(f.text1);
    if (ret == 0 && (f.flags & UA_FILE_EFIELD_TEXT2) != 0) ret = c.var_u32(f.text2);
    if (ret == 0) def.enum_fields.push_back(f);
  }
  return ret;
}

int read_node(cursor& c, uint32_t nodeclass, ua_file_read_node& n) {
  n.nodeclass = nodeclass;
  int ret = c.byte(n.flags);
  if (ret == 0) ret = c.nodeid(n.nodeid);
  if (ret == 0) ret = c.var_u16(n.browse_ns);
  if (ret == 0) ret = c.var_u32(n.browse_name);
  if (ret == 0 && (n.flags & UA_FILE_NODE_DISPLAYNAME) != 0) ret = c.var_u32(n.display_name);
  if (ret == 0 && (n.flags & UA_FILE_NODE_DESCRIPTION) != 0) ret = c.var_u32(n.description);
  if (ret == 0 && (n.flags & UA_FILE_NODE_WRITEMASK) != 0) ret = c.raw_u32(n.write_mask);
  if (ret == 0) ret = c.byte(n.perm_flags);
  if (ret == 0 && (n.perm_flags & UA_FILE_PERM_ACCESSRESTRICTIONS) != 0)
    ret = c.raw_u16(n.access_restrictions);
  if (ret == 0 && (n.perm_flags & UA_FILE_PERM_ROLEPERMISSIONS) != 0)
    ret = c.rolepermissions(n.role_permissions);
  if (ret == 0 && (n.flags & UA_FILE_NODE_EXTENSIONS) != 0) ret = c.extensions(n.extensions);
  if (ret != 0) return ret;
  switch (nodeclass) {
    case UA_NODECLASS_OBJECT:
    case UA_NODECLASS_VIEW:
      if ((n.flags & UA_FILE_OBJECT_EVENTNOTIFIER) != 0) ret = c.byte(n.event_notifier);
      return ret;
    case UA_NODECLASS_METHOD:
      if ((n.flags & UA_FILE_METHOD_DECLARATION) != 0) ret = c.nodeid(n.method_declaration);
      return ret;
    case UA_NODECLASS_REFERENCETYPE:
      if ((n.flags & UA_FILE_REFTYPE_INVERSENAME) != 0) ret = c.var_u32(n.inverse_name);
      return ret;
    case UA_NODECLASS_DATATYPE:
      if ((n.flags & UA_FILE_DATATYPE_DEFINITION) != 0) ret = read_definition(c, n.definition);
      return ret;
    case UA_NODECLASS_VARIABLE:
    case UA_NODECLASS_VARIABLETYPE: {
      const bool has2 = (n.flags & UA_FILE_NODE_FLAGS2) != 0;
      if (has2) ret = c.byte(n.flags2);
      if (ret == 0 && (n.flags & UA_FILE_VAR_VALUE) != 0) ret = read_variant(c, n.value);
      if (ret == 0 && (n.flags & UA_FILE_VAR_DATATYPE) != 0) ret = c.nodeid(n.datatype);
      if (ret == 0 && (n.flags & UA_FILE_VAR_VALUERANK) != 0) ret = c.var_i32(n.value_rank);
      if (ret != 0 || !has2) return ret;
      if ((n.flags2 & UA_FILE_VAR2_ARRAYDIMENSIONS) != 0) {
        uint8_t count;
        ret = c.byte(count);
        if (ret == 0 && count > UA_FILE_MAX_ARRAY_DIMENSIONS) ret = UA_EBADDECODING;
        for (uint8_t i = 0; ret == 0 && i < count; ++i) {
          uint32_t d;
          ret = c.var_u32(d);
          n.array_dimensions.push_back(d);
        }
      }
      if (nodeclass == UA_NODECLASS_VARIABLE) {
        if (ret == 0 && (n.flags2 & UA_FILE_VAR2_ACCESSLEVEL) != 0) ret = c.byte(n.access_level);
        if (ret == 0 && (n.flags2 & UA_FILE_VAR2_MINSAMPLING) != 0)
          ret = c.var_u32(n.minimum_sampling_interval);
      }
      return ret;
    }
    default:
      return 0;
  }
}

int read_namespace(cursor& c, ua_file_namespace& ns) {
  int ret = c.var_u16(ns.index);
  if (ret == 0) ret = c.text(ns.uri);
  std::string version;
  if (ret == 0) ret = c.text(version);
  // The file does not tell an empty version from none; both read as none.
  if (ret == 0 && !version.empty()) ns.version = std::move(version);
  if (ret == 0) ret = c.raw_i64(ns.publication_date);
  for (std::size_t i = 0; ret == 0 && i < ns.counts.size(); ++i) ret = c.var_u32(ns.counts[i]);
  if (ret == 0) ret = c.rolepermissions(ns.role_permissions);
  if (ret == 0) ret = c.raw_u16(ns.access_restrictions);
  if (ret == 0) ret = c.extensions(ns.extensions);
  return ret;
}

// The node sections in file order with the total that counts each.
constexpr std::pair<uint32_t, uint32_t> kSections[] = {
    {UA_NODECLASS_DATATYPE, UA_FILE_TOTAL_DATATYPE},
    {UA_NODECLASS_REFERENCETYPE, UA_FILE_TOTAL_REFERENCETYPE},
    {UA_NODECLASS_VARIABLETYPE, UA_FILE_TOTAL_VARIABLETYPE},
    {UA_NODECLASS_OBJECTTYPE, UA_FILE_TOTAL_OBJECTTYPE},
    {UA_NODECLASS_VARIABLE, UA_FILE_TOTAL_VARIABLE},
    {UA_NODECLASS_OBJECT, UA_FILE_TOTAL_OBJECT},
    {UA_NODECLASS_METHOD, UA_FILE_TOTAL_METHOD},
    {UA_NODECLASS_VIEW, UA_FILE_TOTAL_VIEW},
};

int read_body(cursor& c, ua_file_contents& out) {
  char magic[4];
  int ret = c.bytes(magic, 4);
  if (ret != 0) return ret;
  if (std::string_view(magic, 4) != UA_FILE_MAGIC) return UA_EBADDECODING;
  if ((ret = c.byte(out.major)) != 0 || (ret = c.byte(out.minor)) != 0) return ret;
  if (out.major != UA_FILE_VERSION_MAJOR) return UA_EBADDECODING;
  if ((ret = c.raw_i64(out.creation_time)) != 0) return ret;
  uint32_t num_uris = 0, num_deps = 0, num_models = 0, num_tables = 0;
  ret = c.var_u32(num_uris);
  if (ret == 0) ret = c.var_u32(num_deps);
  if (ret == 0) ret = c.var_u32(num_models);
  for (std::size_t i = 0; ret == 0 && i < out.totals.size(); ++i) ret = c.var_u32(out.totals[i]);
  if (ret == 0) ret = c.var_u32(num_tables);
  for (uint32_t i = 0; ret == 0 && i < num_uris; ++i) {
    std::string uri;
    ret = c.text(uri);
    out.extension_uris.push_back(std::move(uri));
  }
  if (ret == 0) ret = c.extensions(out.file_extensions);
  for (uint32_t t = 0; ret == 0 && t < num_tables; ++t) {
    ua_file_read_stringtable table;
    uint32_t n = 0;
    ret = c.text(table.name);
    if (ret == 0) ret = c.var_u32(n);
    for (uint32_t i = 0; ret == 0 && i < n; ++i) {
      std::string s;
      ret = c.text(s);
      table.strings.push_back(std::move(s));
    }
    out.string_tables.push_back(std::move(table));
  }
  for (uint32_t i = 0; ret == 0 && i < num_deps; ++i) {
    ua_file_namespace ns;
    ret = read_namespace(c, ns);
    out.dependencies.push_back(std::move(ns));
  }
  for (uint32_t i = 0; ret == 0 && i < num_models; ++i) {
    ua_file_namespace ns;
    ret = read_namespace(c, ns);
    out.models.push_back(std::move(ns));
  }
  for (const auto& [nodeclass, total] : kSections) {
    for (uint32_t i = 0; ret == 0 && i < out.totals[total]; ++i) {
      ua_file_read_node n;
      ret = read_node(c, nodeclass, n);
      out.nodes.push_back(std::move(n));
    }
  }
  for (uint32_t i = 0; ret == 0 && i < out.totals[UA_FILE_TOTAL_REFERENCE]; ++i) {
    ua_file_reference r;
    ret = c.nodeid(r.source);
    if (ret == 0) ret = c.nodeid(r.target);
    if (ret == 0) ret = c.nodeid(r.type);
    out.references.push_back(std::move(r));
  }
  if (ret == 0 && !c.at_end()) ret = UA_EBADDECODING;
  return ret;
}

}  // namespace

std::string_view ua_file_contents::string(uint32_t index) const noexcept {
  if (string_tables.empty() || index >= string_tables[0].strings.size()) return {};
  return string_tables[0].strings[index];
}

int ua_file_read(std::span<const uint8_t> bytes, ua_file_contents& out) {
  out = ua_file_contents();
  if (bytes.size() < UA_FILE_MAGIC.size() + 4) return UA_EBADTRUNCATED;
  const std::size_t body = bytes.size() - 4;
  cursor tail(bytes.subspan(body));
  (void)tail.raw_u32(out.checksum);
  if (adler32(bytes.data(), body) != out.checksum) return UA_EBADMISMATCH;
  cursor c(bytes.first(body));
  return read_body(c, out);
}

int ua_file_read_path(const char* path, ua_file_contents& out) {
  std::FILE* f = std::fopen(path, "rb");
  if (f == nullptr) return UA_EBADFILENOTFOUND;
  std::vector<uint8_t> data;
  uint8_t block[65536];
  std::size_t n;
  while ((n = std::fread(block, 1, sizeof(block), f)) > 0)
    data.insert(data.end(), block, block + n);
  const bool failed = std::ferror(f) != 0;
  std::fclose(f);
  if (failed) return UA_EBADFILENOTFOUND;
  return ua_file_read(data, out);
}

}  // namespace vos
