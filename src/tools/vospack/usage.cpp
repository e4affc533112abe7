#include "tools/vospack/usage.h"

#include <cstdio>

#include "trace/version.h"

namespace vos {

namespace {

// The largest ByteString a model may carry, as the usage reports it.
constexpr unsigned kByteStringLimit = 4194304;

// Version of the binary address-space file format this converter writes.
constexpr unsigned kFileFormatMajor = 1;
constexpr unsigned kFileFormatMinor = 9;

void put(const char* line) {
  std::fputs(line, stderr);
}

void print_common_usage(const char* name) {
  std::fprintf(stderr, "Usage: %s [-h] [-o <outputfile>] [<base xml files...>] <xml file...>\n",
               name);
  put("-h: print this help\n");
  put("-V: print version information\n");
  put("-v: more verbose output\n");
  put("-q: more silent output\n");
  put("-s: strip unused type nodes (experimental)\n");
  put("-f <cat>: filter node by category. This option can be specified multiple times.\n");
  put("-r <file>: creates a suppression file by recording all warnings.\n");
  put("-S <file>: load warnings suppression file.\n");
  put("-W <num>: suppress warning number globally.\n");
}

void print_bytestring_limit() {
  std::fprintf(stderr, "-b: byte string limit in byte (default = %u MB = %u KB = %u Byte)\n",
               kByteStringLimit / (1024 * 1024), kByteStringLimit / 1024, kByteStringLimit);
}

void print_model_order() {
  put("<base xml files>: must be specified in correct order, starting with the base model,\n");
  put("followed by models built on top of the previous model.\n");
  put("<xml file>: The information model which gets processed.\n");
}

void print_converter_usage(const char* name) {
  put("-o: output file name\n");
  put("-a: export all namespaces (except ns0)\n");
  put("-e <val>: select extensions to export where <val> can be a comma separated list of "
      "'none', 'default', 'doc', or 'all'.\n");
  put("none: no node extensions will be exported.\n");
  put("default: all known Velmora extensions will be exported (rtaddress, authorization).\n");
  put("doc: nodeset <documentation> tags will be exported as documentation extension\n");
  put("all: All extensions will be exported. Unknown will be stored as XML extension also in "
      "the binary file\n");
  put("so that they can be handled on application level.\n");
  put("-i: specifies a SDK nsidx to export\n");
  put("-u: specifies a namespace URI to export\n");
  print_bytestring_limit();
  put("-p: print addressspace\n");
  put("-l: default locale (default=auto)\n");
  print_model_order();
  put("Example: Convert the DI model to binary.\n");
  std::fprintf(stderr, "%s -i2 -v -o di.bin Opc.Ua.NodeSet2.xml Opc.Ua.Di.NodeSet2.xml\n", name);
}

void print_generator_usage(const char* name) {
  put("-o: output directory name\n");
  put("-a: export all namespaces (except ns0)\n");
  put("-c <config>: generate only client side, no server code. You need to specify a config "
      "file with namespace mappings.\n");
  put("-d: include description strings in output (default=off)\n");
  put("-i: specifies a SDK nsidx and optional prefix to export (idx[:prefix[:alt_stor_idx]])\n");
  put("-u: specifies a namespace URI and optional prefix to export "
      "(uri[;prefix;[alt_store_idx]])\n");
  print_bytestring_limit();
  put("-n: library name to generate\n");
  put("-N: no address space, only types (for SDK integration)\n");
  put("-m: Generate provider skeleton for generated address space.\n");
  put("-M <file>: address mapping file name\n");
  put("-O: Overwrite existing implementation files.\n");
  put("-p: print addressspace\n");
  put("-P <file>: placeholder file name\n");
  put("-l: default locale (default=auto)\n");
  print_model_order();
  put("Example: Generating code for DI model into folder 'output'.\n");
  std::fprintf(stderr, "%s -i2:di:12 -v -o output Opc.Ua.NodeSet2.xml Opc.Ua.Di.NodeSet2.xml\n",
               name);
}

}  // namespace

const char* personality_name(personality p) {
  return p == personality::converter ? "vospack" : "vosgen";
}

void print_usage(personality p) {
  const char* name = personality_name(p);
  print_common_usage(name);
  if (p == personality::converter) {
    print_converter_usage(name);
  } else {
    print_generator_usage(name);
  }
}

void print_version(personality p) {
  std::fputs(build_version_line(personality_name(p)).c_str(), stdout);
  std::fputs(build_legal_notice(), stdout);
  if (p == personality::converter) {
    std::printf("Supported UA File Format: %u.%u\n", kFileFormatMajor, kFileFormatMinor);
  } else {
    std::printf("Built with UASERVER_SUPPORT_LARGE_TABLES=%s\n", "OFF");
  }
}

}  // namespace vos
