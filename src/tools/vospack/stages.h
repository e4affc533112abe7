// The stages of a run behind the driver: option consumers, loading, selection, filtering and
// the back ends. The driver owns the order of the run; an implementation of this interface
// owns the stores (namespace table, graph, encoder) and what the stages do with them.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "util/md5.h"

namespace vos {

// The generator's settings, handed over by the driver.
struct codegen_options {
  bool generate_ns0 = false;       // -0
  bool types_only = false;         // -N
  bool with_descriptions = false;  // -d
  bool overwrite_impl = false;     // -O
  bool client_only = false;        // -c
};

using input_digest = std::array<uint8_t, 16>;

class model_stages {
 public:
  virtual ~model_stages() = default;

  // Settings changed while the options are scanned.
  virtual void set_bytestring_limit(long limit) = 0;               // -b, already checked <= 4194304
  virtual void set_default_locale(const std::string& locale) = 0;  // -l, at most 9 chars
  virtual void set_library_name(const std::string& name) = 0;      // -n, at most 255 chars
  virtual void set_provider_skeleton(bool on) = 0;                 // -m
  virtual int select_index(const char* argument) = 0;              // -i
  virtual int select_uri(const char* argument) = 0;                // -u
  virtual int load_placeholders(const char* path) = 0;             // -P
  virtual int load_address_mapping(const char* path) = 0;          // -M

  // Start-up, after the scan. `trace_level` is verbosity - 2 when above 0.
  virtual void set_graph_trace_level(int level) = 0;
  virtual int start() = 0;  // encoder, namespace table, graph stores

  // One NodeSet file; 0 on success, else the loader's status. After a successful load the
  // file's bytes go into `digest` when one is given.
  virtual int load_nodeset(const char* path, Md5* digest) = 0;

  // After loading.
  virtual void print_namespace_table() = 0;
  virtual void print_address_space() = 0;
  virtual int select_all() = 0;
  virtual int resolve_uri_selections() = 0;
  virtual int check_index_selections() = 0;
  virtual void strip_unused_types() = 0;
  virtual void apply_filters(const std::vector<std::string>& filters) = 0;
  virtual int load_namespace_mappings(const char* path) = 0;  // -c

  // Back ends.
  virtual int export_xml(const char* path) = 0;
  virtual int write_binary(const char* path, const char* extensions) = 0;
  virtual int generate(const char* directory, const input_digest& digest,
                       const codegen_options& options) = 0;

  // Releases the stores, in the order of the clean-up.
  virtual void release() = 0;
};

}  // namespace vos
