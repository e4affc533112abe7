// ns<idx>.h and ns<idx>.c: a namespace's whole address space as constant C tables that the
// runtime registers at start-up instead of loading the binary file.
//
// Every table is built first (strings, references with their chains, dimensions, values,
// definitions), then the two files are written top to bottom.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <functional>
#include <map>
#include <string>
#include <unordered_map>
#include <vector>

#include "tools/vospack/codegen/encoders.h"
#include "tools/vospack/codegen/naming.h"
#include "tools/vospack/codegen/writers.h"
#include "uabase/dict.h"
#include "uabase/encoder.h"
#include "uabase/ns0_types_gen.h"
#include "uabase/text_nodeid.h"
#include "uabase/type_table.h"
#include "util/errors.h"

namespace vos {

namespace {

// A value larger than this does not fit the static store.
constexpr uint32_t kMaxValueSize = 16u * 1024 * 1024;
constexpr int64_t kNone = -1;

// The runtime's node entry holds .rev_ref_idx and .fwd_ref_idx in 32 signed bits. The first
// packs a reference index (or a placeholder number) above a 16-bit namespace half, leaving
// 15 bits of index; the second packs the reference index above a marker bit. Indexes and
// counts of the other fields are 32-bit signed numbers, the static store's index 8 bits.
constexpr int64_t kMaxRevIndex = 0x7FFF;
constexpr int64_t kMaxFwdIndex = 0x3FFFFFFF;
constexpr int64_t kMaxIndex = 0x7FFFFFFF;
constexpr int64_t kMaxStoreIndex = 0xFF;

// Node flags of the node pool.
constexpr uint32_t kFlagAbstract = 0x01;
constexpr uint32_t kFlagSymmetric = 0x02;
constexpr uint32_t kFlagExecutable = 0x04;
constexpr uint32_t kFlagContainsNoLoops = 0x08;
constexpr uint32_t kEventNotifierShift = 8;

// OPC UA StructureType of a structure definition kind.
int32_t structure_type(uint32_t kind) {
  switch (kind) {
    case UAGRAPH_DEFINITION_STRUCTURE_WITH_OPTIONAL_FIELDS:
      return 1;
    case UAGRAPH_DEFINITION_UNION:
      return 2;
    case UAGRAPH_DEFINITION_STRUCTURE_WITH_SUBTYPED_VALUES:
      return 3;
    case UAGRAPH_DEFINITION_UNION_WITH_SUBTYPED_VALUES:
      return 4;
    default:
      return 0;
  }
}

// Milliseconds as the binary file stores them.
int64_t sampling_interval(double v) {
  if (std::isnan(v)) return 0;
  if (v >= 2147483647.0) return 2147483647;
  if (v <= -2147483648.0) return -2147483647 - 1;
  return static_cast<int64_t>(v);
}

std::vector<uint8_t> encoded(const std::function<int(ua_encoder&)>& encode, int& status) {
  ua_encoder enc(65536);
  enc.max_bytes = kMaxValueSize + 1;
  status = encode(enc);
  return status == 0 ? enc.bytes() : std::vector<uint8_t>{};
}

// The tables of one namespace.
class addrspace_model {
 public:
  addrspace_model(const codegen_context& ctx, const nstable_entry& entry)
      : ctx_(ctx), entry_(entry), ns_(static_cast<uint16_t>(entry.sdk_index)) {}

  int build();

  struct reference {
    uint32_t src = 0;
    uint32_t dst = 0;
    uint32_t reftype = 0;
    int64_t next_rev = kNone;
    int64_t next_fwd = kNone;
  };
  struct variable {
    uint32_t datatype = 0;
    int32_t value_rank = -1;
    uint32_t num_dims = 0;
    int64_t dims_index = kNone;
    int64_t sampling = 0;
    uint8_t access_level = 0;
    bool historizing = false;
    int64_t store_index = kNone;
    int64_t value_index = kNone;
  };
  struct variable_type {
    uint32_t datatype = 0;
    int32_t value_rank = -1;
    uint32_t num_dims = 0;
    int64_t dims_index = kNone;
    bool is_abstract = false;
  };
  struct method {
    int64_t declaration = kNone;
  };
  struct dimension_group {
    uint32_t index = 0;
    uint32_t references = 0;
  };

  const codegen_context& ctx_;
  const nstable_entry& entry_;
  uint16_t ns_;
  std::vector<uagraph_node*> nodes;
  std::vector<int64_t> data_index;  // per node
  std::vector<int64_t> first_fwd;   // per node
  std::vector<int64_t> first_rev;   // per node
  std::vector<reference> refs;
  std::vector<std::string_view> strings{""};
  std::vector<bool> description_string{false};
  std::vector<ua_guid> guids;
  std::vector<std::span<const uint8_t>> opaques;
  std::vector<uint32_t> dim_values;
  std::map<std::vector<uint32_t>, dimension_group> dim_groups;
  std::vector<variable> variables;
  std::vector<variable_type> variable_types;
  std::vector<method> methods;
  std::vector<std::vector<uint8_t>> values;
  std::vector<std::vector<uint8_t>> definitions;
  uint32_t placeholders = 0;

  // The string's index; -1 after the "Could not resolve" message.
  int64_t string_index(const char* what, const ua_qualifiedname* qn, std::string_view s) const;

 private:
  void add_string(std::string_view s, bool description);
  int64_t add_dimensions(std::span<const uint32_t> dims);
  int add_references();
  int add_value(const uagraph_node& node, const ua_variant& value, variable& v);
  int add_definition(UADataType& dt);
  int check_limits() const;
  int refuse(const char* what, std::size_t count, int64_t limit, const char* field) const;

