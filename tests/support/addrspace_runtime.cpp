#include "support/addrspace_runtime.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <set>
#include <sstream>

#include "support/testutil.h"
#include "tools/vospack/uagraph.h"
#include "uabase/dict.h"
#include "uabase/encoder.h"
#include "uabase/ns0_types_gen.h"
#include "uabase/text_nodeid.h"
#include "uabase/type_table.h"

namespace vos::test {

namespace fs = std::filesystem;

namespace {

fs::path find_in_path(const char* name) {
  const char* path = std::getenv("PATH");
  std::stringstream dirs(path != nullptr ? path : "/usr/bin");
  for (std::string dir; std::getline(dirs, dir, ':');) {
    const fs::path p = fs::path(dir) / name;
    if (::access(p.c_str(), X_OK) == 0) return p;
  }
  return {};
}

// The runtime's escaping of texts (tests/cruntime/server/dump.c).
std::string escaped(std::string_view s) {
  std::string out;
  char buf[8];
  for (const char ch : s) {
    const auto c = static_cast<unsigned char>(ch);
    if (c == '\\') {
      out += "\\\\";
    } else if (c >= 0x20 && c < 0x7f) {
      out += ch;
    } else {
      std::snprintf(buf, sizeof buf, "\\x%02x", c);
      out += buf;
    }
  }
  return out;
}

std::string id_text(const ua_nodeid& id) {
  return escaped(ua_nodeid_to_text(id));
}

std::vector<uint8_t> from_hex(std::string_view hex) {
  std::vector<uint8_t> out;
  for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
    out.push_back(static_cast<uint8_t>(std::stoi(std::string(hex.substr(i, 2)), nullptr, 16)));
  }
  return out;
}

std::vector<std::string> split(const std::string& line, char sep) {
  std::vector<std::string> parts;
  std::stringstream in(line);
  for (std::string part; std::getline(in, part, sep);) parts.push_back(part);
  return parts;
}

std::string dims_text(const std::vector<uint32_t>& dims) {
  if (dims.empty()) return "-";
  std::string out;
  for (const uint32_t d : dims) {
    if (!out.empty()) out += ',';
    out += std::to_string(d);
  }
  return out;
}

std::string hex8(uint32_t v) {
  char buf[16];
  std::snprintf(buf, sizeof buf, "0x%08x", v);
  return buf;
}

// Extension objects of the file keep their encoded body; decoded the way a Variant from the
// static store is decoded, so that both compare as values.
int decode_bodies(ua_variant& v) {
  const auto decode = [](ua_extensionobject& eo) {
    if (eo.body_kind() != ua_extensionobject_body::binary) return 0;
    ua_encoder enc(4096);
    int ret = ua_encode_extensionobject(enc, eo);
    if (ret != 0) return ret;
    const std::vector<uint8_t> bytes = enc.bytes();
    ua_decoder dec(bytes);
    return ua_decode_extensionobject(dec, eo);
  };
  if (auto* eo = v.scalar<ua_extensionobject>()) return decode(*eo);
  for (ua_extensionobject& eo : v.array<ua_extensionobject>()) {
    if (const int ret = decode(eo); ret != 0) return ret;
  }
  return 0;
}

// The binary file writes a null and an empty text alike (a length of 0); texts compare
// with an empty one taken as null.
void null_empty_texts(ua_variant& v) {
  const auto fix = [](ua_string& s) {
    if (s.empty()) s.clear();
  };
  if (auto* s = v.scalar<ua_string>()) fix(*s);
  for (ua_string& s : v.array<ua_string>()) fix(s);
  const auto fix_text = [&fix](ua_localizedtext& t) {
    fix(t.locale);
    fix(t.text);
  };
  if (auto* t = v.scalar<ua_localizedtext>()) fix_text(*t);
  for (ua_localizedtext& t : v.array<ua_localizedtext>()) fix_text(t);
  if (auto* q = v.scalar<ua_qualifiedname>()) fix(q->name);
  for (ua_qualifiedname& q : v.array<ua_qualifiedname>()) fix(q.name);
}

// A value in its OPC UA binary encoding, for messages.
std::string encoded_hex(const ua_variant& v) {
  ua_encoder enc(4096);
  if (ua_encode_variant(enc, v) != 0) return "(does not encode)";
  std::string out;
  char buf[4];
  for (const uint8_t b : enc.bytes()) {
    std::snprintf(buf, sizeof buf, "%02x", b);
    out += buf;
  }
  return out;
}

// The StructureField/EnumField flags of the file.
constexpr uint8_t kFieldOptional = 0x04;
constexpr uint8_t kFieldSubtypes = 0x10;

// A text of the file (0: none) against a LocalizedText's text; the file keeps no locale.
bool same_text(const ua_localizedtext& t, const ua_file_contents& file, uint32_t index) {
  return t.text.view() == file.string(index);
}

// The StructureType of a structure definition kind of the file.
int32_t structure_type_of_file_kind(uint8_t kind) {
  switch (kind) {
    case 2:
      return 1;
    case 3:
      return 2;
    case 6:
      return 3;
    case 7:
      return 4;
    default:
      return 0;
  }
}

// A definition from the static store against the file's: kinds 4 and 5 of the file are
// enumerations (EnumDefinition), the others structures (StructureDefinition).
std::string compare_definition(const std::string& hex, const ua_file_read_definition& def,
                               const ua_file_contents& file) {
  const ua_type_table& table = ua_type_table_ns0();
  const std::vector<uint8_t> bytes = from_hex(hex);
  ua_decoder dec(bytes);
  const uint8_t kind = def.kind & 0x0F;
  std::ostringstream diff;
  if (kind == 4 || kind == 5) {
    ua_enum_definition e;
    const int ret =
        ua_dict_decode_structure(dec, table, table.structures[table.find_by_type_id(100)], &e);
    if (ret != 0 || dec.remaining() != 0) return "EnumDefinition does not decode";
    if (e.fields.size() != def.enum_fields.size()) return "enumeration field count differs";
    for (std::size_t i = 0; i < e.fields.size(); ++i) {
      const ua_enum_field& f = e.fields[i];
      const ua_file_enum_field& g = def.enum_fields[i];
      if (f.name.view() != file.string(g.name) || f.value != g.value ||
          !same_text(f.display_name, file, g.text1) || !same_text(f.description, file, g.text2)) {
        diff << "enumeration field " << i << " differs; ";
      }
    }
    return diff.str();
  }
  ua_structure_definition s;
  const int ret =
      ua_dict_decode_structure(dec, table, table.structures[table.find_by_type_id(99)], &s);
  if (ret != 0 || dec.remaining() != 0) return "StructureDefinition does not decode";
  if (!(s.default_encoding_id == def.default_encoding) || !(s.base_data_type == def.base_type) ||
      s.structure_type != structure_type_of_file_kind(kind)) {
    diff << "encoding, base type or structure type differs; ";
  }
  if (s.fields.size() != def.fields.size()) return diff.str() + "structure field count differs";
  // In a structure with subtyped values the field's one flag says AllowSubTypes; else it
  // says IsOptional.
  const uint8_t flag = kind == 6 || kind == 7 ? kFieldSubtypes : kFieldOptional;
  for (std::size_t i = 0; i < s.fields.size(); ++i) {
    const ua_structure_field& f = s.fields[i];
    const ua_file_read_structure_field& g = def.fields[i];
    const std::vector<uint32_t> dims(f.array_dimensions.begin(), f.array_dimensions.end());
    if (f.name.view() != file.string(g.name) || !(f.data_type == g.datatype) ||
        f.value_rank != g.value_rank || dims != g.dims ||
        f.max_string_length != g.max_string_length || f.is_optional != ((g.flags & flag) != 0) ||
        !same_text(f.description, file, g.text2)) {
      diff << "structure field " << i << " (" << f.name.view() << ") differs; ";
    }
  }
  return diff.str();
}

// The records of the file's address space, as the runtime prints them; values and
// definitions by node.
struct file_view {
  std::vector<std::string> records;
  reference_chains chains;
  std::map<std::string, std::pair<uint16_t, const ua_variant*>> values;
  std::map<std::string, const ua_file_read_definition*> definitions;
  std::map<unsigned, std::pair<long, long>> counts;
};

file_view view_of_file(const ua_file_contents& f, bool descriptions) {
  file_view v;
  const auto str = [&f](uint32_t i) { return escaped(f.string(i)); };
  std::map<uint16_t, std::size_t> nodes_per_ns;
  for (const ua_file_read_node& n : f.nodes) ++nodes_per_ns[n.nodeid.ns()];
  for (const ua_file_namespace& ns : f.models) {
    const std::size_t n = nodes_per_ns[ns.index];
    v.counts[ns.index] = {0, 0};
    v.records.push_back("namespace\t" + std::to_string(ns.index) + "\t" + escaped(ns.uri) +
                        "\tnodes=" + std::to_string(n) +
                        "\thashtable=" + std::to_string(n + n / 2));
    if (ns.index == 0 && !ns.role_permissions.empty()) {
      for (const uagraph_rolepermission& rp : ns.role_permissions) {
        v.records.push_back("defaultpermission\t0\t" + id_text(rp.role) + "\t" +
                            hex8(rp.Permissions));
      }
    } else {
      v.records.push_back("defaultpermissions\t" + std::to_string(ns.index) + "\tbuiltin");
    }
  }
  for (const ua_file_read_node& n : f.nodes) {
    const std::string id = id_text(n.nodeid);
    std::string rec = "node\t" + id + "\t" + std::to_string(n.nodeclass) + "\t" +
                      std::to_string(n.browse_ns) + ":" + str(n.browse_name) + "\t" +
                      str(n.display_name);
    if (descriptions) rec += "\t" + str(n.description);
    v.records.push_back(rec + "\t" + std::to_string(n.access_restrictions));
    const auto bit = [&n](unsigned b) { return std::to_string((n.flags >> b) & 1); };
    switch (n.nodeclass) {
      case UA_NODECLASS_OBJECT:
        v.records.push_back("object\t" + id +
                            "\teventnotifier=" + std::to_string(n.event_notifier));
        break;
      case UA_NODECLASS_VIEW:
        // The file holds no ContainsNoLoops: a server that loads it sees false.
        v.records.push_back("view\t" + id + "\teventnotifier=" + std::to_string(n.event_notifier) +
                            "\tcontainsnoloops=0");
        break;
      case UA_NODECLASS_OBJECTTYPE:
        v.records.push_back("objecttype\t" + id + "\tabstract=" + bit(4));
        break;
      case UA_NODECLASS_REFERENCETYPE:
        v.records.push_back("referencetype\t" + id + "\tabstract=" + bit(4) +
                            "\tsymmetric=" + bit(5) + "\tinversename=" + str(n.inverse_name));
        break;
      case UA_NODECLASS_DATATYPE:
        v.records.push_back("datatype\t" + id + "\tabstract=" + bit(4));
        if ((n.flags & 0x20) != 0 && n.definition.kind != 0) v.definitions[id] = &n.definition;
        break;
      case UA_NODECLASS_METHOD:
        v.records.push_back("method\t" + id + "\texecutable=" + bit(4) + "\tdeclaration=" +
                            ((n.flags & 0x20) != 0 ? id_text(n.method_declaration) : "-"));
        break;
      case UA_NODECLASS_VARIABLETYPE:
        v.records.push_back("variabletype\t" + id +
                            "\tabstract=" + std::to_string((n.flags2 >> 1) & 1) +
                            "\tdatatype=" + ((n.flags & 0x20) != 0 ? id_text(n.datatype) : "-") +
                            "\tvaluerank=" + std::to_string(n.value_rank) +
                            "\tdims=" + dims_text(n.array_dimensions));
        break;
      case UA_NODECLASS_VARIABLE:
        v.records.push_back("variable\t" + id + "\tdatatype=" + id_text(n.datatype) +
                            "\tvaluerank=" + std::to_string(n.value_rank) +
                            "\tdims=" + dims_text(n.array_dimensions) +
                            "\taccesslevel=" + std::to_string(n.access_level) + "\tmsi=" +
                            std::to_string(static_cast<int32_t>(n.minimum_sampling_interval)) +
                            "\thistorizing=" + std::to_string((n.flags2 >> 3) & 1));
        if ((n.flags & 0x10) != 0) v.values[id] = {n.nodeid.ns(), &n.value};
        break;
      default:
        break;
    }
    for (const uagraph_rolepermission& rp : n.role_permissions) {
      v.records.push_back("permission\t" + id + "\t" + id_text(rp.role) + "\t" +
                          hex8(rp.Permissions));
    }
  }
  // Every forward reference from its source; the inverse one at its target when the source
  // lies in the target's namespace or a lower one. A namespace's pool holds its own
  // references before those that lower namespaces point into it, so an inverse chain lists
  // the references from its own namespace first, each part in the file's order.
  reference_chains from_lower;
  for (const ua_file_reference& r : f.references) {
    const std::string s = id_text(r.source);
    const std::string t = id_text(r.target);
    const std::string type = id_text(r.type);
    v.records.push_back("fwd\t" + s + "\t" + t + "\t" + type);
    v.chains["fwd\t" + s].push_back(t + "\t" + type);
    if (r.source.ns() <= r.target.ns()) {
      v.records.push_back("inv\t" + t + "\t" + s + "\t" + type);
      (r.source.ns() == r.target.ns() ? v.chains : from_lower)["inv\t" + t].push_back(s + "\t" +
                                                                                      type);
    }
  }
  for (auto& [key, refs] : from_lower) {
    std::vector<std::string>& chain = v.chains[key];
    chain.insert(chain.end(), refs.begin(), refs.end());
  }
  // Values per namespace: static ones, and the variables without one.
  for (const ua_file_read_node& n : f.nodes) {
    if (n.nodeclass != UA_NODECLASS_VARIABLE) continue;
    auto& c = v.counts[n.nodeid.ns()];
    ++((n.flags & 0x10) != 0 ? c.first : c.second);
  }
  std::sort(v.records.begin(), v.records.end());
  return v;
}

// Lines of `a` missing from `b` (both sorted), at most `limit`, one per line.
std::string missing(const std::vector<std::string>& a, const std::vector<std::string>& b,
                    std::size_t& count, std::size_t limit = 15) {
  std::vector<std::string> d;
  std::set_difference(a.begin(), a.end(), b.begin(), b.end(), std::back_inserter(d));
  count = d.size();
  std::string out;
  for (std::size_t i = 0; i < d.size() && i < limit; ++i) out += "  " + d[i] + "\n";
  return out;
}

// Chains that hold the same references in another order (other differences are told by
// the records).
std::string chains_in_another_order(const reference_chains& runtime, const reference_chains& file) {
  std::ostringstream out;
  std::size_t count = 0;
  for (const auto& [key, seen] : runtime) {
    const auto it = file.find(key);
    if (it == file.end() || seen == it->second) continue;
    std::vector<std::string> a = seen, b = it->second;
    std::sort(a.begin(), a.end());
    std::sort(b.begin(), b.end());
    if (a != b || count++ >= 10) continue;
    const std::size_t at = static_cast<std::size_t>(
        std::mismatch(seen.begin(), seen.end(), it->second.begin()).first - seen.begin());
    out << "  " << key << ": runtime has " << seen[at] << " where the file has " << it->second[at]
        << " (reference " << at << ")\n";
  }
  if (count == 0) return {};
  return std::to_string(count) + " reference chains in another order than the file's:\n" +
         out.str();
}

// Fields of the file's definitions whose data type lies in a namespace of the file but is
// not among its nodes.
std::string dangling_field_types(const ua_file_contents& f) {
  std::set<uint16_t> written;
  for (const ua_file_namespace& ns : f.models) written.insert(ns.index);
  std::set<std::string> nodes;
  for (const ua_file_read_node& n : f.nodes) nodes.insert(id_text(n.nodeid));
  std::ostringstream out;
  std::size_t count = 0;
  for (const ua_file_read_node& n : f.nodes) {
    for (const ua_file_read_structure_field& field : n.definition.fields) {
      const std::string type = id_text(field.datatype);
      if (written.count(field.datatype.ns()) == 0 || nodes.count(type) != 0) continue;
      if (count++ < 10) {
        out << "  " << id_text(n.nodeid) << " field " << escaped(f.string(field.name)) << ": "
            << type << "\n";
      }
    }
  }
  if (count == 0) return {};
  return std::to_string(count) + " definition fields of a data type the file lacks:\n" + out.str();
}

}  // namespace

