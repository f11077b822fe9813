# PSCOLLECTIONS_SANITIZE builds everything, the library included, under the named sanitizers. A finding ends the
# program, so that a test cannot pass over it.
set(PSCOLLECTIONS_SANITIZE "" CACHE STRING "Sanitizers to build with, as in address,undefined; empty for none")

if(PSCOLLECTIONS_SANITIZE)
  set(PSCOLLECTIONS_SANITIZE_FLAGS
    "-fsanitize=${PSCOLLECTIONS_SANITIZE}" -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_compile_options(${PSCOLLECTIONS_SANITIZE_FLAGS})
  add_link_options(${PSCOLLECTIONS_SANITIZE_FLAGS})
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    add_compile_options(-Wno-maybe-uninitialized)  # with the sanitizers' code GCC sees uses that there are not
  endif()
  if(CMAKE_BUILD_TYPE STREQUAL "Debug")
    add_compile_options(-O1)  # twice as fast as -O0 under the sanitizers, and the stack traces stay readable
  endif()
endif()