  std::unordered_map<std::string_view, uint32_t> string_map_{{"", 0}};
};

void addrspace_model::add_string(std::string_view s, bool description) {
  if (string_map_.try_emplace(s, static_cast<uint32_t>(strings.size())).second) {
    strings.push_back(s);
    description_string.push_back(description);
  }
}

int64_t addrspace_model::string_index(const char* what, const ua_qualifiedname* qn,
                                      std::string_view s) const {
  const auto it = string_map_.find(s);
  if (it != string_map_.end()) return it->second;
  codegen_context::error(
      "Could not resolve %s %u:'%.*s'. Please verify that this string exists in the given "
      "namespace.\n",
      what, qn != nullptr ? qn->ns : ns_, static_cast<int>(s.size()), s.data());
  return -1;
}

int64_t addrspace_model::add_dimensions(std::span<const uint32_t> dims) {
  if (dims.empty()) return kNone;
  std::vector<uint32_t> key(dims.begin(), dims.end());
  auto [it, fresh] = dim_groups.try_emplace(std::move(key), dimension_group{});
  if (fresh) {
    it->second.index = static_cast<uint32_t>(dim_values.size());
    dim_values.insert(dim_values.end(), dims.begin(), dims.end());
  }
  ++it->second.references;
  return it->second.index;
}

int addrspace_model::add_value(const uagraph_node& node, const ua_variant& value, variable& v) {
  int status = 0;
  std::vector<uint8_t> bytes =
      encoded([&](ua_encoder& enc) { return ua_encode_variant(enc, value); }, status);
  if (status != 0 || bytes.size() > kMaxValueSize) {
    if (status == 0 || status == UA_EBADENCODINGLIMITSEXCEEDED ||
        status == UA_EBADENCODINGTOOLARGE) {
      codegen_context::error(
          "error: cannot encode variant value, because it exceeds maximum value size of %u "
          "bytes.\n",
          kMaxValueSize);
    } else {
      codegen_context::error("error: cannot encode the value of node %s (%i).\n",
                             ua_nodeid_printable(node.NodeId).c_str(), status);
    }
    return -1;
  }
  v.store_index = static_cast<int64_t>(entry_.sdk_index) + 1;
  v.value_index = static_cast<int64_t>(values.size());
  values.push_back(std::move(bytes));
  return 0;
}

int addrspace_model::add_definition(UADataType& dt) {
  // The fields of the supertypes first, as the DataTypeDefinition attribute lists them.
  std::vector<const UADataType*> chain;
  for (const uagraph_node* n = &dt; n != nullptr && chain.size() < 64;
       n = ctx_.graph().node_supertype(*n)) {
    const UADataType* d = n->as<UADataType>();
    if (d == nullptr || d->Definition.kind == UAGRAPH_DEFINITION_NONE) break;
    chain.insert(chain.begin(), d);
  }
  const ua_type_table& table = ua_type_table_ns0();
  const uint32_t kind = dt.Definition.kind;
  int status = 0;
  std::vector<uint8_t> bytes;
  if (kind == UAGRAPH_DEFINITION_ENUMERATION || kind == UAGRAPH_DEFINITION_OPTIONSET) {
    ua_enum_definition def;
    std::vector<ua_enum_field> fields;
    for (const UADataType* t : chain) {
      for (const uagraph_field& f : t->Definition.fields) {
        fields.push_back(ua_enum_field{f.Value, f.DisplayName, f.Description, f.Name});
      }
    }
    def.fields = ua_array<ua_enum_field>(std::span<const ua_enum_field>(fields));
    const ua_dict_structure& st = table.structures[table.find_by_type_id(100)];
    bytes = encoded([&](ua_encoder& e) { return ua_dict_encode_structure(e, table, st, &def); },
                    status);
  } else {
    ua_structure_definition def;
    def.default_encoding_id = dt.Definition.DefaultEncodingId;
    def.base_data_type = dt.Definition.BaseTypeId;
    def.structure_type = structure_type(kind);
    std::vector<ua_structure_field> fields;
    for (const UADataType* t : chain) {
      for (const uagraph_field& f : t->Definition.fields) {
        ua_structure_field sf;
        sf.name = f.Name;
        sf.description = f.Description;
        sf.data_type = f.DataType;
        sf.value_rank = f.ArrayInfo.ValueRank;
        sf.array_dimensions = ua_array<uint32_t>(f.ArrayInfo.ArrayDimensions());
        sf.max_string_length = f.MaxStringLength;
        sf.is_optional = f.IsOptional || f.AllowSubTypes;
        fields.push_back(std::move(sf));
      }
    }
    def.fields = ua_array<ua_structure_field>(std::span<const ua_structure_field>(fields));
    const ua_dict_structure& st = table.structures[table.find_by_type_id(99)];
    bytes = encoded([&](ua_encoder& e) { return ua_dict_encode_structure(e, table, st, &def); },
                    status);
  }
  if (status != 0) {
    codegen_context::error("error: cannot encode the definition of datatype %s (%i).\n",
                           ua_nodeid_printable(dt.NodeId).c_str(), status);
    return -1;
  }
  definitions.push_back(std::move(bytes));
  return 0;
}

int addrspace_model::add_references() {
  const uagraph& graph = ctx_.graph();
  const auto local = [&](const uagraph_node& n) { return ctx_.handle_of(n) & 0xFFFFFFu; };
  std::vector<int64_t> last_rev(nodes.size(), kNone);
  const auto add = [&](const uagraph_reference& r) {
    const uagraph_node& src = graph.source_of(r);
    const uagraph_node& dst = graph.target_of(r);
    const int64_t id = static_cast<int64_t>(refs.size());
    refs.push_back(reference{ctx_.handle_of(src), ctx_.handle_of(dst),
                             ctx_.handle_of(graph.reftype_of(r)), kNone, kNone});
    if (dst.NodeId.ns() == ns_) {
      const uint32_t d = local(dst);
      if (last_rev[d] == kNone) {
        first_rev[d] = id;
      } else {
        refs[static_cast<std::size_t>(last_rev[d])].next_rev = id;
      }
      last_rev[d] = id;
    }
  };
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    int64_t last = kNone;
    for (const uagraph_reference& r : graph.forward_references(*nodes[i])) {
      const int64_t id = static_cast<int64_t>(refs.size());
      add(r);
      if (last == kNone) {
        first_fwd[i] = id;
      } else {
        refs[static_cast<std::size_t>(last)].next_fwd = id;
      }
      last = id;
    }
  }
  // References into this namespace from nodes of lower namespaces.
  for (const uagraph_node* n : graph.nodes()) {
    if (n->NodeId.ns() >= ns_) continue;
    for (const uagraph_reference& r : graph.forward_references(*n)) {
      if (graph.target_of(r).NodeId.ns() == ns_) add(r);
    }
  }
  // Every reference must sit in the chains of its own nodes: walk each chain once.
  std::vector<uint8_t> seen(refs.size(), 0);
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    for (int64_t cur = first_fwd[i]; cur != kNone;
         cur = refs[static_cast<std::size_t>(cur)].next_fwd) {
      seen[static_cast<std::size_t>(cur)] |= 1;
    }
    for (int64_t cur = first_rev[i]; cur != kNone;
         cur = refs[static_cast<std::size_t>(cur)].next_rev) {
      seen[static_cast<std::size_t>(cur)] |= 2;
    }
  }
  for (std::size_t id = 0; id < refs.size(); ++id) {
    if ((refs[id].src >> 24) == ns_ && (seen[id] & 1) == 0) {
      codegen_context::error("error: could not find reference %u in src->references\n",
                             static_cast<unsigned>(id));
      return -1;
    }
    if ((refs[id].dst >> 24) == ns_ && (seen[id] & 2) == 0) {
      codegen_context::error("error: could not find reference %u in dst->references_inv\n",
                             static_cast<unsigned>(id));
      return -1;
    }
  }
  return 0;
}