fs::path system_cc() {
  return find_in_path("cc");
}
fs::path gcc_path() {
  return find_in_path("gcc");
}
fs::path clang_path() {
  return find_in_path("clang");
}

fs::path cruntime_dir() {
  return fs::path(VOS_SOURCE_DIR) / "tests" / "cruntime";
}

std::vector<std::string> runtime_cflags(const fs::path& tree) {
  return {"-std=c99",
          "-pedantic",
          "-Wall",
          "-Wextra",
          "-Werror",
          "-I" + (cruntime_dir() / "server" / "include").string(),
          "-I" + (cruntime_dir() / "include").string(),
          "-I" + tree.string()};
}

std::vector<generated_namespace> generated_namespaces(const fs::path& tree) {
  std::vector<generated_namespace> out;
  for (const auto& dir : fs::directory_iterator(tree)) {
    if (!dir.is_directory()) continue;
    for (const auto& file : fs::directory_iterator(dir.path())) {
      const std::string name = file.path().filename().string();
      if (name.size() > 4 && name.rfind("ns", 0) == 0 && file.path().extension() == ".c" &&
          name.find_first_not_of("0123456789", 2) == name.size() - 2) {
        out.push_back({dir.path().filename().string(),
                       static_cast<unsigned>(std::stoul(name.substr(2, name.size() - 4)))});
      }
    }
  }
  std::sort(out.begin(), out.end(), [](const auto& a, const auto& b) { return a.index < b.index; });
  return out;
}

