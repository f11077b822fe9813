# Looks for a JDK of version 11 or later, that of JAVA_HOME or of the javac on the path, unless PSCOLLECTIONS_JAVA is off.
# Sets
#   PSCOLLECTIONS_JNI_INCLUDES  the folders of jni.h, which the library's Java flavour needs; empty when there are none
#   PSCOLLECTIONS_JVM           the JVM's library, for programs that start a JVM themselves
#   PSCOLLECTIONS_NO_JDK        what is missing; empty when all of a JDK was found
# FindJNI will not do: it does not look where Debian puts a JDK of a given version.
#
# ps_add_jar(<name> <argument>...) is UseJava's add_jar, for every JVM from version 11 on.
set(PSCOLLECTIONS_JNI_INCLUDES "")
set(PSCOLLECTIONS_JVM "")
set(PSCOLLECTIONS_NO_JDK "PSCOLLECTIONS_JAVA is off")
if(NOT PSCOLLECTIONS_JAVA)
  return()
endif()

set(remedy "(Debian: openjdk-17-jdk-headless; elsewhere set JAVA_HOME)")
set(PSCOLLECTIONS_NO_JDK "no JDK of version 11 or later was found ${remedy}")
find_package(Java 11 QUIET COMPONENTS Runtime Development)
if(Java_FOUND)
  file(REAL_PATH "${Java_JAVAC_EXECUTABLE}" jdk)
  get_filename_component(jdk "${jdk}" DIRECTORY)
  get_filename_component(jdk "${jdk}" DIRECTORY)
  set(PSCOLLECTIONS_NO_JDK "")
  foreach(needed IN ITEMS include/jni.h include/linux/jni_md.h lib/server/libjvm.so)
    if(NOT PSCOLLECTIONS_NO_JDK AND NOT EXISTS "${jdk}/${needed}")
      set(PSCOLLECTIONS_NO_JDK "the JDK of ${Java_JAVAC_EXECUTABLE} has no ${needed} ${remedy}")
      # So that JAVA_HOME is looked at again, should it be set now.
      unset(Java_JAVAC_EXECUTABLE CACHE)
    endif()
  endforeach()
endif()

if(NOT PSCOLLECTIONS_NO_JDK)
  set(PSCOLLECTIONS_JNI_INCLUDES "${jdk}/include" "${jdk}/include/linux")
  set(PSCOLLECTIONS_JVM "${jdk}/lib/server/libjvm.so")
  include(UseJava)
else()
  message(STATUS "Without the Java flavour: ${PSCOLLECTIONS_NO_JDK}")
endif()

function(ps_add_jar name)
  set(CMAKE_JAVA_COMPILE_FLAGS --release 11 -Xlint:all)
  if(PSCOLLECTIONS_WERROR)
    list(APPEND CMAKE_JAVA_COMPILE_FLAGS -Werror)
  endif()
  add_jar(${name} ${ARGN})
endfunction()