int addrspace_model::build() {
  for (uagraph_node* n : ctx_.graph().nodes()) {
    if (n->NodeId.ns() == ns_) nodes.push_back(n);
  }
  if (nodes.size() > 0xFFFFFF) {
    // A node handle holds the position in 24 bits.
    codegen_context::error("error: namespace %u has more than 16777215 nodes.\n",
                           static_cast<unsigned>(ns_));
    return -1;
  }
  data_index.assign(nodes.size(), kNone);
  first_fwd.assign(nodes.size(), kNone);
  first_rev.assign(nodes.size(), kNone);
  const bool descriptions = ctx_.options().with_descriptions;
  const address_mapping_table* mapping = ctx_.settings().address_mapping;
  const placeholder_table* placeholder = ctx_.settings().placeholders;
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    uagraph_node& n = *nodes[i];
    add_string(n.BrowseName.name.view(), false);
    add_string(n.DisplayName.text.view(), false);
    if (descriptions) add_string(n.extra().Description.text.view(), true);
    switch (n.NodeId.type()) {
      case ua_nodeid_type::string:
        if (!cg_fits_c_literal(n.NodeId.string_id())) {
          // A cut identifier would name another node, or none.
          codegen_context::error(
              "error (%s): the string NodeId of node %s is longer than a C string literal can "
              "hold (%zu characters escaped).\n",
              "output_c_addressspace", ua_nodeid_printable(n.NodeId).c_str(), CODEGEN_MAX_LITERAL);
          return -1;
        }
        add_string(n.NodeId.string_id(), false);
        break;
      case ua_nodeid_type::guid:
        guids.push_back(n.NodeId.guid_id());
        break;
      case ua_nodeid_type::opaque:
        opaques.push_back(n.NodeId.opaque_id());
        break;
      default:
        break;
    }
    if (placeholder != nullptr && placeholder->is_placeholder(n.NodeId)) ++placeholders;

    if (UAVariable* var = n.as<UAVariable>()) {
      variable v;
      const uagraph_node* dt = ctx_.graph().node_find(var->DataType);
      if (dt == nullptr) {
        const std::string a = ua_nodeid_to_text(n.NodeId);
        const std::string b = ua_nodeid_to_text(var->DataType);
        codegen_context::error(
            "error: Node with id '%.*s' references non-existing datatype '%.*s'.\n",
            static_cast<int>(a.size()), a.data(), static_cast<int>(b.size()), b.data());
        return -1;
      }
      v.datatype = ctx_.handle_of(*dt);
      v.value_rank = var->ArrayInfo.ValueRank;
      v.num_dims = static_cast<uint32_t>(var->ArrayInfo.ArrayDimensions().size());
      v.dims_index = add_dimensions(var->ArrayInfo.ArrayDimensions());
      v.sampling = sampling_interval(var->MinimumSamplingInterval);
      v.access_level = var->AccessLevel;
      v.historizing = var->Historizing;
      const address_mapping_record* rec = mapping != nullptr ? mapping->find(n.NodeId) : nullptr;
      if (rec != nullptr) {
        v.store_index = rec->store_index;
        v.value_index = rec->value_index;
      } else if (!var->Value.is_empty()) {
        if (add_value(n, var->Value, v) != 0) return -1;
      }
      data_index[i] = static_cast<int64_t>(variables.size());
      variables.push_back(v);
    } else if (UAVariableType* vt = n.as<UAVariableType>()) {
      variable_type t;
      const uagraph_node* dt = ctx_.graph().node_find(vt->DataType);
      t.datatype = dt != nullptr ? ctx_.handle_of(*dt) : UINT32_MAX;
      t.value_rank = vt->ArrayInfo.ValueRank;
      t.num_dims = static_cast<uint32_t>(vt->ArrayInfo.ArrayDimensions().size());
      t.dims_index = add_dimensions(vt->ArrayInfo.ArrayDimensions());
      t.is_abstract = vt->IsAbstract;
      data_index[i] = static_cast<int64_t>(variable_types.size());
      variable_types.push_back(t);
    } else if (UAMethod* m = n.as<UAMethod>()) {
      method entry;
      if (!m->MethodDeclarationId.is_null()) {
        if (const uagraph_node* decl = ctx_.graph().node_find(m->MethodDeclarationId)) {
          entry.declaration = ctx_.handle_of(*decl);
        }
      }
      data_index[i] = static_cast<int64_t>(methods.size());
      methods.push_back(entry);
    } else if (UADataType* dt = n.as<UADataType>()) {
      if (dt->Definition.kind != UAGRAPH_DEFINITION_NONE) {
        data_index[i] = static_cast<int64_t>(definitions.size());
        if (add_definition(*dt) != 0) return -1;
      }
    } else if (UAReferenceType* rt = n.as<UAReferenceType>()) {
      add_string(rt->InverseName.text.view(), false);
      data_index[i] = string_map_.at(rt->InverseName.text.view());
    }
  }
  if (add_references() != 0) return -1;
  return check_limits();
}

int addrspace_model::refuse(const char* what, std::size_t count, int64_t limit,
                            const char* field) const {
  codegen_context::error(
      "error: namespace %u (%s) has %zu %s, but %s in the compiled-in address space reaches "
      "only the first %lld; the binary address-space file (vospack) has no such limit.\n",
      static_cast<unsigned>(ns_), entry_.uri.c_str(), count, what, field,
      static_cast<long long>(limit));
  return -1;
}

// Every packed or narrowed field of the tables must hold its value: a value that does not
// fit would be cut by the C compiler or refused by it, so the namespace is refused here.
int addrspace_model::check_limits() const {
  // A node's first inverse reference may be any reference of the pool.
  int64_t highest_rev = kNone;
  for (const int64_t r : first_rev) highest_rev = std::max(highest_rev, r);
  if (highest_rev > kMaxRevIndex) {
    return refuse("references", refs.size(), kMaxRevIndex + 1,
                  ".rev_ref_idx (a node's first inverse reference << 16)");
  }
  if (placeholders > kMaxRevIndex + 1) {
    return refuse("placeholder nodes", placeholders, kMaxRevIndex + 1,
                  ".rev_ref_idx (placeholder number << 16)");
  }
  if (refs.size() > static_cast<std::size_t>(kMaxFwdIndex) + 1) {
    return refuse("references", refs.size(), kMaxFwdIndex + 1,
                  ".fwd_ref_idx (first forward reference << 1 | 1)");
  }
  const struct {
    const char* what;
    std::size_t count;
    const char* field;
  } pools[] = {
      {"strings", strings.size(), "the string index (.browsenameid, .displaynameid)"},
      {"dimension values", dim_values.size(), ".dimensionsindex"},
      {"variables", variables.size(), ".dataindex"},
      {"variable types", variable_types.size(), ".dataindex"},
      {"methods", methods.size(), ".dataindex"},
      {"values", values.size(), ".valueindex"},
      {"definitions", definitions.size(), ".dataindex"},
      {"GUID identifiers", guids.size(), ".id.identifier"},
      {"opaque identifiers", opaques.size(), ".id.identifier"},
  };
  for (const auto& p : pools) {
    if (p.count > static_cast<std::size_t>(kMaxIndex) + 1) {
      return refuse(p.what, p.count, kMaxIndex + 1, p.field);
    }
  }
  // The store index is SDK index + 1 and reaches the runtime as 8 bits.
  if (!values.empty() && int64_t{entry_.sdk_index} + 1 > kMaxStoreIndex) {
    codegen_context::error(
        "error: namespace %u (%s) has static values, but the static store index (SDK index + 1) "
        "holds at most %lld; the binary address-space file (vospack) has no such limit.\n",
        static_cast<unsigned>(ns_), entry_.uri.c_str(), static_cast<long long>(kMaxStoreIndex));
    return -1;
  }
  return 0;
}

