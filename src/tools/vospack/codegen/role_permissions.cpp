// The roles of the model and the distinct permission sets of its nodes, and
// rolepermissions.c, which the namespace-0 address space source includes.
#include <algorithm>
#include <cstdio>
#include <string>

#include "tools/vospack/codegen/writers.h"
#include "uabase/text_nodeid.h"

namespace vos {

namespace {

// An Object whose type is RoleType or a subtype of it.
bool is_role(const uagraph& graph, const uagraph_node& node, const uagraph_node* role_type) {
  if (role_type == nullptr || node.nodeclass() != UA_NODECLASS_OBJECT) return false;
  const uagraph_node* type = graph.node_typedefinition(node);
  return type != nullptr && graph.is_subtype_of(*type, *role_type);
}

}  // namespace

void prepare_role_permissions(const codegen_context& ctx) {
  role_tables& tables = ctx.roles();
  tables = role_tables{};
  std::printf("Sorting roles...\n");
  const uagraph& graph = ctx.graph();
  const uagraph_node* role_type = graph.node_find_ns0(UAGRAPH_ID_ROLETYPE);
  for (const uagraph_node* node : graph.nodes()) {
    if (is_role(graph, *node, role_type)) tables.roles.push_back(node->NodeId);
  }
  std::sort(tables.roles.begin(), tables.roles.end());
  ctx.node_filter(255, -1, [&](uagraph_node& node, const node_position&) {
    const std::vector<uagraph_rolepermission>& own = node.extra().RolePermissions;
    if (own.empty()) return 1;
    tables.sets.push_back(own);
    return 0;
  });
  cg_sort_permission_sets(tables.sets);
  if (tables.sets.size() > 1) {
    std::printf("Number of permissions before deduplication: %u\n",
                static_cast<unsigned>(tables.sets.size()));
    tables.sets.erase(std::unique(tables.sets.begin(), tables.sets.end()), tables.sets.end());
    std::printf("Number of permissions after deduplication: %u\n",
                static_cast<unsigned>(tables.sets.size()));
  }
}

int output_c_permissions(const codegen_context& ctx) {
  constexpr const char* kFunction = "output_c_permissions";
  const nstable_entry* ns0 = ctx.namespace_entry(0, kFunction);
  if (ns0 == nullptr) return -1;
  if (ctx.make_namespace_dir(*ns0, kFunction) != 0) return -1;
  output_file out;
  if (ctx.open_file(out, ctx.namespace_dir(*ns0) + "/rolepermissions.c", kFunction) != 0) {
    return -1;
  }
  const role_tables& tables = ctx.roles();
  out.put("/* Do not include this file in CMakeLists.txt, it gets included by ns0.c! */\n\n");
  out.put("#include <uaserver/session/authorization/rolepermissions/nodepermissions.h>\n\n");
  out.put("static const struct ua_nodepermission g_permissions[] = {\n");
  int ret = 0;
  for (const auto& set : tables.sets) {
    out.print("    /* list of %u role permission(s) */\n", static_cast<unsigned>(set.size()));
    for (const uagraph_rolepermission& rp : set) {
      const std::string text = ua_nodeid_to_text(rp.role);
      const int role_id = tables.role_index(rp.role);
      if (role_id < 0) {
        codegen_context::error("error (%s): could not resolve role nodeid: %s\n", kFunction,
                               text.c_str());
        ret = -1;
        break;
      }
      out.print("    { %u, 0x%08x }, /* ", static_cast<unsigned>(role_id), rp.Permissions);
      out.comment_text(text);
      out.put(" */\n");
    }
    if (ret != 0) break;
  }
  out.put("};\n\n");
  out.put("static const struct ua_nodepermission_idx g_permissions_idx[] = {\n");
  unsigned first = 0;
  for (const auto& set : tables.sets) {
    out.print("    { %u, %u },\n", first, static_cast<unsigned>(set.size()));
    first += static_cast<unsigned>(set.size());
  }
  out.put("};\n\n");
  out.put(
      "struct ua_nodepermissions_static g_static_rolepermissions = {\n"
      "    g_permissions_idx,\n    countof(g_permissions_idx),\n    g_permissions,\n"
      "    countof(g_permissions)\n};\n");
  return out.finish(ret);
}

}  // namespace vos
