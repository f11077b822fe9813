# Finds PostgreSQL's client library and defines the imported target PostgreSQL::Client.
find_package(PkgConfig QUIET)
if(PkgConfig_FOUND)
  pkg_check_modules(PC_LIBPQ QUIET libpq)
endif()

find_path(LIBPQ_INCLUDE_DIR libpq-fe.h HINTS ${PC_LIBPQ_INCLUDE_DIRS} PATH_SUFFIXES postgresql)
find_library(LIBPQ_LIBRARY pq HINTS ${PC_LIBPQ_LIBRARY_DIRS})
mark_as_advanced(LIBPQ_INCLUDE_DIR LIBPQ_LIBRARY)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(PostgreSQLClient
  REQUIRED_VARS LIBPQ_LIBRARY LIBPQ_INCLUDE_DIR
  REASON_FAILURE_MESSAGE "on Debian it is in the package libpq-dev")

if(PostgreSQLClient_FOUND AND NOT TARGET PostgreSQL::Client)
  add_library(PostgreSQL::Client UNKNOWN IMPORTED)
  set_target_properties(PostgreSQL::Client PROPERTIES
    IMPORTED_LOCATION "${LIBPQ_LIBRARY}"
    INTERFACE_INCLUDE_DIRECTORIES "${LIBPQ_INCLUDE_DIR}")
endif()
