# Looks for a JDK, that of JAVA_HOME or of the javac on the path, unless PSCOLLECTIONS_JAVA is off. Sets
#   PSCOLLECTIONS_JNI_INCLUDES  the folders of jni.h, which the library's Java flavour needs; empty when there are none
#   PSCOLLECTIONS_JVM           the JVM's library, for programs that start a JVM themselves
#   PSCOLLECTIONS_NO_JDK        why there is no JDK; empty when all of it was found, the compiler and launcher included
# FindJNI will not do: it does not look where Debian puts a JDK of a given version.
#
# ps_add_jar(<name> SOURCES <source>... [ENTRY_POINT <class>]) is UseJava's add_jar for any JVM from version 11 on.
set(PSCOLLECTIONS_JNI_INCLUDES "")
set(PSCOLLECTIONS_JVM "")
set(PSCOLLECTIONS_NO_JDK "no JDK was found (Debian: openjdk-17-jdk-headless; elsewhere set JAVA_HOME)")
if(NOT PSCOLLECTIONS_JAVA)
  set(PSCOLLECTIONS_NO_JDK "PSCOLLECTIONS_JAVA is off")
  return()
endif()

find_package(Java QUIET COMPONENTS Runtime Development)
if(Java_FOUND)
  file(REAL_PATH "${Java_JAVAC_EXECUTABLE}" jdk)
  get_filename_component(jdk "${jdk}" DIRECTORY)
  get_filename_component(jdk "${jdk}" DIRECTORY)
  if(EXISTS "${jdk}/include/jni.h" AND EXISTS "${jdk}/include/linux/jni_md.h")
    set(PSCOLLECTIONS_JNI_INCLUDES "${jdk}/include" "${jdk}/include/linux")
  endif()
  if(PSCOLLECTIONS_JNI_INCLUDES AND EXISTS "${jdk}/lib/server/libjvm.so")
    set(PSCOLLECTIONS_JVM "${jdk}/lib/server/libjvm.so")
    set(PSCOLLECTIONS_NO_JDK "")
  endif()
endif()
if(NOT PSCOLLECTIONS_JNI_INCLUDES)
  message(STATUS "Without the Java flavour: ${PSCOLLECTIONS_NO_JDK}")
endif()

if(NOT PSCOLLECTIONS_NO_JDK)
  include(UseJava)
endif()

function(ps_add_jar name)
  set(CMAKE_JAVA_COMPILE_FLAGS --release 11 -Xlint:all -Werror)
  add_jar(${name} ${ARGN})
endfunction()