uint32_t node_flags(const uagraph_node& n) {
  uint32_t flags = 0;
  if (const auto* o = n.as<UAObject>()) flags |= uint32_t{o->EventNotifier} << kEventNotifierShift;
  if (const auto* v = n.as<UAView>()) {
    flags |= uint32_t{v->EventNotifier} << kEventNotifierShift;
    if (v->ContainsNoLoops) flags |= kFlagContainsNoLoops;
  }
  if (const auto* t = n.as<UAObjectType>(); t != nullptr && t->IsAbstract) flags |= kFlagAbstract;
  if (const auto* t = n.as<UAVariableType>(); t != nullptr && t->IsAbstract) flags |= kFlagAbstract;
  if (const auto* t = n.as<UADataType>(); t != nullptr && t->IsAbstract) flags |= kFlagAbstract;
  if (const auto* t = n.as<UAReferenceType>()) {
    if (t->IsAbstract) flags |= kFlagAbstract;
    if (t->Symmetric) flags |= kFlagSymmetric;
  }
  if (const auto* m = n.as<UAMethod>(); m != nullptr && m->Executable) flags |= kFlagExecutable;
  return flags;
}

// The rest of a pool's header after its first three members, up to the opening of its
// entries. An empty pool leaves its flexible array member out (ISO C has no empty braces).
void write_pool_header_rest(output_file& out, const char* name, std::size_t count,
                            uint32_t nsidx) {
  out.print("    %u,\n#ifdef MEMORY_ENABLE_STAT\n    %u,\n#endif\n", static_cast<unsigned>(count),
            static_cast<unsigned>(count));
  out.print("    \"%spool\",\n    \"Namespaceindex %u\",\n", name, nsidx);
  out.put("    NULL, /* this pool is constant, so there are no free cells */\n");
  out.put("#ifdef MEMORY_THREADSAFE\n    UA_MUTEX_INITIALIZER,\n#endif\n");
  if (count > 0) out.put("    {\n");
}

// The header of a generic constant pool, up to the opening of its entries.
void write_pool_header(output_file& out, const char* type, const char* name, std::size_t count,
                       const std::string& object_size, uint32_t nsidx) {
  out.print("UA_CONST_POOL static const struct mem_objectpool_%s g_%spool = {\n", type, name);
  out.print("    UINT_MAX,\n    %u,\n    %s,\n", static_cast<unsigned>(count),
            object_size.c_str());
  write_pool_header_rest(out, name, count, nsidx);
}

void write_pool_end(output_file& out, std::size_t count) {
  out.put(count > 0 ? "    }\n};\n\n" : "};\n\n");
}

// Values longer than this are written as arrays: C99 compilers need not accept longer string
// literals.
constexpr std::size_t kMaxLiteralBytes = 4095;

// The arrays of the values of `values` too long for a string literal, named
// g_<name>_<element index>; written before the table that points to them.
template <typename Values>
void write_long_values(output_file& out, const char* name, const Values& values) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  for (std::size_t i = 0; i < values.size(); ++i) {
    const std::span<const uint8_t> bytes(values[i]);
    if (bytes.size() <= kMaxLiteralBytes) continue;
    out.print("static const unsigned char g_%s_%zu[%zu] = {\n", name, i, bytes.size());
    // "0xNN," in rows of 16, without a formatter call per byte.
    char line[8 + 16 * 6 + 1];
    for (std::size_t pos = 0; pos < bytes.size(); pos += 16) {
      const std::size_t run = std::min<std::size_t>(16, bytes.size() - pos);
      std::size_t len = 0;
      for (std::size_t k = 0; k < 4; ++k) line[len++] = ' ';
      for (std::size_t k = 0; k < run; ++k) {
        const uint8_t b = bytes[pos + k];
        line[len++] = ' ';
        line[len++] = '0';
        line[len++] = 'x';
        line[len++] = kHex[b >> 4];
        line[len++] = kHex[b & 0xF];
        line[len++] = ',';
      }
      line[len++] = '\n';
      out.put(std::string_view(line, len));
    }
    out.put("};\n");
  }
}

// The entries of a table of struct ua_staticstore_element: a string literal for a short
// value, the array of write_long_values for a long one.
template <typename Values>
void write_elements(output_file& out, const char* name, const Values& values) {
  for (std::size_t i = 0; i < values.size(); ++i) {
    const std::span<const uint8_t> bytes(values[i]);
    if (bytes.size() <= kMaxLiteralBytes) {
      cg_write_bytestring_literal(out, bytes);
    } else {
      out.print("    { %zu, (const char *)g_%s_%zu },\n", bytes.size(), name, i);
    }
  }
}

// The header of a pool type of our own: the generic pool's members with another element.
void write_own_pool_type(output_file& out, const char* comment, const char* type,
                         const char* element) {
  out.print("/* %s */\n", comment);
  out.print(
      "struct %s {\n    int id;\n    size_t num_objects;\n    size_t object_size;\n"
      "    size_t used;\n#ifdef MEMORY_ENABLE_STAT\n    size_t max_used;\n#endif\n"
      "    const char *name;\n    const char *info;\n"
      "    struct mem_objectpool_element *freelist;\n"
      "#ifdef MEMORY_THREADSAFE\n    ua_mutex_t reserved;\n#endif\n"
      "    %s data[];\n};\n\n",
      type, element);
}

void write_own_pool_header(output_file& out, const char* type, const char* name, int id,
                           std::size_t count, const char* element, uint32_t nsidx) {
  out.print("UA_CONST_POOL static const struct %s g_%spool = {\n    %i,\n    %u,\n    sizeof(%s),\n",
            type, name, id, static_cast<unsigned>(count), element);
  write_pool_header_rest(out, name, count, nsidx);
}

class addrspace_writer {
 public:
  addrspace_writer(const codegen_context& ctx, const nstable_entry& entry, addrspace_model& model,
                   output_file& out)
      : ctx_(ctx), entry_(entry), m_(model), out_(out) {}
  int write();

 private:
  void write_preamble();
  void write_strings();
  void write_guids();
  void write_bytestrings();
  int write_nodes();
  void write_dimensions();
  void write_pools();
  void write_stores();
  int write_roles();
  void write_register();
  void write_store_functions();

