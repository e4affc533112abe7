// The tool's side of the type-table codec check: loads the models, builds a type dictionary
// of the tool's own encoder from their data type definitions (namespace 0's types are the
// library's table), and decodes every value that the C codec wrote with it; each must take
// all its bytes, survive the dictionary's copy and compare, and encode again to exactly
// those bytes, which go to the output file for the C codec to decode in turn.
//
//   typecodec_check <values in> <values out> <model file>...
//
// A line is "<namespace URI> <data type id> <value number> <hex bytes or ->". Exit status 0
// when every value came back, 1 otherwise, 2 on unusable input.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "tools/vospack/run/pipeline.h"
#include "uabase/dict.h"
#include "uabase/encoder.h"
#include "uabase/type_table.h"
#include "util/md5.h"

namespace vos {
namespace {

constexpr uint32_t kOptionSetStructure = 12755;

// Layout of a structure built from a definition: what each row's member is, so that it can
// be constructed and destroyed.
struct dyn_member {
  uint32_t offset = 0;
  bool array = false;
  const ua_value_ops* ops = nullptr;   // built-in, integer base or namespace-0 structure
  const struct dyn_struct* dyn = nullptr;  // a structure of this dictionary
};
struct dyn_struct {
  std::vector<ua_dict_field> rows;
  std::vector<dyn_member> members;
  ua_dict_structure desc{};
  uint32_t align = 4;
  bool done = false;
  bool busy = false;
  bool bad = false;
};

// An array of this dictionary's structures: elements, count, and their layout.
struct dyn_array {
  unsigned char* data;
  uint32_t size;
  const dyn_struct* elem;
};

void construct(const dyn_struct& s, void* obj);
void destroy(const dyn_struct& s, void* obj);

bool dyn_array_resize(void* p, std::size_t n) {
  auto* a = static_cast<dyn_array*>(p);
  for (uint32_t i = 0; i < a->size; ++i) destroy(*a->elem, a->data + i * a->elem->desc.size);
  std::free(a->data);
  a->data = nullptr;
  a->size = 0;
  if (n == 0) return true;
  a->data = static_cast<unsigned char*>(std::calloc(n, a->elem->desc.size));
  if (a->data == nullptr) return false;
  for (std::size_t i = 0; i < n; ++i) construct(*a->elem, a->data + i * a->elem->desc.size);
  a->size = static_cast<uint32_t>(n);
  return true;
}

const ua_value_ops kDynOps = {
    0, 8, nullptr, nullptr, nullptr, nullptr, nullptr, dyn_array_resize,
    [](const void* p) -> void* { return static_cast<const dyn_array*>(p)->data; },
    [](const void* p) -> std::size_t { return static_cast<const dyn_array*>(p)->size; },
};

void construct(const dyn_struct& s, void* obj) {
  auto* base = static_cast<unsigned char*>(obj);
  std::memset(base, 0, s.desc.size);
  for (const dyn_member& m : s.members) {
    unsigned char* p = base + m.offset;
    if (m.array) {
      if (m.dyn != nullptr) static_cast<dyn_array*>(static_cast<void*>(p))->elem = m.dyn;
    } else if (m.dyn != nullptr) {
      construct(*m.dyn, p);
    } else if (m.ops != nullptr) {
      m.ops->construct_n(p, 1);
    }
  }
}

void destroy(const dyn_struct& s, void* obj) {
  auto* base = static_cast<unsigned char*>(obj);
  for (const dyn_member& m : s.members) {
    unsigned char* p = base + m.offset;
    if (m.array) {
      if (m.dyn != nullptr) dyn_array_resize(p, 0);
      else if (m.ops != nullptr) m.ops->array_try_resize(p, 0);
    } else if (m.dyn != nullptr) {
      destroy(*m.dyn, p);
    } else if (m.ops != nullptr) {
      m.ops->destroy_n(p, 1);
    }
  }
}

// The dictionary of every namespace but 0 of the loaded models, as one table.
class dictionary {
 public:
  explicit dictionary(const pipeline& p) : graph_(p.graph()), ns_(p.namespaces()) {}

