# Build constants shown by -V and in every trace file: the commit of the sources is read
# at configure time; a tree without git history reports "<unknown>".
set(VOS_VERSION_TEXT "1.8.1")
set(VOS_VERSION_SUFFIX "")
set(VOS_BUILD_NUMBER "426")
set(VOS_REPOSITORY "https://git.velmora.example/tools/vospack.git" CACHE STRING "Repository location the build came from")

set(VOS_GIT_COMMIT "<unknown>")
find_package(Git QUIET)
if(GIT_FOUND)
  execute_process(COMMAND ${GIT_EXECUTABLE} rev-parse --verify HEAD
                  WORKING_DIRECTORY ${CMAKE_SOURCE_DIR}
                  OUTPUT_VARIABLE _vos_commit OUTPUT_STRIP_TRAILING_WHITESPACE
                  RESULT_VARIABLE _vos_rc ERROR_QUIET)
  if(_vos_rc EQUAL 0 AND _vos_commit MATCHES "^[0-9a-f]+$")
    set(VOS_GIT_COMMIT "${_vos_commit}")
  endif()
endif()

configure_file(${CMAKE_SOURCE_DIR}/cmake/build_info.h.in
               ${CMAKE_BINARY_DIR}/generated/build_info.h @ONLY)