  const codegen_context& ctx_;
  const nstable_entry& entry_;
  addrspace_model& m_;
  output_file& out_;
  const char* prefix() const { return entry_.prefix_lower().c_str(); }
  const char* macro() const { return entry_.prefix_upper().c_str(); }
  bool namespace0() const { return entry_.sdk_index == 0; }
  // Nodes carry permission sets (rolepermissions.c exists).
  bool with_roles() const { return ctx_.has_role_permissions(); }
  // Namespace 0 registers the model's roles (and its default permissions).
  bool registers_roles() const { return namespace0() && !ctx_.roles().roles.empty(); }
};

void addrspace_writer::write_preamble() {
  out_.put(
      "/* Attention: this file requires C99 designated initializers!\n"
      " * It builds with GCC, Clang and Visual Studio 2015 or newer; older Visual Studio\n"
      " * versions do not support designated initializers in C.\n */\n");
  out_.put(
      "#ifdef _MSC_VER\n# if _MSC_VER < 1900\n# error Visual Studio 2015 is required for "
      "this\n# endif\n#endif\n\n");
  out_.print("#include \"ns%u.h\"\n", entry_.sdk_index);
  out_.put(
      "#include <common/errors.h>\n#include <trace/trace.h>\n#include <memory/objectpool.h>\n"
      "#include <uabase/guid.h>\n#include <uaserver/stringtable.h>\n"
      "#include <uaserver/addressspace/staticpooltypes.h>\n#include <util/error_lookup.h>\n\n");
  out_.put(
      "/* The constant pools initialise the flexible array member of their pool type, an\n"
      " * extension of C99 that gcc and clang accept; __extension__ marks exactly these\n"
      " * declarations, so that -pedantic stays on for the rest of the file. */\n"
      "#if defined(__GNUC__)\n# define UA_CONST_POOL __extension__\n#else\n"
      "# define UA_CONST_POOL\n#endif\n\n");
  out_.print("static const int g_%s_num_placeholders = %u;\n\n", prefix(), m_.placeholders);
  out_.put(
      "#if UA_AUTHORIZATION_BACKEND == UA_AUTHORIZATION_BACKEND_NULL\n"
      "# define UA_NODE_PERMISSION(perm_id)\n"
      "#elif UA_AUTHORIZATION_BACKEND == UA_AUTHORIZATION_BACKEND_ROLEPERMISSIONS\n"
      "# define UA_NODE_PERMISSION(perm_id) , .perm_ctx = { perm_id }\n");
  if (namespace0() && with_roles()) out_.put("# include \"rolepermissions.c\"\n");
  out_.put("# include<uaserver/session/authorization/rolepermissions/role.h>\n#endif\n\n");
  out_.put(
      "#ifdef UA_SUPPORT_HISTORIZING\n# define UA_NODE_HISTORIZING(hist) , .historizing = hist\n"
      "#else /* UA_SUPPORT_HISTORIZING */\n# define UA_NODE_HISTORIZING(hist)\n"
      "#endif /* UA_SUPPORT_HISTORIZING */\n\n");
  if (ctx_.options().with_descriptions) {
    out_.put(
        "#ifdef UA_SUPPORT_DESCRIPTION\n# define UA_NODE_DESCRIPTION(id) , .descriptionid = id\n"
        "# define UA_DESCRIPTION_C(text) text\n#else /* UA_SUPPORT_DESCRIPTION */\n"
        "# error(\"this file requires UA_SUPPORT_DESCRIPTION to be enabled\")\n"
        "#endif /* UA_SUPPORT_DESCRIPTION */\n\n");
  } else {
    out_.put(
        "#ifdef UA_SUPPORT_DESCRIPTION\n"
        "# error(\"this file requires UA_SUPPORT_DESCRIPTION to be disabled\")\n"
        "#else /* UA_SUPPORT_DESCRIPTION */\n# define UA_NODE_DESCRIPTION(id)\n"
        "#endif /* UA_SUPPORT_DESCRIPTION */\n\n");
  }
  const input_digest& d = ctx_.settings().digest;
  out_.print("static const unsigned char g_digest[16] = { 0x%02x", d[0]);
  for (std::size_t i = 1; i < d.size(); ++i) out_.print(", 0x%02x", d[i]);
  out_.put(" };\n\n");
}

void addrspace_writer::write_strings() {
  out_.put("\n/* clang-format off */\n");
  out_.print("static const char * const g_stringtabledata[%zu] = {\n", m_.strings.size());
  for (std::size_t i = 0; i < m_.strings.size(); ++i) {
    const bool description = m_.description_string[i];
    out_.put(description ? "    UA_DESCRIPTION_C(" : "    ");
    if (out_.c_string(m_.strings[i]) != 0) {
      // The cut text keeps the entry's place, so that the indexes after it hold.
      std::string shown;
      cg_escape_c_string(m_.strings[i], shown);
      codegen_context::warning("warning (%s): string %s was truncated.\n", "output_c_addressspace",
                               shown.c_str());
    }
    out_.put(description ? "),\n" : ",\n");
  }
  out_.put("};\n\n");
  write_own_pool_type(out_,
                      "objectpool variant which allows to store conststring elements without "
                      "warnings.",
                      "strobjectpool", "struct ua_conststring");
  write_own_pool_header(out_, "strobjectpool", "string", 0, m_.strings.size(),
                        "struct ua_conststring", entry_.sdk_index);
  for (std::size_t i = 0; i < m_.strings.size(); ++i) {
    out_.print("        { %u }%s\n", static_cast<unsigned>(i),
               i + 1 < m_.strings.size() ? "," : "");
  }
  write_pool_end(out_, m_.strings.size());
}

void addrspace_writer::write_guids() {
  if (m_.guids.empty()) return;
  write_own_pool_type(out_,
                      "objectpool variant which allows to store guid elements without warnings.",
                      "guidobjectpool", "struct ua_guid");
  write_own_pool_header(out_, "guidobjectpool", "guid", 1, m_.guids.size(), "struct ua_guid",
                        entry_.sdk_index);
  for (std::size_t i = 0; i < m_.guids.size(); ++i) {
    out_.put(cg_guid_literal("        ", m_.guids[i], i + 1 < m_.guids.size() ? ",\n" : "\n"));
  }
  write_pool_end(out_, m_.guids.size());
}

void addrspace_writer::write_bytestrings() {
  if (m_.opaques.empty()) return;
  write_own_pool_type(out_,
                      "objectpool variant which allows to store bytestring elements without "
                      "warnings.",
                      "bytestringobjectpool", "struct ua_staticstore_element");
  write_long_values(out_, "bytestring", m_.opaques);
  write_own_pool_header(out_, "bytestringobjectpool", "bytestring", 2, m_.opaques.size(),
                        "struct ua_staticstore_element", entry_.sdk_index);
  write_elements(out_, "bytestring", m_.opaques);
  write_pool_end(out_, m_.opaques.size());
}