  int build();
  // Decodes and encodes one value; "" when it came back, else what went wrong. `out` gets
  // the bytes encoded again.
  std::string round_trip(const std::string& uri, uint32_t id, const std::vector<uint8_t>& in,
                         std::vector<uint8_t>& out);

 private:
  enum class kind { none, inttype, structure };
  struct entry {
    kind k = kind::none;
    uint32_t index = 0;  // row in inttypes_ or structs_
  };

  const uagraph_node* ns0_ancestor(const uagraph_node& n) const;
  bool field_type(const uagraph_field& f, ua_dict_field& row, dyn_member& m, uint32_t& size,
                  uint32_t& align);
  bool layout(dyn_struct& s, UADataType& type);
  void collect_fields(UADataType& type, std::vector<const uagraph_field*>& out);

  const uagraph& graph_;
  const nstable& ns_;
  std::vector<ua_dict_inttype> inttypes_;
  std::vector<std::unique_ptr<dyn_struct>> structs_;
  std::vector<UADataType*> struct_nodes_;
  std::map<uint32_t, entry> by_node_;  // graph node index -> entry
  std::map<std::pair<std::string, uint32_t>, entry> by_id_;
  std::vector<ua_dict_structure> descs_;
  ua_type_table table_;
};

// The first namespace-0 type above (or at) `n`, following HasSubtype upwards.
const uagraph_node* dictionary::ns0_ancestor(const uagraph_node& n) const {
  const uagraph_node* at = &n;
  for (int guard = 0; at != nullptr && at->NodeId.ns() != 0 && guard < 64; ++guard)
    at = graph_.node_supertype(*at);
  return at;
}

void dictionary::collect_fields(UADataType& type, std::vector<const uagraph_field*>& out) {
  uagraph_node* super = graph_.node_supertype(type);
  if (super != nullptr && super->nodeclass() == UA_NODECLASS_DATATYPE &&
      !(super->NodeId.ns() == 0 && super->NodeId.numeric_id() == 22)) {
    auto* st = super->as<UADataType>();
    if (st != nullptr) collect_fields(*st, out);
  }
  for (const uagraph_field& f : type.Definition.fields) out.push_back(&f);
}

bool dictionary::field_type(const uagraph_field& f, ua_dict_field& row, dyn_member& m,
                            uint32_t& size, uint32_t& align) {
  const ua_type_table& ns0 = ua_type_table_ns0();
  if (f.ArrayInfo.ValueRank < -1) return false;
  const bool array = f.ArrayInfo.ValueRank >= 0;
  m.array = array;
  row.flags = array ? UA_DICT_RANK_ARRAY : UA_DICT_RANK_SCALAR;
  if (f.IsOptional) row.flags |= UA_DICT_STRUCT_OPTIONAL;
  const uagraph_node* t = graph_.node_find(f.DataType);
  uint32_t builtin = 0;
  if (f.AllowSubTypes) builtin = UA_TYPE_EXTENSIONOBJECT;
  while (builtin == 0 && t != nullptr) {
    if (auto it = by_node_.find(t->node_index()); it != by_node_.end()) {
      const entry e = it->second;
      if (e.k == kind::inttype) {
        row.flags |= UA_DICT_IMPL_ENUM_FIXED;
        row.type = ua_type_value(1, e.index);
        m.ops = ua_builtin_ops(inttypes_[e.index].base_type);
        size = inttypes_[e.index].size;
        align = size;
      } else {
        dyn_struct& s = *structs_[e.index];
        if (!layout(s, *struct_nodes_[e.index])) return false;
        row.flags |= UA_DICT_IMPL_STRUCT;
        row.type = ua_type_value(1, static_cast<uint32_t>(inttypes_.size()) + e.index);
        m.dyn = &s;
        size = s.desc.size;
        align = s.align;
      }
      break;
    }
    if (t->NodeId.ns() == 0) {
      const uint32_t id = t->NodeId.numeric_id();
      if (id >= 1 && id <= 25) {
        builtin = id;
        break;
      }
      for (std::size_t i = 0; i < ns0.inttypes.size(); ++i) {
        if (ns0.inttypes[i].type_id != id) continue;
        row.flags |= UA_DICT_NS0 | UA_DICT_IMPL_ENUM_FIXED;
        row.type = ns0.first_inttype_index() + static_cast<uint32_t>(i);
        m.ops = ua_builtin_ops(ns0.inttypes[i].base_type);
        size = ns0.inttypes[i].size;
        align = size;
        return true;
      }
      if (const int32_t r = ns0.find_by_type_id(id); r >= 0) {
        const ua_dict_structure& st = ns0.structures[static_cast<std::size_t>(r)];
        row.flags |= UA_DICT_NS0 | UA_DICT_IMPL_STRUCT;
        row.type = ns0.first_structure_index() + static_cast<uint32_t>(r);
        m.ops = st.ops;
        size = st.size;
        align = st.ops->align;
        break;
      }
    }
    t = graph_.node_supertype(*t);
  }
  if (builtin == 0 && t == nullptr) return false;
  if (builtin != 0) {
    row.flags |= UA_DICT_NS0 | UA_DICT_IMPL_FUNC;
    row.type = builtin;
    m.ops = ua_builtin_ops(static_cast<uint8_t>(builtin));
    if (m.ops == nullptr) return false;
    size = static_cast<uint32_t>(ua_builtin_size(static_cast<uint8_t>(builtin)));
    align = static_cast<uint32_t>(ua_builtin_align(static_cast<uint8_t>(builtin)));
  }
  if (array) {
    size = m.dyn != nullptr ? sizeof(dyn_array) : sizeof(ua_array<int32_t>);
    align = alignof(void*);
  }
  return true;
}

bool dictionary::layout(dyn_struct& s, UADataType& type) {
  if (s.done) return !s.bad;
  if (s.busy) {  // contains itself: only through an array, which needs no size
    return true;
  }
  s.busy = true;
  std::vector<const uagraph_field*> fields;
  const uagraph_node* root = ns0_ancestor(type);
  const bool bytes_optionset = root != nullptr && root->NodeId.numeric_id() == kOptionSetStructure;
  uint32_t offset = 0;
  auto place = [&](ua_dict_field row, dyn_member m, uint32_t size, uint32_t align) {
    offset = (offset + align - 1) / align * align;
    row.offset = static_cast<uint16_t>(offset);
    m.offset = offset;
    offset += size;
    s.align = std::max(s.align, align);
    s.rows.push_back(row);
    s.members.push_back(m);
  };
  const uint32_t k = type.Definition.kind;
  if (bytes_optionset) {
    for (const char* name : {"Value", "ValidBits"}) {
      ua_dict_field row{name, static_cast<uint8_t>(std::strlen(name)),
                        UA_DICT_RANK_SCALAR_NS0 | UA_DICT_IMPL_FUNC, 0, UA_TYPE_BYTESTRING};
      dyn_member m;
      m.ops = ua_builtin_ops(UA_VT_BYTESTRING);
      place(row, m, sizeof(ua_bytestring), alignof(ua_bytestring));
    }
  } else {
    collect_fields(type, fields);
    bool optional = false;
    for (const uagraph_field* f : fields) optional = optional || f->IsOptional;
    const bool is_union = k == UAGRAPH_DEFINITION_UNION || k == UAGRAPH_DEFINITION_UNION_WITH_SUBTYPED_VALUES;
    if (is_union || optional) {
      ua_dict_field row{"Mask", 4, static_cast<uint8_t>(UA_DICT_MASK_FLAGS), 0, UA_TYPE_UINT32};
      if (is_union) row.flags = static_cast<uint8_t>(UA_DICT_STRUCT_UNION | UA_DICT_RANK_SCALAR_NS0 | UA_DICT_IMPL_FUNC_FIXED);
      place(row, dyn_member{}, 4, 4);
    }
    for (const uagraph_field* f : fields) {
      ua_dict_field row{"", 0, 0, 0, 0};
      dyn_member m;
      uint32_t size = 0, align = 1;
      if (!field_type(*f, row, m, size, align)) {
        const std::string_view tn = type.BrowseName.name.view(), fn = f->Name.view();
        std::printf("FAIL %.*s: field '%.*s' has a type the dictionary cannot resolve\n",
                    static_cast<int>(tn.size()), tn.data(), static_cast<int>(fn.size()),
                    fn.data());
        s.bad = true;
        break;
      }
      if (is_union) row.flags &= static_cast<uint8_t>(~UA_DICT_STRUCT_OPTIONAL);
      place(row, m, size, align);
    }
  }
  offset = (offset + s.align - 1) / s.align * s.align;
  s.desc.fields = s.rows.data();
  s.desc.num_fields = static_cast<uint16_t>(s.rows.size());
  s.desc.size = std::max<uint32_t>(offset, 1);
  s.desc.ops = &kDynOps;
  s.desc.name = "structure";
  s.desc.type_id = type.NodeId.numeric_id();
  s.busy = false;
  s.done = true;
  return !s.bad;
}

int dictionary::build() {
  // Integer types first (enumerations, then option sets over an integer), then structures.
  std::vector<UADataType*> types;
  for (uagraph_node* n : graph_.nodes()) {
    if (n->nodeclass() != UA_NODECLASS_DATATYPE || n->NodeId.ns() == 0) continue;
    auto* t = n->as<UADataType>();
    if (t->IsAbstract || t->Definition.kind == UAGRAPH_DEFINITION_NONE) continue;
    types.push_back(t);
  }
  for (UADataType* t : types) {
    const nstable_entry* e = ns_.find_by_sdk_index(t->NodeId.ns());
    if (e == nullptr) continue;
    const uagraph_node* root = ns0_ancestor(*t);
    const uint32_t base = root != nullptr ? root->NodeId.numeric_id() : 0;
    entry en;
    if (t->Definition.kind == UAGRAPH_DEFINITION_ENUMERATION ||
        (t->Definition.kind == UAGRAPH_DEFINITION_OPTIONSET && base != kOptionSetStructure)) {
      const uint8_t code = t->Definition.kind == UAGRAPH_DEFINITION_ENUMERATION
                               ? UA_VT_INT32
                               : static_cast<uint8_t>(base);
      if (code != UA_VT_INT32 && code != UA_VT_BYTE && code != UA_VT_UINT16 &&
          code != UA_VT_UINT32 && code != UA_VT_UINT64)
        continue;
      en = {kind::inttype, static_cast<uint32_t>(inttypes_.size())};
      inttypes_.push_back({"integer type", t->NodeId.numeric_id(),
                           static_cast<uint32_t>(ua_builtin_size(code)), code});
    } else {
      en = {kind::structure, static_cast<uint32_t>(structs_.size())};
      structs_.push_back(std::make_unique<dyn_struct>());
      struct_nodes_.push_back(t);
    }
    by_node_[t->node_index()] = en;
    by_id_[{e->uri, t->NodeId.numeric_id()}] = en;
  }
  int bad = 0;
  for (std::size_t i = 0; i < structs_.size(); ++i)
    if (!layout(*structs_[i], *struct_nodes_[i])) ++bad;
  for (const auto& s : structs_) descs_.push_back(s->desc);
  table_.local_index = 1;
  table_.nsidx = 1;
  table_.inttypes = inttypes_;
  table_.structures = descs_;
  return bad;
}

std::string dictionary::round_trip(const std::string& uri, uint32_t id,
                                   const std::vector<uint8_t>& in, std::vector<uint8_t>& out) {
  const ua_type_table* table = &table_;
  const ua_dict_structure* st = nullptr;
  const dyn_struct* dyn = nullptr;
  uint8_t base = 0;
  if (uri == "http://opcfoundation.org/UA/") {
    table = &ua_type_table_ns0();
    if (const int32_t r = table->find_by_type_id(id); r >= 0)
      st = &table->structures[static_cast<std::size_t>(r)];
    for (const ua_dict_inttype& it : table->inttypes)
      if (it.type_id == id) base = it.base_type;
  } else {
    auto it = by_id_.find({uri, id});
    if (it == by_id_.end()) return "no such type in the dictionary";
    if (it->second.k == kind::inttype) {
      base = inttypes_[it->second.index].base_type;
    } else {
      dyn = structs_[it->second.index].get();
      if (dyn->bad) return "the dictionary cannot describe this type";
      st = &descs_[it->second.index];
    }
  }
  ua_decoder dec(in);
  ua_encoder enc;
  int ret;
  if (st == nullptr && base == 0) return "no such type in the dictionary";
  if (st == nullptr) {
    uint64_t value = 0;
    const ua_builtin_encoding& be = ua_builtin_encoding_table().encodings[base];
    ret = be.decode(dec, &value);
    if (ret == 0) ret = be.encode(enc, &value);
  } else {
    // Decoded into one value, copied into another, which must compare equal and is encoded.
    std::vector<std::max_align_t> mem(st->size / sizeof(std::max_align_t) + 1);
    std::vector<std::max_align_t> copy(mem.size());
    for (void* p : {static_cast<void*>(mem.data()), static_cast<void*>(copy.data())}) {
      if (dyn != nullptr) construct(*dyn, p);
      else st->ops->construct_n(p, 1);
    }
    ret = ua_dict_decode_structure(dec, *table, *st, mem.data());
    if (ret == 0) ret = ua_dict_copy_structure(*table, *st, copy.data(), mem.data());
    if (ret == 0 && ua_dict_compare_structure(*table, *st, mem.data(), copy.data()) != 0)
      ret = UA_EBADMISMATCH;
    if (ret == 0 && dec.remaining() == 0)
      ret = ua_dict_encode_structure(enc, *table, *st, copy.data());
    for (void* p : {static_cast<void*>(mem.data()), static_cast<void*>(copy.data())}) {
      if (dyn != nullptr) destroy(*dyn, p);
      else st->ops->destroy_n(p, 1);
    }
  }
  if (ret != 0) return "decoding, copying or encoding failed (" + std::to_string(ret) + ")";
  if (dec.remaining() != 0) return std::to_string(dec.remaining()) + " bytes left after decoding";
  out = enc.bytes();
  if (out != in) return "encoded again differs";
  return {};
}

std::vector<uint8_t> from_hex(const std::string& hex) {
  std::vector<uint8_t> b;
  if (hex == "-") return b;
  for (std::size_t i = 0; i + 1 < hex.size(); i += 2)
    b.push_back(static_cast<uint8_t>(std::stoi(hex.substr(i, 2), nullptr, 16)));
  return b;
}

}  // namespace
}  // namespace vos

