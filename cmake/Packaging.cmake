# What `cmake --install` puts where, the CMake package that lets other projects use the
# tool with find_package(vospack), and the Debian package made by `cpack -G DEB`.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(VOS_CMAKE_PACKAGE_DIR lib/cmake/vospack)

install(TARGETS vospack vosdump EXPORT vospackTargets RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
# The C generator is the same program under its other name: the build tree's link is
# installed as it is.
install(PROGRAMS ${PROJECT_BINARY_DIR}/bin/vosgen DESTINATION ${CMAKE_INSTALL_BINDIR})

# Manual pages; vosgen(1) is a link to vospack(1), which documents both personalities.
file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/man)
file(CREATE_LINK vospack.1 ${PROJECT_BINARY_DIR}/man/vosgen.1 SYMBOLIC)
install(FILES docs/man/vospack.1 ${PROJECT_BINARY_DIR}/man/vosgen.1 docs/man/vosdump.1
        DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)

install(EXPORT vospackTargets NAMESPACE vospack:: DESTINATION ${VOS_CMAKE_PACKAGE_DIR})
configure_package_config_file(cmake/vospackConfig.cmake.in
  ${PROJECT_BINARY_DIR}/package/vospackConfig.cmake
  INSTALL_DESTINATION ${VOS_CMAKE_PACKAGE_DIR}
  PATH_VARS CMAKE_INSTALL_BINDIR)
# A request for 1.8 accepts every 1.x from 1.8 on: within a major version options and
# statuses are only ever added. A project that needs one minor version asks for a range
# (find_package(vospack 1.8...<1.9)). The package holds executables for the build host,
# so it fits projects of any target architecture (cross builds included).
write_basic_package_version_file(${PROJECT_BINARY_DIR}/package/vospackConfigVersion.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion ARCH_INDEPENDENT)
install(FILES ${PROJECT_BINARY_DIR}/package/vospackConfig.cmake
              ${PROJECT_BINARY_DIR}/package/vospackConfigVersion.cmake
              cmake/vospackFunctions.cmake
        DESTINATION ${VOS_CMAKE_PACKAGE_DIR})

# Debian package: the executables, the vosgen link, the manual pages and the CMake package
# under /usr. Its dependencies come from dpkg-shlibdeps, which finds only the C and C++
# runtime libraries.
set(CPACK_PACKAGE_NAME vospack)
set(CPACK_PACKAGE_VENDOR "Velmora Systems")
set(CPACK_PACKAGE_CONTACT "Velmora tools team <tools@velmora.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "OPC UA information-model compiler")
set(CPACK_PACKAGE_DESCRIPTION "vospack converts OPC UA NodeSet2 XML models into a binary
address-space file that a server runtime loads at start-up; started as vosgen it writes
C sources for the same runtime. vosdump prints what an address-space file holds, also as
JSON. A CMake package provides build rules that run the tool.")
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION devel)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
include(CPack)