int addrspace_writer::write_nodes() {
  write_pool_header(out_, "node", "node", m_.nodes.size(), "sizeof(struct ua_node)",
                    entry_.sdk_index);
  const placeholder_table* placeholder = ctx_.settings().placeholders;
  const int64_t nsidx = entry_.sdk_index;
  uint32_t placeholder_number = 0;
  uint32_t guid_index = 0;
  uint32_t opaque_index = 0;
  for (std::size_t i = 0; i < m_.nodes.size(); ++i) {
    uagraph_node& n = *m_.nodes[i];
    int64_t identifier = 0;
    switch (n.NodeId.type()) {
      case ua_nodeid_type::numeric:
        identifier = n.NodeId.numeric_id();
        break;
      case ua_nodeid_type::string:
        identifier = m_.string_index("nodeid", nullptr, n.NodeId.string_id());
        break;
      case ua_nodeid_type::guid:
        identifier = guid_index++;
        break;
      case ua_nodeid_type::opaque:
        identifier = opaque_index++;
        break;
    }
    const int64_t browse = m_.string_index("browsename", &n.BrowseName, n.BrowseName.name.view());
    const int64_t display = m_.string_index("displayname", nullptr, n.DisplayName.text.view());
    int64_t description = 0;
    if (ctx_.options().with_descriptions) {
      description = m_.string_index("description", nullptr, n.extra().Description.text.view());
    }
    if (identifier < 0 || browse < 0 || display < 0 || description < 0) return -1;
    int64_t rev = kNone;
    if (placeholder != nullptr && placeholder->is_placeholder(n.NodeId)) {
      out_.print("    /* placeholder %u */\n", placeholder_number);
      rev = (int64_t{placeholder_number++} << 16) | ((nsidx * 2) & 0xFFFE);
    } else if (m_.first_rev[i] != kNone) {
      rev = (m_.first_rev[i] << 16) | ((nsidx * 2 + 1) & 0xFFFF);
    }
    const int64_t fwd = m_.first_fwd[i] == kNone ? kNone : (m_.first_fwd[i] << 1) | 1;
    // Both fit 32 bits (check_limits).
    out_.print(
        "        { .id = { .type = %u, .identifier = %lld }, .rev_ref_idx = %i, "
        ".fwd_ref_idx = %i, .displaynameid = %lld, .browsenameid = %lld, "
        ".browsenamens = %i UA_NODE_DESCRIPTION(%lld), .dataindex = %lld, .nodeclass = %u, "
        ".flags = %i, .accessrestrictions = %u ",
        static_cast<unsigned>(n.NodeId.type()), static_cast<long long>(identifier),
        static_cast<int>(rev), static_cast<int>(fwd), static_cast<long long>(display),
        static_cast<long long>(browse), static_cast<int>(n.BrowseName.ns),
        static_cast<long long>(description), static_cast<long long>(m_.data_index[i]),
        n.nodeclass(), static_cast<int>(node_flags(n)),
        static_cast<unsigned>(n.get_access_restrictions()));
    if (!with_roles()) {
      out_.put("},\n");
      continue;
    }
    const int set = ctx_.roles().set_index(n);
    if (set < 0) {
      out_.put("UA_NODE_PERMISSION(0) },\n");
    } else {
      out_.print("UA_NODE_PERMISSION(%i) },\n", set + 10);
    }
  }
  write_pool_end(out_, m_.nodes.size());
  return 0;
}

void addrspace_writer::write_dimensions() {
  write_pool_header(out_, "dimension", "dimension", m_.dim_values.size(), "sizeof(int32_t) * 1",
                    entry_.sdk_index);
  std::vector<const std::pair<const std::vector<uint32_t>, addrspace_model::dimension_group>*>
      groups;
  for (const auto& g : m_.dim_groups) groups.push_back(&g);
  std::sort(groups.begin(), groups.end(),
            [](const auto* a, const auto* b) { return a->second.index < b->second.index; });
  for (const auto* g : groups) {
    out_.put("        ");
    for (const uint32_t v : g->first) out_.print("%u, ", v);
    out_.print(" /* index %u, referenced %u times */\n", g->second.index, g->second.references);
  }
  write_pool_end(out_, m_.dim_values.size());
}

void addrspace_writer::write_pools() {
  const uint32_t nsidx = entry_.sdk_index;
  write_pool_header(out_, "variable", "variable", m_.variables.size(), "sizeof(struct ua_variable)",
                    nsidx);
  for (const auto& v : m_.variables) {
    out_.print(
        "        { .datatype = %i, .valuerank = %i, .num_dimensions = %u, "
        ".dimensionsindex = %lld, .minimum_sampling_interval = %lld, .accesslevel = %u "
        "UA_NODE_HISTORIZING(%u), .storeindex = %lld, .valueindex = %lld },\n",
        static_cast<int>(v.datatype), v.value_rank, v.num_dims,
        static_cast<long long>(v.dims_index), static_cast<long long>(v.sampling), v.access_level,
        v.historizing ? 1u : 0u, static_cast<long long>(v.store_index),
        static_cast<long long>(v.value_index));
  }
  write_pool_end(out_, m_.variables.size());

  write_pool_header(out_, "variabletype", "variabletype", m_.variable_types.size(),
                    "sizeof(struct ua_variabletype)", nsidx);
  for (const auto& t : m_.variable_types) {
    out_.print(
        "        { .datatype = %i, .valuerank = %i, .num_dimensions = %u, "
        ".dimensionsindex = %lld, .is_abstract = %u },\n",
        static_cast<int>(t.datatype), t.value_rank, t.num_dims,
        static_cast<long long>(t.dims_index), t.is_abstract ? 1u : 0u);
  }
  write_pool_end(out_, m_.variable_types.size());

  write_pool_header(out_, "method", "method", m_.methods.size(), "sizeof(struct ua_method)", nsidx);
  for (std::size_t i = 0; i < m_.methods.size(); ++i) {
    out_.print("        { .methoddeclaration = %i, .methodindex = %u },\n",
               static_cast<int>(m_.methods[i].declaration), static_cast<unsigned>(i));
  }
  write_pool_end(out_, m_.methods.size());

  write_pool_header(out_, "reference", "ref", m_.refs.size(), "sizeof(struct ua_reference)", nsidx);
  for (const auto& r : m_.refs) {
    out_.print(
        "    { .src = %9u, .dst = %9u, .reftype = %9u, .next_rev = %9lld, .next_fwd = %9lld },\n",
        r.src, r.dst, r.reftype, static_cast<long long>(r.next_rev),
        static_cast<long long>(r.next_fwd));
  }
  write_pool_end(out_, m_.refs.size());
}

