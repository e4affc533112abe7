// vosdump FILE [-a | --json | --html OUT]: checks a binary address-space file and prints a
// summary of it (header, namespaces, node counts per class, strings, references); with -a
// also every record; with --json all of it as one JSON document; --html writes a page that
// browses it. vosdump --diff OLD NEW compares two files (diff.h).
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>
#include <string_view>

#include "tools/vosdump/diff.h"
#include "tools/vosdump/html_dump.h"
#include "tools/vosdump/json_dump.h"
#include "tools/vospack/filereader.h"
#include "tools/vospack/uagraph.h"
#include "uabase/text_datetime.h"
#include "uabase/text_nodeid.h"
#include "util/errors.h"

namespace vos {
namespace {

constexpr const char* kTotalNames[UA_FILE_TOTAL_COUNT] = {
    "DataType", "ReferenceType", "VariableType", "ObjectType", "Variable", "Object",    "Method",
    "View",     "references",    "numeric ids",  "string ids", "guid ids", "opaque ids"};

const char* class_name(uint32_t nodeclass) {
  const uint32_t t = ua_file_total_of_class(nodeclass);
  return t < UA_FILE_TOTAL_COUNT ? kTotalNames[t] : "?";
}

std::string date_text(int64_t ticks) {
  char buf[40];
  return ua_datetime_to_string(ua_datetime{ticks}, buf, sizeof(buf)) > 0 ? buf : "-";
}

void print_counts(const ua_file_totals& counts, const char* indent) {
  for (uint32_t i = 0; i < UA_FILE_TOTAL_COUNT; ++i) {
    if (counts[i] != 0) std::printf("%s%-14s %u\n", indent, kTotalNames[i], counts[i]);
  }
}

void print_namespace(const char* kind, const ua_file_namespace& ns) {
  std::printf("  %s ns=%u %s version=%s published=%s role permissions=%zu access=0x%x\n", kind,
              ns.index, ns.uri.c_str(), ns.version ? ns.version->c_str() : "-",
              date_text(ns.publication_date).c_str(), ns.role_permissions.size(),
              ns.access_restrictions);
  print_counts(ns.counts, "    ");
}

void print_node(const ua_file_contents& f, const ua_file_read_node& n) {
  const std::string_view bn = f.string(n.browse_name);
  const std::string_view dn = f.string(n.display_name);
  std::printf("  %-13s %s bn=%u:%.*s dn=%.*s flags=0x%02x", class_name(n.nodeclass),
              ua_nodeid_to_text(n.nodeid).c_str(), n.browse_ns, static_cast<int>(bn.size()),
              bn.data(), static_cast<int>(dn.size()), dn.data(), n.flags);
  if ((n.flags & UA_FILE_NODE_FLAGS2) != 0) std::printf(" flags2=0x%02x", n.flags2);
  if (n.perm_flags != 0) std::printf(" perm=0x%02x", n.perm_flags);
  if (!n.extensions.empty()) std::printf(" extensions=%zu", n.extensions.size());
  if (!n.value.is_empty()) std::printf(" value-type=0x%02x", n.value.type_byte());
  if (!n.datatype.is_null()) std::printf(" datatype=%s", ua_nodeid_to_text(n.datatype).c_str());
  const std::size_t fields = n.definition.fields.size() + n.definition.enum_fields.size();
  if (n.definition.kind != 0)
    std::printf(" definition-kind=%u fields=%zu", n.definition.kind & UA_FILE_DEFINITION_KIND_MASK,
                fields);
  std::printf("\n");
}

void dump_text(const char* path, const ua_file_contents& f, bool all) {
  const auto created = static_cast<std::time_t>(f.creation_time);
  char when[64] = "-";
  if (const std::tm* tm = std::gmtime(&created)) std::strftime(when, sizeof(when), "%FT%TZ", tm);
  std::printf("File: %s\n", path);
  std::printf("Format: %u.%u, created %s, checksum 0x%08x\n", f.major, f.minor, when, f.checksum);
  std::printf("Extension URIs: %zu\n", f.extension_uris.size());
  for (const std::string& uri : f.extension_uris) std::printf("  %s\n", uri.c_str());
  std::printf("File extensions: %zu\n", f.file_extensions.size());
  for (const ua_file_extension& e : f.file_extensions)
    std::printf("  uri=%u id=%u bytes=%d\n", e.uri_index, e.id, e.data.length());
  std::printf("Namespaces: %zu model, %zu dependency\n", f.models.size(), f.dependencies.size());
  for (const ua_file_namespace& ns : f.models) print_namespace("model", ns);
  for (const ua_file_namespace& ns : f.dependencies) print_namespace("dependency", ns);
  std::printf("Totals:\n");
  print_counts(f.totals, "  ");
  for (const ua_file_read_stringtable& t : f.string_tables)
    std::printf("String table '%s': %zu strings\n", t.name.c_str(), t.strings.size());
  std::printf("References: %zu\n", f.references.size());
  if (!all) return;

  std::printf("Strings:\n");
  if (!f.string_tables.empty()) {
    const auto& strings = f.string_tables[0].strings;
    for (std::size_t i = 0; i < strings.size(); ++i)
      std::printf("  %zu: %s\n", i, strings[i].c_str());
  }
  std::printf("Nodes:\n");
  for (const ua_file_read_node& n : f.nodes) print_node(f, n);
  std::printf("References:\n");
  for (const ua_file_reference& r : f.references)
    std::printf("  %s -> %s: %s\n", ua_nodeid_to_text(r.source).c_str(),
                ua_nodeid_to_text(r.target).c_str(), ua_nodeid_to_text(r.type).c_str());
}

enum class format { summary, records, json };

// The page goes to a file of its own; a failed write leaves an error, not a cut page.
int write_html(const char* path, const ua_file_contents& f, const char* out_path) {
  std::FILE* out = std::fopen(out_path, "wb");
  if (out == nullptr) {
    std::fprintf(stderr, "error: cannot write '%s': %s\n", out_path, std::strerror(errno));
    return 1;
  }
  dump_html(path, f, out);
  const bool failed = std::ferror(out) != 0;
  if (std::fclose(out) != 0 || failed) {
    std::fprintf(stderr, "error: cannot write '%s'\n", out_path);
    std::remove(out_path);
    return 1;
  }
  return 0;
}

// The whole file is read and checked before anything is printed, so a damaged file gives
// only the error line.
int dump(const char* path, format how, const char* html_out) {
  ua_file_contents f;
  const int ret = ua_file_read_path(path, f);
  if (ret != 0) {
    std::fprintf(stderr, "error: cannot read '%s': %s (%d)\n", path, util_error_lookup(ret), ret);
    return 1;
  }
  if (html_out != nullptr) return write_html(path, f, html_out);
  if (how == format::json) {
    dump_json(path, f, stdout);
  } else {
    dump_text(path, f, how == format::records);
  }
  if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
    std::fprintf(stderr, "error: cannot write the output of '%s'\n", path);
    return 1;
  }
  return 0;
}

constexpr const char* kUsage = "usage: vosdump FILE [-a | --json | --html OUT.html]\n";

}  // namespace
}  // namespace vos

