# Installs the library with its two descriptions, one for find_package and one for pkg-config. Both work wherever the
# installed tree is moved to. The headers are installed where they are listed, by ps_public_headers.
#
# The Debian packages are made of the install components runtime, development, tools and documentation.
include(CMakePackageConfigHelpers)

set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/pscollections")

install(TARGETS pscollections EXPORT pscollectionsTargets
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT runtime NAMELINK_COMPONENT development
  ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT development)
install(EXPORT pscollectionsTargets NAMESPACE pscollections:: DESTINATION "${package_dir}" COMPONENT development)

# A program that hands in Java keys can ask for it.
if(PSCOLLECTIONS_NO_JDK)
  set(pc_java no)
else()
  set(pc_java yes)
endif()

configure_package_config_file(cmake/pscollectionsConfig.cmake.in "${PROJECT_BINARY_DIR}/pscollectionsConfig.cmake"
  INSTALL_DESTINATION "${package_dir}")
# Before 1.0 a new minor version may break what compiled against the last one.
write_basic_package_version_file("${PROJECT_BINARY_DIR}/pscollectionsConfigVersion.cmake"
  COMPATIBILITY SameMinorVersion)
install(FILES
    "${PROJECT_BINARY_DIR}/pscollectionsConfig.cmake"
    "${PROJECT_BINARY_DIR}/pscollectionsConfigVersion.cmake"
    cmake/FindLMDB.cmake
  DESTINATION "${package_dir}" COMPONENT development)

if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
  set(pc_prefix "${CMAKE_INSTALL_PREFIX}")
else()
  file(RELATIVE_PATH up "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
  string(REGEX REPLACE "/$" "" up "${up}")
  set(pc_prefix "\${pcfiledir}/${up}")
endif()
foreach(dir IN ITEMS LIBDIR INCLUDEDIR)
  if(IS_ABSOLUTE "${CMAKE_INSTALL_${dir}}")
    set(pc_${dir} "${CMAKE_INSTALL_${dir}}")
  else()
    set(pc_${dir} "\${prefix}/${CMAKE_INSTALL_${dir}}")
  endif()
endforeach()
# The shared library has its own link to LMDB; only the static one makes it the user's business.
set(pc_cflags "")
set(pc_requires_private "")
set(pc_libs_private "")
if(PSCOLLECTIONS_STATIC)
  set(pc_cflags " -DPSCOLLECTIONS_STATIC")
  set(pc_requires_private "lmdb")
  set(pc_libs_private "-pthread -Wl,--undefined=_Z12psDoFileInitv")
endif()
if(PSCOLLECTIONS_CHECKED)
  string(APPEND pc_cflags " -DPSCOLLECTIONS_CHECKED")
endif()
configure_file(cmake/pscollections.pc.in "${PROJECT_BINARY_DIR}/pscollections.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/pscollections.pc"
  DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig" COMPONENT development)

# As in the sources, so that the documents' links lead where they should.
install(FILES README.md CHANGELOG.md CONTRIBUTING.md SECURITY.md
  DESTINATION "${CMAKE_INSTALL_DOCDIR}" COMPONENT documentation)
install(DIRECTORY docs examples
  DESTINATION "${CMAKE_INSTALL_DOCDIR}" COMPONENT documentation
  PATTERN docs/site EXCLUDE)
