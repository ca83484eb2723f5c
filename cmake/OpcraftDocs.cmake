# SPDX-License-Identifier: Apache-2.0
# The API reference with the guides, as a web site; what Doxygen warns of is an error.
if(NOT OPCRAFT_BUILD_DOCS)
  return()
endif()
find_package(Doxygen 1.9 REQUIRED)

set(DOXYGEN_PROJECT_NAME Opcraft)
set(DOXYGEN_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/reference)
set(DOXYGEN_HTML_OUTPUT .)
set(DOXYGEN_USE_MDFILE_AS_MAINPAGE ${PROJECT_SOURCE_DIR}/README.md)
set(DOXYGEN_STRIP_FROM_PATH ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/include)
set(DOXYGEN_STRIP_FROM_INC_PATH ${PROJECT_SOURCE_DIR}/include)
set(DOXYGEN_JAVADOC_AUTOBRIEF YES)
set(DOXYGEN_EXTRACT_ALL YES) # a getter whose name says all has no comment
set(DOXYGEN_MACRO_EXPANSION YES)
set(DOXYGEN_EXPAND_ONLY_PREDEF YES)
set(DOXYGEN_PREDEFINED OPCRAFT_API= OPCRAFT_C_API=)
set(DOXYGEN_HAVE_DOT NO)
set(DOXYGEN_WARN_IF_UNDOCUMENTED NO)
set(DOXYGEN_WARN_IF_INCOMPLETE_DOC NO)
set(DOXYGEN_QUIET YES)
set(DOXYGEN_WARN_AS_ERROR FAIL_ON_WARNINGS)
file(GLOB documents CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/*.md ${PROJECT_SOURCE_DIR}/docs/*.md)
doxygen_add_docs(opcraft_reference ${documents} ${PROJECT_SOURCE_DIR}/include ALL
  COMMENT "Making the reference of C++ and C")
install(DIRECTORY ${PROJECT_BINARY_DIR}/reference/ DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/opcraft-doc/reference
  COMPONENT documentation)
