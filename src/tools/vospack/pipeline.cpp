#include "tools/vospack/pipeline.h"

#include <cstdio>

#include "uabase/encoder.h"
#include "util/errors.h"
#include "util/xml.h"

namespace vos {

namespace {

constexpr unsigned long kByteStringLimitMax = 4194304;

// A stage that a later version of the tool provides: said plainly instead of pretending.
int not_available(const char* what) {
  std::fprintf(stderr, "error: %s is not available in this build yet.\n", what);
  return UA_EBADNOTIMPL;
}

}  // namespace

void pipeline::set_bytestring_limit(long limit) {
  // Taken as unsigned: a negative value compares as larger than the maximum and is ignored.
  const auto value = static_cast<unsigned long>(limit);
  if (value <= kByteStringLimitMax) bytestring_limit_ = value;
}

int pipeline::load_placeholders(const char*) { return not_available("loading placeholder files"); }

int pipeline::load_address_mapping(const char*) {
  return not_available("loading address-mapping files");
}

int pipeline::start() {
  // Values are nested at most ten deep; the self-test refuses a decimal-comma locale.
  ua_encoder_set_max_call_depth(10);
  return ua_encoder_init();
}

int pipeline::load_nodeset(const char* path) {
  xml_doc doc;
  return xml_doc_load_file(path, doc);
}

void pipeline::print_address_space() { not_available("printing the address space"); }

void pipeline::strip_unused_types() { not_available("stripping unused types"); }

void pipeline::apply_filters(const std::vector<std::string>&) {
  not_available("category filtering");
}

int pipeline::load_namespace_mappings(const char*) {
  return not_available("loading namespace-mapping files");
}

int pipeline::export_xml(const char*) { return not_available("NodeSet XML export"); }

int pipeline::write_binary(const char*, const char*) {
  return not_available("writing the binary address-space file");
}

int pipeline::generate(const char*, const input_digest&, const codegen_options&) {
  return not_available("C code generation");
}

}  // namespace vos