int main(int argc, char** argv) {
  for (int i = 1; i < argc; ++i)
    if (std::string_view(argv[i]) == "--diff") return vos::diff_main(argc, argv);
  const char* path = nullptr;
  bool all = false;
  bool json = false;
  const char* html = nullptr;
  bool bad = false;
  for (int i = 1; i < argc; ++i) {
    const std::string_view arg = argv[i];
    if (arg == "-h" || arg == "--help") {
      std::fputs(vos::kUsage, stdout);
      std::fputs(vos::kDiffUsage, stdout);
      return 0;
    }
    if (arg == "-a") {
      all = true;
    } else if (arg == "--json") {
      json = true;
    } else if (arg == "--html" && i + 1 < argc && html == nullptr) {
      html = argv[++i];
    } else if (arg.size() > 1 && arg[0] == '-') {
      bad = true;  // an unknown option
    } else if (path == nullptr) {
      path = argv[i];
    } else {
      bad = true;  // a second file
    }
  }
  if (bad || path == nullptr || *path == '\0' || (all && json) ||
      (html != nullptr && (all || json || *html == '\0'))) {
    std::fputs(vos::kUsage, stderr);
    return 1;
  }
  using vos::format;
  return vos::dump(path, json ? format::json : all ? format::records : format::summary, html);
}
