# SPDX-License-Identifier: Apache-2.0
# A room is a folder of src/ with its public headers in include/opc/. It is compiled as one object library whose
# include path holds its own headers and those of the rooms it names, and nothing else: an include against the
# arrows does not compile. For that, each room gets an include root of its own, made of two links.

add_library(opcraft_flags INTERFACE)
target_compile_options(opcraft_flags INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # Optimizing, GCC 12 sees overflows in the concatenation of strings where there are none.
  target_compile_options(opcraft_flags INTERFACE -Wno-array-bounds -Wno-restrict -Wno-stringop-overflow)
endif()
if(CMAKE_UNITY_BUILD AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # The sources of a unit are headers to GCC, which may not hide types of their own.
  target_compile_options(opcraft_flags INTERFACE -Wno-subobject-linkage)
  # Their paths are absolute, and OpenSSL's macros keep the path of the file.
  target_compile_options(opcraft_flags INTERFACE -fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=)
endif()
if(OPCRAFT_WERROR)
  target_compile_options(opcraft_flags INTERFACE -Werror)
endif()
if(OPCRAFT_SANITIZE)
  target_compile_options(opcraft_flags INTERFACE -fsanitize=${OPCRAFT_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(opcraft_flags INTERFACE -fsanitize=${OPCRAFT_SANITIZE})
endif()

# The same for C.
add_library(opcraft_c_flags INTERFACE)
target_compile_options(opcraft_c_flags INTERFACE -Wall -Wextra -pedantic)
if(OPCRAFT_WERROR)
  target_compile_options(opcraft_c_flags INTERFACE -Werror)
endif()
if(OPCRAFT_SANITIZE)
  target_compile_options(opcraft_c_flags INTERFACE -fsanitize=${OPCRAFT_SANITIZE} -fno-sanitize-recover=all)
  target_link_options(opcraft_c_flags INTERFACE -fsanitize=${OPCRAFT_SANITIZE})
endif()

# opcraft_room(name SOURCES file... [USES room...] [LINKS target...])
#   SOURCES  files below src/<name>
#   USES     the rooms whose headers it may include, besides its own
#   LINKS    the libraries it calls
function(opcraft_room name)
  cmake_parse_arguments(PARSE_ARGV 1 ROOM "" "" "SOURCES;USES;LINKS")
  set(root "${PROJECT_BINARY_DIR}/rooms/${name}")
  file(MAKE_DIRECTORY "${root}/public/opc" "${root}/private")
  if(EXISTS "${PROJECT_SOURCE_DIR}/include/opc/${name}")
    file(CREATE_LINK "${PROJECT_SOURCE_DIR}/include/opc/${name}" "${root}/public/opc/${name}" SYMBOLIC)
  endif()
  file(CREATE_LINK "${PROJECT_SOURCE_DIR}/src/${name}" "${root}/private/${name}" SYMBOLIC)

  add_library(opcraft_${name}_headers INTERFACE)
  target_include_directories(opcraft_${name}_headers INTERFACE "${root}/public" "${root}/private")
  target_link_libraries(opcraft_${name}_headers INTERFACE ${ROOM_LINKS})

  list(TRANSFORM ROOM_SOURCES PREPEND "${PROJECT_SOURCE_DIR}/src/${name}/" REGEX "^[^/]")
  add_library(opcraft_${name}_objects OBJECT ${ROOM_SOURCES})
  target_link_libraries(opcraft_${name}_objects PRIVATE opcraft_flags opcraft_${name}_headers)
  foreach(used IN LISTS ROOM_USES)
    target_link_libraries(opcraft_${name}_objects PRIVATE opcraft_${used}_headers)
  endforeach()
endfunction()

# opcraft_library(target OUTPUT file-name COMPONENT name ROOMS room... [PUBLIC target...] [PRIVATE target...])
#   One installed library made of rooms, known to users as Opcraft::<component>.
function(opcraft_library target)
  cmake_parse_arguments(PARSE_ARGV 1 LIB "" "OUTPUT;COMPONENT" "ROOMS;PUBLIC;PRIVATE")
  set(objects "")
  foreach(room IN LISTS LIB_ROOMS)
    list(APPEND objects $<TARGET_OBJECTS:opcraft_${room}_objects>)
  endforeach()
  add_library(${target} ${objects})
  add_library(Opcraft::${LIB_COMPONENT} ALIAS ${target})
  set_target_properties(${target} PROPERTIES OUTPUT_NAME ${LIB_OUTPUT} EXPORT_NAME ${LIB_COMPONENT}
    VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR} LINKER_LANGUAGE CXX
    INSTALL_RPATH "$ORIGIN") # where they find one another, wherever they are installed
  target_compile_features(${target} INTERFACE cxx_std_17)
  target_include_directories(${target} INTERFACE
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  target_link_libraries(${target} PUBLIC ${LIB_PUBLIC} PRIVATE ${LIB_PRIVATE} $<BUILD_INTERFACE:opcraft_flags>)
endfunction()
