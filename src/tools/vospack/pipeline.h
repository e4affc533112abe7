// The tool's own stages of a run: the stores a run needs and what each stage does with them.
#pragma once

#include <string>
#include <vector>

#include "tools/vospack/nstable.h"
#include "tools/vospack/stages.h"

namespace vos {

class pipeline final : public model_stages {
 public:
  void set_bytestring_limit(long limit) override;
  void set_default_locale(const std::string& locale) override { default_locale_ = locale; }
  void set_library_name(const std::string& name) override { library_name_ = name; }
  void set_provider_skeleton(bool on) override { provider_skeleton_ = on; }
  int select_index(const char* argument) override { return namespaces_.select_index(argument); }
  int select_uri(const char* argument) override { return namespaces_.select_uri(argument); }
  int load_placeholders(const char* path) override;
  int load_address_mapping(const char* path) override;

  void set_graph_trace_level(int level) override { graph_trace_level_ = level; }
  int start() override;
  int load_nodeset(const char* path) override;

  void print_namespace_table() override { namespaces_.print(); }
  void print_address_space() override;
  int select_all() override { return namespaces_.select_all(); }
  int resolve_uri_selections() override { return namespaces_.resolve_uri_selections(); }
  int check_index_selections() override { return namespaces_.check_index_selections(); }
  void strip_unused_types() override;
  void apply_filters(const std::vector<std::string>& filters) override;
  int load_namespace_mappings(const char* path) override;

  int export_xml(const char* path) override;
  int write_binary(const char* path, const char* extensions) override;
  int generate(const char* directory, const input_digest& digest,
               const codegen_options& options) override;

  void release() override {}

  // The ByteString limit handed to the value parser.
  unsigned long bytestring_limit() const { return bytestring_limit_; }
  const nstable& namespaces() const { return namespaces_; }

 private:
  unsigned long bytestring_limit_ = 4194304;
  std::string default_locale_ = "auto";
  std::string library_name_ = "mymodel";
  bool provider_skeleton_ = false;
  int graph_trace_level_ = 0;
  nstable namespaces_;
};

}  // namespace vos
