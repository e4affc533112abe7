// The CMake lists of the generated tree: one for the whole tree, or one per namespace
// directory with -N.
#include <string>

#include "tools/vospack/codegen/naming.h"
#include "tools/vospack/codegen/writers.h"

namespace vos {

namespace {

// A namespace whose files the tree holds: selected, and namespace 0 only with -0.
bool is_written_namespace(const codegen_context& ctx, const nstable_entry& entry) {
  return ctx.namespaces().is_selected(entry.sdk_index) &&
         (entry.sdk_index != 0 || ctx.options().generate_ns0);
}

// One "    <prefix>/<name>.<ext>" line per generated data type, in graph order. Returns 0, or
// -1 when a type could not be named (the list is completed without it).
int list_datatype_files(const codegen_context& ctx, output_file& out, const char* extension,
                        const char* function) {
  int result = 0;
  for (uagraph_node* node : ctx.graph().nodes()) {
    if (!ctx.is_generated_type(*node)) continue;
    const nstable_entry* entry = ctx.namespace_entry(node->NodeId.ns(), function);
    const std::string_view name = entry != nullptr ? ctx.symbolic_name(*node, function) : "";
    if (name.empty()) {
      result = -1;
      continue;
    }
    out.print("    %s%s\n", cg_lower(cg_join({entry->prefix(), "/", name})).c_str(), extension);
  }
  return result;
}

}  // namespace

int output_c_cmake(const codegen_context& ctx) {
  constexpr const char* kFunction = "output_c_cmake";
  if (mkpath(ctx.settings().output_dir) != 0) {
    codegen_context::error("error (%s): mkpath '%s' failed'.\n", kFunction,
                           ctx.settings().output_dir.c_str());
    return -1;
  }
  output_file out;
  if (ctx.open_file(out, ctx.settings().output_dir + "/CMakeLists.txt", kFunction) != 0) return -1;
  out.put("project(");
  out.cmake_name(ctx.settings().library_name);
  out.put(" C)\ncmake_minimum_required(VERSION 3.15)\n\n");
  out.put(
      "if (NOT DEFINED SDKDIR)\n"
      "    # try to find SDK via environment variable\n"
      "    if (EXISTS $ENV{SDKDIR}/sdk.cmake)\n"
      "        set(SDKDIR $ENV{SDKDIR})\n"
      "    else()\n"
      "        message(FATAL_ERROR \"Could not find SDK, please configure the SDKDIR "
      "environment variable.\")\n"
      "    endif()\n"
      "endif()\n\n");
  out.put("include(${SDKDIR}/sdk.cmake)\ninclude_directories(${CMAKE_CURRENT_SOURCE_DIR})\n\n");
  out.put(
      "if (CMAKE_INSTALL_PREFIX_INITIALIZED_TO_DEFAULT)\n"
      "    set(CMAKE_INSTALL_PREFIX \"${CMAKE_SOURCE_DIR}\" CACHE PATH \"Install path prefix, "
      "prepended onto install directories.\" FORCE)\n"
      "    # reset this flag to avoid issues with examples/CMakeLists.txt\n"
      "    set(CMAKE_INSTALL_PREFIX_INITIALIZED_TO_DEFAULT FALSE)\n"
      "endif()\n\n");

  out.put("set(SOURCES\n");
  bool any_source = false;
  for (const uagraph_node* node : ctx.graph().nodes()) any_source |= ctx.is_generated_type(*node);
  list_datatype_files(ctx, out, ".c", "output_c_datatype_filename");
  for (const nstable_entry& entry : ctx.namespaces().entries()) {
    if (!is_written_namespace(ctx, entry) || !ctx.defines_data_types(entry.sdk_index)) continue;
    out.print("    %s/type_table.c\n", entry.prefix_lower().c_str());
    any_source = true;
  }
  out.put(")\n\n");

  out.put("set(HEADERS\n");
  const int result = list_datatype_files(ctx, out, ".h", "output_h_datatype_filename");
  for (const nstable_entry& entry : ctx.namespaces().entries()) {
    if (!is_written_namespace(ctx, entry)) continue;
    const char* p = entry.prefix_lower().c_str();
    out.print("    %s/identifier.h\n", p);
    if (ctx.defines_data_types(entry.sdk_index)) {
      out.print("    %s/type_identifier.h\n    %s/type_table.h\n", p, p);
    }
  }
  out.put(")\n\n");

  if (any_source) {
    out.put(
        "add_library(${PROJECT_NAME} ${SOURCES} ${HEADERS})\n"
        "target_link_libraries(${PROJECT_NAME} ${OS_LIBS} ${SDK_SYSTEM_LIBS})\n"
        "set_target_properties(${PROJECT_NAME} PROPERTIES LINKER_LANGUAGE C)\n"
        "# install MSVC PDB files, does nothing if not building with MSVC\n"
        "install_pdb_files()\n");
  } else {
    out.put("add_library(${PROJECT_NAME} INTERFACE)\n");
  }
  return out.finish(result);
}

int output_c_cmake_namespace(const codegen_context& ctx, const nstable_entry& entry) {
  output_file out;
  if (ctx.open_file(out, ctx.namespace_dir(entry) + "/CMakeLists.txt",
                    "output_c_cmake_namespace") != 0) {
    return -1;
  }
  const char* p = entry.prefix_lower().c_str();
  out.print("project(uamodel_%s C)\ncmake_minimum_required(VERSION 3.15)\n\n", p);
  out.put("file(GLOB SOURCES *.c)\nfile(GLOB HEADERS *.h)\n\n");
  out.print("add_library(${SDK_LIB_PREFIX}uamodel_%s ${SOURCES} ${HEADERS})\n", p);
  out.print("install(TARGETS ${SDK_LIB_PREFIX}uamodel_%s DESTINATION lib)\n", p);
  out.print("install(FILES ${HEADERS} DESTINATION include/uamodels/%s COMPONENT headers)\n", p);
  return out.close();
}

}  // namespace vos
