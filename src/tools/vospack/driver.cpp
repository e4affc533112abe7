#include "tools/vospack/driver.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "diag/diag.h"
#include "trace/trace.h"
#include "util/getopt.h"
#include "util/md5.h"

namespace vos {

namespace {

// Texts copied into the C design's 260-byte buffers keep at most 259 characters.
constexpr size_t kPathMax = 259;
constexpr size_t kLocaleMax = 9;
constexpr size_t kLibraryNameMax = 255;
constexpr long kByteStringLimitMax = 4194304;

constexpr const char* kConverterOptions = "+hVsf:o:ae:i:u:vqb:pP:l:x0r:S:W:";
constexpr const char* kGeneratorOptions = "+hVsf:o:ab:c:di:u:vqn:NpP:M:l:mx0r:S:W:O";

std::string cut(const char* text, size_t max) {
  std::string s(text);
  if (s.size() > max) s.resize(max);
  return s;
}

// What the options set; the stores themselves live behind `model_stages`.
struct run_state {
  personality who = personality::converter;
  int verbosity = 2;
  std::string output_path;
  std::string suppression_path;  // shared by -r and -S: the last of them wins
  bool record_warnings = false;
  std::string nsmap_config_path;
  bool client_only = false;
  const char* extensions = nullptr;
  bool export_all = false;
  bool print_address_space = false;
  bool strip_unused = false;
  bool xml_export = false;
  codegen_options codegen;
  std::vector<std::string> filters;
};

enum class scan_result { go_on, exit_success, exit_failure };

[[noreturn]] void out_of_memory() {
  std::fputs("Out of memory. Application terminates now.\n", stderr);
  std::exit(1);
}

// Acts on one option letter at once; file-loading options load here.
scan_result act_on_option(int letter, run_state& run, model_stages& stages) {
  switch (letter) {
    case 'h':
      print_usage(run.who);
      return scan_result::exit_success;
    case 'V':
      print_version(run.who);
      return scan_result::exit_success;
    case 'v':
      ++run.verbosity;
      return scan_result::go_on;
    case 'q':
      --run.verbosity;
      return scan_result::go_on;
    case 's':
      run.strip_unused = true;
      return scan_result::go_on;
    case 'f':
      run.filters.emplace_back(optarg);
      return scan_result::go_on;
    case 'o':
      run.output_path = cut(optarg, kPathMax);
      return scan_result::go_on;
    case 'a':
      run.export_all = true;
      return scan_result::go_on;
    case 'e':
      run.extensions = optarg;
      return scan_result::go_on;
    case 'i':
      stages.select_index(optarg);  // refusals are silent and do not fail the run
      return scan_result::go_on;
    case 'u':
      stages.select_uri(optarg);
      return scan_result::go_on;
    case 'b': {
      long limit = std::strtol(optarg, nullptr, 10);
      if (limit > kByteStringLimitMax) {
        std::fprintf(stderr, "error: The bytestring limit must not exceed %u byte.\n",
                     static_cast<unsigned>(kByteStringLimitMax));
        return scan_result::exit_failure;
      }
      stages.set_bytestring_limit(limit);
      return scan_result::go_on;
    }
    case 'p':
      run.print_address_space = true;
      return scan_result::go_on;
    case 'P':
      if (stages.load_placeholders(optarg) != 0) {
        std::fprintf(stderr, "error: failed to load placeholders from '%s'.\n", optarg);
        return scan_result::exit_failure;
      }
      return scan_result::go_on;
    case 'l':
      stages.set_default_locale(cut(optarg, kLocaleMax));
      return scan_result::go_on;
    case 'x':
      run.xml_export = true;
      return scan_result::go_on;
    case '0':
      run.codegen.generate_ns0 = true;
      return scan_result::go_on;
    case 'r':
      run.suppression_path = cut(optarg, kPathMax);
      run.record_warnings = true;
      diag_record_warnings();
      return scan_result::go_on;
    case 'S':
      run.suppression_path = cut(optarg, kPathMax);
      if (suppress_load(optarg) != 0) {
        std::fprintf(stderr, "error: failed to load suppression file '%s'.\n", optarg);
        return scan_result::exit_failure;
      }
      return scan_result::go_on;
    case 'W':
      suppress_add(nullptr, 0, static_cast<uint32_t>(std::atoi(optarg)));
      return scan_result::go_on;
    case 'c':
      run.nsmap_config_path = cut(optarg, kPathMax);
      run.client_only = true;
      return scan_result::go_on;
    case 'd':
      run.codegen.with_descriptions = true;
      return scan_result::go_on;
    case 'n':
      stages.set_library_name(cut(optarg, kLibraryNameMax));
      return scan_result::go_on;
    case 'N':
      run.codegen.types_only = true;
      return scan_result::go_on;
    case 'M':
      if (stages.load_address_mapping(optarg) != 0) {
        std::fprintf(stderr, "error: failed to load address mapping '%s'.\n", optarg);
        return scan_result::exit_failure;
      }
      return scan_result::go_on;
    case 'm':
      stages.set_provider_skeleton(true);
      return scan_result::go_on;
    case 'O':
      run.codegen.overwrite_impl = true;
      return scan_result::go_on;
    default:  // '?' after the scanner's message, a lone "-", a letter nobody handles
      print_usage(run.who);
      return scan_result::exit_failure;
  }
}

// Steps 8 to 19 of a run whose inputs all loaded; returns the exit status.
int run_outputs(const run_state& run, model_stages& stages, const input_digest& digest) {
  stages.print_namespace_table();
  if (run.print_address_space) stages.print_address_space();
  int status = 0;
  if (run.export_all && (status = stages.select_all()) != 0) return status;
  if ((status = stages.resolve_uri_selections()) != 0) return status;
  if ((status = stages.check_index_selections()) != 0) return status;
  if (run.strip_unused) stages.strip_unused_types();
  if (!run.filters.empty()) stages.apply_filters(run.filters);
  if (run.client_only) {
    status = stages.load_namespace_mappings(run.nsmap_config_path.c_str());
    if (status != 0) {
      std::fputs("error: failed to load ns mappings.\n", stderr);
      return status;
    }
  }

  const char* out = run.output_path.c_str();
  if (run.xml_export) {
    status = stages.export_xml(out) == 0 ? 0 : 1;
    std::printf(status == 0 ? "Successfully written '%s'.\n" : "Failed to create '%s'.\n", out);
  } else if (run.who == personality::converter) {
    status = stages.write_binary(out, run.extensions) == 0 ? 0 : 1;
    std::printf(status == 0 ? "Successfully written '%s'.\n" : "Failed to create '%s'.\n", out);
  } else {
    codegen_options options = run.codegen;
    options.client_only = run.client_only;
    if (stages.generate(out, digest, options) == 0) {
      std::printf("Successfully generated C code into '%s'.\n", out);
    } else {
      std::printf("error: failed to generate C code.\n");
      status = 1;
    }
  }

  if (run.record_warnings) suppress_write(run.suppression_path.c_str());
  return status;
}

}  // namespace

std::optional<personality> personality_from_name(const char* argv0) {
  std::string name = cut(argv0 != nullptr ? argv0 : "", kPathMax);
  for (char& c : name) {
    if (c == '\\') c = '/';
  }
  std::string_view base(name);
  if (size_t slash = base.rfind('/'); slash != std::string_view::npos) {
    base.remove_prefix(slash + 1);
  }
  if (size_t exe = base.find(".exe"); exe != std::string_view::npos) base = base.substr(0, exe);
  if (base == "vospack") return personality::converter;
  if (base == "vosgen") return personality::generator;
  return std::nullopt;
}

int driver_run(int argc, char** argv, model_stages& stages) {
  run_state run;
  std::optional<personality> who = personality_from_name(argc > 0 ? argv[0] : nullptr);
  if (!who) {
    std::fputs("error: Invalid executable name. Expected vospack or vosgen.\n", stderr);
    return 1;
  }
  run.who = *who;
  run.output_path = run.who == personality::converter ? "output.bin" : "output";
  const char* options = run.who == personality::converter ? kConverterOptions : kGeneratorOptions;

  getopt_reset();
  for (int letter; (letter = getopt(argc, argv, options)) != -1;) {
    switch (act_on_option(letter, run, stages)) {
      case scan_result::go_on:
        break;
      case scan_result::exit_success:
        return 0;
      case scan_result::exit_failure:
        return 1;
    }
  }

  if (run.verbosity > 2) stages.set_graph_trace_level(run.verbosity - 2);
  diag_set_verbosity(static_cast<uint32_t>(run.verbosity));

  // From here on every path passes through the clean-up.
  int status = trace_start(TRACE_LEVEL_ERROR, TRACE_COMPONENT_ALL);
  const bool have_inputs = optind < argc;
  const int start_status = stages.start();
  // The digest of all input bytes identifies the input set in the generated address space;
  // only a generator run that writes one (not -N, not -c, not -x) uses it.
  Md5 digest;
  const bool digest_used = run.who == personality::generator && !run.xml_export &&
                           !run.codegen.types_only && !run.client_only;
  Md5* const wanted = digest_used ? &digest : nullptr;
  bool loaded = start_status == 0;
  if (start_status != 0) status = start_status;
  for (; loaded && optind < argc; ++optind) {
    const char* path = argv[optind];
    status = stages.load_nodeset(path, wanted);
    if (status != 0) {
      std::fprintf(stderr, "error: failed to load '%s'\n", path);
      loaded = false;
      break;
    }
  }
  const input_digest sum = digest.final();

  // The trace's start-up status counts only when no file is named.
  if (loaded && (have_inputs || status == 0)) status = run_outputs(run, stages, sum);

  stages.release();
  suppress_clear();
  trace_close();
  return status;
}

int driver_main(int argc, char** argv, model_stages& stages) {
  std::set_new_handler(out_of_memory);
  const int status = driver_run(argc, argv, stages);
  // Every file is closed by now. Freeing a graph of a million nodes node by node would only
  // delay the exit, so the process ends here and leaves its memory to the system.
  std::fflush(nullptr);
  std::_Exit(status);
}

}  // namespace vos