void write_runtime_main(const fs::path& tree, const fs::path& dir) {
  const std::vector<generated_namespace> nss = generated_namespaces(tree);
  std::string c = "#include <stdio.h>\n#include <testing/addrspace_dump.h>\n";
  for (const auto& ns : nss) {
    c += "#include <" + ns.prefix + "/ns" + std::to_string(ns.index) + ".h>\n";
  }
  c += "\nstatic struct ua_staticstore g_stores[" + std::to_string(nss.size() + 1) +
       "];\n\nint main(void)\n{\n    int ret;\n\n";
  for (std::size_t i = 0; i < nss.size(); ++i) {
    const std::string p = nss[i].prefix;
    std::string m = p;
    std::transform(m.begin(), m.end(), m.begin(),
                   [](unsigned char ch) { return std::toupper(ch); });
    const std::string store = "&g_stores[" + std::to_string(i) + "]";
    c += "    ret = " + p + "_register_static_addressspace();\n";
    c += "    if (ret != " + m + "_MODEL_NAMESPACE_INDEX) {\n        fprintf(stderr, \"" + p +
         ": registration returned %d\\n\", ret);\n        return 2;\n    }\n";
    c += "    ret = " + p + "_initialize_staticstore(" + store + ", " + m +
         "_MODEL_STATIC_STORE_INDEX);\n";
    c += "    if (ret != 0) {\n        fprintf(stderr, \"" + p +
         ": static store returned %d\\n\", ret);\n        return 2;\n    }\n";
    c += "    printf(\"counts\\t%u\\t%d\\t%d\\n\", " + m + "_MODEL_NAMESPACE_INDEX, " + p +
         "_get_num_static_values(), " + p + "_get_num_dynamic_values());\n";
  }
  c += "    ret = ua_test_dump_addressspace(stdout);\n";
  for (std::size_t i = 0; i < nss.size(); ++i) {
    c += "    ua_staticstore_clear(&g_stores[" + std::to_string(i) + "]);\n";
  }
  c += "    return ret;\n}\n";
  write_file(dir / "main.c", c);
}

