# Build rules that run the OPC UA information-model compiler at build time.
#
#   vospack_add_address_space(<target> OUTPUT <file> MODELS <xml>...
#       [INDEX <idx>[:<prefix>[:<store>]]...] [URI <uri>[;<prefix>;[<store>]]...]
#       [EXTENSIONS <ext>...] [IGNORE_VERSION_CHECK] [DEPENDS <file>...]
#       [EXCLUDE_FROM_ALL] [OPTIONS <option>...])
#
#   Converts the models (base models first, in dependency order) into the binary
#   address-space file <file> with vospack. INDEX and URI select the namespaces to write
#   (-i, -u; each may be given several times), EXTENSIONS the node extensions (-e, joined
#   with commas). OPTIONS are further vospack options, passed as they stand before the
#   models. <target> is a custom target that builds the file.
#
#   vosgen_add_sources(<target> OUTPUT_DIR <dir> MODELS <xml>...
#       [INDEX ...] [URI ...] [TYPES_ONLY] [CLIENT_ONLY <config>] [PROVIDER]
#       [DESCRIPTIONS] [LIBRARY_NAME <name>] [DATE <date>] [REFORMAT]
#       [IGNORE_VERSION_CHECK] [DEPENDS <file>...] [BYPRODUCTS <file>...]
#       [EXCLUDE_FROM_ALL] [OPTIONS <option>...])
#
#   Generates C sources for the models into <dir> with vosgen: TYPES_ONLY is -N,
#   CLIENT_ONLY -c <config>, PROVIDER -m, DESCRIPTIONS -d, LIBRARY_NAME -n. The file
#   <dir>/vosgen.stamp records a successful run; BYPRODUCTS names generated files (relative
#   to <dir>) that other targets of the build use as sources.
#
# Both rules run again when a model, a file named by CLIENT_ONLY or DEPENDS, or the tool
# itself changes, and do nothing otherwise. A failing run stops the build with the tool's
# own messages. Relative input paths are taken from the current source folder, relative
# outputs from the current binary folder. The tool runs in
# <binary folder>/CMakeFiles/<target>.vospack, where its trace files (log.<n>.txt) land;
# give side files in OPTIONS with absolute paths.
#
# The environment variables that the tool reads are set only on request and removed from
# the tool's environment otherwise, so that a build does not depend on the shell it was
# started from: IGNORE_VERSION_CHECK accepts required models with a wrong or missing
# version; DATE <date> puts that date (at most 19 characters) into the generator line of
# every generated file instead of today's date, for reproducible output; REFORMAT passes
# every generated C file through clang-format.
include_guard(GLOBAL)

if(CMAKE_VERSION VERSION_LESS 3.20)
  message(FATAL_ERROR "The vospack build rules need CMake 3.20 or newer.")
endif()

# Absolute forms of the paths in ARGN, relative ones taken from `base`.
function(_vospack_absolute out base)
  set(result)
  foreach(path IN LISTS ARGN)
    cmake_path(ABSOLUTE_PATH path BASE_DIRECTORY "${base}" NORMALIZE OUTPUT_VARIABLE path)
    list(APPEND result "${path}")
  endforeach()
  set(${out} "${result}" PARENT_SCOPE)
endfunction()

# Appends one command-line argument to the list `var`; a ';' in it (URI selections use
# them) stays inside the argument.
function(_vospack_append_arg var arg)
  string(REPLACE ";" "$<SEMICOLON>" arg "${arg}")
  set(${var} ${${var}} "${arg}" PARENT_SCOPE)
endfunction()

# The checks and arguments that both rules share; sets in the caller's scope: _models
# (absolute), _depends (absolute), _work (the tool's folder), _all (ALL or nothing), _env
# (the environment command) and _args (the options for INDEX, URI and OPTIONS).
macro(_vospack_common fn target)
  if(ARG_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "${fn}(${target}): unknown arguments: ${ARG_UNPARSED_ARGUMENTS}")
  endif()
  if(NOT ARG_MODELS)
    message(FATAL_ERROR "${fn}(${target}): MODELS is required.")
  endif()
  if(NOT TARGET vospack::vospack OR NOT TARGET vospack::vosgen)
    message(FATAL_ERROR "${fn}(${target}): the vospack package is not loaded; "
                        "use find_package(vospack).")
  endif()
  _vospack_absolute(_models "${CMAKE_CURRENT_SOURCE_DIR}" ${ARG_MODELS})
  _vospack_absolute(_depends "${CMAKE_CURRENT_SOURCE_DIR}" ${ARG_DEPENDS})
  set(_work "${CMAKE_CURRENT_BINARY_DIR}/CMakeFiles/${target}.vospack")
  set(_all ALL)
  if(ARG_EXCLUDE_FROM_ALL)
    set(_all)
  endif()
  set(_env "${CMAKE_COMMAND}" -E env --unset=DATE --unset=REFORMAT)
  if(ARG_IGNORE_VERSION_CHECK)
    list(APPEND _env IGNORE_VERSION_CHECK=1)
  else()
    list(APPEND _env --unset=IGNORE_VERSION_CHECK)
  endif()
  set(_args)
  foreach(_index IN LISTS ARG_INDEX)
    if(NOT _index MATCHES "^[0-9]+(:[^:]*(:[0-9]+)?)?$")
      message(FATAL_ERROR "${fn}(${target}): INDEX '${_index}' is not "
                          "<idx>[:<prefix>[:<store>]].")
    endif()
    list(APPEND _args -i "${_index}")
  endforeach()
  foreach(_uri IN LISTS ARG_URI)
    list(APPEND _args -u)
    _vospack_append_arg(_args "${_uri}")
  endforeach()
  foreach(_option IN LISTS ARG_OPTIONS)
    _vospack_append_arg(_args "${_option}")
  endforeach()
