# Finds LMDB and defines the imported target LMDB::LMDB. Installed beside the package configuration too, since programs
# that link the static library need it.
find_package(PkgConfig QUIET)
if(PkgConfig_FOUND)
  pkg_check_modules(PC_LMDB QUIET lmdb)
endif()

find_path(LMDB_INCLUDE_DIR lmdb.h HINTS ${PC_LMDB_INCLUDE_DIRS})
find_library(LMDB_LIBRARY lmdb HINTS ${PC_LMDB_LIBRARY_DIRS})
mark_as_advanced(LMDB_INCLUDE_DIR LMDB_LIBRARY)

if(LMDB_INCLUDE_DIR)
  set(LMDB_VERSION "")
  foreach(part IN ITEMS MAJOR MINOR PATCH)
    file(STRINGS "${LMDB_INCLUDE_DIR}/lmdb.h" line REGEX "^#define MDB_VERSION_${part}[ \t]")
    string(REGEX REPLACE "^#define MDB_VERSION_${part}[ \t]+([0-9]+).*" "\\1" number "${line}")
    list(APPEND LMDB_VERSION "${number}")
  endforeach()
  list(JOIN LMDB_VERSION "." LMDB_VERSION)
endif()

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(LMDB
  REQUIRED_VARS LMDB_LIBRARY LMDB_INCLUDE_DIR
  VERSION_VAR LMDB_VERSION
  REASON_FAILURE_MESSAGE "on Debian it is in the package liblmdb-dev")

if(LMDB_FOUND AND NOT TARGET LMDB::LMDB)
  add_library(LMDB::LMDB UNKNOWN IMPORTED)
  set_target_properties(LMDB::LMDB PROPERTIES
    IMPORTED_LOCATION "${LMDB_LIBRARY}"
    INTERFACE_INCLUDE_DIRECTORIES "${LMDB_INCLUDE_DIR}")
endif()
