# SPDX-License-Identifier: Apache-2.0
# One export per component, so that a user of the model alone is asked for nothing that only storage needs.
include(CMakePackageConfigHelpers)

set(config_folder ${CMAKE_INSTALL_LIBDIR}/cmake/Opcraft)
foreach(component core model storage)
  install(TARGETS opcraft_${component} EXPORT Opcraft-${component}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  install(EXPORT Opcraft-${component} NAMESPACE Opcraft:: DESTINATION ${config_folder})
endforeach()
install(DIRECTORY include/opc DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
if(OPCRAFT_BUILD_TOOL)
  install(TARGETS opcraft RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

if(BUILD_SHARED_LIBS)
  set(OPCRAFT_STATIC FALSE)
else()
  set(OPCRAFT_STATIC TRUE)
endif()
configure_package_config_file(cmake/OpcraftConfig.cmake.in ${PROJECT_BINARY_DIR}/OpcraftConfig.cmake
  INSTALL_DESTINATION ${config_folder})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/OpcraftConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/OpcraftConfig.cmake ${PROJECT_BINARY_DIR}/OpcraftConfigVersion.cmake
  DESTINATION ${config_folder})
