# SPDX-License-Identifier: Apache-2.0
# What is installed, in components: `libraries` and `c`, what programs in C++ and in C need to run; `development`, what they
# need to be built; `tool`; `documentation`, where it is made.
include(CMakePackageConfigHelpers)

# One export per component of find_package, so that a user of the model alone is asked for nothing that only storage
# needs.
set(config_folder ${CMAKE_INSTALL_LIBDIR}/cmake/Opcraft)
foreach(component core model storage)
  install(TARGETS opcraft_${component} EXPORT Opcraft-${component}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT libraries NAMELINK_COMPONENT development
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT libraries)
  install(EXPORT Opcraft-${component} NAMESPACE Opcraft:: DESTINATION ${config_folder} COMPONENT development)
endforeach()
install(TARGETS opcraft_c EXPORT Opcraft-c
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT c NAMELINK_COMPONENT development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT c)
install(EXPORT Opcraft-c NAMESPACE Opcraft:: DESTINATION ${config_folder} COMPONENT development)
install(DIRECTORY include/opc include/opcraft DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)

if(BUILD_SHARED_LIBS)
  set(OPCRAFT_STATIC FALSE)
else()
  set(OPCRAFT_STATIC TRUE)
endif()
configure_package_config_file(cmake/OpcraftConfig.cmake.in ${PROJECT_BINARY_DIR}/OpcraftConfig.cmake
  INSTALL_DESTINATION ${config_folder})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/OpcraftConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/OpcraftConfig.cmake ${PROJECT_BINARY_DIR}/OpcraftConfigVersion.cmake
  DESTINATION ${config_folder} COMPONENT development)

# pkg-config files find their folder from where they lie themselves. What the libraries are made with stands in them
# when they are static, for every program then links it; not as private, which would ask for all that those libraries
# are made with in turn. A program that links shared ones needs none of it.
set(pc_folder ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH OPCRAFT_PC_PREFIX "/root/${pc_folder}" "/root")
string(REGEX REPLACE "/$" "" OPCRAFT_PC_PREFIX "${OPCRAFT_PC_PREFIX}")
if(OPCRAFT_STATIC)
  set(OPCRAFT_PC_MODEL_REQUIRES ", xerces-c, liburiparser, libcrypto")
  set(OPCRAFT_PC_MODEL_LIBS " -lboost_thread -pthread")
  set(OPCRAFT_PC_CORE_REQUIRES "libutf8proc, expat")
  set(OPCRAFT_PC_STORAGE_REQUIRES ", libzip, zlib, expat")
  set(OPCRAFT_PC_C_REQUIRES "opcraft = ${PROJECT_VERSION}, opcraft-storage = ${PROJECT_VERSION}")
  set(OPCRAFT_PC_C_LIBS " -lstdc++")
endif()
foreach(name opcraft-core opcraft opcraft-storage opcraft-c)
  configure_file(cmake/${name}.pc.in ${PROJECT_BINARY_DIR}/${name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${name}.pc DESTINATION ${pc_folder} COMPONENT development)
endforeach()

# The tool that was built writes its manual pages and completions.
if(OPCRAFT_BUILD_TOOL)
  set(manual ${PROJECT_BINARY_DIR}/manual)
  add_custom_command(OUTPUT ${manual}/man1/opcraft.1
    COMMAND ${CMAKE_COMMAND} -E rm -rf ${manual} COMMAND opcraft generate-documentation ${manual}
    DEPENDS opcraft COMMENT "Making manual pages and completions" VERBATIM)
  add_custom_target(opcraft_manual ALL DEPENDS ${manual}/man1/opcraft.1)

  install(TARGETS opcraft RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tool)
  install(DIRECTORY ${manual}/man1 DESTINATION ${CMAKE_INSTALL_MANDIR} COMPONENT tool)
  install(FILES ${manual}/completion/opcraft
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT tool)
  install(FILES ${manual}/completion/_opcraft DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions COMPONENT tool)
  install(FILES ${manual}/completion/opcraft.fish
    DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d COMPONENT tool)
  file(GLOB documents CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/docs/*.md)
  install(FILES README.md CHANGELOG.md SECURITY.md LICENSE DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/opcraft COMPONENT tool)
  install(FILES ${documents} DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/opcraft/docs COMPONENT tool)
  install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/opcraft COMPONENT tool
    FILES_MATCHING PATTERN *.c PATTERN *.cpp PATTERN *.docx)
endif()
