# Finds the header of xxHash and defines the imported target XXHash::Inline, which compiles the hash into its user:
# there is nothing to link, and programs that use the library need no xxHash.
find_path(XXHASH_INCLUDE_DIR xxhash.h)
mark_as_advanced(XXHASH_INCLUDE_DIR)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(XXHash
  REQUIRED_VARS XXHASH_INCLUDE_DIR
  REASON_FAILURE_MESSAGE "on Debian it is in the package libxxhash-dev")

if(XXHash_FOUND AND NOT TARGET XXHash::Inline)
  add_library(XXHash::Inline INTERFACE IMPORTED)
  set_target_properties(XXHash::Inline PROPERTIES
    INTERFACE_INCLUDE_DIRECTORIES "${XXHASH_INCLUDE_DIR}"
    INTERFACE_COMPILE_DEFINITIONS XXH_INLINE_ALL)
endif()
