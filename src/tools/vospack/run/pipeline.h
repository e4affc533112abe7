// The tool's own stages of a run: the stores a run needs and what each stage does with them.
#pragma once

#include <string>
#include <vector>

#include "tools/vospack/nstable.h"
#include "tools/vospack/sidefiles.h"
#include "tools/vospack/stages.h"
#include "tools/vospack/uagraph.h"
#include "tools/vospack/xmlloader.h"

namespace vos {

class pipeline final : public model_stages {
 public:
  void set_bytestring_limit(long limit) override;
  void set_default_locale(const std::string& locale) override {
    loader_.set_default_locale(locale);
  }
  void set_library_name(const std::string& name) override { library_name_ = name; }
  void set_provider_skeleton(bool on) override { provider_skeleton_ = on; }
  int select_index(const char* argument) override { return namespaces_.select_index(argument); }
  int select_uri(const char* argument) override { return namespaces_.select_uri(argument); }
  int load_placeholders(const char* path) override { return placeholders_.load(path); }
  int load_address_mapping(const char* path) override { return address_mapping_.load(path); }

  void set_graph_trace_level(int level) override { graph_.set_trace_level(level); }
  int start() override;
  int load_nodeset(const char* path, Md5* digest) override;

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

  void release() override { address_mapping_.clear(); }

  // The ByteString limit handed to the value parser.
  unsigned long bytestring_limit() const { return loader_.values().bytestring_limit(); }
  const nstable& namespaces() const { return namespaces_; }
  const uagraph& graph() const { return graph_; }
  const std::string& default_locale() const { return loader_.default_locale(); }
  const placeholder_table& placeholders() const { return placeholders_; }
  const address_mapping_table& address_mapping() const { return address_mapping_; }

 private:
  std::string library_name_ = "mymodel";
  bool provider_skeleton_ = false;
  // Empty until start(): its fixed entries are made once the verbosity is set.
  nstable namespaces_{nstable::empty};
  uagraph graph_;
  // Fills the graph and the namespace table; declared after them.
  xmlloader loader_{graph_, namespaces_};
  placeholder_table placeholders_;
  address_mapping_table address_mapping_;
};

}  // namespace vos