endmacro()

function(vospack_add_address_space target)
  cmake_parse_arguments(PARSE_ARGV 1 ARG "IGNORE_VERSION_CHECK;EXCLUDE_FROM_ALL" "OUTPUT"
                        "MODELS;INDEX;URI;EXTENSIONS;DEPENDS;OPTIONS")
  _vospack_common(vospack_add_address_space "${target}")
  if(NOT ARG_OUTPUT)
    message(FATAL_ERROR "vospack_add_address_space(${target}): OUTPUT is required.")
  endif()
  _vospack_absolute(output "${CMAKE_CURRENT_BINARY_DIR}" "${ARG_OUTPUT}")
  cmake_path(GET output PARENT_PATH output_dir)
  if(ARG_EXTENSIONS)
    list(JOIN ARG_EXTENSIONS "," extensions)
    list(PREPEND _args -e "${extensions}")
  endif()
  set(tool "$<TARGET_FILE:vospack::vospack>")
  add_custom_command(OUTPUT "${output}"
    COMMAND "${CMAKE_COMMAND}" -E make_directory "${output_dir}" "${_work}"
    COMMAND "${CMAKE_COMMAND}" -E chdir "${_work}" ${_env} "${tool}" ${_args} -o "${output}"
            ${_models}
    DEPENDS ${_models} ${_depends} "${tool}"
    COMMENT "Converting OPC UA models into ${ARG_OUTPUT}"
    VERBATIM)
  add_custom_target(${target} ${_all} DEPENDS "${output}")
endfunction()

function(vosgen_add_sources target)
  cmake_parse_arguments(PARSE_ARGV 1 ARG
    "TYPES_ONLY;PROVIDER;DESCRIPTIONS;REFORMAT;IGNORE_VERSION_CHECK;EXCLUDE_FROM_ALL"
    "OUTPUT_DIR;CLIENT_ONLY;LIBRARY_NAME;DATE" "MODELS;INDEX;URI;DEPENDS;BYPRODUCTS;OPTIONS")
  _vospack_common(vosgen_add_sources "${target}")
  if(NOT ARG_OUTPUT_DIR)
    message(FATAL_ERROR "vosgen_add_sources(${target}): OUTPUT_DIR is required.")
  endif()
  _vospack_absolute(dir "${CMAKE_CURRENT_BINARY_DIR}" "${ARG_OUTPUT_DIR}")
  _vospack_absolute(byproducts "${dir}" ${ARG_BYPRODUCTS})
  set(stamp "${dir}/vosgen.stamp")
  set(generator_args)
  if(ARG_TYPES_ONLY)
    list(APPEND generator_args -N)
  endif()
  if(ARG_CLIENT_ONLY)
    _vospack_absolute(config "${CMAKE_CURRENT_SOURCE_DIR}" "${ARG_CLIENT_ONLY}")
    list(APPEND generator_args -c "${config}")
    list(APPEND _depends "${config}")
  endif()
  if(ARG_PROVIDER)
    list(APPEND generator_args -m)
  endif()
  if(ARG_DESCRIPTIONS)
    list(APPEND generator_args -d)
  endif()
  if(DEFINED ARG_LIBRARY_NAME)
    list(APPEND generator_args -n "${ARG_LIBRARY_NAME}")
  endif()
  if(DEFINED ARG_DATE)
    list(REMOVE_ITEM _env --unset=DATE)
    list(APPEND _env "DATE=${ARG_DATE}")
  endif()
  if(ARG_REFORMAT)
    list(REMOVE_ITEM _env --unset=REFORMAT)
    list(APPEND _env REFORMAT=clang)
  endif()
  set(tool "$<TARGET_FILE:vospack::vosgen>")
  add_custom_command(OUTPUT "${stamp}"
    BYPRODUCTS ${byproducts}
    COMMAND "${CMAKE_COMMAND}" -E make_directory "${dir}" "${_work}"
    COMMAND "${CMAKE_COMMAND}" -E chdir "${_work}" ${_env} "${tool}" ${generator_args} ${_args}
            -o "${dir}" ${_models}
    COMMAND "${CMAKE_COMMAND}" -E touch "${stamp}"
    DEPENDS ${_models} ${_depends} "${tool}"
    COMMENT "Generating C sources from OPC UA models into ${ARG_OUTPUT_DIR}"
    VERBATIM)
  add_custom_target(${target} ${_all} DEPENDS "${stamp}")
endfunction()