// A table of store elements; a store without values gets one placeholder element and its
// count stays 0 (ISO C has no empty arrays).
void write_store_table(output_file& out, const char* name,
                       const std::vector<std::vector<uint8_t>>& values) {
  write_long_values(out, name, values);
  out.print("static const struct ua_staticstore_element g_%s_elements[%s] = {\n", name,
            values.empty() ? "1" : "");
  if (values.empty()) out.put("    { 0, NULL } /* placeholder, the store is empty */\n");
  write_elements(out, name, values);
  out.put("};\n");
}

void addrspace_writer::write_stores() {
  write_store_table(out_, "staticstore", m_.values);
  out_.print("static const unsigned int g_staticstore_num_elements = %u;\n\n",
             static_cast<unsigned>(m_.values.size()));
  std::printf("Assigned %i datatypedefinition indices.\n", static_cast<int>(m_.definitions.size()));
  out_.put("static struct ua_staticstore g_dtdef_store;\n");
  write_store_table(out_, "dtdef", m_.definitions);
  out_.print("static const unsigned int g_dtdef_num_elements = %i;\n\n",
             static_cast<int>(m_.definitions.size()));
  std::printf("Generated %i datatypedefinition entries.\n",
              static_cast<int>(m_.definitions.size()));
}

int addrspace_writer::write_roles() {
  if (!registers_roles()) return 0;
  const role_tables& roles = ctx_.roles();
  out_.put("#if UA_AUTHORIZATION_BACKEND == UA_AUTHORIZATION_BACKEND_ROLEPERMISSIONS\n");
  out_.put("static const char *g_roles[] = {\n");
  for (const ua_nodeid& role : roles.roles) {
    const std::string text = ua_nodeid_to_text(role);
    const uagraph_node* node = ctx_.graph().node_find(role);
    const std::string_view name = node != nullptr ? node->BrowseName.name.view() : "";
    ctx_.debug("Role: %s\n", text.c_str());
    out_.put("    ");
    if (out_.c_string(text) != 0) {
      // A cut role identifier would register another role.
      codegen_context::error(
          "error (%s): the NodeId of role %s is longer than a C string "
          "literal can hold.\n",
          "output_c_addressspace", ua_nodeid_printable(role).c_str());
      return -1;
    }
    out_.put(", /* ");
    out_.comment_text(name);
    out_.put(" */\n");
  }
  out_.put("};\n\n");
  out_.print("static int %s_init_roles(void)\n{\n", prefix());
  out_.put(
      "    struct ua_nodeid id;\n    struct ua_string str;\n    unsigned int i, role_id;\n"
      "    int ret = 0;\n\n    for (i = 0; i < countof(g_roles); ++i) {\n"
      "        ua_string_attach_const(&str, g_roles[i]);\n"
      "        ret = ua_nodeid_from_string(&id, &str);\n        if (ret != 0) return ret;\n"
      "        ret = ua_role_add_role(&id);\n        ua_nodeid_clear(&id);\n"
      "        if (ret < 0) return ret;\n        role_id = ret;\n"
      "        if (role_id != i) {\n"
      "            TRACE_ERROR(TRACE_FAC_PROVIDER, \"The role_id must match the array "
      "index.\\n\");\n"
      "            return UA_EBADINTERNALERROR;\n        }\n"
      "        ret = ua_role_set_flag(role_id, UA_ROLE_FLAG_SOURCE_STATIC_ADDRSPACE);\n"
      "        if (ret != 0) return ret;\n    }\n\n    return ret;\n}\n\n");
  const std::vector<uagraph_rolepermission>& defaults = entry_.default_role_permissions;
  if (!defaults.empty()) {
    out_.print("static int %s_set_default_role_permissions(struct ua_addressspace *addr)\n{\n",
               prefix());
    out_.print("    struct ua_nodepermission np[%u];\n", static_cast<unsigned>(defaults.size()));
    out_.print("    const struct ua_rolepermissiontype rp[%u] = {\n",
               static_cast<unsigned>(defaults.size()));
    for (const uagraph_rolepermission& rp : defaults) {
      if (!rp.role.is_numeric()) {
        codegen_context::error("error (%s): only numeric role_ids are supported\n",
                               "output_c_addressspace");
        return -1;
      }
      out_.print("        { UA_NODEID_NUMERIC_INITIALIZER(%u, %u), 0x%08x },\n", rp.role.ns(),
                 rp.role.numeric_id(), rp.Permissions);
    }
    out_.put("    };\n");
    out_.put(
        "    int ret = ua_authorization_nodepermissions_from_rolepermissions(rp, np, countof(np), "
        "true);\n"
        "    if (ret != 0) return ret;\n"
        "    return ua_addressspace_set_default_rolepermissions(addr, np, countof(np));\n}\n");
  }
  out_.put("#endif /* UA_AUTHORIZATION_BACKEND == UA_AUTHORIZATION_BACKEND_ROLEPERMISSIONS */\n\n");
  return 0;
}