int main(int argc, char** argv) {
  using namespace vos;
  if (argc < 4) {
    std::fprintf(stderr, "usage: %s <values in> <values out> <model file>...\n", argv[0]);
    return 2;
  }
  pipeline p;
  if (p.start() != 0) return 2;
  for (int i = 3; i < argc; ++i) {
    Md5 digest;
    if (p.load_nodeset(argv[i], &digest) != 0) {
      std::fprintf(stderr, "error: cannot load '%s'\n", argv[i]);
      return 2;
    }
  }
  dictionary dict(p);
  int failures = dict.build();
  std::ifstream in(argv[1]);
  std::ofstream out(argv[2]);
  std::string line;
  unsigned long values = 0;
  while (std::getline(in, line)) {
    std::istringstream s(line);
    std::string uri, hex;
    uint32_t id = 0;
    unsigned variant = 0;
    if (!(s >> uri >> id >> variant >> hex)) continue;
    ++values;
    std::vector<uint8_t> again;
    const std::string why = dict.round_trip(uri, id, from_hex(hex), again);
    if (!why.empty()) {
      std::printf("FAIL %s type %u value %u: %s\n", uri.c_str(), id, variant, why.c_str());
      ++failures;
      continue;
    }
    out << uri << ' ' << id << ' ' << variant << ' ';
    static const char* const digits = "0123456789abcdef";
    for (uint8_t b : again) out << digits[b >> 4] << digits[b & 15];
    if (again.empty()) out << '-';
    out << '\n';
  }
  std::printf("the tool's dictionary decoded and encoded again %lu values, %d failures\n", values,
              failures);
  return failures == 0 ? 0 : 1;
}
