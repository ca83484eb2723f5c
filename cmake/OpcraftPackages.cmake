# SPDX-License-Identifier: Apache-2.0
# `cpack` in the build folder makes Debian packages: the shared libraries under the name of their version, so that two
# versions can be there at a time, that of the C interface under the name of its own, what is needed to build with them, and
# the tool.
if(NOT PROJECT_IS_TOP_LEVEL OR NOT BUILD_SHARED_LIBS)
  return()
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "The Opcraft authors")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each package has its own
set(CPACK_COMPONENTS_ALL libraries c development)
if(OPCRAFT_BUILD_TOOL)
  list(APPEND CPACK_COMPONENTS_ALL tool)
endif()
if(OPCRAFT_BUILD_PYTHON)
  list(APPEND CPACK_COMPONENTS_ALL python)
endif()
if(OPCRAFT_BUILD_DOCS)
  list(APPEND CPACK_COMPONENTS_ALL documentation)
endif()
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/DebianPackage.cmake)
set(CPACK_OPCRAFT_SOURCE ${PROJECT_SOURCE_DIR})

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/src)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY =)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(soname_version ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
set(CPACK_DEBIAN_LIBRARIES_PACKAGE_NAME libopcraft${soname_version})
set(CPACK_DEBIAN_LIBRARIES_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_LIBRARIES_DESCRIPTION "Open Packaging Conventions for C++: shared libraries
Reads and writes packages of the Open Packaging Conventions (ECMA-376 Part 2), such as .docx, .xlsx, .pptx, .3mf and
.nupkg, strictly by the standard and careful with files that are not trusted.")

set(CPACK_DEBIAN_C_PACKAGE_NAME libopcraft-c1)
set(CPACK_DEBIAN_C_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_C_PACKAGE_DEPENDS "libopcraft${soname_version} (= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_C_DESCRIPTION "Open Packaging Conventions for C: shared library
The C interface of Opcraft, which programs in C and in other languages call. Its functions are only added to.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libopcraft-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
  "libopcraft${soname_version} (= ${PROJECT_VERSION}), libopcraft-c1 (= ${PROJECT_VERSION}), libboost-dev, libboost-date-time-dev")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS "libxerces-c-dev")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "Open Packaging Conventions for C++: headers
The headers of Opcraft, with its files for CMake and pkg-config. The headers in opc/xml need those of libxerces-c-dev.")

set(CPACK_DEBIAN_TOOL_PACKAGE_NAME opcraft)
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS "libopcraft${soname_version} (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_TOOL_PACKAGE_SUGGESTS "graphviz")
set(CPACK_COMPONENT_TOOL_DESCRIPTION "look into .docx, .xlsx, .nupkg and their kin, and change them
A command-line tool for packages of the Open Packaging Conventions (ECMA-376 Part 2): lists, reads, adds and removes
parts, relationships, properties and thumbnails, and never damages a file.")

set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-opcraft)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
set(CPACK_DEBIAN_PYTHON_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS "libopcraft-c1 (= ${PROJECT_VERSION}), python3 (>= 3.9)")
set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/cmake/python/postinst
  ${PROJECT_SOURCE_DIR}/cmake/python/prerm)
set(CPACK_COMPONENT_PYTHON_DESCRIPTION "Open Packaging Conventions for Python
Reads, changes, checks and signs packages of the Open Packaging Conventions (ECMA-376 Part 2), such as .docx, .xlsx,
.pptx, .3mf and .nupkg, by the C interface of Opcraft.")

set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_NAME opcraft-doc)
set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_SECTION doc)
set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_SHLIBDEPS OFF)
set(CPACK_COMPONENT_DOCUMENTATION_DESCRIPTION "Open Packaging Conventions: reference and guides
The reference of Opcraft for programs, with guides, as a web site.")
include(CPack)