void addrspace_writer::write_register() {
  out_.print("int %s_register_static_addressspace(void)\n{\n", prefix());
  out_.put("    int ret;\n    uint16_t nsidx;\n    struct ua_addressspace *addr;\n\n");
  for (const char* type : {"struct mem_objectpool_node", "struct mem_objectpool_variable",
                           "struct mem_objectpool_variabletype", "struct mem_objectpool_reference",
                           "struct strobjectpool"}) {
    out_.print(
        "    if (sizeof(%s) != sizeof(struct mem_objectpool_static)) {\n"
        "        TRACE_ERROR(TRACE_FAC_PROVIDER, \"%s has wrong size\\n\");\n"
        "        return UA_EBAD;\n    }\n",
        type, type);
  }
  out_.put("\n");
  if (namespace0()) {
    out_.put("    ua_addressspace_set_digest(g_digest, sizeof(g_digest));\n\n");
  } else {
    out_.put("    if (!ua_addressspace_verify_digest(g_digest, sizeof(g_digest))) {\n");
    out_.print(
        "        TRACE_ERROR(TRACE_FAC_PROVIDER, \"Namespace %%u was not generated from the "
        "same set of XML files as NS0.\\n\", %s_MODEL_NAMESPACE_INDEX);\n",
        macro());
    out_.put("        return UA_EBAD;\n    }\n\n");
  }
  out_.put(
      "    ret = ua_staticstore_from_const_data(&g_dtdef_store, g_dtdef_elements, "
      "g_dtdef_num_elements, 0);\n    if (ret != 0) return ret;\n\n");
  if (registers_roles()) {
    out_.put("#if UA_AUTHORIZATION_BACKEND == UA_AUTHORIZATION_BACKEND_ROLEPERMISSIONS\n");
    out_.put("    /* 1. Roles must exist before calling ua_nodepermissions_register_static. */\n");
    out_.print("    ret = %s_init_roles();\n    if (ret != 0) return ret;\n", prefix());
    if (with_roles()) {
      out_.put(
          "    /* 2. Register static permission tables. */\n"
          "    ret = ua_nodepermissions_register_static(&g_static_rolepermissions);\n"
          "    if (ret != 0) return ret;\n");
    }
    out_.put("#endif\n\n");
  }
  const std::size_t n = m_.nodes.size();
  out_.put(
      "    /* 3. Register static address space. */\n    ret = ua_addressspace_register_static(\n");
  out_.print("        %s_MODEL_NAMESPACE_URI,\n", macro());
  out_.print("        %u, /* hashtable size (1.5 * number of nodes) */\n",
             static_cast<unsigned>(n + n / 2));
  out_.put(
      "        (struct mem_objectpool_static*)&g_nodepool,\n        &g_variablepool,\n"
      "        &g_variabletypepool,\n        &g_methodpool,\n        &g_refpool,\n"
      "        (struct mem_objectpool_static*)&g_stringpool,\n        g_stringtabledata,\n");
  out_.put(m_.guids.empty() ? "        (struct mem_objectpool_static*)NULL,\n"
                            : "        (struct mem_objectpool_static*)&g_guidpool,\n");
  out_.put("        &g_dimensionpool,\n        &g_dtdef_store,\n");
  out_.put(m_.opaques.empty() ? "        NULL,\n"
                              : "        (struct mem_objectpool_static*)&g_bytestringpool,\n");
  out_.print(
      "        %s_MODEL_NAMESPACE_INDEX,\n        g_%s_num_placeholders,\n"
      "        UA_INDEX_HASHTABLEQP);\n",
      macro(), prefix());
  out_.put("    if (ret < 0) return ret;\n    nsidx = (uint16_t)ret;\n\n");
  out_.put(
      "    /* 4. Setup address space default permissions (for nodes without permissions). */\n"
      "    addr = ua_addressspace_getaddr(nsidx);\n");
  if (registers_roles() && !entry_.default_role_permissions.empty()) {
    out_.print(
        "#if UA_AUTHORIZATION_BACKEND == UA_AUTHORIZATION_BACKEND_ROLEPERMISSIONS\n"
        "    ret = %s_set_default_role_permissions(addr);\n#else\n"
        "    ret = ua_addressspace_set_default_default_rolepermissions(addr);\n#endif\n",
        prefix());
  } else {
    out_.put("    ret = ua_addressspace_set_default_default_rolepermissions(addr);\n");
  }
  out_.put("    if (ret != 0) return ret;\n\n    return nsidx;\n}\n\n");
}

void addrspace_writer::write_store_functions() {
  const char* p = prefix();
  out_.print(
      "/** Fills a static value store with the namespace's constant values.\n"
      " * @param store The store to fill.\n"
      " * @param store_idx The store's index; use %s_MODEL_STATIC_STORE_INDEX, which the\n"
      " *        variables of this namespace name as their store.\n */\n",
      macro());
  out_.print("int %s_initialize_staticstore(struct ua_staticstore *store, int store_idx)\n{\n", p);
  if (m_.values.empty()) {
    out_.put(
        "    UA_UNUSED(store);\n    UA_UNUSED(store_idx);\n"
        "    UA_UNUSED(g_staticstore_elements);\n    return 0;\n}\n\n");
  } else {
    out_.put(
        "    return ua_staticstore_from_const_data(store, g_staticstore_elements, "
        "g_staticstore_num_elements, (uint8_t)store_idx);\n}\n\n");
  }
  out_.print("int %s_get_num_static_values(void)\n{\n    return g_staticstore_num_elements;\n}\n\n",
             p);
  out_.print("int %s_get_num_dynamic_values(void)\n{\n", p);
  if (m_.values.empty()) {
    out_.put("    return (int)g_variablepool.num_objects;\n}\n");
  } else {
    out_.put("    return (int)(g_variablepool.num_objects - g_staticstore_num_elements);\n}\n");
  }
}

int addrspace_writer::write() {
  write_preamble();
  write_strings();
  write_guids();
  write_bytestrings();
  write_dimensions();
  if (write_nodes() != 0) return -1;
  write_pools();
  write_stores();
  if (write_roles() != 0) return -1;
  out_.put("/* clang-format on */\n\n");
  write_register();
  write_store_functions();
  return 0;
}

}  // namespace

int output_c_addressspace_h(const codegen_context& ctx, const nstable_entry& entry) {
  constexpr const char* kFunction = "output_c_addressspace_h";
  if (ctx.make_namespace_dir(entry, kFunction) != 0) return -1;
  output_file out;
  const std::string path =
      ctx.namespace_dir(entry) + "/ns" + std::to_string(entry.sdk_index) + ".h";
  if (ctx.open_file(out, path, kFunction) != 0) return -1;
  char name[140];
  std::snprintf(name, sizeof name, "%s_NS%u", entry.prefix().c_str(), entry.sdk_index);
  const std::string guard = cg_include_guard(name);
  const char* p = entry.prefix_lower().c_str();
  const char* m = entry.prefix_upper().c_str();
  out.print("#ifndef %s\n#define %s\n\n", guard.c_str(), guard.c_str());
  out.put("#include <uaserver/valuestore/staticstore.h>\n");
  if (entry.sdk_index != 0) {
    out.print("#include <%s/identifier.h>\n\n", p);
  } else {
    out.put("#include <uabase/identifiers.h>\n\n");
  }
  out.put("UA_BEGIN_EXTERN_C\n\n");
  out.print("#define %s_MODEL_STATIC_STORE_INDEX %u\n", m, entry.sdk_index + 1);
  out.print("#define %s_MODEL_ALT_STORE_INDEX %u\n", m, entry.store_index);
  if (entry.sdk_index == 0) {
    out.print("#define %s_MODEL_NAMESPACE_INDEX %u\n", m, entry.sdk_index);
    if (write_model_texts(out, entry, kFunction) != 0) return out.finish(-1);
  }
  out.print("\nint %s_register_static_addressspace(void);\n", p);
  out.print("int %s_initialize_staticstore(struct ua_staticstore *store, int store_idx);\n", p);
  out.print("int %s_get_num_static_values(void);\n", p);
  out.print("int %s_get_num_dynamic_values(void);\n", p);
  out.put("\nUA_END_EXTERN_C\n\n");
  out.print("\n#endif /* end of include guard: %s */\n", guard.c_str());
  return out.close();
}

int output_c_addressspace(const codegen_context& ctx, const nstable_entry& entry) {
  constexpr const char* kFunction = "output_c_addressspace";
  if (ctx.make_namespace_dir(entry, kFunction) != 0) return -1;
  addrspace_model model(ctx, entry);
  if (model.build() != 0) return -1;
  output_file out;
  const std::string path =
      ctx.namespace_dir(entry) + "/ns" + std::to_string(entry.sdk_index) + ".c";
  if (ctx.open_file(out, path, kFunction) != 0) return -1;
  addrspace_writer writer(ctx, entry, model, out);
  return out.finish(writer.write());
}

}  // namespace vos