std::string build_runtime_program(const fs::path& cc, const fs::path& tree, const fs::path& dir,
                                  const std::vector<std::string>& extra_flags) {
  std::vector<std::string> args = runtime_cflags(tree);
  args.insert(args.end(), extra_flags.begin(), extra_flags.end());
  args.insert(args.end(), {"-o", (dir / "runtime").string(), (dir / "main.c").string()});
  for (const auto& ns : generated_namespaces(tree)) {
    args.push_back((tree / ns.prefix / ("ns" + std::to_string(ns.index) + ".c")).string());
  }
  args.push_back((cruntime_dir() / "server" / "runtime.c").string());
  args.push_back((cruntime_dir() / "server" / "dump.c").string());
  const RunResult r = run_program(cc, cc.filename().string(), args, dir);
  if (r.status == 0) return {};
  return "exit " + std::to_string(r.status) + "\n" + r.out + r.err;
}

runtime_view parse_runtime_output(const std::string& text) {
  runtime_view v;
  std::stringstream in(text);
  for (std::string line; std::getline(in, line);) {
    const std::vector<std::string> f = split(line, '\t');
    if (f.empty()) continue;
    if (f[0] == "error") {
      v.errors.push_back(line);
    } else if (f[0] == "value" && f.size() >= 4) {
      v.values[f[1]] = f[2] + "\t" + f[3] + "\t" + (f.size() > 4 ? f[4] : "");
    } else if (f[0] == "definition" && f.size() >= 2) {
      v.definitions[f[1]] = f.size() > 2 ? f[2] : "";
    } else if ((f[0] == "fwd" || f[0] == "inv") && f.size() == 4) {
      v.chains[f[0] + "\t" + f[1]].push_back(f[2] + "\t" + f[3]);
      v.records.push_back(line);
    } else if (f[0] == "counts" && f.size() == 4) {
      v.counts[static_cast<unsigned>(std::stoul(f[1]))] = {std::stol(f[2]), std::stol(f[3])};
    } else {
      v.records.push_back(line);
    }
  }
  std::sort(v.records.begin(), v.records.end());
  return v;
}

