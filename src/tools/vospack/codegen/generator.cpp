#include "tools/vospack/codegen/generator.h"

#include <utility>

#include "tools/vospack/codegen/name_check.h"
#include "tools/vospack/codegen/writers.h"

namespace vos {

namespace {

// The compiled-in address space, the role permissions and the provider belong to server
// code: not with -c (client side only) nor with -N (types only).
bool server_code(const codegen_options& options) {
  return !options.client_only && !options.types_only;
}

// The files of one exported namespace, in their order.
int output_namespace(const codegen_context& ctx, const nstable_entry& entry) {
  const codegen_options& options = ctx.options();
  if (server_code(options)) {
    if (const int r = output_c_addressspace_h(ctx, entry); r != 0) return r;
    if (const int r = output_c_addressspace(ctx, entry); r != 0) return r;
  }
  if (entry.sdk_index == 0 && !options.generate_ns0) return 0;
  if (ctx.make_namespace_dir(entry, "output_c_identifier") != 0) return -1;
  const bool types = ctx.defines_data_types(entry.sdk_index);
  int ret = 0;
  if (types) ret = output_c_type_identifier(ctx, entry);
  if (ret == 0) ret = output_c_identifier(ctx, entry);
  if (ret == 0 && types) ret = output_c_type_table(ctx, entry);
  if (ret == 0 && server_code(options) && ctx.settings().provider_skeleton) {
    ret = output_c_provider_h(ctx, entry);
    if (ret == 0) ret = output_c_provider_c(ctx, entry);
  }
  if (ret == 0 && options.types_only) ret = output_c_cmake_namespace(ctx, entry);
  return ret;
}

}  // namespace

int codegen_generate(uagraph& graph, nstable& namespaces, const codegen_settings& settings) {
  const codegen_options& options = settings.options;
  // Names are settled before the first file is written, so that a refused model leaves
  // nothing behind.
  if (cg_check_prefixes(namespaces) != 0) return -1;
  output_style style;
  if (output_style::from_environment(style) != 0) return -1;
  const codegen_context ctx(graph, namespaces, settings, std::move(style));
  if (cg_check_model_names(ctx) != 0) return -1;

  if (server_code(options)) {
    prepare_role_permissions(ctx);
    if (ctx.has_role_permissions()) {
      if (const int r = output_c_permissions(ctx); r != 0) return r;
    }
  }

  // Every generated data type, in graph order, before the per-namespace files.
  const int ret =
      ctx.node_filter(UA_NODECLASS_DATATYPE, -1, [&](uagraph_node& node, const node_position&) {
        if (!ctx.is_generated_type(node)) return 1;
        return output_c_datatype(ctx, *node.as<UADataType>()) < 0 ? -1 : 0;
      });
  if (ret < 0) return ret;

  for (const nstable_entry& entry : namespaces.entries()) {
    if (!namespaces.is_selected(entry.sdk_index)) continue;
    if (const int r = output_namespace(ctx, entry); r != 0) return r;
  }
  if (!options.types_only) return output_c_cmake(ctx);
  return 0;
}

}  // namespace vos
