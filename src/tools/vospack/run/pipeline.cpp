#include "tools/vospack/run/pipeline.h"

#include <cstdio>

#include "tools/vospack/addrspace_print.h"
#include "tools/vospack/codegen/generator.h"
#include "tools/vospack/convert.h"
#include "tools/vospack/filter.h"
#include "tools/vospack/xmlexport.h"
#include "uabase/encoder.h"
#include "util/errors.h"

namespace vos {

void pipeline::set_bytestring_limit(long limit) {
  // Taken as unsigned: a negative value compares as larger than the maximum and is ignored.
  loader_.values().set_bytestring_limit(static_cast<unsigned long>(limit));
}

int pipeline::start() {
  // Values are nested at most ten deep; the self-test refuses a decimal-comma locale.
  ua_encoder_set_max_call_depth(10);
  const int status = ua_encoder_init();
  namespaces_.add_fixed_entries();
  return status;
}

int pipeline::load_nodeset(const char* path, Md5* digest) {
  return loader_.load_nodeset(path, digest);
}

void pipeline::print_address_space() {
  addrspace_print(graph_, stdout);
}

void pipeline::strip_unused_types() {
  filter_strip_unused_types(graph_);
}

void pipeline::apply_filters(const std::vector<std::string>& filters) {
  filter_apply(graph_, filters);
}

int pipeline::load_namespace_mappings(const char* path) {
  return namespace_mapping_load(namespaces_, path);
}

int pipeline::export_xml(const char* path) {
  return xmlexport_write(graph_, namespaces_, path);
}

int pipeline::write_binary(const char* path, const char* extensions) {
  return convert_write_file(graph_, namespaces_, path, extensions);
}

int pipeline::generate(const char* directory, const input_digest& digest,
                       const codegen_options& options) {
  codegen_settings settings;
  settings.options = options;
  settings.output_dir = directory;
  settings.digest = digest;
  settings.library_name = library_name_;
  settings.provider_skeleton = provider_skeleton_;
  settings.address_mapping = &address_mapping_;
  settings.placeholders = &placeholders_;
  return codegen_generate(graph_, namespaces_, settings);
}

}  // namespace vos