std::string compare_with_file(const runtime_view& view, const ua_file_contents& file,
                              bool descriptions) {
  const file_view expected = view_of_file(file, descriptions);
  std::ostringstream diff;
  for (const std::string& e : view.errors) diff << "runtime: " << e << "\n";
  std::size_t n = 0;
  const std::string lacking = missing(expected.records, view.records, n);
  if (n != 0) diff << n << " records of the file the runtime does not see:\n" << lacking;
  const std::string extra = missing(view.records, expected.records, n);
  if (n != 0) diff << n << " records the runtime sees that the file lacks:\n" << extra;
  diff << chains_in_another_order(view.chains, expected.chains);

  std::size_t bad = 0;
  for (const auto& [node, value] : expected.values) {
    const auto it = view.values.find(node);
    if (it == view.values.end()) {
      if (bad++ < 10) diff << "no value for " << node << "\n";
      continue;
    }
    const std::vector<std::string> f = split(it->second, '\t');
    if (f.size() != 3 || f[0] != std::to_string(value.first + 1)) {
      if (bad++ < 10) diff << "value of " << node << " not in its namespace's static store\n";
      continue;
    }
    const std::vector<uint8_t> bytes = from_hex(f[2]);
    ua_decoder dec(bytes);
    ua_variant decoded;
    ua_variant reference = *value.second;
    if (ua_decode_variant(dec, decoded) != 0 || dec.remaining() != 0) {
      if (bad++ < 10) diff << "value of " << node << " does not decode\n";
    } else if (decode_bodies(reference) != 0 ||
               (null_empty_texts(decoded), null_empty_texts(reference), !(decoded == reference))) {
      if (bad++ < 10) {
        diff << "value of " << node << " differs from the file's: runtime " << f[2] << ", file "
             << encoded_hex(reference) << "\n";
      }
    }
  }
  for (const auto& [node, value] : view.values) {
    if (expected.values.count(node) == 0 && bad++ < 10)
      diff << "value for " << node << " only in the runtime\n";
  }
  for (const auto& [node, def] : expected.definitions) {
    const auto it = view.definitions.find(node);
    const std::string d =
        it == view.definitions.end() ? "no definition" : compare_definition(it->second, *def, file);
    if (!d.empty() && bad++ < 10) diff << "definition of " << node << ": " << d << "\n";
  }
  if (view.definitions.size() != expected.definitions.size()) {
    diff << view.definitions.size() << " definitions in the runtime, "
         << expected.definitions.size() << " in the file\n";
  }
  diff << dangling_field_types(file);
  if (bad > 10) diff << "... " << bad << " value and definition differences\n";
  if (view.counts != expected.counts) diff << "static/dynamic value counts differ\n";
  return diff.str();
}

std::string runtime_sees_file(const fs::path& cc, const fs::path& tree, const fs::path& dir,
                              const std::vector<std::string>& extra_flags, const fs::path& file,
                              bool descriptions,
                              const std::function<void(ua_file_contents&)>& edit) {
  write_runtime_main(tree, dir);
  const std::string messages = build_runtime_program(cc, tree, dir, extra_flags);
  if (!messages.empty()) return messages;
  const RunResult run = run_program(dir / "runtime", "runtime", {}, dir);
  // Status 1: the runtime printed error records, which the comparison lists.
  if (run.status != 0 && run.status != 1) return "runtime " + std::to_string(run.status) + run.err;
  ua_file_contents contents;
  if (ua_file_read_path(file.c_str(), contents) != 0) return file.string() + " unreadable";
  if (edit) edit(contents);
  return compare_with_file(parse_runtime_output(run.out), contents, descriptions);
}

}  // namespace vos::test
